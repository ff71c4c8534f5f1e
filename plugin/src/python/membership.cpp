#include "python/membership.h"

namespace python {

Membership::Membership(const Object& members, Call& at) : members_(at.local(members)) {
  PyObject* list = members.borrow();
  // Two references, the statement's and the variable's: nobody else can change the list.
  if (!PyList_CheckExact(list) || Py_REFCNT(list) > 2) {
    return;
  }
  for (Py_ssize_t index = 0; index < PyList_GET_SIZE(list); ++index) {
    if (!PyString_CheckExact(PyList_GET_ITEM(list, index))) {
      return;
    }
  }
  set_ = &at.local(at.keep(PyFrozenSet_New(list)));
}

bool Membership::has(const Object& member) const {
  const bool quick = set_ != nullptr && PyString_CheckExact(member.borrow());
  return (quick ? *set_ : members_).contains(member);
}

}  // namespace python
