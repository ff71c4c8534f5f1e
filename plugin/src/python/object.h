// Python objects as the module's functions use them: each operation is the one of the language that
// its name says, gives its result or throws PythonError.
#pragma once

#include "python/ref.h"

#include <cstddef>
#include <initializer_list>
#include <type_traits>

namespace python {

class Lent;
class Local;
struct Argument;

/// A Python object in use. There are only references to Objects: what an operation gives is kept by
/// the running call (see Call) for the length of the statement, so nobody counts references here.
///
/// Hardly anything is inline: the module is all calls of these, and it is to stay small. Literals
/// have overloads of their own for the same reason.
class Object {
 public:
  Object() = delete;
  Object(const Object&) = delete;

  /// `object` is kept by somebody else.
  static const Object& of(PyObject* object) { return *reinterpret_cast<const Object*>(object); }
  PyObject* borrow() const { return reinterpret_cast<PyObject*>(const_cast<Object*>(this)); }

  const Object& attr(Name name) const;
  void set(Name name, Lent value) const;
  const Object& item(Lent key) const;
  const Object& item(Name key) const;
  void setItem(Name key, Lent value) const;

  /// Calls. Several arguments stand in braces, which evaluates them from left to right.
  const Object& operator()() const;
  const Object& operator()(Lent only) const;
  const Object& operator()(Name only) const;
  const Object& operator()(std::initializer_list<Argument> arguments) const;

  bool truthy() const;
  bool isNone() const { return borrow() == Py_None; }
  bool equals(Lent other) const;
  bool equals(Name other) const;
  bool differs(Lent other) const;
  bool lessThan(Lent other) const;
  bool greaterThan(Lent other) const;
  bool atLeast(Lent other) const;
  bool contains(Lent member) const;

  // Members and no operators: an operator's operands have no order of evaluation, a member's have.
  const Object& plus(Lent other) const;
  const Object& plus(Name other) const;
  const Object& times(Lent other) const;
  const Object& format(Lent values) const;
  /// What `this += more` would leave in the variable.
  const Object& increasedBy(Lent more) const;

  /// Appends to a list of our own making; others get their `append` called.
  void append(Lent member) const;

 private:
  bool compare(Lent other, int operation) const;
};

/// An operand: an object that somebody else keeps for the length of the statement. Numbers that
/// stand in the code turn into their objects, which are kept for good.
class Lent {
 public:
  Lent(const Object& object) : object_(object.borrow()) {}
  Lent(const Local& variable);
  explicit Lent(PyObject* object) : object_(object) {}
  Lent(int constant);
  // A template, so that no pointer turns into a truth value unnoticed.
  template <typename Bool, std::enable_if_t<std::is_same_v<Bool, bool>, int> = 0>
  Lent(Bool truth) : object_(truth ? Py_True : Py_False) {}

  PyObject* borrow() const { return object_; }

 private:
  PyObject* object_;
};

/// A member of a list or tuple in braces: an operand, or a text that stands in the code.
struct Member : Lent {
  template <typename Operand,
            std::enable_if_t<std::is_convertible_v<const Operand&, Lent>, int> = 0>
  Member(const Operand& given) : Lent(given) {}
  Member(Name name) : Lent(name.borrow()) {}
  template <std::size_t Size>
  Member(const char (&literal)[Size]) : Member(Name(literal)) {}
};

/// One argument of a call: by position, or by keyword when made with named().
struct Argument {
  template <typename Value, std::enable_if_t<std::is_convertible_v<const Value&, Member>, int> = 0>
  Argument(const Value& given) : value(given) {}
  Argument(Name name, Member given) : keyword(name.text()), value(given) {}

  const char* keyword = nullptr;
  Member value;
};

inline Argument named(Name keyword, Member value) { return {keyword, value}; }

struct Entry {
  Name key;
  Member value;
};

// The constants of the language and of the code, which are there for good.
inline const Object& none() { return Object::of(Py_None); }
inline const Object& truth(bool value) { return Object::of(Lent(value).borrow()); }
const Object& no();
const Object& zero();
const Object& literal(Name text);
const Object& number(int value);

const Object& real(double value);
const Object& list(std::initializer_list<Member> members = {});
const Object& tuple(std::initializer_list<Member> members);
const Object& dict(std::initializer_list<Entry> entries);

}  // namespace python
