// Functions of the module as Python sees them: made from one table row each, called by one caller.
#pragma once

#include "python/call.h"
#include "python/object.h"

#include <cstddef>

namespace python {

constexpr int kMostParameters = 4;

/// The arguments of a call, in the order of the function's parameters, defaults filled in; the call
/// keeps them.
class Args {
 public:
  explicit Args(PyObject* const* first) : first_(first) {}
  const Object& operator[](int index) const { return Object::of(first_[index]); }

 private:
  PyObject* const* first_;
};

/// What a function does: it sees its arguments and keeps its line noted.
using Body = const Object& (*)(Args args, Call& at);

/// A parameter; `byDefault` gives its default, null where the argument is required.
struct Parameter {
  constexpr Parameter() = default;
  constexpr Parameter(const char* called, const Object& (*itsDefault)() = nullptr)
      : name(called), byDefault(itsDefault) {}

  const char* name = nullptr;
  const Object& (*byDefault)() = nullptr;
};

/// One function or method: its row in a table. `line` is that of its `def`.
struct Function {
  const char* name;
  int line;
  Body body;
  Parameter parameters[kMostParameters];
  const char* doc;
};

/// The rows of one table, in source order.
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

/// Whether `name` in the module is still the function that the module itself bound there.
bool isOriginal(Name name);

// The function objects that these make are called like Python functions (by position and keyword,
// with the interpreter's TypeError for wrong arguments) and bind in classes of both styles.

/// Binds the module's functions under their names, each at the line of its `def`.
void defineFunctions(Functions rows, Call& at);

/// Binds the class `name` with the methods of `rows`, as a class statement at the current line
/// does: its metaclass is that of the first of `bases` (a tuple). Without bases it is a classic
/// class.
void defineClass(Name name, const Object& bases, Functions rows, Call& at);

}  // namespace python
