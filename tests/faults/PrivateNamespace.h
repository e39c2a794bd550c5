// Running a part of a test where it may mount what it likes: in a child process with a mount namespace of its
// own (and, started by an ordinary user, a user namespace). What it mounts, nobody else sees, and it goes
// with the process.
//
//   inPrivateNamespace([] { ... EXPECT_EQ(...); });
//
// Assertions inside work as ever, as in any part that runs in a child process. Where the system grants no
// namespace, the test is skipped.
#pragma once

#include <functional>
#include <string>

namespace larkfold::test {

void inPrivateNamespace(const std::function<void()>& work);

// A mount that goes with its object. Failures abort the test program.
class Mounted {
public:
    Mounted(const std::string& source, const std::string& target, const char* type, unsigned long flags,
            const std::string& options);
    ~Mounted();
    Mounted(const Mounted&) = delete;
    Mounted& operator=(const Mounted&) = delete;

private:
    std::string target_;
};

// A file system whose program never answers (without FUSE the test is skipped): it takes the connection and,
// unless told otherwise, not even that.
class DeadMount {
public:
    enum class Greeting { none, answered };

    // `place`, a folder or a file, must stand. With `answered` the kernel's greeting is answered when
    // `awaitRequest` is called, so that the requests themselves are what waits.
    explicit DeadMount(const std::string& place, Greeting greeting = Greeting::none);
    ~DeadMount();
    DeadMount(const DeadMount&) = delete;
    DeadMount& operator=(const DeadMount&) = delete;

    // Returns when somebody waits for an answer of this file system. With `answered` only.
    void awaitRequest() const;

    // Says of every name that nothing is there, until it is unmounted. With `answered` only; for a thread.
    void denyUntilUnmounted() const;

private:
    std::string place_;
    int connection_ = -1;
};

}  // namespace larkfold::test
