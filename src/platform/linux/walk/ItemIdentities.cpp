#include "platform/ItemIdentities.h"

#include <fcntl.h>

#include <atomic>
#include <cstddef>
#include <memory>

#include "platform/linux/calls/CallWithTimeout.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/walk/PathDescriptors.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

struct Pass {
    std::vector<std::string> paths;
    std::vector<std::optional<DurableIdentity>> identities;
    std::atomic<std::size_t> count{0};  // what lies before it is not written any more
    std::atomic<bool> isGivenUp{false};
};

}  // namespace

std::vector<std::optional<DurableIdentity>> itemIdentities(const std::vector<std::string>& paths) {
    const auto pass = std::make_shared<Pass>();
    pass->paths = paths;
    pass->identities.resize(paths.size());
    callWithTimeout<bool>([pass] {
        for (std::size_t index = 0; index < pass->paths.size() && !pass->isGivenUp; ++index) {
            if (const auto item = path_descriptors::hold(AT_FDCWD, pass->paths[index])) {
                pass->identities[index] = item->status.durableIdentity();
            }
            pass->count = index + 1;
        }
        return true;
    });
    pass->isGivenUp = true;
    std::vector<std::optional<DurableIdentity>> identities(
        pass->identities.begin(), pass->identities.begin() + static_cast<std::ptrdiff_t>(pass->count.load()));
    identities.resize(paths.size());
    return identities;
}

}  // namespace larkfold
