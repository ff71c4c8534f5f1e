#include "python/function.h"

#include <structmember.h>

#include <cstring>

namespace python {
namespace {

// The module's name as tracebacks give it, whatever package the module lies in.
constexpr const char* kModule = "Kelvaro";

struct FunctionObject {
  PyObject_HEAD const Function* row;
  const char* scope;
  PyObject* module;      // keeps the namespace that the function sees
  PyObject* moduleName;  // the value of __module__
  PyObject* weakReferences;
};

FunctionObject* cast(PyObject* self) { return reinterpret_cast<FunctionObject*>(self); }

// --- Matching arguments with parameters, as the interpreter does for functions written in Python.

int count(const Function& row) {
  int parameters = 0;
  while (parameters < static_cast<int>(kMostParameters) &&
         row.parameters[parameters].name != nullptr) {
    ++parameters;
  }
  return parameters;
}

int countRequired(const Function& row) {
  int required = 0;
  while (required < count(row) && row.parameters[required].byDefault == nullptr) {
    ++required;
  }
  return required;
}

[[noreturn]] void raiseWrongCount(const Function& row, const char* bound, int wanted, int given) {
  PyErr_Format(PyExc_TypeError, "%.200s() takes %s %d argument%s (%d given)", row.name, bound,
               wanted, wanted == 1 ? "" : "s", given);
  raisePending();
}

[[noreturn]] void raiseWrongKeyword(const Function& row, const char* format, PyObject* keyword) {
  Ref printable = PyString_Check(keyword)
                      ? Ref::share(keyword)
                      : Ref::take(PyUnicode_AsEncodedString(keyword, nullptr, "replace"));
  PyErr_Format(PyExc_TypeError, format, row.name, PyString_AsString(printable.borrow()));
  raisePending();
}

int parameterNamed(const Function& row, PyObject* keyword) {
  if (!PyString_Check(keyword) && !PyUnicode_Check(keyword)) {
    PyErr_Format(PyExc_TypeError, "%.200s() keywords must be strings", row.name);
    raisePending();
  }
  for (int index = 0; index < count(row); ++index) {
    Name name = Name::ofTable(row.parameters[index].name);
    if (require(PyObject_RichCompareBool(keyword, name.borrow(), Py_EQ)) != 0) {
      return index;
    }
  }
  raiseWrongKeyword(row, "%.200s() got an unexpected keyword argument '%.400s'", keyword);
}

Args match(const Function& row, PyObject* positional, PyObject* keywords) {
  const int parameters = count(row);
  const int required = countRequired(row);
  const int byPosition = static_cast<int>(PyTuple_GET_SIZE(positional));
  const int byKeyword = keywords == nullptr ? 0 : static_cast<int>(PyDict_Size(keywords));
  if (parameters == 0 && byPosition + byKeyword > 0) {
    PyErr_Format(PyExc_TypeError, "%.200s() takes no arguments (%d given)", row.name,
                 byPosition + byKeyword);
    raisePending();
  }
  if (byPosition > parameters) {
    raiseWrongCount(row, required < parameters ? "at most" : "exactly", parameters,
                    byPosition + byKeyword);
  }

  Args args;
  int given = byPosition;
  for (int index = 0; index < byPosition; ++index) {
    args[index] = Ref::share(PyTuple_GET_ITEM(positional, index));
  }
  Py_ssize_t position = 0;
  PyObject* keyword = nullptr;
  PyObject* value = nullptr;
  while (keywords != nullptr && PyDict_Next(keywords, &position, &keyword, &value) != 0) {
    // Kept, since comparing odd keywords may run code that changes the caller's dictionary.
    Ref name = Ref::share(keyword);
    Ref argument = Ref::share(value);
    Ref& slot = args[parameterNamed(row, name.borrow())];
    if (slot.bound()) {
      raiseWrongKeyword(row, "%.200s() got multiple values for keyword argument '%.400s'",
                        name.borrow());
    }
    slot = argument;
    ++given;
  }

  for (int index = byPosition; index < parameters; ++index) {
    if (!args[index].bound() && index < required) {
      raiseWrongCount(row, required < parameters ? "at least" : "exactly", required, given);
    }
    if (!args[index].bound()) {
      args[index] = row.parameters[index].byDefault();
    }
  }
  return args;
}

// --- The type of the functions.

// The one caller of all bodies.
PyObject* call(PyObject* self, PyObject* positional, PyObject* keywords) {
  const FunctionObject& function = *cast(self);
  try {
    Args args = match(*function.row, positional, keywords);
    Globals globals(Ref::share(function.module));
    Line at({kModule, function.scope, function.row->name}, globals);
    try {
      return function.row->body(args, globals, at).release();
    } catch (const PythonError& thrown) {
      thrown.restore();
      at.report();
    }
  } catch (const PythonError& thrown) {
    thrown.restore();
    // Wrong arguments are the caller's error: no entry for the function itself.
  }
  return nullptr;
}

PyObject* bind(PyObject* self, PyObject* object, PyObject* type) {
  return PyMethod_New(self, object == Py_None ? nullptr : object, type);
}

PyObject* represent(PyObject* self) {
  return PyString_FromFormat("<function %s at %p>", cast(self)->row->name,
                             static_cast<void*>(self));
}

int traverse(PyObject* self, visitproc visit, void* arg) {
  Py_VISIT(cast(self)->module);
  Py_VISIT(cast(self)->moduleName);
  return 0;
}

void destroy(PyObject* self) {
  PyObject_GC_UnTrack(self);
  if (cast(self)->weakReferences != nullptr) {
    PyObject_ClearWeakRefs(self);
  }
  Py_XDECREF(cast(self)->module);
  Py_XDECREF(cast(self)->moduleName);
  PyObject_GC_Del(self);
}

PyObject* nameOf(PyObject* self, void* /*closure*/) {
  return PyString_InternFromString(cast(self)->row->name);
}

PyObject* docOf(PyObject* self, void* /*closure*/) {
  return PyString_FromString(cast(self)->row->doc);
}

PyGetSetDef properties[] = {
    {const_cast<char*>("__name__"), nameOf, nullptr, nullptr, nullptr},
    {const_cast<char*>("__doc__"), docOf, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

PyMemberDef members[] = {
    {const_cast<char*>("__module__"), T_OBJECT, offsetof(FunctionObject, moduleName), READONLY,
     nullptr},
    {nullptr, 0, 0, 0, nullptr},
};

PyTypeObject* functionType() {
  static PyTypeObject type = {PyVarObject_HEAD_INIT(nullptr, 0)};
  if ((type.tp_flags & Py_TPFLAGS_READY) == 0) {
    type.tp_name = "Kelvaro.function";
    type.tp_basicsize = sizeof(FunctionObject);
    // NOLINTNEXTLINE(misc-redundant-expression): the macro's own parts
    type.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_HAVE_GC;
    type.tp_dealloc = destroy;
    type.tp_repr = represent;
    type.tp_call = call;
    type.tp_traverse = traverse;
    type.tp_weaklistoffset = offsetof(FunctionObject, weakReferences);
    type.tp_getset = properties;
    type.tp_members = members;
    type.tp_descr_get = bind;
    require(PyType_Ready(&type));
  }
  return &type;
}

// The metaclass that a class statement calls.
Ref metaclassOf(const Ref& bases) {
  if (PyTuple_GET_SIZE(bases.borrow()) == 0) {
    return Ref::share(reinterpret_cast<PyObject*>(&PyClass_Type));
  }
  Ref base = bases.item(0);
  PyObject* metaclass = PyObject_GetAttrString(base.borrow(), "__class__");
  if (metaclass == nullptr) {  // a classic class has no __class__
    PyErr_Clear();
    return Ref::share(reinterpret_cast<PyObject*>(Py_TYPE(base.borrow())));
  }
  return Ref::take(metaclass);
}

// Says more about a TypeError of a metaclass, as the interpreter does: the usual reason is a base
// that is no class.
void explainWrongBase() {
  PyObject* type = nullptr;
  PyObject* value = nullptr;
  PyObject* traceback = nullptr;
  PyErr_Fetch(&type, &value, &traceback);
  if (PyErr_GivenExceptionMatches(type, PyExc_TypeError) != 0 && value != nullptr &&
      PyString_Check(value)) {
    PyObject* explained = PyString_FromFormat("Error when calling the metaclass bases\n    %s",
                                              PyString_AS_STRING(value));
    if (explained != nullptr) {
      Py_DECREF(value);
      value = explained;
    }
  }
  PyErr_Restore(type, value, traceback);
}

}  // namespace

Ref makeFunction(const Function& row, const char* scope, const Globals& globals) {
  Ref moduleName = globals("__name__");
  auto* made = PyObject_GC_New(FunctionObject, functionType());
  Ref function = Ref::take(reinterpret_cast<PyObject*>(made));
  made->row = &row;
  made->scope = scope;
  made->module = Ref(globals.module()).release();
  made->moduleName = moduleName.release();
  made->weakReferences = nullptr;
  PyObject_GC_Track(made);
  return function;
}

bool isOriginal(const Globals& globals, Name name) {
  Ref found = globals.find(name);
  return found.bound() && Py_TYPE(found.borrow()) == functionType() &&
         cast(found.borrow())->module == globals.module().borrow() &&
         std::strcmp(cast(found.borrow())->row->name, name.text()) == 0;
}

void defineFunctions(Functions rows, const Globals& globals, Line& at) {
  for (const Function& row : rows) {
    AT(row.line) globals.bind(Name::ofTable(row.name), makeFunction(row, nullptr, globals));
  }
}

void defineClass(Name name, const Ref& bases, Functions rows, const Globals& globals, Line& at) {
  const int statement = at.number();
  Ref body = dict({{"__module__", globals("__name__")}});
  for (const Function& row : rows) {
    AT(row.line) body.setItem(Name::ofTable(row.name), makeFunction(row, name.text(), globals));
  }
  AT(statement)
  Ref metaclass = metaclassOf(bases);
  Ref made;
  try {
    made = metaclass({name, bases, body});
  } catch (const PythonError& thrown) {
    thrown.restore();
    explainWrongBase();
    raisePending();
  }
  globals.bind(name, made);
}

}  // namespace python
