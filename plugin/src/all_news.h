// AllNews: the news browser, with the Top 20 package chooser.
#pragma once

#include "python/function.h"

namespace kelvaro {

/// The methods of the class `AllNews`, in source order.
python::Functions allNewsMethods();

}  // namespace kelvaro
