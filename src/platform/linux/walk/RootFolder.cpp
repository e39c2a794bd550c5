#include "platform/linux/walk/RootFolder.h"

#include <fcntl.h>

#include <cerrno>
#include <memory>
#include <utility>

#include "platform/Path.h"
#include "platform/linux/calls/CallWithTimeout.h"
#include "platform/linux/walk/PathDescriptors.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

std::expected<RootFolder, int> RootFolder::open(const std::string& path, std::chrono::milliseconds wait,
                                                const std::stop_token& stop) {
    struct Opened {
        std::shared_ptr<RootFolder> root = std::make_shared<RootFolder>();
        int error = 0;
    };
    const auto opened = callWithTimeout<Opened>(
        [path] {
            Opened result;
            FileDescriptor& descriptor = result.root->descriptor;
            descriptor = path_descriptors::openFolder(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
            if (!descriptor) {
                result.error = errno;
            } else {
                result.root->realPath = path_descriptors::currentPath(descriptor.get()).value_or(path);
            }
            return result;
        },
        wait, stop);
    if (!opened || opened->error != 0) {
        return std::unexpected(opened ? opened->error : ETIMEDOUT);
    }
    return std::move(*opened->root);
}

void noteExclusions(SpecialPlace& places, const std::vector<std::string>& excludedPathPrefixes,
                    const std::string& root) {
    for (const std::string& prefix : excludedPathPrefixes) {
        const std::string path = standardizedPath(prefix);
        if (const auto relative = relativePath(path, root)) {
            places.at(*relative).isExcluded = true;
        }
    }
}

}  // namespace larkfold
