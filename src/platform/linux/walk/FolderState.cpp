#include "platform/FolderState.h"

#include <dirent.h>
#include <fcntl.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <string_view>
#include <utility>

#include "platform/linux/calls/CallWithTimeout.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/calls/SystemCalls.h"
#include "platform/linux/walk/PathDescriptors.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

// In which a disk that slept is awake.
constexpr std::chrono::seconds answerTimeout{10};

FolderState look(const std::string& path) {
    const FileDescriptor folder = path_descriptors::openFolder(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    if (!folder) {
        return errno == ENOENT || errno == ENOTDIR ? FolderState::missing : FolderState::unknown;
    }
    alignas(dirent64) std::array<std::byte, 4'096> buffer;
    while (true) {
        const ssize_t count = system_calls::uninterrupted(
            [&] { return ::getdents64(folder.get(), buffer.data(), buffer.size()); });
        if (count <= 0) {
            return count == 0 ? FolderState::empty : FolderState::unknown;
        }
        for (ssize_t at = 0; at < count;) {
            const auto* entry = reinterpret_cast<const dirent64*>(buffer.data() + at);
            const std::string_view name(entry->d_name);
            if (name != "." && name != "..") {
                return FolderState::holdsItems;
            }
            at += entry->d_reclen;
        }
    }
}

}  // namespace

FolderState folderStateOf(const std::string& path, std::stop_token stop) {
    return callWithTimeout<FolderState>([path] { return look(path); }, answerTimeout, std::move(stop))
        .value_or(FolderState::unknown);
}

}  // namespace larkfold
