#include "python/globals.h"

namespace python {
namespace {

// The attribute, or an unbound Ref where the object has none.
Ref attributeIfAny(const Ref& object, Name name) {
  PyObject* found = PyObject_GetAttr(object.borrow(), name.borrow());
  if (found == nullptr) {
    if (PyErr_ExceptionMatches(PyExc_AttributeError) == 0) {
      raisePending();
    }
    PyErr_Clear();
    return {};
  }
  return Ref::take(found);
}

}  // namespace

Ref Globals::operator()(Name name) const {
  Ref found = find(name);
  if (!found.bound()) {
    PyErr_Format(PyExc_NameError, "global name '%.200s' is not defined", name.text());
    raisePending();
  }
  return found;
}

Ref Globals::find(Name name) const {
  PyObject* found = PyDict_GetItem(dict_, name.borrow());
  return found == nullptr ? findBuiltin(name) : Ref::share(found);
}

Ref Globals::findBuiltin(Name name) const {
  // A module, or its dictionary where the host has put that.
  PyObject* builtins = PyDict_GetItem(dict_, Name("__builtins__").borrow());
  if (builtins != nullptr && PyModule_Check(builtins)) {
    builtins = PyModule_GetDict(builtins);
  }
  PyObject* found = builtins == nullptr || !PyDict_Check(builtins)
                        ? nullptr
                        : PyDict_GetItem(builtins, name.borrow());
  return found == nullptr ? Ref() : Ref::share(found);
}

void Globals::bind(Name name, const Ref& value) const {
  require(PyDict_SetItem(dict_, name.borrow(), value.borrow()));
}

Ref importFrom(const Globals& globals, Name path, const Ref& names) {
  // The import statement takes the builtin, whatever the module itself may call __import__.
  Ref import = globals.findBuiltin("__import__");
  if (!import.bound()) {
    raise(PyExc_ImportError, "__import__ not found");
  }
  Ref space = Ref::share(globals.borrow());
  return import({path, space, space, names});
}

void importModule(const Globals& globals, Name path) {
  Ref top = importFrom(globals, path, none());
  Ref name = Ref(path).attr("split")({".", 1}).item(0);
  require(PyDict_SetItem(globals.borrow(), name.borrow(), top.borrow()));
}

void bindFrom(const Globals& globals, const Ref& module, Name name, Name as) {
  PyObject* found = PyObject_GetAttr(module.borrow(), name.borrow());
  if (found == nullptr) {
    if (PyErr_ExceptionMatches(PyExc_AttributeError) != 0) {
      PyErr_Format(PyExc_ImportError, "cannot import name %.230s", name.text());
    }
    raisePending();
  }
  globals.bind(as, Ref::take(found));
}

void bindAllFrom(const Globals& globals, const Ref& module) {
  Ref names = attributeIfAny(module, "__all__");
  const bool publicOnly = !names.bound();
  if (publicOnly) {
    Ref dict = attributeIfAny(module, "__dict__");
    if (!dict.bound()) {
      raise(PyExc_ImportError, "from-import-* object has no __dict__ and no __all__");
    }
    names = dict.attr("keys")();
  }
  // By index until IndexError, as the interpreter walks an __all__ of whatever type.
  for (Py_ssize_t index = 0;; ++index) {
    PyObject* next = PySequence_GetItem(names.borrow(), index);
    if (next == nullptr) {
      if (PyErr_ExceptionMatches(PyExc_IndexError) == 0) {
        raisePending();
      }
      PyErr_Clear();
      return;
    }
    Ref name = Ref::take(next);
    if (publicOnly && PyString_Check(name.borrow()) &&
        PyString_AS_STRING(name.borrow())[0] == '_') {
      continue;
    }
    Ref value = Ref::take(PyObject_GetAttr(module.borrow(), name.borrow()));
    require(PyDict_SetItem(globals.borrow(), name.borrow(), value.borrow()));
  }
}

}  // namespace python
