// What the operations on our own files do when a system call fails. The program's own versions of the calls
// stand before the system's, so that each occurrence of each call can be made to fail.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "platform/Error.h"
#include "platform/OwnFiles.h"
#include "support/TemporaryTree.h"

namespace {

enum class Call { none, open, write, fsync, rename, mkdir, fchmod };

struct Fault {
    Call call = Call::none;
    int code = 0;
    int after = 0;    // so many calls go well before
    int times = 1;    // so many fail then; -1: all
    int reached = 0;  // how often the call failed
};

Fault fault;
std::size_t mostBytesAtOnce = 0;  // 0: no limit

bool fails(Call call) {
    if (fault.call != call || fault.times == 0) {
        return false;
    }
    if (fault.after > 0) {
        --fault.after;
        return false;
    }
    if (fault.times > 0) {
        --fault.times;
    }
    ++fault.reached;
    errno = fault.code;
    return true;
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
    if (fails(Call::open)) {
        return -1;
    }
    mode_t mode = 0;
    if ((flags & (O_CREAT | O_TMPFILE)) != 0) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

ssize_t write(int file, const void* bytes, size_t count) {
    if (file > 2) {
        if (fails(Call::write)) {
            return -1;
        }
        if (mostBytesAtOnce != 0) {
            count = std::min(count, mostBytesAtOnce);
        }
    }
    return syscall(SYS_write, file, bytes, count);
}

int fsync(int file) {
    return fails(Call::fsync) ? -1 : static_cast<int>(syscall(SYS_fsync, file));
}

int rename(const char* from, const char* to) noexcept {
    return fails(Call::rename) ? -1
                               : static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}

int mkdir(const char* path, mode_t mode) noexcept {
    return fails(Call::mkdir) ? -1 : static_cast<int>(syscall(SYS_mkdirat, AT_FDCWD, path, mode));
}

int fchmod(int file, mode_t mode) noexcept {
    return fails(Call::fchmod) ? -1 : static_cast<int>(syscall(SYS_fchmod, file, mode));
}
}

namespace larkfold {
namespace {

using test::contentOf;
using test::TemporaryTree;

std::ptrdiff_t countIn(const std::string& folder) {
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

class OwnFilesFaultTest : public testing::Test {
protected:
    void SetUp() override { store = tree.file("folder/store", "old"); }
    void TearDown() override { clear(); }

    static void clear() {
        fault = {};
        mostBytesAtOnce = 0;
    }

    // The code that writing fails with under the fault; 0 where it succeeds.
    int writeUnder(const Fault& injected) {
        fault = injected;
        int code = 0;
        try {
            own_files::writeFile(store, "new");
        } catch (const SystemError& error) {
            code = error.code();
        }
        reached = fault.reached;
        clear();
        return code;
    }

    TemporaryTree tree;
    std::string store;
    int reached = 0;
};

TEST_F(OwnFilesFaultTest, theFaultsReachTheLibrary) {
    // Without this the other tests would prove nothing.
    EXPECT_EQ(writeUnder({.call = Call::write, .code = EIO}), EIO);
    EXPECT_EQ(reached, 1);
}

TEST_F(OwnFilesFaultTest, anyFailureBeforeTheRenameKeepsTheOldContentAndLeavesNoTemporary) {
    for (const Call call : {Call::open, Call::write, Call::fsync, Call::rename, Call::fchmod}) {
        for (const int code : {ENOSPC, EIO, EDQUOT, EROFS, EACCES, EMFILE}) {
            EXPECT_EQ(writeUnder({.call = call, .code = code}), code) << static_cast<int>(call);
            EXPECT_EQ(reached, 1);
            EXPECT_EQ(contentOf(store), "old") << static_cast<int>(call) << ' ' << code;
            EXPECT_EQ(countIn(tree.path("folder")), 1) << static_cast<int>(call) << ' ' << code;
        }
    }
}

TEST_F(OwnFilesFaultTest, aFailedSyncOfTheFolderIsAFailure) {
    EXPECT_EQ(writeUnder({.call = Call::fsync, .code = EIO, .after = 1}), EIO);
    EXPECT_EQ(contentOf(store), "new") << "the rename had happened; whole either way";
    EXPECT_EQ(countIn(tree.path("folder")), 1);
}

TEST_F(OwnFilesFaultTest, aFileSystemThatCannotSyncFoldersIsNoFailure) {
    EXPECT_EQ(writeUnder({.call = Call::fsync, .code = EINVAL, .after = 1}), 0);
    EXPECT_EQ(writeUnder({.call = Call::fsync, .code = EINVAL}), EINVAL)
        << "the file's own sync has no excuse";
}

TEST_F(OwnFilesFaultTest, aFailedSyncInReplaceFileKeepsTheTarget) {
    const std::string replacement = tree.file("folder/new", "new");
    fault = {.call = Call::fsync, .code = EIO};
    EXPECT_THROW(own_files::replaceFile(replacement, store), SystemError);
    clear();
    EXPECT_EQ(contentOf(store), "old");
    EXPECT_EQ(contentOf(replacement), "new");
}

TEST_F(OwnFilesFaultTest, interruptedCallsAreMadeAgain) {
    for (const Call call : {Call::open, Call::write, Call::fsync, Call::fchmod}) {
        tree.file("folder/store", "old");
        EXPECT_EQ(writeUnder({.call = call, .code = EINTR, .times = 3}), 0) << static_cast<int>(call);
        EXPECT_EQ(reached, 3);
        EXPECT_EQ(contentOf(store), "new");
    }
}

TEST_F(OwnFilesFaultTest, shortWritesAreContinued) {
    mostBytesAtOnce = 7;
    const std::string bytes(1000, 'b');
    own_files::writeFile(store, bytes);
    clear();
    EXPECT_EQ(contentOf(store), bytes);
}

TEST_F(OwnFilesFaultTest, aFolderThatCannotBeMadeIsTold) {
    fault = {.call = Call::mkdir, .code = ENOSPC};
    EXPECT_THROW(own_files::writeFile(tree.path("a/b/store"), "x"), SystemError);
    clear();
    EXPECT_FALSE(own_files::exists(tree.path("a")));
}

}  // namespace
}  // namespace larkfold
