# After linking, moves what only debuggers need into Kelvaro.so.debug, beside the library, where
# debuggers find it. The library is then what goes onto a receiver. Both files are the same to the byte
# wherever the sources, the build and the interpreter's headers lie.

get_target_property(include Python27::Module INTERFACE_INCLUDE_DIRECTORIES)
# GCC follows symbolic links to headers that are not the project's own.
get_filename_component(include "${include}" REALPATH)
# The last match wins, and any of these may lie below the sources.
foreach(pair "${CMAKE_SOURCE_DIR}=." "${CMAKE_BINARY_DIR}=build" "${include}=python")
  target_compile_options(Kelvaro PRIVATE "-fdebug-prefix-map=${pair}")
  # The linker compiles, too, when it optimises.
  set_property(TARGET Kelvaro APPEND_STRING PROPERTY LINK_FLAGS " \"-fdebug-prefix-map=${pair}\"")
endforeach()

set(library "$<TARGET_FILE:Kelvaro>")
add_custom_command(TARGET Kelvaro POST_BUILD
  COMMAND "${CMAKE_OBJCOPY}" --only-keep-debug "${library}" "${library}.debug"
  COMMAND "${CMAKE_OBJCOPY}" --strip-all --remove-section=.comment
          "--add-gnu-debuglink=${library}.debug" "${library}"
  VERBATIM)
