#include "disk/ScanIndexDatabase.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "disk/FileNode.h"
#include "platform/Collation.h"
#include "support/Places.h"
#include "support/Sanitized.h"
#include "support/TemporaryTree.h"

namespace larkfold {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;
using Failure = ScanIndexDatabase::Failure;

// A connection of the test's own, to see what is in a file and to put in what the program never would.
class Raw {
public:
    explicit Raw(const std::string& path) {
        EXPECT_EQ(sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr),
                  SQLITE_OK);
    }
    ~Raw() { sqlite3_close(db_); }
    Raw(const Raw&) = delete;
    Raw& operator=(const Raw&) = delete;

    void run(const std::string& sql) {
        ASSERT_EQ(sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(db_);
    }

    // Each row as its columns' literals: 'text', 12, 1.5, NULL.
    std::vector<std::string> rows(const std::string& sql) {
        std::vector<std::string> found;
        sqlite3_stmt* statement = nullptr;
        EXPECT_EQ(sqlite3_prepare_v2(db_, sql.c_str(), -1, &statement, nullptr), SQLITE_OK)
            << sqlite3_errmsg(db_);
        while (sqlite3_step(statement) == SQLITE_ROW) {
            std::string row;
            for (int column = 0; column < sqlite3_column_count(statement); ++column) {
                const int type = sqlite3_column_type(statement, column);
                const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
                const std::string text =
                    bytes == nullptr
                        ? ""
                        : std::string(bytes,
                                      static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
                row += column == 0 ? "" : "|";
                row += type == SQLITE_NULL ? "NULL" : type == SQLITE_TEXT ? larkfold::quoted(text) : text;
            }
            found.push_back(row);
        }
        sqlite3_finalize(statement);
        return found;
    }
    std::string value(const std::string& sql) {
        const auto found = rows(sql);
        return found.empty() ? "none" : found.front();
    }
    sqlite3* handle() { return db_; }

private:
    sqlite3* db_ = nullptr;
};

struct Row {
    std::string path;
    std::int64_t size = 0;
    bool isDirectory = false;
    std::optional<double> modified = std::nullopt;
};

void insert(ScanIndexDatabase& index, const Row& row) {
    const std::size_t slash = row.path.rfind('/');
    const std::string parent = slash == 0 ? "/" : row.path.substr(0, slash);
    const std::string name = row.path == "/" ? "/" : row.path.substr(slash + 1);
    index.insertRow(row.path, parent, name, row.isDirectory, row.size, row.isDirectory ? 0 : row.size,
                    row.modified);
}

// An index with these rows; directories are written with the sizes given.
void makeIndex(const std::string& url, const std::string& root, const std::vector<Row>& rows,
               std::int64_t errors = 0) {
    ScanIndexDatabase index(url, true);
    for (const Row& row : rows) {
        insert(index, row);
    }
    index.finish(root, true, errors);
}

ScanResult load(const std::string& url, std::int64_t limit = 50'000,
                const std::optional<std::string>& folder = std::nullopt) {
    return ScanIndexDatabase(url, false).loadTree(folder, limit);
}

std::string messageOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const Failure& failure) {
        return failure.message();
    }
    return "no failure";
}

FileNode::Pointer nodeAt(const FileNode::Pointer& root, const std::string& url) {
    FileNode::Pointer found;
    root->forEachNode([&](const FileNode& node) {
        if (!node.isAggregate() && node.url() == url) {
            found = root->findNode(node.id());
        }
    });
    return found;
}

// Every node as "url name kind size count", in the order of the tree.
std::vector<std::string> linesOf(const FileNode& root) {
    std::vector<std::string> lines;
    root.forEachNode([&](const FileNode& node) {
        std::ostringstream line;
        line << node.url() << " [" << node.name() << "] "
             << (node.isDirectory()   ? "directory"
                 : node.isAggregate() ? "summary"
                                      : "file")
             << ' ' << node.size() << ' ' << node.representedFileCount();
        lines.push_back(line.str());
    });
    return lines;
}

// What holds of any tree that a load gives, whatever the file held.
void expectSoundTree(const ScanResult& result) {
    ASSERT_NE(result.rootNode, nullptr);
    EXPECT_EQ(result.rootNode->parent(), nullptr);
    result.rootNode->forEachNode([](const FileNode& node) {
        std::int64_t previous = std::numeric_limits<std::int64_t>::max();
        for (const auto& child : node.children()) {
            ASSERT_EQ(child->parent().get(), &node);
            ASSERT_LE(child->size(), previous) << "sorted by size";
            previous = child->size();
        }
    });
    const auto counts = ScanResult::countNodes(*result.rootNode);
    EXPECT_EQ(result.totalFiles, counts.files);
    EXPECT_EQ(result.totalDirectories, counts.directories);
    EXPECT_EQ(result.totalSize, result.rootNode->size());
}

class ScanIndexDatabaseTest : public testing::Test {
protected:
    test::TemporaryTree tree;
    const std::string url = tree.path("index.sqlite");

    // /r holds a/ (10 files of 1 to 10 bytes), b/ (a file of 100 bytes) and an empty folder.
    void makeSample() {
        std::vector<Row> rows;
        for (int size = 1; size <= 10; ++size) {
            rows.push_back({.path = "/r/a/" + std::to_string(size), .size = size, .modified = size + 0.5});
        }
        rows.push_back({.path = "/r/a", .size = 55, .isDirectory = true});
        rows.push_back({.path = "/r/b/big", .size = 100});
        rows.push_back({.path = "/r/b", .size = 100, .isDirectory = true});
        rows.push_back({.path = "/r/empty", .isDirectory = true});
        rows.push_back({.path = "/r", .size = 155, .isDirectory = true});
        makeIndex(url, "/r", rows);
    }
};

// Creation and rows

