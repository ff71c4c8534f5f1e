// What the receiver is and what it has installed.
#pragma once

#include "python/function.h"

namespace kelvaro {

/// `getInstalled` and `getHeader`, in this order.
python::Functions receiverFunctions();

/// A function of the `os` module. Images whose Tools.Directories passes on names of `os` have it in
/// the module's namespace; elsewhere it comes from `os` itself.
const python::Object& osFunction(python::Name name);

}  // namespace kelvaro
