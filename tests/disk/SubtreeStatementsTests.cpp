// The statements that read, remove and replace a subtree find it as a range of the key. The rows are those of
// the condition in words, which compares the beginning of every path: on random indexes, with the names that
// a wrong range would trip over.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "disk/IndexRows.h"
#include "disk/LoadedTree.h"
#include "disk/ScanIndexDatabase.h"
#include "platform/Path.h"
#include "support/Sanitized.h"
#include "support/TemporaryTree.h"

namespace larkfold {
namespace {

using test::rowsOf;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr unsigned indexes = test::isSanitized ? 6 : 24;

struct Row {
    std::string path;
    bool isDirectory = false;
    std::int64_t size = 0;
};

// Files and folders whose names are made of the bytes around "/" and "0", quotes, wildcards, and bytes that
// are no UTF-8; written in any order, some of them twice, some below a folder that has no row, some outside.
class RandomIndex {
public:
    explicit RandomIndex(unsigned seed) : random_(seed) {
        static const std::vector<std::string> roots = {"/", "/r", "/r'", "/\xFF", "/r/a b", "/r%"};
        root = roots[seed % roots.size()];
        std::set<std::string> paths;
        const auto add = [&](const std::string& path, bool isDirectory) {
            if (path.size() < 3'000 && paths.insert(path).second) {
                rows.push_back({.path = path, .isDirectory = isDirectory, .size = size()});
                (isDirectory ? folders : files).push_back(path);
            }
        };
        add(root, true);
        for (const char* name : {"a", "a b", "a.b", "a!", "a0", "a-"}) {
            add(joinedPath(root, name), true);
        }
        for (int i = 0; i < 150; ++i) {
            add(joinedPath(anyOf(folders), name()), pick(3) == 0);
        }
        for (int i = 0; i < 5; ++i) {
            add(joinedPath(anyOf(files), name()), false);                              // a file below a file
            add(joinedPath(joinedPath(root, name() + "gone"), name()), pick(2) == 0);  // no row of its folder
        }
        if (root != "/") {
            for (const char* behind : {" ", "!", "0", "x"}) {
                add(root + behind, true);
                add(joinedPath(root + behind, "f"), false);
            }
        }
        std::shuffle(rows.begin(), rows.end(), random_);
        for (int i = 0; i < 20; ++i) {
            Row again = rows[pick(rows.size())];  // takes the place of the earlier one, with another number
            again.size = size();
            rows.push_back(again);
        }
    }

    void write(const std::string& url) const {
        ScanIndexDatabase index(url, true);
        for (const Row& row : rows) {
            index.insertRow(row.path, parentPath(row.path), lastPathComponent(row.path), row.isDirectory,
                            row.size, row.isDirectory ? 0 : row.size / 2,
                            row.isDirectory ? std::nullopt : std::optional(1.5));
        }
        index.finish(root, true, 0);
    }

    // Every folder, some files, and what is spelled nearly like them.
    std::vector<std::string> places(std::size_t most = std::numeric_limits<std::size_t>::max()) {
        std::vector<std::string> places = folders;
        for (int i = 0; i < 10; ++i) {
            places.push_back(anyOf(files));
            const std::string folder = anyOf(folders);
            for (const char* behind : {" ", "0", "/0", "\xFF"}) {
                places.push_back(folder + behind);
            }
            if (folder.size() > 2) {
                places.push_back(folder.substr(0, folder.size() - 1));
            }
        }
        std::erase_if(places, [](const std::string& path) { return path != standardizedPath(path); });
        std::shuffle(places.begin() + 1, places.end(), random_);  // the root stays the first
        places.resize(std::min(places.size(), most));
        return places;
    }

