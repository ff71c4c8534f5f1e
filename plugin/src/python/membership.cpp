#include "python/membership.h"

namespace python {
namespace {

// The set of the members, or None where it could not take the list's place.
Value setOf(const Local& members) {
  PyObject* list = members.borrow();
  // One reference, the variable's: nobody else can change the list.
  if (!PyList_CheckExact(list) || Py_REFCNT(list) > 1) {
    return none;
  }
  for (Py_ssize_t index = 0; index < PyList_GET_SIZE(list); ++index) {
    if (!PyString_CheckExact(PyList_GET_ITEM(list, index))) {
      return none;
    }
  }
  return Object(Call::running().keep(PyFrozenSet_New(list)));
}

}  // namespace

Membership::Membership(Local members) : members_(members), set_(setOf(members)) {}

bool Membership::has(Value member) const {
  const bool quick = !set_.isNone() && PyString_CheckExact(member.borrow());
  return (quick ? set_ : members_).contains(member);
}

}  // namespace python
