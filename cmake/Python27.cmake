# The interpreter that the module is built for, as the target Python27::Module.
#
# Takes KELVARO_PYTHON, the path of a Python 2.7 interpreter whose unicode strings are UCS-2; when it
# is empty, tools/python27 supplies one. Stops with a sentence when the interpreter is another.

if(NOT KELVARO_PYTHON)
  execute_process(COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/tools/python27"
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
list(POP_FRONT facts version maxunicode include)
if(NOT version STREQUAL "2.7" OR NOT maxunicode STREQUAL "ffff")
  message(FATAL_ERROR "KELVARO_PYTHON names ${KELVARO_PYTHON}, a Python ${version} with characters "
                      "up to U+${maxunicode}: name a Python 2.7 interpreter (UCS-2 build).")
endif()
if(NOT EXISTS "${include}/Python.h")
  message(FATAL_ERROR "${include}/Python.h is missing: install the headers of ${KELVARO_PYTHON}.")
endif()

# An extension module finds the interpreter's symbols in the process that loads it: headers only.
add_library(Python27::Module INTERFACE IMPORTED)
set_target_properties(Python27::Module PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${include}")
