# The warnings and sanitizers of every target in the tree.

# kt_compile_options(<target>)
function(kt_compile_options target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
        -Woverloaded-virtual -Wold-style-cast -Wcast-align)
    if(KTAPPCORE_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
    if(KTAPPCORE_SANITIZER)
        target_compile_options(${target} PRIVATE -fsanitize=${KTAPPCORE_SANITIZER} -fno-sanitize-recover=all
            -fno-omit-frame-pointer)
        target_link_options(${target} PUBLIC -fsanitize=${KTAPPCORE_SANITIZER})
    endif()
endfunction()

# kt_keep_null_checks(<source>...): Destroy() tolerates a null object, which a compiler may otherwise assume away.
function(kt_keep_null_checks)
    set_source_files_properties(${ARGN} TARGET_DIRECTORY ktappcore PROPERTIES
        COMPILE_OPTIONS -fno-delete-null-pointer-checks)
endfunction()
