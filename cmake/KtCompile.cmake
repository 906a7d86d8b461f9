# The warnings and sanitizers of every target in the tree.

# kt_compile_options(<target>)
function(kt_compile_options target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
        -Woverloaded-virtual -Wold-style-cast -Wcast-align)
    target_compile_definitions(${target} PRIVATE _FILE_OFFSET_BITS=64)  # files and inodes of a 32-bit device too
    if(KTAPPCORE_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
    if(KTAPPCORE_SANITIZER)
        target_compile_options(${target} PRIVATE -fsanitize=${KTAPPCORE_SANITIZER} -fno-sanitize-recover=all
            -fno-omit-frame-pointer)
        target_link_options(${target} PUBLIC -fsanitize=${KTAPPCORE_SANITIZER})
    endif()
endfunction()

include(CheckIPOSupported)
check_ipo_supported(RESULT KTAPPCORE_HAS_LTO LANGUAGES CXX)

# kt_shared_library(<target>): what all our shared libraries have in common.
function(kt_shared_library target)
    kt_compile_options(${target})
    set_target_properties(${target} PROPERTIES
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR}
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
    target_compile_options(${target} PRIVATE -fno-exceptions -fno-semantic-interposition -fno-plt)
    target_link_options(${target} PRIVATE -Wl,-Bsymbolic-functions)
    if(NOT (KTAPPCORE_SANITIZER AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang"))  # whose run time is in the program only
        target_link_options(${target} PRIVATE -Wl,--no-undefined)
    endif()
    if(KTAPPCORE_HAS_LTO)
        # A log line, a post and a text cross several sources; calls between them cost more there than the work.
        set_target_properties(${target} PROPERTIES
            INTERPROCEDURAL_OPTIMIZATION_RELEASE ON
            INTERPROCEDURAL_OPTIMIZATION_RELWITHDEBINFO ON)
    endif()
endfunction()

# kt_system_library(<target> <library> <header>): the imported target ktappcore::<target>, the system's own library.
function(kt_system_library target library header)
    find_library(${target}_LIBRARY ${library} REQUIRED)
    find_path(${target}_INCLUDE_DIR ${header} REQUIRED)
    add_library(ktappcore::${target} UNKNOWN IMPORTED GLOBAL)
    set_target_properties(ktappcore::${target} PROPERTIES
        IMPORTED_LOCATION "${${target}_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${${target}_INCLUDE_DIR}")
endfunction()

# kt_keep_null_checks(<source>...): Destroy() tolerates a null object, which a compiler may otherwise assume away.
function(kt_keep_null_checks)
    set_source_files_properties(${ARGN} TARGET_DIRECTORY ktappcore PROPERTIES
        COMPILE_OPTIONS -fno-delete-null-pointer-checks)
endfunction()
