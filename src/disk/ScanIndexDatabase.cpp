#include "disk/ScanIndexDatabase.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <functional>
#include <memory_resource>
#include <set>
#include <utility>
#include <vector>

#include "disk/FileNode.h"
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
enum Column : int { path, parent, name, directory, size, logical, modified };

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

// "path=... OR substr(...)=...", without brackets.
std::string subtreeCondition(std::string_view folder) {
    const std::string prefix = larkfold::quoted(prefixOf(folder));
    return "path=" + larkfold::quoted(folder) + " OR substr(path,1,length(" + prefix + "))=" + prefix;
}

// Numbers by text: open addressing, 8 bytes for each slot, so that the table of all directories stays in the
// processor's cache; a load asks it for the parent of nearly every row. The texts stay with the caller.
class PathTable {
public:
    static constexpr std::uint32_t none = UINT32_MAX;

    std::uint32_t find(std::string_view path) const { return slots_[slotOf(path, hashOf(path))].number; }

    // Gives the path the next number, from 0; false where it has one already. `path` must outlive the table.
    bool insert(std::string_view path) {
        if (2 * (paths_.size() + 1) > slots_.size()) {
            grow();
        }
        const std::uint32_t hash = hashOf(path);
        Slot& slot = slots_[slotOf(path, hash)];
        if (slot.number != none) {
            return false;
        }
        slot = {.hash = hash, .number = static_cast<std::uint32_t>(paths_.size())};
        paths_.push_back(path);
        return true;
    }

private:
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t number = none;
    };

    static std::uint32_t hashOf(std::string_view path) {
        const std::size_t hash = std::hash<std::string_view>()(path);
        return static_cast<std::uint32_t>(hash ^ (hash >> 32));
    }

    // Where the path stands, or would.
    std::size_t slotOf(std::string_view path, std::uint32_t hash) const {
        const std::size_t mask = slots_.size() - 1;
        std::size_t at = hash & mask;
        while (slots_[at].number != none && (slots_[at].hash != hash || paths_[slots_[at].number] != path)) {
            at = (at + 1) & mask;
        }
        return at;
    }

    void grow() {
        const std::vector<Slot> old = std::exchange(slots_, std::vector<Slot>(slots_.size() * 2));
        const std::size_t mask = slots_.size() - 1;
        for (const Slot& slot : old) {
            if (slot.number != none) {
                std::size_t at = slot.hash & mask;
                while (slots_[at].number != none) {
                    at = (at + 1) & mask;
                }
                slots_[at] = slot;
            }
        }
    }

    std::vector<Slot> slots_ = std::vector<Slot>(1024);  // a power of two, at most half of them taken
    std::vector<std::string_view> paths_;
};

// The tree of a load while its rows come in.
//
// 1. Each row becomes a node. A directory also gets an entry in the map by path, which files can do without:
// they are
//    nobody's parent.
// 2. A file is appended to its parent at once where that is known, which in the order of the query it is;
// otherwise, and
//    for all directories, the parent's path waits until all rows are there.
// 3. Then the directories are linked: each to its parent, where the chain of its parents reaches the root.
// What hangs on
//    a row that is missing, or on itself (a damaged index may hold circles, which would own themselves for
//    ever), stays out of the tree and ends with this object.
// 4. The summaries are appended.
class LoadedTree {
public:
    explicit LoadedTree(const std::string& root) : root_(root) {}

    void addRow(const Statement& row) {
        const std::string_view rowPath = row.text(Column::path);
        const std::string_view rowParent = row.text(Column::parent);
        const std::string_view rowName = rowPath == "/" ? "Startup Disk" : row.text(Column::name);
        if (row.integer(Column::directory) == 1) {
            addDirectory(rowPath, rowParent, rowName, row.integer(Column::size));
            return;
        }
        const bool isRoot = rowPath == root_;
        const bool pathFollows = !isRoot && followsFrom(rowPath, rowParent, rowName);
        const auto make = [&] {
            return pathFollows
                       ? FileNode::makeFile(rowName, row.integer(Column::size), row.integer(Column::logical),
                                            row.date(Column::modified))
                       : FileNode::makeDetachedFile(rowPath, rowName, row.integer(Column::size),
                                                    row.integer(Column::logical), row.date(Column::modified));
        };
        if (isRoot) {
            rootFile_ = make();
        } else if (const std::uint32_t parent = numbers_.find(rowParent); parent != none) {
            appendFile(directories_[parent], make());
        } else {
            earlyFiles_.push_back({make(), kept(rowParent)});
        }
    }

