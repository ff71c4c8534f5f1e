#include "python/ref.h"

#include <cstdint>
#include <cstring>

namespace python {
namespace {

// The string objects of all literals, found by the literal's address: open addressing, at most
// three quarters full. The references are kept until the process ends, so nothing is destroyed.
struct Constant {
  const char* literal;
  PyObject* object;
};
constexpr std::size_t kConstants = 1024;
Constant constants[kConstants];
std::size_t constantsUsed = 0;

// The same for the few numbers.
struct Number {
  int value;
  PyObject* object;
};
constexpr std::size_t kNumbers = 32;
Number numbers[kNumbers];

Constant& constantOf(const char* literal) {
  auto place = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(literal)) * 2654435769U;
  std::size_t slot = place >> 22U;  // ten bits
  while (constants[slot].literal != nullptr && constants[slot].literal != literal) {
    slot = (slot + 1) % kConstants;
  }
  return constants[slot];
}

}  // namespace

void raisePending() {
  PyObject* type = nullptr;
  PyObject* value = nullptr;
  PyObject* traceback = nullptr;
  PyErr_Fetch(&type, &value, &traceback);
  throw PythonError{type, value, traceback};
}

void raise(PyObject* type, const char* message) {
  PyErr_SetString(type, message);
  raisePending();
}

PyObject* Name::borrow() const {
  Constant& constant = constantOf(text_);
  if (constant.literal == nullptr) {
    if (constantsUsed >= kConstants / 4 * 3) {
      raise(PyExc_SystemError, "the table of string constants is full");
    }
    constant.object = require(PyString_InternFromString(text_));
    constant.literal = text_;
    ++constantsUsed;
  }
  return constant.object;
}

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

Ref::Ref(Name name) : Ref(share(name.borrow())) {}

Ref::Ref(int number) : object_(require(PyInt_FromLong(number))) {}

Ref::Ref(double number) : object_(require(PyFloat_FromDouble(number))) {}

Ref::Ref(const Ref& other) : object_(other.object_) { Py_XINCREF(object_); }

Ref::~Ref() { Py_XDECREF(object_); }

Ref Ref::share(PyObject* lent) {
  require(lent);
  Py_INCREF(lent);
  return Ref(lent);
}

const Ref& Ref::boundAs(Name variable) const {
  if (object_ == nullptr) {
    PyErr_Format(PyExc_UnboundLocalError, "local variable '%s' referenced before assignment",
                 variable.text());
    raisePending();
  }
  return *this;
}

Ref Ref::attr(Name name) const& { return take(PyObject_GetAttr(object_, name.borrow())); }

void Ref::set(Name name, Lent value) const {
  require(PyObject_SetAttr(object_, name.borrow(), value.borrow()));
}

Ref Ref::item(Lent key) const& { return take(PyObject_GetItem(object_, key.borrow())); }

void Ref::setItem(Lent key, Lent value) const {
  require(PyObject_SetItem(object_, key.borrow(), value.borrow()));
}

Ref Ref::operator()() const& { return take(PyObject_CallObject(object_, nullptr)); }

Ref Ref::operator()(Lent only) const& {
  return take(PyObject_CallFunctionObjArgs(object_, only.borrow(), nullptr));
}

Ref Ref::operator()(std::initializer_list<Argument> arguments) const& {
  Py_ssize_t byPosition = 0;
  for (const Argument& argument : arguments) {
    byPosition += argument.keyword == nullptr ? 1 : 0;
  }
  Ref positional = take(PyTuple_New(byPosition));
  Ref keywords;
  Py_ssize_t position = 0;
  for (const Argument& argument : arguments) {
    if (argument.keyword == nullptr) {
      PyTuple_SET_ITEM(positional.object_, position++, share(argument.value.borrow()).release());
      continue;
    }
    if (!keywords.bound()) {
      keywords = dict({});
    }
    keywords.setItem(Name::ofTable(argument.keyword), argument.value);
  }
  return take(PyObject_Call(object_, positional.object_, keywords.object_));
}

bool Ref::truthy() const { return require(PyObject_IsTrue(object_)) != 0; }

