# Defines NSPR::nspr, NSPR with its PLC and PLDS libraries.
find_package(PkgConfig QUIET)
pkg_check_modules(NSPR QUIET IMPORTED_TARGET nspr)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(NSPR REQUIRED_VARS NSPR_LINK_LIBRARIES VERSION_VAR NSPR_VERSION)
if(NSPR_FOUND AND NOT TARGET NSPR::nspr)
    add_library(NSPR::nspr INTERFACE IMPORTED)
    target_link_libraries(NSPR::nspr INTERFACE PkgConfig::NSPR)
endif()
