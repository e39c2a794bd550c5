#include "removal/RunningApplication.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <span>
#include <string>

#include "removal/ApplicationTokens.h"

namespace larkfold::test {
namespace {

using testing::Each;
using testing::Field;
using testing::Not;

std::optional<std::string> match(const std::string& path, const std::string& identifier,
                                 const std::string& name = "The Application") {
    return RunningApplication::match(path, {{.name = name, .bundleID = identifier}});
}

constexpr const char* hit = "The Application";

TEST(RunningApplication, match_comparesWholeComponentsInAnyCase) {
    EXPECT_EQ(match("/home/ada/ZOOM/data", "us.zoom.xos"), hit);
    EXPECT_EQ(match("/home/ada/zoomed/data", "us.zoom.xos"), std::nullopt);
    EXPECT_EQ(match("/home/ada/Library/Caches/com.apple.Safari", "com.apple.Safari"), hit);
    EXPECT_EQ(match("/home/ada/Library/Caches/com.apple.Safari.x", "com.apple.Safari"), std::nullopt);
    EXPECT_EQ(match("/home/ada/mychrome/x", "com.google.Chrome"), std::nullopt);
}

TEST(RunningApplication, match_knowsTheNameTheIdentifierAndTheTokens) {
    EXPECT_EQ(match("/x/Google/y", "com.google.Chrome"), hit);
    EXPECT_EQ(match("/x/Chrome", "com.google.Chrome"), hit);
    EXPECT_EQ(match("/x/com.google.chrome/y", "com.google.Chrome"), hit);
    EXPECT_EQ(match("/x/the application/y", "com.google.Chrome"), hit);
    EXPECT_EQ(match("/home/ada/.cache/mozilla/firefox", "firefox-esr"), hit);
    EXPECT_EQ(match("/home/ada/.config/Code/Cache", "com.visualstudio.Code"), hit);
    EXPECT_EQ(match("/home/ada/.config/Microsoft Teams", "com.github.IsmaelMartinez.teams_for_linux"), hit);
    EXPECT_EQ(match("/home/ada/.var/app/com.discordapp.Discord/cache", "discord"), hit);
    EXPECT_EQ(match("/home/ada/.zoom/data", "Zoom"), hit);
    EXPECT_EQ(match("/home/ada/unknown", "org.example.Unknown", "unknown"), "unknown");
}

TEST(RunningApplication, match_tokensBelongToTheirOwnApplicationAlone) {
    EXPECT_EQ(match("/x/mozilla", "org.example.Mozilla"), std::nullopt);
    EXPECT_EQ(match("/x/code", "org.example.Editor"), std::nullopt);
}

TEST(RunningApplication, match_theFirstInTheListWins) {
    const std::vector<RunningApplication> applications = {{.name = "None", .bundleID = "none"},
                                                          {.name = "Chromium", .bundleID = "chromium"},
                                                          {.name = "Zoom", .bundleID = "us.zoom.xos"}};
    EXPECT_EQ(RunningApplication::match("/zoom/chromium", applications), "Chromium");
    EXPECT_EQ(RunningApplication::match("/zoom/x", applications), "Zoom");
    EXPECT_EQ(RunningApplication::match("/x", applications), std::nullopt);
    EXPECT_EQ(RunningApplication::match("/zoom", {}), std::nullopt);
}

TEST(RunningApplication, match_standardizesThePathAndFollowsNoLinks) {
    EXPECT_EQ(match("/a/./b//Zoom/../c", "us.zoom.xos"), std::nullopt);
    EXPECT_EQ(match("/a/b/../Zoom//c", "us.zoom.xos"), hit);
    EXPECT_EQ(match("/", "us.zoom.xos"), std::nullopt);
}

TEST(RunningApplication, match_lettersOfAllLanguagesHaveACase) {
    EXPECT_EQ(match("/home/ada/ÜBERSICHT", "org.example.o", "Übersicht"), "Übersicht");
    EXPECT_EQ(match("/home/ada/\xFF", "org.example.o", "\xFF"), "\xFF");
}

TEST(RunningApplication, match_emptyNamesMatchNothing) {
    EXPECT_EQ(match("/home//ada", "", ""), std::nullopt);
    EXPECT_EQ(match("/", "", ""), std::nullopt);
}

// The running file manager must not hold back what lies in a Trash.
TEST(RunningApplication, match_theTrashsOwnFoldersBelongToNoApplication) {
    const std::vector<RunningApplication> applications = {{.name = "Files", .bundleID = "org.gnome.Nautilus"},
                                                          {.name = "Trash", .bundleID = "org.example.Trash"},
                                                          {.name = "Info", .bundleID = "org.example.Info"},
                                                          {.name = "1000", .bundleID = "org.example.1000"}};
    for (const char* path :
         {"/home/ada/.local/share/Trash/files/old", "/home/ada/.local/share/Trash/info/old",
          "/mnt/disk/.Trash-1000/files/old", "/mnt/disk/.Trash/1000/files/old"}) {
        EXPECT_EQ(RunningApplication::match(path, applications), std::nullopt) << path;
    }
    // What bears such a name elsewhere, or below a Trash, does.
    EXPECT_EQ(RunningApplication::match("/home/ada/Files/old", applications), "Files");
    EXPECT_EQ(RunningApplication::match("/home/ada/.local/share/Trash/files/files", applications), "Files");
    EXPECT_EQ(RunningApplication::match("/home/ada/.local/share/Trash/other", applications), "Trash");
    EXPECT_EQ(RunningApplication::match("/home/ada/.Trash-x/files", applications), "Files");
    EXPECT_EQ(RunningApplication::match("/home/ada/.Trash/1000/other", applications), "1000");
}

void expectSoundRows(std::span<const ApplicationTokens> rows) {
    std::set<std::string_view> identifiers;
    const auto isLowerCase = [](std::string_view text) {
        return std::none_of(text.begin(), text.end(),
                            [](char c) { return (c >= 'A' && c <= 'Z') || c == '/'; });
    };
    for (const ApplicationTokens& row : rows) {
        EXPECT_FALSE(row.identifier.empty());
        EXPECT_TRUE(identifiers.insert(row.identifier).second) << row.identifier << " stands twice";
        EXPECT_TRUE(isLowerCase(row.identifier)) << row.identifier;
        EXPECT_FALSE(row.tokens[0].empty()) << row.identifier;
        for (const std::string_view token : row.tokens) {
            EXPECT_TRUE(isLowerCase(token)) << token;
        }
    }
}

TEST(ApplicationTokens, eachIdentifierHasOneRow_inLowerCase) {
    expectSoundRows(macOSApplicationTokens);
    expectSoundRows(linuxApplicationTokens);
    EXPECT_EQ(std::size(macOSApplicationTokens), 12U);
    EXPECT_EQ(std::size(linuxApplicationTokens), 32U);
}

TEST(ApplicationTokens, eachRow_isMatched) {
    for (const auto& rows : {std::span<const ApplicationTokens>(macOSApplicationTokens),
                             std::span<const ApplicationTokens>(linuxApplicationTokens)}) {
        for (const ApplicationTokens& row : rows) {
            for (const std::string_view token : row.tokens) {
                if (!token.empty()) {
                    EXPECT_EQ(match("/x/" + std::string(token) + "/y", std::string(row.identifier)), hit)
                        << token;
                }
            }
        }
    }
}

TEST(RunningApplication, current_hasAnIdentifierForEach) {
    EXPECT_THAT(RunningApplication::current(), Each(Field(&RunningApplication::bundleID, Not(""))));
}

}  // namespace
}  // namespace larkfold::test
