// Owned references and exceptions: what the layer above the C API is made of.
#pragma once

#include "python/api.h"

#include <cstddef>
#include <utility>

namespace python {

/// The interpreter's exception on its way to a handler. It is taken out of the interpreter for the
/// flight, since the objects that end on the way may run code that would lose it there.
struct PythonError {
  PyObject* type = nullptr;
  PyObject* value = nullptr;
  PyObject* traceback = nullptr;

  /// Takes the pending exception, if there is one, out of the interpreter.
  static PythonError fetch() {
    PythonError error;
    PyErr_Fetch(&error.type, &error.value, &error.traceback);
    return error;
  }
  /// Gives the exception back to the interpreter: done once, by the handler.
  void restore() const { PyErr_Restore(type, value, traceback); }
  /// Adds a reference to each of the three.
  const PythonError& share() const {
    Py_XINCREF(type);
    Py_XINCREF(value);
    Py_XINCREF(traceback);
    return *this;
  }
};

/// Throws the pending exception. The caller has seen a C API function fail, so there is one.
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

/// A string that stands in the code: an attribute, a global, a text. Its interned string object is
/// made at first use and stays for the life of the process, as the constants of a code object do.
class Name {
 public:
  template <std::size_t Size>
  constexpr Name(const char (&literal)[Size]) : text_(literal) {}

  /// `text` must live as long as the process and never change: a string of a constant table.
  static constexpr Name ofTable(const char* text) { return Name(Static{text}); }

  const char* text() const { return text_; }
  /// The string object; the reference is not the caller's.
  PyObject* borrow() const;

 private:
  struct Static {
    const char* text;
  };
  explicit constexpr Name(Static constant) : text_(constant.text) {}

  const char* text_;
};

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
