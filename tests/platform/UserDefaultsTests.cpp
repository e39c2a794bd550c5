#include "platform/UserDefaults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <limits>
#include <sstream>

#include "platform/Error.h"
#include "platform/OwnFiles.h"
#include "support/TemporaryTree.h"
#include "support/UnprivilegedUser.h"

namespace larkfold {
namespace {

using test::contentOf;
using test::TemporaryTree;

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
    std::string file = tree.path("Larkfold/settings.json");
};

TEST_F(UserDefaultsTest, valuesAreThereAfterARestart) {
    const std::string bytes("\0\xFF{\"", 4);
    {
        UserDefaults defaults(file);
        defaults.setBool("skipHiddenFiles", false);
        defaults.setInteger("selectedTab", std::numeric_limits<std::int64_t>::min());
        defaults.setString("name", "Größe \"🙂\"\n");
        defaults.setData("ScanHistory", bytes);
    }
    const UserDefaults defaults(file);
    EXPECT_EQ(defaults.boolForKey("skipHiddenFiles"), false);
    EXPECT_EQ(defaults.integerForKey("selectedTab"), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(defaults.stringForKey("name"), "Größe \"🙂\"\n");
    EXPECT_EQ(defaults.dataForKey("ScanHistory"), bytes);
}

TEST_F(UserDefaultsTest, aMissingFileIsEmptyAndIsNotMadeByReading) {
    const UserDefaults defaults(file);
    EXPECT_EQ(valuesFound(defaults), 0);
    EXPECT_FALSE(own_files::exists(tree.path("Larkfold")));
}

TEST_F(UserDefaultsTest, aValueOfAnotherTypeCountsAsMissing) {
    tree.file(
        "Larkfold/settings.json",
        R"({"skipHiddenFiles": 1, "selectedTab": true, "name": 5, "ScanHistory": "not base 64!", "": null})");
    const UserDefaults defaults(file);
    EXPECT_EQ(defaults.boolForKey("skipHiddenFiles"), std::nullopt);
    EXPECT_EQ(defaults.integerForKey("selectedTab"), std::nullopt);
    EXPECT_EQ(defaults.stringForKey("name"), std::nullopt);
    EXPECT_EQ(defaults.dataForKey("ScanHistory"), std::nullopt);
}

TEST_F(UserDefaultsTest, aNumberThatIsNoIntegerOfOursCountsAsMissing) {
    tree.file(
        "Larkfold/settings.json",
        R"({"a": 9223372036854775807, "b": 9223372036854775808, "c": 1.5, "d": 1e300, "e": -9223372036854775809})");
    const UserDefaults defaults(file);
    EXPECT_EQ(defaults.integerForKey("a"), std::numeric_limits<std::int64_t>::max());
    for (const char* key : {"b", "c", "d", "e"}) {
        EXPECT_EQ(defaults.integerForKey(key), std::nullopt) << key;
    }
}

TEST_F(UserDefaultsTest, unknownKeysAreKept) {
    tree.file("Larkfold/settings.json", R"({"future": {"deep": [1, "two", null]}, "selectedTab": 3})");
    UserDefaults(file).setInteger("selectedTab", 4);
    EXPECT_THAT(contentOf(file), testing::HasSubstr("\"future\""));
    EXPECT_THAT(contentOf(file), testing::HasSubstr("\"two\""));
    EXPECT_EQ(UserDefaults(file).integerForKey("selectedTab"), 4);
}

TEST_F(UserDefaultsTest, aRemovedKeyIsGone) {
    UserDefaults defaults(file);
    defaults.setBool("a", true);
    defaults.setBool("b", true);
    defaults.remove("a");
    defaults.remove("never set");
    EXPECT_EQ(UserDefaults(file).boolForKey("a"), std::nullopt);
    EXPECT_EQ(UserDefaults(file).boolForKey("b"), true);
}

TEST_F(UserDefaultsTest, aDamagedFileCountsAsEmptyAndIsSetAsideBeforeTheFirstWrite) {
    const std::string damaged = "{\"selectedTab\": 3";
    tree.file("Larkfold/settings.json", damaged);
    UserDefaults defaults(file);
    EXPECT_EQ(valuesFound(defaults), 0);
    EXPECT_EQ(contentOf(file), damaged) << "reading changes nothing";
    defaults.setBool("a", true);
    EXPECT_EQ(contentOf(file + ".damaged"), damaged);
    EXPECT_EQ(UserDefaults(file).boolForKey("a"), true);
}

TEST_F(UserDefaultsTest, aSecondDamagedFileDoesNotReplaceTheFirst) {
    tree.file("Larkfold/settings.json.damaged", "first");
    tree.file("Larkfold/settings.json", "second");
    UserDefaults(file).setBool("a", true);
    EXPECT_EQ(contentOf(file + ".damaged"), "first");
    EXPECT_EQ(contentOf(file + ".damaged-2"), "second");
}

TEST_F(UserDefaultsTest, aFolderOrPipeInThePlaceOfTheFileIsSetAside) {
    tree.file("Larkfold/settings.json/inside", "x");
    UserDefaults(file).setBool("a", true);
    EXPECT_EQ(contentOf(file + ".damaged/inside"), "x");
    EXPECT_EQ(UserDefaults(file).boolForKey("a"), true);
    const std::string pipe = tree.fifo("Larkfold/pipe.json");
    UserDefaults defaults(pipe);
    EXPECT_EQ(valuesFound(defaults), 0);
}

TEST_F(UserDefaultsTest, textThatIsNoUTF8IsStoredRepaired) {
    UserDefaults defaults(file);
    defaults.setString("name", "a\xFF");
    EXPECT_EQ(defaults.stringForKey("name"), "a\uFFFD");
    EXPECT_EQ(UserDefaults(file).stringForKey("name"), "a\uFFFD");
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
        UserDefaults defaults(file);
        EXPECT_EQ(valuesFound(defaults), 0) << content.substr(0, 40);
    }
}

TEST_F(UserDefaultsTest, deepButAcceptableNestingIsWrittenBack) {
    const std::string nested = std::string(90, '[') + std::string(90, ']');
    tree.file("Larkfold/settings.json", "{\"deep\": " + nested + "}");
    UserDefaults(file).setBool("a", true);
    EXPECT_FALSE(own_files::exists(file + ".damaged"));
    EXPECT_EQ(UserDefaults(file).boolForKey("a"), true);
}

TEST_F(UserDefaultsTest, everyFlippedBitAndEveryTruncationGivesAnEmptyOrAReadableStore) {
    const std::string sample =
        R"({"ScanHistory":"AP97Ig==","name":"Größe","selectedTab":3,"skipHiddenFiles":true})";
    tree.file("Larkfold/settings.json", sample);
    ASSERT_EQ(valuesFound(UserDefaults(file)), 5) << "the sample itself (one text is Base64 too)";
    int unreadable = 0;
    for (std::size_t bit = 0; bit < sample.size() * 8; ++bit) {
        std::string flipped = sample;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << (bit % 8)));
        tree.file("Larkfold/settings.json", flipped);
        const int found = valuesFound(UserDefaults(file));
        EXPECT_LE(found, 6) << flipped;
        unreadable += found == 0;
    }
    EXPECT_GT(unreadable, 0) << "some flips must break the whole text";
    for (std::size_t length = 0; length < sample.size(); ++length) {
        tree.file("Larkfold/settings.json", sample.substr(0, length));
        EXPECT_EQ(valuesFound(UserDefaults(file)), 0) << length;
    }
}

