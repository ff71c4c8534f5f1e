#include "python/ref.h"

#include <cstdint>

namespace python {
namespace {

// The string objects of all literals, found by the literal's address: open addressing, at most half
// full. The references are kept until the process ends, so there is nothing to destroy.
struct Constant {
  const char* literal;
  PyObject* object;
};
constexpr std::size_t kConstants = 1024;
Constant constants[kConstants];
std::size_t constantsUsed = 0;

Constant& constantOf(const char* literal) {
  auto place = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(literal)) * 2654435769U;
  std::size_t slot = place >> 22U;  // ten bits
  while (constants[slot].literal != nullptr && constants[slot].literal != literal) {
    slot = (slot + 1) % kConstants;
  }
  return constants[slot];
}

}  // namespace

void raisePending() { throw PythonError(); }

PyObject* Name::borrow() const {
  Constant& constant = constantOf(text_);
  if (constant.literal == nullptr) {
    if (constantsUsed >= kConstants / 2) {
      PyErr_SetString(PyExc_SystemError, "the table of string constants is full");
      raisePending();
    }
    constant.object = require(PyString_InternFromString(text_));
    constant.literal = text_;
    ++constantsUsed;
  }
  return constant.object;
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

Ref Ref::attr(Name name) const { return take(PyObject_GetAttr(object_, name.borrow())); }

void Ref::set(Name name, const Ref& value) const {
  require(PyObject_SetAttr(object_, name.borrow(), value.object_));
}

Ref Ref::item(const Ref& key) const { return take(PyObject_GetItem(object_, key.object_)); }

void Ref::setItem(const Ref& key, const Ref& value) const {
  require(PyObject_SetItem(object_, key.object_, value.object_));
}

Ref Ref::operator()() const {
  Ref nothing = tuple({});
  return take(PyObject_Call(object_, nothing.object_, nullptr));
}

Ref Ref::operator()(const Argument& only) const { return (*this)({only}); }

Ref Ref::operator()(std::initializer_list<Argument> arguments) const {
  Py_ssize_t byPosition = 0;
  for (const Argument& argument : arguments) {
    byPosition += argument.keyword == nullptr ? 1 : 0;
  }
  Ref positional = take(PyTuple_New(byPosition));
  Ref keywords;
  Py_ssize_t position = 0;
  for (const Argument& argument : arguments) {
    if (argument.keyword == nullptr) {
      PyTuple_SET_ITEM(positional.object_, position++, Ref(argument.value).release());
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

bool Ref::contains(const Ref& member) const {
  return require(PySequence_Contains(object_, member.object_)) != 0;
}

Ref Ref::plus(const Ref& other) const { return take(PyNumber_Add(object_, other.object_)); }

Ref Ref::times(const Ref& other) const { return take(PyNumber_Multiply(object_, other.object_)); }

Ref Ref::format(const Ref& values) const {
  return take(PyNumber_Remainder(object_, values.object_));
}

void Ref::append(const Ref& member) const { require(PyList_Append(object_, member.object_)); }

bool Ref::compare(const Ref& other, int operation) const {
  // Not PyObject_RichCompareBool: that takes identical objects for equal without asking them.
  return take(PyObject_RichCompare(object_, other.object_, operation)).truthy();
}

Ref none() { return Ref::share(Py_None); }

Ref no() { return false; }

Ref zero() { return 0; }

Ref list(std::initializer_list<Ref> members) {
  Ref made = Ref::take(PyList_New(0));
  for (const Ref& member : members) {
    made.append(member);
  }
  return made;
}

Ref tuple(std::initializer_list<Ref> members) {
  Ref made = Ref::take(PyTuple_New(static_cast<Py_ssize_t>(members.size())));
  Py_ssize_t index = 0;
  for (Ref member : members) {
    PyTuple_SET_ITEM(made.borrow(), index++, member.release());
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
