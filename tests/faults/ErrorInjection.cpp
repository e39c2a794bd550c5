#include "faults/ErrorInjection.h"

#include <sys/syscall.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <iterator>

namespace larkfold::test {

namespace {

constexpr std::array diskErrors = {ENOSPC, EIO, EMFILE, EACCES, ENOTEMPTY, EROFS, EDQUOT, EINTR};

constexpr long fallible[] = {
    SYS_open,     SYS_openat,     SYS_close,      SYS_read,   SYS_pread64,    SYS_write,     SYS_pwrite64,
    SYS_lseek,    SYS_stat,       SYS_lstat,      SYS_fstat,  SYS_newfstatat, SYS_statx,     SYS_statfs,
    SYS_fstatfs,  SYS_getdents64, SYS_fsync,      SYS_rename, SYS_renameat,   SYS_renameat2, SYS_unlink,
    SYS_unlinkat, SYS_fdatasync,  SYS_ftruncate,  SYS_mkdir,  SYS_chmod,      SYS_fchmod,    SYS_fchown,
    SYS_readlink, SYS_access,     SYS_faccessat2, SYS_fcntl,  SYS_getcwd,     SYS_getrandom, SYS_flock};

// The errors that are tried on a call.
std::vector<int> errorsOf(long number) {
    if (isThreadStart(number)) {
        return {EAGAIN};
    }
    if (!isFallible(number)) {
        return {};
    }
    std::vector<int> errors(diskErrors.begin(), diskErrors.end());
    if (isWrite(number)) {
        errors.push_back(shortWrite);
    }
    return errors;
}

}  // namespace

bool isFallible(long number) {
    return std::find(std::begin(fallible), std::end(fallible), number) != std::end(fallible);
}
bool isThreadStart(long number) {
    return number == SYS_clone || number == SYS_clone3;
}
bool mayFail(long number) {
    return isFallible(number) || isThreadStart(number);
}
bool isWrite(long number) {
    return number == SYS_write || number == SYS_pwrite64;
}
bool isSync(long number) {
    return number == SYS_fsync || number == SYS_fdatasync;
}

std::vector<int> allErrors() {
    std::vector<int> errors(diskErrors.begin(), diskErrors.end());
    errors.push_back(EAGAIN);
    errors.push_back(shortWrite);
    return errors;
}

const char* nameOfError(int error) {
    return error == shortWrite ? "half a write" : strerrorname_np(error);
}

Verdict ErrorInjection::look(const SystemCall& now) {
    if (!now.isEntry) {
        if (struck && isSync(struck->number) && isSync(now.number) && now.result == 0 &&
            now.descriptorPath(0) == subject) {
            isSyncedLater = true;
        }
        return {};
    }
    // Through pipes go only the questions that a sanitizer asks itself.
    const bool isInternal = now.number == SYS_write && now.descriptorPath(0).starts_with("pipe:");
    if (!counts(now.number) || isInternal || seen++ != call) {
        return {};
    }
    const auto errors = errorsOf(now.number);
    if (std::find(errors.begin(), errors.end(), error) == errors.end()) {
        return {};
    }
    struck = now;
    if (isSync(now.number)) {
        subject = now.descriptorPath(0);
    } else if (now.number == SYS_unlink) {
        subject = now.text(0);
    }
    if (error == shortWrite) {
        return {.kind = Verdict::Kind::shorten, .value = static_cast<std::int64_t>(now.arguments[2] / 2)};
    }
    return {.kind = now.number == SYS_close ? Verdict::Kind::failAfter : Verdict::Kind::fail, .value = error};
}

}  // namespace larkfold::test
