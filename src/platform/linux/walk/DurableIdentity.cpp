#include "platform/DurableIdentity.h"

#include <fcntl.h>

#include <utility>

#include "platform/linux/calls/CallWithTimeout.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/walk/PathDescriptors.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

std::optional<DurableIdentity> DurableIdentity::ofFolder(const std::string& path,
                                                         std::chrono::milliseconds wait,
                                                         std::stop_token stop) {
    using Answer = std::optional<DurableIdentity>;
    return callWithTimeout<Answer>(
               [path]() -> Answer {
                   const auto identity = path_descriptors::identityOfFolder(path);
                   return identity ? Answer(*identity) : std::nullopt;
               },
               wait, std::move(stop))
        .value_or(std::nullopt);
}

}  // namespace larkfold
