#include "python/ref.h"

#include <cstdint>

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

// Where to look first for a literal, in ten bits.
std::size_t slotOf(const char* literal) {
  return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(literal)) * 2654435769U >> 22U;
}

// Goes on from there, and makes the object at the literal's first use.
PyObject* findOrMake(const char* literal, std::size_t slot) {
  while (constants[slot].literal != nullptr && constants[slot].literal != literal) {
    slot = (slot + 1) % kConstants;
  }
  Constant& constant = constants[slot];
  if (constant.literal == nullptr) {
    if (constantsUsed >= kConstants / 4 * 3) {
      raise(PyExc_SystemError, "the table of string constants is full");
    }
    constant.object = require(PyString_InternFromString(literal));
    constant.literal = literal;
    ++constantsUsed;
  }
  return constant.object;
}

}  // namespace

void raisePending() { throw PythonError::fetch(); }

void raise(PyObject* type, const char* message) {
  PyErr_SetString(type, message);
  raisePending();
}

PyObject* Name::borrow() const {
  const std::size_t slot = slotOf(text_);
  const Constant& first = constants[slot];
  return first.literal == text_ ? first.object : findOrMake(text_, slot);
}

Ref::~Ref() { Py_XDECREF(object_); }

}  // namespace python
