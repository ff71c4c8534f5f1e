// Python objects as C++ values: who owns a reference is said at its birth, and an operation either
// gives its result or throws.
#pragma once

#include "python/api.h"

#include <cstddef>
#include <initializer_list>
#include <type_traits>
#include <utility>

namespace python {

/// The interpreter's exception on its way to a handler. It is taken out of the interpreter for the
/// flight, since the objects that end on the way may run code that would lose it there.
struct PythonError {
  PyObject* type;
  PyObject* value;
  PyObject* traceback;

  /// Gives the exception back to the interpreter: the first thing that a handler does, once.
  void restore() const { PyErr_Restore(type, value, traceback); }
};

/// Throws the pending exception. The caller has seen a C API function fail, so there is one.
[[noreturn]] void raisePending();

/// Raises an exception of ours: a class of the interpreter with a message.
[[noreturn]] void raise(PyObject* type, const char* message);

/// Passes on what a C API function returned; throws PythonError when that says "failed".
inline PyObject* require(PyObject* result) {
  if (result == nullptr) {
    raisePending();
  }
  return result;
}
inline int require(int status) {
  if (status < 0) {
    raisePending();
  }
  return status;
}

/// A string that stands in the code: an attribute, a global, a text. Its interned string object is
/// made at first use and stays for the life of the process, as the constants of a code object do.
class Name {
 public:
  template <std::size_t Size>
  constexpr Name(const char (&literal)[Size]) : text_(literal) {}

  /// `text` must live as long as the process and never change: a string of a constant table.
  static constexpr Name ofTable(const char* text) { return Name(Static{text}); }

  const char* text() const { return text_; }
  /// The string object; the reference is not the caller's.
  PyObject* borrow() const;

 private:
  struct Static {
    const char* text;
  };
  explicit constexpr Name(Static constant) : text_(constant.text) {}

  const char* text_;
};

class Ref;

/// What an operation is given: an object that somebody else keeps for the length of the statement.
/// Literals and numbers that stand in the code turn into their objects, which are kept for good.
class Lent {
 public:
  Lent(const Ref& owned);
  Lent(Name name) : object_(name.borrow()) {}
  template <std::size_t Size>
  Lent(const char (&literal)[Size]) : Lent(Name(literal)) {}
  Lent(int constant);
  // A template, so that no pointer turns into a truth value unnoticed.
  template <typename Bool, std::enable_if_t<std::is_same_v<Bool, bool>, int> = 0>
  Lent(Bool truth) : object_(truth ? Py_True : Py_False) {}

  PyObject* borrow() const { return object_; }

 private:
  PyObject* object_;
};

/// One argument of a call: by position, or by keyword when made with named().
struct Argument {
  template <typename Value, std::enable_if_t<std::is_convertible_v<const Value&, Lent>, int> = 0>
  Argument(const Value& given) : value(given) {}
  Argument(Name name, Lent given) : keyword(name.text()), value(given) {}

  const char* keyword = nullptr;
  Lent value;
};

inline Argument named(Name keyword, Lent value) { return {keyword, value}; }

/// One owned reference; the count falls when the Ref goes out of scope.
///
/// Every operation is the one of the Python language that its name says and throws PythonError
/// where that raises. Steps of a chain, a.attr("b").attr("c")(), work in the same place, so a chain
/// is never bound to a `const Ref&`, only to a `Ref`. Hardly anything is inline: the module is all
/// calls of these, and it is to stay small.
class Ref {
 public:
  /// Holds nothing yet, like a local variable before its first assignment.
  Ref() = default;

  template <std::size_t Size>
  Ref(const char (&literal)[Size]) : Ref(Name(literal)) {}
  Ref(Name name);
  Ref(int number);
  Ref(double number);
  template <typename Bool, std::enable_if_t<std::is_same_v<Bool, bool>, int> = 0>
  Ref(Bool truth) : Ref(share(truth ? Py_True : Py_False)) {}

  static Ref take(PyObject* fresh) { return Ref(require(fresh)); }  // "new reference" results
  static Ref share(PyObject* lent);                                 // "borrowed" results

  Ref(const Ref& other);
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Ref& operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Ref();

  PyObject* borrow() const { return object_; }
  PyObject* release() { return std::exchange(object_, nullptr); }

  /// Whether anything was put in here yet.
  bool bound() const { return object_ != nullptr; }
  /// The object itself; while nothing was put in here, UnboundLocalError names the `variable`.
  const Ref& boundAs(Name variable) const;

  Ref attr(Name name) const&;
  Ref&& attr(Name name) &&;
  void set(Name name, Lent value) const;
  Ref item(Lent key) const&;
  Ref&& item(Lent key) &&;
  void setItem(Lent key, Lent value) const;

  /// Calls. Several arguments stand in braces, which evaluates them from left to right.
  Ref operator()() const&;
  Ref&& operator()() &&;
  Ref operator()(Lent only) const&;
  Ref&& operator()(Lent only) &&;
  Ref operator()(std::initializer_list<Argument> arguments) const&;
  Ref&& operator()(std::initializer_list<Argument> arguments) &&;

  bool truthy() const;
  bool isNone() const { return object_ == Py_None; }
  bool equals(Lent other) const { return compare(other, Py_EQ); }
  bool differs(Lent other) const { return compare(other, Py_NE); }
  bool lessThan(Lent other) const { return compare(other, Py_LT); }
  bool greaterThan(Lent other) const { return compare(other, Py_GT); }
  bool atLeast(Lent other) const { return compare(other, Py_GE); }
  bool contains(Lent member) const;

  // Members and no operators: an operator's operands have no order of evaluation, a member's have.
  Ref plus(Lent other) const&;
  Ref&& plus(Lent other) &&;
  Ref times(Lent other) const&;
  Ref&& times(Lent other) &&;
  Ref format(Lent values) const&;
  Ref&& format(Lent values) &&;

  /// `this += more`, without a copy of the text where it is a string that nobody else has.
  void add(Lent more);

  /// Appends to a list of our own making; others get their `append` called.
  void append(Lent member) const;

 private:
  explicit Ref(PyObject* owned) : object_(owned) {}
  bool compare(Lent other, int operation) const;

  PyObject* object_ = nullptr;
};

inline Lent::Lent(const Ref& owned) : object_(owned.borrow()) {}

/// Answers `in` as `members` itself does, and for many strings in a long list of strings quickly.
class Membership {
 public:
  explicit Membership(Ref members);
  bool has(const Ref& member) const;

 private:
  Ref members_;
  Ref set_;  // of the same members, where these are plain strings in a list
};

struct Entry {
  Lent key;
  Lent value;
};

Ref none();
Ref no();
Ref zero();
Ref list(std::initializer_list<Lent> members = {});
Ref tuple(std::initializer_list<Lent> members);
Ref dict(std::initializer_list<Entry> entries);

}  // namespace python
