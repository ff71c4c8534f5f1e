// Python objects as C++ values: who owns a reference is said at its birth, and an operation either
// gives its result or throws.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <type_traits>
#include <utility>

#include "python/api.h"

namespace python {

/// Thrown while the interpreter's error indicator is set; the indicator has the details.
struct PythonError {};

/// Throws PythonError. The caller has seen a C API function fail, so the indicator is set.
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

struct Argument;

/// One owned reference; the count falls when the Ref goes out of scope.
///
/// Literals, numbers and truth values turn into their objects by themselves. Every operation is the
/// one of the Python language that its name says and throws PythonError where that raises. Hardly
/// anything is inline: the module is all calls of these, and it is to stay small.
class Ref {
 public:
  /// Holds nothing yet, like a local variable before its first assignment.
  Ref() = default;

  template <std::size_t Size>
  Ref(const char (&literal)[Size]) : Ref(Name(literal)) {}
  Ref(Name name);
  Ref(int number);
  Ref(double number);
  // A template, so that no pointer turns into a truth value unnoticed.
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

  Ref attr(Name name) const;
  void set(Name name, const Ref& value) const;
  Ref item(const Ref& key) const;
  void setItem(const Ref& key, const Ref& value) const;

  /// Calls. Several arguments stand in braces, which evaluates them from left to right.
  Ref operator()() const;
  Ref operator()(const Argument& only) const;
  Ref operator()(std::initializer_list<Argument> arguments) const;

  bool truthy() const;
  bool isNone() const { return object_ == Py_None; }
  bool equals(const Ref& other) const { return compare(other, Py_EQ); }
  bool differs(const Ref& other) const { return compare(other, Py_NE); }
  bool lessThan(const Ref& other) const { return compare(other, Py_LT); }
  bool greaterThan(const Ref& other) const { return compare(other, Py_GT); }
  bool atLeast(const Ref& other) const { return compare(other, Py_GE); }
  bool contains(const Ref& member) const;

  // Members and no operators: an operator's operands have no order of evaluation, a member's have.
  Ref plus(const Ref& other) const;
  Ref times(const Ref& other) const;
  Ref format(const Ref& values) const;

  /// `text += more`, without a copy of the text where it is a string that nobody else has.
  void extend(const Ref& more);

  /// Appends to a list of our own making; others get their `append` called.
  void append(const Ref& member) const;

 private:
  explicit Ref(PyObject* owned) : object_(owned) {}
  bool compare(const Ref& other, int operation) const;

  PyObject* object_ = nullptr;
};

/// Answers `in` as `members` itself does, and for many strings in a long list of strings quickly.
class Membership {
 public:
  explicit Membership(Ref members);
  bool has(const Ref& member) const;

 private:
  Ref members_;
  Ref set_;  // of the same members, where these are plain strings in a list
};

/// One argument of a call: by position, or by keyword when made with named().
struct Argument {
  template <typename Value, std::enable_if_t<std::is_convertible_v<Value, Ref>, int> = 0>
  Argument(Value&& given) : value(std::forward<Value>(given)) {}
  Argument(Name name, Ref given) : keyword(name.text()), value(std::move(given)) {}

  const char* keyword = nullptr;
  Ref value;
};

inline Argument named(Name keyword, Ref value) { return {keyword, std::move(value)}; }

struct Entry {
  Ref key;
  Ref value;
};

Ref none();
Ref no();
Ref zero();
Ref list(std::initializer_list<Ref> members = {});
Ref tuple(std::initializer_list<Ref> members);
Ref dict(std::initializer_list<Entry> entries);

}  // namespace python
