#include "python/object.h"

#include "python/call.h"

#include <algorithm>

namespace python {
namespace {

// The objects of the few numbers that stand in the code, each in the first free place from the
// number's own on; kept until the process ends.
struct Number {
  int value;
  PyObject* object;
};
constexpr unsigned kNumbers = 32;
Number numbers[kNumbers];

// By position; with the bound method's object one more.
constexpr int kMostArguments = 7;

Ref tupleOf(PyObject** members, int count) {
  Ref made = Ref::take(PyTuple_New(count));
  for (int index = 0; index < count; ++index) {
    PyTuple_SET_ITEM(made.borrow(), index, Ref::share(members[index]).release());
  }
  return made;
}

// Calls as the interpreter itself does, which makes no tuple of arguments for functions written in
// Python, their bound methods, and C functions that take one argument or none.
PyObject* callWith(PyObject* callee, PyObject** arguments, int count) {
  if (callee == reinterpret_cast<PyObject*>(&PyString_Type) && count == 1 &&
      (PyUnicode_CheckExact(arguments[0]) || PyString_CheckExact(arguments[0]))) {
    return PyObject_Str(arguments[0]);
  }
  if (PyCFunction_Check(callee) &&
      PyCFunction_GET_FLAGS(callee) == (count == 0 ? METH_NOARGS : METH_O) && count < 2) {
    return PyCFunction_GET_FUNCTION(callee)(PyCFunction_GET_SELF(callee),
                                            count == 0 ? nullptr : arguments[0]);
  }
  PyObject* withSelf[kMostArguments + 1];
  if (PyMethod_Check(callee) && PyMethod_GET_SELF(callee) != nullptr) {
    withSelf[0] = PyMethod_GET_SELF(callee);
    std::copy_n(arguments, count++, withSelf + 1);
    arguments = withSelf;
    callee = PyMethod_GET_FUNCTION(callee);
  }
  if (PyFunction_Check(callee)) {
    PyObject* defaults = PyFunction_GET_DEFAULTS(callee);
    const bool some = defaults != nullptr;
    return PyEval_EvalCodeEx(reinterpret_cast<PyCodeObject*>(PyFunction_GET_CODE(callee)),
                             PyFunction_GET_GLOBALS(callee), nullptr, arguments, count, nullptr, 0,
                             some ? &PyTuple_GET_ITEM(defaults, 0) : nullptr,
                             some ? static_cast<int>(PyTuple_GET_SIZE(defaults)) : 0,
                             PyFunction_GET_CLOSURE(callee));
  }
  return PyObject_Call(callee, tupleOf(arguments, count).borrow(), nullptr);
}

}  // namespace

const Object& Object::attr(Name name) const {
  Call& call = Call::running();
  return call.keep(PyObject_GetAttr(borrow(), name.borrow()));
}

void Object::set(Name name, Lent value) const {
  Call& call = Call::running();
  call.check(PyObject_SetAttr(borrow(), name.borrow(), value.borrow()));
}

const Object& Object::item(Lent key) const {
  Call& call = Call::running();
  if (PyTuple_CheckExact(borrow()) && PyInt_CheckExact(key.borrow())) {
    const auto index = static_cast<std::size_t>(PyInt_AS_LONG(key.borrow()));
    if (index < static_cast<std::size_t>(PyTuple_GET_SIZE(borrow()))) {
      return call.share(PyTuple_GET_ITEM(borrow(), index));
    }
  }
  return call.keep(PyObject_GetItem(borrow(), key.borrow()));
}
const Object& Object::item(Name key) const { return item(literal(key)); }

void Object::setItem(Name key, Lent value) const {
  Call& call = Call::running();
  call.check(PyObject_SetItem(borrow(), key.borrow(), value.borrow()));
}

const Object& Object::operator()() const {
  Call& call = Call::running();
  return call.keep(callWith(borrow(), nullptr, 0));
}

const Object& Object::operator()(Lent only) const {
  Call& call = Call::running();
  PyObject* argument = only.borrow();
  return call.keep(callWith(borrow(), &argument, 1));
}
const Object& Object::operator()(Name only) const { return (*this)(literal(only)); }

const Object& Object::operator()(std::initializer_list<Argument> arguments) const {
  Call& call = Call::running();
  PyObject* positional[kMostArguments];
  int count = 0;
  Ref keywords;
  for (const Argument& argument : arguments) {
    if (argument.keyword == nullptr) {
      positional[count++] = argument.value.borrow();
      continue;
    }
    if (!keywords.bound()) {
      keywords = Ref::take(PyDict_New());
    }
    require(PyDict_SetItem(keywords.borrow(), Name::ofTable(argument.keyword).borrow(),
                           argument.value.borrow()));
  }
  if (!keywords.bound()) {
    return call.keep(callWith(borrow(), positional, count));
  }
  return call.keep(PyObject_Call(borrow(), tupleOf(positional, count).borrow(), keywords.borrow()));
}

bool Object::truthy() const {
  Call& call = Call::running();
  return call.check(PyObject_IsTrue(borrow())) != 0;
}

bool Object::contains(Lent member) const {
  Call& call = Call::running();
  return call.check(PySequence_Contains(borrow(), member.borrow())) != 0;
}

bool Object::compare(Lent other, int operation) const {
  Call& call = Call::running();
  // Not PyObject_RichCompareBool: that takes identical objects for equal without asking them.
  const Object& result = call.keep(PyObject_RichCompare(borrow(), other.borrow(), operation));
  return result.borrow() == Py_True || (result.borrow() != Py_False && result.truthy());
}
bool Object::equals(Lent other) const { return compare(other, Py_EQ); }
bool Object::equals(Name other) const { return equals(literal(other)); }
bool Object::differs(Lent other) const { return compare(other, Py_NE); }
bool Object::lessThan(Lent other) const { return compare(other, Py_LT); }
bool Object::greaterThan(Lent other) const { return compare(other, Py_GT); }
bool Object::atLeast(Lent other) const { return compare(other, Py_GE); }

const Object& Object::plus(Lent other) const {
  Call& call = Call::running();
  return call.keep(PyNumber_Add(borrow(), other.borrow()));
}
const Object& Object::plus(Name other) const { return plus(literal(other)); }

const Object& Object::times(Lent other) const {
  Call& call = Call::running();
  return call.keep(PyNumber_Multiply(borrow(), other.borrow()));
}

const Object& Object::format(Lent values) const {
  Call& call = Call::running();
  return call.keep(PyNumber_Remainder(borrow(), values.borrow()));
}

const Object& Object::increasedBy(Lent more) const {
  Call& call = Call::running();
  return call.keep(PyNumber_InPlaceAdd(borrow(), more.borrow()));
}

void Object::append(Lent member) const { require(PyList_Append(borrow(), member.borrow())); }

Lent::Lent(int constant) {
  unsigned place = static_cast<unsigned>(constant) % kNumbers;
  unsigned seen = 0;
  while (numbers[place].object != nullptr && numbers[place].value != constant) {
    place = (place + 1) % kNumbers;
    if (++seen == kNumbers) {
      raise(PyExc_SystemError, "the table of number constants is full");
    }
  }
  if (numbers[place].object == nullptr) {
    numbers[place] = {constant, require(PyInt_FromLong(constant))};
  }
  object_ = numbers[place].object;
}

const Object& literal(Name text) { return Object::of(text.borrow()); }

const Object& no() { return truth(false); }

const Object& zero() { return number(0); }

const Object& number(int value) { return Object::of(Lent(value).borrow()); }

const Object& real(double value) { return Call::running().keep(PyFloat_FromDouble(value)); }

const Object& list(std::initializer_list<Member> members) {
  const Object& made = Call::running().keep(PyList_New(0));
  for (const Member& member : members) {
    made.append(member);
  }
  return made;
}

const Object& tuple(std::initializer_list<Member> members) {
  const Object& made = Call::running().keep(PyTuple_New(static_cast<Py_ssize_t>(members.size())));
  Py_ssize_t index = 0;
  for (const Member& member : members) {
    PyTuple_SET_ITEM(made.borrow(), index++, Ref::share(member.borrow()).release());
  }
  return made;
}

const Object& dict(std::initializer_list<Entry> entries) {
  const Object& made = Call::running().keep(PyDict_New());
  for (const Entry& entry : entries) {
    made.setItem(entry.key, entry.value);
  }
  return made;
}

}  // namespace python
