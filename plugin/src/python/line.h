// Where a running function stands, for tracebacks, and the statements that depend on it: `for` over
// an iterator, `try` with its handlers, `with`.
#pragma once

#include "python/globals.h"
#include "python/ref.h"

/// Notes the source line of the statement that follows. Before `if`, `for` and `try` it stands on a
/// line of its own, and these always have braces. An `else if` notes its line in the condition:
/// `else if (at(279), key.equals("skins"))`.
#define AT(line) at(line);

namespace python {

/// The names that tracebacks show for a function: "Kelvaro.AllNews.keyCancel" in three parts, of
/// which the last two may be missing (null).
struct QualifiedName {
  const char* module;
  const char* scope;
  const char* function;
};

/// One running call of a function: its current line, and what its handlers have caught.
class Line {
 public:
  Line(const QualifiedName& name, const Globals& globals) : name_(name), globals_(globals) {}
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;
  /// Puts back the exception that the caller was handling, if a handler here took its place.
  ~Line();

  void operator()(int line) { line_ = line; }
  int number() const { return line_; }

  /// Adds this call's entry to the traceback of the pending exception, once for an exception.
  void report() noexcept;

 private:
  friend class Caught;
  void handle(const Ref& type, const Ref& value, const Ref& traceback);

  QualifiedName name_;
  const Globals& globals_;
  int line_ = 0;
  bool reported_ = false;
  bool handled_ = false;
  // What sys.exc_info() gave before the first handler of this call; members may be null.
  PyObject* outerType_ = nullptr;
  PyObject* outerValue_ = nullptr;
  PyObject* outerTraceback_ = nullptr;
};

/// An exception in its handler:
///
///     } catch (const PythonError& thrown) {
///       Caught error(at, thrown);
///       if (error.is(global("IOError"))) { ... return ...; }
///       error.rethrow();
///     }
///
/// From here until the function returns sys.exc_info() gives it, as in an `except` clause.
class Caught {
 public:
  Caught(Line& at, const PythonError& thrown);

  /// Whether an `except` clause for `kind` (a class, or a tuple of classes) would handle it.
  bool is(const Ref& kind) const;
  /// Goes on to the caller; its traceback keeps the line at which it was caught.
  [[noreturn]] void rethrow();

  const Ref& type() const { return type_; }
  const Ref& value() const { return value_; }
  const Ref& traceback() const { return traceback_; }

 private:
  Line& at_;
  Ref type_;
  Ref value_;
  Ref traceback_;
};

/// `for (const Ref& member : each(iterable, at))`: asks the iterator for one member a turn, at the
/// line at which the loop began.
class each {
 public:
  each(const Ref& iterable, Line& at)
      : iterator_(Ref::take(PyObject_GetIter(iterable.borrow()))), at_(at), header_(at.number()) {}

  struct End {};
  class Turn {
   public:
    explicit Turn(each& loop) : loop_(loop) { loop_.advance(); }
    const Ref& operator*() const { return loop_.member_; }
    Turn& operator++() {
      loop_.advance();
      return *this;
    }
    bool operator!=(End /*end*/) const { return loop_.member_.bound(); }

   private:
    each& loop_;
  };
  Turn begin() { return Turn(*this); }
  static End end() { return {}; }

 private:
  void advance();

  Ref iterator_;
  Ref member_;
  Line& at_;
  int header_;
};

/// A method of the `with` statement: that of the manager's type, whatever the manager itself holds.
Ref specialMethod(const Ref& manager, Name name);

/// The `with` statement: runs `block` on what `manager.__enter__()` gives, then `__exit__`, which
/// may swallow the block's exception.
template <typename Block>
void with(const Ref& manager, Line& at, Block block) {
  Ref exit = specialMethod(manager, "__exit__");
  Ref entered = specialMethod(manager, "__enter__")();
  try {
    block(entered);
  } catch (const PythonError& thrown) {
    Caught error(at, thrown);
    if (!exit({error.type(), error.value(), error.traceback()}).truthy()) {
      error.rethrow();
    }
    return;
  }
  exit({none(), none(), none()});
}

}  // namespace python
