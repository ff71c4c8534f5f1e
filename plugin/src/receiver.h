// What the receiver is and what it has installed.
#pragma once

#include "python/function.h"

namespace kelvaro {

/// `getInstalled` and `getHeader`, in this order.
python::Functions receiverFunctions();

}  // namespace kelvaro
