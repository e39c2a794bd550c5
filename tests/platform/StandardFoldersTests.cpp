#include "platform/StandardFolders.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <string>

#include "platform/HomeRule.h"

namespace larkfold {
namespace {

// Sets a variable for one test, and puts back what was there.
class Variable {
public:
    Variable(const char* name, const char* value) : name_(name) {
        if (const char* old = std::getenv(name)) {
            old_ = old;
        }
        if (value != nullptr) {
            setenv(name, value, 1);
        } else {
            unsetenv(name);
        }
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;
    ~Variable() {
        if (old_) {
            setenv(name_, old_->c_str(), 1);
        } else {
            unsetenv(name_);
        }
    }

private:
    const char* name_;
    std::optional<std::string> old_;
};

TEST(StandardFoldersTest, homeIsTheEnvironmentsAndTheRealHomeTheAccounts) {
    const Variable home("HOME", "/somewhere//else/");
    EXPECT_EQ(homeDirectoryForCurrentUser(), "/somewhere/else");
    EXPECT_EQ(realHomeDirectory(), getpwuid(getuid())->pw_dir);
}

TEST(StandardFoldersTest, aHomeThatIsNoAbsolutePathDoesNotCount) {
    for (const char* value : {static_cast<const char*>(nullptr), "", "relative/home"}) {
        const Variable home("HOME", value);
        EXPECT_EQ(homeDirectoryForCurrentUser(), realHomeDirectory());
    }
}

TEST(StandardFoldersTest, foldersFollowTheDesktopsVariables) {
    const Variable home("HOME", "/h");
    {
        const Variable data("XDG_DATA_HOME", nullptr);
        const Variable configuration("XDG_CONFIG_HOME", "relative");
        EXPECT_EQ(applicationSupportDirectory(), "/h/.local/share");
        EXPECT_EQ(configurationDirectory(), "/h/.config");
    }
    const Variable data("XDG_DATA_HOME", "/data\xFF/");
    const Variable configuration("XDG_CONFIG_HOME", "/configuration");
    EXPECT_EQ(applicationSupportDirectory(), "/data\xFF");
    EXPECT_EQ(configurationDirectory(), "/configuration");
}

TEST(HomeRuleTest, theAccountsHomeWinsUnlessItLiesInAContainer) {
    EXPECT_EQ(realHomeDirectory("/home/ada", "/elsewhere"), "/home/ada");
    EXPECT_EQ(realHomeDirectory("/Users/ada/Library/Containers/app/Data", "/Users/ada"), "/Users/ada");
    EXPECT_EQ(realHomeDirectory("", "/home/ada/"), "/home/ada");
}

TEST(HomeRuleTest, aContainersHomeLeadsBackToItsUser) {
    EXPECT_EQ(realHomeDirectory("", "/Users/ada/Library/Containers/app/Data"), "/Users/ada");
    EXPECT_EQ(realHomeDirectory("", "/Users/ada/Library/Containers"), "/Users/ada");
    EXPECT_EQ(realHomeDirectory("", "/Users/ada/Library"), "/Users/ada/Library");
    EXPECT_EQ(realHomeDirectory("", "/home/ada/Library/Containers"), "/home/ada/Library/Containers");
    EXPECT_EQ(realHomeDirectory("", "/"), "/");
}

}  // namespace
}  // namespace larkfold
