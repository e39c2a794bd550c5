// The places that a user starts from when looking for a folder.
#pragma once

#include <string>
#include <vector>

namespace larkfold {

struct UserLocation {
    enum class Kind { home, desktop, documents, downloads, music, pictures, videos, fileSystem, volume };

    Kind kind = Kind::home;
    std::string path;  // absolute standardized bytes
    // As the user knows it: a volume's label where it has one, otherwise the last component of the path.
    std::string name;
};

// The home folder, the user's own folders that exist, the root of the file system, and the volumes that were
// mounted for the user's sake, in this order. Read anew at each call; asks the disk, and a place that does
// not answer costs at most a short, fixed wait and is left out. Safe from any thread as long as nobody
// changes the environment.
std::vector<UserLocation> userLocations();

}  // namespace larkfold
