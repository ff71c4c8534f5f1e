// Python objects as the module's functions use them: each operation does what the language's own of
// that name does. It gives a result or throws PythonError.
#pragma once

#include "python/ref.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

/// An operation on a handle is a call with its pointer: inlined, no handle ever lies in memory.
#define KELVARO_FORWARD [[gnu::always_inline]]

namespace python {

class Local;
class Object;
class Value;
class Variable;

// --- Literals.

/// The place of a text: its string object, made and interned at first use and immortal, like the
/// constants of a code object. The characters follow it.
struct Literal {
  PyObject* object;
};

/// A text literal: "split"_s.
class Str {
 public:
  /// No text.
  constexpr Str() = default;
  explicit constexpr Str(Literal& literal) : literal_(&literal) {}
  explicit operator bool() const { return literal_ != nullptr; }

  const char* text() const { return reinterpret_cast<const char*>(literal_ + 1); }
  PyObject* borrow() const { return literal_->object != nullptr ? literal_->object : make(); }

  // The operations that begin with a text.
  KELVARO_FORWARD Object plus(Value other) const;
  KELVARO_FORWARD Object format(Value values) const;

 private:
  friend class Value;
  PyObject* make() const;

  Literal* literal_ = nullptr;
};

template <char... characters>
struct LiteralOf : Literal {
  static LiteralOf place;
  char text[sizeof...(characters) + 1];
};
template <char... characters>
LiteralOf<characters...> LiteralOf<characters...>::place{{nullptr}, {characters..., '\0'}};

/// One place for each text, however often it is used. An extension of GCC and Clang.
template <typename Char, Char... characters>
constexpr Str operator""_s() {
  return Str(LiteralOf<characters...>::place);
}

struct None {};
constexpr None none;

// --- Operands.

/// What operations take and functions return: an object that somebody keeps for the length of the
/// statement, or a constant. Constants turn into objects where these are needed, so each use costs
/// one word and no call.
class Value {
 public:
  KELVARO_FORWARD Value(const Object& result);
  KELVARO_FORWARD Value(const Local& variable);
  KELVARO_FORWARD Value(const Variable& variable);
  Value(Str text) : word_(reinterpret_cast<std::uintptr_t>(text.literal_) | kText) {}
  constexpr Value(int number) : word_(static_cast<std::uintptr_t>(number) << kBits | kNumber) {}
  constexpr Value(None /*none*/) : word_(kNone) {}
  // A template, so that no pointer turns into a truth value unnoticed.
  template <typename Bool, std::enable_if_t<std::is_same_v<Bool, bool>, int> = 0>
  constexpr Value(Bool truth) : word_(truth ? kTrue : kFalse) {}
  explicit Value(PyObject* lent) : word_(reinterpret_cast<std::uintptr_t>(lent)) {}

  /// The object, borrowed.
  KELVARO_FORWARD PyObject* borrow() const {
    return (word_ & kTag) == 0 ? reinterpret_cast<PyObject*>(word_) : constant();
  }
  bool isNumber() const { return (word_ & kTag) == kNumber; }
  long number() const { return static_cast<std::intptr_t>(word_) >> kBits; }

 private:
  // The lowest two bits of a pointer to an object are zero.
  static constexpr int kBits = 2;
  static constexpr std::uintptr_t kTag = 3, kText = 1, kNumber = 2;
  static constexpr std::uintptr_t kNone = 3, kTrue = 7, kFalse = 11;
  PyObject* constant() const;

  std::uintptr_t word_;
};

/// One argument of a call: by position, or by keyword when made with named().
struct Argument {
  template <typename Given, std::enable_if_t<std::is_convertible_v<const Given&, Value>, int> = 0>
  KELVARO_FORWARD Argument(const Given& given) : value(given) {}
  KELVARO_FORWARD Argument(Str name, Value given) : keyword(name), value(given) {}

