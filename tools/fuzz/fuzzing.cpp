// libFuzzer as a Python module, so that an input can be given to both the module and its model.
//
// The library that holds it is Kelvaro.so as the preset `fuzz` builds it. Loaded by the name
// `fuzzing` it has this module's functions, by the name `Kelvaro` those of Kelvaro; what is counted
// is the code of Kelvaro.

#include "python/ref.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <utility>
#include <vector>

#include "document.h"

// libFuzzer's own interface, which comes without a header.
extern "C" {
int LLVMFuzzerRunDriver(int* argc, char*** argv,
                        int (*test)(const std::uint8_t* input, std::size_t size));
std::size_t LLVMFuzzerMutate(std::uint8_t* input, std::size_t size, std::size_t most);
std::size_t LLVMFuzzerCustomMutator(std::uint8_t* input, std::size_t size, std::size_t most,
                                    unsigned seed);
}

namespace {

using kelvaro::Document;
using python::Ref;

PyObject* test = nullptr;    // takes an input
PyObject* mutate = nullptr;  // takes an input and a number, gives another input or None

// An exception is the end: libFuzzer keeps the input of a process that aborts.
[[noreturn]] void abortWithTraceback() {
  PyErr_Print();
  std::abort();
}

int testOne(const std::uint8_t* input, std::size_t size) {
  PyObject* result =
      PyObject_CallFunction(test, const_cast<char*>("s#"), input, static_cast<Py_ssize_t>(size));
  if (result == nullptr) {
    abortWithTraceback();
  }
  Py_DECREF(result);
  return 0;
}

PyObject* run(PyObject* /*self*/, PyObject* args) {
  PyObject* arguments = nullptr;
  if (PyArg_ParseTuple(args, "O!OO", &PyList_Type, &arguments, &test, &mutate) == 0) {
    return nullptr;
  }
  // The list keeps the strings, and libFuzzer takes them as they are.
  std::vector<char*> words;
  for (Py_ssize_t index = 0; index < PyList_GET_SIZE(arguments); ++index) {
    words.push_back(PyString_AsString(PyList_GET_ITEM(arguments, index)));
    if (words.back() == nullptr) {
      return nullptr;
    }
  }
  int count = static_cast<int>(words.size());
  words.push_back(nullptr);
  char** array = words.data();
  return PyInt_FromLong(LLVMFuzzerRunDriver(&count, &array, testOne));
}

PyObject* unicodeOrNone(const kelvaro::Text& text) {
  return text.data == nullptr
             ? Py_BuildValue("")
             : PyUnicode_DecodeUTF8(text.data, static_cast<Py_ssize_t>(text.size), nullptr);
}

Ref listOfElements(const Document& document) {
  Ref elements = Ref::take(PyList_New(0));
  for (std::uint32_t index = 0; index < document.size(); ++index) {
    const Document::Element& element = document[index];
    Ref members = Ref::take(Py_BuildValue(
        "(sINNNN)", nameOf(element.tag).text(), element.end,
        PyBool_FromLong(static_cast<long>(element.firstChild != Document::FirstChild::kNone)),
        unicodeOrNone(document.data(element)), unicodeOrNone(document.type(element)),
        unicodeOrNone(document.require(element))));
    python::require(PyList_Append(elements.borrow(), members.borrow()));
  }
  return elements;
}

PyObject* tree(PyObject* /*self*/, PyObject* args) {
  const char* bytes = nullptr;
  Py_ssize_t size = 0;
  Py_ssize_t deepest = 0;
  if (PyArg_ParseTuple(args, "s#n", &bytes, &size, &deepest) == 0) {
    return nullptr;
  }
  try {
    // A copy of exactly this size, so that reading beyond its end is noticed.
    auto copy = std::make_unique<char[]>(static_cast<std::size_t>(size));
    std::copy_n(bytes, size, copy.get());
    Document document;
    const bool whole = document.read(copy.get(), static_cast<std::size_t>(size),
                                     static_cast<std::size_t>(deepest));
    return whole ? listOfElements(document).release() : Py_BuildValue("");
  } catch (python::PythonError& thrown) {
    std::move(thrown).restore();
    return nullptr;
  }
}

PyMethodDef functions[] = {
    {"run", run, METH_VARARGS,
     "run(arguments, test, mutate)\n\n"
     "Run libFuzzer with a command line (a list of strings, the program's name first) on the\n"
     "function test, which takes an input (a string) and raises where it shows a fault; that ends\n"
     "the process. mutate takes an input and a number and returns another input, or None to have\n"
     "libFuzzer make one; it may be None itself. Returns the exit status, or exits."},
    {"tree", tree, METH_VARARGS,
     "tree(document, deepest)\n\n"
     "Return the compact tree of a news document (a string) as a list of tuples: name, one past\n"
     "the index of the last descendant, whether there is a first child whose data matters, its\n"
     "data, type, require (Unicode or None each). None when the document is left to minidom."},
    {nullptr, nullptr, 0, nullptr},
};

}  // namespace

// Called by libFuzzer for every new input.
std::size_t LLVMFuzzerCustomMutator(std::uint8_t* input, std::size_t size, std::size_t most,
                                    unsigned seed) {
  if (mutate != Py_None) {
    PyObject* made = PyObject_CallFunction(mutate, const_cast<char*>("s#I"), input,
                                           static_cast<Py_ssize_t>(size), seed);
    char* bytes = nullptr;
    Py_ssize_t length = 0;
    if (made == nullptr ||
        (made != Py_None && PyString_AsStringAndSize(made, &bytes, &length) < 0)) {
      abortWithTraceback();
    }
    const bool fits = bytes != nullptr && static_cast<std::size_t>(length) <= most;
    if (fits) {
      std::copy_n(bytes, length, input);
    }
    Py_DECREF(made);
    if (fits) {
      return static_cast<std::size_t>(length);
    }
  }
  return LLVMFuzzerMutate(input, size, most);
}

extern "C" __attribute__((visibility("default"))) void initfuzzing() {
  Py_InitModule3("fuzzing", functions, "libFuzzer, and the compact tree of a news document.");
}
