# The target `lint`: every source is formatted as .clang-format says, and clang-tidy has nothing to say about any.
find_program(KT_CLANG_FORMAT clang-format)
find_program(KT_RUN_CLANG_TIDY run-clang-tidy)

file(GLOB_RECURSE KT_LINT_SOURCES CONFIGURE_DEPENDS
    include/*.h core/*.h core/*.cpp config/*.h config/*.cpp text/*.h text/*.cpp log/*.cpp log/*.h
    platform/*.h platform/*.cpp examples/*.h examples/*.cpp tests/*.h tests/*.cpp bench/*.h bench/*.cpp fuzz/*.cpp)

if(KT_CLANG_FORMAT AND KT_RUN_CLANG_TIDY)
    # The compilation database is GCC's, and names options of GCC that clang-tidy does not know.
    add_custom_target(lint
        COMMAND "${KT_CLANG_FORMAT}" --dry-run --Werror ${KT_LINT_SOURCES}
        COMMAND "${KT_RUN_CLANG_TIDY}" -quiet -p "${PROJECT_BINARY_DIR}"
            -extra-arg=-Wno-ignored-optimization-argument -extra-arg=-Wno-unknown-warning-option
        WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}"
        VERBATIM)
else()
    add_custom_target(lint
        COMMAND "${CMAKE_COMMAND}" -E echo "lint needs clang-format and clang-tidy; install both and configure again"
        COMMAND "${CMAKE_COMMAND}" -E false)
endif()
