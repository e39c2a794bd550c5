#include "shell/kit/DateTexts.h"

#include <gtest/gtest.h>

#include <limits>

namespace larkfold {
namespace {

// 18 November 2026, 11:06:40 in the time of the tests, which is UTC.
constexpr double kMoment = 1'795'000'000;
constexpr double kDay = 86'400;

QString age(double seconds, double now) {
    return texts::age(dateFromSecondsSince1970(seconds), dateFromSecondsSince1970(now));
}

TEST(DateTextsTest, aDateIsShownWithItsTimeAndNoSeconds) {
    EXPECT_EQ(texts::dateAndTime(dateFromSecondsSince1970(kMoment)), "18 Nov 2026, 11:06");
    EXPECT_EQ(texts::dateAndTime(dateFromSecondsSince1970(-0.5)), "31 Dec 1969, 23:59");
}

TEST(DateTextsTest, anAgeIsToldInPlainWords) {
    EXPECT_EQ(age(kMoment, kMoment), "Today, 11:06");
    EXPECT_EQ(age(kMoment, kMoment + 12 * 3'600), "Today, 11:06");
    EXPECT_EQ(age(kMoment, kMoment + kDay), "Yesterday");
    EXPECT_EQ(age(kMoment, kMoment + 2 * kDay), "18 Nov 2026");
    EXPECT_EQ(age(kMoment, kMoment + 3'000 * kDay), "18 Nov 2026");
}

TEST(DateTextsTest, theDayChangesAtMidnightAndNotAfterSoManyHours) {
    constexpr double midnight = kMoment + (12 * 60 + 53) * 60 + 20;  // the next one
    EXPECT_EQ(age(midnight - 60, midnight - 1), "Today, 23:59");
    EXPECT_EQ(age(midnight - 60, midnight), "Yesterday");
    EXPECT_EQ(age(midnight - 60, midnight + kDay - 1), "Yesterday");
    EXPECT_EQ(age(midnight - 60, midnight + kDay), "18 Nov 2026");
}

TEST(DateTextsTest, aDateThatLiesAheadStandsAsItIs) {
    EXPECT_EQ(age(kMoment, kMoment - kDay), "18 Nov 2026");
}

TEST(DateTextsTest, whatNoCalendarHasIsUnknown) {
    for (const double seconds :
         {1e300, -1e300, 1e18, 253'402'300'800.0, -62'135'596'801.0, std::numeric_limits<double>::quiet_NaN(),
          std::numeric_limits<double>::infinity()}) {
        EXPECT_EQ(texts::dateAndTime(dateFromSecondsSince1970(seconds)), "Unknown date") << seconds;
        EXPECT_EQ(age(seconds, kMoment), "Unknown date") << seconds;
        EXPECT_EQ(age(kMoment, seconds), "Unknown date") << seconds;
    }
    EXPECT_EQ(texts::dateAndTime(dateFromSecondsSince1970(253'402'300'799.0)), "31 Dec 9999, 23:59");
}

}  // namespace
}  // namespace larkfold
