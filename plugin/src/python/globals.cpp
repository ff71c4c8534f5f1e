#include "python/globals.h"

#include <cstring>

#include "python/call.h"

namespace python {
namespace {

// The value of a name in a dictionary, or null; looked up as the interpreter looks up globals.
PyObject* lookUp(PyObject* names, PyObject* name) {
  const long hash = reinterpret_cast<PyStringObject*>(name)->ob_shash;
  auto* dict = reinterpret_cast<PyDictObject*>(names);
  if (hash == -1) {
    return PyDict_GetItem(names, name);
  }
  const PyDictEntry* entry = dict->ma_lookup(dict, name, hash);
  if (entry == nullptr) {  // an odd name could not be compared
    raisePending();
  }
  return entry->me_value;
}

// The attribute, or null where the object has none; the running call keeps it.
PyObject* attributeIfAny(PyObject* object, PyObject* name) {
  Call& call = Call::running();
  PyObject* found = PyObject_GetAttr(object, name);
  if (found == nullptr && PyErr_ExceptionMatches(PyExc_AttributeError) != 0) {
    PyErr_Clear();
    return nullptr;
  }
  return call.keep(found);
}

// What a call sees under a name; null when there is nothing.
PyObject* find(Str name, Call& call) {
  PyObject* found = lookUp(call.globals(), name.borrow());
  return found != nullptr ? found : lookUp(call.builtins(), name.borrow());
}

}  // namespace

PyObject* findGlobal(Str name) { return find(name, Call::running()); }

PyObject* operation::global(Str name) {
  Call& call = Call::running();
  PyObject* found = find(name, call);
  if (found == nullptr) {
    PyErr_Format(PyExc_NameError, "global name '%.200s' is not defined", name.text());
    raisePending();
  }
  return call.share(found);
}

Object osFunction(Str name) {
  Call& call = Call::running();
  PyObject* found = find(name, call);
  if (found != nullptr) {
    return Object(call.share(found));
  }
  // An absolute import, whatever package the module lies in.
  return Object(call.keep(PyImport_ImportModuleLevel(const_cast<char*>("os"), nullptr, nullptr,
                                                     nullptr, /*level=*/0)))
      .attr(name);
}

void bind(Value name, Value value) {
  Call& call = Call::running();
  require(PyDict_SetItem(call.globals(), name.borrow(), value.borrow()));
}

Object importedModule(Value path, Value names, Value space) {
  // The import statement takes the builtin, whatever the module itself may call __import__.
  Call& call = Call::running();
  PyObject* import = PyDict_GetItem(call.builtins(), "__import__"_s.borrow());
  if (import == nullptr) {
    raise(PyExc_ImportError, "__import__ not found");
  }
  return Object(call.share(import))({path, space, space, names});
}

namespace {

// Binds `name` of an imported module under `as`.
void bindFrom(const Object& module, PyObject* name, Value as) {
  PyObject* found = attributeIfAny(module.borrow(), name);
  if (found == nullptr) {
    PyErr_Format(PyExc_ImportError, "cannot import name %.230s", PyString_AS_STRING(name));
    raisePending();
  }
  bind(as, Value(found));
}

// Binds all that a star stands for: `__all__`, or every name without an underscore at its start.
void bindAllFrom(const Object& module) {
  PyObject* names = attributeIfAny(module.borrow(), "__all__"_s.borrow());
  const bool publicOnly = names == nullptr;
  if (publicOnly) {
    PyObject* dict = attributeIfAny(module.borrow(), "__dict__"_s.borrow());
    if (dict == nullptr) {
      raise(PyExc_ImportError, "from-import-* object has no __dict__ and no __all__");
    }
    names = Object(dict).call("keys"_s).borrow();
  }
  PyObject* globals = Call::running().globals();
  // By index until IndexError, as the interpreter walks an __all__ of whatever type.
  for (Py_ssize_t index = 0;; ++index) {
    PyObject* next = PySequence_GetItem(names, index);
    if (next == nullptr) {
      if (PyErr_ExceptionMatches(PyExc_IndexError) == 0) {
        raisePending();
      }
      PyErr_Clear();
      return;
    }
    Ref name = Ref::take(next);  // more of them than a call keeps
    if (publicOnly && PyString_Check(next) && PyString_AS_STRING(next)[0] == '_') {
      continue;
    }
    Ref value = Ref::take(PyObject_GetAttr(module.borrow(), next));
    require(PyDict_SetItem(globals, next, value.borrow()));
  }
}

// The next word of a statement, interned; a comma belongs to none.
PyObject* nextWord(const char*& text) {
  text += std::strspn(text, " ,");
  const std::size_t size = std::strcspn(text, " ,");
  PyObject* word = require(PyString_FromStringAndSize(text, static_cast<Py_ssize_t>(size)));
  PyString_InternInPlace(&word);
  text += size;
  return Call::running().keep(word);
}

bool begins(const char* text, const char* word) {
  return std::strncmp(text, word, std::strlen(word)) == 0;
}

}  // namespace

void import(const char* statement) {
  const char* text = statement;
  const bool whole = begins(text, "import ");
  text += whole ? std::strlen("import ") : std::strlen("from ");
  Value path(nextWord(text));
  const Value space(Call::running().globals());
  if (whole) {
    Object top = importedModule(path, none, space);
    bind(Object(path.borrow()).attr("split"_s)({"."_s, 1}).item(0), top);
    return;
  }
  text += std::strlen(" import ");
  Object names = list();
  for (const char* rest = text; *rest != '\0';) {
    names.append(Value(nextWord(rest)));
    if (begins(rest, " as ")) {
      rest += std::strcspn(rest, ",");
    }
  }
  Object module =
      importedModule(path, Object(Call::running().keep(PyList_AsTuple(names.borrow()))), space);
  if (*text == '*') {
    bindAllFrom(module);
    return;
  }
  while (*text != '\0') {
    PyObject* name = nextWord(text);
    Value as(name);
    if (begins(text, " as ")) {
      text += std::strlen(" as ");
      as = Value(nextWord(text));
    }
    bindFrom(module, name, as);
  }
}

}  // namespace python
