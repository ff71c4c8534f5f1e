# The interpreter that the module is built for, as the target Python27::Module.
#
# With KELVARO_PYTHON_INCLUDE no interpreter runs: for cross builds. Otherwise KELVARO_PYTHON is its
# path afterwards; for KELVARO_TARGET there is a link to it in the build directory. Stops with a
# sentence when it is not a UCS-2 Python 2.7. Headers of another Python stop the compiler
# (plugin/src/python/api.h).

if(KELVARO_PYTHON_INCLUDE)
  set(include "${KELVARO_PYTHON_INCLUDE}")
else()
  if(NOT KELVARO_PYTHON)
    set(target "")
    if(KELVARO_TARGET)
      set(target --target "${KELVARO_TARGET}")
    elseif(KELVARO_DEBUG_PYTHON)
      set(target --debug)
    endif()
    execute_process(COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/tools/python27" ${target}
                    OUTPUT_VARIABLE KELVARO_PYTHON OUTPUT_STRIP_TRAILING_WHITESPACE
                    RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
      message(FATAL_ERROR "No interpreter to build for: see the message of tools/python27 above, "
                          "or name one with -DKELVARO_PYTHON=/path/to/python2.7.")
    endif()
  endif()

  execute_process(
    COMMAND "${KELVARO_PYTHON}" -c
      "import sys, sysconfig; sys.stdout.write('%d.%d;%x;%s' % (sys.version_info[0], sys.version_info[1], sys.maxunicode, sysconfig.get_paths()['include']))"
    OUTPUT_VARIABLE facts RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "KELVARO_PYTHON names ${KELVARO_PYTHON}, which does not run as a Python "
                        "interpreter: name a Python 2.7 interpreter (UCS-2 build).")
  endif()
  list(GET facts 0 version)
  list(GET facts 1 maxunicode)
  list(GET facts 2 include)
  if(NOT version STREQUAL "2.7" OR NOT maxunicode STREQUAL "ffff")
    message(FATAL_ERROR "KELVARO_PYTHON names ${KELVARO_PYTHON}, a Python ${version} with "
                        "characters up to U+${maxunicode}: name a Python 2.7 interpreter (UCS-2 "
                        "build).")
  endif()
  if(KELVARO_TARGET)
    execute_process(COMMAND "${CMAKE_COMMAND}" -E create_symlink "${KELVARO_PYTHON}"
                            "${CMAKE_BINARY_DIR}/python2.7")
  endif()
endif()
if(NOT EXISTS "${include}/Python.h")
  message(FATAL_ERROR "${include}/Python.h is missing: install the headers of Python 2.7, or name "
                      "their directory with -DKELVARO_PYTHON_INCLUDE=/path/to/include/python2.7.")
endif()

# An extension module finds the interpreter's symbols in the process that loads it: headers only.
add_library(Python27::Module INTERFACE IMPORTED)
set_target_properties(Python27::Module PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${include}")
