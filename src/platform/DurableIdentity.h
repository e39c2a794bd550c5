// Which item, over restarts of the machine and over a disk that is mounted again.
//
// Device numbers change from one mount to the next and inode numbers are used again; an inode number and the
// time at which the item was made do not come twice.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>

namespace larkfold {

struct DurableIdentity {
    std::uint64_t volume = 0;  // device number: counts only where the time is missing
    std::uint64_t file = 0;    // inode number
    // When the item was made, in nanoseconds since 1970; absent where the file system keeps no such time.
    std::optional<std::int64_t> madeAt;

    bool isSameAs(const DurableIdentity& other) const {
        if (file != other.file) {
            return false;
        }
        return madeAt && other.madeAt ? *madeAt == *other.madeAt : volume == other.volume;
    }

    // Of the folder at `path`. A link at the end is followed: who chose it meant the folder behind it.
    // Nothing where no folder stands there, or where its volume does not answer within `wait` or before a
    // stop.
    static std::optional<DurableIdentity> ofFolder(const std::string& path,
                                                   std::chrono::milliseconds wait = std::chrono::seconds(1),
                                                   std::stop_token stop = {});

    bool operator==(const DurableIdentity&) const = default;
};

}  // namespace larkfold
