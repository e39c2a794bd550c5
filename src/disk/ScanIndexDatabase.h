// The scan index: a SQLite file with one row for every file and directory of the latest scan. Its format is told in
// docs/scan-index-format.md.
//
// An object opened with `create` belongs to one scan: its transaction stands open until `finish`. An object opened
// without is used for one short piece of work. Destroying it closes the connection, which rolls back what was not
// committed. No lock: one object belongs to one context at a time.
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

    // Opens the file at `url` (absolute path, bytes). With `create` it makes the folder and the file (mode 0600) and the
    // schema, and begins the transaction of a scan. Throws Failure, or SystemError of the file operations.
    ScanIndexDatabase(const std::string& url, bool create);
    ~ScanIndexDatabase();
    ScanIndexDatabase(const ScanIndexDatabase&) = delete;
    ScanIndexDatabase& operator=(const ScanIndexDatabase&) = delete;

    // Writes one row. `path` and `parent` are standardized paths, `name` the last component; none holds a NUL. Throws
    // Failure.
    void insertRow(std::string_view path, std::string_view parent, std::string_view name, bool isDirectory,
                   std::int64_t size, std::int64_t logicalSize, std::optional<double> modified);

    // Writes the metadata and commits. Throws Failure; the transaction then stays open.
    void finish(const std::string& root, bool skipHiddenFiles, std::int64_t errorCount);

    std::map<std::string, std::string> readMeta();

    // Reads back a bounded tree: all directories of `folder` (the whole index when absent) and its `limit` largest files;
    // the rest as summaries. Throws Failure, or CancellationError when stopped.
    ScanResult loadTree(const std::optional<std::string>& folder, std::int64_t limit, std::stop_token stop = {});

    // Takes out a folder that no longer exists, and sums its ancestors anew. Throws Failure.
    void removeFolder(const std::string& url);

    // Replaces a folder's subtree by the index of a scan of that folder. Throws Failure.
    void merge(const std::string& incomingURL);

private:
    sqlite3* db_ = nullptr;          // closed by the destructor
    sqlite3_stmt* insert_ = nullptr;  // finalized before the connection closes

    [[noreturn]] void fail() const;
    void execute(const std::string& sql);
    void updateAncestors(std::string folder, std::string_view last, std::string_view stopBefore);
};

// "'" + text with each "'" doubled + "'".
std::string quoted(std::string_view text);
// The SQL condition that a row lies at or below `root`.
std::string subtreePredicate(std::string_view root);

}  // namespace larkfold
