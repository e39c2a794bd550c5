#include "support/UnprivilegedUser.h"

#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "support/TemporaryTree.h"

namespace larkfold::test {

namespace {

constexpr uid_t nobody = 65534;

// How many assertions of the running test have failed so far.
int failureCount() {
    const testing::TestResult& result = *testing::UnitTest::GetInstance()->current_test_info()->result();
    int count = 0;
    for (int part = 0; part < result.total_part_count(); ++part) {
        count += result.GetTestPartResult(part).failed() ? 1 : 0;
    }
    return count;
}

// Exit codes of the child.
constexpr int succeeded = 0;
constexpr int failed = 1;
constexpr int notBecome = 2;

[[noreturn]] void runChild(const std::string& home, const std::function<void(const std::string&)>& work) {
    if (geteuid() == 0 && (setgroups(0, nullptr) != 0 || setresgid(nobody, nobody, nobody) != 0 ||
                           setresuid(nobody, nobody, nobody) != 0)) {
        _exit(notBecome);
    }
    const std::string temporaries = home + "/tmp";
    if (mkdir(temporaries.c_str(), 0700) != 0 || chdir(home.c_str()) != 0) {
        _exit(notBecome);
    }
    setenv("HOME", home.c_str(), 1);
    setenv("TMPDIR", temporaries.c_str(), 1);
    for (const char* variable : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME"}) {
        unsetenv(variable);
    }
    const int before = failureCount();
    int code = succeeded;
    try {
        work(home);
    } catch (const std::exception& error) {
        std::printf("The function threw: %s\n", error.what());
        code = failed;
    }
    if (failureCount() > before) {
        code = failed;
    }
    std::fflush(stdout);
    std::fflush(stderr);
    // Not `exit`: what the parent registered for its own end is none of the child's.
    _exit(code);
}

}  // namespace

testing::AssertionResult asUnprivilegedUser(const std::function<void(const std::string& home)>& work) {
    // Directly below the system's folder for temporaries: the surroundings of a test are closed to other
    // users.
    std::string home = "/tmp/larkfold-user.XXXXXX";
    if (mkdtemp(home.data()) == nullptr) {
        return testing::AssertionFailure() << "no home folder could be made: " << std::strerror(errno);
    }
    if (geteuid() == 0 && chown(home.c_str(), nobody, nobody) != 0) {
        rmdir(home.c_str());
        return testing::AssertionFailure()
               << "the home folder could not be given away: " << std::strerror(errno);
    }
    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t child = fork();
    if (child == 0) {
        runChild(home, work);
    }
    int status = 0;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    removeTree(home);
    if (child < 0) {
        return testing::AssertionFailure() << "no child process could be made";
    }
    if (WIFSIGNALED(status)) {
        return testing::AssertionFailure() << "the child process ended by signal " << WTERMSIG(status);
    }
    if (WEXITSTATUS(status) == notBecome) {
        return testing::AssertionFailure() << "the child process could not become an ordinary user";
    }
    return WEXITSTATUS(status) == succeeded
               ? testing::AssertionSuccess()
               : testing::AssertionFailure() << "an assertion failed as an ordinary user";
}

}  // namespace larkfold::test
