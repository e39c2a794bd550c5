#include "platform/FolderListing.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/Error.h"
#include "platform/linux/calls/CallWithTimeout.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/calls/SystemCalls.h"
#include "platform/linux/walk/PathDescriptors.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

constexpr std::size_t bufferSize = 128UL * 1024;  // some 4,000 entries: a report follows each

// Shared with the threads that may be left behind: the last one closes it.
using SharedDescriptor = std::shared_ptr<const FileDescriptor>;

struct Opened {
    SharedDescriptor folder;
    int error = 0;
};

struct Part {
    std::vector<std::string> folders;
    std::vector<std::string> files;
    std::vector<std::string> unclear;  // links, and entries whose kind the file system does not tell
    std::size_t seen = 0;
    bool isEnd = false;
    int error = 0;
};

Opened open(const std::string& path) {
    FileDescriptor folder = path_descriptors::openFolder(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    return folder ? Opened{.folder = std::make_shared<const FileDescriptor>(std::move(folder))}
                  : Opened{.folder = nullptr, .error = errno};
}

void take(Part& part, const dirent64& entry, const WantedFiles& wantsFile) {
    const std::string_view name(entry.d_name);
    if (name == "." || name == "..") {
        return;
    }
    ++part.seen;
    if (entry.d_type == DT_DIR) {
        part.folders.emplace_back(name);
    } else if (entry.d_type == DT_LNK || entry.d_type == DT_UNKNOWN) {
        part.unclear.emplace_back(name);
    } else if (entry.d_type == DT_REG && wantsFile && wantsFile(name)) {
        part.files.emplace_back(name);
    }
}

Part readPart(const FileDescriptor& folder, const WantedFiles& wantsFile) {
    Part part;
    const auto buffer = std::make_unique_for_overwrite<std::byte[]>(bufferSize);
    const ssize_t count =
        system_calls::uninterrupted([&] { return ::getdents64(folder.get(), buffer.get(), bufferSize); });
    if (count <= 0) {
        part.isEnd = true;
        part.error = count < 0 ? errno : 0;
        return part;
    }
    for (ssize_t at = 0; at < count;) {
        const auto* entry = reinterpret_cast<const dirent64*>(buffer.get() + at);
        take(part, *entry, wantsFile);
        at += entry->d_reclen;
    }
    return part;
}

enum class Target { folder, file, other };

// Where nothing answers it counts as a folder: whoever opens it is told more.
Target targetOf(const SharedDescriptor& folder, const std::string& name, const std::stop_token& stop) {
    return callWithTimeout<Target>(
               [folder, name] {
                   struct stat values{};
                   if (::fstatat(folder->get(), name.c_str(), &values, AT_NO_AUTOMOUNT) != 0) {
                       return Target::other;
                   }
                   return S_ISDIR(values.st_mode)   ? Target::folder
                          : S_ISREG(values.st_mode) ? Target::file
                                                    : Target::other;
               },
               call_with_timeout::shortWait, stop, call_with_timeout::mostAbandonedForListing)
        .value_or(Target::folder);
}

void throwIfStopped(const std::stop_token& stop) {
    if (stop.stop_requested()) {
        throw CancellationError();
    }
}

}  // namespace

FolderListing listFolders(const std::string& path, const WantedFiles& wantsFile, std::stop_token stop,
                          const std::function<void(std::size_t)>& report,
                          std::chrono::milliseconds answerTimeout) {
    FolderListing listing;
    const auto opened = callWithTimeout<Opened>([path] { return open(path); }, answerTimeout, stop);
    throwIfStopped(stop);
    if (!opened || opened->error != 0) {
        listing.error = opened ? opened->error : ETIMEDOUT;
        return listing;
    }
    std::size_t seen = 0;
    for (;;) {
        auto part = callWithTimeout<Part>(
            [folder = opened->folder, wantsFile] { return readPart(*folder, wantsFile); }, answerTimeout,
            stop, call_with_timeout::mostAbandonedForListing);
        throwIfStopped(stop);
        if (!part || part->isEnd) {
            listing.error = part ? part->error : ETIMEDOUT;
            return listing;
        }
        for (std::string& name : part->folders) {
            listing.names.push_back(std::move(name));
        }
        for (std::string& name : part->files) {
            listing.files.push_back(std::move(name));
        }
        for (std::string& name : part->unclear) {
            const Target target = targetOf(opened->folder, name, stop);
            if (target == Target::folder) {
                listing.names.push_back(std::move(name));
            } else if (target == Target::file && wantsFile && wantsFile(name)) {
                listing.files.push_back(std::move(name));
            }
            throwIfStopped(stop);
        }
        seen += part->seen;
        report(seen);
    }
}

}  // namespace larkfold
