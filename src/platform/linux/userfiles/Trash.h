// The Trash as the desktops keep it: the freedesktop.org Trash specification 1.0. Linux part of the platform
// layer only; UserFiles.cpp moves things into it.
//
// A Trash is a folder with two others in it: `files` holds what was trashed, `info` for each item an info
// file of where it came from and when. The info file comes first, and making it takes the name for good: two
// programs that trash at once never get the same one. There is one Trash in the user's home, and one at the
// top of each other volume.
//
// Every folder of a Trash is opened anew for each item, without following a link: a Trash that was exchanged
// for a link meanwhile is no Trash.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/mounts/MountWatch.h"
#include "platform/linux/walk/PathDescriptors.h"

namespace larkfold::trash {

// A Trash that is there and can be used.
struct Folder {
    std::string path;       // of the Trash itself
    std::string topFolder;  // of the volume; empty for the Trash in the home folder
    FileDescriptor descriptor;
    FileDescriptor files;
    FileDescriptor info;

    std::string pathOf(std::string_view name) const;
    std::string pathOfNote(std::string_view name) const;
};

// What became of the search for the Trashes that may take an item: those, in the order in which they are to
// be tried, and in words why others cannot be used.
struct Choice {
    std::vector<Folder> folders;
    std::string reason;  // a sentence, empty where none was turned down
};

// The Trash of the home folder, where it lies on the mount that holds the item: nowhere else can a move
// succeed. What is missing of it is made.
Choice homeFolderOnMount(std::uint64_t mount);

// The Trashes at the top of the mount that holds the item. One is made where there is none.
Choice topFoldersOnMount(std::uint64_t mount, MountWatch& mounts);

// Where the Trash of the home folder belongs.
std::string homeTrashPath();

// Whether the item at `path`, without links, lies in a Trash. `homeTrash` is where that of the home folder
// really is, `mountPoint` the top of the item's volume.
struct Membership {
    bool isInside = false;
    bool isItem = false;  // it lies directly in `files`: one of the things that were trashed
};
Membership membershipOf(const std::string& path, const std::optional<std::string>& homeTrash,
                        const std::optional<std::string>& mountPoint);

// The info file of an item that came from `path`: local time, second by second.
std::string infoFileFor(const Folder& folder, const std::string& path, std::int64_t secondsSince1970);

// The `attempt`th name (from 0) for an item called `name`, short enough that its info file's name has at most
// `longest` bytes.
std::string nameFor(const std::string& name, unsigned attempt, std::size_t longest);

inline constexpr std::string_view infoFileSuffix = ".trashinfo";
inline constexpr std::size_t longestName = 255;

// A folder that came into a Trash, for the Trash's table of sizes.
struct FolderSize {
    std::string name;
    std::int64_t bytes = 0;           // on disk
    std::int64_t writtenSeconds = 0;  // when its info file was written
};

// Enters the folders into the table of sizes that others read instead of measuring, and drops the rows of
// what has gone. Written beside it and put in its place, so a reader never finds half of it. Failures are of
// no account.
void noteSizes(const FileDescriptor& trash, const std::vector<FolderSize>& sizes);

}  // namespace larkfold::trash
