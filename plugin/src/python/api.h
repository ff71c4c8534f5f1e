// The interpreter's C API. Every other file includes this one and never Python.h itself.
#pragma once

#define PY_SSIZE_T_CLEAN

#pragma GCC diagnostic push
// unicodeobject.h of 2.7 still says `register`, which C++17 has removed.
#pragma GCC diagnostic ignored "-Wregister"

#include <Python.h>

#pragma GCC diagnostic pop

#if PY_MAJOR_VERSION != 2 || PY_MINOR_VERSION != 7
#error "Kelvaro is an extension of Python 2.7: set KELVARO_PYTHON to a Python 2.7 interpreter."
#endif

#if Py_UNICODE_SIZE != 2
#error "Kelvaro needs a UCS-2 interpreter (configured with --enable-unicode=ucs2)."
#endif
