// Uses of the saved index while another window puts its own in its place.
#include "disk/SavedScanLoader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "disk/DiskScanner.h"
#include "disk/IndexRefresh.h"
#include "disk/IndexRows.h"
#include "disk/ScanIndexDatabase.h"
#include "platform/FileLock.h"
#include "platform/OwnFiles.h"
#include "support/TemporaryTree.h"
#include "support/TestMainLoop.h"

namespace larkfold {
namespace {

using test::rowsOf;

constexpr const char* anotherFolder =
    "Scan index: Another window has saved a scan of another folder meanwhile. Scan everything again.";
constexpr const char* otherSettings =
    "Scan index: Another window has scanned this folder with other settings meanwhile. Scan everything "
    "again.";

class SavedScanLoaderTest : public testing::Test {
protected:
    SavedScanLoaderTest() {
        tree.fileOfSize("all/mine/a/file", 5'000);
        tree.fileOfSize("all/other", 7'000);
        tree.folder("store");
    }

    static DiskScanOptions options(bool skipsHiddenFiles) {
        return {.skipHiddenFiles = skipsHiddenFiles,
                .excludedPathPrefixes = {},
                .skipSymbolicLinks = true,
                .maximumRetainedFiles = 50'000};
    }
    void save(const std::string& folder, bool skipsHiddenFiles = false, const std::string& where = {}) const {
        DiskScanner(where.empty() ? index : where).scan(tree.path(folder), options(skipsHiddenFiles), {});
    }
    // What is said, and that the index stays as it is.
    void expectRefusal(const std::string& sentence, const std::function<void()>& use) const {
        const auto before = rowsOf(index);
        try {
            use();
            ADD_FAILURE() << "nothing was refused";
        } catch (const ScanIndexDatabase::Failure& failure) {
            EXPECT_EQ(failure.description(), sentence);
        }
        EXPECT_EQ(rowsOf(index), before);
    }
    void expectRefusals(const std::string& sentence, const ExpectedScan& expected) {
        const std::string incoming = tree.path("store/incoming.sqlite");
        save("all/mine/a", false, incoming);
        expectRefusal(sentence, [&] { SavedScanLoader::load(index, std::nullopt, {}, expected); });
        expectRefusal(sentence, [&] { SavedScanLoader::load(index, tree.path("all/mine/a"), {}, expected); });
        expectRefusal(sentence, [&] { SavedScanLoader::header(index, expected, {}); });
        expectRefusal(sentence, [&] { SavedScanLoader::merge(index, incoming, {}, expected); });
        expectRefusal(sentence,
                      [&] { SavedScanLoader::removeFolder(index, tree.path("all/mine/a"), {}, expected); });
    }

    test::TemporaryTree tree;
    std::string index = tree.path("store/latest-scan.sqlite");
};

TEST_F(SavedScanLoaderTest, anIndexOfAnotherFolderIsLeftAlone) {
    save("all");  // of a parent, so that each use would find its rows
    expectRefusals(anotherFolder, {.root = tree.path("all/mine")});
}

TEST_F(SavedScanLoaderTest, anIndexWithAnotherSettingIsLeftAlone) {
    save("all/mine", true);
    expectRefusals(otherSettings, {.root = tree.path("all/mine"), .skipsHiddenFiles = false});
}

TEST_F(SavedScanLoaderTest, theExpectedIndexIsUsed_howeverItsFolderIsSpelled) {
    save("all/mine");
    const ExpectedScan expected{.root = tree.path("all/../all/mine/"), .skipsHiddenFiles = false};
    EXPECT_EQ(SavedScanLoader::load(index, std::nullopt, {}, expected).rootPath, tree.path("all/mine"));
    SavedScanLoader::removeFolder(index, tree.path("all/mine/a"), {}, expected);
    EXPECT_EQ(rowsOf(index).size(), 1u);
}

TEST_F(SavedScanLoaderTest, aRestoreTellsTreeAndSetting) {
    for (const bool skips : {false, true}) {
        save("all", skips);
        const SavedScanLoader::Restored restored = SavedScanLoader::restore(index, {});
        EXPECT_EQ(restored.tree.rootPath, tree.path("all"));
        EXPECT_EQ(restored.skipsHiddenFiles, skips);
    }
}

// Between the check at the beginning and the first merge.
TEST_F(SavedScanLoaderTest, aRefreshWhoseIndexIsReplaced_endsAndLeavesTheNewOneAlone) {
    save("all/mine");
    test::TestMainLoop loop;
    SerialContext scans(loop.queue(), "scan");
    SerialContext indexes(loop.queue(), "index");
    std::vector<std::string> replaced;
    std::optional<std::string> outcome;
    const IndexRefresh refresh(
        scans, indexes,
        {.indexURL = index, .root = tree.path("all/mine"), .folders = {tree.path("all/mine/a")}},
        [&](bool skipsHiddenFiles) {
            save("all");
            replaced = rowsOf(index);
            return options(skipsHiddenFiles);
        },
        [&](Outcome<ScanResult> came) {
            try {
                outcome = "a map of " + came.get().rootPath;
            } catch (const Error& error) {
                outcome = error.description();
            }
        });
    ASSERT_TRUE(loop.runUntil([&] { return outcome.has_value(); }));
    EXPECT_EQ(outcome, anotherFolder);
    EXPECT_EQ(rowsOf(index), replaced);
}

TEST_F(SavedScanLoaderTest, aMergeIntoAnIndexThatDoesNotHangTogether_fails) {
    save("all");
    const std::string incoming = tree.path("store/incoming.sqlite");
    save("all/mine/a", false, incoming);
    {
        sqlite3* db = nullptr;
        ASSERT_EQ(sqlite3_open_v2(index.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
        const std::string sql = "DELETE FROM nodes WHERE path=" + larkfold::quoted(tree.path("all/mine"));
        ASSERT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(db);
    }
    EXPECT_THROW(SavedScanLoader::merge(index, incoming, {}), ScanIndexDatabase::Failure);
}

// Whoever waits for another window stops waiting when asked.
TEST_F(SavedScanLoaderTest, aStopEndsTheWaitForAnotherWindow) {
    save("all");
    const own_files::FolderLock otherWindow(tree.path("store"));
    const std::vector<std::function<void(std::stop_token)>> uses = {
        [&](std::stop_token stop) { SavedScanLoader::load(index, std::nullopt, std::move(stop)); },
        [&](std::stop_token stop) { SavedScanLoader::restore(index, std::move(stop)); },
        [&](std::stop_token stop) { SavedScanLoader::header(index, {}, std::move(stop)); },
        [&](std::stop_token stop) { SavedScanLoader::merge(index, index, std::move(stop)); },
        [&](std::stop_token stop) { SavedScanLoader::removeFolder(index, "/r", std::move(stop)); },
        [&](std::stop_token stop) { SavedScanLoader::removeIndexFile(index, std::move(stop)); },
    };
    for (const auto& use : uses) {
        std::stop_source stop;
        stop.request_stop();
        EXPECT_THROW(use(stop.get_token()), CancellationError);
    }
    EXPECT_TRUE(own_files::exists(index));
}

}  // namespace
}  // namespace larkfold
