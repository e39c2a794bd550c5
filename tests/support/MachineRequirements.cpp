#include "support/MachineRequirements.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/ptrace.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <optional>
#include <string_view>

#include "support/TemporaryTree.h"

namespace larkfold::test {

namespace {

constexpr uid_t nobody = 65534;

bool writeText(const char* file, std::string_view text) {
    const int descriptor = open(file, O_WRONLY | O_CLOEXEC);
    const bool isWritten =
        descriptor >= 0 && write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    const int error = errno;
    close(descriptor);
    errno = error;
    return isWritten;
}

// Runs it in a child process; 0 or what the system said there.
int inChild(const std::function<int()>& attempt) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(attempt());
    }
    int status = 0;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return child < 0 ? errno : WIFEXITED(status) ? WEXITSTATUS(status) : EPERM;
}

int mountThere(const char* type, const std::string& options) {
    const TemporaryTree tree;
    if (mount("none", tree.root().c_str(), type, MS_NOSUID | MS_NODEV, options.c_str()) != 0) {
        return errno;
    }
    umount2(tree.root().c_str(), MNT_DETACH);
    return 0;
}

int tryMounts() {
    const int error = enterPrivateNamespace();
    return error != 0 ? error : mountThere("tmpfs", "size=1m");
}

int tryFuse() {
    if (const int error = enterPrivateNamespace(); error != 0) {
        return error;
    }
    const int connection = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    return connection < 0 ? errno
                          : mountThere("fuse", "fd=" + std::to_string(connection) +
                                                   ",rootmode=40000,user_id=0,group_id=0,allow_other");
}

int tryWatchLimits() {
    if (const int error = enterPrivateNamespace(); error != 0) {
        return error;
    }
    return unshare(CLONE_NEWUSER) == 0 && writeText("/proc/sys/user/max_inotify_watches", "50") ? 0 : errno;
}

int tryOtherUsers() {
    {
        TemporaryTree tree;
        if (chown(tree.file("file", "x").c_str(), nobody, nobody) != 0) {
            return errno;
        }
    }
    return setgroups(0, nullptr) == 0 && setresgid(nobody, nobody, nobody) == 0 &&
                   setresuid(nobody, nobody, nobody) == 0
               ? 0
               : errno;
}

// As the harness does: stops at a system call, asks which it is, and reads the memory.
int tryTracing() {
    static char byte = 'x';
    const pid_t child = fork();
    if (child == 0) {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
            _exit(errno);
        }
        raise(SIGSTOP);
        static_cast<void>(getppid());
        _exit(0);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        return errno;
    }
    if (!WIFSTOPPED(status)) {
        return WIFEXITED(status) ? WEXITSTATUS(status) : EPERM;
    }
    struct __ptrace_syscall_info information{};
    char copy = 0;
    const iovec here{.iov_base = &copy, .iov_len = 1};
    const iovec there{.iov_base = &byte, .iov_len = 1};
    // NOLINTBEGIN(performance-no-int-to-ptr): ptrace takes numbers as pointers
    const bool isTraced = ptrace(PTRACE_SETOPTIONS, child, nullptr,
                                 reinterpret_cast<void*>(PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL)) == 0 &&
                          ptrace(PTRACE_SYSCALL, child, nullptr, nullptr) == 0 &&
                          waitpid(child, &status, 0) == child && WIFSTOPPED(status) &&
                          ptrace(PTRACE_GET_SYSCALL_INFO, child, reinterpret_cast<void*>(sizeof information),
                                 &information) > 0 &&
                          process_vm_readv(child, &here, 1, &there, 1, 0) == 1;
    // NOLINTEND(performance-no-int-to-ptr)
    const int error = errno;
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    return isTraced ? 0 : error;
}

