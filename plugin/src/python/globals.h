// The names that the module's functions see, and the import statements that bind them.
#pragma once

#include "python/call.h"

namespace python {

/// The object of a name, as the running call sees it: of the module, then of the builtins, looked
/// up at each use, so that a replacement is honoured. NameError when there is none.
KELVARO_FORWARD inline Object global(Str name) { return Object(operation::global(name)); }
/// The same for a function of `os`: it is among the module's names only on images whose
/// Tools.Directories passes it on, and comes from `os` itself elsewhere.
Object osFunction(Str name);
/// The object of a name, borrowed; null, without an exception, when there is none.
PyObject* findGlobal(Str name);
/// Binds a name of the module.
void bind(Value name, Value value);

/// What `from path import names` takes the names from, in a module whose dictionary is `space`; and
/// where `names` is None, what `import path` binds.
Object importedModule(Value path, Value names, Value space);
/// Executes an import statement: "import a.b", "from a.b import c, d as e", "from a import *". As
/// in Python 2, a path is tried relative to the package that the module lies in, then absolute.
void import(const char* statement);

}  // namespace python
