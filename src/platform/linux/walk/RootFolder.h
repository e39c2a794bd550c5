// The folder at which a walk or a watch begins. Nothing is known of it before it is opened, and what stands
// there may never answer.
#pragma once

#include <chrono>
#include <expected>
#include <stop_token>
#include <string>
#include <vector>

#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/walk/SpecialPlace.h"

namespace larkfold {

struct RootFolder {
    FileDescriptor descriptor;  // for reading
    std::string realPath;       // where it leads; as it was given where the system does not tell

    // Follows links. An errno where it cannot be opened: ETIMEDOUT where nobody answered in time, or after a
    // request to stop.
    static std::expected<RootFolder, int> open(const std::string& path, std::chrono::milliseconds wait,
                                               const std::stop_token& stop);
};

// Notes what is to be left out at or below `root`.
void noteExclusions(SpecialPlace& places, const std::vector<std::string>& excludedPathPrefixes,
                    const std::string& root);

}  // namespace larkfold
