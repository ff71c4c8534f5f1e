#include "python/object.h"

#include "python/call.h"

namespace python {
namespace {

// The objects of the few numbers that stand in the code; kept until the process ends.
struct Number {
  int value;
  PyObject* object;
};
constexpr std::size_t kNumbers = 32;
Number numbers[kNumbers];

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
  return call.keep(PyObject_GetItem(borrow(), key.borrow()));
}
const Object& Object::item(Name key) const { return item(literal(key)); }

void Object::setItem(Name key, Lent value) const {
  Call& call = Call::running();
  call.check(PyObject_SetItem(borrow(), key.borrow(), value.borrow()));
}

const Object& Object::operator()() const {
  Call& call = Call::running();
  return call.keep(PyObject_CallObject(borrow(), nullptr));
}

const Object& Object::operator()(Lent only) const {
  Call& call = Call::running();
  return call.keep(PyObject_CallFunctionObjArgs(borrow(), only.borrow(), nullptr));
}
const Object& Object::operator()(Name only) const { return (*this)(literal(only)); }

const Object& Object::operator()(std::initializer_list<Argument> arguments) const {
  Py_ssize_t byPosition = 0;
  for (const Argument& argument : arguments) {
    byPosition += argument.keyword == nullptr ? 1 : 0;
  }
  Call& call = Call::running();
  Ref positional = Ref::take(PyTuple_New(byPosition));
  Ref keywords;
  Py_ssize_t position = 0;
  for (const Argument& argument : arguments) {
    if (argument.keyword == nullptr) {
      PyTuple_SET_ITEM(positional.borrow(), position++,
                       Ref::share(argument.value.borrow()).release());
      continue;
    }
    if (!keywords.bound()) {
      keywords = Ref::take(PyDict_New());
    }
    require(PyDict_SetItem(keywords.borrow(), Name::ofTable(argument.keyword).borrow(),
                           argument.value.borrow()));
  }
  return call.keep(PyObject_Call(borrow(), positional.borrow(), keywords.borrow()));
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
  return call.keep(PyObject_RichCompare(borrow(), other.borrow(), operation)).truthy();
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
  Number* number = numbers;
  while (number->object != nullptr && number->value != constant) {
    if (++number == numbers + kNumbers) {
      raise(PyExc_SystemError, "the table of number constants is full");
    }
  }
  if (number->object == nullptr) {
    *number = {constant, require(PyInt_FromLong(constant))};
  }
  object_ = number->object;
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
