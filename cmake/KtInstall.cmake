# Installs the library, its headers, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

set(KT_PACKAGE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/ktappcore")

install(TARGETS ktappcore EXPORT ktappcore-targets LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(DIRECTORY include/ DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/ktappcore" FILES_MATCHING PATTERN "*.h")
install(EXPORT ktappcore-targets NAMESPACE ktappcore:: DESTINATION "${KT_PACKAGE_DIR}")

configure_package_config_file(cmake/ktappcore-config.cmake.in ktappcore-config.cmake
    INSTALL_DESTINATION "${KT_PACKAGE_DIR}")
write_basic_package_version_file(ktappcore-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/ktappcore-config.cmake"
    "${PROJECT_BINARY_DIR}/ktappcore-config-version.cmake"
    "${PROJECT_SOURCE_DIR}/cmake/FindNSPR.cmake"
    DESTINATION "${KT_PACKAGE_DIR}")

file(RELATIVE_PATH KT_PC_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file(cmake/ktappcore.pc.in ktappcore.pc @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/ktappcore.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