int tryImmutableFiles() {
    TemporaryTree tree;
    const int file = open(tree.file("file", "x").c_str(), O_RDONLY | O_CLOEXEC);
    int flags = 0;
    int error = ioctl(file, FS_IOC_GETFLAGS, &flags) == 0 ? 0 : errno;
    if (error == 0) {
        flags |= FS_IMMUTABLE_FL;
        error = ioctl(file, FS_IOC_SETFLAGS, &flags) == 0 ? 0 : errno;
        flags &= ~FS_IMMUTABLE_FL;
        ioctl(file, FS_IOC_SETFLAGS, &flags);
    }
    close(file);
    return error;
}

struct Row {
    Need need;
    const char* name;
    int (*attempt)();
    bool isTriedInAChild;
};

constexpr Row rows[] = {
    {Need::mounts, "mounts in a namespace of its own", tryMounts, true},
    {Need::watchLimits, "a limit of watched folders in a user namespace", tryWatchLimits, true},
    {Need::fuse, "a file system of its own by FUSE", tryFuse, true},
    {Need::tracing, "tracing of a program's system calls", tryTracing, false},
    {Need::otherUsers, "more than one user", tryOtherUsers, true},
    {Need::immutableFiles, "immutable files", tryImmutableFiles, false},
};

// What the system said, for each row, where it was tried.
std::array<std::optional<int>, std::size(rows)>& answers() {
    static std::array<std::optional<int>, std::size(rows)> kept;
    return kept;
}

int answer(Need need) {
    const auto at = static_cast<std::size_t>(need);
    std::optional<int>& kept = answers().at(at);
    if (!kept) {
        kept = rows[at].isTriedInAChild ? inChild(rows[at].attempt) : rows[at].attempt();
    }
    return *kept;
}

// Writes who was skipped, and why.
class SkippedTests : public testing::EmptyTestEventListener {
public:
    explicit SkippedTests(const char* file) : file_(file) {}
    void OnTestEnd(const testing::TestInfo& test) override {
        const testing::TestResult& result = *test.result();
        if (!result.Skipped()) {
            return;
        }
        std::string reason = "no reason told";
        for (int part = 0; part < result.total_part_count(); ++part) {
            if (result.GetTestPartResult(part).skipped()) {
                reason = result.GetTestPartResult(part).message();
            }
        }
        if (reason.starts_with("Skipped\n")) {
            reason.erase(0, std::strlen("Skipped\n"));
        }
        const std::string line = std::string(test.test_suite_name()) + "." + test.name() + "\t" +
                                 reason.substr(0, reason.find('\n')) + "\n";
        const int file = open(file_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
        if (write(file, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
            std::fprintf(stderr, "%s: %s\n", file_.c_str(), std::strerror(errno));
            std::abort();
        }
        close(file);
    }

private:
    std::string file_;
};

}  // namespace

bool isGranted(Need need) {
    return answer(need) == 0;
}

void require(Need need) {
    const int error = answer(need);
    if (error == 0) {
        return;
    }
    const std::string reason = std::string("This machine does not grant ") +
                               rows[static_cast<std::size_t>(need)].name + ": " + std::strerror(error);
    GTEST_MESSAGE_AT_(__FILE__, __LINE__, reason.c_str(), testing::TestPartResult::kSkip);
    endSkippedTest();
}

void endSkippedTest() {
    throw testing::AssertionException(
        testing::TestPartResult(testing::TestPartResult::kSkip, __FILE__, __LINE__, ""));
}

int enterPrivateNamespace() {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    const auto isPrivate = [] { return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0; };
    if (user == 0 && unshare(CLONE_NEWNS) == 0) {
        return isPrivate() ? 0 : errno;
    }
    return unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && writeText("/proc/self/setgroups", "deny") &&
                   writeText("/proc/self/uid_map", "0 " + std::to_string(user) + " 1") &&
                   writeText("/proc/self/gid_map", "0 " + std::to_string(group) + " 1") && isPrivate()
               ? 0
               : errno;
}

void listSkippedTests() {
    if (const char* file = std::getenv("LARKFOLD_SKIPPED_TESTS");
        file != nullptr) {  // NOLINT(concurrency-mt-unsafe)
        testing::UnitTest::GetInstance()->listeners().Append(new SkippedTests(file));
    }
}

}  // namespace larkfold::test
