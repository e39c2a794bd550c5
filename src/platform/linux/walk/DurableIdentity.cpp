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
                   const FileDescriptor folder(::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
                   const auto status = folder ? path_descriptors::statusOf(folder.get()) : std::nullopt;
                   return status ? Answer(status->durableIdentity()) : std::nullopt;
               },
               wait, std::move(stop))
        .value_or(std::nullopt);
}

}  // namespace larkfold
