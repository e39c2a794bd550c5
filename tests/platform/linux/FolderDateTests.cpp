#include "platform/linux/watch/FolderDate.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <string>

namespace larkfold {
namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;

constexpr std::int64_t inSecond = 1'000'000'000;

FolderMoment moment(std::int64_t wholeSeconds, std::int64_t rest) {
    return FolderMoment(seconds(wholeSeconds) + nanoseconds(rest));
}

TEST(FolderDate, ofAFileSystemThatKeepsFewerDigits_countsForAllThatWasCutOff) {
    struct Row {
        const char* what;
        timespec date;
        FolderMoment since;
        bool mayBe;
    };
    const Row rows[] = {
        {"two seconds, the same", {10, 0}, moment(10, 500'000'000), true},
        {"two seconds, the end of the step", {10, 0}, moment(11, 999'000'000), true},
        {"two seconds, the next step", {10, 0}, moment(12, 0), false},
        {"whole seconds, an odd one", {11, 0}, moment(11, 999'000'000), true},
        {"whole seconds, long before", {9, 0}, moment(11, 999'000'000), false},
        {"hundredths", {10, 120'000'000}, moment(10, 129'999'999), true},
        {"hundredths, the next one", {10, 120'000'000}, moment(10, 130'000'000), false},
        {"hundredths that look like tenths", {10, 100'000'000}, moment(10, 109'000'000), true},
        {"units of 100 ns", {10, 123'456'700}, moment(10, 123'456'799), true},
        {"units of 100 ns, the next one", {10, 123'456'700}, moment(10, 123'456'800), false},
        {"all digits, the same", {10, 123'456'789}, moment(10, 123'456'789), true},
        {"all digits, the next one", {10, 123'456'789}, moment(10, 123'456'790), false},
        {"before 1970", {-4, 0}, moment(-3, 500'000'000), true},
        {"before 1970, the next step", {-4, 0}, moment(-2, 0), false},
        {"further away than nanoseconds reach", {std::numeric_limits<time_t>::max(), 1}, moment(10, 0), true},
        {"further back than nanoseconds reach",
         {std::numeric_limits<time_t>::min(), 1},
         moment(10, 0),
         false},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(mayBeSince(row.date, row.since), row.mayBe) << row.what;
    }
}

// Whatever a file system keeps, and whenever within a step the change was: it is never missed, and one of a
// whole step before is told apart where the date has any digits.
TEST(FolderDate, ofAChangeSinceTheMoment_isNeverMissed) {
    std::mt19937_64 random(7);
    const auto number = [&](std::int64_t below) {
        return std::uniform_int_distribution<std::int64_t>(0, below - 1)(random);
    };
    for (const std::int64_t step :
         {std::int64_t{1}, std::int64_t{100}, std::int64_t{1'000}, std::int64_t{1'000'000},
          std::int64_t{10'000'000}, inSecond, 2 * inSecond}) {
        for (int round = 0; round < 20'000; ++round) {
            const std::int64_t since = 1'700'000'000 * inSecond + number(4 * inSecond);
            const std::int64_t change = since + (round % 2 == 0 ? number(step) : number(4 * inSecond));
            const std::int64_t kept = change - change % step;
            EXPECT_TRUE(mayBeSince({kept / inSecond, kept % inSecond}, FolderMoment(nanoseconds(since))))
                << "step " << step << ", changed " << change - since << " ns after " << since;
            const std::int64_t before = since - 3 * inSecond - number(inSecond);
            const std::int64_t keptBefore = before - before % step;
            EXPECT_FALSE(
                mayBeSince({keptBefore / inSecond, keptBefore % inSecond}, FolderMoment(nanoseconds(since))))
                << "step " << step << ", changed " << since - before << " ns before " << since;
        }
    }
}

}  // namespace
}  // namespace larkfold