bool Ref::contains(Lent member) const {
  return require(PySequence_Contains(object_, member.borrow())) != 0;
}

Ref Ref::plus(Lent other) const& { return take(PyNumber_Add(object_, other.borrow())); }

Ref Ref::times(Lent other) const& { return take(PyNumber_Multiply(object_, other.borrow())); }

Ref Ref::format(Lent values) const& { return take(PyNumber_Remainder(object_, values.borrow())); }

// A step in the middle of a chain: what the chain had reached makes room for where it goes on to.
Ref&& Ref::attr(Name name) && { return std::move(*this = std::as_const(*this).attr(name)); }
Ref&& Ref::item(Lent key) && { return std::move(*this = std::as_const(*this).item(key)); }
Ref&& Ref::operator()() && { return std::move(*this = std::as_const(*this)()); }
Ref&& Ref::operator()(Lent only) && { return std::move(*this = std::as_const(*this)(only)); }
Ref&& Ref::operator()(std::initializer_list<Argument> arguments) && {
  return std::move(*this = std::as_const(*this)(arguments));
}
Ref&& Ref::plus(Lent other) && { return std::move(*this = std::as_const(*this).plus(other)); }
Ref&& Ref::times(Lent other) && { return std::move(*this = std::as_const(*this).times(other)); }
Ref&& Ref::format(Lent values) && { return std::move(*this = std::as_const(*this).format(values)); }

void Ref::add(Lent more) {
  const bool own = PyString_CheckExact(object_) && PyString_CheckExact(more.borrow()) &&
                   Py_REFCNT(object_) == 1 && !PyString_CHECK_INTERNED(object_);
  if (!own) {
    *this = take(PyNumber_InPlaceAdd(object_, more.borrow()));
    return;
  }
  const Py_ssize_t size = PyString_GET_SIZE(object_);
  const Py_ssize_t moreSize = PyString_GET_SIZE(more.borrow());
  if (moreSize > PY_SSIZE_T_MAX - size) {
    raise(PyExc_OverflowError, "strings are too large to concat");
  }
  require(_PyString_Resize(&object_, size + moreSize));
  std::memcpy(PyString_AS_STRING(object_) + size, PyString_AS_STRING(more.borrow()),
              static_cast<std::size_t>(moreSize));
}

Membership::Membership(Ref members) : members_(std::move(members)) {
  PyObject* list = members_.borrow();
  if (!PyList_CheckExact(list)) {
    return;
  }
  for (Py_ssize_t index = 0; index < PyList_GET_SIZE(list); ++index) {
    if (!PyString_CheckExact(PyList_GET_ITEM(list, index))) {
      return;
    }
  }
  set_ = Ref::take(PyFrozenSet_New(list));
}

bool Membership::has(const Ref& member) const {
  const bool quick = set_.bound() && PyString_CheckExact(member.borrow());
  return (quick ? set_ : members_).contains(member);
}

void Ref::append(Lent member) const { require(PyList_Append(object_, member.borrow())); }

bool Ref::compare(Lent other, int operation) const {
  // Not PyObject_RichCompareBool: that takes identical objects for equal without asking them.
  return take(PyObject_RichCompare(object_, other.borrow(), operation)).truthy();
}

Ref none() { return Ref::share(Py_None); }

Ref no() { return false; }

Ref zero() { return 0; }

Ref list(std::initializer_list<Lent> members) {
  Ref made = Ref::take(PyList_New(0));
  for (const Lent& member : members) {
    made.append(member);
  }
  return made;
}

Ref tuple(std::initializer_list<Lent> members) {
  Ref made = Ref::take(PyTuple_New(static_cast<Py_ssize_t>(members.size())));
  Py_ssize_t index = 0;
  for (const Lent& member : members) {
    PyTuple_SET_ITEM(made.borrow(), index++, Ref::share(member.borrow()).release());
  }
  return made;
}

Ref dict(std::initializer_list<Entry> entries) {
  Ref made = Ref::take(PyDict_New());
  for (const Entry& entry : entries) {
    made.setItem(entry.key, entry.value);
  }
  return made;
}

}  // namespace python
