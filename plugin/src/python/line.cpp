#include "python/line.h"

#include <frameobject.h>
#include <traceback.h>

namespace python {
namespace {

// The source that every traceback entry of the module names.
constexpr const char* kSource = "plugin/src/Kelvaro";

// Swaps in what sys.exc_info() gives, and its older form in the sys module. Takes the references.
void setHandled(PyObject* type, PyObject* value, PyObject* traceback) {
  PyThreadState* thread = PyThreadState_GET();
  PyObject* oldType = std::exchange(thread->exc_type, type);
  PyObject* oldValue = std::exchange(thread->exc_value, value);
  PyObject* oldTraceback = std::exchange(thread->exc_traceback, traceback);
  Py_XDECREF(oldType);
  Py_XDECREF(oldValue);
  Py_XDECREF(oldTraceback);
  // There may be no memory for these names; what is pending then is only what was pending before.
  PyErr_Fetch(&oldType, &oldValue, &oldTraceback);
  PySys_SetObject(const_cast<char*>("exc_type"), type);
  PySys_SetObject(const_cast<char*>("exc_value"), value);
  PySys_SetObject(const_cast<char*>("exc_traceback"), traceback);
  PyErr_Restore(oldType, oldValue, oldTraceback);
}

}  // namespace

Line::~Line() {
  if (handled_) {
    setHandled(outerType_, outerValue_, outerTraceback_);
  }
}

void Line::handle(const Ref& type, const Ref& value, const Ref& traceback) {
  if (!handled_) {
    PyThreadState* thread = PyThreadState_GET();
    outerType_ = thread->exc_type == nullptr ? Py_None : thread->exc_type;
    outerValue_ = thread->exc_value;
    outerTraceback_ = thread->exc_traceback;
    Py_INCREF(outerType_);
    Py_XINCREF(outerValue_);
    Py_XINCREF(outerTraceback_);
    handled_ = true;
  }
  setHandled(Ref(type).release(), Ref(value).release(), Ref(traceback).release());
}

void Line::report() noexcept {
  if (std::exchange(reported_, true)) {
    return;
  }
  PyObject* type = nullptr;
  PyObject* value = nullptr;
  PyObject* traceback = nullptr;
  PyErr_Fetch(&type, &value, &traceback);
  char name[64];
  PyOS_snprintf(name, sizeof(name), "%s%s%s%s%s", name_.module, name_.scope != nullptr ? "." : "",
                name_.scope != nullptr ? name_.scope : "", name_.function != nullptr ? "." : "",
                name_.function != nullptr ? name_.function : "");
  // The line of a traceback entry is worked out from the code object: one that begins at it.
  PyCodeObject* code = PyCode_NewEmpty(kSource, name, line_);
  PyFrameObject* frame = code == nullptr
                             ? nullptr
                             : PyFrame_New(PyThreadState_GET(), code, globals_.borrow(), nullptr);
  // Also discards a failure to make these two: the exception itself is worth more than its entry.
  PyErr_Restore(type, value, traceback);
  if (frame != nullptr) {
    PyTraceBack_Here(frame);
  }
  Py_XDECREF(reinterpret_cast<PyObject*>(frame));
  Py_XDECREF(reinterpret_cast<PyObject*>(code));
}

Caught::Caught(Line& at, const PythonError& thrown) : at_(at) {
  thrown.restore();
  at.report();
  at.reported_ = false;
  PyObject* type = nullptr;
  PyObject* value = nullptr;
  PyObject* traceback = nullptr;
  PyErr_Fetch(&type, &value, &traceback);
  PyErr_NormalizeException(&type, &value, &traceback);
  type_ = Ref::take(type);
  value_ = Ref::take(value);
  if (traceback == nullptr) {  // no memory for the entry
    traceback_ = none();
  } else {
    traceback_ = Ref::take(traceback);
  }
  at.handle(type_, value_, traceback_);
}

bool Caught::is(const Ref& kind) const {
  return PyErr_GivenExceptionMatches(type_.borrow(), kind.borrow()) != 0;
}

void Caught::rethrow() {
  at_.reported_ = true;
  PyErr_Restore(type_.release(), value_.release(),
                traceback_.isNone() ? nullptr : traceback_.release());
  raisePending();
}

Ref specialMethod(const Ref& manager, Name name) {
  if (PyInstance_Check(manager.borrow())) {  // a classic instance has one type for all classes
    return manager.attr(name);
  }
  PyObject* known = name.borrow();
  PyObject* method =
      _PyObject_LookupSpecial(manager.borrow(), const_cast<char*>(name.text()), &known);
  if (method == nullptr && PyErr_Occurred() == nullptr) {
    PyErr_SetObject(PyExc_AttributeError, name.borrow());
  }
  return Ref::take(method);
}

void each::advance() {
  at_(header_);
  PyObject* member = PyIter_Next(iterator_.borrow());
  if (member == nullptr && PyErr_Occurred() != nullptr) {
    raisePending();
  }
  member_ = member == nullptr ? Ref() : Ref::take(member);
}

}  // namespace python
