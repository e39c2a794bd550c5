#include "platform/ByteCountFormatter.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>

namespace larkfold {
namespace {

struct Row {
    std::int64_t bytes;
    const char* text;
};

TEST(ByteCountFormatterTest, everyBoundaryIsExact) {
    constexpr Row rows[] = {
        {0, "Zero KB"},
        {1, "1 byte"},
        {2, "2 bytes"},
        {999, "999 bytes"},
        {1'000, "1 KB"},
        {1'499, "1 KB"},
        {1'500, "2 KB"},
        {999'499, "999 KB"},
        {999'500, "1 MB"},
        {1'000'000, "1 MB"},
        {1'049'999, "1 MB"},
        {1'050'000, "1.1 MB"},
        {1'200'000, "1.2 MB"},
        {12'345'678, "12.3 MB"},
        {999'949'999, "999.9 MB"},
        {999'950'000, "1 GB"},
        {1'000'000'000, "1 GB"},
        {1'004'999'999, "1 GB"},
        {1'005'000'000, "1.01 GB"},
        {1'100'000'000, "1.1 GB"},
        {3'456'789'012, "3.46 GB"},
        {61'800'000'000, "61.8 GB"},
        {999'994'999'999, "999.99 GB"},
        {999'995'000'000, "1 TB"},
        {1'230'000'000'000, "1.23 TB"},
        {999'994'999'999'999, "999.99 TB"},
        {999'995'000'000'000, "1 PB"},
        {999'994'999'999'999'999, "999.99 PB"},
        {999'995'000'000'000'000, "1 EB"},
        {std::numeric_limits<std::int64_t>::max(), "9.22 EB"},
        {-1, "-1 byte"},
        {-999, "-999 bytes"},
        {-999'500, "-1 MB"},
        {-1'200'000, "-1.2 MB"},
        {std::numeric_limits<std::int64_t>::min(), "-9.22 EB"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(formattedByteCount(row.bytes), row.text) << row.bytes;
    }
}

TEST(ByteCountFormatterTest, noTextEverSaysAThousandOfAUnit) {
    for (std::int64_t power = 1'000; power < 1'000'000'000'000'000'000; power *= 10) {
        for (std::int64_t part = power / 1'000; part > 0; part /= 10) {
            for (const std::int64_t bytes : {power - part, power - part / 2, power + part}) {
                EXPECT_FALSE(formattedByteCount(bytes).starts_with("1000")) << bytes;
            }
        }
    }
}

TEST(ByteCountFormatterDeathTest, theSeparatorIsTheLocales) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // a new process, in which no locale was asked for yet
    EXPECT_EXIT(
        {
            setenv("LC_ALL", "de_DE.UTF-8", 1);
            std::exit(formattedByteCount(1'200'000) == "1,2 MB" ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace larkfold
