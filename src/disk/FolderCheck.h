// What stands where a folder is to be scanned again, asked before its map and its saved scan are given up.
#pragma once

#include <cstdint>
#include <stop_token>
#include <string>

#include "platform/FolderState.h"

namespace larkfold {

struct FolderCheck {
    FolderState state = FolderState::unknown;
    std::int64_t savedFiles = 0;  // in the saved scan of that folder, where it is empty now

    // Touches the disk. Throws CancellationError.
    static FolderCheck of(const std::string& folder, const std::string& indexURL, std::stop_token stop);

    // A scan would put an empty index in the place of one that has files.
    bool wouldEmptyIndex() const { return state == FolderState::empty && savedFiles > 0; }
};

}  // namespace larkfold
