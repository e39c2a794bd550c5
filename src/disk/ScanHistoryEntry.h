// One line of the list of recent scans, and the form in which the list is stored:
// docs/scan-history-format.md.
//
// A line holds figures and the way back to its root, never anything of the tree. A value; the
// functions are safe from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Date.h"
#include "platform/UUID.h"

namespace larkfold {

struct ScanHistoryEntry {
    UUID id;               // of the scan's result
    std::string rootPath;  // bytes, as the root was given
    std::string rootName;  // bytes
    Date scanDate;
    std::int64_t totalSize = 0;  // bytes on disk
    std::int64_t totalFiles = 0;
    std::int64_t totalDirectories = 0;
    double scanDuration = 0;                  // seconds
    std::optional<std::string> bookmarkData;  // see platform/Bookmark.h

    bool operator==(const ScanHistoryEntry&) const = default;
};

// Throws an Error where a figure has no form, that is a date or a duration that is not finite. Of a list that
// would become too large to be read again, the last entries are left out.
std::string encodedScanHistory(const std::vector<ScanHistoryEntry>& entries);

// Throws an Error where the bytes are no such list: one broken entry spoils all of it.
std::vector<ScanHistoryEntry> decodedScanHistory(std::string_view json);

}  // namespace larkfold
