// One proposal for removal, as every driver hands it to the review. A value.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace larkfold {

struct CleanupPreviewItem {
    std::string url;                    // what would go: an absolute path, bytes. It identifies the item.
    std::int64_t estimatedBytes = 0;    // its size as the scan saw it; an estimate, not a promise
    std::string reason;                 // why it is proposed, a sentence for the user
    std::string risk;                   // a short label; "Safe" is shown quietly, all others as a warning
    std::optional<std::string> keeper;  // of a duplicate: the copy that stays, an absolute path
    bool isFolder = false;              // chooses its picture, nothing else
    // Why it could not be told beforehand whether it may go, a sentence; empty where it could.
    std::string uncheckedReason = {};

    bool operator==(const CleanupPreviewItem&) const = default;
};

}  // namespace larkfold