    // Steps 3. The root, or null where no row is the root's.
    FileNode::Pointer link() {
        rootIndex_ = numbers_.find(root_);
        if (rootIndex_ == none) {
            return rootFile_;
        }
        for (EarlyFile& file : earlyFiles_) {
            if (const std::uint32_t parent = numbers_.find(file.parent); parent != none) {
                appendFile(directories_[parent], std::move(file.node));
            }
        }
        for (Directory& directory : directories_) {
            directory.parentIndex = numbers_.find(directory.parent);
        }
        directories_[rootIndex_].parentIndex = none;
        directories_[rootIndex_].reach = Reach::root;
        for (std::uint32_t index = 0; index < directories_.size(); ++index) {
            if (reachesRoot(index) && index != rootIndex_) {
                const Directory& directory = directories_[index];
                directories_[directory.parentIndex].node->appendChild(directory.node);
            }
        }
        return directories_[rootIndex_].node;
    }

    // Step 4, for each folder that has files: their number and the sum of their sizes on disk.
    void addSummary(std::string_view folder, std::int64_t files, std::int64_t bytes) {
        const std::uint32_t found = numbers_.find(folder);
        if (found == none) {
            return;
        }
        const Directory& directory = directories_[found];
        const std::int64_t missing = files - directory.keptFiles;
        if (missing >= 1) {
            directory.node->appendChild(FileNode::makeAggregate(
                FileNode::SummaryOrigin::index, difference(bytes, directory.keptBytes), missing));
        }
    }

    void finish() {
        for (const Directory& directory : directories_) {
            directory.node->finishChildren();
        }
    }

private:
    static constexpr std::uint32_t none = PathTable::none;
    enum class Reach : std::uint8_t { unknown, asked, root, nothing };

    struct Directory {
        FileNode::Pointer node;
        std::string_view parent;  // its path, in `texts_`
        std::uint32_t parentIndex = none;
        Reach reach = Reach::unknown;
        std::int64_t keptFiles = 0;  // the file nodes among its children
        std::int64_t keptBytes = 0;
    };
    struct EarlyFile {
        FileNode::Pointer node;
        std::string_view parent;
    };

    // Whether the path is what a node of that name below that parent says by itself. Otherwise (the row
    // contradicts itself) the node keeps the row's path as its own.
    static bool followsFrom(std::string_view path, std::string_view parent, std::string_view name) {
        const std::size_t folder = parent == "/" ? 0 : parent.size();
        return path.size() == folder + 1 + name.size() && path.starts_with(parent) && path[folder] == '/' &&
               path.ends_with(name);
    }

    static std::int64_t difference(std::int64_t whole, std::int64_t part) {
        std::int64_t rest;
        if (!__builtin_sub_overflow(whole, part, &rest)) {
            return rest;
        }
        return whole < 0 ? INT64_MIN : INT64_MAX;
    }

    void addDirectory(std::string_view path, std::string_view parent, std::string_view name,
                      std::int64_t size) {
        const std::string_view key = kept(path);
        // A damaged index may hold a path twice: the first row stands.
        if (!numbers_.insert(key)) {
            return;
        }
        Directory& directory = directories_.emplace_back();
        // The parent's path is nearly always a part of the path that is kept already.
        directory.parent = key.starts_with(parent) ? key.substr(0, parent.size()) : kept(parent);
        if (path != root_ && followsFrom(path, parent, name)) {
            directory.node = FileNode::makeDirectory(name);
        } else {
            directory.node = FileNode::makeRoot(path, name);
        }
        directory.node->setSize(size);
    }

    static void appendFile(Directory& directory, FileNode::Pointer file) {
        ++directory.keptFiles;
        directory.keptBytes = saturatingSum(directory.keptBytes, file->size());
        directory.node->appendChild(std::move(file));
    }

