#include "shell/updates/AppVersion.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace larkfold {
namespace {

AppVersion version(std::string_view text) {
    const auto parsed = AppVersion::parse(text);
    EXPECT_TRUE(parsed.has_value()) << text;
    return parsed.value_or(*AppVersion::parse("0"));
}

TEST(AppVersionTest, eachOfTheseIsOlderThanTheNext) {
    const std::vector<std::string> ascending{
        "0.0.0-1",
        "0",
        "0.0.1",
        "0.1.0-alpha",
        "0.1.0-alpha.1",
        "0.1.0-alpha.beta",
        "0.1.0-beta",
        "0.1.0-beta.2",
        "0.1.0-beta.11",
        "0.1.0-rc.1",
        "0.1.0",
        "0.1.0.1",
        "0.2",
        "0.9.9",
        "0.10",
        "1.0",
        "1.0.0.0.0.1",
        "2",
        "10",
        "20240101",
        "999999999",
    };
    for (std::size_t left = 0; left < ascending.size(); ++left) {
        for (std::size_t right = 0; right < ascending.size(); ++right) {
            EXPECT_EQ(version(ascending[left]) <=> version(ascending[right]), left <=> right)
                << ascending[left] << " and " << ascending[right];
        }
    }
}

TEST(AppVersionTest, numbersThatAreNotThereAndBuildNamesDoNotCount) {
    EXPECT_EQ(version("1"), version("1.0.0"));
    EXPECT_EQ(version("1.0+build.7"), version("1"));
    EXPECT_EQ(version("1.0-rc.1+a"), version("1-rc.1+b"));
    EXPECT_EQ(version("01.002"), version("1.2"));
    EXPECT_EQ(version("1.0+build.7").text(), "1.0+build.7");
}

TEST(AppVersionTest, preliminaryOnesAreKnown) {
    EXPECT_TRUE(version("1.0-beta").isPreliminary());
    EXPECT_FALSE(version("1.0").isPreliminary());
    EXPECT_FALSE(version("1.0+beta").isPreliminary());
}

TEST(AppVersionTest, everythingElseIsNoVersion) {
    for (const char* text : {"",
                             ".",
                             "1.",
                             ".1",
                             "1..2",
                             "v1.0",
                             "1.0 ",
                             " 1.0",
                             "-1",
                             "1-",
                             "1.0-",
                             "1.0+",
                             "1.0-a..b",
                             "1.0-ä",
                             "1,0",
                             "one",
                             "1.0.0.0.0.0.1",
                             "1234567890",
                             "1.0-1234567890",
                             "0x1",
                             "1e3",
                             "1.0\n",
                             "+1"}) {
        EXPECT_FALSE(AppVersion::parse(text).has_value()) << text;
    }
    EXPECT_TRUE(AppVersion::parse("1-" + std::string(62, 'a')).has_value());
    EXPECT_FALSE(AppVersion::parse("1-" + std::string(63, 'a')).has_value());
    EXPECT_FALSE(AppVersion::parse(std::string_view("1\0", 2)).has_value());
}

}  // namespace
}  // namespace larkfold
