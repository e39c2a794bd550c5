#include "faults/ErrorInjection.h"

#include <fcntl.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace larkfold::test {

namespace {

constexpr long fallible[] = {
    SYS_open,       SYS_openat,    SYS_openat2,    SYS_close,     SYS_read,      SYS_pread64,    SYS_write,
    SYS_pwrite64,   SYS_lseek,     SYS_stat,       SYS_lstat,     SYS_fstat,     SYS_newfstatat, SYS_statx,
    SYS_statfs,     SYS_fstatfs,   SYS_getdents64, SYS_fsync,     SYS_fdatasync, SYS_ftruncate,  SYS_rename,
    SYS_renameat,   SYS_renameat2, SYS_unlink,     SYS_unlinkat,  SYS_rmdir,     SYS_mkdir,      SYS_mkdirat,
    SYS_chmod,      SYS_fchmod,    SYS_fchmodat,   SYS_fchown,    SYS_readlink,  SYS_readlinkat, SYS_access,
    SYS_faccessat2, SYS_fcntl,     SYS_getcwd,     SYS_getrandom, SYS_flock};

bool isWithoutThat(const SystemCall& call, int error) {
    return error == shortWrite && !isWrite(call.number);
}

}  // namespace

bool isFallible(long number) {
    return std::find(std::begin(fallible), std::end(fallible), number) != std::end(fallible);
}
bool isThreadStart(long number) {
    return number == SYS_clone || number == SYS_clone3;
}
bool isWrite(long number) {
    return number == SYS_write || number == SYS_pwrite64;
}
bool isSync(long number) {
    return number == SYS_fsync || number == SYS_fdatasync;
}

bool isRemoval(long number) {
    return number == SYS_unlink || number == SYS_unlinkat || number == SYS_rmdir;
}
bool isChange(const SystemCall& call) {
    return call.number == SYS_mkdirat || call.number == SYS_renameat2 || call.number == SYS_rename ||
           isRemoval(call.number) || (call.number == SYS_openat && (call.arguments[2] & O_CREAT) != 0);
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
    if (!counts(now.number) || isInternal) {
        return {};
    }
    if (!firstChange && isChange(now)) {
        firstChange = seen;
    }
    const bool isItsTurn = seen++ == call;
    const bool isFurther = goesOn && struck && now.number == struck->number;
    if ((!isItsTurn && !isFurther) || isWithoutThat(now, error)) {
        return {};
    }
    if (isItsTurn) {
        struck = now;
    }
    if (isItsTurn && isSync(now.number)) {
        subject = now.descriptorPath(0);
    }
    if (error == shortWrite) {
        return {.kind = Verdict::Kind::shorten, .value = static_cast<std::int64_t>(now.arguments[2] / 2)};
    }
    return {.kind = now.number == SYS_close ? Verdict::Kind::failAfter : Verdict::Kind::fail, .value = error};
}

std::string ErrorInjection::description() const {
    return std::string(error == shortWrite ? "half a write" : strerrorname_np(error)) + " in call " +
           std::to_string(call) + " (number " + std::to_string(struck ? struck->number : -1) +
           (goesOn ? ") and all further ones of its kind: " : "): ");
}

}  // namespace larkfold::test
