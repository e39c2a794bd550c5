// Volumes: their names, how large they are, and which of them a scan of the whole disk covers.
//
// Safe from any thread. A volume that does not answer (a dead network mount) costs at most a short, fixed
// wait and then counts as unknown.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace larkfold {

// Bytes; absent where the system does not tell.
struct VolumeCapacity {
    std::optional<std::int64_t> total = {};
    std::optional<std::int64_t> available = {};  // free, and this user may take it
    std::optional<std::int64_t> free = {};       // free, what is kept back for the administrator included
};

// Of the volume that holds `path`. For "/" the sums over the distinct file systems that a scan of the whole
// disk covers, since that is what the scan's total is measured against.
VolumeCapacity volumeCapacity(const std::string& path);

// The label of the volume mounted at `path`; nothing where it has none or it cannot be told.
std::optional<std::string> volumeName(const std::string& path);

// The mount points of the volumes that hold the items at `paths`, each once, in the order of their bytes. A
// path at which nothing can be looked at adds nothing.
std::vector<std::string> volumesHolding(const std::vector<std::string>& paths);

// Free bytes that this user may use on the volume mounted at `volume`, and of no other; nothing where the
// system does not tell.
std::optional<std::int64_t> freeSpace(const std::string& volume);

// What a scan of the whole disk leaves out on this system besides the fixed prefixes: the mount points of
// kernel, temporary, network, removable and container file systems, of second mounts of a file system seen
// already, and the folders that only hold such things. Absolute standardized paths, sorted. Read anew at each
// call.
std::vector<std::string> startupDiskExclusions();

}  // namespace larkfold
