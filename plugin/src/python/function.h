// Functions of the module as Python sees them: made from one table row each, called by one caller.
#pragma once

#include "python/globals.h"
#include "python/line.h"
#include "python/ref.h"

#include <array>
#include <cstddef>

namespace python {

constexpr std::size_t kMostParameters = 4;

/// The arguments of a call, in the order of the function's parameters, defaults filled in.
using Args = std::array<Ref, kMostParameters>;

/// What a function does: it sees its arguments and the module's names, and keeps its line noted.
using Body = Ref (*)(const Args& args, const Globals& global, Line& at);

/// A parameter; `byDefault` makes its default, null where the argument is required.
struct Parameter {
  constexpr Parameter() = default;
  constexpr Parameter(const char* called, Ref (*makeDefault)() = nullptr)
      : name(called), byDefault(makeDefault) {}

  const char* name = nullptr;
  Ref (*byDefault)() = nullptr;
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

/// Makes the function object of a row. It is called like a Python function (by position and
/// keyword, with the interpreter's TypeError for wrong arguments) and binds in classes of both
/// styles.
///
/// `row` and `scope` (the class that tracebacks name, or null) must live as long as the process.
Ref makeFunction(const Function& row, const char* scope, const Globals& globals);

/// Whether `name` in the module is still the function that the module itself bound there.
bool isOriginal(const Globals& globals, Name name);

/// Binds the module's functions under their names, each at the line of its `def`.
void defineFunctions(Functions rows, const Globals& globals, Line& at);

/// Binds the class `name` with the methods of `rows`, as a class statement at the current line
/// does: its metaclass is that of the first of `bases` (a tuple). Without bases it is a classic
/// class.
void defineClass(Name name, const Ref& bases, Functions rows, const Globals& globals, Line& at);

}  // namespace python
