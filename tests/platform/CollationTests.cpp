#include "platform/Collation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <limits>
#include <random>
#include <thread>
#include <vector>

#include "platform/UTF8.h"

namespace larkfold {
namespace {

std::vector<std::string> sorted(std::vector<std::string> names) {
    const Collator collator;
    std::stable_sort(names.begin(), names.end(), [&](const std::string& left, const std::string& right) {
        return collator.sortKey(left) < collator.sortKey(right);
    });
    return names;
}

TEST(CollatorTest, numbersInsideOfNamesCountByTheirValue) {
    EXPECT_EQ(sorted({"file10", "file2", "file1"}), (std::vector<std::string>{"file1", "file2", "file10"}));
}

TEST(CollatorTest, caseMakesNoDifference) {
    const Collator collator;
    EXPECT_EQ(collator.sortKey("README"), collator.sortKey("ReadMe"));
    EXPECT_EQ(collator.compare("Straße", "STRASSE"), collator.compare("straße", "strasse"));
    EXPECT_EQ(collator.compare("ÄPFEL", "äpfel"), 0);
    EXPECT_LT(collator.compare("apple", "Banana"), 0);
    EXPECT_LT(collator.compare("Apple", "banana"), 0);
}

TEST(CollatorTest, accentsMakeADifferenceAfterTheLetters) {
    EXPECT_EQ(sorted({"cotf", "côte", "cote"}), (std::vector<std::string>{"cote", "côte", "cotf"}));
}

TEST(CollatorTest, onlyTextsThatDifferInCaseHaveEqualKeys) {
    const Collator collator;
    const char* names[] = {"ab",
                           "a\x01"
                           "b",
                           "a\u200Db",
                           "1",
                           "01",
                           "１",
                           "²",
                           "2",
                           "e\u0301",
                           "é",

                           "fi",
                           " a",
                           "a",
                           "a "};
    for (const char* left : names) {
        for (const char* right : names) {
            EXPECT_EQ(collator.compare(left, right) == 0, left == right) << left << " / " << right;
        }
    }
}

TEST(CollatorTest, bytesThatAreNoTextComeBehindByTheirBytes) {
    EXPECT_EQ(sorted({"\xFF", "zz", "\x80z",
                      "\x80"
                      "a",
                      "漢"}),
              (std::vector<std::string>{"zz", "漢",
                                        "\x80"
                                        "a",
                                        "\x80z", "\xFF"}));
}

TEST(CollatorTest, keysAndComparisonAgreeOnRandomNames) {
    std::mt19937 random(1);
    const char* pieces[] = {"a", "A", "b", "ä",       "Ä",  "1",    "10",   "2", " ",
                            "-", ".", "é", "e\u0301", "漢", "\xFF", "\x01", "_"};
    const auto name = [&] {
        std::string text;
        for (auto left = random() % 6; left > 0; --left) {
            text += pieces[random() % std::size(pieces)];
        }
        return text;
    };
    const auto sign = [](int value) { return (value > 0) - (value < 0); };
    const Collator collator;
    for (int round = 0; round < 3000; ++round) {
        const std::string left = name();
        const std::string right = name();
        const int byKeys = collator.sortKey(left).compare(collator.sortKey(right));
        EXPECT_EQ(sign(byKeys), sign(collator.compare(left, right))) << left << " / " << right;
        EXPECT_EQ(sign(collator.compare(left, right)), -sign(collator.compare(right, left)));
    }
}

TEST(TextMatcherTest, findsWithoutRegardToCase) {
    EXPECT_TRUE(TextMatcher("READ").isContainedIn("readme.txt"));
    EXPECT_TRUE(TextMatcher("txt").isContainedIn("README.TXT"));
    EXPECT_FALSE(TextMatcher("md").isContainedIn("readme.txt"));
    EXPECT_FALSE(TextMatcher("readme.txt2").isContainedIn("readme.txt"));
    EXPECT_TRUE(TextMatcher("größe").isContainedIn("Dateigrößen"));
    EXPECT_TRUE(TextMatcher("GRÖSSE").isContainedIn("Dateigrößen"));
    EXPECT_TRUE(TextMatcher("ΣΊΣΥΦΟΣ").isContainedIn("σίσυφος"));
    EXPECT_FALSE(TextMatcher("grosse").isContainedIn("Dateigröße")) << "accents differ";
}

TEST(TextMatcherTest, anEmptyNeedleIsInEverything) {
    EXPECT_TRUE(TextMatcher("").isContainedIn(""));
    EXPECT_TRUE(TextMatcher("").isContainedIn("x"));
    EXPECT_FALSE(TextMatcher("x").isContainedIn(""));
}

TEST(TextMatcherTest, asciiNeedlesAreFoundInTextThatIsNot) {
    EXPECT_TRUE(TextMatcher("ss").isContainedIn("Straße"));
    EXPECT_TRUE(TextMatcher("datei").isContainedIn("Große Datei"));
}

TEST(TextMatcherTest, composedAndDecomposedSpellingsFindEachOther) {
    EXPECT_TRUE(TextMatcher("é").isContainedIn("cafe\u0301"));
    EXPECT_TRUE(TextMatcher("cafe\u0301").isContainedIn("CAFÉ"));
}

TEST(TextMatcherTest, bytesThatAreNoTextDoNoHarm) {
    EXPECT_TRUE(TextMatcher("name").isContainedIn("\xFF\xFEname\xC3"));
    EXPECT_FALSE(TextMatcher("x").isContainedIn("\xFF"));
    TextMatcher moved = TextMatcher("\xFF");
    EXPECT_FALSE(moved.isContainedIn("abc"));
}

TEST(LowercasedTest, followsNoLanguage) {
    EXPECT_EQ(lowercased("JPG"), "jpg");
    EXPECT_EQ(lowercased("TITLE"), "title");
    EXPECT_EQ(lowercased("ÄÖ"), "äö");
    EXPECT_EQ(lowercased("A\xFFZ"), "a\xFFz");
    EXPECT_EQ(lowercased(""), "");
}

TEST(NumberTextTest, countsAreGrouped) {
    EXPECT_EQ(groupedCount(0), "0");
    EXPECT_EQ(groupedCount(999), "999");
    EXPECT_EQ(groupedCount(12'408), "12,408");
    EXPECT_EQ(groupedCount(-1'234'567), "-1,234,567");
    EXPECT_EQ(groupedCount(std::numeric_limits<std::int64_t>::max()), "9,223,372,036,854,775,807");
}

TEST(NumberTextTest, manyThreadsMayFormatAtOnce) {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([] {
            for (int round = 0; round < 500; ++round) {
                EXPECT_EQ(groupedCount(12'408), "12,408");
                EXPECT_EQ(shareText(0.618), "61.8%");
                EXPECT_FALSE(shortDateText(0).empty());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(NumberTextTest, aShareHasOneDecimal) {
    EXPECT_EQ(shareText(0.618), "61.8%");
    EXPECT_EQ(shareText(0), "0.0%");
    EXPECT_EQ(shareText(1), "100.0%");
    EXPECT_EQ(shareText(0.00049), "0.0%");
    EXPECT_EQ(shareText(0.12345), "12.3%");
    EXPECT_EQ(shareText(12'345), "1234500.0%") << "nothing is grouped";
}

TEST(NumberTextTest, aShareThatIsNoNumberIsNone) {
    EXPECT_EQ(shareText(std::numeric_limits<double>::quiet_NaN()), "0.0%");
    EXPECT_EQ(shareText(std::numeric_limits<double>::infinity()), "0.0%");
    EXPECT_EQ(shareText(std::numeric_limits<double>::max() / 100).size(), 312U);
}

// The tests run in UTC and without a locale.
TEST(DateTextTest, dateAndTimeStandTogetherAndByThemselves) {
    constexpr double moment = 1'795'284'240;  // 21 November 2026, 18:04
    EXPECT_EQ(shortDateText(moment), "21 Nov 2026, 18:04");
    EXPECT_EQ(shortDateText(moment + 59.999), "21 Nov 2026, 18:04") << "seconds are left out, not rounded";
    EXPECT_EQ(dayText(moment), "21 Nov 2026");
    EXPECT_EQ(timeText(moment), "18:04");
    EXPECT_EQ(shortDateText(-0.5), "31 Dec 1969, 23:59");
}

TEST(DateTextTest, whatNoCalendarHasIsEmpty) {
    for (const double seconds :
         {1e300, -1e300, 253'402'300'800.0, -62'135'596'801.0, std::numeric_limits<double>::quiet_NaN(),
          std::numeric_limits<double>::infinity()}) {
        EXPECT_EQ(shortDateText(seconds) + dayText(seconds) + timeText(seconds), "") << seconds;
        EXPECT_EQ(localDay(seconds), std::nullopt) << seconds;
    }
    EXPECT_EQ(shortDateText(253'402'300'799.0), "31 Dec 9999, 23:59");
}

TEST(DateTextTest, daysAreCountedFromMidnightToMidnight) {
    constexpr double midnight = 1'795'219'200;  // of 21 November 2026
    const int day = localDay(midnight).value();
    EXPECT_EQ(localDay(midnight - 1), day - 1);
    EXPECT_EQ(localDay(midnight + 86'399), day);
    EXPECT_EQ(localDay(midnight + 86'400), day + 1);
}

// A process of its own for each, in which no locale was asked for yet.
class LocaleDeathTest : public testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(LocaleDeathTest, groupingAndDecimalsFollowTheEnvironment) {
    EXPECT_EXIT(
        {
            setenv("LC_ALL", "de_DE.UTF-8", 1);
            std::exit(groupedCount(12'408) == "12.408" && decimalSeparator() == "," ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(LocaleDeathTest, aShareIsWrittenTheSameInEveryLocale) {
    EXPECT_EXIT(
        {
            setenv("LC_ALL", "de_DE.UTF-8", 1);
            std::setlocale(LC_ALL, "");
            std::exit(decimalSeparator() == "," && shareText(0.618) == "61.8%" ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(LocaleDeathTest, datesFollowTheEnvironmentAndItsTimeZone) {
    EXPECT_EXIT(
        {
            setenv("LC_ALL", "de_DE.UTF-8", 1);
            setenv("TZ", "Europe/Berlin", 1);
            constexpr double moment = 1'795'303'800;  // 21 November 2026, 23:30 in UTC
            std::exit(shortDateText(moment) == "22.11.2026, 00:30" &&
                              localDay(moment) == localDay(moment + 3'600)
                          ? 0
                          : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(LocaleDeathTest, thePlainLocaleGroupsAsEnglish) {
    for (const char* locale : {"C", "POSIX", "C.UTF-8"}) {
        EXPECT_EXIT(
            {
                setenv("LC_ALL", locale, 1);
                std::exit(groupedCount(12'408) == "12,408" ? 0 : 1);
            },
            testing::ExitedWithCode(0), "");
    }
}

TEST_F(LocaleDeathTest, aCategoryOfItsOwnComesBeforeTheLanguage) {
    EXPECT_EXIT(
        {
            unsetenv("LC_ALL");
            setenv("LANG", "en_US.UTF-8", 1);
            setenv("LC_NUMERIC", "de_DE.UTF-8", 1);
            std::exit(groupedCount(12'408) == "12.408" ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(LocaleDeathTest, theSearchKnowsTheTurkishPairsOfI) {
    EXPECT_EXIT(
        {
            setenv("LC_ALL", "tr_TR.UTF-8", 1);
            const bool pairs = TextMatcher("İ").isContainedIn("i") && TextMatcher("I").isContainedIn("ı");
            std::exit(pairs && !TextMatcher("I").isContainedIn("i") ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace larkfold
