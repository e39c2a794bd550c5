#include "faults/PrivateNamespace.h"

#include <fcntl.h>
#include <linux/fuse.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

namespace larkfold::test {

namespace {

[[noreturn]] void die(const char* what, const std::string& path) {
    std::fprintf(stderr, "private namespace: %s failed at \"%s\": %s\n", what, path.c_str(),
                 std::strerror(errno));
    std::abort();
}

constexpr int succeeded = 0;
constexpr int failed = 1;
constexpr int noNamespace = 2;

bool writeText(const char* file, const std::string& text) {
    const int descriptor = open(file, O_WRONLY | O_CLOEXEC);
    const bool written = write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(descriptor);
    return written;
}

bool enterNamespace() {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (user == 0 && unshare(CLONE_NEWNS) == 0) {
        return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    }
    return unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && writeText("/proc/self/setgroups", "deny") &&
           writeText("/proc/self/uid_map", "0 " + std::to_string(user) + " 1") &&
           writeText("/proc/self/gid_map", "0 " + std::to_string(group) + " 1") &&
           mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

[[noreturn]] void runChild(const std::function<void()>& work) {
    if (!enterNamespace()) {
        std::perror("no private namespace");
        _exit(noNamespace);
    }
    int code = succeeded;
    try {
        work();
    } catch (const std::exception& error) {
        std::printf("The function threw: %s\n", error.what());
        code = failed;
    }
    if (testing::Test::HasFailure()) {
        code = failed;
    }
    std::fflush(stdout);
    std::fflush(stderr);
    _exit(code);
}

}  // namespace

testing::AssertionResult inPrivateNamespace(const std::function<void()>& work) {
    if (testing::Test::HasFailure()) {
        return testing::AssertionFailure() << "the test has failed before";
    }
    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t child = fork();
    if (child == 0) {
        runChild(work);
    }
    int status = 0;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (child < 0) {
        return testing::AssertionFailure() << "no child process could be made";
    }
    if (WIFSIGNALED(status)) {
        return testing::AssertionFailure() << "the child process ended by signal " << WTERMSIG(status);
    }
    if (WEXITSTATUS(status) == noNamespace) {
        return testing::AssertionFailure() << "the system grants no private mount namespace";
    }
    return WEXITSTATUS(status) == succeeded
               ? testing::AssertionSuccess()
               : testing::AssertionFailure() << "an assertion failed in the namespace";
}

Mounted::Mounted(const std::string& source, const std::string& target, const char* type, unsigned long flags,
                 const std::string& options)
    : target_(target) {
    if (mount(source.c_str(), target.c_str(), type, flags, options.c_str()) != 0) {
        die("mount", target);
    }
}

Mounted::~Mounted() {
    umount2(target_.c_str(), MNT_DETACH);
}

DeadMount::DeadMount(const std::string& folder, Greeting greeting) : folder_(folder) {
    connection_ = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    if (connection_ < 0) {
        die("open", "/dev/fuse");
    }
    const std::string options =
        "fd=" + std::to_string(connection_) + ",rootmode=40000,user_id=0,group_id=0,allow_other";
    if (mount("none", folder.c_str(), "fuse", MS_NOSUID | MS_NODEV, options.c_str()) != 0) {
        die("mount", folder);
    }
    if (greeting == Greeting::answered) {
        std::array<char, 1 << 17> request;
        if (read(connection_, request.data(), request.size()) < 0) {
            die("read", "/dev/fuse");
        }
        fuse_in_header asked{};
        std::memcpy(&asked, request.data(), sizeof asked);
        struct {
            fuse_out_header header;
            fuse_init_out body;
        } answer{};
        answer.header = {.len = sizeof answer, .error = 0, .unique = asked.unique};
        answer.body.major = FUSE_KERNEL_VERSION;
        answer.body.minor = FUSE_KERNEL_MINOR_VERSION;
        answer.body.max_write = 4096;
        if (write(connection_, &answer, sizeof answer) != static_cast<ssize_t>(sizeof answer)) {
            die("write", "/dev/fuse");
        }
    }
}

DeadMount::~DeadMount() {
    umount2(folder_.c_str(), MNT_DETACH);
    close(connection_);  // who still waits gets an error
}

void DeadMount::awaitRequest() const {
    std::array<char, 1 << 17> request;
    if (read(connection_, request.data(), request.size()) < 0) {
        die("read", "/dev/fuse");
    }
}

void DeadMount::denyUntilUnmounted() const {
    std::array<char, 1 << 17> request;
    while (read(connection_, request.data(), request.size()) > 0) {
        fuse_in_header asked{};
        std::memcpy(&asked, request.data(), sizeof asked);
        if (asked.opcode == FUSE_FORGET || asked.opcode == FUSE_BATCH_FORGET) {
            continue;  // nobody waits for an answer to these
        }
        const fuse_out_header answer{.len = sizeof answer,
                                     .error = asked.opcode == FUSE_LOOKUP ? -ENOENT : -ENOSYS,
                                     .unique = asked.unique};
        if (write(connection_, &answer, sizeof answer) != static_cast<ssize_t>(sizeof answer)) {
            die("write", "/dev/fuse");
        }
    }
}

}  // namespace larkfold::test
