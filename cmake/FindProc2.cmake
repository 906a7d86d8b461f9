# Defines Proc2::proc2, the library of procps.
find_package(PkgConfig QUIET)
pkg_check_modules(PROC2 QUIET IMPORTED_TARGET libproc2)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Proc2 REQUIRED_VARS PROC2_LINK_LIBRARIES VERSION_VAR PROC2_VERSION)
if(Proc2_FOUND AND NOT TARGET Proc2::proc2)
    add_library(Proc2::proc2 INTERFACE IMPORTED)
    target_link_libraries(Proc2::proc2 INTERFACE PkgConfig::PROC2)
endif()