TEST_F(UserDefaultsTest, aValueHoldsForTheRunWhenItCannotBeSaved) {
    EXPECT_TRUE(test::asUnprivilegedUser([](const std::string& home) {
        TemporaryTree own;
        own.folder("closed");
        chmod(own.path("closed").c_str(), 0500);
        UserDefaults defaults(own.path("closed/settings.json"));
        EXPECT_THROW(defaults.setBool("a", true), SystemError);
        EXPECT_EQ(defaults.boolForKey("a"), true);
        EXPECT_EQ(UserDefaults::standardFile(), home + "/.config/Larkfold/settings.json");
    }));
}

TEST_F(UserDefaultsTest, aFileThatMayNotBeReadIsSetAsideUnread) {
    EXPECT_TRUE(test::asUnprivilegedUser([](const std::string&) {
        TemporaryTree own;
        const std::string path = own.file("settings.json", "{\"a\": true}");
        chmod(path.c_str(), 0000);
        UserDefaults defaults(path);
        EXPECT_EQ(defaults.boolForKey("a"), std::nullopt);
        defaults.setBool("b", true);
        chmod((path + ".damaged").c_str(), 0600);
        EXPECT_EQ(contentOf(path + ".damaged"), "{\"a\": true}");
    }));
}

}  // namespace
}  // namespace larkfold
