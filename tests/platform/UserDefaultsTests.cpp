#include "platform/UserDefaults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/FileLock.h"
#include "platform/OwnFiles.h"
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

// Asks for every kind of value under a few keys: none of it may do harm, whatever the file holds.
int valuesFound(const UserDefaults& defaults) {
    int count = 0;
    for (const char* key : {"skipHiddenFiles", "selectedTab", "ScanHistory", "name", ""}) {
        count += defaults.boolForKey(key).has_value();
        count += defaults.integerForKey(key).has_value();
        count += defaults.stringForKey(key).has_value();
        count += defaults.dataForKey(key).has_value();
    }
    return count;
}

class UserDefaultsTest : public testing::Test {
protected:
    TemporaryTree tree;
    TestMainLoop loop;
    std::string file = tree.path("Larkfold/settings.json");
};

TEST_F(UserDefaultsTest, valuesAreThereAfterARestart) {
    const std::string bytes("\0\xFF{\"", 4);
    {
        UserDefaults defaults(file, loop.queue());
        defaults.setBool("skipHiddenFiles", false);
        defaults.setInteger("selectedTab", std::numeric_limits<std::int64_t>::min());
        defaults.setString("name", "Größe \"🙂\"\n");
        defaults.setData("ScanHistory", bytes);
    }
    const UserDefaults defaults(file, loop.queue());
    EXPECT_EQ(defaults.boolForKey("skipHiddenFiles"), false);
    EXPECT_EQ(defaults.integerForKey("selectedTab"), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(defaults.stringForKey("name"), "Größe \"🙂\"\n");
    EXPECT_EQ(defaults.dataForKey("ScanHistory"), bytes);
}

TEST_F(UserDefaultsTest, aMissingFileIsEmptyAndIsNotMadeByReading) {
    const UserDefaults defaults(file, loop.queue());
    EXPECT_EQ(valuesFound(defaults), 0);
    EXPECT_FALSE(own_files::exists(tree.path("Larkfold")));
}

TEST_F(UserDefaultsTest, aValueOfAnotherTypeCountsAsMissing) {
    tree.file(
        "Larkfold/settings.json",
        R"({"skipHiddenFiles": 1, "selectedTab": true, "name": 5, "ScanHistory": "not base 64!", "": null})");
    const UserDefaults defaults(file, loop.queue());
    EXPECT_EQ(defaults.boolForKey("skipHiddenFiles"), std::nullopt);
    EXPECT_EQ(defaults.integerForKey("selectedTab"), std::nullopt);
    EXPECT_EQ(defaults.stringForKey("name"), std::nullopt);
    EXPECT_EQ(defaults.dataForKey("ScanHistory"), std::nullopt);
}

TEST_F(UserDefaultsTest, aNumberThatIsNoIntegerOfOursCountsAsMissing) {
    tree.file(
        "Larkfold/settings.json",
        R"({"a": 9223372036854775807, "b": 9223372036854775808, "c": 1.5, "d": 1e300, "e": -9223372036854775809})");
    const UserDefaults defaults(file, loop.queue());
    EXPECT_EQ(defaults.integerForKey("a"), std::numeric_limits<std::int64_t>::max());
    for (const char* key : {"b", "c", "d", "e"}) {
        EXPECT_EQ(defaults.integerForKey(key), std::nullopt) << key;
    }
}

TEST_F(UserDefaultsTest, unknownKeysAreKept) {
    tree.file("Larkfold/settings.json", R"({"future": {"deep": [1, "two", null]}, "selectedTab": 3})");
    UserDefaults(file, loop.queue()).setInteger("selectedTab", 4);
    EXPECT_THAT(contentOf(file), HasSubstr("\"future\""));
    EXPECT_THAT(contentOf(file), HasSubstr("\"two\""));
    EXPECT_EQ(UserDefaults(file, loop.queue()).integerForKey("selectedTab"), 4);
}

TEST_F(UserDefaultsTest, aRemovedKeyIsGone) {
    UserDefaults defaults(file, loop.queue());
    defaults.setBool("a", true);
    defaults.setBool("b", true);
    defaults.remove("a");
    defaults.remove("never set");
    EXPECT_TRUE(defaults.flush());
    EXPECT_EQ(UserDefaults(file, loop.queue()).boolForKey("a"), std::nullopt);
    EXPECT_EQ(UserDefaults(file, loop.queue()).boolForKey("b"), true);
}

TEST_F(UserDefaultsTest, aDamagedFileCountsAsEmptyAndIsSetAsideBeforeTheFirstWrite) {
    const std::string damaged = "{\"selectedTab\": 3";
    tree.file("Larkfold/settings.json", damaged);
    UserDefaults defaults(file, loop.queue());
    EXPECT_EQ(valuesFound(defaults), 0);
    EXPECT_EQ(contentOf(file), damaged) << "reading changes nothing";
    defaults.setBool("a", true);
    EXPECT_TRUE(defaults.flush());
    EXPECT_EQ(contentOf(file + ".damaged"), damaged);
    EXPECT_EQ(UserDefaults(file, loop.queue()).boolForKey("a"), true);
}

TEST_F(UserDefaultsTest, aSecondDamagedFileDoesNotReplaceTheFirst) {
    tree.file("Larkfold/settings.json.damaged", "first");
    tree.file("Larkfold/settings.json", "second");
    UserDefaults(file, loop.queue()).setBool("a", true);
    EXPECT_EQ(contentOf(file + ".damaged"), "first");
    EXPECT_EQ(contentOf(file + ".damaged-2"), "second");
}

TEST_F(UserDefaultsTest, aFolderOrPipeInThePlaceOfTheFileIsSetAside) {
    tree.file("Larkfold/settings.json/inside", "x");
    UserDefaults(file, loop.queue()).setBool("a", true);
    EXPECT_EQ(contentOf(file + ".damaged/inside"), "x");
    EXPECT_EQ(UserDefaults(file, loop.queue()).boolForKey("a"), true);
    const std::string pipe = tree.fifo("Larkfold/pipe.json");
    UserDefaults defaults(pipe, loop.queue());
    EXPECT_EQ(valuesFound(defaults), 0);
}

TEST_F(UserDefaultsTest, textThatIsNoUTF8IsStoredRepaired) {
    UserDefaults defaults(file, loop.queue());
    defaults.setString("name", "a\xFF");
    EXPECT_EQ(defaults.stringForKey("name"), "a\uFFFD");
    EXPECT_TRUE(defaults.flush());
    EXPECT_EQ(UserDefaults(file, loop.queue()).stringForKey("name"), "a\uFFFD");
}

TEST_F(UserDefaultsTest, hostileFilesAreEmpty) {
    const std::string files[] = {
        "",
        "null",
        "[1, 2]",
        "\"text\"",
        "{\"a\": \xFF}",
        "{\"a\xC3\": 1}",
        "{\"a\": 1} tail",
        "\xEF\xBB\xBF",
        std::string(200'000, '['),
        "{\"a\": " + std::string(200'000, '[') + std::string(200'000, ']') + "}",
        std::string(1'000, '\0'),
    };
    for (const std::string& content : files) {
        tree.file("Larkfold/settings.json", content);
        UserDefaults defaults(file, loop.queue());
        EXPECT_EQ(valuesFound(defaults), 0) << content.substr(0, 40);
    }
}

TEST_F(UserDefaultsTest, deepButAcceptableNestingIsWrittenBack) {
    const std::string nested = std::string(90, '[') + std::string(90, ']');
    tree.file("Larkfold/settings.json", "{\"deep\": " + nested + "}");
    UserDefaults(file, loop.queue()).setBool("a", true);
    EXPECT_FALSE(own_files::exists(file + ".damaged"));
    EXPECT_EQ(UserDefaults(file, loop.queue()).boolForKey("a"), true);
}

TEST_F(UserDefaultsTest, everyFlippedBitAndEveryTruncationGivesAnEmptyOrAReadableStore) {
    const std::string sample =
        R"({"ScanHistory":"AP97Ig==","name":"Größe","selectedTab":3,"skipHiddenFiles":true})";
    tree.file("Larkfold/settings.json", sample);
    ASSERT_EQ(valuesFound(UserDefaults(file, loop.queue())), 5)
        << "the sample itself (one text is Base64 too)";
    int unreadable = 0;
    for (std::size_t bit = 0; bit < sample.size() * 8; ++bit) {
        std::string flipped = sample;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << (bit % 8)));
        tree.file("Larkfold/settings.json", flipped);
        const int found = valuesFound(UserDefaults(file, loop.queue()));
        EXPECT_LE(found, 6) << flipped;
        unreadable += found == 0;
    }
    EXPECT_GT(unreadable, 0) << "some flips must break the whole text";
    for (std::size_t length = 0; length < sample.size(); ++length) {
        tree.file("Larkfold/settings.json", sample.substr(0, length));
        EXPECT_EQ(valuesFound(UserDefaults(file, loop.queue())), 0) << length;
    }
}

TEST_F(UserDefaultsTest, aValueHoldsForTheRunWhenItCannotBeSaved) {
    test::asUnprivilegedUser([](const std::string& home) {
        TemporaryTree own;
        own.folder("closed");
        chmod(own.path("closed").c_str(), 0500);
        TestMainLoop ownLoop;
        UserDefaults defaults(own.path("closed/settings.json"), ownLoop.queue());
        defaults.setBool("a", true);
        EXPECT_FALSE(defaults.flush());
        EXPECT_EQ(defaults.boolForKey("a"), true);
        EXPECT_EQ(UserDefaults::standardFile(), home + "/.config/Larkfold/settings.json");
    });
}

TEST_F(UserDefaultsTest, aFileThatMayNotBeReadIsSetAsideUnread) {
    test::asUnprivilegedUser([](const std::string&) {
        TemporaryTree own;
        const std::string path = own.file("settings.json", "{\"a\": true}");
        chmod(path.c_str(), 0000);
        TestMainLoop ownLoop;
        UserDefaults defaults(path, ownLoop.queue());
        EXPECT_EQ(defaults.boolForKey("a"), std::nullopt);
        defaults.setBool("b", true);
        EXPECT_TRUE(defaults.flush());
        chmod((path + ".damaged").c_str(), 0600);
        EXPECT_EQ(contentOf(path + ".damaged"), "{\"a\": true}");
    });
}

// --- When and how it is saved

class SavesOfUserDefaultsTest : public UserDefaultsTest {
protected:
    SavesOfUserDefaultsTest() {
        tree.folder("Larkfold");
        start();
    }
    void start(std::chrono::milliseconds longestWait = own_files::FileLock::longestWait) {
        defaults.reset();
        defaults = std::make_unique<UserDefaults>(file, loop.queue(), longestWait);
        savesSeen = defaults->observeSaves([this](const UserDefaults::Save& save) { saves.push_back(save); });
        changesSeen = defaults->observeChanges([this](const std::vector<std::string>& keys) {
            foreign.insert(foreign.end(), keys.begin(), keys.end());
        });
    }
    bool awaitSaves(std::size_t count) {
        return loop.runUntil([&] { return saves.size() >= count; });
    }
    // What another window would find.
    std::unique_ptr<UserDefaults> otherWindow() { return std::make_unique<UserDefaults>(file, loop.queue()); }

    std::vector<UserDefaults::Save> saves;
    std::vector<std::string> foreign;  // keys that another window changed
    std::unique_ptr<UserDefaults> defaults;
    UserDefaults::Observation savesSeen;
    UserDefaults::Observation changesSeen;
};

TEST_F(SavesOfUserDefaultsTest, aValueHoldsAtOnceAndIsSavedByItself) {
    defaults->setInteger("selectedTab", 3);
    EXPECT_EQ(defaults->integerForKey("selectedTab"), 3);
    ASSERT_TRUE(awaitSaves(1));
    EXPECT_EQ(saves[0].problem, std::nullopt);
    EXPECT_THAT(saves[0].keys, ElementsAre("selectedTab"));
    EXPECT_EQ(otherWindow()->integerForKey("selectedTab"), 3);
    EXPECT_THAT(foreign, IsEmpty()) << "nobody else changed anything";
}

TEST_F(SavesOfUserDefaultsTest, whileTheLockIsWaitedForTheMainThreadGoesOnAndTheChangesGather) {
    std::optional<own_files::FileLock> held(std::in_place, file);
    defaults->setBool("a", true);
    defaults->setBool("b", true);
    defaults->setInteger("c", 1);
    defaults->setInteger("c", 2);
    EXPECT_EQ(defaults->integerForKey("c"), 2) << "each call came back although nothing can be saved";
    EXPECT_FALSE(own_files::exists(file));
    EXPECT_THAT(saves, IsEmpty());
    held.reset();
    ASSERT_TRUE(awaitSaves(2));
    EXPECT_THAT(saves[0].keys, ElementsAre("a"));
    EXPECT_THAT(saves[1].keys, ElementsAre("b", "c")) << "in one go";
    EXPECT_EQ(otherWindow()->integerForKey("c"), 2);
}

TEST_F(SavesOfUserDefaultsTest, theEndSavesWhatIsNotSavedYet) {
    std::optional<own_files::FileLock> held(std::in_place, file);
    defaults->setBool("a", true);  // waits for the lock
    defaults->setBool("b", true);  // waits for that
    held.reset();
    defaults.reset();
    EXPECT_EQ(otherWindow()->boolForKey("a"), true);
    EXPECT_EQ(otherWindow()->boolForKey("b"), true);
}

TEST_F(SavesOfUserDefaultsTest, aLockThatIsNotReleasedInTimeIsToldAndNothingIsOverwritten) {
    start(std::chrono::milliseconds(20));
    const std::string before = "{\"theirs\": 1}";
    tree.file("Larkfold/settings.json", before);
    std::optional<own_files::FileLock> held(std::in_place, file);
    defaults->setBool("a", true);
    EXPECT_FALSE(defaults->flush());
    ASSERT_EQ(saves.size(), 1U);
    ASSERT_TRUE(saves[0].problem);
    EXPECT_THAT(*saves[0].problem, HasSubstr("another program is using it"));
    EXPECT_EQ(contentOf(file), before);
    EXPECT_EQ(defaults->boolForKey("a"), true) << "it holds for this run";
    held.reset();
    defaults->setBool("b", true);
    ASSERT_TRUE(awaitSaves(2));
    EXPECT_THAT(saves[1].keys, ElementsAre("a", "b")) << "what waited is saved with the next change";
    EXPECT_EQ(otherWindow()->boolForKey("a"), true);
    EXPECT_EQ(otherWindow()->integerForKey("theirs"), 1);
}

TEST_F(SavesOfUserDefaultsTest, aFailureIsToldAndTriedAgainAtTheEnd) {
    tree.folder("Larkfold/settings.json.lock");
    defaults->setBool("a", true);
    ASSERT_TRUE(awaitSaves(1));
    EXPECT_TRUE(saves[0].problem);
    EXPECT_FALSE(own_files::exists(file));
    std::filesystem::remove(file + ".lock");
    defaults.reset();
    EXPECT_EQ(otherWindow()->boolForKey("a"), true);
}

TEST_F(SavesOfUserDefaultsTest, anObserverMaySetAValue) {
    const UserDefaults::Observation answering =
        defaults->observeSaves([this](const UserDefaults::Save& save) {
            if (save.keys == std::vector<std::string>{"a"}) {
                defaults->setBool("b", true);
            }
        });
    defaults->setBool("a", true);
    ASSERT_TRUE(awaitSaves(2));
    EXPECT_EQ(otherWindow()->boolForKey("b"), true);
}

TEST_F(SavesOfUserDefaultsTest, aFileThatIsDamagedLaterIsSetAsideAndWrittenAnewWithAllThatHolds) {
    defaults->setBool("a", true);
    ASSERT_TRUE(defaults->flush());
    tree.file("Larkfold/settings.json", "{\"half");
    defaults->setBool("b", true);
    ASSERT_TRUE(defaults->flush());
    EXPECT_EQ(contentOf(file + ".damaged"), "{\"half");
    EXPECT_EQ(otherWindow()->boolForKey("a"), true);
    std::filesystem::remove(file);
    defaults->setBool("c", true);
    ASSERT_TRUE(defaults->flush());
    EXPECT_EQ(otherWindow()->boolForKey("a"), true);
    EXPECT_THAT(foreign, IsEmpty());
}

// --- Windows beside each other

TEST_F(SavesOfUserDefaultsTest, twoWindowsKeepWhatEachOfThemChanged) {
    const auto other = otherWindow();
    defaults->setInteger("here", 1);
    EXPECT_TRUE(defaults->flush());
    other->setInteger("there", 2);
    EXPECT_TRUE(other->flush());
    defaults->setInteger("here too", 3);
    EXPECT_TRUE(defaults->flush());
    const auto third = otherWindow();
    EXPECT_EQ(third->integerForKey("here"), 1);
    EXPECT_EQ(third->integerForKey("there"), 2);
    EXPECT_EQ(third->integerForKey("here too"), 3);
    EXPECT_EQ(defaults->integerForKey("there"), 2) << "what the other changed holds here";
    EXPECT_THAT(foreign, ElementsAre("there"));
}

TEST_F(SavesOfUserDefaultsTest, aKeyThatTheOtherWindowRemovedStaysAway) {
    defaults->setBool("a", true);
    ASSERT_TRUE(defaults->flush());
    const auto other = otherWindow();
    other->remove("a");
    EXPECT_TRUE(other->flush());
    EXPECT_EQ(defaults->boolForKey("a"), true) << "not read yet";
    defaults->setBool("b", true);
    EXPECT_TRUE(defaults->flush());
    EXPECT_EQ(defaults->boolForKey("a"), std::nullopt);
    EXPECT_THAT(foreign, ElementsAre("a"));
    EXPECT_EQ(otherWindow()->boolForKey("a"), std::nullopt);
}

TEST_F(SavesOfUserDefaultsTest, aKeyThatIsRemovedHereIsRemovedAlsoWhereTheOtherWindowMadeIt) {
    const auto other = otherWindow();
    other->setBool("a", true);
    EXPECT_TRUE(other->flush());
    defaults->remove("a");
    EXPECT_TRUE(defaults->flush());
    EXPECT_EQ(otherWindow()->boolForKey("a"), std::nullopt);
}

TEST_F(SavesOfUserDefaultsTest, ofOneKeyTheLaterSaveWins) {
    const auto other = otherWindow();
    other->setInteger("tab", 1);
    EXPECT_TRUE(other->flush());
    defaults->setInteger("tab", 2);
    EXPECT_TRUE(defaults->flush());
    EXPECT_EQ(otherWindow()->integerForKey("tab"), 2);
    EXPECT_THAT(foreign, IsEmpty()) << "what was changed here was not changed by somebody else";
}

TEST_F(SavesOfUserDefaultsTest, aKeyIsNewToOneAttemptAlone) {
    start(std::chrono::milliseconds(1));
    {
        const own_files::FileLock held(file);
        defaults->setBool("a", true);
        EXPECT_FALSE(defaults->flush());
        defaults->setBool("b", true);
        EXPECT_FALSE(defaults->flush());
    }
    ASSERT_GE(saves.size(), 2u);
    EXPECT_THAT(saves.front().newKeys, ElementsAre("a"));
    EXPECT_THAT(saves.back().keys, ElementsAre("a", "b"));
    EXPECT_THAT(saves.back().newKeys, testing::Not(testing::Contains("a")));
}

TEST_F(SavesOfUserDefaultsTest, whoeverIsToldMayChangeSomethingDuringTheLastSave) {
    const auto answer = defaults->observeSaves([this](const UserDefaults::Save& save) {
        if (save.keys == std::vector<std::string>{"a"}) {
            defaults->setBool("b", true);
        }
    });
    defaults->setBool("a", true);
    EXPECT_TRUE(defaults->flush());
    EXPECT_EQ(otherWindow()->boolForKey("b"), true);
}

TEST_F(SavesOfUserDefaultsTest, whoeverChangesSomethingAtEachSave_doesNotHoldUpTheEnd) {
    std::int64_t told = 0;
    const auto answer =
        defaults->observeSaves([&](const UserDefaults::Save&) { defaults->setInteger("told", ++told); });
    defaults->setBool("a", true);
    EXPECT_FALSE(defaults->flush());
    EXPECT_GT(told, 1);
    EXPECT_EQ(otherWindow()->integerForKey("told"), told - 1);
}

TEST(UserDefaultsThatCannotBeReadAnyMore, areLeftAloneUntilTheyCan) {
    test::asUnprivilegedUser([](const std::string& home) {
        const std::string path = home + "/settings.json";
        own_files::writeFile(path, R"({"theirs": 1})");
        TestMainLoop ownLoop;
        UserDefaults defaults(path, ownLoop.queue());
        defaults.setBool("ours", true);
        ASSERT_TRUE(defaults.flush());
        chmod(path.c_str(), 0);
        defaults.setBool("ours", false);
        EXPECT_FALSE(defaults.flush());
        EXPECT_FALSE(own_files::exists(path + ".damaged"));
        chmod(path.c_str(), 0600);
        EXPECT_TRUE(defaults.flush());
        const UserDefaults after(path, ownLoop.queue());
        EXPECT_EQ(after.integerForKey("theirs"), 1);
        EXPECT_EQ(after.boolForKey("ours"), false);
    });
}

// Writes back what it once read, with its own change: the way in which windows undo each other's settings.
class StaleWriter {
public:
    StaleWriter(std::string file, MainQueue&) : file_(std::move(file)), text_(contentOf(file_)) {}
    void setInteger(std::string_view key, std::int64_t value) {
        text_.insert(text_.rfind('}'), ",\"" + std::string(key) + "\":" + std::to_string(value));
        own_files::writeFile(file_, text_);
    }
    bool flush() { return true; }

private:
    std::string file_;
    std::string text_;
};

// Two processes that both have read the file before either writes: the child writes first, then this one.
template <typename Writer>
void writeInTwoProcesses(const std::string& file) {
    int childDone[2];
    ASSERT_EQ(pipe(childDone), 0);
    TestMainLoop loop;
    Writer mine(file, loop.queue());
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        bool isSaved = false;
        {
            TestMainLoop own;
            Writer theirs(file, own.queue());
            theirs.setInteger("child", 1);
            isSaved = theirs.flush();
        }
        _exit(isSaved && write(childDone[1], "x", 1) == 1 ? 0 : 1);
    }
    close(childDone[1]);
    char byte;
    ASSERT_EQ(read(childDone[0], &byte, 1), 1);
    close(childDone[0]);
    mine.setInteger("parent", 2);
    EXPECT_TRUE(mine.flush());
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(UserDefaultsTest, twoProcessesKeepWhatEachOfThemChanged) {
    tree.file("Larkfold/settings.json", R"({"before": 0})");
    writeInTwoProcesses<UserDefaults>(file);
    const UserDefaults defaults(file, loop.queue());
    EXPECT_EQ(defaults.integerForKey("before"), 0);
    EXPECT_EQ(defaults.integerForKey("child"), 1);
    EXPECT_EQ(defaults.integerForKey("parent"), 2);
}

TEST_F(UserDefaultsTest, negativeControl_whoWritesWhatItOnceReadLosesTheOthersChange) {
    tree.file("Larkfold/settings.json", R"({"before": 0})");
    writeInTwoProcesses<StaleWriter>(file);
    const UserDefaults defaults(file, loop.queue());
    EXPECT_EQ(defaults.integerForKey("parent"), 2);
    EXPECT_EQ(defaults.integerForKey("child"), std::nullopt);
}

TEST_F(UserDefaultsTest, twoProcessesThatWriteAtTheSameTimeLoseNothing) {
    constexpr int each = 100;
    tree.folder("Larkfold");
    const auto writeAll = [&](const std::string& prefix) {
        TestMainLoop own;
        UserDefaults defaults(file, own.queue());
        for (int number = 0; number < each; ++number) {
            defaults.setInteger(prefix + std::to_string(number), number);
            if (!defaults.flush()) {
                return false;
            }
        }
        return true;
    };
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        _exit(writeAll("child") ? 0 : 1);
    }
    EXPECT_TRUE(writeAll("parent"));
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    const UserDefaults defaults(file, loop.queue());
    for (int number = 0; number < each; ++number) {
        EXPECT_EQ(defaults.integerForKey("child" + std::to_string(number)), number);
        EXPECT_EQ(defaults.integerForKey("parent" + std::to_string(number)), number);
    }
}

}  // namespace
}  // namespace larkfold