    bool reachesRoot(std::uint32_t start) {
        // Up to a directory of which it is known, or to one met on this very way: then it is a circle.
        std::uint32_t index = start;
        while (index != none && directories_[index].reach == Reach::unknown) {
            directories_[index].reach = Reach::asked;
            index = directories_[index].parentIndex;
        }
        const Reach reach =
            index != none && directories_[index].reach == Reach::root ? Reach::root : Reach::nothing;
        for (index = start; index != none && directories_[index].reach == Reach::asked;
             index = directories_[index].parentIndex) {
            directories_[index].reach = reach;
        }
        return directories_[start].reach == Reach::root;
    }

    std::string_view kept(std::string_view text) {
        auto* bytes = static_cast<char*>(texts_.allocate(text.size() + 1, 1));
        text.copy(bytes, text.size());
        return {bytes, text.size()};
    }

    const std::string& root_;
    std::pmr::monotonic_buffer_resource texts_{1 << 16};
    PathTable numbers_;                   // of the directories, by path
    std::vector<Directory> directories_;  // by number
    std::vector<EarlyFile> earlyFiles_;
    FileNode::Pointer rootFile_;
    std::uint32_t rootIndex_ = none;
};

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
    return "(" + subtreeCondition(root) + ")";
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

std::map<std::string, std::string> ScanIndexDatabase::readMeta() {
    std::map<std::string, std::string> meta;
    Statement row(db_, "SELECT key,value FROM meta");
    while (row.step()) {
        meta.insert_or_assign(std::string(row.text(0)), std::string(row.text(1)));
    }
    return meta;
}

// 1. All directories, and the largest files of the whole subtree.
// 2. Their tree.
// 3. For each folder a summary of the files that stayed behind, so that the sizes of the children add up to
// that of the
//    folder, which is the stored one.
// 4. What the metadata tells.
ScanResult ScanIndexDatabase::loadTree(const std::optional<std::string>& folder, std::int64_t limit,
                                       std::stop_token stop) {
    const std::map<std::string, std::string> meta = readMeta();
    if (!meta.contains("root")) {
        fail();
    }
    const std::string root = folder ? standardizedPath(*folder) : meta.at("root");
    const std::string below = subtreePredicate(root);
    const StopWatch watch(db_, stop);
    LoadedTree tree(root);

    {
        Statement row(db_, "SELECT * FROM nodes WHERE " + below +
                               " AND directory=1 UNION ALL SELECT * FROM (SELECT * FROM nodes WHERE " +
                               below + " AND directory=0 ORDER BY size DESC LIMIT " +
                               std::to_string(std::max<std::int64_t>(limit, 0)) + ")");
        while (row.step(stop)) {
            if (stop.stop_requested()) {
                throw CancellationError();
            }
            tree.addRow(row);
        }
    }

    ScanResult result;
    result.rootNode = tree.link();
    if (result.rootNode == nullptr) {
        fail();
    }

    {
        Statement row(db_, "SELECT parent,COUNT(*),SUM(size) FROM nodes WHERE " + below +
                               " AND directory=0 GROUP BY parent");
        while (row.step(stop)) {
            if (stop.stop_requested()) {
                throw CancellationError();
            }
            tree.addSummary(row.text(0), row.integer(1), row.integer(2));
        }
    }
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
    result.totalSize = result.rootNode->size();
    result.rootPath = result.rootNode->url();
    const VolumeCapacity capacity = volumeCapacity(result.rootPath);
    result.volumeCapacity = capacity.total;
    result.volumeAvailable = capacity.available;
    const ScanResult::NodeCounts counts = ScanResult::countNodes(*result.rootNode);
    result.totalFiles = counts.files;
    result.totalDirectories = counts.directories;
    return result;
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
        execute("BEGIN IMMEDIATE; DELETE FROM nodes WHERE " + subtreeCondition(path) + ";");
        updateAncestors(path, root->second);
        execute("COMMIT");
    } catch (...) {
        sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
        throw;
    }
}

void ScanIndexDatabase::merge(const std::string& incomingURL, std::stop_token stop) {
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
        execute("BEGIN IMMEDIATE; DELETE FROM nodes WHERE " + subtreeCondition(incoming) +
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
}

}  // namespace larkfold
