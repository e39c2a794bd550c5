#include "disk/DiskScanner.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "disk/ScanIndexDatabase.h"
#include "platform/Path.h"
#include "support/TemporaryTree.h"
#include "support/UnprivilegedUser.h"

namespace larkfold {
namespace {

using test::TemporaryTree;

DiskScanOptions everything() {
    return {.skipHiddenFiles = false,
            .excludedPathPrefixes = {},
            .skipSymbolicLinks = true,
            .maximumRetainedFiles = {}};
}

DiskScanOptions retaining(std::size_t limit) {
    DiskScanOptions options = everything();
    options.maximumRetainedFiles = limit;
    return options;
}

std::int64_t allocated(const std::string& path) {
    struct stat values{};
    EXPECT_EQ(::lstat(path.c_str(), &values), 0) << path;
    return values.st_blocks * 512;
}

FileNode::Pointer child(const FileNode::Pointer& node, std::string_view name) {
    for (const auto& candidate : node->children()) {
        if (candidate->name() == name) {
            return candidate;
        }
    }
    return nullptr;
}

std::vector<std::string> childNames(const FileNode::Pointer& node) {
    std::vector<std::string> names;
    for (const auto& candidate : node->children()) {
        names.emplace_back(candidate->name());
    }
    std::sort(names.begin(), names.end());
    return names;
}

struct Row {
    std::string parent;
    std::string name;
    int directory = 0;
    std::int64_t size = 0;
    std::int64_t logical = 0;
    bool hasDate = false;
};

std::map<std::string, Row> rowsOf(const std::string& index) {
    std::map<std::string, Row> rows;
    sqlite3* db = nullptr;
    EXPECT_EQ(sqlite3_open_v2(index.c_str(), &db, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
    sqlite3_stmt* select = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(db, "SELECT * FROM nodes", -1, &select, nullptr), SQLITE_OK);
    const auto text = [&](int column) {
        return std::string(reinterpret_cast<const char*>(sqlite3_column_text(select, column)),
                           static_cast<std::size_t>(sqlite3_column_bytes(select, column)));
    };
    while (sqlite3_step(select) == SQLITE_ROW) {
        rows[text(0)] = {text(1),
                         text(2),
                         sqlite3_column_int(select, 3),
                         sqlite3_column_int64(select, 4),
                         sqlite3_column_int64(select, 5),
                         sqlite3_column_type(select, 6) != SQLITE_NULL};
    }
    sqlite3_finalize(select);
    sqlite3_close(db);
    return rows;
}

std::vector<std::string> filesIn(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// The index lies outside of what is scanned.
struct ScannedTree {
    TemporaryTree tree;
    TemporaryTree store;
    std::string index() const { return store.path("Larkfold/latest-scan.sqlite"); }
};

TEST(DiskScanner, totalsAreThoseOfTheDisk) {
    TemporaryTree tree;
    tree.fileOfSize("a/one", 10'000);
    tree.fileOfSize("a/b/two", 100'000);
    tree.fileOfSize("three", 1);
    tree.folder("empty");
    const ScanResult result = DiskScanner().scan(tree.root(), everything(), {});
    const std::int64_t expected =
        allocated(tree.path("a/one")) + allocated(tree.path("a/b/two")) + allocated(tree.path("three"));
    EXPECT_EQ(result.totalSize, expected);
    EXPECT_EQ(result.rootNode->size(), expected);
    EXPECT_EQ(result.totalFiles, 3);
    EXPECT_EQ(result.totalDirectories, 4);
    EXPECT_EQ(result.rootPath, tree.root());
    EXPECT_TRUE(result.errors.empty());
    EXPECT_GT(result.scanDuration, 0);
    EXPECT_TRUE(result.volumeCapacity.has_value());
    const auto a = child(result.rootNode, "a");
    ASSERT_TRUE(a);
    EXPECT_EQ(a->size(), allocated(tree.path("a/one")) + allocated(tree.path("a/b/two")));
    EXPECT_EQ(a->children().front()->name(), "b") << "children stand larger first";
    const auto one = child(a, "one");
    ASSERT_TRUE(one);
    EXPECT_EQ(one->logicalSize(), 10'000);
    EXPECT_EQ(one->url(), tree.path("a/one"));
    EXPECT_TRUE(one->modifiedAt().has_value());
    EXPECT_EQ(one->parent(), a);
    EXPECT_EQ(child(result.rootNode, "empty")->size(), 0);
    EXPECT_TRUE(child(result.rootNode, "empty")->isDirectory());
}

TEST(DiskScanner, theFilesMetFirstStayAndLaterOnesAreFoldedPerFolder) {
    ScannedTree scanned;
    for (const char* name : {"A/1", "A/2", "A/3", "B/1", "B/2", "B/3", "B/4"}) {
        scanned.tree.fileOfSize(name, 5000);
    }
    const ScanResult result = DiskScanner(scanned.index()).scan(scanned.tree.root(), retaining(2), {});
    const auto a = child(result.rootNode, "A");
    const auto b = child(result.rootNode, "B");
    EXPECT_EQ(childNames(a), (std::vector<std::string>{"1", "2", "Other scanned files (1)"}));
    EXPECT_EQ(childNames(b), (std::vector<std::string>{"Other scanned files (4)"}));
    const auto folded = b->children().front();
    EXPECT_TRUE(folded->isAggregate());
    EXPECT_EQ(folded->representedFileCount(), 4);
    EXPECT_EQ(folded->size(), 4 * allocated(scanned.tree.path("B/1")));
    EXPECT_EQ(folded->logicalSize(), folded->size());
    EXPECT_EQ(folded->url(), scanned.tree.path("B"));
    EXPECT_EQ(b->size(), folded->size());
    EXPECT_EQ(result.totalFiles, 7);
    std::size_t files = 0;
    for (const auto& [path, row] : rowsOf(scanned.index())) {
        files += row.directory == 0 ? 1u : 0u;
        EXPECT_EQ(path.find("Other scanned"), std::string::npos);
    }
    EXPECT_EQ(files, 7u);
}

TEST(DiskScanner, aLimitOfNoneFoldsEverything) {
    TemporaryTree tree;
    tree.file("a/1", "x");
    tree.file("2", "x");
    tree.folder("empty");
    const ScanResult result = DiskScanner().scan(tree.root(), retaining(0), {});
    EXPECT_TRUE(result.rootNode->allFileNodes().empty());
    EXPECT_EQ(childNames(result.rootNode),
              (std::vector<std::string>{"Other scanned files (1)", "a", "empty"}));
    EXPECT_TRUE(child(result.rootNode, "empty")->children().empty());
    EXPECT_EQ(result.totalFiles, 2);
}

TEST(DiskScanner, withoutALimitEveryFileStays) {
    TemporaryTree tree;
    for (int i = 0; i < 300; ++i) {
        tree.file("f" + std::to_string(i));
    }
    const ScanResult result = DiskScanner().scan(tree.root(), everything(), {});
    EXPECT_EQ(result.rootNode->allFileNodes().size(), 300u);
}

TEST(DiskScanner, everyItemHasItsRow) {
    ScannedTree scanned;
    scanned.tree.fileOfSize("a/file", 6000);
    scanned.tree.folder("empty");
    DiskScanner scanner(scanned.index());
    const ScanResult result = scanner.scan(scanned.tree.root(), everything(), {});
    const auto rows = rowsOf(scanned.index());
    ASSERT_EQ(rows.size(), 4u);
    const Row file = rows.at(scanned.tree.path("a/file"));
    EXPECT_EQ(file.parent, scanned.tree.path("a"));
    EXPECT_EQ(file.name, "file");
    EXPECT_EQ(file.directory, 0);
    EXPECT_EQ(file.size, allocated(scanned.tree.path("a/file")));
    EXPECT_EQ(file.logical, 6000);
    EXPECT_TRUE(file.hasDate);
    const Row root = rows.at(scanned.tree.root());
    EXPECT_EQ(root.parent, parentPath(scanned.tree.root()));
    EXPECT_EQ(root.name, lastPathComponent(scanned.tree.root()));
    EXPECT_EQ(root.directory, 1);
    EXPECT_EQ(root.size, result.totalSize);
    EXPECT_EQ(root.logical, 0);
    EXPECT_FALSE(root.hasDate);
    EXPECT_EQ(rows.at(scanned.tree.path("empty")).size, 0);
    const auto meta = ScanIndexDatabase(scanned.index(), false).readMeta();
    EXPECT_EQ(meta.at("root"), scanned.tree.root());
    EXPECT_EQ(meta.at("skipHidden"), "0");
    EXPECT_EQ(meta.at("errors"), "0");
    EXPECT_EQ(filesIn(scanned.store.path("Larkfold")), std::vector<std::string>{"latest-scan.sqlite"});
    struct stat values{};
    ASSERT_EQ(::stat(scanned.index().c_str(), &values), 0);
    EXPECT_EQ(values.st_mode & 0777u, 0600u);
}

TEST(DiskScanner, theIndexReadsBackToTheSameTotals) {
    ScannedTree scanned;
    for (int i = 0; i < 40; ++i) {
        scanned.tree.fileOfSize("d" + std::to_string(i % 7) + "/f" + std::to_string(i), i * 1000);
    }
    const ScanResult result = DiskScanner(scanned.index()).scan(scanned.tree.root(), retaining(5), {});
    const ScanResult loaded = ScanIndexDatabase(scanned.index(), false).loadTree({}, 10);
    EXPECT_EQ(loaded.totalSize, result.totalSize);
    EXPECT_EQ(loaded.totalFiles, result.totalFiles);
    EXPECT_EQ(loaded.totalDirectories, result.totalDirectories);
}

TEST(DiskScanner, linksAreLeftOutOrCountAsSmallFiles) {
    TemporaryTree tree;
    tree.fileOfSize("real/file", 50'000);
    tree.link("to-folder", "real");
    tree.link("dangling", "nowhere");
    tree.link("loop", ".");
    DiskScanOptions options = everything();
    ScanResult result = DiskScanner().scan(tree.root(), options, {});
    EXPECT_EQ(childNames(result.rootNode), std::vector<std::string>{"real"});
    EXPECT_EQ(result.totalFiles, 1);
    options.skipSymbolicLinks = false;
    result = DiskScanner().scan(tree.root(), options, {});
    EXPECT_EQ(result.totalFiles, 4);
    const auto link = child(result.rootNode, "to-folder");
    ASSERT_TRUE(link);
    EXPECT_FALSE(link->isDirectory());
    EXPECT_EQ(link->logicalSize(), 4);
    EXPECT_EQ(link->size(), allocated(tree.path("to-folder")));
}

TEST(DiskScanner, anExcludedFolderLeavesNoTrace) {
    ScannedTree scanned;
    scanned.tree.file("out/file");
    scanned.tree.file("outside/file");
    DiskScanOptions options = everything();
    options.excludedPathPrefixes = {scanned.tree.path("out")};
    const ScanResult result = DiskScanner(scanned.index()).scan(scanned.tree.root(), options, {});
    EXPECT_EQ(childNames(result.rootNode), std::vector<std::string>{"outside"});
    EXPECT_TRUE(result.errors.empty());
    EXPECT_FALSE(rowsOf(scanned.index()).contains(scanned.tree.path("out")));
    // The root itself is never tested.
    options.excludedPathPrefixes = {scanned.tree.path("outside/file")};
    EXPECT_EQ(DiskScanner().scan(scanned.tree.path("outside"), options, {}).totalFiles, 0);
}

TEST(DiskScanner, hiddenItemsAreLeftOutAndCounted) {
    TemporaryTree tree;
    tree.file(".hidden/inside");
    tree.file("seen/.hidden");
    tree.file("seen/file");
    DiskScanOptions options = everything();
    options.skipHiddenFiles = true;
    const ScanResult result = DiskScanner().scan(tree.root(), options, {});
    EXPECT_EQ(result.totalFiles, 1);
    EXPECT_EQ(result.totalDirectories, 2);
    EXPECT_EQ(result.hiddenItemsLeftOut, 2);
}

TEST(DiskScanner, aHardLinkCountsUnderEachOfItsPaths) {
    TemporaryTree tree;
    const std::string first = tree.fileOfSize("a/first", 40'000);
    tree.folder("b");
    ASSERT_EQ(::link(first.c_str(), tree.path("b/second").c_str()), 0);
    const ScanResult result = DiskScanner().scan(tree.root(), everything(), {});
    EXPECT_EQ(result.totalSize, 2 * allocated(first));
    EXPECT_EQ(result.totalFiles, 2);
}

TEST(DiskScanner, placesThatCannotBeReadAreReportedAndNothingElseIsMissing) {
    test::asUnprivilegedUser([](const std::string&) {
        TemporaryTree tree;
        TemporaryTree store;
        tree.file("closed/secret", "x");
        tree.file("listed/file", "x");
        tree.file("open/file", "x");
        ASSERT_EQ(::chmod(tree.path("closed").c_str(), 0), 0);
        ASSERT_EQ(::chmod(tree.path("listed").c_str(), 0400), 0);
        const std::string index = store.path("index.sqlite");
        const ScanResult result = DiskScanner(index).scan(tree.root(), everything(), {});
        std::set<std::string> places;
        for (const ScanError& error : result.errors) {
            places.insert(error.path);
            EXPECT_FALSE(error.error->description().empty());
        }
        EXPECT_EQ(places, (std::set<std::string>{tree.path("closed"), tree.path("listed/file")}));
        EXPECT_EQ(childNames(result.rootNode), (std::vector<std::string>{"closed", "listed", "open"}));
        EXPECT_EQ(child(result.rootNode, "closed")->size(), 0);
        EXPECT_EQ(result.totalFiles, 1);
        const auto rows = rowsOf(index);
        EXPECT_TRUE(rows.contains(tree.path("closed")));
        EXPECT_FALSE(rows.contains(tree.path("listed/file")));
        EXPECT_EQ(ScanIndexDatabase(index, false).readMeta().at("errors"), "2");
    });
}

TEST(DiskScanner, aMissingRootIsAnEmptyFolderWithItsReason) {
    TemporaryTree tree;
    const ScanResult result = DiskScanner().scan(tree.path("missing"), everything(), {});
    ASSERT_EQ(result.errors.size(), 1u);
    EXPECT_EQ(result.errors.front().path, tree.path("missing"));
    EXPECT_EQ(result.totalSize, 0);
    EXPECT_EQ(result.totalDirectories, 1);
}

TEST(DiskScanner, twoScansInARowReportTheSame) {
    ScannedTree scanned;
    scanned.tree.file("a/b/c", "xyz");
    scanned.tree.file("d", "xyz");
    DiskScanner scanner(scanned.index());
    const ScanResult first = scanner.scan(scanned.tree.root(), retaining(1), {});
    const ScanResult second = scanner.scan(scanned.tree.root(), retaining(1), {});
    EXPECT_EQ(first.totalSize, second.totalSize);
    EXPECT_EQ(first.totalFiles, second.totalFiles);
    EXPECT_EQ(first.totalDirectories, second.totalDirectories);
    EXPECT_NE(first.id, second.id);
    EXPECT_EQ(childNames(first.rootNode), childNames(second.rootNode));
}

TEST(DiskScanner, withoutAnIndexNoFileIsMade) {
    TemporaryTree tree;
    TemporaryTree store;
    tree.file("a");
    DiskScanner().scan(tree.root(), everything(), {});
    EXPECT_TRUE(filesIn(store.root()).empty());
    EXPECT_EQ(filesIn(tree.root()), std::vector<std::string>{"a"});
}

TEST(DiskScanner, cancellingLeavesNoTemporaryAndTheEarlierIndex) {
    ScannedTree scanned;
    for (int i = 0; i < 100; ++i) {
        scanned.tree.file("d" + std::to_string(i) + "/file", "x");
    }
    DiskScanner(scanned.index()).scan(scanned.tree.path("d0"), everything(), {});
    const auto before = rowsOf(scanned.index()).size();
    std::stop_source stop;
    DiskScanner scanner(scanned.index());
    int reports = 0;
    EXPECT_THROW(scanner.scan(scanned.tree.root(), everything(), stop.get_token(),
                              [&](const ScanProgress&) {
                                  if (++reports == 3) {
                                      EXPECT_EQ(filesIn(scanned.store.path("Larkfold")).size(), 3u)
                                          << "the old index, the new one and its journal";
                                      stop.request_stop();
                                  }
                              }),
                 CancellationError);
    EXPECT_EQ(reports, 3);
    EXPECT_EQ(filesIn(scanned.store.path("Larkfold")), std::vector<std::string>{"latest-scan.sqlite"});
    EXPECT_EQ(rowsOf(scanned.index()).size(), before);
    EXPECT_EQ(ScanIndexDatabase(scanned.index(), false).readMeta().at("root"), scanned.tree.path("d0"));
    // The scanner is as good as new.
    EXPECT_EQ(scanner.scan(scanned.tree.root(), everything(), {}).totalFiles, 100);
}

TEST(DiskScanner, progressComesEveryTenFoldersAndEveryFiveHundredItems) {
    TemporaryTree tree;
    for (int i = 0; i < 25; ++i) {
        tree.folder("d" + std::to_string(i));
    }
    for (int i = 0; i < 1200; ++i) {
        tree.file("f" + std::to_string(i));
    }
    std::vector<ScanProgress> reports;
    DiskScanner().scan(tree.root(), retaining(0), {},
                       [&](const ScanProgress& progress) { reports.push_back(progress); });
    ASSERT_EQ(reports.size(), 5u);
    EXPECT_EQ(reports[0].directoriesScanned, 10);
    EXPECT_EQ(reports[0].filesScanned, 0);
    EXPECT_EQ(reports[1].directoriesScanned, 20);
    EXPECT_EQ(reports[2].filesScanned + reports[2].directoriesScanned, 500);
    EXPECT_EQ(reports[3].filesScanned + reports[3].directoriesScanned, 1000);
    EXPECT_FALSE(reports[3].isComplete);
    EXPECT_TRUE(reports[4].isComplete);
    EXPECT_EQ(reports[4].filesScanned, 1200);
    EXPECT_EQ(reports[4].directoriesScanned, 25) << "the root is not counted";
    EXPECT_EQ(reports[4].currentPath, reports[3].currentPath);
    EXPECT_TRUE(reports[2].currentPath.starts_with(tree.root() + "/f"));
}

TEST(DiskScanner, anIndexThatCannotBeMadeFailsBeforeAnythingIsRead) {
    TemporaryTree tree;
    tree.file("blocker");
    int reports = 0;
    EXPECT_THROW(DiskScanner(tree.path("blocker/index.sqlite"))
                     .scan(tree.root(), everything(), {}, [&](const ScanProgress&) { ++reports; }),
                 SystemError);
    EXPECT_EQ(reports, 0);
}

TEST(DiskScanner, aDamagedIndexAndItsJournalGiveWayToTheNewOne) {
    ScannedTree scanned;
    scanned.tree.file("file", "x");
    scanned.store.file("Larkfold/latest-scan.sqlite", "this is no index, whatever its name says");
    scanned.store.file("Larkfold/latest-scan.sqlite-journal", std::string(2000, 'j'));
    DiskScanner(scanned.index()).scan(scanned.tree.root(), everything(), {});
    EXPECT_EQ(filesIn(scanned.store.path("Larkfold")), std::vector<std::string>{"latest-scan.sqlite"});
    EXPECT_EQ(rowsOf(scanned.index()).size(), 2u);
}

TEST(DiskScanner, aFolderInTheIndexsPlaceFailsTheSwapAndIsKept) {
    ScannedTree scanned;
    scanned.tree.file("file", "x");
    scanned.store.file("Larkfold/latest-scan.sqlite/kept", "x");
    EXPECT_THROW(DiskScanner(scanned.index()).scan(scanned.tree.root(), everything(), {}), SystemError);
    EXPECT_EQ(filesIn(scanned.store.path("Larkfold/latest-scan.sqlite")), std::vector<std::string>{"kept"});
    EXPECT_EQ(filesIn(scanned.store.path("Larkfold")), std::vector<std::string>{"latest-scan.sqlite"});
}

TEST(DiskScanner, namesOfAllBytesReachTreeAndIndexUnchanged) {
    ScannedTree scanned;
    const std::vector<std::string> names = {
        "new\nline", "quo'te", "\"double\"", "\xff\xfe", std::string(255, 'n'), "''; DROP TABLE nodes;--"};
    for (const std::string& name : names) {
        scanned.tree.file(name, "x");
    }
    const ScanResult result = DiskScanner(scanned.index()).scan(scanned.tree.root(), everything(), {});
    std::vector<std::string> expected = names;
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(childNames(result.rootNode), expected);
    const auto rows = rowsOf(scanned.index());
    for (const std::string& name : names) {
        const auto row = rows.find(scanned.tree.root() + "/" + name);
        ASSERT_NE(row, rows.end()) << name;
        EXPECT_EQ(row->second.name, name);
    }
}

TEST(DiskScanner, theRootOfTheFileSystemHasItsOwnName) {
    DiskScanOptions options = everything();
    for (const auto& entry : std::filesystem::directory_iterator("/")) {
        options.excludedPathPrefixes.push_back(entry.path().string());
    }
    TemporaryTree store;
    const std::string index = store.path("index.sqlite");
    const ScanResult result = DiskScanner(index).scan("/", options, {});
    EXPECT_FALSE(result.rootNode->name().empty());
    EXPECT_NE(result.rootNode->name(), "/");
    EXPECT_EQ(result.rootNode->url(), "/");
    const auto rows = rowsOf(index);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows.at("/").name, "/");
    EXPECT_EQ(rows.at("/").parent, "/");
}

}  // namespace
}  // namespace larkfold
