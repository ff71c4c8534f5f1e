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

// --- Signatures: "(At at, Local self, Local idx = 0)".

// The parameter number `index`: its text starts with its name.
const char* parameter(const Function& function, int index) {
  const char* text = function.signature.parameters();
  for (int comma = 0; comma <= index; ++comma) {
    text = std::strchr(text, ',') + std::strlen(", Local ");
  }
  return text;
}

Ref textOf(const char* text, const char* end) {
  return Ref::take(
      PyString_FromStringAndSize(text, static_cast<Py_ssize_t>(std::strcspn(text, end))));
}

Ref nameOf(const Function& function, int index) {
  return textOf(parameter(function, index), " ,)");
}

// The text of a default, null where the argument is required.
const char* defaultTextOf(const Function& function, int index) {
  const char* text = parameter(function, index);
  text += std::strcspn(text, "=,)");
  return *text == '=' ? text + std::strlen("= ") : nullptr;
}

// The object of a default: none, false, a digit, or a text "..."_s.
Ref defaultOf(const Function& function, int index) {
  const char* text = defaultTextOf(function, index);
  switch (*text) {
    case 'n':
      return Ref::share(Py_None);
    case 'f':
      return Ref::share(Py_False);
    case '"':
      return textOf(text + 1, "\"");
    default:
      return Ref::take(PyInt_FromLong(*text - '0'));
  }
}

int countRequired(const Function& function) {
  int required = 0;
  while (required < function.body.count() && defaultTextOf(function, required) == nullptr) {
    ++required;
  }
  return required;
}

// --- Matching arguments with parameters, as the interpreter does for functions written in Python.

[[noreturn]] void raiseWrongCount(const char* name, const char* bound, int wanted, int given) {
  PyErr_Format(PyExc_TypeError, "%.200s() takes %s %d argument%s (%d given)", name, bound, wanted,
               wanted == 1 ? "" : "s", given);
  raisePending();
}

[[noreturn]] void raiseWrongKeyword(const char* name, const char* format, PyObject* keyword) {
  Ref printable = PyString_Check(keyword)
                      ? Ref::share(keyword)
                      : Ref::take(PyUnicode_AsEncodedString(keyword, nullptr, "replace"));
  PyErr_Format(PyExc_TypeError, format, name, PyString_AsString(printable.borrow()));
  raisePending();
}

int parameterNamed(const Function& function, PyObject* keyword) {
  const char* name = function.signature.name();
  if (!PyString_Check(keyword) && !PyUnicode_Check(keyword)) {
    PyErr_Format(PyExc_TypeError, "%.200s() keywords must be strings", name);
    raisePending();
  }
  for (int index = 0; index < function.body.count(); ++index) {
    if (require(PyObject_RichCompareBool(keyword, nameOf(function, index).borrow(), Py_EQ)) != 0) {
      return index;
    }
  }
  raiseWrongKeyword(name, "%.200s() got an unexpected keyword argument '%.400s'", keyword);
}

// The arguments in the order of the parameters; the call keeps them as its first local variables.
PyObject* const* match(const Function& function, PyObject* const* positional, int byPosition,
                       PyObject* keywords, Call& at) {
  const char* name = function.signature.name();
  const int parameters = function.body.count();
  const int byKeyword = keywords == nullptr ? 0 : static_cast<int>(PyDict_Size(keywords));
  PyObject** arguments = at.mark();
  for (int index = 0; index < parameters; ++index) {
    *at.place() = index < byPosition ? Ref::share(positional[index]).release() : nullptr;
  }
  if (byPosition == parameters && byKeyword == 0) {
    return arguments;
  }
  if (parameters == 0) {
    PyErr_Format(PyExc_TypeError, "%.200s() takes no arguments (%d given)", name,
                 byPosition + byKeyword);
    raisePending();
  }
  const int required = countRequired(function);
  if (byPosition > parameters) {
    raiseWrongCount(name, required < parameters ? "at most" : "exactly", parameters,
                    byPosition + byKeyword);
  }

  int given = byPosition;
  Py_ssize_t position = 0;
  PyObject* keyword = nullptr;
  PyObject* value = nullptr;
  while (byKeyword != 0 && PyDict_Next(keywords, &position, &keyword, &value) != 0) {
    // Kept, since comparing odd keywords may run code that changes the caller's dictionary.
    Ref key = Ref::share(keyword);
    Ref argument = Ref::share(value);
    PyObject*& place = arguments[parameterNamed(function, keyword)];
    if (place != nullptr) {
      raiseWrongKeyword(name, "%.200s() got multiple values for keyword argument '%.400s'",
                        keyword);
    }
    place = argument.release();
    ++given;
  }

  for (int index = byPosition; index < parameters; ++index) {
    if (arguments[index] == nullptr && index < required) {
      raiseWrongCount(name, required < parameters ? "at least" : "exactly", required, given);
    }
    if (arguments[index] == nullptr) {
      arguments[index] = defaultOf(function, index).release();
    }
  }
  return arguments;
}

// --- The type of the functions.

PyObject* call(PyObject* self, PyObject* const* positional, int count, PyObject* keywords) {
  const FunctionObject& function = *cast(self);
  const Function& row = *function.row;
  return Call::enter({kModule, function.scope, row.signature.name()}, function.module,
                     [&](Call& at) {
                       PyObject* const* arguments = match(row, positional, count, keywords, at);
                       return Ref::share(row.body(at, arguments).borrow()).release();
                     });
}

