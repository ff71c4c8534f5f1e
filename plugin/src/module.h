// What each source brings to the module: functions or the methods of a class, in source order.
#pragma once

#include "python/function.h"

namespace kelvaro {

python::Functions receiverFunctions();
python::Functions feedFunctions();
python::Functions allNewsMethods();
python::Functions updateInfoMethods();
python::Functions updateNotificationMethods();

}  // namespace kelvaro
