#include "disk/ScanHistoryManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Bookmark.h"
#include "platform/Error.h"
#include "support/Places.h"
#include "support/TemporaryTree.h"
#include "support/TestMainLoop.h"
#include "support/UnprivilegedUser.h"

namespace larkfold {
namespace {

using test::contentOf;
using test::TemporaryTree;
using test::TestMainLoop;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

constexpr const char* firstID = "4B1E36E2-0A1C-4B2E-9E52-6C0F5D6D2F01";
constexpr const char* secondID = "D2A1F0C4-3B5E-4D6F-8A7B-9C0D1E2F3A4B";

ScanResult result(const std::string& rootPath, std::int64_t totalSize = 4'096) {
    ScanResult made;
    made.rootNode = FileNode::makeRoot(rootPath, "root of " + rootPath);
    made.scanDate = dateFromSecondsSince1970(1'764'000'000.25);
    made.totalSize = totalSize;
    made.totalFiles = 3;
    made.totalDirectories = 2;
    made.scanDuration = 1.5;
    made.rootPath = rootPath;
    return made;
}

// One of everything that an entry may hold.
std::vector<ScanHistoryEntry> everyKind() {
    return {{.id = *UUID::parse(firstID),
             .rootPath = "/home/ada/\"quoted\"\nnäme",
             .rootName = "\"quoted\"\nnäme",
             .scanDate = dateFromSecondsSince1970(1'764'000'000.25),
             .totalSize = std::numeric_limits<std::int64_t>::max(),
             .totalFiles = 1'284'117,
             .totalDirectories = 96'310,
             .scanDuration = 12.5,
             .bookmarkData = std::string("{\"version\":1}\0\xFF", 15)},
            {.id = *UUID::parse(secondID),
             .rootPath = "/mnt/\xFF\xFE raw",
             .rootName = "\xFF\xFE raw",
             .scanDate = dateFromSecondsSince1970(978'307'200 + 1.0 / 1024),
             .bookmarkData = std::nullopt}};
}

std::vector<std::string> paths(const std::vector<ScanHistoryEntry>& history) {
    std::vector<std::string> found;
    for (const ScanHistoryEntry& entry : history) {
        found.push_back(entry.rootPath);
    }
    return found;
}

// As it is written, and without what may be missing.
std::string smallest(const std::string& more = {}, const std::string& id = firstID,
                     const std::string& path = "/a") {
    return R"({"id":")" + id + R"(","rootPath":")" + path + R"(",)" + more +
           R"("rootName":"a","scanDate":1,"totalSize":2,"totalFiles":3,"totalDirectories":4,"scanDuration":5})";
}

class ScanHistoryManagerTest : public testing::Test {
protected:
    ScanHistoryManagerTest() { start(); }

    // As after a restart of the program.
    void start() {
        manager.reset();
        defaults.reset();  // saves what is not saved yet
        defaults = std::make_unique<UserDefaults>(place.path("settings.json"), loop.queue());
        manager = std::make_unique<ScanHistoryManager>(*defaults, loop.queue());
        changes = 0;
        QObject::connect(manager.get(), &ScanHistoryManager::historyChanged, [this] { ++changes; });
    }
    void startWith(std::string_view stored) {
        manager.reset();
        defaults.reset();
        UserDefaults(place.path("settings.json"), loop.queue())
            .setData(ScanHistoryManager::historyKey, stored);
        start();
    }
    std::string logOf(const std::function<void()>& work) {
        testing::internal::CaptureStderr();
        work();
        return testing::internal::GetCapturedStderr();
    }
    std::string stored() const { return defaults->dataForKey("ScanHistory").value_or("nothing"); }
    const std::vector<ScanHistoryEntry>& history() const { return manager->history(); }

    TemporaryTree place;
    TemporaryTree tree;
    TestMainLoop loop;
    std::unique_ptr<UserDefaults> defaults;
    std::unique_ptr<ScanHistoryManager> manager;
    int changes = 0;
};

TEST_F(ScanHistoryManagerTest, theFirstStart_hasAnEmptyListAndStoresNothing) {
    EXPECT_EQ(logOf([this] { start(); }), "");
    EXPECT_THAT(history(), IsEmpty());
    EXPECT_EQ(stored(), "nothing");
}

TEST_F(ScanHistoryManagerTest, add_takesTheFiguresOfTheResultAndIsThereAfterARestart) {
    const ScanResult scanned = result("/home/ada/films");
    manager->add(scanned, "a bookmark");
    const ScanHistoryEntry expected{.id = scanned.id,
                                    .rootPath = "/home/ada/films",
                                    .rootName = "root of /home/ada/films",
                                    .scanDate = scanned.scanDate,
                                    .totalSize = 4'096,
                                    .totalFiles = 3,
                                    .totalDirectories = 2,
                                    .scanDuration = 1.5,
                                    .bookmarkData = "a bookmark"};
    EXPECT_THAT(history(), ElementsAre(expected));
    EXPECT_EQ(changes, 1);
    start();
    EXPECT_THAT(history(), ElementsAre(expected));
}

TEST_F(ScanHistoryManagerTest, add_putsTheNewestFirst) {
    manager->add(result("/a"), std::nullopt);
    manager->add(result("/b"), std::nullopt);
    EXPECT_THAT(paths(history()), ElementsAre("/b", "/a"));
}

TEST_F(ScanHistoryManagerTest, aPathThatIsThere_movesToTheFrontWithItsNewFigures) {
    manager->add(result("/a", 1), "old");
    manager->add(result("/b"), std::nullopt);
    manager->add(result("/a", 2), "new");
    EXPECT_THAT(paths(history()), ElementsAre("/a", "/b"));
    EXPECT_EQ(history()[0].totalSize, 2);
    EXPECT_EQ(history()[0].bookmarkData, "new");
}

TEST_F(ScanHistoryManagerTest, pathsAreComparedAsTheyStand) {
    manager->add(result("/a"), std::nullopt);
    manager->add(result("/a/../a"), std::nullopt);
    manager->add(result("/A"), std::nullopt);
    EXPECT_THAT(paths(history()), ElementsAre("/A", "/a/../a", "/a"));
}

TEST_F(ScanHistoryManagerTest, the21stRoot_pushesOutTheOldest) {
    for (int number = 1; number <= 20; ++number) {
        manager->add(result("/root" + std::to_string(number)), std::nullopt);
    }
    EXPECT_THAT(history(), SizeIs(20));
    EXPECT_EQ(history().back().rootPath, "/root1");
    manager->add(result("/root21"), std::nullopt);
    EXPECT_THAT(history(), SizeIs(20));
    EXPECT_EQ(history().front().rootPath, "/root21");
    EXPECT_EQ(history().back().rootPath, "/root2");
    start();
    EXPECT_THAT(history(), SizeIs(20));
}

TEST_F(ScanHistoryManagerTest, remove_takesTheOneAndLeavesTheOthers) {
    for (const char* path : {"/a", "/b", "/c"}) {
        manager->add(result(path), std::nullopt);
    }
    const ScanHistoryEntry second = history()[1];
    manager->remove(second);
    EXPECT_THAT(paths(history()), ElementsAre("/c", "/a"));
    start();
    EXPECT_THAT(paths(history()), ElementsAre("/c", "/a"));
    manager->remove(second);
    EXPECT_THAT(history(), SizeIs(2));
}

TEST_F(ScanHistoryManagerTest, clear_leavesAnEmptyListInTheStore) {
    manager->add(result("/a"), std::nullopt);
    manager->clear();
    EXPECT_THAT(history(), IsEmpty());
    EXPECT_EQ(changes, 2);
    EXPECT_EQ(stored(), "[]");
    start();
    EXPECT_THAT(history(), IsEmpty());
}

TEST_F(ScanHistoryManagerTest, restore_bringsBackWhatWasCleared) {
    manager->add(result("/a"), "bookmark");
    manager->add(result("/b"), std::nullopt);
    const std::vector<ScanHistoryEntry> before = history();
    manager->clear();
    manager->restore(before);
    EXPECT_EQ(history(), before);
    start();
    EXPECT_EQ(history(), before);
}

TEST_F(ScanHistoryManagerTest, updateFigures_takesTheFiguresAndKeepsNameBookmarkAndDuration) {
    manager->add(result("/b"), std::nullopt);
    const ScanResult scanned = result("/a");
    manager->add(scanned, "bookmark");
    ScanResult updated = result("/a", 5);
    updated.rootNode = FileNode::makeRoot("/a", "another name");
    updated.totalFiles = 6;
    updated.totalDirectories = 7;
    updated.scanDuration = 0;
    manager->updateFigures(updated);
    ScanHistoryEntry expected = history()[0];
    expected.id = updated.id;
    expected.totalSize = 5;
    expected.totalFiles = 6;
    expected.totalDirectories = 7;
    EXPECT_EQ(history()[0], expected);
    EXPECT_EQ(history()[0].rootName, "root of /a");
    EXPECT_EQ(history()[0].scanDuration, 1.5);
    EXPECT_EQ(history()[0].bookmarkData, "bookmark");
    EXPECT_EQ(history()[0].scanDate, scanned.scanDate);
    EXPECT_EQ(history()[1].rootPath, "/b");
    start();
    EXPECT_EQ(history()[0], expected);
}

TEST_F(ScanHistoryManagerTest, updateFigures_ofARootThatIsNotListedAddsNothing) {
    manager->add(result("/a"), std::nullopt);
    changes = 0;
    manager->updateFigures(result("/a/below", 5));
    EXPECT_THAT(paths(history()), ElementsAre("/a"));
    EXPECT_EQ(history()[0].totalSize, 4'096);
    EXPECT_EQ(changes, 0);
}

TEST_F(ScanHistoryManagerTest, updateFigures_withANewerDateMovesToTheFrontAndWithTheSameStays) {
    for (const char* path : {"/a", "/b", "/c"}) {
        manager->add(result(path), std::nullopt);
    }
    manager->updateFigures(result("/a", 5));
    EXPECT_THAT(paths(history()), ElementsAre("/c", "/b", "/a"));
    ScanResult refreshed = result("/b", 6);
    refreshed.scanDate += Seconds(60);
    manager->updateFigures(refreshed);
    EXPECT_THAT(paths(history()), ElementsAre("/b", "/c", "/a"));
    EXPECT_EQ(history()[0].totalSize, 6);
    EXPECT_EQ(history()[2].totalSize, 5);
}

TEST_F(ScanHistoryManagerTest, updateFigures_withTheSameFiguresChangesAndSavesNothing) {
    const ScanResult scanned = result("/a");
    manager->add(scanned, std::nullopt);
    ASSERT_TRUE(defaults->flush());
    changes = 0;
    int saves = 0;
    const UserDefaults::Observation observation =
        defaults->observeSaves([&saves](const UserDefaults::Save&) { ++saves; });
    manager->updateFigures(scanned);
    ASSERT_TRUE(defaults->flush());
    EXPECT_EQ(changes, 0);
    EXPECT_EQ(saves, 0);
    manager->updateFigures(result("/a", 5));
    ASSERT_TRUE(defaults->flush());
    EXPECT_EQ(changes, 1);
    EXPECT_GT(saves, 0) << "a save would have been seen";
}

// MARK: Where a root is

TEST_F(ScanHistoryManagerTest, theStartupDisk_resolvesToTheRootWithoutABookmark) {
    manager->add(result("/"), std::nullopt);
    EXPECT_EQ(manager->resolve(history()[0]), (ResolvedScanLocation{.url = "/", .bookmarkData = {}}));
}

TEST_F(ScanHistoryManagerTest, withoutABookmark_thePathIsNotLookedAt) {
    manager->add(result("/there/is/nothing"), std::nullopt);
    EXPECT_EQ(manager->resolve(history()[0]),
              (ResolvedScanLocation{.url = "/there/is/nothing", .bookmarkData = {}}));
}

TEST_F(ScanHistoryManagerTest, aBookmarkThatHolds_resolvesToItsFolderAndStaysAsItIs) {
    const std::string folder = tree.folder("\xFF films");
    const std::string bookmark = makeBookmark(folder);
    manager->add(result(folder), bookmark);
    changes = 0;
    EXPECT_EQ(manager->resolve(history()[0]),
              (ResolvedScanLocation{.url = folder, .bookmarkData = bookmark}));
    EXPECT_EQ(changes, 0);
}

// Another folder stands at the path. The one before is kept, so that its inode is not used again at once.
std::string staleBookmark(const TemporaryTree& tree, const std::string& folder) {
    const std::string bookmark = makeBookmark(folder);
    std::filesystem::rename(folder, tree.path("the one before"));
    std::filesystem::create_directory(folder);
    EXPECT_TRUE(resolveBookmark(bookmark).isStale);
    return bookmark;
}

TEST_F(ScanHistoryManagerTest, aStaleBookmark_isReplacedInTheStoredListInItsPlace) {
    const std::string folder = tree.folder("films");
    const std::string stale = staleBookmark(tree, folder);
    manager->add(result("/below"), std::nullopt);
    manager->add(result(folder), stale);
    manager->add(result("/above"), std::nullopt);
    ScanHistoryEntry expected = history()[1];
    expected.bookmarkData = makeBookmark(folder);
    ASSERT_NE(expected.bookmarkData, stale);

    EXPECT_EQ(manager->resolve(history()[1]),
              (ResolvedScanLocation{.url = folder, .bookmarkData = expected.bookmarkData}));
    EXPECT_EQ(history()[1], expected);
    EXPECT_FALSE(resolveBookmark(*history()[1].bookmarkData).isStale);
    start();
    EXPECT_THAT(paths(history()), ElementsAre("/above", folder, "/below"));
    EXPECT_EQ(history()[1], expected);
}

TEST_F(ScanHistoryManagerTest, aStaleBookmarkOfAnEntryThatIsGone_changesNothing) {
    const std::string folder = tree.folder("films");
    manager->add(result(folder), staleBookmark(tree, folder));
    const ScanHistoryEntry gone = history()[0];
    manager->clear();
    changes = 0;
    EXPECT_EQ(manager->resolve(gone)->url, folder);
    EXPECT_THAT(history(), IsEmpty());
    EXPECT_EQ(changes, 0);
}

TEST_F(ScanHistoryManagerTest, aBookmarkOfNothing_resolvesToNothingAndIsLoggedInOneLine) {
    const std::string folder = tree.folder("with a\nbreak");
    manager->add(result(folder), makeBookmark(folder));
    std::filesystem::remove(folder);
    const ScanHistoryEntry entry = history()[0];
    std::optional<ResolvedScanLocation> location;
    const std::string log = logOf([&] { location = manager->resolve(entry); });
    EXPECT_FALSE(location);
    EXPECT_THAT(
        log, StartsWith("Failed to resolve scan history bookmark for " + tree.path("with a␊break") + ": "));
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
    EXPECT_THAT(history(), ElementsAre(entry));
}

TEST_F(ScanHistoryManagerTest, bytesThatAreNoBookmark_resolveToNothing) {
    manager->add(result("/a"), "no bookmark");
    EXPECT_EQ(logOf([this] { EXPECT_FALSE(manager->resolve(history()[0])); }),
              "Failed to resolve scan history bookmark for /a: The saved folder could not be recognised. "
              "Please choose the folder again.\n");
}

TEST_F(ScanHistoryManagerTest, inTheBackground_theAnswerIsTheSameAndComesOnTheMainThread) {
    const std::string folder = tree.folder("films");
    manager->add(result(folder), staleBookmark(tree, folder));
    std::vector<std::optional<ResolvedScanLocation>> answers;
    const auto take = [&](std::optional<ResolvedScanLocation> location) {
        answers.push_back(std::move(location));
    };
    manager->resolveInBackground(history()[0], take);
    EXPECT_THAT(answers, IsEmpty());
    ASSERT_TRUE(loop.runUntil([&] { return !answers.empty(); }));
    EXPECT_EQ(answers[0]->url, folder);
    EXPECT_EQ(answers[0]->bookmarkData, makeBookmark(folder));
    EXPECT_EQ(history()[0].bookmarkData, makeBookmark(folder));

    ScanHistoryEntry broken = history()[0];
    broken.bookmarkData = "broken";
    EXPECT_THAT(logOf([&] {
                    manager->resolveInBackground(broken, take);
                    ASSERT_TRUE(loop.runUntil([&] { return answers.size() == 2; }));
                }),
                HasSubstr("Failed to resolve scan history bookmark"));
    EXPECT_FALSE(answers[1]);
}

TEST_F(ScanHistoryManagerTest, inTheBackground_theLastQuestionAloneIsAnswered) {
    manager->add(result("/a"), std::nullopt);
    manager->add(result("/b"), std::nullopt);
    std::vector<std::string> answers;
    for (const ScanHistoryEntry& entry : history()) {
        manager->resolveInBackground(entry, [&](const auto& location) { answers.push_back(location->url); });
    }
    ASSERT_TRUE(loop.runUntil([&] { return !answers.empty(); }));
    EXPECT_THAT(answers, ElementsAre("/a"));
}

// MARK: The stored form

TEST_F(ScanHistoryManagerTest, theGoldenFile_isWhatIsWrittenAndRead) {
    std::string golden = contentOf(test::sourceFile("tests/disk/golden/scan-history.json"));
    // The golden file ends in a line break, as a text file does; the list itself has none.
    ASSERT_TRUE(golden.ends_with('\n'));
    golden.pop_back();
    EXPECT_EQ(encodedScanHistory(everyKind()), golden);
    EXPECT_EQ(decodedScanHistory(golden), everyKind());
}

TEST_F(ScanHistoryManagerTest, anEntryWithoutABookmark_isWrittenBackWithoutTheKey) {
    startWith("[" + smallest() + "]");
    ASSERT_THAT(history(), SizeIs(1));
    EXPECT_FALSE(history()[0].bookmarkData);
    manager->add(result("/b"), "bytes");
    EXPECT_EQ(stored(), encodedScanHistory(history()));
    EXPECT_THAT(encodedScanHistory({history()[1]}), Not(HasSubstr("bookmarkData")));
    EXPECT_THAT(encodedScanHistory({history()[0]}), HasSubstr(R"("bookmarkData":"Ynl0ZXM="})"));
}

TEST_F(ScanHistoryManagerTest, bytesWinOverText) {
    startWith("[" + smallest(R"("rootPathBytes":"L/8=","rootNameBytes":"/w==",)") + "]");
    ASSERT_THAT(history(), SizeIs(1));
    EXPECT_EQ(history()[0].rootPath, "/\xFF");
    EXPECT_EQ(history()[0].rootName, "\xFF");
}

TEST_F(ScanHistoryManagerTest, whatIsUnknownOrNullWhereItMayBeAbsent_isLeftAside) {
    for (const std::string more : {R"("new":1,)", R"("new":{"id":null,"list":[[1]]},)", R"("":[],)",
                                   R"("bookmarkDataBytes":7,)", R"("bookmarkData":null,)"}) {
        startWith("[" + smallest(more) + "]");
        ASSERT_THAT(history(), SizeIs(1)) << more;
        EXPECT_EQ(history()[0].id.text(), firstID);
        EXPECT_EQ(secondsSince1970(history()[0].scanDate), 978'307'201);
        EXPECT_EQ(history()[0].totalDirectories, 4);
        EXPECT_EQ(history()[0].scanDuration, 5);
        EXPECT_FALSE(history()[0].bookmarkData);
    }
}

// The list is empty, the log tells so, and what is stored stays until something is saved.
void expectDamaged(const std::string& json) {
    const TemporaryTree place;
    TestMainLoop loop;
    UserDefaults defaults(place.path("settings.json"), loop.queue());
    defaults.setData("ScanHistory", json);
    ASSERT_TRUE(defaults.flush());
    const std::string file = contentOf(place.path("settings.json"));
    testing::internal::CaptureStderr();
    ScanHistoryManager manager(defaults, loop.queue());
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_THAT(manager.history(), IsEmpty()) << json;
    EXPECT_THAT(log, StartsWith("Failed to load scan history: ")) << json;
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
    EXPECT_TRUE(defaults.flush());
    EXPECT_EQ(contentOf(place.path("settings.json")), file) << json;
    manager.add(result("/new"), std::nullopt);
    EXPECT_EQ(decodedScanHistory(defaults.dataForKey("ScanHistory").value_or("")), manager.history());
}

TEST(ScanHistoryFormTest, whatIsNoList_isDamage) {
    for (const std::string json : {"", " ", "{}", "null", "1", "\"\"", "[1]", "[[]]", "[null]", "[{}]", "[]]",
                                   "[] []", "[],", "[,]", "[", "]", "\xFF"}) {
        expectDamaged(json);
    }
}

TEST(ScanHistoryFormTest, valuesOfAnotherType_areDamage) {
    const std::pair<std::string, std::string> damages[] = {
        {firstID, "4B1E36E2"},
        {R"("rootPath":"/a")", R"("rootPath":1)"},
        {R"("rootPath":"/a")", R"("rootPath":null)"},
        {R"("rootPath":"/a")", R"("rootPath":"a")"},
        {R"("rootPath":"/a")", R"("rootPath":"")"},
        {R"("rootPath":"/a")", R"("rootPath":"/\u0000")"},
        {R"("rootPath":"/a")", R"("rootPath":"/a","rootPathBytes":"L2")"},
        {R"("rootPath":"/a")", R"("rootPath":"/a","rootPathBytes":"YQ==")"},
        {R"("rootPath":"/a")", R"("rootPath":"/a","rootPathBytes":null)"},
        {R"("rootPath":"/a")", R"("rootPathBytes":"L2E=")"},
        {R"("rootName":"a")", R"("rootName":[])"},
        {R"("rootName":"a")", R"("rootName":"\ud800")"},
        {R"("rootName":"a")", "\"rootName\":\"a\xFF\""},
        {R"("scanDate":1)", R"("scanDate":"1")"},
        {R"("scanDate":1)", R"("scanDate":1e999)"},
        {R"("totalSize":2)", R"("totalSize":2.5)"},
        {R"("totalSize":2)", R"("totalSize":9223372036854775808)"},
        {R"("totalSize":2)", R"("totalSize":-9223372036854775809)"},
        {R"("totalFiles":3)", R"("totalFiles":true)"},
        {R"("totalDirectories":4)", R"("totalDirectories":{})"},
        {R"("scanDuration":5)", R"("scanDuration":null)"},
        {R"("scanDuration":5)", R"("scanDuration":5,"bookmarkData":7)"},
        {R"("scanDuration":5)", R"("scanDuration":5,"bookmarkData":"%")"},
    };
    for (const auto& [good, bad] : damages) {
        std::string json = "[" + smallest({}, secondID) + "," + smallest() + "]";
        const std::size_t at = json.rfind(good);
        ASSERT_NE(at, std::string::npos) << good;
        expectDamaged(json.replace(at, good.size(), bad));
    }
}

TEST(ScanHistoryFormTest, eachRequiredKey_isRequired) {
    for (const std::string key : {"id", "rootPath", "rootName", "scanDate", "totalSize", "totalFiles",
                                  "totalDirectories", "scanDuration"}) {
        std::string json = "[" + smallest() + "]";
        ASSERT_THAT(decodedScanHistory(json), SizeIs(1));
        const std::size_t at = json.find("\"" + key + "\"");
        ASSERT_NE(at, std::string::npos);
        expectDamaged(json.insert(at + 1, "not-"));
    }
}

TEST(ScanHistoryFormTest, aListCutShortAnywhere_isDamage) {
    const std::string whole = encodedScanHistory(everyKind());
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_THROW(decodedScanHistory(whole.substr(0, length)), Error) << length;
    }
}

// Whatever a single bit does: no list, or one that is kept as it was read.
TEST(ScanHistoryFormTest, everyFlippedBit_givesNoListOrAWholeOne) {
    const std::string whole = encodedScanHistory(everyKind());
    int refused = 0;
    int kept = 0;
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        std::string flipped = whole;
        flipped[bit / 8] =
            static_cast<char>(static_cast<unsigned char>(flipped[bit / 8]) ^ (1U << (bit % 8)));
        std::vector<ScanHistoryEntry> read;
        try {
            read = decodedScanHistory(flipped);
        } catch (const Error& error) {
            EXPECT_FALSE(error.description().empty());
            ++refused;
            continue;
        }
        EXPECT_THAT(read, SizeIs(2)) << bit;
        EXPECT_EQ(decodedScanHistory(encodedScanHistory(read)), read) << bit;
        ++kept;
    }
    EXPECT_GT(refused, 1'000);
    EXPECT_GT(kept, 1'000);
}

TEST(ScanHistoryFormTest, everyFlippedBitOfTheSettings_givesAnEmptyListOrAWholeOne) {
    const TemporaryTree place;
    const std::string file = place.path("settings.json");
    TestMainLoop loop;
    UserDefaults(file, loop.queue()).setData("ScanHistory", encodedScanHistory({everyKind()[1]}));
    const std::string whole = contentOf(file);
    int empty = 0;
    int full = 0;
    testing::internal::CaptureStderr();
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        std::string flipped = whole;
        flipped[bit / 8] =
            static_cast<char>(static_cast<unsigned char>(flipped[bit / 8]) ^ (1U << (bit % 8)));
        std::ofstream(file, std::ios::binary | std::ios::trunc) << flipped;
        UserDefaults defaults(file, loop.queue());
        const ScanHistoryManager manager(defaults, loop.queue());
        ASSERT_LE(manager.history().size(), 1U) << bit;
        ++(manager.history().empty() ? empty : full);
    }
    testing::internal::GetCapturedStderr();
    EXPECT_GT(empty, 1'000);
    EXPECT_GT(full, 100);
}

TEST(ScanHistoryFormTest, whatIsHuge_isRefused) {
    const std::string deep(1'000'000, '[');
    EXPECT_THROW(decodedScanHistory(deep), Error);
    EXPECT_THROW(
        decodedScanHistory("[" + smallest("\"new\":" + deep + std::string(1'000'000, ']') + ",") + "]"),
        Error);
    std::string many = "[" + smallest();
    while (many.size() < 30'000'000) {
        many += "," + smallest();
    }
    EXPECT_THROW(decodedScanHistory(many + "]"), Error);
}

TEST(ScanHistoryFormTest, aListThatWouldBecomeTooLarge_losesItsLastEntriesAndCanBeReadAgain) {
    std::vector<ScanHistoryEntry> large(20, everyKind()[0]);
    for (ScanHistoryEntry& entry : large) {
        entry.rootPath = "/" + std::string(600'000, 'a');
    }
    const std::vector<ScanHistoryEntry> read = decodedScanHistory(encodedScanHistory(large));
    EXPECT_GE(read.size(), 6U);
    EXPECT_LT(read.size(), 20U);
    EXPECT_TRUE(std::equal(read.begin(), read.end(), large.begin()));
}

TEST_F(ScanHistoryManagerTest, aStoredList_isHeldToWhatAListMayBe) {
    std::string json = "[" + smallest({}, firstID, "/first") + "," + smallest({}, firstID, "/same-id") + "," +
                       smallest({}, UUID::make().text(), "/first");
    for (int number = 2; number <= 30; ++number) {
        json += "," + smallest({}, UUID::make().text(), "/root" + std::to_string(number));
    }
    EXPECT_EQ(logOf([&] { startWith(json + "]"); }), "");
    ASSERT_THAT(history(), SizeIs(20));
    EXPECT_EQ(history()[0].rootPath, "/first");
    EXPECT_EQ(history()[1].rootPath, "/root2");
    EXPECT_EQ(history()[19].rootPath, "/root20");
    manager->remove(history()[0]);
    EXPECT_THAT(history(), SizeIs(19));
}

TEST_F(ScanHistoryManagerTest, aStoredValueOfAnotherType_countsAsNone) {
    const std::function<void(UserDefaults&)> settings[] = {
        [](UserDefaults& values) { values.setInteger("ScanHistory", 7); },
        [](UserDefaults& values) { values.setBool("ScanHistory", true); },
        [](UserDefaults& values) { values.setString("ScanHistory", "[]"); }};
    for (const auto& set : settings) {
        set(*defaults);
        EXPECT_EQ(logOf([this] { start(); }), "");
        EXPECT_THAT(history(), IsEmpty());
    }
}

// MARK: Failures

TEST_F(ScanHistoryManagerTest, aFigureThatHasNoForm_isLoggedAndTheStoredListStays) {
    manager->add(result("/a"), std::nullopt);
    const std::string before = stored();
    ScanResult endless = result("/b");
    endless.scanDuration = std::numeric_limits<double>::infinity();
    EXPECT_THAT(logOf([&] { manager->add(endless, std::nullopt); }),
                StartsWith("Failed to save scan history: "));
    EXPECT_EQ(stored(), before);
    EXPECT_THAT(paths(history()), ElementsAre("/b", "/a"));
    ScanResult timeless = result("/b");
    timeless.scanDate = dateFromSecondsSince1970(std::nan(""));
    EXPECT_THAT(logOf([&] { manager->add(timeless, std::nullopt); }),
                StartsWith("Failed to save scan history: "));
    EXPECT_EQ(stored(), before);
}

TEST(ScanHistoryFailureTest, settingsThatMayNotBeWritten_areLoggedAndTheListIsKept) {
    test::asUnprivilegedUser([](const std::string& home) {
        TestMainLoop loop;
        UserDefaults defaults(home + "/Larkfold/settings.json", loop.queue());
        ScanHistoryManager manager(defaults, loop.queue());
        manager.add(result("/a"), std::nullopt);
        ASSERT_TRUE(defaults.flush());
        const std::string file = contentOf(home + "/Larkfold/settings.json");
        ASSERT_EQ(chmod((home + "/Larkfold").c_str(), 0500), 0);
        testing::internal::CaptureStderr();
        manager.add(result("/b"), std::nullopt);
        EXPECT_FALSE(defaults.flush());
        EXPECT_THAT(testing::internal::GetCapturedStderr(), StartsWith("Failed to save scan history: "));
        EXPECT_THAT(paths(manager.history()), ElementsAre("/b", "/a"));
        EXPECT_EQ(contentOf(home + "/Larkfold/settings.json"), file);
        ASSERT_EQ(chmod((home + "/Larkfold").c_str(), 0700), 0);
        manager.add(result("/c"), std::nullopt);
        ASSERT_TRUE(defaults.flush());
        UserDefaults again(home + "/Larkfold/settings.json", loop.queue());
        EXPECT_THAT(paths(ScanHistoryManager(again, loop.queue()).history()), ElementsAre("/c", "/b", "/a"));
    });
}

}  // namespace
}  // namespace larkfold
