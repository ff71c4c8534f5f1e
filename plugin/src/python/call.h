// A running call of one of the module's functions, and the statements that depend on it: `for` over
// an iterator, `try` with its handlers, `with`.
#pragma once

#include "python/object.h"

#include <cstddef>

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

/// One running call of a function: its current line, the objects that it keeps, and what its
/// handlers have caught.
///
/// As in Python, the results of a statement's operations end with the statement (here, when the
/// first operation of the next one begins), local variables with the call. Since the call keeps
/// both, a function has nothing to clean up, neither when it returns nor when an exception passes.
/// One thing follows: while a statement needs the results of its operations, nothing may note
/// another line. So a function that notes lines is given local variables, and called where the
/// statement holds nothing else.
class Call {
 public:
  /// `module` keeps the names that the function sees.
  Call(const QualifiedName& name, PyObject* module);
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;
  /// Puts back the exception that the caller was handling, if a handler here took its place.
  ~Call();

  /// Notes the line of the statement that begins.
  void operator()(int line) { line_ = line; }
  int number() const { return line_ < 0 ? ~line_ : line_; }

  /// A local variable that is assigned once.
  const Object& local(const Object& value);

  /// Adds this call's entry to the traceback of the pending exception, once for an exception.
  void report() noexcept;

  // --- For the operations themselves.

  /// The call that an operation belongs to. The results of the statement before end here.
  static Call& running() {
    Call& call = *running_;
    if (call.line_ >= 0) {
      call.beginStatement();
    }
    return call;
  }
  /// Keeps what the C API returned until the statement ends; throws where that says "failed".
  const Object& keep(PyObject* fresh);
  const Object& share(PyObject* lent);
  int check(int status);
  /// To be called where the interpreter has been at work and neither of these two follows.
  void resume() { running_ = this; }
  PyObject* module() const { return module_.borrow(); }
  /// The dictionaries of names that the function sees; the references are not the caller's.
  PyObject* globals() const { return globals_; }
  PyObject* builtins();

  using Mark = PyObject**;
  /// The end of the local variables, and the way back to it: the later ones end.
  Mark mark() const { return locals_; }
  void release(Mark mark);
  /// A place for a local variable, empty.
  PyObject** place();
  /// A local variable that takes the reference over.
  const Object& own(PyObject* object);
  /// Ends all that the call keeps.
  void releaseAll();
  /// Gives up a reference. The object's end may run code of any kind, other calls among it.
  static void end(PyObject* object);

 private:
  friend class Caught;
  static constexpr std::size_t kMostKept = 64;
  void beginStatement();
  void endResults();
  [[noreturn]] static void refuse(PyObject* fresh);

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

  // The call whose operation is at work. While the interpreter is, it may become another thread's:
  // keep() and check(), which end every operation, put it right, or resume() does.
  static Call* running_;
  Call* caller_ = running_;
};

/// A local variable that is assigned more than once, or not on all ways.
class Local {
 public:
  explicit Local(Call& at) : place_(at.place()) {}
  Local(Call& at, const Object& value) : Local(at) { *this = value; }
  Local(const Local&) = delete;
  Local& operator=(const Local&) = delete;
  Local& operator=(const Object& value);

  const Object& operator*() const { return Object::of(*place_); }
  const Object* operator->() const { return &**this; }
  operator const Object&() const { return **this; }

  bool bound() const { return *place_ != nullptr; }
  /// The object itself; while nothing was put in here, UnboundLocalError names the `variable`.
  const Object& boundAs(Name variable) const;

  /// `this += more`, without a copy of the text where it is a string that nobody else has.
  void add(Lent more);
  void add(Name more);

 private:
  PyObject** place_;
};

inline Lent::Lent(const Local& variable) : Lent(*variable) {}

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
  Caught(Call& at, const PythonError& thrown);

  /// Whether an `except` clause for `kind` (a class, or a tuple of classes) would handle it.
  bool is(const Object& kind) const;
  /// Goes on to the caller; its traceback keeps the line at which it was caught.
  [[noreturn]] void rethrow();

  const Object& type() const { return *type_; }
  const Object& value() const { return *value_; }
  const Object& traceback() const { return *traceback_; }

 private:
  Call& at_;
  const Object* type_;
  const Object* value_;
  const Object* traceback_;
};

/// `for (const Object& member : each(iterable, at))`: asks the iterator for one member a turn, at
/// the line at which the loop began. Local variables made in a turn end with it.
class each {
 public:
  each(const Object& iterable, Call& at);

  struct End {};
  class Turn {
   public:
    explicit Turn(each& loop) : loop_(loop) { loop_.advance(); }
    const Object& operator*() const { return *loop_.member_; }
    Turn& operator++() {
      loop_.advance();
      return *this;
    }
    bool operator!=(End /*end*/) const { return loop_.member_ != nullptr; }

   private:
    each& loop_;
  };
  Turn begin() { return Turn(*this); }
  static End end() { return {}; }

 private:
  void advance();

  Call& at_;
  int header_;
  Call::Mark loop_;
  const Object& iterator_;
  Call::Mark turn_;
  const Object* member_ = nullptr;
};

/// A method of the `with` statement: that of the manager's type, whatever the manager itself holds.
const Object& specialMethod(const Object& manager, Name name);

/// The `with` statement: runs `block` on what `manager.__enter__()` gives, then `__exit__`, which
/// may swallow the block's exception.
template <typename Block>
void with(const Object& manager, Call& at, Block block) {
  const Object& exit = at.local(specialMethod(manager, "__exit__"));
  const Object& entered = at.local(specialMethod(manager, "__enter__")());
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
