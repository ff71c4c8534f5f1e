#include "python/object.h"

#include "python/call.h"
#include "python/function.h"

#include <algorithm>
#include <cstring>

namespace python {

PyObject* Str::make() const {
  return literal_->object = require(PyString_InternFromString(text()));
}

PyObject* Value::constant() const {
  if ((word_ & kTag) == kText) {
    return Str(*reinterpret_cast<Literal*>(word_ - kText)).borrow();
  }
  if (isNumber()) {
    return Call::running().keep(PyInt_FromLong(number()));
  }
  return word_ == kNone ? Py_None : word_ == kTrue ? Py_True : Py_False;
}

namespace {

bool isStr(PyObject* object) { return PyString_CheckExact(object); }

Ref tupleOf(PyObject* const* members, int count) {
  Ref made = Ref::take(PyTuple_New(count));
  for (int index = 0; index < count; ++index) {
    PyTuple_SET_ITEM(made.borrow(), index, Ref::share(members[index]).release());
  }
  return made;
}

// Calls a C function as its flags ask for; `self` may be null. No keywords are given.
PyObject* callNative(const PyMethodDef& method, PyObject* self, PyObject* const* arguments,
                     int count) {
  switch (method.ml_flags) {
    case METH_NOARGS:
      if (count == 0) {
        return method.ml_meth(self, nullptr);
      }
      break;
    case METH_O:
      if (count == 1) {
        return method.ml_meth(self, arguments[0]);
      }
      break;
    case METH_VARARGS:
      return method.ml_meth(self, tupleOf(arguments, count).borrow());
    case METH_VARARGS | METH_KEYWORDS:
      return reinterpret_cast<PyCFunctionWithKeywords>(reinterpret_cast<void (*)()>(
          method.ml_meth))(self, tupleOf(arguments, count).borrow(), nullptr);
    default:
      break;
  }
  // Whatever is rare, and wrong numbers of arguments: PyCFunction_Call knows what to say.
  Ref function = Ref::take(PyCFunction_New(const_cast<PyMethodDef*>(&method), self));
  return PyObject_Call(function.borrow(), tupleOf(arguments, count).borrow(), nullptr);
}

// The keyword arguments of a call. The interpreter fills the dictionary from the last to the first.
Ref dictOf(PyObject* const* pairs, int count) {
  Ref made = Ref::take(PyDict_New());
  for (PyObject* const* pair = pairs + std::ptrdiff_t{2} * count; pair != pairs;) {
    pair -= 2;
    require(PyDict_SetItem(made.borrow(), pair[0], pair[1]));
  }
  return made;
}

// Calls as the interpreter itself does, which makes no tuple of arguments for functions written in
// Python, their bound methods, and C functions that take one argument or none. `keywords` has
// `keywordCount` names, each followed by its value.
PyObject* callWith(PyObject* callee, PyObject* const* arguments, int count,
                   PyObject* const* keywords = nullptr, int keywordCount = 0) {
  PyObject* withSelf[kMostArguments];
  if (PyMethod_Check(callee) && PyMethod_GET_SELF(callee) != nullptr && count < kMostArguments) {
    withSelf[0] = PyMethod_GET_SELF(callee);
    std::copy_n(arguments, count++, withSelf + 1);
    arguments = withSelf;
    callee = PyMethod_GET_FUNCTION(callee);
  }
  if (PyFunction_Check(callee)) {
    PyObject* defaults = PyFunction_GET_DEFAULTS(callee);
    const bool some = defaults != nullptr;
    return PyEval_EvalCodeEx(
        reinterpret_cast<PyCodeObject*>(PyFunction_GET_CODE(callee)),
        PyFunction_GET_GLOBALS(callee), nullptr, const_cast<PyObject**>(arguments), count,
        const_cast<PyObject**>(keywords), keywordCount,
        some ? &PyTuple_GET_ITEM(defaults, 0) : nullptr,
        some ? static_cast<int>(PyTuple_GET_SIZE(defaults)) : 0, PyFunction_GET_CLOSURE(callee));
  }
  if (keywordCount != 0) {
    return PyObject_Call(callee, tupleOf(arguments, count).borrow(),
                         dictOf(keywords, keywordCount).borrow());
  }
  if (PyCFunction_Check(callee)) {
    const auto& function = *reinterpret_cast<PyCFunctionObject*>(callee);
    return callNative(*function.m_ml, function.m_self, arguments, count);
  }
  if (isFunction(callee)) {
    return callFunction(callee, arguments, count);
  }
  if (callee == reinterpret_cast<PyObject*>(&PyString_Type) && count == 1 &&
      (PyUnicode_CheckExact(arguments[0]) || isStr(arguments[0]))) {
    return PyObject_Str(arguments[0]);
  }
  return PyObject_Call(callee, tupleOf(arguments, count).borrow(), nullptr);
}

// The type of the methods that built-in types have; the interpreter does not export it.
PyTypeObject* methodDescriptorType() {
  static PyTypeObject* type = nullptr;
  if (type == nullptr) {
    type = Py_TYPE(_PyType_Lookup(&PyList_Type, "append"_s.borrow()));
  }
  return type;
}

// Calls object.name(...): arguments[0] is the object. Where the method is a function of the type
// and the object keeps no attribute of that name, no bound method is made.
PyObject* callMethodOf(PyObject* name, PyObject** arguments, int count) {
  PyObject* object = arguments[0];
  PyTypeObject* type = Py_TYPE(object);
  if (type->tp_getattro == PyObject_GenericGetAttr && type->tp_dict != nullptr) {
    PyObject* found = _PyType_Lookup(type, name);
    // A class may lend itself a method of a type that it does not derive from.
    const bool native = found != nullptr && Py_TYPE(found) == methodDescriptorType() &&
                        PyObject_TypeCheck(object, reinterpret_cast<PyDescrObject*>(found)->d_type);
    if (found == nullptr || native || PyFunction_Check(found) || isFunction(found)) {
      Ref method = found == nullptr ? Ref() : Ref::share(found);
      PyObject** dict = _PyObject_GetDictPtr(object);
      // Kept, since comparing odd names may run code that gives the object another dictionary.
      Ref names = dict == nullptr || *dict == nullptr ? Ref() : Ref::share(*dict);
      PyObject* own = names.bound() ? PyDict_GetItem(names.borrow(), name) : nullptr;
      if (own != nullptr) {
        Ref callee = Ref::share(own);
        return callWith(own, arguments + 1, count - 1);
      }
      if (native) {
        return callNative(*reinterpret_cast<PyMethodDescrObject*>(found)->d_method, object,
                          arguments + 1, count - 1);
      }
      if (found != nullptr) {
        return callWith(found, arguments, count);
      }
    }
  }
  Ref bound = Ref::take(PyObject_GetAttr(object, name));
  return callWith(bound.borrow(), arguments + 1, count - 1);
}

bool holds(long left, long right, int how) {
  switch (how) {
    case Py_EQ:
      return left == right;
    case Py_NE:
      return left != right;
    case Py_LT:
      return left < right;
    case Py_GT:
      return left > right;
    default:
      return left >= right;
  }
}

bool sameText(PyObject* one, PyObject* other) {
  const Py_ssize_t size = PyString_GET_SIZE(one);
  return one == other || (PyString_GET_SIZE(other) == size &&
                          std::memcmp(PyString_AS_STRING(one), PyString_AS_STRING(other),
                                      static_cast<std::size_t>(size)) == 0);
}

}  // namespace

namespace operation {

PyObject* local(PyObject* result) { return Call::running().ownResult(result); }

PyObject* local(Value value) {
  PyObject* object = value.borrow();
  Py_INCREF(object);
  return Call::running().own(object);
}

PyObject* real(double value) { return Call::running().keep(PyFloat_FromDouble(value)); }

PyObject* attr(PyObject* object, Str name) {
  return Call::running().keep(PyObject_GetAttr(object, name.borrow()));
}

void set(PyObject* object, Str name, Value value) {
  Call::running();
  require(PyObject_SetAttr(object, name.borrow(), value.borrow()));
}

PyObject* item(PyObject* object, Value key) {
  Call& call = Call::running();
  if (key.isNumber()) {
    const auto index = static_cast<std::size_t>(key.number());
    if (PyTuple_CheckExact(object) && index < static_cast<std::size_t>(PyTuple_GET_SIZE(object))) {
      return call.share(PyTuple_GET_ITEM(object, index));
    }
    if (PyList_CheckExact(object) && index < static_cast<std::size_t>(PyList_GET_SIZE(object))) {
      return call.share(PyList_GET_ITEM(object, index));
    }
  }
  return call.keep(PyObject_GetItem(object, key.borrow()));
}

void setItem(PyObject* object, Value key, Value value) {
  Call::running();
  require(PyObject_SetItem(object, key.borrow(), value.borrow()));
}

PyObject* call(PyObject* callee) { return Call::running().keep(callWith(callee, nullptr, 0)); }

PyObject* call(PyObject* callee, Value only) {
  Call& call = Call::running();
  PyObject* argument = only.borrow();
  return call.keep(callWith(callee, &argument, 1));
}

PyObject* call(PyObject* callee, const Argument* arguments, int count) {
  Call& call = Call::running();
  PyObject* positional[kMostArguments];
  PyObject* keywords[2 * kMostArguments];
  int positionals = 0;
  PyObject** end = keywords;
  for (int index = 0; index < count; ++index) {
    const Argument& argument = arguments[index];
    if (!argument.keyword) {
      positional[positionals++] = argument.value.borrow();
      continue;
    }
    *end++ = argument.keyword.borrow();
    *end++ = argument.value.borrow();
  }
  return call.keep(
      callWith(callee, positional, positionals, keywords, static_cast<int>(end - keywords) / 2));
}

PyObject* callMethod(PyObject* object, Str name) {
  Call& call = Call::running();
  return call.keep(callMethodOf(name.borrow(), &object, 1));
}

PyObject* callMethod(PyObject* object, Str name, Value only) {
  return callMethod(object, name, &only, 1);
}

PyObject* callMethod(PyObject* object, Str name, const Value* arguments, int count) {
  Call& call = Call::running();
  PyObject* all[kMostArguments + 1] = {object};
  for (int index = 0; index < count; ++index) {
    all[index + 1] = arguments[index].borrow();
  }
  return call.keep(callMethodOf(name.borrow(), all, count + 1));
}

bool truthy(PyObject* object) {
  Call::running();
  return require(PyObject_IsTrue(object)) != 0;
}

bool contains(PyObject* container, Value member) {
  Call::running();
  return require(PySequence_Contains(container, member.borrow())) != 0;
}

bool compare(PyObject* left, Value right, int how) {
  Call& call = Call::running();
  if (right.isNumber() && PyInt_CheckExact(left)) {
    return holds(PyInt_AS_LONG(left), right.number(), how);
  }
  PyObject* other = right.borrow();
  if (how == Py_EQ && isStr(left) && isStr(other)) {
    return sameText(left, other);
  }
  // Not PyObject_RichCompareBool: that takes identical objects for equal without asking them.
  PyObject* result = call.keep(PyObject_RichCompare(left, other, how));
  return result == Py_True || (result != Py_False && truthy(result));
}

PyObject* plus(PyObject* left, Value right) {
  Call& call = Call::running();
  PyObject* other = right.borrow();
  return call.keep(isStr(left) && isStr(other)
                       ? PyString_Type.tp_as_sequence->sq_concat(left, other)
                       : PyNumber_Add(left, other));
}

PyObject* times(PyObject* left, Value right) {
  return Call::running().keep(PyNumber_Multiply(left, right.borrow()));
}

PyObject* format(PyObject* text, Value values) {
  Call& call = Call::running();
  PyObject* given = values.borrow();
  return call.keep(isStr(text) && PyTuple_CheckExact(given) ? PyString_Format(text, given)
                                                            : PyNumber_Remainder(text, given));
}

PyObject* increasedBy(PyObject* left, Value right) {
  return Call::running().keep(PyNumber_InPlaceAdd(left, right.borrow()));
}

PyObject** variable() { return Call::running().place(); }

void assign(PyObject** variable, Value value) {
  PyObject* assigned = value.borrow();
  Py_INCREF(assigned);
  PyObject* old = std::exchange(*variable, assigned);
  Py_XDECREF(old);
}

void add(PyObject** variable, Value more) {
  Call::running();  // the previous statement no longer needs the text
  PyObject* text = *variable;
  PyObject* added = more.borrow();
  const bool own = isStr(text) && isStr(added) && text != added && Py_REFCNT(text) == 1 &&
                   !PyString_CHECK_INTERNED(text) &&
                   PyString_GET_SIZE(added) <= PY_SSIZE_T_MAX - PyString_GET_SIZE(text);
  if (!own) {
    assign(variable, Value(increasedBy(text, more)));
    return;
  }
  const Py_ssize_t size = PyString_GET_SIZE(text);
  const Py_ssize_t addedSize = PyString_GET_SIZE(added);
  require(_PyString_Resize(variable, size + addedSize));
  std::memcpy(PyString_AS_STRING(*variable) + size, PyString_AS_STRING(added),
              static_cast<std::size_t>(addedSize));
}

void append(PyObject* list, Value member) { require(PyList_Append(list, member.borrow())); }

PyObject* list(const Value* members, int count) {
  PyObject* made = Call::running().keep(PyList_New(0));
  for (int index = 0; index < count; ++index) {
    append(made, members[index]);
  }
  return made;
}

PyObject* tuple(const Value* members, int count) {
  PyObject* made = Call::running().keep(PyTuple_New(count));
  for (int index = 0; index < count; ++index) {
    PyTuple_SET_ITEM(made, index, Ref::share(members[index].borrow()).release());
  }
  return made;
}

PyObject* dict(int room) { return Call::running().keep(_PyDict_NewPresized(room)); }

PyObject* dict(const Argument* entries, int count) {
  PyObject* made = dict(count);
  for (int index = 0; index < count; ++index) {
    require(PyDict_SetItem(made, entries[index].keyword.borrow(), entries[index].value.borrow()));
  }
  return made;
}

}  // namespace operation

#ifndef NDEBUG
Object::Object(PyObject* kept) : object_(kept), statement_(Call::running().statement()) {}

PyObject* Object::borrow() const {
  if (statement_ != Call::running().statement()) {
    Py_FatalError("a result is used after its statement: keep it in a Local");
  }
  return object_;
}
#endif

// --- Variables.

Value Variable::boundAs(Str name) const {
  if (*place_ == nullptr) {
    PyErr_Format(PyExc_UnboundLocalError, "local variable '%s' referenced before assignment",
                 name.text());
    raisePending();
  }
  return *this;
}

}  // namespace python
