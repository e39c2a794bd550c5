#include "platform/linux/watch/MountsSince.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string_view>
#include <tuple>
#include <utility>

#include "platform/Path.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

bool isLeftOut(const SpecialPlace& places, std::string_view relative, bool skipHiddenFiles) {
    const SpecialPlace* place = &places;
    while (!relative.empty()) {
        const std::size_t end = std::min(relative.find('/'), relative.size());
        const std::string_view name = relative.substr(0, end);
        relative.remove_prefix(std::min(end + 1, relative.size()));
        place = SpecialPlace::child(place, name);
        if ((skipHiddenFiles && name.starts_with('.')) || (place != nullptr && place->isExcluded)) {
            return true;
        }
    }
    return false;
}

// What tells one mount from another. The options do not: they may change while it stays.
auto describe(const Mount& mount) {
    return std::tuple(mount.id, mount.deviceMajor, mount.deviceMinor, mount.root, mount.mountPoint,
                      mount.fileSystem, mount.source);
}

using Described = decltype(describe(std::declval<const Mount&>()));

struct MountsOfFolder {
    std::optional<Described> holding;
    std::map<std::string, Described, std::less<>> below;  // by their place

    bool operator==(const MountsOfFolder&) const = default;
};

MountsOfFolder mountsOf(const MountTable& table, const std::string& realRoot, const SpecialPlace& places,
                        bool skipHiddenFiles) {
    MountsOfFolder found;
    if (const Mount* holding = table.mountHolding(realRoot)) {
        found.holding = describe(*holding);
    }
    for (const Mount& mount : table.mounts()) {
        const auto relative = relativePath(mount.mountPoint, realRoot);
        if (mount.isVisible && relative && !isLeftOut(places, *relative, skipHiddenFiles)) {
            found.below.insert_or_assign(std::string(*relative), describe(mount));
        }
    }
    return found;
}

}  // namespace

bool haveMountsChanged(const std::string& before, const MountTable& now, const std::string& realRoot,
                       const SpecialPlace& places, bool skipHiddenFiles) {
    if (before.empty()) {
        return true;
    }
    const MountTable then = MountTable::fromMountInfo(before, {});
    return mountsOf(then, realRoot, places, skipHiddenFiles) !=
           mountsOf(now, realRoot, places, skipHiddenFiles);
}

}  // namespace larkfold
