#include "support/UnprivilegedUser.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "support/ChildProcess.h"
#include "support/MachineRequirements.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {

namespace {

constexpr uid_t nobody = 65534;

// Goes at the end, whatever was left there.
struct Removed {
    const std::string& folder;
    ~Removed() { removeTree(folder); }
};

void becomeUser(const std::string& home) {
    if (geteuid() == 0) {
        ASSERT_EQ(setgroups(0, nullptr), 0);
        ASSERT_EQ(setresgid(nobody, nobody, nobody), 0);
        ASSERT_EQ(setresuid(nobody, nobody, nobody), 0);
    }
    const std::string temporaries = home + "/tmp";
    ASSERT_EQ(mkdir(temporaries.c_str(), 0700), 0);
    ASSERT_EQ(chdir(home.c_str()), 0);
    setenv("HOME", home.c_str(), 1);
    setenv("TMPDIR", temporaries.c_str(), 1);
    for (const char* variable : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME"}) {
        unsetenv(variable);
    }
}

}  // namespace

void asUnprivilegedUser(const std::function<void(const std::string& home)>& work) {
    if (geteuid() == 0) {
        require(Need::otherUsers);
    }
    // Directly below the system's folder for temporaries: the surroundings of a test are closed to other
    // users.
    std::string home = "/tmp/larkfold-user.XXXXXX";
    ASSERT_NE(mkdtemp(home.data()), nullptr) << std::strerror(errno);
    const Removed removed{home};
    if (geteuid() == 0) {
        ASSERT_EQ(chown(home.c_str(), nobody, nobody), 0) << std::strerror(errno);
    }
    inChildProcess([&] {
        becomeUser(home);
        if (!testing::Test::HasFatalFailure()) {
            work(home);
        }
    });
}

}  // namespace larkfold::test
