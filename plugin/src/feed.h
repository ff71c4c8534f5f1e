// The news feed: its address, the download statistics, the news document, the news cache.
#pragma once

#include "python/function.h"

namespace kelvaro {

/// `write_cache`, `load_cache`, `newsURL`, `skip_entry`, `getDownloadStats` and `parse_xml`.
python::Functions feedFunctions();

}  // namespace kelvaro
