// The scan index: a SQLite file with one row for every file and directory of the latest scan. Its format is
// told in docs/scan-index-format.md.
//
// An object opened with `create` belongs to one scan: its transaction stands open until `finish`. An
// object opened without is used for one short piece of work. Destroying it closes the connection, which
// rolls back what was not committed. No lock: one object belongs to one context at a time; objects of
// different contexts do not meet.
//
// The library is set up once for the process, before the first file is opened: no mutexes inside of a
// connection (see above), and no memory statistics, which cost a global mutex at every allocation.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

#include "disk/ScanResult.h"
#include "platform/Date.h"
#include "platform/Error.h"

struct sqlite3;
struct sqlite3_stmt;

namespace larkfold {

class ScanIndexDatabase {
public:
    // What SQLite reports: "Scan index: {message}".
    class Failure final : public Error {
    public:
        explicit Failure(std::string message) : message_(std::move(message)) {}
        std::string description() const override { return "Scan index: " + message_; }
        const std::string& message() const { return message_; }

    private:
        std::string message_;
    };

    // Opens the file at `url` (absolute path, bytes), which without `create` has to be there. With `create`
    // it makes the folder and the file (mode 0600) and the schema, and begins the transaction of a scan.
    // Throws Failure, or SystemError of the file operations.
    ScanIndexDatabase(const std::string& url, bool create);
    ~ScanIndexDatabase();
    ScanIndexDatabase(const ScanIndexDatabase&) = delete;
    ScanIndexDatabase& operator=(const ScanIndexDatabase&) = delete;

    // Writes one row. `path` and `parent` are standardized paths, `name` the last component: any bytes but
    // NUL. The texts are copied and need not end in NUL. `modified` in seconds since 1970. Throws Failure.
    void insertRow(std::string_view path, std::string_view parent, std::string_view name, bool isDirectory,
                   std::int64_t size, std::int64_t logicalSize, std::optional<double> modified);

    // Writes the metadata and commits. Throws Failure; the transaction then stays open.
    void finish(const std::string& root, bool skipHiddenFiles, std::int64_t errorCount);

    // Holds what stands there now until the object goes: everything read from here on is of one moment,
    // whatever others change. Nothing can be changed through this object any more. Throws Failure.
    void beginReading();

    // The metadata, key by key. Throws Failure.
    std::map<std::string, std::string> readMeta();

    // How many rows of files there are. Looks at all rows. Throws Failure.
    std::int64_t fileCount();

    // Whether there is the root's own row at most. Throws Failure.
    bool isEmpty();

    // Reads back a bounded tree: all directories of `folder` (the whole index when absent) and its `limit`
    // largest files (none when negative); the rest as one summary for each folder. Rows that do not hang
    // together with the folder are left out. Memory follows the number of directories and the limit. Throws
    // Failure, or CancellationError when stopped.
    ScanResult loadTree(const std::optional<std::string>& folder, std::int64_t limit,
                        std::stop_token stop = {});

    // Takes out a folder that no longer exists, and sums its ancestors anew, in one transaction. The
    // root of the index cannot be taken out of it. Throws Failure, or CancellationError when
    // stopped; then nothing has changed.
    void removeFolder(const std::string& url, std::stop_token stop = {});

    // Replaces a folder's subtree by the finished index of a scan of that folder, and sums its ancestors
    // anew, in one transaction. Returns that folder. Throws Failure, or CancellationError when stopped; then
    // nothing has changed.
    std::string merge(const std::string& incomingURL, std::stop_token stop = {});

    // Loads a folder as `loadTree` does, and follows its row up to the index's root: throws Failure where a
    // folder on that way is missing or is none, or CancellationError when stopped.
    void proveFolder(const std::string& folder, std::int64_t limit, std::stop_token stop = {});

private:
    sqlite3* db_ = nullptr;           // closed by the destructor
    sqlite3_stmt* insert_ = nullptr;  // of a scan, until `finish`; finalized before the connection closes

    ScanIndexDatabase() = default;

    [[noreturn]] void fail() const;
    void execute(const std::string& sql);
    void updateAncestors(std::string_view below, std::string_view last);
    // The rows alone, without what is asked of the disk.
    ScanResult loadRows(const std::map<std::string, std::string>& meta, const std::string& root,
                        std::int64_t limit, const std::stop_token& stop);
};

// "'" + text with each "'" doubled + "'".
std::string quoted(std::string_view text);
// The SQL condition that a row lies at or below `root`, in words: it looks at every row.
std::string subtreePredicate(std::string_view root);
// The same of what lies below `root` alone, as a range of the key: it finds the rows without looking at
// others. For "/" it holds the root's own row as well.
std::string subtreeRange(std::string_view root);

}  // namespace larkfold
