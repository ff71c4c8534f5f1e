// The names that the module's functions see, and the import statements that bind them.
#pragma once

#include "python/object.h"

namespace python {

/// The object behind a name, as the running call sees it: of the module, then of the builtins,
/// looked up at each use, so that whoever replaces one is honoured. NameError when there is none.
const Object& global(Name name);
/// The same, but null when there is none.
const Object* findGlobal(Name name);
/// Binds a name of the module.
void bind(Name name, Lent value);

/// The module that `from path import names` takes its names from. As in every import statement of
/// Python 2, a path is tried relative to the package that the module lies in, then absolute.
const Object& importFrom(Name path, const Object& names);
/// `import path`: binds the first name of the path.
void importModule(Name path);
/// A module of the interpreter itself, whatever package this one lies in.
const Object& importAbsolute(Name path);
/// Binds `name` of an imported module under `as`; ImportError when the module has no such name.
void bindFrom(const Object& module, Name name, Name as);
/// Binds all that `from module import *` binds: `__all__`, or every name without an underscore in
/// front.
void bindAllFrom(const Object& module);

}  // namespace python
