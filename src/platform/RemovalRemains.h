// What a removal that did not come to its end has left, and the way back for an item that it had put aside.
//
// A removal for good puts an item into a private folder beside its place before anything is lost. A program
// that ends there leaves it so: hidden, but whole or in part. Everything here goes by descriptors like the
// removal itself: a folder counts as that private folder only where it is no link, our own and of mode 0700,
// an item only by its identity, and what was moved is compared after the move.
//
// The questions wait for a volume that does not answer for a short, fixed time only. Synchronous.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/DurableIdentity.h"

namespace larkfold::user_files {

// An item that lies aside.
struct AsideItem {
    std::string originalPath;  // where it was, without a link in it
    std::string path;          // where it lies
    std::string stagingName;   // of the private folder beside its old place, or its own name there
    DurableIdentity identity;  // of what lies there
    bool isFolder = false;
    bool isItsOwnStaging = false;  // there was no room for a folder: it was only given that name
};

// What is looked for.
struct Sought {
    std::string path;  // where it was, without a link in it
    DurableIdentity identity;
    std::string stagingName;          // empty: it was not put aside
    std::vector<std::string> places;  // in folders named `files` of a Trash, in the order of looking
};

struct Whereabouts {
    enum class Kind {
        inPlace,
        inTrash,
        inTrashWithoutNote,  // nothing there tells where it came from
        aside,
        nowhere,     // in none of these places
        unreachable  // the folder where it was cannot be looked at
    };
    Kind kind = Kind::unreachable;
    std::string path;                // where it lies now
    std::optional<AsideItem> aside;  // what lies in its private folder, whatever it is
    bool hasStaging = false;         // its private folder stands there, empty or not
    bool isAnswered = true;          // false: its volume did not answer in time
};

// Where the item with that identity is now.
Whereabouts find(const Sought& sought);

// The folders of the Trashes that may take items from these volumes, by the rules alone: the disk is not
// asked.
std::vector<std::string> trashFolders(const std::vector<std::string>& volumes);

// What lies in the Trashes, with its inode number: whoever looks for many things looks here first. Those that
// cannot be read hold nothing.
struct TrashedItem {
    std::string path;
    std::uint64_t file = 0;
};
std::vector<TrashedItem> itemsInTrashes(const std::vector<std::string>& trashFolders);

// Removes the private folder `stagingName` beside `path`, without links, where it is one and empty. Whatever
// else stands there stays.
void discardEmptyStaging(const std::string& path, const std::string& stagingName);

enum class Restoring {
    done,
    nameTaken,    // something stands in its old place: the item stays aside
    changed,      // what lies aside is not what it was, or not where it was
    unreachable,  // the disk does not answer or the folder cannot be opened
};

// Puts the item back to its old name, replacing nothing. Throws SystemError where the system refuses; unless
// it is `done` the item is where it was.
Restoring restore(const AsideItem& item);

}  // namespace larkfold::user_files
