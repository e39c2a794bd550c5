// Every use of the saved index but the scan that writes it: each operation opens the file, does one
// piece of work and closes it.
//
// It has no state. Its owner runs all of them on one serial context, so two uses of the saved index never
// overlap within the program.
//
// Other processes of this program are kept off by a lock on the folder: for the whole of a change, and for
// the beginning of a reading. SQLite's own locks belong to a file, its journal to a name. Whoever opened the
// index before another one was put in its place, and read on after that one began to be changed, would find
// that change's journal under the old name, play it back into the old file and delete it, and a kill would
// leave the new index torn. A reading that has begun does not look for a journal any more, so from then on
// the two can go on beside each other.
#pragma once

#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>

#include "disk/ExpectedScan.h"
#include "disk/ScanResult.h"

namespace larkfold {

class SavedScanLoader {
public:
    // File rows of one load: as many as a scan keeps as nodes.
    static constexpr std::int64_t maximumFiles = 50'000;

    // The tree of `folder`, or of the whole index. Throws ScanIndexDatabase::Failure, or CancellationError.
    static ScanResult load(const std::string& indexURL, const std::optional<std::string>& folder,
                           std::stop_token stop, const ExpectedScan& expected = {});

    // The whole tree, and whether hidden items were left out of it: of one and the same scan. Throws
    // likewise.
    struct Restored {
        ScanResult tree;
        bool skipsHiddenFiles = false;
    };
    static Restored restore(const std::string& indexURL, std::stop_token stop);

    // What the index says of its scan; nothing of what cannot be read. Throws ScanIndexDatabase::Failure
    // where it is another one than expected, or CancellationError.
    static ExpectedScan header(const std::string& indexURL, const ExpectedScan& expected,
                               std::stop_token stop);

    // How many files the index has. Throws ScanIndexDatabase::Failure, SystemError or CancellationError.
    static std::int64_t fileCount(const std::string& indexURL, const ExpectedScan& expected,
                                  std::stop_token stop);

    // Puts the finished index at `incomingURL` in the place of its folder's rows, and proves that the folder
    // loads and that the index's root leads to it. Throws ScanIndexDatabase::Failure or CancellationError:
    // then nothing has changed, or what failed is that proof. Throws EmptyFolderFailure where an index with
    // files would have none; then nothing has changed. Throws SystemError where the lock cannot be had, and
    // where the change was made and could not be synced.
    static void merge(const std::string& indexURL, const std::string& incomingURL, std::stop_token stop,
                      const ExpectedScan& expected = {});

    // Takes out a folder that does not exist any more. Throws as `merge`.
    static void removeFolder(const std::string& indexURL, const std::string& folder, std::stop_token stop,
                             const ExpectedScan& expected = {});

    // Deletes the file at `url` if there is one, and nothing beside it. Throws SystemError, or
    // CancellationError while it waits for another window.
    static void removeIndexFile(const std::string& url, std::stop_token stop = {});
};

}  // namespace larkfold
