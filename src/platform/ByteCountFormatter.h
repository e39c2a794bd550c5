// Byte counts as the user reads them.
#pragma once

#include <cstdint>
#include <string>

namespace larkfold {

// The file style, decimal and adaptive: "Zero KB", "1 byte", "999 bytes", "1 KB" (no decimals), "1.2 MB" (at
// most one), "3.46 GB" (at most two, also TB, PB and EB), no trailing zeros, rounded half away from zero, and
// never "1,000" of a unit where the next one says 1. A negative count is the same text behind "-". The
// decimal separator is that of the user's locale. Safe from any thread.
std::string formattedByteCount(std::int64_t bytes);

}  // namespace larkfold
