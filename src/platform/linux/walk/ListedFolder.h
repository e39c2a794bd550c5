// A folder that the reader of directories lists: what it holds once it is listed, and where it stands in the
// walk.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/DirectoryReader.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/walk/SpecialPlace.h"

namespace larkfold {

struct DirectoryListing::Impl {
    // Content: written by whoever lists the folder, read by everyone once `state` says listed.
    std::vector<DirectoryEntry> entries;
    std::unique_ptr<char[]> names;  // NUL-terminated one after the other
    std::optional<FileIdentity> identity;
    std::optional<std::uint64_t> mount;  // that it lies on, by the number that mountinfo uses
    std::int64_t allocatedSize = 0;
    int error = 0;
    std::int64_t hiddenSkipped = 0;
    FileDescriptor descriptor;

    // Fixed at birth, but for the lane, which is that of what is mounted here once it has been entered.
    DirectoryReader::Impl* reader = nullptr;  // set when it is given to the walk; outlives the listing
    std::string_view name;                    // in the parent's `names`, so valid while that lives
    std::size_t indexInParent = 0;
    const SpecialPlace* place = nullptr;  // owned by the reader's shared state
    SpecialPlace* lane = nullptr;         // the mount that may fail to answer that this folder lies on

    // Guarded by the reader's mutex.
    enum class State { waiting, listing, listed };
    State state = State::waiting;
    Impl* parent = nullptr;    // null once the parent has been dropped
    bool isAbandoned = false;  // dropped while it was being listed
    FileDescriptor inherited;  // then: the parent's descriptor, which the opening may still need
    std::vector<std::shared_ptr<Impl>> handedOut;  // subfolders the walk has not come to, in its order
    std::size_t handedOutFront = 0;
    Impl* openChild = nullptr;       // the subfolder that the walk is in
    std::size_t cursor = 0;          // where the search for the next subfolder to hand out goes on
    std::size_t subfoldersLeft = 0;  // to hand out
    int pins = 0;                    // openings relative to `descriptor` that are under way
    int owed = 0;                    // subfolders handed out and not listed yet
    std::size_t windowWeight = 0;
    bool inFrontier = false;
    bool isEvicted = false;     // the descriptor was closed though it is still needed
    bool isOutOfReach = false;  // and nobody answered on the way back to it
    bool isCountedOpen = false;
    Impl* frontierBefore = nullptr;
    Impl* frontierAfter = nullptr;
    Impl* openBefore = nullptr;
    Impl* openAfter = nullptr;

    static bool isSubfolder(const DirectoryEntry& entry) {
        return entry.kind == DirectoryEntry::Kind::directory && entry.error == 0;
    }
    void countSubfolders() {
        subfoldersLeft = static_cast<std::size_t>(std::count_if(entries.begin(), entries.end(), isSubfolder));
    }
    // The index of the next subfolder; there has to be one.
    std::size_t nextSubfolder() {
        while (!isSubfolder(entries[cursor])) {
            ++cursor;
        }
        --subfoldersLeft;
        return cursor++;
    }
};

using ListedFolder = DirectoryListing::Impl;

}  // namespace larkfold
