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

Constant& constantOf(const char* literal) {
  auto place = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(literal)) * 2654435769U;
  std::size_t slot = place >> 22U;  // ten bits
  while (constants[slot].literal != nullptr && constants[slot].literal != literal) {
    slot = (slot + 1) % kConstants;
  }
  return constants[slot];
}

}  // namespace

void raisePending() { throw PythonError::fetch(); }

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

Ref::~Ref() { Py_XDECREF(object_); }

}  // namespace python
