#include "python/globals.h"

#include "python/call.h"

namespace python {
namespace {

// The attribute, or null where the object has none.
const Object* attributeIfAny(const Object& object, Name name) {
  Call& call = Call::running();
  PyObject* found = PyObject_GetAttr(object.borrow(), name.borrow());
  if (found == nullptr && PyErr_ExceptionMatches(PyExc_AttributeError) != 0) {
    PyErr_Clear();
    return nullptr;
  }
  return &call.keep(found);
}

}  // namespace

const Object& global(Name name) {
  const Object* found = findGlobal(name);
  if (found == nullptr) {
    PyErr_Format(PyExc_NameError, "global name '%.200s' is not defined", name.text());
    raisePending();
  }
  return *found;
}

const Object* findGlobal(Name name) {
  Call& call = Call::running();
  PyObject* key = name.borrow();
  PyObject* found = PyDict_GetItem(call.globals(), key);
  if (found == nullptr) {
    found = PyDict_GetItem(call.builtins(), key);
  }
  return found == nullptr ? nullptr : &call.share(found);
}

void bind(Name name, Lent value) {
  Call& call = Call::running();
  call.check(PyDict_SetItem(call.globals(), name.borrow(), value.borrow()));
}

const Object& importFrom(Name path, const Object& names) {
  // The import statement takes the builtin, whatever the module itself may call __import__.
  Call& call = Call::running();
  PyObject* import = PyDict_GetItem(call.builtins(), Name("__import__").borrow());
  if (import == nullptr) {
    raise(PyExc_ImportError, "__import__ not found");
  }
  Lent space(call.globals());
  return call.share(import)({path, space, space, names});
}

void importModule(Name path) {
  const Object& top = importFrom(path, none());
  const Object& name = literal(path).attr("split")({".", 1}).item(0);
  Call& call = Call::running();
  call.check(PyDict_SetItem(call.globals(), name.borrow(), top.borrow()));
}

const Object& importAbsolute(Name path) {
  Call& call = Call::running();
  return call.keep(PyImport_ImportModuleLevel(const_cast<char*>(path.text()), nullptr, nullptr,
                                              nullptr, /*level=*/0));
}

void bindFrom(const Object& module, Name name, Name as) {
  const Object* found = attributeIfAny(module, name);
  if (found == nullptr) {
    PyErr_Format(PyExc_ImportError, "cannot import name %.230s", name.text());
    raisePending();
  }
  bind(as, *found);
}

void bindAllFrom(const Object& module) {
  const Object* names = attributeIfAny(module, "__all__");
  const bool publicOnly = names == nullptr;
  if (publicOnly) {
    const Object* dict = attributeIfAny(module, "__dict__");
    if (dict == nullptr) {
      raise(PyExc_ImportError, "from-import-* object has no __dict__ and no __all__");
    }
    names = &dict->attr("keys")();
  }
  Call& call = Call::running();
  // By index until IndexError, as the interpreter walks an __all__ of whatever type.
  for (Py_ssize_t index = 0;; ++index) {
    PyObject* next = PySequence_GetItem(names->borrow(), index);
    if (next == nullptr) {
      if (PyErr_ExceptionMatches(PyExc_IndexError) == 0) {
        raisePending();
      }
      PyErr_Clear();
      call.resume();
      return;
    }
    Ref name = Ref::take(next);  // more of them than a call keeps
    if (publicOnly && PyString_Check(name.borrow()) &&
        PyString_AS_STRING(name.borrow())[0] == '_') {
      continue;
    }
    Ref value = Ref::take(PyObject_GetAttr(module.borrow(), name.borrow()));
    require(PyDict_SetItem(call.globals(), name.borrow(), value.borrow()));
  }
}

}  // namespace python
