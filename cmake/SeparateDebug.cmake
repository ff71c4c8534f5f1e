# kelvaro_separate_debug(TARGET): after linking, moves what only debuggers need into a file beside the
# library, named like it with ".debug" behind, which debuggers find by that name. The library is then
# what goes onto a receiver.

function(kelvaro_separate_debug target)
  set(library "$<TARGET_FILE:${target}>")
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND "${CMAKE_OBJCOPY}" --only-keep-debug "${library}" "${library}.debug"
    COMMAND "${CMAKE_OBJCOPY}" --strip-all --remove-section=.comment
            "--add-gnu-debuglink=${library}.debug" "${library}"
    VERBATIM)
endfunction()
