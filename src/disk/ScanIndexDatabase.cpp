#include "disk/ScanIndexDatabase.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <set>
#include <utility>
#include <vector>

#include "disk/FileNode.h"
#include "disk/LoadedTree.h"
#include "disk/SubtreeFiles.h"
#include "platform/OwnFiles.h"
#include "platform/Path.h"
#include "platform/Volumes.h"

namespace larkfold {

namespace {

constexpr int openForCreation = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
constexpr int openExisting = SQLITE_OPEN_READWRITE;
constexpr int busyTimeoutMilliseconds = 3'000;
constexpr unsigned onlyTheUser = 0600;

constexpr const char* schema =
    "CREATE TABLE IF NOT EXISTS nodes(path TEXT PRIMARY KEY,parent TEXT,name TEXT,directory INTEGER,size "
    "INTEGER,logical INTEGER,modified REAL); CREATE INDEX IF NOT EXISTS nodes_parent ON nodes(parent); "
    "CREATE "
    "TABLE IF NOT EXISTS meta(key TEXT PRIMARY KEY,value TEXT); BEGIN IMMEDIATE;";

// The columns of `nodes`, in the order of the schema, as a SELECT * gives them.
enum Column : int { path, parent, name, directory, size, logical, modified, rowNumber };

// Must precede the library's first use in the process. Where something else has initialized it already, the
// library refuses and keeps its own setting, which is slower and as correct.
void configureLibraryOnce() {
    static const bool configured = [] {
        sqlite3_config(SQLITE_CONFIG_MULTITHREAD);
        sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
        return true;
    }();
    static_cast<void>(configured);
}

// What the library cannot hold in memory lies beside the index, which the watch of a scan leaves out, and not
// in a folder of the system's: there it would count as a change of the whole disk, with every load and every
// merge. Its files have no name for longer than an instant. Where the folder cannot be written the library
// takes the system's after all.
void keepTemporariesBeside(const std::string& url) {
    static std::set<std::string> folders;  // what the library was given must stay
    sqlite3_mutex* mutex = sqlite3_mutex_alloc(SQLITE_MUTEX_STATIC_VFS1);  // the one it reads the place under
    sqlite3_mutex_enter(mutex);
    // It only reads it: there is no use here of the statement that would write it.
    sqlite3_temp_directory = const_cast<char*>(folders.emplace(parentPath(url)).first->c_str());
    sqlite3_mutex_leave(mutex);
}

// The connection's latest message; a text for a user, though it may quote a path of any bytes.
std::string messageOf(sqlite3* db) {
    return db == nullptr ? "Database closed" : displayText(sqlite3_errmsg(db));
}

class Statement {
public:
    Statement(sqlite3* db, const std::string& sql) : db_(db) {
        if (sqlite3_prepare_v2(db, sql.c_str(), -1, &statement_, nullptr) != SQLITE_OK) {
            throw ScanIndexDatabase::Failure(messageOf(db));
        }
    }
    ~Statement() { sqlite3_finalize(statement_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    // Goes to the next row; false behind the last. Throws Failure, or CancellationError when stopped.
    bool step(const std::stop_token& stop = {}) {
        const int outcome = sqlite3_step(statement_);
        if (outcome == SQLITE_INTERRUPT && stop.stop_requested()) {
            throw CancellationError();
        }
        if (outcome != SQLITE_ROW && outcome != SQLITE_DONE) {
            throw ScanIndexDatabase::Failure(messageOf(db_));
        }
        return outcome == SQLITE_ROW;
    }

    // From the beginning, with its one parameter.
    void restart(std::int64_t parameter) {
        sqlite3_reset(statement_);
        sqlite3_bind_int64(statement_, 1, parameter);
    }
    void restart(std::string_view parameter) {
        sqlite3_reset(statement_);
        sqlite3_bind_text(statement_, 1, parameter.data(), static_cast<int>(parameter.size()),
                          SQLITE_TRANSIENT);
    }

    // Values of the present row, by column number. NULL is empty, 0 and nothing. A text lives until the next
    // step.
    std::string_view text(int column) const {
        const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
        if (bytes == nullptr) {
            return {};
        }
        return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
    }
    std::int64_t integer(int column) const { return sqlite3_column_int64(statement_, column); }
    // Nothing where something else stands.
    std::optional<std::int64_t> wholeNumber(int column) const {
        return sqlite3_column_type(statement_, column) == SQLITE_INTEGER ? std::optional(integer(column))
                                                                         : std::nullopt;
    }
    std::optional<Date> date(int column) const {
        if (sqlite3_column_type(statement_, column) == SQLITE_NULL) {
            return std::nullopt;
        }
        return dateFromSecondsSince1970(sqlite3_column_double(statement_, column));
    }

private:
    sqlite3* db_;
    sqlite3_stmt* statement_ = nullptr;
};

// While it lives, a stop request interrupts the connection's statement: a sort of millions of rows gives no
// row, and so no other chance to look, until it is done.
class StopWatch {
public:
    StopWatch(sqlite3* db, std::stop_token stop) : db_(db), stop_(std::move(stop)) {
        constexpr int operationsBetweenLooks = 20'000;
        sqlite3_progress_handler(
            db_, operationsBetweenLooks,
            [](void* self) { return static_cast<StopWatch*>(self)->stop_.stop_requested() ? 1 : 0; }, this);
    }
    ~StopWatch() { sqlite3_progress_handler(db_, 0, nullptr, nullptr); }
    StopWatch(const StopWatch&) = delete;
    StopWatch& operator=(const StopWatch&) = delete;

private:
    sqlite3* db_;
    std::stop_token stop_;
};

std::optional<std::int64_t> wholeNumber(std::string_view text) {
    if (text.starts_with('+') && !text.starts_with("+-")) {
        text.remove_prefix(1);
    }
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

std::optional<double> finiteNumber(std::string_view text) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

std::string valueOr(const std::map<std::string, std::string>& meta, const std::string& key,
                    const std::string& otherwise) {
    const auto found = meta.find(key);
    return found == meta.end() ? otherwise : found->second;
}

// The present time as seconds since 1970, in the shortest decimal form that reads back as the same double.
std::string nowText() {
    std::array<char, 400> digits;  // the longest double in fixed notation has 325
    const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(),
                                            secondsSince1970(now()), std::chars_format::fixed);
    return error == std::errc() ? std::string(digits.data(), end) : "0";
}

// What the path of everything below a folder begins with.
std::string prefixOf(std::string_view folder) {
    return folder == "/" ? "/" : std::string(folder) + "/";
}

std::string_view nameOf(const Statement& row) {
    return row.text(Column::path) == "/" ? "Startup Disk" : row.text(Column::name);
}

// The rows of a folder itself, and of all below it, each a search of the key. "path='...'" and the range of
// the folder "/" would give its row twice: it lies in its own range.
std::string rowsOf(const std::string& verb, std::string_view folder, std::string_view between) {
    const std::string below = verb + " WHERE " + larkfold::subtreeRange(folder);
    return folder == "/" ? below
                         : verb + " WHERE path=" + larkfold::quoted(folder) + std::string(between) + below;
}

// The rows of the folder that the whole index is of. Nearly every row is one, so the table is read through:
// the library would take the range for a small part of it, and look up each row by the key.
std::string allRows(std::string_view root) {
    return "SELECT *,rowid FROM nodes NOT INDEXED WHERE path=" + larkfold::quoted(root) + " OR (" +
           larkfold::subtreeRange(root) + ")";
}

}  // namespace

std::string quoted(std::string_view text) {
    std::string sql = "'";
    for (const char c : text) {
        sql += c;
        if (c == '\'') {
            sql += c;
        }
    }
    return sql + "'";
}

std::string subtreePredicate(std::string_view root) {
    const std::string prefix = larkfold::quoted(prefixOf(root));
    return "(path=" + larkfold::quoted(root) + " OR substr(path,1,length(" + prefix + "))=" + prefix + ")";
}

std::string subtreeRange(std::string_view root) {
    const std::string prefix = prefixOf(root);
    // The byte behind "/" is "0". Between the folder and its prefix lie siblings: "a b", "a.txt".
    std::string end = prefix;
    end.back() = '0';
    return "path>=" + larkfold::quoted(prefix) + " AND path<" + larkfold::quoted(end);
}

// The connection

// Delegates, so that the destructor closes the connection when a later step throws.
ScanIndexDatabase::ScanIndexDatabase(const std::string& url, bool create) : ScanIndexDatabase() {
    configureLibraryOnce();
    keepTemporariesBeside(url);
    if (create) {
        own_files::createFolders(std::string(parentPath(url)));
    }
    if (sqlite3_open_v2(url.c_str(), &db_, create ? openForCreation : openExisting, nullptr) != SQLITE_OK) {
        throw Failure(db_ == nullptr ? "Could not open database" : messageOf(db_));
    }
    sqlite3_busy_timeout(db_, busyTimeoutMilliseconds);
    if (create) {
        own_files::setPermissions(url, onlyTheUser);
        execute(schema);
        if (sqlite3_prepare_v2(db_, "INSERT OR REPLACE INTO nodes VALUES(?,?,?,?,?,?,?)", -1, &insert_,
                               nullptr) != SQLITE_OK) {
            fail();
        }
    }
}

ScanIndexDatabase::~ScanIndexDatabase() {
    sqlite3_finalize(insert_);
    sqlite3_close(db_);
}

void ScanIndexDatabase::fail() const {
    throw Failure(messageOf(db_));
}

void ScanIndexDatabase::execute(const std::string& sql) {
    const int outcome = sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr);
    if (outcome == SQLITE_INTERRUPT) {
        throw CancellationError();  // nobody but a stop watch interrupts
    }
    if (outcome != SQLITE_OK) {
        fail();
    }
}

// Writing

void ScanIndexDatabase::insertRow(std::string_view path, std::string_view parent, std::string_view name,
                                  bool isDirectory, std::int64_t size, std::int64_t logicalSize,
                                  std::optional<double> modified) {
    // A full or failing disk makes the library end the transaction by itself. Rows that came after that would
    // each be a transaction with syncs of its own, for the rest of the walk. The message still says why.
    if (insert_ == nullptr || sqlite3_get_autocommit(db_) != 0) {
        fail();
    }
    sqlite3_reset(insert_);
    sqlite3_clear_bindings(insert_);
    // The length is given: the texts hold no NUL, so it says what the library would find by counting up to
    // one, and they need not be terminated.
    const auto bindText = [this](int position, std::string_view text) {
        sqlite3_bind_text(insert_, position, text.empty() ? "" : text.data(), static_cast<int>(text.size()),
                          SQLITE_TRANSIENT);
    };
    bindText(1, path);
    bindText(2, parent);
    bindText(3, name);
    sqlite3_bind_int(insert_, 4, isDirectory ? 1 : 0);
    sqlite3_bind_int64(insert_, 5, size);
    sqlite3_bind_int64(insert_, 6, logicalSize);
    if (modified) {
        sqlite3_bind_double(insert_, 7, *modified);
    } else {
        sqlite3_bind_null(insert_, 7);
    }
    if (sqlite3_step(insert_) != SQLITE_DONE) {
        fail();
    }
}

void ScanIndexDatabase::finish(const std::string& root, bool skipHiddenFiles, std::int64_t errorCount) {
    execute("INSERT OR REPLACE INTO meta VALUES('root'," + larkfold::quoted(standardizedPath(root)) +
            "),('date'," + larkfold::quoted(nowText()) + "),('skipHidden'," +
            (skipHiddenFiles ? "'1'" : "'0'") + "),('errors'," +
            larkfold::quoted(std::to_string(errorCount)) + "); COMMIT;");
    sqlite3_finalize(std::exchange(insert_, nullptr));
}

// Reading

void ScanIndexDatabase::beginReading() {
    execute("BEGIN");
    static_cast<void>(readMeta());  // the library takes its lock with the first row that is asked for
}

std::int64_t ScanIndexDatabase::fileCount() {
    Statement count(db_, "SELECT COUNT(*) FROM nodes WHERE directory=0");
    return count.step() ? count.wholeNumber(0).value_or(0) : 0;
}

bool ScanIndexDatabase::isEmpty() {
    Statement count(db_, "SELECT COUNT(*) FROM (SELECT 1 FROM nodes LIMIT 2)");
    return !count.step() || count.wholeNumber(0).value_or(0) < 2;
}

std::map<std::string, std::string> ScanIndexDatabase::readMeta() {
    std::map<std::string, std::string> meta;
    Statement row(db_, "SELECT key,value FROM meta");
    while (row.step()) {
        meta.insert_or_assign(std::string(row.text(0)), std::string(row.text(1)));
    }
    return meta;
}

// 1. One pass over the rows: all directories, and of the files which are the largest of the whole subtree,
// and
//    for each folder their number and sum.
// 2. The rows of these files, and the tree.
// 3. For each folder a summary of the files that stayed behind, so that the sizes of the children add up to
//    that of the folder, which is the stored one.
// 4. What the metadata tells.
ScanResult ScanIndexDatabase::loadTree(const std::optional<std::string>& folder, std::int64_t limit,
                                       std::stop_token stop) {
    const std::map<std::string, std::string> meta = readMeta();
    if (!meta.contains("root")) {
        fail();
    }
    ScanResult result = loadRows(meta, folder ? standardizedPath(*folder) : meta.at("root"), limit, stop);
    result.takeTotals(volumeCapacity(result.rootPath));
    return result;
}

ScanResult ScanIndexDatabase::loadRows(const std::map<std::string, std::string>& meta,
                                       const std::string& root, std::int64_t limit,
                                       const std::stop_token& stop) {
    const StopWatch watch(db_, stop);
    LoadedTree tree(root);
    SubtreeFiles files(limit);

    {
        Statement row(db_, root == meta.at("root")
                               ? allRows(root)
                               : rowsOf("SELECT *,rowid FROM nodes", root, " UNION ALL "));
        while (row.step(stop)) {
            if (stop.stop_requested()) {
                throw CancellationError();
            }
            const std::optional<std::int64_t> directory = row.wholeNumber(Column::directory);
            if (directory == 1) {
                tree.addDirectory(row.text(Column::path), row.text(Column::parent), nameOf(row),
                                  row.integer(Column::size));
            } else if (directory == 0 && !files.add(row.integer(Column::rowNumber), row.text(Column::parent),
                                                    row.integer(Column::size))) {
                throw Failure("integer overflow");
            }
        }
    }
    {
        Statement row(db_, "SELECT * FROM nodes WHERE rowid=?");
        for (const std::int64_t number : files.takeLargest()) {
            if (stop.stop_requested()) {
                throw CancellationError();
            }
            row.restart(number);
            if (row.step(stop)) {
                tree.addFile(row.text(Column::path), row.text(Column::parent), nameOf(row),
                             row.integer(Column::size), row.integer(Column::logical),
                             row.date(Column::modified));
            }
        }
    }

    ScanResult result;
    result.rootNode = tree.link();
    if (result.rootNode == nullptr) {
        fail();
    }

    files.tellFolders([&tree](std::string_view path, std::int64_t count, std::int64_t bytes) {
        tree.addSummary(path, count, bytes);
    });
    tree.finish();
    result.rootNode->sortChildrenBySize();

    const std::string errors = valueOr(meta, "errors", "0");
    if (const auto count = wholeNumber(errors); count && *count >= 1) {
        result.unreadablePlaces = *count;
        result.errors.push_back(
            {.path = root,
             .error = std::make_shared<Failure>("Saved scan has " + std::to_string(*count) +
                                                " inaccessible entries. Rescan to review current errors.")});
    }
    result.scanDate = dateFromSecondsSince1970(finiteNumber(valueOr(meta, "date", "0")).value_or(0));
    result.rootPath = result.rootNode->url();
    return result;
}

void ScanIndexDatabase::proveFolder(const std::string& folder, std::int64_t limit, std::stop_token stop) {
    const std::map<std::string, std::string> meta = readMeta();
    const auto root = meta.find("root");
    if (root == meta.end()) {
        fail();
    }
    std::string_view at = folder;
    static_cast<void>(loadRows(meta, folder, limit, stop));
    Statement row(db_, "SELECT * FROM nodes WHERE path=?");
    while (at != root->second) {
        const std::string_view above = parentPath(at);
        if (above == at) {
            fail();
        }
        row.restart(above);
        if (!row.step(stop) || row.wholeNumber(Column::directory) != 1) {
            fail();
        }
        at = above;
    }
}

// Changing

// Sums the folders above `below` anew from their rows, from the nearest up to `last`.
void ScanIndexDatabase::updateAncestors(std::string_view below, std::string_view last) {
    while (below != "/" && below != last) {
        const std::string_view folder = parentPath(below);
        const std::string sqlFolder = larkfold::quoted(folder);
        // A row that is its own parent (that of "/") must not count itself.
        execute("UPDATE nodes SET size=(SELECT COALESCE(SUM(size),0) FROM nodes WHERE parent=" + sqlFolder +
                " AND path!=" + sqlFolder + ") WHERE path=" + sqlFolder);
        below = folder;
    }
}

void ScanIndexDatabase::removeFolder(const std::string& url, std::stop_token stop) {
    const std::map<std::string, std::string> meta = readMeta();
    const std::string path = standardizedPath(url);
    const auto root = meta.find("root");
    if (root == meta.end() || path == root->second || !path.starts_with(prefixOf(root->second))) {
        fail();
    }
    try {
        const StopWatch watch(db_, std::move(stop));
        execute("BEGIN IMMEDIATE; " + rowsOf("DELETE FROM nodes", path, "; ") + ";");
        updateAncestors(path, root->second);
        execute("COMMIT");
    } catch (...) {
        sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
        throw;
    }
}

std::string ScanIndexDatabase::merge(const std::string& incomingURL, std::stop_token stop) {
    const std::map<std::string, std::string> incomingMeta = ScanIndexDatabase(incomingURL, false).readMeta();
    const std::map<std::string, std::string> meta = readMeta();
    if (!incomingMeta.contains("root") || !meta.contains("root")) {
        fail();
    }
    const std::string& saved = meta.at("root");
    const std::string& incoming = incomingMeta.at("root");
    if (incoming != saved && !incoming.starts_with(prefixOf(saved))) {
        fail();
    }
    const auto errorsOf = [](const std::map<std::string, std::string>& of) {
        return wholeNumber(valueOr(of, "errors", "0")).value_or(0);
    };
    const std::int64_t errors =
        incoming == saved ? errorsOf(incomingMeta) : saturatingSum(errorsOf(meta), errorsOf(incomingMeta));

    execute("ATTACH DATABASE " + larkfold::quoted(incomingURL) + " AS incoming");
    const auto detach = [this] { sqlite3_exec(db_, "DETACH DATABASE incoming", nullptr, nullptr, nullptr); };
    try {
        const StopWatch watch(db_, std::move(stop));
        execute("BEGIN IMMEDIATE; " + rowsOf("DELETE FROM nodes", incoming, "; ") +
                "; INSERT INTO nodes SELECT * FROM incoming.nodes;");
        updateAncestors(incoming, saved);
        execute("INSERT OR REPLACE INTO meta VALUES('date'," + larkfold::quoted(nowText()) + "),('errors'," +
                larkfold::quoted(std::to_string(errors)) + "); COMMIT;");
    } catch (...) {
        sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
        detach();
        throw;
    }
    detach();
    return incoming;
}

}  // namespace larkfold
