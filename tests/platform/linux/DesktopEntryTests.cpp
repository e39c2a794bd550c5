#include "platform/linux/desktop/DesktopEntry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

namespace larkfold::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

DesktopEntry entry(const std::string& lines, const std::vector<std::string>& variants = {}) {
    const auto parsed = parseDesktopEntry("[Desktop Entry]\nType=Application\n" + lines, variants);
    EXPECT_TRUE(parsed) << lines;
    return parsed.value_or(DesktopEntry{});
}

TEST(DesktopEntry, isReadWithItsNameAndCommand) {
    const DesktopEntry read =
        entry("# a comment\nName = Web Browser\nExec=/usr/bin/browser --new-window %u\nTryExec=browser\n");
    EXPECT_EQ(read.name, "Web Browser");
    EXPECT_THAT(read.command, ElementsAre("/usr/bin/browser", "--new-window"));
    EXPECT_EQ(read.tryProgram, "browser");
    EXPECT_TRUE(read.isShown);
    EXPECT_FALSE(read.isHidden);
}

TEST(DesktopEntry, theNameOfTheBestLanguageWins_whateverTheOrder) {
    const std::string lines =
        "Name[de]=Dateien\nName[fr]=Fichiers\nName=Files\nName[de_AT]=Dateien in Wien\n";
    EXPECT_EQ(entry(lines, localeVariants("de_DE.UTF-8")).name, "Dateien");
    EXPECT_EQ(entry(lines, localeVariants("de_AT.UTF-8")).name, "Dateien in Wien");
    EXPECT_EQ(entry(lines, localeVariants("it_IT")).name, "Files");
    EXPECT_EQ(entry(lines, localeVariants("C")).name, "Files");
}

TEST(DesktopEntry, localeVariants_areThoseOfTheSpecificationInItsOrder) {
    EXPECT_THAT(localeVariants("sr_YU.UTF-8@Latn"), ElementsAre("sr_YU@Latn", "sr_YU", "sr@Latn", "sr"));
    EXPECT_THAT(localeVariants("de_DE.UTF-8"), ElementsAre("de_DE", "de"));
    EXPECT_THAT(localeVariants("de"), ElementsAre("de"));
    EXPECT_THAT(localeVariants("C.UTF-8"), IsEmpty());
    EXPECT_THAT(localeVariants("POSIX"), IsEmpty());
    EXPECT_THAT(localeVariants(""), IsEmpty());
}

TEST(DesktopEntry, theLocaleOfMessages_isTheFirstThatIsSet) {
    struct Environment {
        const char* name;
        const char* value;
    };
    const auto localeWith = [](const std::vector<Environment>& settings) {
        for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
            unsetenv(name);
        }
        for (const Environment& one : settings) {
            setenv(one.name, one.value, 1);
        }
        return messagesLocale();
    };
    EXPECT_EQ(localeWith({{"LANG", "de_DE"}}), "de_DE");
    EXPECT_EQ(localeWith({{"LANG", "de_DE"}, {"LC_MESSAGES", "fr_FR"}}), "fr_FR");
    EXPECT_EQ(localeWith({{"LANG", "de_DE"}, {"LC_MESSAGES", "fr_FR"}, {"LC_ALL", "C"}}), "C");
    EXPECT_EQ(localeWith({{"LANG", "de_DE"}, {"LC_MESSAGES", ""}}), "de_DE");
    EXPECT_EQ(localeWith({}), "");
    setenv("LC_ALL", "C.UTF-8", 1);
}

TEST(DesktopEntry, otherGroups_areLeftAside) {
    const auto read = parseDesktopEntry(
        "Name=Before\n[Desktop Entry]\nName=Editor\nType=Application\n[Desktop Action "
        "new]\nName=New\nExec=other\n",
        {});
    ASSERT_TRUE(read);
    EXPECT_EQ(read->name, "Editor");
    EXPECT_THAT(read->command, IsEmpty());
}

TEST(DesktopEntry, whatIsNoApplication_isNone) {
    EXPECT_FALSE(parseDesktopEntry("[Desktop Entry]\nType=Link\nName=A\n", {}));
    EXPECT_FALSE(parseDesktopEntry("[Desktop Entry]\nName=A\n", {}));
    EXPECT_FALSE(parseDesktopEntry("Type=Application\n", {}));
    EXPECT_FALSE(parseDesktopEntry("", {}));
    EXPECT_FALSE(parseDesktopEntry(std::string(1'000, '\0'), {}));
}

TEST(DesktopEntry, quotedCommands_comeApartAtTheirWords) {
    EXPECT_THAT(entry("Exec=\"/opt/My App/run\" --flag \"two words\" %F\n").command,
                ElementsAre("/opt/My App/run", "--flag", "two words"));
    EXPECT_THAT(entry("Exec=\"/opt/a\\\\\"b\" x\n").command, ElementsAre("/opt/a\"b", "x"));
    EXPECT_THAT(entry("Exec=env A=1 app %i\r\n").command, ElementsAre("env", "A=1", "app"));
    EXPECT_THAT(entry("Exec=\n").command, IsEmpty());
    EXPECT_THAT(entry("Exec=\"unclosed word\n").command, ElementsAre("unclosed word"));
}

TEST(DesktopEntry, notShownAndHidden_areTold) {
    EXPECT_FALSE(entry("NoDisplay=true\n").isShown);
    EXPECT_TRUE(entry("NoDisplay=false\n").isShown);
    EXPECT_TRUE(entry("Hidden=true\n").isHidden);
}

TEST(DesktopEntry, escapes_areUndone) {
    EXPECT_EQ(entry("Name=A\\sB\\\\C\\tD\n").name, "A B\\C\tD");
}

}  // namespace
}  // namespace larkfold::test
