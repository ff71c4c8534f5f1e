// The layer over the interpreter's C API: start here.
//
// A function of the module is written like this. Its parameters are those that Python code sees.
//
//     // Removes what the browser has left; returns how many files that were.
//     DEF(88, tidy, (At at, Local self, Local paths, Local loud = false), "Remove the files.") {
//       AT(89) Variable count = 0;
//       AT(90)
//       for (Local path : each(paths, at)) {
//         AT(91) global("remove"_s)(path);
//         AT(92) count.add(1);
//       }
//       AT(93) return count;
//     }
//
// Two mistakes are easily made. `auto path = self.attr("path"_s);` keeps a result, which ends
// with its statement: write `Local path = ...`, or a debug build stops at the next use. And C++
// evaluates the arguments of a call in any order: several of them stand in braces, `open({path,
// "r"_s})`.
#pragma once

#include "python/call.h"
#include "python/globals.h"
#include "python/object.h"

#include <cstddef>
#include <cstring>

namespace python {

/// The running call in the signatures of DEF, where clang-format would take an & for an operator.
using At = Call&;

/// Begins a function: the line of its `def`, its name ("init" stands for "__init__"), its
/// parameters with their defaults, which are constants, and its docstring. A table takes it as
/// FUNCTION(name).
#define DEF(line, name, parameters, doc)                                              \
  constexpr python::Signature name##Signature{line, #name "\0" #parameters "\0" doc}; \
  python::Value name parameters
#define FUNCTION(name) \
  { name##Signature, name }

/// What a function is called and takes.
struct Signature {
  int line;
  const char* texts;  // three, each with its NUL: name, parameters as C++ has them, docstring

  const char* name() const { return std::strcmp(texts, "init") == 0 ? "__init__" : texts; }
  const char* parameters() const { return texts + std::strlen(texts) + 1; }
  const char* doc() const { return parameters() + std::strlen(parameters()) + 1; }
};

/// What a function does: the body behind its signature, by the number of its parameters.
class Body {
 public:
  using None = Value (*)(Call&);
  using One = Value (*)(Call&, Local);
  using Two = Value (*)(Call&, Local, Local);
  using Three = Value (*)(Call&, Local, Local, Local);
  using Four = Value (*)(Call&, Local, Local, Local, Local);

  constexpr Body(None body) : none_(body), count_(0) {}
  constexpr Body(One body) : one_(body), count_(1) {}
  constexpr Body(Two body) : two_(body), count_(2) {}
  constexpr Body(Three body) : three_(body), count_(3) {}
  constexpr Body(Four body) : four_(body), count_(4) {}

  int count() const { return count_; }
  Value operator()(Call& at, PyObject* const* arguments) const;

 private:
  union {
    None none_;
    One one_;
    Two two_;
    Three three_;
    Four four_;
  };
  int count_;
};

/// One function or method.
struct Function {
  Signature signature;
  Body body;
};

/// The functions of a table, in source order.
class Functions {
 public:
  template <std::size_t Size>
  explicit Functions(const Function (&rows)[Size]) : begin_(rows), end_(rows + Size) {}
  const Function* begin() const { return begin_; }
  const Function* end() const { return end_; }

 private:
  const Function* begin_;
  const Function* end_;
};

// The function objects that these make are called like Python functions (by position and keyword,
// with the interpreter's TypeError for wrong arguments) and bind in classes of both styles.

/// Binds the module's functions under their names, each at the line of its `def`.
void defineFunctions(Functions rows, Call& at);

/// Binds the class `name` with the methods of `rows`, as a class statement at the current line
/// does: its metaclass is that of the first of `bases` (a tuple). Without bases it is a classic
/// class.
void defineClass(Str name, Local bases, Functions rows, Call& at);

/// Whether `name` in the module is still the function that the module itself bound there.
bool isOriginal(Str name);

// --- For the operations.

bool isFunction(PyObject* object);
/// Calls a function of the module; null where that fails.
PyObject* callFunction(PyObject* function, PyObject* const* arguments, int count);

}  // namespace python
