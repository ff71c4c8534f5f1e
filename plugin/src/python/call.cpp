#include "python/call.h"

#include <frameobject.h>
#include <traceback.h>

namespace python {
namespace {

// The source that every traceback entry of the module names.
constexpr const char* kSource = "plugin/src/Kelvaro";

// Swaps in what sys.exc_info() gives, and its older form in the sys module. Takes the references.
void setHandled(PyObject* type, PyObject* value, PyObject* traceback) {
  PyThreadState* thread = PyThreadState_GET();
  const PythonError old(std::exchange(thread->exc_type, type),
                        std::exchange(thread->exc_value, value),
                        std::exchange(thread->exc_traceback, traceback));
  // There may be no memory for these names; what is pending then is only what was pending before.
  PythonError pending = PythonError::fetch();
  PySys_SetObject(const_cast<char*>("exc_type"), type);
  PySys_SetObject(const_cast<char*>("exc_value"), value);
  PySys_SetObject(const_cast<char*>("exc_traceback"), traceback);
  std::move(pending).restore();
}

PyObject* shared(PyObject* object) {
  Py_XINCREF(object);
  return object;
}

}  // namespace

Call* Call::newest_ = nullptr;

PyObject* Call::run(const QualifiedName& name, PyObject* module,
                    PyObject* (*body)(Call& at, const void* context),
                    const void* context) noexcept {
  PythonError error;
  {
    Call at(name, module);
    try {
      return body(at, context);
    } catch (PythonError& thrown) {
      error = std::move(thrown);
    } catch (...) {  // C++ itself throws only std::bad_alloc here
      PyErr_NoMemory();
      error = PythonError::fetch();
    }
    // First, since what ends may run code that would lose a pending exception.
    at.endResults();
    at.endLocals();
    std::move(error).restore();
    at.report();
    error = PythonError::fetch();
  }
  std::move(error).restore();
  return nullptr;
}

Call::Call(const QualifiedName& name, PyObject* module)
    : name_(name), module_(Ref::share(module)), globals_(PyModule_GetDict(module)) {
  newest_ = this;
}

Call::~Call() {
  endResults();
  if (handled_) {
    setHandled(shared(outer_.type()), shared(outer_.value()), shared(outer_.traceback()));
  }
  endLocals();
  Call** link = &newest_;
  while (*link != this) {  // calls of other threads may be newer
    link = &(*link)->older_;
  }
  *link = older_;
}

Call* Call::newestOfThisThread() {
  Call* call = newest_;
  while (call->thread_ != PyThreadState_GET()) {
    call = call->older_;
  }
  return call;
}

PyObject* Call::builtins() {
  if (!builtins_.bound()) {
    // A module, or its dictionary where the host has put that. Without either there are none: what
    // the globals lack, they lack again.
    PyObject* found = PyDict_GetItem(globals_, "__builtins__"_s.borrow());
    if (found != nullptr && PyModule_Check(found)) {
      found = PyModule_GetDict(found);
    }
    builtins_ = Ref::share(found != nullptr && PyDict_Check(found) ? found : globals_);
  }
  return builtins_.borrow();
}

// --- What is kept.

void Call::beginStatement() {
  line_ = ~line_;
#ifndef NDEBUG
  ++statement_;
#endif
  endResults();
}

void Call::endResults() {
  while (results_ != kept_ + kMostKept) {
    PyObject* ended = *results_++;
    Py_DECREF(ended);
  }
}

void Call::release(Mark mark) {
  while (locals_ != mark) {
    PyObject* ended = *--locals_;
    Py_XDECREF(ended);
  }
}

void Call::endLocals() {
  for (Mark place = kept_; place != locals_; ++place) {
    PyObject* ended = std::exchange(*place, nullptr);
    Py_XDECREF(ended);
  }
  locals_ = kept_;
}

void Call::refuse(PyObject* fresh) {
  require(fresh);
  Py_DECREF(fresh);
  raise(PyExc_SystemError, "a call keeps too many objects");
}

PyObject** Call::place() {
  if (results_ == locals_) {
    refuse(shared(Py_None));
  }
  *locals_ = nullptr;
  return locals_++;
}

PyObject* Call::ownResult(PyObject* result) {
  if (*results_ == result) {
    ++results_;
  } else {
    Py_INCREF(result);
  }
  return own(result);
}

// --- Exceptions.

void Call::report() noexcept {
  // Without a line the body has not begun: wrong arguments are the caller's error.
  if (line() == 0 || reported_) {
    return;
  }
  PythonError pending = PythonError::fetch();
  char name[64];
  PyOS_snprintf(name, sizeof(name), "%s%s%s%s%s", name_.module, name_.scope != nullptr ? "." : "",
                name_.scope != nullptr ? name_.scope : "", name_.function != nullptr ? "." : "",
                name_.function != nullptr ? name_.function : "");
  // The line of a traceback entry is worked out from the code object: one that begins at it.
  PyCodeObject* code = PyCode_NewEmpty(kSource, name, line());
  PyFrameObject* frame =
      code == nullptr ? nullptr : PyFrame_New(PyThreadState_GET(), code, globals_, nullptr);
  // Also discards a failure to make these two: the exception itself is worth more than its entry.
  std::move(pending).restore();
  if (frame != nullptr) {
    PyTraceBack_Here(frame);
  }
  Py_XDECREF(reinterpret_cast<PyObject*>(frame));
  Py_XDECREF(reinterpret_cast<PyObject*>(code));
}

Caught::Caught(Call& at, PythonError& thrown) : at_(at) {
  at.endResults();
  std::move(thrown).restore();
  at.report();
  at.reported_ = false;
  PyErr_Fetch(&type_, &value_, &traceback_);
  PyErr_NormalizeException(&type_, &value_, &traceback_);
  at.own(type_);
  at.own(value_);
  // Without memory for its entry an exception may have no traceback.
  traceback_ = at.own(traceback_ == nullptr ? shared(Py_None) : traceback_);

  if (!at.handled_) {
    PyThreadState* thread = PyThreadState_GET();
    at.outer_ = PythonError(shared(thread->exc_type == nullptr ? Py_None : thread->exc_type),
                            shared(thread->exc_value), shared(thread->exc_traceback));
    at.handled_ = true;
  }
  setHandled(shared(type_), shared(value_), shared(traceback_));
}

bool Caught::is(Value kind) const { return PyErr_GivenExceptionMatches(type_, kind.borrow()) != 0; }

void Caught::rethrow() {
  at_.reported_ = true;
  throw PythonError(shared(type_), shared(value_),
                    traceback_ == Py_None ? nullptr : shared(traceback_));
}

// --- Statements.

Loop::Loop(Value iterable, Call& at)
    : at_(at),
      header_(at.line()),
      loop_(at.mark()),
      iterator_(at.ownResult(Call::running().keep(PyObject_GetIter(iterable.borrow())))),
      turn_(at.mark()) {}

PyObject* Loop::advance() {
  at_(header_);
  Call& call = Call::running();
  PyObject* next = PyIter_Next(iterator_);
  if (next == nullptr) {
    if (PyErr_Occurred() != nullptr) {
      raisePending();
    }
    call.release(loop_);
    return nullptr;
  }
  // The previous turn's variables end only when the next member is there.
  call.keep(next);
  call.release(turn_);
  return call.ownResult(next);
}

Object specialMethod(const Local& manager, Str name) {
  if (PyInstance_Check(manager.borrow())) {  // a classic instance has one type for all classes
    return manager.attr(name);
  }
  Call& call = Call::running();
  PyObject* known = name.borrow();
  PyObject* method =
      _PyObject_LookupSpecial(manager.borrow(), const_cast<char*>(name.text()), &known);
  if (method == nullptr && PyErr_Occurred() == nullptr) {
    PyErr_SetObject(PyExc_AttributeError, known);
  }
  return Object(call.keep(method));
}

}  // namespace python
