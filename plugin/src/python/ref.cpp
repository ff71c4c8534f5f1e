#include "python/ref.h"

namespace python {

PythonError PythonError::fetch() {
  PythonError error;
  PyErr_Fetch(&error.type_, &error.value_, &error.traceback_);
  return error;
}

PythonError::PythonError(PythonError&& other) noexcept
    : type_(std::exchange(other.type_, nullptr)),
      value_(std::exchange(other.value_, nullptr)),
      traceback_(std::exchange(other.traceback_, nullptr)) {}

PythonError& PythonError::operator=(PythonError other) noexcept {
  std::swap(type_, other.type_);
  std::swap(value_, other.value_);
  std::swap(traceback_, other.traceback_);
  return *this;
}

PythonError::~PythonError() {
  Py_XDECREF(type_);
  Py_XDECREF(value_);
  Py_XDECREF(traceback_);
}

void PythonError::restore() && {
  PyErr_Restore(std::exchange(type_, nullptr), std::exchange(value_, nullptr),
                std::exchange(traceback_, nullptr));
}

void raisePending() {
  if (PyErr_Occurred() == nullptr) {
    PyErr_SetString(PyExc_SystemError, "error return without exception set");
  }
  throw PythonError::fetch();
}

void raise(PyObject* type, const char* message) {
  PyErr_SetString(type, message);
  raisePending();
}

Ref::~Ref() { Py_XDECREF(object_); }

}  // namespace python
