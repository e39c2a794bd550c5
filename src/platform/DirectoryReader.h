// Listing folders, with the values of their entries prefetched and the next folders read ahead.
//
// A `DirectoryReader` serves one walk that goes through a tree depth first, folder by folder, each folder's
// entries in the order of their names' bytes. It hands out one `DirectoryListing` at a time:
//
//   DirectoryReader reader(root, options, stop);
//   auto listing = reader.openRoot();
//   for each entry that is a folder: auto child = reader.open(listing, index) ... and it walks that before
//   the next.
//
// While the walk works on one folder, a helper thread lists those that come next, up to a window of entries.
// When the folder wanted next is still being listed by the helper, the walk lists a later one itself instead
// of sleeping.
//
// One pass of the directory, one stat per entry, links never followed, automounts never triggered, special
// files never opened. A name that the options exclude is left out before it is looked at. Descriptors are
// bounded whatever the depth: a folder is reached from its parent's descriptor, or, when that has been
// closed, by ".." with a check of identity, so paths longer than the system takes are ordinary.
//
// A mount that may fail to answer (network, FUSE) is read by a thread that can be given up: after
// `answerTimeout` the folder counts as unreadable and so does everything else of that mount, and a stop is
// obeyed at once meanwhile. Whatever is mounted below the root is entered by such a thread, whether it stood
// there before the walk or comes in the middle of it.
//
// The reader is used from one thread; the helper is its own affair. It throws nothing but CancellationError:
// what cannot be read is told in the listing.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Error.h"
#include "platform/FileIdentity.h"

namespace larkfold {

struct DirectoryReaderOptions {
    bool skipHiddenFiles = false;
    // Entries at or below one of these paths are left out unseen. Absolute standardized paths.
    std::vector<std::string> excludedPathPrefixes;
    // False: of a symbolic link only its name and kind are told.
    bool readsSymbolicLinks = true;
    // How many entries may be listed ahead of the walk.
    std::size_t window = 20'000;
    // False: what is mounted below the root cannot be read, and what is mounted onto a file neither: EXDEV.
    bool crossesMounts = true;
    // False: everything happens on the caller's thread.
    bool readsAhead = true;
    // How long a mount that may fail to answer is waited for.
    std::chrono::milliseconds answerTimeout{10'000};
};

// What a listing tells of an entry: the values of the entry itself, links not followed.
struct DirectoryEntry {
    enum class Kind : std::uint8_t { file, directory, symbolicLink, other };

    std::string_view name;           // bytes; valid as long as the listing
    std::int64_t fileSize = 0;       // bytes of content
    std::int64_t allocatedSize = 0;  // bytes on disk
    double modifiedAt = 0;           // seconds since 1970
    Kind kind = Kind::file;
    int error = 0;  // errno where the values could not be read: then only the name counts
};

class DirectoryListing;

class DirectoryReader {
public:
    DirectoryReader(std::string root, DirectoryReaderOptions options, std::stop_token stop);
    ~DirectoryReader();
    DirectoryReader(const DirectoryReader&) = delete;
    DirectoryReader& operator=(const DirectoryReader&) = delete;

    // The listing of the root. Follows a link at the root itself, and nowhere else. Throws CancellationError.
    std::unique_ptr<DirectoryListing> openRoot();

    // The listing of the folder at `index` of `parent`'s entries. Folders are opened in the order of the
    // walk: depth first, each at most once, and a listing is dropped before its parent's next folder is
    // opened. Throws CancellationError.
    std::unique_ptr<DirectoryListing> open(const DirectoryListing& parent, std::size_t index);

    // How many names were left out because they are hidden, so far.
    std::int64_t hiddenSkipped() const;

    struct Impl;

private:
    std::unique_ptr<Impl> impl_;
};

class DirectoryListing {
public:
    // The entries in the order of their names' bytes. Empty where the folder could not be listed.
    std::span<const DirectoryEntry> entries() const;

    // Why the folder could not be listed, or that listing it broke off half-way (what had been listed stands
    // in the entries); 0 where it was read to its end.
    int error() const;

    // The identity of the folder that was opened; nothing where it could not be opened.
    std::optional<FileIdentity> identity() const;

    // Bytes that the folder itself takes on disk, what lies in it apart; 0 where it could not be opened.
    std::int64_t allocatedSize() const;

    ~DirectoryListing();
    DirectoryListing(const DirectoryListing&) = delete;
    DirectoryListing& operator=(const DirectoryListing&) = delete;

    struct Impl;
    explicit DirectoryListing(std::shared_ptr<Impl> impl);
    Impl& impl() const { return *impl_; }

private:
    std::shared_ptr<Impl> impl_;
};

}  // namespace larkfold
