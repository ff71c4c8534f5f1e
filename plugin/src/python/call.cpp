#include "python/call.h"

#include <frameobject.h>
#include <traceback.h>

#include <cstring>

namespace python {
namespace {

// The source that every traceback entry of the module names.
constexpr const char* kSource = "plugin/src/Kelvaro";

// Swaps in what sys.exc_info() gives, and its older form in the sys module. Takes the references.
void setHandled(const PythonError& handled) {
  PyThreadState* thread = PyThreadState_GET();
  PyObject* oldType = std::exchange(thread->exc_type, handled.type);
  PyObject* oldValue = std::exchange(thread->exc_value, handled.value);
  PyObject* oldTraceback = std::exchange(thread->exc_traceback, handled.traceback);
  Py_XDECREF(oldType);
  Py_XDECREF(oldValue);
  Py_XDECREF(oldTraceback);
  // There may be no memory for these names; what is pending then is only what was pending before.
  const PythonError pending = PythonError::fetch();
  PySys_SetObject(const_cast<char*>("exc_type"), handled.type);
  PySys_SetObject(const_cast<char*>("exc_value"), handled.value);
  PySys_SetObject(const_cast<char*>("exc_traceback"), handled.traceback);
  pending.restore();
}

}  // namespace

Call* Call::running_ = nullptr;

Call::Call(const QualifiedName& name, PyObject* module)
    : name_(name), module_(Ref::share(module)), globals_(PyModule_GetDict(module)) {
  running_ = this;
}

PyObject* Call::builtins() {
  if (!builtins_.bound()) {
    // A module, or its dictionary where the host has put that.
    PyObject* found = PyDict_GetItem(globals_, Name("__builtins__").borrow());
    if (found != nullptr && PyModule_Check(found)) {
      found = PyModule_GetDict(found);
    }
    builtins_ =
        found != nullptr && PyDict_Check(found) ? Ref::share(found) : Ref::take(PyDict_New());
  }
  return builtins_.borrow();
}

Call::~Call() {
  releaseAll();
  if (handled_) {
    setHandled(outer_);
  }
  running_ = caller_;
}

// --- What is kept.

void Call::end(PyObject* object) {
  Call* running = running_;
  Py_XDECREF(object);
  running_ = running;
}

void Call::beginStatement() {
  line_ = ~line_;
  endResults();
}

void Call::endResults() {
  while (results_ != kept_ + kMostKept) {
    PyObject* ended = *results_++;
    Py_DECREF(ended);
  }
  resume();
}

void Call::release(Mark mark) {
  while (locals_ != mark) {
    end(*--locals_);
  }
}

void Call::releaseAll() {
  endResults();
  release(kept_);
}

const Object& Call::keep(PyObject* fresh) {
  resume();
  if (fresh == nullptr || results_ == locals_) {
    refuse(fresh);
  }
  *--results_ = fresh;
  return Object::of(fresh);
}

const Object& Call::share(PyObject* lent) {
  Py_INCREF(lent);
  return keep(lent);
}

int Call::check(int status) {
  resume();
  return require(status);
}

void Call::refuse(PyObject* fresh) {
  require(fresh);
  Py_DECREF(fresh);
  raise(PyExc_SystemError, "a call keeps too many objects");
}

PyObject** Call::place() {
  if (results_ == locals_) {
    raise(PyExc_SystemError, "a call keeps too many variables");
  }
  *locals_ = nullptr;
  return locals_++;
}

const Object& Call::own(PyObject* object) {
  *place() = object;
  return Object::of(object);
}

const Object& Call::local(const Object& value) {
  Py_INCREF(value.borrow());
  return own(value.borrow());
}

Local& Local::operator=(const Object& value) {
  Py_INCREF(value.borrow());
  Call::end(std::exchange(*place_, value.borrow()));
  return *this;
}

const Object& Local::boundAs(Name variable) const {
  if (*place_ == nullptr) {
    PyErr_Format(PyExc_UnboundLocalError, "local variable '%s' referenced before assignment",
                 variable.text());
    raisePending();
  }
  return **this;
}

void Local::add(Lent more) {
  Call::running();  // the statement before no longer needs the text
  PyObject* text = *place_;
  const bool own = PyString_CheckExact(text) && PyString_CheckExact(more.borrow()) &&
                   Py_REFCNT(text) == 1 && !PyString_CHECK_INTERNED(text);
  if (!own) {
    *this = (*this)->increasedBy(more);
    return;
  }
  const Py_ssize_t size = PyString_GET_SIZE(text);
  const Py_ssize_t moreSize = PyString_GET_SIZE(more.borrow());
  if (moreSize > PY_SSIZE_T_MAX - size) {
    raise(PyExc_OverflowError, "strings are too large to concat");
  }
  require(_PyString_Resize(place_, size + moreSize));
  std::memcpy(PyString_AS_STRING(*place_) + size, PyString_AS_STRING(more.borrow()),
              static_cast<std::size_t>(moreSize));
}

void Local::add(Name more) { add(literal(more)); }

// --- Exceptions.

void Call::report() noexcept {
  if (std::exchange(reported_, true)) {
    return;
  }
  const PythonError pending = PythonError::fetch();
  char name[64];
  PyOS_snprintf(name, sizeof(name), "%s%s%s%s%s", name_.module, name_.scope != nullptr ? "." : "",
                name_.scope != nullptr ? name_.scope : "", name_.function != nullptr ? "." : "",
                name_.function != nullptr ? name_.function : "");
  // The line of a traceback entry is worked out from the code object: one that begins at it.
  PyCodeObject* code = PyCode_NewEmpty(kSource, name, number());
  PyFrameObject* frame =
      code == nullptr ? nullptr : PyFrame_New(PyThreadState_GET(), code, globals_, nullptr);
  // Also discards a failure to make these two: the exception itself is worth more than its entry.
  pending.restore();
  if (frame != nullptr) {
    PyTraceBack_Here(frame);
  }
  Py_XDECREF(reinterpret_cast<PyObject*>(frame));
  Py_XDECREF(reinterpret_cast<PyObject*>(code));
}

Caught::Caught(Call& at, const PythonError& thrown) : at_(at) {
  thrown.restore();
  at.report();
  at.reported_ = false;
  PythonError error = PythonError::fetch();
  PyErr_NormalizeException(&error.type, &error.value, &error.traceback);
  type_ = &at.own(error.type);
  value_ = &at.own(error.value);
  // Without memory for its entry an exception may have no traceback.
  traceback_ = error.traceback == nullptr ? &none() : &at.own(error.traceback);

  if (!at.handled_) {
    PyThreadState* thread = PyThreadState_GET();
    at.outer_ = {thread->exc_type == nullptr ? Py_None : thread->exc_type, thread->exc_value,
                 thread->exc_traceback};
    at.outer_.share();
    at.handled_ = true;
  }
  const PythonError handled{type_->borrow(), value_->borrow(), traceback_->borrow()};
  handled.share();
  setHandled(handled);
  at.resume();
}

bool Caught::is(const Object& kind) const {
  return at_.check(PyErr_GivenExceptionMatches(type_->borrow(), kind.borrow())) != 0;
}

void Caught::rethrow() {
  at_.reported_ = true;
  const PythonError error{type_->borrow(), value_->borrow(),
                          traceback_->isNone() ? nullptr : traceback_->borrow()};
  error.share();
  error.restore();
  raisePending();
}

// --- Statements.

each::each(const Object& iterable, Call& at)
    : at_(at),
      header_(at.number()),
      loop_(at.mark()),
      iterator_(at.local(Call::running().keep(PyObject_GetIter(iterable.borrow())))),
      turn_(at.mark()) {}

void each::advance() {
  at_(header_);
  Call& call = Call::running();
  PyObject* next = PyIter_Next(iterator_.borrow());
  call.resume();
  const bool over = next == nullptr && PyErr_Occurred() == nullptr;
  const Object* kept = over ? nullptr : &call.keep(next);
  at_.release(over ? loop_ : turn_);
  member_ = over ? nullptr : &at_.local(*kept);
}

const Object& specialMethod(const Object& manager, Name name) {
  if (PyInstance_Check(manager.borrow())) {  // a classic instance has one type for all classes
    return manager.attr(name);
  }
  Call& call = Call::running();
  PyObject* known = name.borrow();
  PyObject* method =
      _PyObject_LookupSpecial(manager.borrow(), const_cast<char*>(name.text()), &known);
  if (method == nullptr && PyErr_Occurred() == nullptr) {
    PyErr_SetObject(PyExc_AttributeError, name.borrow());
  }
  return call.keep(method);
}

}  // namespace python
