// The interpreter that the tests of memory run in: a debug interpreter with a builtin module,
// `faults`, that lets an allocation of memory fail. It stands in for the C library's malloc, calloc
// and realloc for the whole process, extension modules and C library included.
//
//   faults.call(number, function, *arguments, **keywords)
//     Calls the function. The allocation of this number (the first is 1; 0 is none) that is made
//     meanwhile in this thread fails. Only those count that the called C function makes, and the C
//     functions that it calls: none made by code written in Python.
//   faults.allocations()
//     How many of them the last call made.
//   faults.throw_bad_alloc()
//     Throws the C++ exception, as a host's own C++ code may.
//   faults.held()
//     The bytes that the process holds now, as AddressSanitizer counts them; 0 without it.

#include <cerrno>
#include <cstdlib>
#include <new>

#include "python/api.h"

#include <frameobject.h>

#if defined(__SANITIZE_ADDRESS__)
#define REAL(name) __interceptor_##name
#else
#define REAL(name) __libc_##name
#endif

extern "C" {
// What really allocates: AddressSanitizer, or the C library.
void* REAL(malloc)(std::size_t size);
void* REAL(calloc)(std::size_t count, std::size_t size);
void* REAL(realloc)(void* memory, std::size_t size);

#if defined(__SANITIZE_ADDRESS__)
std::size_t __sanitizer_get_current_allocated_bytes();

const char* __asan_default_options() {
  return "detect_leaks=1:allocator_may_return_null=1:strict_string_checks=1:"
         "detect_stack_use_after_return=1:check_initialization_order=1:handle_abort=1";
}
const char* __ubsan_default_options() { return "print_stacktrace=1:halt_on_error=1"; }
const char* __lsan_default_options() { return "print_suppressions=0"; }
// The interpreter's own: it loses the memory of a file's name when it has none to note it.
const char* __lsan_default_suppressions() { return "leak:convertsimple\n"; }
#endif
}

namespace {

struct Watch {
  bool on;
  long number;  // of the allocation that fails
  long seen;
  PyThreadState* thread;
  PyFrameObject* caller;  // the innermost code written in Python when the call began
};
thread_local Watch watch;

// Whether this allocation is the one that fails. May run before AddressSanitizer does.
__attribute__((no_sanitize("address", "undefined"))) bool refuse() {
  if (!watch.on || watch.thread->frame != watch.caller || ++watch.seen != watch.number) {
    return false;
  }
  errno = ENOMEM;
  return true;
}

PyObject* call(PyObject* /*self*/, PyObject* arguments, PyObject* keywords) {
  PyObject* first = PyTuple_GetSlice(arguments, 0, 2);
  PyObject* rest = PyTuple_GetSlice(arguments, 2, PyTuple_GET_SIZE(arguments));
  long number = 0;
  PyObject* function = nullptr;
  PyObject* result = nullptr;
  if (first != nullptr && rest != nullptr &&
      PyArg_ParseTuple(first, "lO", &number, &function) != 0) {
    PyThreadState* thread = PyThreadState_GET();
    watch = {true, number, 0, thread, thread->frame};
    result = PyObject_Call(function, rest, keywords);
    watch.on = false;
  }
  Py_XDECREF(first);
  Py_XDECREF(rest);
  return result;
}

PyObject* allocations(PyObject* /*self*/, PyObject* /*none*/) { return PyInt_FromLong(watch.seen); }

PyObject* throwBadAlloc(PyObject* /*self*/, PyObject* /*none*/) { throw std::bad_alloc(); }

PyObject* held(PyObject* /*self*/, PyObject* /*none*/) {
#if defined(__SANITIZE_ADDRESS__)
  return PyInt_FromSize_t(__sanitizer_get_current_allocated_bytes());
#else
  return PyInt_FromLong(0);  // what the C library keeps for threads makes its counts unsteady
#endif
}

PyMethodDef functions[] = {
    {"call", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(call)),
     METH_VARARGS | METH_KEYWORDS, nullptr},
    {"allocations", allocations, METH_NOARGS, nullptr},
    {"throw_bad_alloc", throwBadAlloc, METH_NOARGS, nullptr},
    {"held", held, METH_NOARGS, nullptr},
    {nullptr, nullptr, 0, nullptr},
};

void initialise() { Py_InitModule("faults", functions); }

}  // namespace

extern "C" {
__attribute__((no_sanitize("address", "undefined"))) void* malloc(std::size_t size) noexcept {
  return refuse() ? nullptr : REAL(malloc)(size);
}

__attribute__((no_sanitize("address", "undefined"))) void* calloc(std::size_t count,
                                                                  std::size_t size) noexcept {
  return refuse() ? nullptr : REAL(calloc)(count, size);
}

__attribute__((no_sanitize("address", "undefined"))) void* realloc(void* memory,
                                                                   std::size_t size) noexcept {
  return refuse() ? nullptr : REAL(realloc)(memory, size);
}
}

int main(int count, char** arguments) {
  PyImport_AppendInittab(const_cast<char*>("faults"), initialise);
  return Py_Main(count, arguments);
}