  Str keyword;
  Value value;
};

KELVARO_FORWARD inline Argument named(Str keyword, Value value) { return {keyword, value}; }

// --- The operations, out of line: the module consists of calls to these and must stay small. What
// --- they return is kept by the running call (see Call).

constexpr int kMostArguments = 7;  // by position

namespace operation {

PyObject* global(Str name);
PyObject* local(PyObject* result);
PyObject* local(Value value);
PyObject** variable();
void assign(PyObject** variable, Value value);
void add(PyObject** variable, Value more);
PyObject* real(double value);
PyObject* attr(PyObject* object, Str name);
void set(PyObject* object, Str name, Value value);
PyObject* item(PyObject* object, Value key);
void setItem(PyObject* object, Value key, Value value);
PyObject* call(PyObject* callee);
PyObject* call(PyObject* callee, Value only);
PyObject* call(PyObject* callee, const Argument* arguments, int count);
PyObject* callMethod(PyObject* object, Str name);
PyObject* callMethod(PyObject* object, Str name, Value only);
PyObject* callMethod(PyObject* object, Str name, const Value* arguments, int count);
bool truthy(PyObject* object);
bool compare(PyObject* left, Value right, int how);
bool contains(PyObject* container, Value member);
PyObject* plus(PyObject* left, Value right);
PyObject* times(PyObject* left, Value right);
PyObject* format(PyObject* text, Value values);
PyObject* increasedBy(PyObject* left, Value right);
void append(PyObject* list, Value member);
PyObject* list(const Value* members, int count);
PyObject* tuple(const Value* members, int count);
PyObject* dict(int room);
PyObject* dict(const Argument* entries, int count);

}  // namespace operation

/// The operations of Objects and of variables.
///
/// They are members, not operators, and several arguments stand in braces: both are evaluated
/// from left to right, unlike the operands of an operator and the arguments of a C++ call. `Result`
/// is Object, which is complete only below.
template <typename Self, typename Result>
class Operations {
 public:
  KELVARO_FORWARD Result attr(Str name) const { return Result(operation::attr(self(), name)); }
  KELVARO_FORWARD void set(Str name, Value value) const { operation::set(self(), name, value); }
  KELVARO_FORWARD Result item(Value key) const { return Result(operation::item(self(), key)); }
  KELVARO_FORWARD void setItem(Value key, Value value) const {
    operation::setItem(self(), key, value);
  }

  KELVARO_FORWARD Result operator()() const { return Result(operation::call(self())); }
  KELVARO_FORWARD Result operator()(Value only) const {
    return Result(operation::call(self(), only));
  }
  template <std::size_t count>
  KELVARO_FORWARD Result operator()(const Argument (&arguments)[count]) const {
    static_assert(count <= kMostArguments, "a call has too many arguments");
    return Result(operation::call(self(), arguments, count));
  }

  /// Calls a method. The interpreter finds the method before it evaluates the arguments, so these
  /// have to be there already: constants and variables. For others, attr("name"_s)(...).
  template <typename... Arguments>
  KELVARO_FORWARD Result call(Str name, const Arguments&... arguments) const {
    static_assert((!std::is_same_v<Arguments, Result> && ...),
                  "the method is to be found before its arguments are evaluated: use attr()()");
    static_assert(sizeof...(arguments) <= kMostArguments, "a call has too many arguments");
    if constexpr (sizeof...(arguments) < 2) {
      return Result(operation::callMethod(self(), name, Value(arguments)...));
    } else {
      const Value values[] = {arguments...};
      return Result(operation::callMethod(self(), name, values, sizeof...(arguments)));
    }
  }

  KELVARO_FORWARD bool truthy() const { return operation::truthy(self()); }
  KELVARO_FORWARD bool isNone() const { return self() == Py_None; }
  KELVARO_FORWARD bool equals(Value other) const { return compare(other, Py_EQ); }
  KELVARO_FORWARD bool differs(Value other) const { return compare(other, Py_NE); }
  KELVARO_FORWARD bool lessThan(Value other) const { return compare(other, Py_LT); }
  KELVARO_FORWARD bool greaterThan(Value other) const { return compare(other, Py_GT); }
  KELVARO_FORWARD bool atLeast(Value other) const { return compare(other, Py_GE); }
  KELVARO_FORWARD bool contains(Value member) const { return operation::contains(self(), member); }

