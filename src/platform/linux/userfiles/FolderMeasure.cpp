#include "platform/linux/userfiles/FolderMeasure.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/DirectoryReader.h"
#include "platform/linux/walk/PathDescriptors.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold::user_files {

Measure measureOfFolder(int folder, const std::stop_token& stop) {
    struct Level {
        std::unique_ptr<DirectoryListing> listing;
        std::size_t next = 0;
    };
    // What is mounted below does not belong to it: where something is, nothing is told.
    DirectoryReaderOptions options;
    options.crossesMounts = false;
    DirectoryReader reader(path_descriptors::pathThrough(folder), options, stop);
    std::vector<Level> levels;
    levels.push_back({reader.openRoot()});
    std::int64_t logical = 0;
    std::int64_t allocated = 0;
    while (!levels.empty()) {
        Level& level = levels.back();
        if (level.next == 0) {
            // One part that was not read, and nothing is known of the whole.
            if (level.listing->error() != 0) {
                return {};
            }
            allocated += level.listing->allocatedSize();
        }
        const auto entries = level.listing->entries();
        std::size_t index = level.next;
        for (; index < entries.size(); ++index) {
            if (entries[index].error != 0) {
                return {};
            }
            if (entries[index].kind == DirectoryEntry::Kind::directory) {
                break;
            }
            logical += entries[index].fileSize;
            allocated += entries[index].allocatedSize;
        }
        if (index == entries.size()) {
            levels.pop_back();
            continue;
        }
        level.next = index + 1;
        levels.push_back({reader.open(*level.listing, index)});
    }
    return {.logicalBytes = logical, .allocatedBytes = allocated};
}

}  // namespace larkfold::user_files
