// A *level* is a folder that the removal has entered and not left. Its descriptor stays open while it is one
// of the lowest `mostOpenLevels`; above that it is closed, and opened again by ".." from the level below when
// the removal climbs back, which has to lead to the same folder.
//
// A folder is read in pieces. What is no folder goes at once; the folders' names are kept until the piece is
// done and then entered one after the other. At the end the folder is read once more from its beginning,
// since reading while removing may leave entries out; when nothing is left it goes itself, all but the first.

#include "platform/linux/userfiles/FolderRemoval.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/FileIdentity.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/calls/SystemCalls.h"
#include "platform/linux/walk/KernelEntry.h"
#include "platform/linux/walk/PathDescriptors.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

constexpr std::size_t mostOpenLevels = 64;
// A folder into which somebody goes on putting things is given up after as many readings that removed nothing
// of it for good.
constexpr int mostReadings = 16;
constexpr int readFlags = O_RDONLY | O_DIRECTORY | O_NONBLOCK;

struct Level {
    FileDescriptor descriptor;
    std::string name;  // within the level above
    FileIdentity identity;
    std::vector<std::string> folders;  // to be entered, the last one first
    int readings = 0;
    bool isEmptySoFar = true;  // of the reading under way
};

class Removal {
public:
    explicit Removal(const std::function<bool()>& mayBegin) : mayBegin_(mayBegin) {
        buffer_.resize(std::size_t{256} * 1024);
    }

    Emptied run(int folder) {
        int problem = enter(folder, {});
        while (problem == 0 && !levels_.empty()) {
            problem = step();
        }
        return {.problem = problem, .hasBegun = hasBegun_};
    }

private:
    // Does the next thing in the lowest level.
    int step() {
        Level& level = levels_.back();
        if (!level.folders.empty()) {
            const std::string name = std::move(level.folders.back());
            level.folders.pop_back();
            const int problem = enter(level.descriptor.get(), name);
            return problem == ENOENT ? 0 : problem;
        }
        const long count = system_calls::uninterrupted([&] {
            return ::syscall(SYS_getdents64, level.descriptor.get(), buffer_.data(), buffer_.size());
        });
        if (count < 0) {
            return errno;
        }
        if (count > 0) {
            return removePiece(level, static_cast<std::size_t>(count));
        }
        if (level.isEmptySoFar) {
            return leave();
        }
        if (++level.readings == mostReadings) {
            return ENOTEMPTY;
        }
        level.isEmptySoFar = true;
        return ::lseek(level.descriptor.get(), 0, SEEK_SET) < 0 ? errno : 0;
    }

    // An empty name stands for `parent` itself.
    int enter(int parent, const std::string& name) {
        FileDescriptor opened = path_descriptors::openBelow(parent, name, readFlags, false);
        if (!opened && (errno == EACCES || errno == EPERM)) {
            const FileDescriptor named =
                path_descriptors::openBelow(parent, name, O_PATH | O_DIRECTORY, false);
            if (!named || !addOwnersRights(named.get())) {
                return EACCES;
            }
            opened = path_descriptors::openBelow(parent, name, readFlags, false);
        }
        if (!opened) {
            return errno;
        }
        const auto status = path_descriptors::statusOf(opened.get());
        if (!status) {
            return errno;
        }
        if (levels_.size() >= mostOpenLevels) {
            levels_[levels_.size() - mostOpenLevels].descriptor.reset();
        }
        Level& level = levels_.emplace_back();
        level.descriptor = std::move(opened);
        level.name = name;
        level.identity = status->identity;
        return 0;
    }

    // Leaves the lowest level, which is empty, and removes it if it is not the first.
    int leave() {
        Level level = std::move(levels_.back());
        levels_.pop_back();
        if (levels_.empty()) {
            return 0;
        }
        Level& above = levels_.back();
        if (!above.descriptor) {
            above.descriptor = FileDescriptor(::openat(level.descriptor.get(), "..", readFlags | O_CLOEXEC));
            if (!above.descriptor) {
                return errno;
            }
            const auto status = path_descriptors::statusOf(above.descriptor.get());
            if (!status || status->identity != above.identity) {
                return ESTALE;
            }
            // Opened anew it is read from its beginning.
        }
        level.descriptor.reset();
        const int problem = unlinkFrom(above.descriptor.get(), level.name.c_str(), AT_REMOVEDIR);
        return problem == ENOENT ? 0 : problem;
    }

    int removePiece(Level& level, std::size_t count) {
        pending_.clear();
        for (std::size_t at = 0; at < count;) {
            const auto* entry = reinterpret_cast<const KernelEntry*>(buffer_.data() + at);
            at += entry->length;
            const std::string_view name = entry->name;
            if (name == "." || name == "..") {
                continue;
            }
            level.isEmptySoFar = false;
            if (entry->type == DT_DIR) {
                level.folders.emplace_back(name);
            } else {
                pending_.push_back(entry);
            }
        }
        // In the order in which the disk keeps them.
        std::sort(pending_.begin(), pending_.end(), [](const KernelEntry* left, const KernelEntry* right) {
            return left->inode < right->inode;
        });
        for (const KernelEntry* entry : pending_) {
            const int problem = unlinkFrom(level.descriptor.get(), entry->name, 0);
            if (problem == EISDIR) {
                level.folders.emplace_back(entry->name);
            } else if (problem != 0 && problem != ENOENT) {
                return problem;
            }
        }
        return 0;
    }

    int unlinkFrom(int folder, const char* name, int flags) {
        if (!hasBegun_ && !mayBegin_()) {
            return EXDEV;
        }
        for (bool hasRights = false;; hasRights = true) {
            if (system_calls::uninterrupted([&] { return ::unlinkat(folder, name, flags); }) == 0) {
                hasBegun_ = true;
                return 0;
            }
            const int problem = errno;
            if (problem != EACCES || hasRights || !addOwnersRights(folder)) {
                return problem;
            }
        }
    }

    // Lets the owner of a folder read, write and search it. False where that changes nothing or is refused.
    static bool addOwnersRights(int folder) {
        const auto status = path_descriptors::statusOf(folder);
        if (!status || (status->mode & S_IRWXU) == S_IRWXU) {
            return false;
        }
        return ::chmod(path_descriptors::pathThrough(folder).c_str(), (status->mode & 07777U) | S_IRWXU) == 0;
    }

    const std::function<bool()>& mayBegin_;
    bool hasBegun_ = false;
    std::deque<Level> levels_;
    std::vector<char> buffer_;
    std::vector<const KernelEntry*> pending_;
};

}  // namespace

Emptied emptyFolder(int folder, const std::function<bool()>& mayBegin) {
    return Removal(mayBegin).run(folder);
}

}  // namespace larkfold
