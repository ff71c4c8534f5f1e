// The module's namespace, as the module's own functions see it.
#pragma once

#include "python/ref.h"

namespace python {

/// The names that a function of the module sees: those of the module, then the builtins. They are
/// looked up at each use, so that whoever replaces one is honoured.
class Globals {
 public:
  explicit Globals(Ref module)
      : module_(std::move(module)), dict_(PyModule_GetDict(module_.borrow())) {}

  /// The object behind a name; NameError when there is none.
  Ref operator()(Name name) const;
  /// The same, but an unbound Ref when there is none.
  Ref find(Name name) const;
  Ref findBuiltin(Name name) const;
  void bind(Name name, const Ref& value) const;

  const Ref& module() const { return module_; }
  /// The module's `__dict__`; the reference is not the caller's.
  PyObject* borrow() const { return dict_; }

 private:
  Ref module_;
  PyObject* dict_;
};

/// The module that `from path import names` takes its names from. As in every import statement of
/// Python 2, a path is tried relative to the package that the module lies in, then absolute.
Ref importFrom(const Globals& globals, Name path, const Ref& names);
/// `import path`: binds the first name of the path.
void importModule(const Globals& globals, Name path);
/// Binds `name` of an imported module under `as`; ImportError when the module has no such name.
void bindFrom(const Globals& globals, const Ref& module, Name name, Name as);
/// Binds all that `from module import *` binds: `__all__`, or every name without an underscore in
/// front.
void bindAllFrom(const Globals& globals, const Ref& module);

}  // namespace python
