#include "faults/PrivateNamespace.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fuse.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "support/ChildProcess.h"
#include "support/MachineRequirements.h"

namespace larkfold::test {

namespace {

[[noreturn]] void die(const char* what, const std::string& path) {
    std::fprintf(stderr, "private namespace: %s failed at \"%s\": %s\n", what, path.c_str(),
                 std::strerror(errno));
    std::abort();
}

}  // namespace

void inPrivateNamespace(const std::function<void()>& work) {
    require(Need::mounts);
    inChildProcess([&work] {
        const int error = enterPrivateNamespace();
        ASSERT_EQ(error, 0) << std::strerror(error);
        work();
    });
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

DeadMount::DeadMount(const std::string& place, Greeting greeting) : place_(place) {
    require(Need::fuse);
    connection_ = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    if (connection_ < 0) {
        die("open", "/dev/fuse");
    }
    struct stat covered{};
    if (lstat(place.c_str(), &covered) != 0) {
        die("lstat", place);
    }
    const std::string options = "fd=" + std::to_string(connection_) +
                                ",rootmode=" + (S_ISDIR(covered.st_mode) ? "40000" : "100000") +
                                ",user_id=0,group_id=0,allow_other";
    if (mount("none", place.c_str(), "fuse", MS_NOSUID | MS_NODEV, options.c_str()) != 0) {
        die("mount", place);
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
    umount2(place_.c_str(), MNT_DETACH);
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