TEST_F(ScanIndexDatabaseTest, creationMakesTheFolderAndAFileForTheUserAlone) {
    const std::string deep = tree.path("a/b/index.sqlite");
    const ScanIndexDatabase index(deep, true);
    struct stat status{};
    ASSERT_EQ(stat(deep.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST_F(ScanIndexDatabaseTest, creationInAFolderThatCannotBeMadePassesTheSystemsErrorOn) {
    tree.file("taken", "x");
    EXPECT_THROW(ScanIndexDatabase(tree.path("taken/index.sqlite"), true), SystemError);
}

TEST_F(ScanIndexDatabaseTest, aMissingFileIsNotMadeByOpening) {
    EXPECT_EQ(messageOf([&] { ScanIndexDatabase(url, false); }), "unable to open database file");
    struct stat status{};
    EXPECT_NE(stat(url.c_str(), &status), 0);
}

TEST_F(ScanIndexDatabaseTest, theFailureTellsWhoseItIs) {
    const Failure failure("disk I/O error");
    EXPECT_EQ(failure.description(), "Scan index: disk I/O error");
    EXPECT_STREQ(failure.what(), "Scan index: disk I/O error");
}

// The whole format in text: the schema, its defaults, and each row of both tables.
TEST_F(ScanIndexDatabaseTest, theFinishedFileIsTheGoldenOne) {
    const double before = secondsSince1970(now());
    {
        ScanIndexDatabase index(url, true);
        index.insertRow("/r/it's/plain", "/r/it's", "plain", false, 4096, 12, 1'700'000'000.25);
        index.insertRow("/r/it's/undated", "/r/it's", "undated", false, 0, 0, std::nullopt);
        index.insertRow("/r/it's", "/r", "it's", true, 4096, 0, std::nullopt);
        index.insertRow("/r", "/", "r", true, 4096, 0, std::nullopt);
        index.finish("/r/./it's/../", false, 3);
    }
    const double after = secondsSince1970(now());

    Raw raw(url);
    std::string date = raw.value("SELECT value FROM meta WHERE key='date'");
    ASSERT_GT(date.size(), 2u);
    double seconds = 0;
    const auto parsed = std::from_chars(date.data() + 1, date.data() + date.size() - 1, seconds);
    EXPECT_EQ(parsed.ptr, date.data() + date.size() - 1) << date;
    EXPECT_GE(seconds, before);
    EXPECT_LE(seconds, after);
    EXPECT_EQ(date.find_first_not_of("0123456789.'"), std::string::npos) << "plain decimal: " << date;

    std::string text;
    const auto section = [&](const std::string& sql) {
        for (std::string row : raw.rows(sql)) {
            if (const auto at = row.find(date); at != std::string::npos) {
                row.replace(at, date.size(), "'{date}'");
            }
            text += row + "\n";
        }
        text += "\n";
    };
    section("SELECT type,name,sql FROM sqlite_master ORDER BY rowid");
    section("SELECT * FROM nodes ORDER BY rowid");
    section("SELECT * FROM meta ORDER BY rowid");
    for (const char* pragma : {"journal_mode", "page_size", "encoding", "user_version", "auto_vacuum"}) {
        text += std::string(pragma) + " " + raw.value(std::string("PRAGMA ") + pragma) + "\n";
    }

    std::ifstream golden(test::sourceFile("tests/disk/golden/scan-index.txt"));
    const std::string expected{std::istreambuf_iterator<char>(golden), {}};
    EXPECT_EQ(text, expected);
}

TEST_F(ScanIndexDatabaseTest, namesOfAnyBytesGoThroughTheFileUnchanged) {
    const std::vector<std::string> names{
        "plain",
        "it's",
        "a''b",
        "\"double\"",
        "line\nbreak",
        "\xFF\xFE not text",
        "\xC3",
        "\x80stray",
        "percent%20",
        "semi;colon--",
        std::string(255, 'x'),
        std::string(255, '\xE9'),
        " ",
        "\x01\x7F",
        "\xF0\x9F\x98\x80",
    };
    {
        ScanIndexDatabase index(url, true);
        for (const std::string& name : names) {
            for (const std::string& folder : {std::string("/r"), "/r/in " + name}) {
                // Views into the middle of a longer text: nothing behind them may leak in.
                const std::string longer = folder + "/" + name + "|behind";
                const std::string_view path(longer.data(), longer.size() - 7);
                index.insertRow(path, path.substr(0, folder.size()), path.substr(folder.size() + 1), false, 1,
                                1, std::nullopt);
            }
            insert(index, {.path = "/r/in " + name, .size = 1, .isDirectory = true});
        }
        insert(index, {.path = "/r", .size = 1, .isDirectory = true});
        index.finish("/r", true, 0);
    }
    const ScanResult whole = load(url);
    for (const std::string& name : names) {
        const auto leaf = nodeAt(whole.rootNode, "/r/" + name);
        ASSERT_NE(leaf, nullptr) << name;
        EXPECT_EQ(leaf->name(), name);
        EXPECT_NE(nodeAt(whole.rootNode, "/r/in " + name + "/" + name), nullptr);

        const ScanResult part = load(url, 10, "/r/in " + name);
        EXPECT_EQ(part.rootPath, "/r/in " + name);
        EXPECT_EQ(part.rootNode->name(), "in " + name);
        EXPECT_EQ(part.totalFiles, 1) << name;
    }
    Raw raw(url);
    EXPECT_EQ(raw.value("SELECT COUNT(*) FROM nodes"), std::to_string(names.size() * 3 + 1));
}

TEST_F(ScanIndexDatabaseTest, aRowOfTheSamePathReplacesTheEarlierOne) {
    makeIndex(url, "/r",
              {{.path = "/r/x", .size = 1},
               {.path = "/r/x", .size = 2},
               {.path = "/r", .size = 2, .isDirectory = true}});
    EXPECT_EQ(Raw(url).value("SELECT size FROM nodes WHERE path='/r/x'"), "2");
}

TEST_F(ScanIndexDatabaseTest, numbersKeepTheirWholeRange) {
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    ScanIndexDatabase index(url, true);
    index.insertRow("/r/x", "/r", "x", false, most, most - 1, -62'135'596'800.125);
    index.finish("/r", true, most);
    EXPECT_EQ(Raw(url).value("SELECT size,logical,modified FROM nodes"),
              "9223372036854775807|9223372036854775806|-62135596800.125");
    EXPECT_EQ(index.readMeta().at("errors"), "9223372036854775807");
}

TEST_F(ScanIndexDatabaseTest, rowsAreOnlyTakenDuringAScan) {
    ScanIndexDatabase index(url, true);
    insert(index, {.path = "/r", .isDirectory = true});
    index.finish("/r", true, 0);
    EXPECT_THROW(insert(index, {.path = "/r/x"}), Failure);
    ScanIndexDatabase reopened(url, false);
    EXPECT_THROW(insert(reopened, {.path = "/r/x"}), Failure);
    EXPECT_EQ(Raw(url).value("SELECT COUNT(*) FROM nodes"), "1");
}

TEST_F(ScanIndexDatabaseTest, whatWasNotFinishedIsRolledBack) {
    {
        ScanIndexDatabase index(url, true);
        insert(index, {.path = "/r", .isDirectory = true});
    }
    Raw raw(url);
    EXPECT_EQ(raw.value("SELECT COUNT(*) FROM nodes"), "0");
    EXPECT_EQ(raw.value("SELECT COUNT(*) FROM meta"), "0");
    EXPECT_EQ(messageOf([&] { load(url); }).substr(0, 3), "not") << "no root is told";
}

TEST_F(ScanIndexDatabaseTest, aFullDiskIsAFailureAndNothingIsCommitted) {
    {
        ScanIndexDatabase index(url, true);
        struct rlimit before{};
        getrlimit(RLIMIT_FSIZE, &before);
        const auto handler = std::signal(SIGXFSZ, SIG_IGN);
        struct rlimit limit = before;
        limit.rlim_cur = 64 * 1024;
        setrlimit(RLIMIT_FSIZE, &limit);
        const std::string message = messageOf([&] {
            for (int row = 0; row < 100'000; ++row) {
                insert(index, {.path = "/r/" + std::string(200, 'x') + std::to_string(row)});
            }
            index.finish("/r", true, 0);
        });
        setrlimit(RLIMIT_FSIZE, &before);
        std::signal(SIGXFSZ, handler);
        EXPECT_THAT(message, testing::AnyOf("database or disk is full", "disk I/O error"));
    }
    EXPECT_EQ(Raw(url).value("SELECT COUNT(*) FROM nodes"), "0");
}

// Whether the library keeps memory statistics and a mutex for each connection, as it does unless it is told
// otherwise.
bool isCountingAndLocking(const std::string& url) {
    Raw raw(url);
    raw.run("CREATE TABLE t(x)");
    const bool counts = sqlite3_memory_used() != 0;
    const bool locks = sqlite3_db_mutex(raw.handle()) != nullptr;
    EXPECT_EQ(counts, locks);
    return counts && locks;
}

// The library's setting is of the process, so each of these runs in a process of its own.

TEST_F(ScanIndexDatabaseTest, theLibraryIsSetUpBeforeItsFirstUse) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            ScanIndexDatabase index(url, true);
            insert(index, {.path = "/r", .isDirectory = true});
            std::exit(isCountingAndLocking(tree.path("x")) ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(ScanIndexDatabaseTest, aLibraryThatIsInUseAlreadyIsTakenAsItIs) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            sqlite3_initialize();
            makeSample();
            const bool loads = load(url).totalFiles == 11;
            std::exit(loads && isCountingAndLocking(tree.path("x")) ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

// Texts of statements

TEST(ScanIndexDatabaseSQL, quotesAreDoubled) {
    EXPECT_EQ(quoted(""), "''");
    EXPECT_EQ(quoted("plain"), "'plain'");
    EXPECT_EQ(quoted("it's"), "'it''s'");
    EXPECT_EQ(quoted("''"), "''''''");
}

TEST(ScanIndexDatabaseSQL, theSubtreeIsTheFolderAndWhatItsPrefixBegins) {
    EXPECT_EQ(subtreePredicate("/a'b"), "(path='/a''b' OR substr(path,1,length('/a''b/'))='/a''b/')");
    EXPECT_EQ(subtreePredicate("/"), "(path='/' OR substr(path,1,length('/'))='/')");
}

// Metadata

TEST_F(ScanIndexDatabaseTest, metadataComesBackAsText) {
    makeIndex(url, "/r", {}, 12);
    ScanIndexDatabase index(url, false);
    auto meta = index.readMeta();
    EXPECT_EQ(meta.size(), 4u);
    EXPECT_EQ(meta["root"], "/r");
    EXPECT_EQ(meta["skipHidden"], "1");
    EXPECT_EQ(meta["errors"], "12");
    Raw(url).run("INSERT INTO meta VALUES('nothing',NULL)");
    EXPECT_THAT(index.readMeta(), testing::Contains(Pair("nothing", "")));
}

// Loading

TEST_F(ScanIndexDatabaseTest, theWholeTreeComesBackSortedWithItsTotals) {
    makeSample();
    const double before = secondsSince1970(now());
    const ScanResult result = load(url);
    expectSoundTree(result);
    EXPECT_THAT(linesOf(*result.rootNode),
                ElementsAre("/r [r] directory 155 0", "/r/b [b] directory 100 0", "/r/b/big [big] file 100 1",
                            "/r/a [a] directory 55 0", "/r/a/10 [10] file 10 1", "/r/a/9 [9] file 9 1",
                            "/r/a/8 [8] file 8 1", "/r/a/7 [7] file 7 1", "/r/a/6 [6] file 6 1",
                            "/r/a/5 [5] file 5 1", "/r/a/4 [4] file 4 1", "/r/a/3 [3] file 3 1",
                            "/r/a/2 [2] file 2 1", "/r/a/1 [1] file 1 1", "/r/empty [empty] directory 0 0"));
    EXPECT_EQ(result.rootPath, "/r");
    EXPECT_EQ(result.totalSize, 155);
    EXPECT_EQ(result.totalFiles, 11);
    EXPECT_EQ(result.totalDirectories, 4);
    EXPECT_EQ(result.scanDuration, 0);
    EXPECT_EQ(result.hiddenItemsLeftOut, 0);
    EXPECT_THAT(result.errors, IsEmpty());
    EXPECT_NEAR(secondsSince1970(result.scanDate), before, 60);
    const auto dated = nodeAt(result.rootNode, "/r/a/7");
    EXPECT_EQ(dated->modifiedAt(), dateFromSecondsSince1970(7.5));
    EXPECT_EQ(dated->logicalSize(), 7);
    EXPECT_NE(result.id, load(url).id);
}

TEST_F(ScanIndexDatabaseTest, theLargestFilesOfTheSubtreeStayAndTheRestOfEachFolderIsSummedUp) {
    makeSample();
    const ScanResult result = load(url, 4);
    expectSoundTree(result);
    EXPECT_THAT(linesOf(*result.rootNode),
                ElementsAre("/r [r] directory 155 0", "/r/b [b] directory 100 0", "/r/b/big [big] file 100 1",
                            "/r/a [a] directory 55 0", "/r/a [Other indexed files (7)] summary 28 7",
                            "/r/a/10 [10] file 10 1", "/r/a/9 [9] file 9 1", "/r/a/8 [8] file 8 1",
                            "/r/empty [empty] directory 0 0"));
    EXPECT_EQ(result.totalFiles, 11);
    EXPECT_EQ(result.rootNode->recalculateSize(), 155) << "with the summaries the children add up";
}

TEST_F(ScanIndexDatabaseTest, withoutFilesEachFolderHoldsOneSummary) {
    makeSample();
    for (const std::int64_t limit :
         {std::int64_t{0}, std::int64_t{-1}, std::numeric_limits<std::int64_t>::min()}) {
        const ScanResult result = load(url, limit);
        expectSoundTree(result);
        EXPECT_THAT(
            linesOf(*result.rootNode),
            ElementsAre("/r [r] directory 155 0", "/r/b [b] directory 100 0",
                        "/r/b [Other indexed files (1)] summary 100 1", "/r/a [a] directory 55 0",
                        "/r/a [Other indexed files (10)] summary 55 10", "/r/empty [empty] directory 0 0"));
        EXPECT_EQ(result.totalFiles, 11);
    }
}

TEST_F(ScanIndexDatabaseTest, summariesGroupTheirCount) {
    {
        ScanIndexDatabase index(url, true);
        for (int file = 0; file < 12'345; ++file) {
            insert(index, {.path = "/r/" + std::to_string(file), .size = 2});
        }
        insert(index, {.path = "/r", .size = 24'690, .isDirectory = true});
        index.finish("/r", true, 0);
    }
    const ScanResult result = load(url, 0);
    ASSERT_EQ(result.rootNode->children().size(), 1u);
    EXPECT_EQ(result.rootNode->children()[0]->name(), "Other indexed files (" + groupedCount(12'345) + ")");
}

TEST_F(ScanIndexDatabaseTest, oneFolderComesBackAloneBySpellingsOfItsPath) {
    makeSample();
    for (const char* folder : {"/r/a", "/r/a/", "/r/b/../a"}) {
        const ScanResult result = load(url, 2, folder);
        expectSoundTree(result);
        EXPECT_THAT(linesOf(*result.rootNode),
                    ElementsAre("/r/a [a] directory 55 0", "/r/a [Other indexed files (8)] summary 36 8",
                                "/r/a/10 [10] file 10 1", "/r/a/9 [9] file 9 1"));
        EXPECT_EQ(result.rootPath, "/r/a");
    }
}

TEST_F(ScanIndexDatabaseTest, aFolderIsNotMistakenForOneWhoseNameBeginsAlike) {
    makeIndex(url, "/a",
              {{.path = "/a/bc/x", .size = 1},
               {.path = "/a/bc", .size = 1, .isDirectory = true},
               {.path = "/a/b/y", .size = 2},
               {.path = "/a/b", .size = 2, .isDirectory = true},
               {.path = "/a/b2", .size = 4},
               {.path = "/a", .size = 7, .isDirectory = true}});
    EXPECT_THAT(linesOf(*load(url, 10, "/a/b").rootNode),
                ElementsAre("/a/b [b] directory 2 0", "/a/b/y [y] file 2 1"));
}

TEST_F(ScanIndexDatabaseTest, theSystemsRootIsCalledStartupDiskAndIsNotItsOwnChild) {
    makeIndex(url, "/",
              {{.path = "/x", .size = 1},
               {.path = "/usr/y", .size = 2},
               {.path = "/usr", .size = 2, .isDirectory = true},
               {.path = "/", .size = 3, .isDirectory = true}});
    const ScanResult result = load(url);
    expectSoundTree(result);
    EXPECT_THAT(linesOf(*result.rootNode),
                ElementsAre("/ [Startup Disk] directory 3 0", "/usr [usr] directory 2 0",
                            "/usr/y [y] file 2 1", "/x [x] file 1 1"));
    EXPECT_TRUE(result.volumeCapacity.has_value());
}

TEST_F(ScanIndexDatabaseTest, storedSizesOfFoldersStandWhateverTheLimit) {
    makeIndex(url, "/r", {{.path = "/r/x", .size = 5}, {.path = "/r", .size = 77, .isDirectory = true}});
    EXPECT_EQ(load(url, 0).totalSize, 77);
    EXPECT_EQ(load(url, 10).totalSize, 77);
}

TEST_F(ScanIndexDatabaseTest, aFileWithoutADateIsUndated) {
    makeIndex(url, "/r", {{.path = "/r/x", .size = 1}, {.path = "/r", .size = 1, .isDirectory = true}});
    EXPECT_EQ(load(url).rootNode->children()[0]->modifiedAt(), std::nullopt);
}

TEST_F(ScanIndexDatabaseTest, aFolderThatIsNotInTheIndexFails) {
    makeSample();
    EXPECT_THROW(load(url, 10, "/r/nothing"), Failure);
    EXPECT_THROW(load(url, 10, "/"), Failure);
}

TEST_F(ScanIndexDatabaseTest, aFileMayBeTheRootOfALoad) {
    makeSample();
    const ScanResult result = load(url, 10, "/r/b/big");
    EXPECT_THAT(linesOf(*result.rootNode), ElementsAre("/r/b/big [big] file 100 1"));
    EXPECT_EQ(result.totalFiles, 1);
    EXPECT_EQ(result.totalDirectories, 0);
    EXPECT_THROW(load(url, 0, "/r/b/big"), Failure);
}

TEST_F(ScanIndexDatabaseTest, storedErrorsComeBackAsOneThatTellsTheirNumber) {
    makeIndex(url, "/r", {{.path = "/r", .isDirectory = true}}, 3);
    const ScanResult result = load(url);
    ASSERT_EQ(result.errors.size(), 1u);
    EXPECT_EQ(result.errors[0].path, "/r");
    EXPECT_EQ(result.errors[0].error->description(),
              "Scan index: Saved scan has 3 inaccessible entries. Rescan to review current errors.");
}

TEST_F(ScanIndexDatabaseTest, anErrorCountThatIsNoneOrNoNumberGivesNoErrors) {
    makeIndex(url, "/r", {{.path = "/r", .isDirectory = true}});
    for (const char* errors : {"0", "x", "", "-1", "1x", "1.5", " 1", "99999999999999999999"}) {
        Raw(url).run("UPDATE meta SET value=" + quoted(errors) + " WHERE key='errors'");
        EXPECT_THAT(load(url).errors, IsEmpty()) << errors;
    }
    Raw(url).run("UPDATE meta SET value='+2' WHERE key='errors'");
    EXPECT_EQ(load(url).errors.size(), 1u);
    Raw(url).run("DELETE FROM meta WHERE key='errors'");
    EXPECT_THAT(load(url).errors, IsEmpty());
}

TEST_F(ScanIndexDatabaseTest, aDateThatDoesNotReadIsTheBeginningOfTime) {
    makeIndex(url, "/r", {{.path = "/r", .isDirectory = true}});
    Raw(url).run("UPDATE meta SET value='1700000000.125' WHERE key='date'");
    EXPECT_EQ(load(url).scanDate, dateFromSecondsSince1970(1'700'000'000.125));
    for (const char* date : {"x", "", "1x", "nan", "inf", "1e999"}) {
        Raw(url).run("UPDATE meta SET value=" + quoted(date) + " WHERE key='date'");
        EXPECT_EQ(load(url).scanDate, dateFromSecondsSince1970(0)) << date;
    }
    Raw(url).run("DELETE FROM meta WHERE key='date'");
    EXPECT_EQ(load(url).scanDate, dateFromSecondsSince1970(0));
}

TEST_F(ScanIndexDatabaseTest, aStoppedLoadIsACancellationAndNoFailure) {
    makeSample();
    std::stop_source source;
    source.request_stop();
    ScanIndexDatabase index(url, false);
    EXPECT_THROW(index.loadTree(std::nullopt, 10, source.get_token()), CancellationError);
    EXPECT_EQ(index.loadTree(std::nullopt, 10).totalFiles, 11) << "the next load is not stopped";
}

TEST_F(ScanIndexDatabaseTest, aStopInterruptsAStatementThatHasGivenNoRowYet) {
    // No row matches, so only the look within the statement can see the stop.
    {
        ScanIndexDatabase index(url, true);
        for (int file = 0; file < 20'000; ++file) {
            insert(index, {.path = "/other/" + std::to_string(file)});
        }
        index.finish("/r", true, 0);
    }
    std::stop_source source;
    source.request_stop();
    EXPECT_THROW(ScanIndexDatabase(url, false).loadTree(std::nullopt, 10, source.get_token()),
                 CancellationError);
}

TEST_F(ScanIndexDatabaseTest, fourThousandLevelsGoInAndComeBack) {
    constexpr std::size_t levels = 4'000;
    {
        ScanIndexDatabase index(url, true);
        std::string path = "/r";
        insert(index, {.path = path, .size = 1, .isDirectory = true});
        for (std::size_t level = 0; level < levels; ++level) {
            path += "/d";
            insert(index, {.path = path, .size = 1, .isDirectory = true});
        }
        insert(index, {.path = path + "/f", .size = 1});
        index.finish("/r", true, 0);
    }
    const ScanResult result = load(url);
    EXPECT_EQ(result.totalDirectories, std::int64_t{levels} + 1);
    EXPECT_EQ(result.rootNode->allFileNodes().at(0)->url().size(), 2 + 2 * levels + 2);
}

// Removal of a folder

TEST_F(ScanIndexDatabaseTest, aRemovedFolderLeavesWithItsSubtreeAndItsAncestorsShrink) {
    makeIndex(url, "/r",
              {{.path = "/r/a/it's/x/f", .size = 5},
               {.path = "/r/a/it's/x", .size = 5, .isDirectory = true},
               {.path = "/r/a/it's", .size = 5, .isDirectory = true},
               {.path = "/r/a/it's2/g", .size = 7},
               {.path = "/r/a/it's2", .size = 7, .isDirectory = true},
               {.path = "/r/a", .size = 12, .isDirectory = true},
               {.path = "/r/h", .size = 100},
               {.path = "/r", .size = 112, .isDirectory = true}});
    const std::string date = Raw(url).value("SELECT value FROM meta WHERE key='date'");
    ScanIndexDatabase(url, false).removeFolder("/r/a/it's/");
    EXPECT_THAT(
        Raw(url).rows("SELECT path,size FROM nodes"),
        UnorderedElementsAre("'/r/a/it''s2/g'|7", "'/r/a/it''s2'|7", "'/r/a'|7", "'/r/h'|100", "'/r'|107"));
    EXPECT_EQ(Raw(url).value("SELECT value FROM meta WHERE key='date'"), date);
}

TEST_F(ScanIndexDatabaseTest, removalBelowTheSystemsRootDoesNotCountTheRootInItself) {
    makeIndex(url, "/",
              {{.path = "/a", .size = 5, .isDirectory = true},
               {.path = "/a/x", .size = 5},
               {.path = "/y", .size = 3},
               {.path = "/", .size = 8, .isDirectory = true}});
    ScanIndexDatabase(url, false).removeFolder("/a");
    EXPECT_THAT(Raw(url).rows("SELECT path,size FROM nodes"), UnorderedElementsAre("'/y'|3", "'/'|3"));
}

TEST_F(ScanIndexDatabaseTest, theLastChildGoneLeavesNothing) {
    makeIndex(
        url, "/r",
        {{.path = "/r/a", .size = 5, .isDirectory = true}, {.path = "/r", .size = 5, .isDirectory = true}});
    ScanIndexDatabase(url, false).removeFolder("/r/a");
    EXPECT_THAT(Raw(url).rows("SELECT path,size FROM nodes"), ElementsAre("'/r'|0"));
}

TEST_F(ScanIndexDatabaseTest, theRootAndWhatLiesOutsideAreNeverRemoved) {
    makeSample();
    const auto before = Raw(url).rows("SELECT * FROM nodes");
    for (const char* path : {"/r", "/r/", "/r/a/..", "/", "/rest", "/elsewhere"}) {
        EXPECT_THROW(ScanIndexDatabase(url, false).removeFolder(path), Failure) << path;
    }
    EXPECT_EQ(Raw(url).rows("SELECT * FROM nodes"), before);

    const std::string whole = tree.path("whole.sqlite");
    makeIndex(whole, "/", {{.path = "/a", .size = 5}, {.path = "/", .size = 5, .isDirectory = true}});
    EXPECT_THROW(ScanIndexDatabase(whole, false).removeFolder("/"), Failure);
    EXPECT_EQ(Raw(whole).value("SELECT COUNT(*) FROM nodes"), "2");

    Raw(url).run("DELETE FROM meta WHERE key='root'");
    EXPECT_THROW(ScanIndexDatabase(url, false).removeFolder("/r/a"), Failure);
    EXPECT_EQ(Raw(url).rows("SELECT * FROM nodes"), before);
}

TEST_F(ScanIndexDatabaseTest, aRemovalThatFailsHalfWayChangesNothing) {
    makeSample();
    Raw(url).run("CREATE TRIGGER refuse BEFORE UPDATE ON nodes BEGIN SELECT RAISE(ABORT,'refused'); END");
    const auto before = Raw(url).rows("SELECT * FROM nodes");
    ScanIndexDatabase index(url, false);
    EXPECT_EQ(messageOf([&] { index.removeFolder("/r/a"); }), "refused");
    EXPECT_EQ(Raw(url).rows("SELECT * FROM nodes"), before);
    Raw(url).run("DROP TRIGGER refuse");
    index.removeFolder("/r/a");
    EXPECT_EQ(load(url).totalSize, 100) << "the connection is free for the next change";
}

TEST_F(ScanIndexDatabaseTest, aChangeWhileAnotherProgramWritesFailsBeforeItBegins) {
    makeSample();
    Raw other(url);
    other.run("BEGIN IMMEDIATE");
    EXPECT_EQ(messageOf([&] { ScanIndexDatabase(url, false).removeFolder("/r/a"); }), "database is locked");
    other.run("ROLLBACK");
    EXPECT_EQ(load(url).totalSize, 155);
}

// Merging

class ScanIndexDatabaseMerge : public ScanIndexDatabaseTest {
protected:
    const std::string incoming = tree.path("it's incoming.sqlite");

    void makeSaved() {
        makeIndex(url, "/r",
                  {{.path = "/r/a/x", .size = 10},
                   {.path = "/r/a/gone/y", .size = 20},
                   {.path = "/r/a/gone", .size = 20, .isDirectory = true},
                   {.path = "/r/a", .size = 30, .isDirectory = true},
                   {.path = "/r/a2/z", .size = 7},
                   {.path = "/r/a2", .size = 7, .isDirectory = true},
                   {.path = "/r", .size = 37, .isDirectory = true}},
                  2);
    }
};

TEST_F(ScanIndexDatabaseMerge, aFolderIsReplacedAndItsAncestorsGrowWithIt) {
    makeIndex(url, "/r",
              {{.path = "/r/b/a/x", .size = 10},
               {.path = "/r/b/a", .size = 10, .isDirectory = true},
               {.path = "/r/b/a2", .size = 3},
               {.path = "/r/b", .size = 13, .isDirectory = true},
               {.path = "/r", .size = 13, .isDirectory = true}},
              2);
    makeIndex(incoming, "/r/b/a",
              {{.path = "/r/b/a/new's", .size = 15}, {.path = "/r/b/a", .size = 15, .isDirectory = true}}, 1);
    Raw(url).run("UPDATE meta SET value='0' WHERE key IN ('skipHidden','date')");
    ScanIndexDatabase(url, false).merge(incoming);
    EXPECT_THAT(
        Raw(url).rows("SELECT path,size FROM nodes"),
        UnorderedElementsAre("'/r/b/a/new''s'|15", "'/r/b/a'|15", "'/r/b/a2'|3", "'/r/b'|18", "'/r'|18"));
    auto meta = ScanIndexDatabase(url, false).readMeta();
    EXPECT_EQ(meta["root"], "/r");
    EXPECT_EQ(meta["skipHidden"], "0") << "stays as it was";
    EXPECT_EQ(meta["errors"], "3") << "both together";
    EXPECT_GT(std::stod(meta["date"]), 1'000'000'000.0) << "the time of the merge";
}

TEST_F(ScanIndexDatabaseMerge, onlyTheFolderItselfIsReplaced) {
    makeSaved();
    makeIndex(incoming, "/r/a", {{.path = "/r/a", .size = 0, .isDirectory = true}});
    ScanIndexDatabase(url, false).merge(incoming);
    EXPECT_THAT(Raw(url).rows("SELECT path,size FROM nodes"),
                UnorderedElementsAre("'/r/a'|0", "'/r/a2/z'|7", "'/r/a2'|7", "'/r'|7"));
}

TEST_F(ScanIndexDatabaseMerge, anIndexOfTheSameRootReplacesEverything) {
    makeSaved();
    makeIndex(incoming, "/r",
              {{.path = "/r/new", .size = 1}, {.path = "/r", .size = 50, .isDirectory = true}}, 1);
    ScanIndexDatabase index(url, false);
    index.merge(incoming);
    EXPECT_THAT(Raw(url).rows("SELECT path,size FROM nodes"), UnorderedElementsAre("'/r/new'|1", "'/r'|50"));
    EXPECT_EQ(index.readMeta()["errors"], "1") << "those of the new scan alone";
}

TEST_F(ScanIndexDatabaseMerge, theSystemsRootReplacesItself) {
    makeIndex(url, "/", {{.path = "/old", .size = 1}, {.path = "/", .size = 1, .isDirectory = true}});
    makeIndex(incoming, "/", {{.path = "/new", .size = 2}, {.path = "/", .size = 2, .isDirectory = true}});
    ScanIndexDatabase(url, false).merge(incoming);
    EXPECT_THAT(Raw(url).rows("SELECT path,size FROM nodes"), UnorderedElementsAre("'/new'|2", "'/'|2"));
}

TEST_F(ScanIndexDatabaseMerge, belowTheSystemsRootEachAncestorIsSummed) {
    makeIndex(url, "/",
              {{.path = "/u/a/x", .size = 1},
               {.path = "/u/a", .size = 1, .isDirectory = true},
               {.path = "/u", .size = 1, .isDirectory = true},
               {.path = "/", .size = 1, .isDirectory = true}});
    makeIndex(incoming, "/u/a",
              {{.path = "/u/a/x", .size = 6}, {.path = "/u/a", .size = 6, .isDirectory = true}});
    ScanIndexDatabase(url, false).merge(incoming);
    EXPECT_THAT(Raw(url).rows("SELECT path,size FROM nodes"),
                UnorderedElementsAre("'/u/a/x'|6", "'/u/a'|6", "'/u'|6", "'/'|6"));
}

TEST_F(ScanIndexDatabaseMerge, aFolderOutsideOfTheSavedRootFailsBeforeAnythingIsAttached) {
    makeSaved();
    const auto before = Raw(url).rows("SELECT * FROM nodes");
    for (const char* root : {"/", "/other", "/rest"}) {
        const std::string other = tree.path("other.sqlite");
        makeIndex(other, root, {{.path = root, .size = 1, .isDirectory = true}});
        ScanIndexDatabase index(url, false);
        EXPECT_THROW(index.merge(other), Failure) << root;
        std::remove(other.c_str());
        // Had the first been attached, this would name it.
        makeIndex(incoming, "/r/a2", {{.path = "/r/a2", .size = 7, .isDirectory = true}});
        EXPECT_THROW(index.merge(tree.path("missing.sqlite")), Failure);
    }
    EXPECT_EQ(Raw(url).rows("SELECT * FROM nodes"), before);
}

TEST_F(ScanIndexDatabaseMerge, anUnfinishedIndexIsNotMerged) {
    makeSaved();
    const auto before = Raw(url).rows("SELECT * FROM nodes");
    {
        ScanIndexDatabase unfinished(incoming, true);
    }
    EXPECT_THROW(ScanIndexDatabase(url, false).merge(incoming), Failure);
    EXPECT_EQ(Raw(url).rows("SELECT * FROM nodes"), before);
}

TEST_F(ScanIndexDatabaseMerge, aFailureHalfWayChangesNothingAndLetsTheConnectionGoOn) {
    makeSaved();
    // A row that the saved index holds outside of the folder: the insertion fails after the deletion.
    makeIndex(incoming, "/r/a", {{.path = "/r/a", .isDirectory = true}, {.path = "/r/a2/z", .size = 1}});
    const auto before = Raw(url).rows("SELECT * FROM nodes");
    const auto metaBefore = Raw(url).rows("SELECT * FROM meta");
    ScanIndexDatabase index(url, false);
    EXPECT_THAT(messageOf([&] { index.merge(incoming); }), HasSubstr("UNIQUE constraint failed"));
    EXPECT_EQ(Raw(url).rows("SELECT * FROM nodes"), before);
    EXPECT_EQ(Raw(url).rows("SELECT * FROM meta"), metaBefore);
    Raw(incoming).run("DELETE FROM nodes WHERE path='/r/a2/z'");
    index.merge(incoming);
    EXPECT_EQ(load(url).totalSize, 7) << "rolled back and detached, so the next merge goes through";
}

TEST_F(ScanIndexDatabaseMerge, errorCountsThatDoNotReadCountAsNone) {
    makeSaved();
    makeIndex(incoming, "/r/a", {{.path = "/r/a", .isDirectory = true}}, 4);
    Raw(url).run("UPDATE meta SET value='x' WHERE key='errors'");
    ScanIndexDatabase(url, false).merge(incoming);
    EXPECT_EQ(ScanIndexDatabase(url, false).readMeta()["errors"], "4");
    ScanIndexDatabase(url, false).merge(incoming);
    EXPECT_EQ(ScanIndexDatabase(url, false).readMeta()["errors"], "8")
        << "a folder refreshed twice counts twice";
}

// Damage

TEST_F(ScanIndexDatabaseTest, aFileThatIsNoDatabaseFails) {
    tree.file("index.sqlite",
              "This is a text and no database, and it is long enough to have a header of its own to "
              "look at, which says nothing of the kind.");
    EXPECT_EQ(messageOf([&] { load(url); }), "file is not a database");
    EXPECT_EQ(messageOf([&] { ScanIndexDatabase(url, false).removeFolder("/r/a"); }),
              "file is not a database");
    EXPECT_EQ(messageOf([&] { ScanIndexDatabase(url, true); }), "file is not a database");
}

TEST_F(ScanIndexDatabaseTest, anEmptyFileAndADatabaseOfAnotherProgramFail) {
    tree.file("index.sqlite", "");
    EXPECT_EQ(messageOf([&] { load(url); }), "no such table: meta");
    Raw(url).run("CREATE TABLE meta(something); CREATE TABLE nodes(else_)");
    EXPECT_EQ(messageOf([&] { load(url); }), "no such column: key");
    Raw(url).run(
        "DROP TABLE meta; CREATE TABLE meta(key TEXT,value TEXT); INSERT INTO meta VALUES('root','/r')");
    EXPECT_EQ(messageOf([&] { load(url); }), "no such column: path");
}

TEST_F(ScanIndexDatabaseTest, rowsThatContradictThemselvesDoNoHarm) {
    makeIndex(url, "/r", {{.path = "/r/ok", .size = 1}, {.path = "/r", .size = 1, .isDirectory = true}});
    Raw raw(url);
    // Circles of one, two and three; a folder whose parent is missing, with a file; a parent that is a file;
    // the root below its own child; rows without a parent or a name; wrong types; values at the ends of the
    // range.
    raw.run("UPDATE nodes SET parent='/r/child' WHERE path='/r'");
    raw.run(
        "INSERT INTO nodes VALUES('/r/child','/r','child',1,0,0,NULL),"
        "('/r/self','/r/self','self',1,9,0,NULL),('/r/self/f','/r/self','f',0,9,9,1),"
        "('/r/p','/r/q','p',1,1,0,NULL),('/r/q','/r/p','q',1,1,0,NULL),"
        "('/r/1','/r/3','1',1,1,0,NULL),('/r/2','/r/1','2',1,1,0,NULL),('/r/3','/r/2','3',1,1,0,NULL),"
        "('/r/1/tail','/r/1','tail',1,1,0,NULL),('/r/1/tail/f','/r/1/tail','f',0,1,1,1),"
        "('/r/lost/d','/r/lost','d',1,1,0,NULL),('/r/lost/d/f','/r/lost/d','f',0,1,1,1),"
        "('/r/ok/below','/r/ok','below',0,1,1,1),"
        "('/r/noparent',NULL,'noparent',0,1,1,1),('/r/noname','/r',NULL,0,2,1,1),"
        "('/r/other','/r','another name',0,3,1,1),('/r/deep/er','/r','er',1,4,0,NULL),"
        "('/r/types',x'2F72',x'7479706573','0','many',1.5,'when'),"
        "('/r/neg','/r','neg',0,-9223372036854775808,-1,-1e308)");
    const ScanResult result = load(url);
    expectSoundTree(result);
    EXPECT_THAT(linesOf(*result.rootNode),
                ElementsAre("/r [r] directory 1 0", "/r/deep/er [er] directory 4 0",
                            "/r/other [another name] file 3 1", "/r/noname [] file 2 1",
                            "/r/ok [ok] file 1 1", "/r/types [types] file 0 1",
                            "/r/child [child] directory 0 0", "/r/neg [neg] file -9223372036854775808 1"));
    raw.run(
        "INSERT INTO nodes VALUES('/r/most','/r','most',0,9223372036854775807,1,1),"
        "('/r/most2','/r','most2',0,9223372036854775807,1,1)");
    EXPECT_EQ(messageOf([&] { load(url); }), "integer overflow");
}

// A sample as small as the library allows, so that every bit of it can be tried: pages of 512 bytes.
std::string smallSample(const std::string& url) {
    makeIndex(url, "/r",
              {{.path = "/r/a/f", .size = 4096, .modified = 1.5},
               {.path = "/r/a/g", .size = 300},
               {.path = "/r/a", .size = 4396, .isDirectory = true},
               {.path = "/r/h", .size = 7},
               {.path = "/r", .size = 4403, .isDirectory = true}},
              1);
    Raw(url).run("PRAGMA page_size=512; VACUUM");
    std::ifstream file(url, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void write(const std::string& url, const std::string& bytes) {
    std::ofstream(url, std::ios::binary | std::ios::trunc)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

TEST_F(ScanIndexDatabaseTest, everySingleBitFlipEndsInAFailureOrASoundTree) {
    const std::string sample = smallSample(url);
    ASSERT_LT(sample.size(), 8'192u);
    const auto intact = linesOf(*load(url, 2).rootNode);
    std::size_t failed = 0;
    std::size_t changed = 0;
    std::fstream file(url, std::ios::binary | std::ios::in | std::ios::out);
    const auto put = [&](std::size_t at, char byte) {
        file.seekp(static_cast<std::streamoff>(at));
        file.put(byte);
        file.flush();
    };
    for (std::size_t at = 0; at < sample.size(); ++at) {
        for (std::size_t bit = 0; bit < 8; ++bit) {
            if (test::isSanitized && bit != at % 8) {
                continue;
            }
            put(at, static_cast<char>(sample[at] ^ (1 << bit)));
            try {
                const ScanResult result = load(url, 2);
                expectSoundTree(result);
                if (linesOf(*result.rootNode) != intact) {
                    ++changed;
                }
            } catch (const Failure& failure) {
                EXPECT_FALSE(failure.message().empty());
                ++failed;
            }
            ASSERT_FALSE(HasFailure()) << "byte " << at << " bit " << bit;
        }
        put(at, sample[at]);
    }
    EXPECT_EQ(linesOf(*load(url, 2).rootNode), intact) << "the sample is whole again";
    // Both ways out were taken, or the flips have not reached the file.
    EXPECT_GT(failed, test::isSanitized ? 12u : 100u);
    EXPECT_GT(changed, test::isSanitized ? 12u : 100u);
}

TEST_F(ScanIndexDatabaseTest, changesToADamagedIndexEndInAFailureOrADatabase) {
    const std::string sample = smallSample(url);
    const std::string incoming = tree.path("incoming.sqlite");
    makeIndex(incoming, "/r/a",
              {{.path = "/r/a/new", .size = 1}, {.path = "/r/a", .size = 1, .isDirectory = true}});
    std::size_t failed = 0;
    std::size_t done = 0;
    for (std::size_t bit = 0; bit < sample.size() * 8; bit += 211) {
        std::string damaged = sample;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << (bit % 8)));
        for (const bool merges : {false, true}) {
            write(url, damaged);
            std::remove((url + "-journal").c_str());
            try {
                ScanIndexDatabase index(url, false);
                if (merges) {
                    index.merge(incoming);
                } else {
                    index.removeFolder("/r/a");
                }
                ++done;
            } catch (const Failure&) {
                ++failed;
            }
        }
    }
    EXPECT_GT(failed, 5u);
    EXPECT_GT(done, 5u);
}

TEST_F(ScanIndexDatabaseTest, aFileCutOffAnywhereFailsOrGivesASoundTree) {
    const std::string sample = smallSample(url);
    std::size_t failed = 0;
    for (std::size_t length = 0; length < sample.size(); length += 31) {
        write(url, sample.substr(0, length));
        try {
            expectSoundTree(load(url, 2));
        } catch (const Failure&) {
            ++failed;
        }
    }
    EXPECT_GT(failed, 10u);
}

// What a crash in the middle of a change leaves: the file half changed, and the journal beside it.
TEST_F(ScanIndexDatabaseTest, theJournalOfACrashedChangeBringsTheLastCommitBack) {
    {
        ScanIndexDatabase index(url, true);
        for (int file = 0; file < 2'000; ++file) {
            insert(index, {.path = "/r/a/" + std::to_string(file), .size = 1});
        }
        insert(index, {.path = "/r/a", .size = 2'000, .isDirectory = true});
        insert(index, {.path = "/r", .size = 2'000, .isDirectory = true});
        index.finish("/r", true, 0);
    }
    const auto bytesOf = [](const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return std::string{std::istreambuf_iterator<char>(file), {}};
    };
    const std::string crashed = tree.path("crashed.sqlite");
    const std::string before = bytesOf(url);
    {
        Raw raw(url);
        raw.run("PRAGMA cache_size=2; BEGIN IMMEDIATE; DELETE FROM nodes WHERE path!='/r'");
        write(crashed, bytesOf(url));
        write(crashed + "-journal", bytesOf(url + "-journal"));
    }
    ASSERT_NE(bytesOf(crashed), before) << "the change had reached the file";
    EXPECT_EQ(load(crashed, 0).totalFiles, 2'000);
    EXPECT_EQ(Raw(crashed).value("PRAGMA integrity_check"), "'ok'");
}

}  // namespace
}  // namespace larkfold
