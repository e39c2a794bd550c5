// Descriptors for places: opened without following a link, and looked at through themselves. Linux part of
// the platform layer only.
#pragma once

#include <cstdint>
#include <expected>
#include <optional>
#include <string>

#include "platform/DurableIdentity.h"
#include "platform/FileIdentity.h"
#include "platform/linux/calls/FileDescriptor.h"

namespace larkfold::path_descriptors {

// Bytes of a path that one call is given; the system takes 4,095.
inline constexpr std::size_t longestPiece = 4000;

// A moment as a file system keeps it.
struct Timestamp {
    std::int64_t seconds = 0;
    std::uint32_t nanoseconds = 0;

    bool operator==(const Timestamp&) const = default;
};

// What a place is, as its own descriptor or its name tells. `mount` is the number
// that /proc/self/mountinfo uses.
struct FileStatus {
    FileIdentity identity;
    std::uint64_t mount = 0;
    unsigned mode = 0;  // kind and permission bits, as st_mode has them
    std::uint32_t owner = 0;
    std::uint64_t links = 0;
    std::int64_t size = 0;
    std::int64_t allocated = 0;
    Timestamp modified;
    Timestamp changed;
    std::optional<std::int64_t> madeAt;  // nanoseconds since 1970, where the file system keeps it

    DurableIdentity durableIdentity() const { return {identity.volume, identity.file, madeAt}; }
};

// Of what `descriptor` stands for. Nothing, with errno set, where the system does not tell.
std::optional<FileStatus> statusOf(int descriptor);

// Opens `path` below `folder`, with no link in it, the last component's too, and never above `folder`. `path`
// may be longer than the system takes; an empty one is `folder` itself. `mayCrossMounts`: false refuses what
// is mounted on the way. Invalid, with errno set, where it cannot be opened: ELOOP and EXDEV tell that
// something else got into the way.
FileDescriptor openBelow(int folder, const std::string& path, int flags, bool mayCrossMounts = true);

// Opens the folder of that name in `folder`, ".." too, and nothing that is mounted there: EXDEV then, without
// a question to whoever would have to answer for it, and no automount is started. A link at the name is not
// followed. For folders: `flags` should hold O_DIRECTORY.
FileDescriptor openOnSameMount(int folder, const char* name, int flags);

// The same for a path of several names, where the kernel has all of them in memory: EAGAIN otherwise. Links
// on the way are followed; who calls compares what was opened.
FileDescriptor openFromMemory(int folder, const char* path, int flags);

// As `openBelow`, for an absolute path.
FileDescriptor openWithoutLinks(const std::string& path, int flags);

// The same with links followed, for an absolute path to a folder: who named it meant the folder behind it.
FileDescriptor openFolder(const std::string& path, int flags);

// What stands at `name` in `folder`, itself: links are not followed. The descriptor stands for
// its place only.
FileDescriptor openPlace(int folder, const std::string& name);

// That, and what it is. Nothing, with errno set, where either cannot be told.
struct HeldPlace {
    FileDescriptor descriptor;
    FileStatus status;
};
std::optional<HeldPlace> hold(int folder, const std::string& name);

// Of the folder that `path` leads to, links followed; an errno where it cannot be told.
std::expected<DurableIdentity, int> identityOfFolder(const std::string& path);

// Which item the name in the folder leads to, links not followed; with an empty name the folder's
// descriptor itself. Asked in a second way where the first one fails, for who would rather not be left
// without an answer.
std::optional<FileIdentity> identityAt(int folder, const std::string& name);

// Which item is open.
std::optional<FileIdentity> identityOf(int descriptor);

// Opens what `descriptor` stands for once more, with other flags (a descriptor that only stands for a place
// cannot be read from). Invalid, with errno set, where the system refuses.
FileDescriptor openAgain(int descriptor, int flags);

// The path that opens what `descriptor` stands for, as long as that is open.
std::string pathThrough(int descriptor);

// Where the item is now. Nothing where it has no name any more or the path is longer than the system tells.
std::optional<std::string> currentPath(int descriptor);

// Gives the item another name, where nothing stands yet: EEXIST otherwise. Tells 0 or the errno. On a file
// system that cannot promise that by itself, the new name is taken first by an empty item of the same kind,
// which the move then replaces.
int moveWithoutReplacing(int fromFolder, const std::string& fromName, int toFolder, const std::string& toName,
                         bool isDirectory);

}  // namespace larkfold::path_descriptors
