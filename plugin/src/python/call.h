// A running call of one of the module's functions, and the statements that depend on it: `for` over
// an iterator, `try` with its handlers, `with`.
#pragma once

#include "python/object.h"

#include <cstddef>

/// Notes the source line of the statement that follows. Before `if`, `for` and `try` it stands on a
/// line of its own, and these always have braces. An `else if` notes its line in the condition:
/// `else if (at(279), key.equals("skins"_s))`.
#define AT(line) at(line);

namespace python {

/// The names that tracebacks show for a function: "Kelvaro.AllNews.keyCancel" in three parts, of
/// which the last two may be missing (null).
struct QualifiedName {
  const char* module;
  const char* scope;
  const char* function;
};

/// One running call of a function: its current line, the objects that it keeps, and what its
/// handlers have caught.
///
/// As in Python, the results of a statement's operations end with the statement (here, when the
/// first operation of the next one begins), local variables with the call. The call keeps both, so
/// a function has nothing to clean up, neither when it returns nor when an exception passes.
class Call {
 public:
  /// Runs `body`, which gets the call and returns a new reference. If an exception leaves it, that
  /// is pending afterwards and the result is null. `module` keeps the names that the function sees.
  template <typename Body>
  static PyObject* enter(const QualifiedName& name, PyObject* module, const Body& body) noexcept {
    return run(
        name, module,
        [](Call& at, const void* context) { return (*static_cast<const Body*>(context))(at); },
        &body);
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  /// Notes the line of the statement that begins.
  void operator()(int line) { line_ = line; }
  int line() const { return line_ < 0 ? ~line_ : line_; }

  // --- For the operations themselves.

  /// The call that an operation belongs to: the newest of this thread. The previous
  /// statement's results end here.
  static Call& running() {
    Call* call = newest_;
    if (call->thread_ != PyThreadState_GET()) {
      call = newestOfThisThread();
    }
    if (call->line_ >= 0) {
      call->beginStatement();
    }
    return *call;
  }
  /// Keeps what the C API returned until the statement ends; throws where that says "failed".
  PyObject* keep(PyObject* fresh) {
    if (fresh == nullptr || results_ == locals_) {
      refuse(fresh);
    }
    return *--results_ = fresh;
  }
  PyObject* share(PyObject* lent) {
    Py_INCREF(lent);
    return keep(lent);
  }
  PyObject* module() const { return module_.borrow(); }
  /// The dictionaries of names that the function sees, borrowed.
  PyObject* globals() const { return globals_; }
  PyObject* builtins();

  using Mark = PyObject**;
  /// The end of the local variables. release() goes back to it: the later ones end.
  Mark mark() const { return locals_; }
  void release(Mark mark);
  /// A place for a local variable, empty.
  PyObject** place();
  /// A local variable that takes over the reference.
  PyObject* own(PyObject* object) { return *place() = object; }
  /// The same for a result of the running statement; if it is the last one, its reference moves.
  PyObject* ownResult(PyObject* result);

#ifndef NDEBUG
  unsigned statement() const { return statement_; }
#endif

 private:
  friend class Caught;
  /// All calls enter here, so no C++ exception gets further.
  static PyObject* run(const QualifiedName& name, PyObject* module,
                       PyObject* (*body)(Call& at, const void* context),
                       const void* context) noexcept;
  Call(const QualifiedName& name, PyObject* module);
  /// Puts back the exception that the caller was handling, if a handler here took its place.
  ~Call();

  static Call* newestOfThisThread();
  static constexpr std::size_t kMostKept = 64;
  void beginStatement();
  void endResults();
  /// Ends the local variables, the first one first.
  void endLocals();
  [[noreturn]] static void refuse(PyObject* fresh);
  /// Adds this call's entry to the traceback of the pending exception, once for an exception.
  void report() noexcept;

  QualifiedName name_;
  Ref module_;
  PyObject* globals_;
  Ref builtins_;  // found when first needed
  int line_ = 0;  // its complement once the statement's first operation has begun
  bool reported_ = false;
  bool handled_ = false;
  // What sys.exc_info() gave before the first handler of this call; members may be null.
  PythonError outer_;
  // Local variables grow from the beginning, results from the end.
  PyObject** locals_ = kept_;
  PyObject** results_ = kept_ + kMostKept;
  PyObject* kept_[kMostKept];
#ifndef NDEBUG
  unsigned statement_ = 0;
#endif

  // The calls of all threads, the newest first.
  static Call* newest_;
  PyThreadState* thread_ = PyThreadState_GET();
  Call* older_ = newest_;
};

/// An exception in its handler:
///
///     } catch (PythonError& thrown) {
///       Caught error(at, thrown);
///       if (error.is(global("IOError"_s))) { ... return ...; }
///       error.rethrow();
///     }
///
/// From here until the function returns sys.exc_info() gives it, as in an `except` clause.
class Caught {
 public:
  Caught(Call& at, PythonError& thrown);

  /// Whether an `except` clause for `kind` (a class, or a tuple of classes) would handle it.
  bool is(Value kind) const;
  /// Goes on to the caller; its traceback keeps the line at which it was caught.
  [[noreturn]] void rethrow();

  Local type() const { return Local(type_); }
  Local value() const { return Local(value_); }
  Local traceback() const { return Local(traceback_); }

 private:
  Call& at_;
  PyObject* type_;
  PyObject* value_;
  PyObject* traceback_;
};

/// The iterator of a loop, and what the loop keeps.
class Loop {
 public:
  Loop(Value iterable, Call& at);
  /// The next member, null at the end. Local variables made in the previous turn end.
  PyObject* advance();

 private:
  Call& at_;
  int header_;
  Call::Mark loop_;
  PyObject* iterator_;
  Call::Mark turn_;
};

/// `for (Local member : each(iterable, at))`: asks the iterator for one member a turn, at the line
/// at which the loop began. Local variables made in a turn end with it.
template <typename Member = Local>
class each {
 public:
  each(Value iterable, Call& at) : loop_(iterable, at) {}

  struct End {};
  class Turn {
   public:
    explicit Turn(Loop& loop) : loop_(loop), member_(loop.advance()) {}
    Member operator*() const { return Member(Local(member_)); }
    Turn& operator++() {
      member_ = loop_.advance();
      return *this;
    }
    bool operator!=(End /*end*/) const { return member_ != nullptr; }

   private:
    Loop& loop_;
    PyObject* member_;
  };
  Turn begin() { return Turn(loop_); }
  static End end() { return {}; }

 private:
  Loop loop_;
};

/// A method of the `with` statement: that of the manager's type, whatever the manager itself holds.
Object specialMethod(const Local& manager, Str name);

/// The `with` statement: runs `block` on what `manager.__enter__()` gives, then `__exit__`, which
/// may swallow the block's exception.
template <typename Block>
void with(const Local& manager, Call& at, Block block) {
  const Local exit = specialMethod(manager, "__exit__"_s);
  const Local entered = specialMethod(manager, "__enter__"_s)();
  try {
    block(entered);
  } catch (PythonError& thrown) {
    Caught error(at, thrown);
    if (!exit({error.type(), error.value(), error.traceback()}).truthy()) {
      error.rethrow();
    }
    return;
  }
  exit({none, none, none});
}

#ifdef NDEBUG
inline Object::Object(PyObject* kept) : object_(kept) {}
inline PyObject* Object::borrow() const { return object_; }
#endif

}  // namespace python