PyObject* callWithTuple(PyObject* self, PyObject* positional, PyObject* keywords) {
  return call(self, &PyTuple_GET_ITEM(positional, 0),
              static_cast<int>(PyTuple_GET_SIZE(positional)), keywords);
}

PyObject* bindTo(PyObject* self, PyObject* object, PyObject* type) {
  return PyMethod_New(self, object == Py_None ? nullptr : object, type);
}

PyObject* represent(PyObject* self) {
  return PyString_FromFormat("<function %s at %p>", cast(self)->row->signature.name(),
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

PyObject* getName(PyObject* self, void* /*closure*/) {
  return PyString_InternFromString(cast(self)->row->signature.name());
}

PyObject* getDoc(PyObject* self, void* /*closure*/) {
  return PyString_FromString(cast(self)->row->signature.doc());
}

PyGetSetDef properties[] = {
    {const_cast<char*>("__name__"), getName, nullptr, nullptr, nullptr},
    {const_cast<char*>("__doc__"), getDoc, nullptr, nullptr, nullptr},
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
    type.tp_call = callWithTuple;
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
Ref metaclassOf(PyObject* bases) {
  if (PyTuple_GET_SIZE(bases) == 0) {
    PyObject* named = PyDict_GetItem(Call::running().globals(), "__metaclass__"_s.borrow());
    return Ref::share(named != nullptr ? named : reinterpret_cast<PyObject*>(&PyClass_Type));
  }
  PyObject* base = PyTuple_GET_ITEM(bases, 0);
  PyObject* metaclass = PyObject_GetAttrString(base, "__class__");
  if (metaclass == nullptr) {  // a classic class has no __class__
    PyErr_Clear();
    return Ref::share(reinterpret_cast<PyObject*>(Py_TYPE(base)));
  }
  return Ref::take(metaclass);
}

// A TypeError of a metaclass, with more said about it, as the interpreter does: the usual reason is
// a base that is no class.
PythonError explained(PythonError error) {
  if (PyErr_GivenExceptionMatches(error.type(), PyExc_TypeError) == 0 || error.value() == nullptr ||
      !PyString_Check(error.value())) {
    return error;
  }
  PyObject* text = PyString_FromFormat("Error when calling the metaclass bases\n    %s",
                                       PyString_AS_STRING(error.value()));
  if (text == nullptr) {
    PyErr_Clear();
    return error;
  }
  Py_INCREF(error.type());
  Py_XINCREF(error.traceback());
  return {error.type(), text, error.traceback()};
}

// Makes the function object of a row. `scope` is the class that tracebacks name, or null.
Object makeFunction(const Function& row, const char* scope) {
  Ref moduleName = Ref::share(global("__name__"_s).borrow());
  Call& call = Call::running();
  auto* made = PyObject_GC_New(FunctionObject, functionType());
  auto* object = reinterpret_cast<PyObject*>(made);
  require(object);
  made->row = &row;
  made->scope = scope;
  made->module = Ref::share(call.module()).release();
  made->moduleName = moduleName.release();
  made->weakReferences = nullptr;
  PyObject_GC_Track(made);
  return Object(call.keep(object));
}

// The interned string of a table's text.
Object interned(const char* text) {
  return Object(Call::running().keep(PyString_InternFromString(text)));
}

}  // namespace

Value Body::operator()(Call& at, PyObject* const* arguments) const {
  const auto argument = [arguments](int index) { return Local(arguments[index]); };
  switch (count_) {
    case 0:
      return none_(at);
    case 1:
      return one_(at, argument(0));
    case 2:
      return two_(at, argument(0), argument(1));
    case 3:
      return three_(at, argument(0), argument(1), argument(2));
    default:
      return four_(at, argument(0), argument(1), argument(2), argument(3));
  }
}

bool isFunction(PyObject* object) { return Py_TYPE(object)->tp_call == callWithTuple; }

PyObject* callFunction(PyObject* function, PyObject* const* arguments, int count) {
  if (Py_EnterRecursiveCall(const_cast<char*>("")) != 0) {  // with the words for Python functions
    return nullptr;
  }
  PyObject* result = call(function, arguments, count, nullptr);
  Py_LeaveRecursiveCall();
  return result;
}

bool isOriginal(Str name) {
  PyObject* found = findGlobal(name);
  return found != nullptr && isFunction(found) && cast(found)->module == Call::running().module() &&
         std::strcmp(cast(found)->row->signature.name(), name.text()) == 0;
}

void defineFunctions(Functions rows, Call& at) {
  for (const Function& row : rows) {
    AT(row.signature.line) bind(interned(row.signature.name()), makeFunction(row, nullptr));
  }
}

void defineClass(Str name, Local bases, Functions rows, Call& at) {
  const int statement = at.line();
  const Local body = dict({named("__module__"_s, global("__name__"_s))});
  for (const Function& row : rows) {
    AT(row.signature.line)
    body.setItem(interned(row.signature.name()), makeFunction(row, name.text()));
  }
  AT(statement)
  Ref metaclass = metaclassOf(bases.borrow());
  try {
    bind(name, Local(metaclass.borrow())({name, bases, body}));
  } catch (PythonError& thrown) {
    throw explained(std::move(thrown));
  }
}

}  // namespace python
