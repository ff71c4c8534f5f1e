#include "python/function.h"

#include "python/globals.h"

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
  while (parameters < kMostParameters && row.parameters[parameters].name != nullptr) {
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

int parameterNamed(const Function& row, PyObject* keyword, Call& at) {
  if (!PyString_Check(keyword) && !PyUnicode_Check(keyword)) {
    PyErr_Format(PyExc_TypeError, "%.200s() keywords must be strings", row.name);
    raisePending();
  }
  for (int index = 0; index < count(row); ++index) {
    Name name = Name::ofTable(row.parameters[index].name);
    if (at.check(PyObject_RichCompareBool(keyword, name.borrow(), Py_EQ)) != 0) {
      return index;
    }
  }
  raiseWrongKeyword(row, "%.200s() got an unexpected keyword argument '%.400s'", keyword);
}

// The call keeps the arguments as its first local variables.
Args match(const Function& row, PyObject* positional, PyObject* keywords, Call& at) {
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

  PyObject** args = at.mark();
  for (int index = 0; index < parameters; ++index) {
    PyObject** arg = at.place();
    if (index < byPosition) {
      *arg = Ref::share(PyTuple_GET_ITEM(positional, index)).release();
    }
  }
  int given = byPosition;
  Py_ssize_t position = 0;
  PyObject* keyword = nullptr;
  PyObject* value = nullptr;
  while (keywords != nullptr && PyDict_Next(keywords, &position, &keyword, &value) != 0) {
    // Kept, since comparing odd keywords may run code that changes the caller's dictionary.
    Ref name = Ref::share(keyword);
    Ref argument = Ref::share(value);
    PyObject*& arg = args[parameterNamed(row, name.borrow(), at)];
    if (arg != nullptr) {
      raiseWrongKeyword(row, "%.200s() got multiple values for keyword argument '%.400s'",
                        name.borrow());
    }
    arg = argument.release();
    ++given;
  }

  for (int index = byPosition; index < parameters; ++index) {
    if (args[index] == nullptr && index < required) {
      raiseWrongCount(row, required < parameters ? "at least" : "exactly", required, given);
    }
    if (args[index] == nullptr) {
      args[index] = Ref::share(row.parameters[index].byDefault().borrow()).release();
    }
  }
  return Args(args);
}

// --- The type of the functions.

// The one caller of all bodies.
PyObject* callFunction(PyObject* self, PyObject* positional, PyObject* keywords) {
  const FunctionObject& function = *cast(self);
  const Function& row = *function.row;
  PythonError error;
  {
    Call at({kModule, function.scope, row.name}, function.module);
    bool matched = false;
    try {
      Args args = match(row, positional, keywords, at);
      matched = true;
      return Ref::share(row.body(args, at).borrow()).release();
    } catch (const PythonError& thrown) {
      at.releaseAll();
      thrown.restore();
      if (matched) {  // wrong arguments are the caller's error: no entry for the function itself
        at.report();
      }
      error = PythonError::fetch();
    }
  }
  error.restore();
  return nullptr;
}

PyObject* bindTo(PyObject* self, PyObject* object, PyObject* type) {
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
    type.tp_call = callFunction;
    type.tp_traverse = traverse;
    type.tp_weaklistoffset = offsetof(FunctionObject, weakReferences);
    type.tp_getset = properties;
    type.tp_members = members;
    type.tp_descr_get = bindTo;
    require(PyType_Ready(&type));
  }
  return &type;
}

// The metaclass that a class statement calls.
Ref metaclassOf(const Object& bases) {
  if (PyTuple_GET_SIZE(bases.borrow()) == 0) {
    return Ref::share(reinterpret_cast<PyObject*>(&PyClass_Type));
  }
  PyObject* base = PyTuple_GET_ITEM(bases.borrow(), 0);
  PyObject* metaclass = PyObject_GetAttrString(base, "__class__");
  if (metaclass == nullptr) {  // a classic class has no __class__
    PyErr_Clear();
    return Ref::share(reinterpret_cast<PyObject*>(Py_TYPE(base)));
  }
  return Ref::take(metaclass);
}

// Says more about a TypeError of a metaclass, as the interpreter does: the usual reason is a base
// that is no class.
void explain(PythonError& error) {
  if (PyErr_GivenExceptionMatches(error.type, PyExc_TypeError) == 0 || error.value == nullptr ||
      !PyString_Check(error.value)) {
    return;
  }
  PyObject* explained = PyString_FromFormat("Error when calling the metaclass bases\n    %s",
                                            PyString_AS_STRING(error.value));
  if (explained == nullptr) {
    PyErr_Clear();
    return;
  }
  Py_DECREF(error.value);
  error.value = explained;
}

// Makes the function object of a row. `scope` is the class that tracebacks name, or null.
const Object& makeFunction(const Function& row, const char* scope) {
  const Object& moduleName = global("__name__");
  Call& call = Call::running();
  auto* made = PyObject_GC_New(FunctionObject, functionType());
  const Object& function = call.keep(reinterpret_cast<PyObject*>(made));
  made->row = &row;
  made->scope = scope;
  made->module = Ref::share(call.module()).release();
  made->moduleName = Ref::share(moduleName.borrow()).release();
  made->weakReferences = nullptr;
  PyObject_GC_Track(made);
  return function;
}

}  // namespace

bool isOriginal(Name name) {
  const Object* found = findGlobal(name);
  return found != nullptr && Py_TYPE(found->borrow()) == functionType() &&
         cast(found->borrow())->module == Call::running().module() &&
         std::strcmp(cast(found->borrow())->row->name, name.text()) == 0;
}

void defineFunctions(Functions rows, Call& at) {
  for (const Function& row : rows) {
    AT(row.line) bind(Name::ofTable(row.name), makeFunction(row, nullptr));
  }
}

void defineClass(Name name, const Object& bases, Functions rows, Call& at) {
  const int statement = at.number();
  const Object& ownBases = at.local(bases);
  const Object& body = at.local(dict({{"__module__", global("__name__")}}));
  for (const Function& row : rows) {
    AT(row.line) body.setItem(Name::ofTable(row.name), makeFunction(row, name.text()));
  }
  AT(statement)
  Ref metaclass = metaclassOf(ownBases);
  try {
    bind(name, Object::of(metaclass.borrow())({name, ownBases, body}));
  } catch (const PythonError& thrown) {
    PythonError error = thrown;
    explain(error);
    error.restore();
    raisePending();
  }
}

}  // namespace python