  KELVARO_FORWARD Result plus(Value other) const { return Result(operation::plus(self(), other)); }
  KELVARO_FORWARD Result times(Value other) const {
    return Result(operation::times(self(), other));
  }
  KELVARO_FORWARD Result format(Value values) const {
    return Result(operation::format(self(), values));
  }
  /// What `this += more` would leave in the variable.
  KELVARO_FORWARD Result increasedBy(Value more) const {
    return Result(operation::increasedBy(self(), more));
  }

  /// Appends to a list of our own making; others get their `append` called.
  KELVARO_FORWARD void append(Value member) const { operation::append(self(), member); }

 private:
  KELVARO_FORWARD PyObject* self() const { return static_cast<const Self*>(this)->borrow(); }
  KELVARO_FORWARD bool compare(Value other, int how) const {
    return operation::compare(self(), other, how);
  }
};

/// The result of an operation, which lives as long as its statement: what is needed longer is kept
/// in a Local. Debug builds check each use.
class Object : public Operations<Object, Object> {
 public:
  /// `kept` by the running call.
  explicit Object(PyObject* kept);
  PyObject* borrow() const;

 private:
  PyObject* object_;
#ifndef NDEBUG
  unsigned statement_;
#endif
};

/// A local variable that is assigned once. It lives as long as the call, and those made in a turn
/// of a loop as long as the turn.
class Local : public Operations<Local, Object> {
 public:
  KELVARO_FORWARD Local(const Object& result) : object_(operation::local(result.borrow())) {}
  template <typename Given, std::enable_if_t<std::is_convertible_v<const Given&, Value>, int> = 0>
  KELVARO_FORWARD Local(const Given& value) : object_(operation::local(Value(value))) {}
  /// `kept` by the call like a variable.
  explicit Local(PyObject* kept) : object_(kept) {}

  PyObject* borrow() const { return object_; }

 private:
  PyObject* object_;
};

/// A local variable that is assigned more than once, or not on every path.
class Variable : public Operations<Variable, Object> {
 public:
  Variable() : place_(operation::variable()) {}
  template <typename Given, std::enable_if_t<std::is_convertible_v<const Given&, Value>, int> = 0>
  KELVARO_FORWARD Variable(const Given& value) : Variable() {
    operation::assign(place_, value);
  }
  template <typename Given, std::enable_if_t<std::is_convertible_v<const Given&, Value>, int> = 0>
  KELVARO_FORWARD Variable& operator=(const Given& value) {
    operation::assign(place_, value);
    return *this;
  }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;

  PyObject* borrow() const { return *place_; }
  /// The variable's object; while there is none, UnboundLocalError names the variable.
  Value boundAs(Str name) const;

  /// `this += more`, without a copy of the text where it is a string that nobody else refers to.
  void add(Value more) { operation::add(place_, more); }

 private:
  PyObject** place_;
};

inline Value::Value(const Object& result) : Value(result.borrow()) {}
inline Value::Value(const Local& variable) : Value(variable.borrow()) {}
inline Value::Value(const Variable& variable) : Value(variable.borrow()) {}

inline Object Str::plus(Value other) const { return Object(operation::plus(borrow(), other)); }
inline Object Str::format(Value values) const {
  return Object(operation::format(borrow(), values));
}

// --- Making objects.

KELVARO_FORWARD inline Object real(double value) { return Object(operation::real(value)); }

KELVARO_FORWARD inline Object list() { return Object(operation::list(nullptr, 0)); }
template <std::size_t count>
KELVARO_FORWARD inline Object list(const Value (&members)[count]) {
  return Object(operation::list(members, count));
}
KELVARO_FORWARD inline Object tuple() { return Object(operation::tuple(nullptr, 0)); }
template <std::size_t count>
KELVARO_FORWARD inline Object tuple(const Value (&members)[count]) {
  return Object(operation::tuple(members, count));
}
/// An empty dictionary as a literal of `room` entries begins: its order depends on it.
KELVARO_FORWARD inline Object dict(int room) { return Object(operation::dict(room)); }
/// dict({named("key"_s, value), ...})
template <std::size_t count>
KELVARO_FORWARD inline Object dict(const Argument (&entries)[count]) {
  return Object(operation::dict(entries, count));
}

}  // namespace python
