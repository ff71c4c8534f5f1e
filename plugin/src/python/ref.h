// Owned references and exceptions in flight: what the layer above the C API is made of.
#pragma once

#include "python/api.h"

#include <utility>

namespace python {

/// The interpreter's exception on its way to a handler, which owns it. It is taken out of the
/// interpreter for the flight, since objects that end on the way may run code that would lose it.
class PythonError {
 public:
  PythonError() = default;
  /// Takes the pending exception, if there is one, out of the interpreter.
  static PythonError fetch();
  /// Takes ownership of the references; each may be null.
  PythonError(PyObject* type, PyObject* value, PyObject* traceback)
      : type_(type), value_(value), traceback_(traceback) {}
  PythonError(PythonError&& other) noexcept;
  PythonError& operator=(PythonError other) noexcept;
  ~PythonError();

  /// Gives the exception back to the interpreter.
  void restore() &&;

  PyObject* type() const { return type_; }
  PyObject* value() const { return value_; }
  PyObject* traceback() const { return traceback_; }

 private:
  PyObject* type_ = nullptr;
  PyObject* value_ = nullptr;
  PyObject* traceback_ = nullptr;
};

/// Throws the pending exception, after a C API function has failed. Where foreign code has set
/// none, it is a SystemError, as in the interpreter.
[[noreturn]] void raisePending();

/// Raises an exception of ours: a class of the interpreter with a message.
[[noreturn]] void raise(PyObject* type, const char* message);

/// Passes on what a C API function returned; throws PythonError when that says "failed".
inline PyObject* require(PyObject* result) {
  if (result == nullptr) {
    raisePending();
  }
  return result;
}
inline int require(int status) {
  if (status < 0) {
    raisePending();
  }
  return status;
}

/// One owned reference; the count falls when the Ref goes out of scope.
class Ref {
 public:
  /// Holds nothing yet.
  Ref() = default;
  static Ref take(PyObject* fresh) { return Ref(require(fresh)); }  // "new reference" results
  static Ref share(PyObject* lent) {                                // "borrowed" results
    Py_INCREF(require(lent));
    return Ref(lent);
  }

  Ref(Ref&& other) noexcept : object_(other.release()) {}
  Ref& operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Ref();

  PyObject* borrow() const { return object_; }
  PyObject* release() { return std::exchange(object_, nullptr); }
  bool bound() const { return object_ != nullptr; }

 private:
  explicit Ref(PyObject* owned) : object_(owned) {}

  PyObject* object_ = nullptr;
};

}  // namespace python
