# kelvaro_separate_debug(TARGET): after linking, moves what only debuggers need into a file beside the
# library, named like it with ".debug" after it, which debuggers find by that name. The library is then
# what goes onto a receiver. Both files are the same to the byte wherever the sources, the build and the
# interpreter's headers lie.

function(kelvaro_separate_debug target)
  get_target_property(include Python27::Module INTERFACE_INCLUDE_DIRECTORIES)
  # GCC follows symbolic links to headers that are not the project's own.
  get_filename_component(include "${include}" REALPATH)
  # The last that fits is taken, and any of these may lie below the sources.
  foreach(pair "${CMAKE_SOURCE_DIR}=." "${CMAKE_BINARY_DIR}=build" "${include}=python")
    target_compile_options(${target} PRIVATE "-fdebug-prefix-map=${pair}")
    # The linker compiles, too, when it optimises.
    set_property(TARGET ${target} APPEND_STRING PROPERTY LINK_FLAGS
                 " \"-fdebug-prefix-map=${pair}\"")
  endforeach()

  set(library "$<TARGET_FILE:${target}>")
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND "${CMAKE_OBJCOPY}" --only-keep-debug "${library}" "${library}.debug"
    COMMAND "${CMAKE_OBJCOPY}" --strip-all --remove-section=.comment
            "--add-gnu-debuglink=${library}.debug" "${library}"
    VERBATIM)
endfunction()