    std::string root;
    std::vector<Row> rows;
    std::vector<std::string> folders;
    std::vector<std::string> files;

private:
    std::size_t pick(std::size_t count) { return random_() % count; }
    const std::string& anyOf(const std::vector<std::string>& paths) { return paths[pick(paths.size())]; }
    std::string name() {
        static constexpr std::string_view bytes =
            "abA01 '\"!.-+,%_[]*?\\\n\x01\x2E\x30\x7F\x80\xBF\xC0\xC3\xA9\xE9\xF0\xFF";
        if (pick(40) == 0) {
            return std::string(255, bytes[pick(bytes.size())]);
        }
        std::string name;
        for (std::size_t length = 1 + pick(4); name.size() < length;) {
            name += bytes[pick(bytes.size())];
        }
        return name == "." || name == ".." ? "dots" : name;
    }
    // Few different ones, so that a limit falls between files of one size.
    std::int64_t size() {
        static constexpr std::int64_t sizes[] = {0, 1, 1, 4'096, 4'096, 4'096, 1'000'000};
        return sizes[pick(std::size(sizes))];
    }

    std::mt19937 random_;
};

// The paths, in hexadecimal digits, that a condition chooses.
std::vector<std::string> chosen(const std::string& index, const std::string& condition) {
    return rowsOf(index, "SELECT hex(path) FROM nodes WHERE " + condition + " ORDER BY path");
}

std::string rangeOf(const std::string& folder) {
    return "path=" + larkfold::quoted(folder) + " OR (" + subtreeRange(folder) + ")";
}

// How many places there are whose rows this condition does not give.
int differences(unsigned seeds, const std::function<std::string(const std::string& folder)>& condition) {
    int different = 0;
    for (unsigned seed = 0; seed < seeds; ++seed) {
        RandomIndex random(seed);
        test::TemporaryTree tree;
        const std::string index = tree.path("index.sqlite");
        random.write(index);
        for (const std::string& place : random.places()) {
            if (chosen(index, condition(place)) != chosen(index, subtreePredicate(place))) {
                ++different;
            }
        }
    }
    return different;
}

TEST(SubtreeStatements, aRangeGivesTheRowsOfTheWords) {
    EXPECT_EQ(differences(indexes, rangeOf), 0);
}

TEST(SubtreeStatementsControl, otherRangesAndPatternsAreFoundOut) {
    EXPECT_GT(differences(6,
                          [](const std::string& folder) {
                              return "path>=" + larkfold::quoted(folder) + " AND path<" +
                                     larkfold::quoted(folder + "0");
                          }),
              0);
    EXPECT_GT(differences(6,
                          [](const std::string& folder) {
                              const std::string prefix = folder == "/" ? "/" : folder + "/";
                              return "path=" + larkfold::quoted(folder) +
                                     " OR path>=" + larkfold::quoted(prefix) + " AND path<" +
                                     larkfold::quoted(prefix + "\xFF");
                          }),
              0);
    EXPECT_GT(differences(6,
                          [](const std::string& folder) {
                              return "path=" + larkfold::quoted(folder) + " OR path LIKE " +
                                     larkfold::quoted((folder == "/" ? "" : folder) + "/%");
                          }),
              0);
    EXPECT_GT(differences(6,
                          [](const std::string& folder) {
                              return "path=" + larkfold::quoted(folder) + " OR path GLOB " +
                                     larkfold::quoted((folder == "/" ? "" : folder) + "/*");
                          }),
              0);
}

// --- What the operations do with it

// A tree by the two statements in words, one line for each node.
std::vector<std::string> linesOf(const FileNode& root) {
    std::vector<std::string> lines;
    root.forEachNode([&](const FileNode& node) {
        lines.push_back(node.url() + "|" + std::string(node.name()) + "|" +
                        (node.isDirectory() ? "folder" : "") + (node.isAggregate() ? "summary" : "") + "|" +
                        std::to_string(node.size()) + "|" + std::to_string(node.logicalSize()) + "|" +
                        std::to_string(node.representedFileCount()) + (node.modifiedAt() ? "|dated" : ""));
    });
    std::ranges::sort(lines);
    return lines;
}

std::vector<std::string> loadedByTheWords(const std::string& index, const std::string& root,
                                          std::int64_t limit) {
    sqlite3* db = nullptr;
    EXPECT_EQ(sqlite3_open_v2(index.c_str(), &db, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
    const auto stepOver = [&](const std::string& sql, const std::function<void(sqlite3_stmt*)>& take) {
        sqlite3_stmt* row = nullptr;
        EXPECT_EQ(sqlite3_prepare_v2(db, sql.c_str(), -1, &row, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
        while (sqlite3_step(row) == SQLITE_ROW) {
            take(row);
        }
        sqlite3_finalize(row);
    };
    const auto text = [](sqlite3_stmt* row, int column) {
        return std::string_view(reinterpret_cast<const char*>(sqlite3_column_text(row, column)),
                                static_cast<std::size_t>(sqlite3_column_bytes(row, column)));
    };
    const std::string below = subtreePredicate(root);
    LoadedTree tree(root);
    stepOver("SELECT * FROM nodes WHERE " + below +
                 " AND directory=1 UNION ALL SELECT * FROM (SELECT * FROM nodes WHERE " + below +
                 " AND directory=0 ORDER BY size DESC LIMIT " +
                 std::to_string(std::max<std::int64_t>(limit, 0)) + ")",
             [&](sqlite3_stmt* row) {
                 const std::string_view name = text(row, 0) == "/" ? "Startup Disk" : text(row, 2);
                 if (sqlite3_column_int(row, 3) == 1) {
                     tree.addDirectory(text(row, 0), text(row, 1), name, sqlite3_column_int64(row, 4));
                 } else {
                     tree.addFile(text(row, 0), text(row, 1), name, sqlite3_column_int64(row, 4),
                                  sqlite3_column_int64(row, 5),
                                  dateFromSecondsSince1970(sqlite3_column_double(row, 6)));
                 }
             });
    const FileNode::Pointer node = tree.link();
    if (node != nullptr) {
        stepOver(
            "SELECT parent,COUNT(*),SUM(size) FROM nodes WHERE " + below + " AND directory=0 GROUP BY parent",
            [&](sqlite3_stmt* row) {
                tree.addSummary(text(row, 0), sqlite3_column_int64(row, 1), sqlite3_column_int64(row, 2));
            });
        tree.finish();
    }
    sqlite3_close(db);
    return node != nullptr ? linesOf(*node) : std::vector<std::string>{"no tree"};
}

std::vector<std::string> loaded(const std::string& index, const std::string& folder, std::int64_t limit) {
    try {
        return linesOf(*ScanIndexDatabase(index, false).loadTree(folder, limit).rootNode);
    } catch (const ScanIndexDatabase::Failure&) {
        return {"no tree"};
    }
}

TEST(SubtreeStatements, aLoadGivesTheTreeOfTheWords) {
    for (unsigned seed = 0; seed < indexes; ++seed) {
        RandomIndex random(seed);
        test::TemporaryTree tree;
        const std::string index = tree.path("index.sqlite");
        random.write(index);
        for (const std::string& place : random.places(12)) {
            for (const std::int64_t limit : {-1, 1, 7, 50'000}) {
                ASSERT_EQ(loaded(index, place, limit), loadedByTheWords(index, place, limit))
                    << "seed " << seed << ", limit " << limit << ", " << place;
            }
        }
    }
}

// Of equal files those that were written first, whether the whole is read or a part of it.
TEST(SubtreeStatements, ofEqualFilesTheFirstOnesStay) {
    test::TemporaryTree tree;
    const std::string index = tree.path("index.sqlite");
    {
        ScanIndexDatabase made(index, true);
        for (const char* name : {"f", "e", "d", "c", "b", "a"}) {
            made.insertRow(std::string("/r/in/") + name, "/r/in", name, false, 10, 10, std::nullopt);
        }
        made.insertRow("/r/in", "/r", "in", true, 60, 0, std::nullopt);
        made.insertRow("/r", "/", "r", true, 60, 0, std::nullopt);
        made.finish("/r", true, 0);
    }
    for (const char* folder : {"/r", "/r/in"}) {
        std::vector<std::string> kept;
        ScanIndexDatabase(index, false).loadTree(folder, 2).rootNode->forEachNode([&](const FileNode& node) {
            if (!node.isDirectory() && !node.isAggregate()) {
                kept.emplace_back(node.name());
            }
        });
        EXPECT_THAT(kept, ElementsAre("f", "e")) << folder;
    }
}

TEST(SubtreeStatements, aRemovalAndAMergeTakeOutTheRowsOfTheWords) {
    for (unsigned seed = 0; seed < indexes; ++seed) {
        RandomIndex random(seed);
        test::TemporaryTree tree;
        random.write(tree.path("index.sqlite"));
        const std::string index = tree.path("copy.sqlite");
        int number = 0;
        for (const std::string& place : random.places(12)) {
            if (place == random.root || !place.starts_with(joinedPath(random.root, ""))) {
                continue;
            }
            const std::vector<std::string> rest =
                chosen(tree.path("index.sqlite"), "NOT " + subtreePredicate(place));
            std::filesystem::copy_file(tree.path("index.sqlite"), index,
                                       std::filesystem::copy_options::overwrite_existing);
            ScanIndexDatabase(index, false).removeFolder(place);
            ASSERT_EQ(chosen(index, "1"), rest) << "seed " << seed << ", " << place;

            // Nothing stands in its place but itself.
            std::filesystem::copy_file(tree.path("index.sqlite"), index,
                                       std::filesystem::copy_options::overwrite_existing);
            const std::string incoming = tree.path("incoming-" + std::to_string(++number) + ".sqlite");
            {
                ScanIndexDatabase made(incoming, true);
                made.insertRow(place, parentPath(place), lastPathComponent(place), true, 0, 0, std::nullopt);
                made.finish(place, true, 0);
            }
            ScanIndexDatabase(index, false).merge(incoming);
            ASSERT_EQ(chosen(index, "NOT path=" + larkfold::quoted(place)), rest)
                << "seed " << seed << ", " << place;
            ASSERT_EQ(chosen(index, "path=" + larkfold::quoted(place)).size(), 1u)
                << "seed " << seed << ", " << place;
        }
    }
}

// --- How they find it

TEST(SubtreeStatements, aFolderIsFoundByTheKey) {
    test::TemporaryTree tree;
    const std::string index = tree.path("index.sqlite");
    RandomIndex(1).write(index);
    const auto plan = [&](const std::string& condition) {
        const auto rows = rowsOf(index, "EXPLAIN QUERY PLAN SELECT * FROM nodes WHERE " + condition);
        return rows.empty() ? std::string() : rows.front();
    };
    EXPECT_THAT(plan(subtreeRange("/r/a")), HasSubstr("SEARCH"));
    EXPECT_THAT(plan(subtreePredicate("/r/a")), HasSubstr("SCAN"));  // what it would be otherwise
}

}  // namespace
}  // namespace larkfold
