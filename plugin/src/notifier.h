// UpdateNotification: tells the user in the background that updates wait.
#pragma once

#include "python/function.h"

namespace kelvaro {

/// The methods of the class `UpdateNotification`, in source order.
python::Functions updateNotificationMethods();

}  // namespace kelvaro
