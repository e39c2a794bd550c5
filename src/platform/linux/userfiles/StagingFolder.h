// Where an item that goes for good is compared for the last time and emptied: a folder of its own beside its
// place, which nobody but the user may enter. Linux part of the platform layer only.
//
// It counts only as what it was made to be: the user's own, of mode 0700 and empty. Where the disk has no
// room for one more folder, or keeps no such rights, the item is renamed within its own folder instead, to a
// name that nobody knows, but only where nobody else may write there: another user who may could exchange it
// between the comparison and the removal.
#pragma once

#include <string>

#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/walk/PathDescriptors.h"

namespace larkfold {

class StagingFolder {
public:
    // Beside the item `name` of the held folder `parent`, at `realPath`. Throws Refusal and SystemError; then
    // nothing is left.
    StagingFolder(int parent, const std::string& realPath, const path_descriptors::FileStatus& item,
                  const std::string& stagingName);

    int descriptor() const { return folder_.get(); }
    const std::string& itemName() const { return itemName_; }  // the item's in it
    const std::string& itemPath() const { return itemPath_; }  // where that is, as far as it can be told

    // Removes it if it is empty and still stands beside the item's place.
    void discard() const;

private:
    void useParent(int problem);

    int parent_;             // outlives it
    FileDescriptor folder_;  // or the item's own
    std::string made_;       // its name beside the item's place; empty where it is the item's own
    std::string itemName_;
    std::string itemPath_;
    std::string realPath_;
    path_descriptors::FileStatus item_;
};

}  // namespace larkfold
