// The info file that a Trash keeps of one item: where it came from and when. Linux part of the platform layer
// only.
//
// An info file is held by a descriptor from the moment in which it is written or found. Another program may
// put a file of its own over it, or exchange the folder in which it lies; what is asked of the info file
// later, and whether it may be removed, is decided by the info file that is held and not by its name.
#pragma once

#include <cstdint>
#include <expected>
#include <optional>
#include <string>

#include "platform/FileIdentity.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/userfiles/Trash.h"

namespace larkfold {

class TrashInfoFile {
public:
    // Writes the info file of the item that came from `itemPath` durably: an item without its info file could
    // not be restored by anybody. It takes the name `trashed` in that Trash. Tells EEXIST or ENAMETOOLONG
    // where another name is to be tried; throws Refusal and SystemError for the rest, and has left nothing.
    static std::expected<TrashInfoFile, int> write(const trash::Folder& folder, const std::string& trashed,
                                                   const std::string& itemPath,
                                                   std::int64_t secondsSince1970);

    // The info file of the item `trashed`, whose folder `files` is held, in the Trash at `trashPath`, a path
    // without links. Nothing where that Trash holds another `files` by now, or has no such info file.
    static std::optional<TrashInfoFile> find(const std::string& trashPath, const FileIdentity& files,
                                             const std::string& trashed);

    // Whether it is what the file name leads to: in its own folder, whatever became of that; or by the path.
    bool standsInItsFolder() const;
    bool standsAt(const std::string& path) const;

    // Removes it from its folder, and nothing that took its name: it is renamed to a name that nobody knows,
    // compared there, and restored where it is another file. Where that fails it stays.
    void remove() const;

private:
    TrashInfoFile(FileDescriptor info, std::string name, FileDescriptor infoFile, FileIdentity identity);

    FileDescriptor info_;
    std::string name_;
    FileDescriptor file_;
    FileIdentity identity_;
};

}  // namespace larkfold
