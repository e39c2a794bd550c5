// Names of any bytes, from the disk to the tree, to the index, and back from it.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <memory>
#include <random>
#include <set>
#include <string>

#include "disk/DiskScanner.h"
#include "disk/FileNode.h"
#include "disk/ScanIndexDatabase.h"
#include "faults/IndexOracle.h"
#include "platform/Path.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {
namespace {

using testing::IsEmpty;

std::set<std::string> hostileNames() {
    std::set<std::string> names = {"'",
                                   "''",
                                   "\"",
                                   "`",
                                   "\\",
                                   "%",
                                   "%00",
                                   "%2F",
                                   "%s%n",
                                   "*",
                                   "?",
                                   "[a]",
                                   "$(reboot)",
                                   ";",
                                   "&",
                                   "|",
                                   "~",
                                   "-rf",
                                   "--",
                                   " ",
                                   "  trailing ",
                                   "\n",
                                   "\nline\nbreak\n",
                                   "\r\n",
                                   "\t",
                                   "\x1b[31m",
                                   "\x7f",
                                   "...",
                                   "..a",
                                   ".hidden",
                                   "a.",
                                   "O'Brien",
                                   "x','y',1); DROP TABLE nodes; --",
                                   "_",
                                   "%_",
                                   "\xc3\xa9",      // é in one
                                   "e\xcc\x81",     // é in two
                                   "\xef\xbf\xbd",  // the replacement character itself
                                   "\xff",
                                   "\xfe\xff",
                                   "\xc3",
                                   "\xc3\x28",
                                   "\xe2\x82",
                                   "\xf0\x9f\x92",
                                   "\xed\xa0\x80",  // no UTF-8
                                   "\xf0\x9f\x92\xbe",
                                   "\xe2\x80\xae"
                                   "fdp.exe",
                                   "\xe2\x80\x8b",
                                   "\xd7\x90\xd7\x91",
                                   std::string(255, 'x'),
                                   std::string(255, '\xff'),
                                   std::string(255, '\'')};
    for (int byte = 1; byte < 256; ++byte) {
        if (byte != '/') {
            names.insert("b" + std::string(1, static_cast<char>(byte)));
        }
    }
    std::mt19937 random(20'240'117);
    std::uniform_int_distribution<int> anyByte(1, 255);
    std::uniform_int_distribution<int> anyLength(1, 255);
    for (int i = 0; i < 1'000; ++i) {
        std::string name;
        for (int left = anyLength(random); left > 0; --left) {
            const char byte = static_cast<char>(anyByte(random));
            name += byte == '/' ? ':' : byte;
        }
        if (name != "." && name != "..") {
            names.insert(name);
        }
    }
    return names;
}

std::set<std::string> pathsOf(const ScanResult& result) {
    std::set<std::string> paths;
    result.rootNode->forEachNode([&](const FileNode& node) { paths.insert(node.url()); });
    return paths;
}

TEST(Names, ofAnyBytes_areExactInTreeAndIndex) {
    const QuickFolder quick;
    TemporaryTree tree;
    const std::string root = tree.folder("root");
    const std::set<std::string> names = hostileNames();
    ASSERT_GT(names.size(), 1'200U);
    std::set<std::string> expected = {root};
    for (const std::string& name : names) {
        // As a file, and as a folder with a file of the same name in it.
        tree.file("root/files/" + name, "x");
        tree.file("root/folders/" + name + "/" + name, "x");
        expected.insert(root + "/files/" + name);
        expected.insert(root + "/folders/" + name);
        expected.insert(root + "/folders/" + name + "/" + name);
    }
    expected.insert(root + "/files");
    expected.insert(root + "/folders");

    const std::string index = tree.folder("index") + "/latest-scan.sqlite";
    const ScanResult result = DiskScanner(index).scan(root, everything(), {});
    EXPECT_THAT(result.errors, IsEmpty());
    EXPECT_EQ(result.totalFiles, static_cast<std::int64_t>(2 * names.size()));
    EXPECT_EQ(pathsOf(result), expected);

    sqlite3* handle = nullptr;
    ASSERT_EQ(sqlite3_open_v2(index.c_str(), &handle, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> connection(handle, &sqlite3_close);
    sqlite3_stmt* statement = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(handle, "SELECT path,parent,name FROM nodes", -1, &statement, nullptr),
              SQLITE_OK);
    std::set<std::string> rows;
    while (sqlite3_step(statement) == SQLITE_ROW) {
        const auto column = [&](int number) {
            const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement, number));
            return std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement, number)));
        };
        rows.insert(column(0));
        EXPECT_EQ(column(1) + "/" + column(2), column(0));
    }
    sqlite3_finalize(statement);
    EXPECT_EQ(rows, expected);

    const ScanResult loaded = ScanIndexDatabase(index, false).loadTree(std::nullopt, 50'000);
    EXPECT_EQ(pathsOf(loaded), expected);

    // The corpus tells bytes from text: once decoded for display, names are lost.
    std::set<std::string> decoded;
    for (const std::string& name : names) {
        decoded.insert(displayText(name));
    }
    EXPECT_LT(decoded.size(), names.size());
}

}  // namespace
}  // namespace larkfold::test
