// ZirkUpdateInfo: one news entry in full, and the view of the upgradable packages.
#pragma once

#include "python/function.h"

namespace kelvaro {

/// The methods of the class `ZirkUpdateInfo`, in source order.
python::Functions updateInfoMethods();

}  // namespace kelvaro
