// Put before the system's library in a program under test: who opens a folder with the name that
// LARKFOLD_HELD_NAME tells waits there until somebody opens the pipe at LARKFOLD_HELD_PIPE. So a test can
// meet a scan under way on any machine, and as any user.
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string_view>

namespace {

void waitWhereItIsHeld(const char* path) {
    const char* name = std::getenv("LARKFOLD_HELD_NAME");
    const char* pipe = std::getenv("LARKFOLD_HELD_PIPE");
    if (name == nullptr || pipe == nullptr || std::string_view(path) != name) {
        return;
    }
    // Opening a pipe to read from it waits for whoever writes.
    long held;
    do {
        held = syscall(SYS_openat, AT_FDCWD, pipe, O_RDONLY | O_CLOEXEC);
    } while (held < 0 && errno == EINTR);
    if (held >= 0) {
        close(static_cast<int>(held));
    }
}

}  // namespace

// The system's function takes a further argument only where a file is made.
extern "C" int openat(int folder, const char* path, int flags, ...) {
    waitWhereItIsHeld(path);
    unsigned mode = 0;
    if ((flags & (O_CREAT | O_TMPFILE)) != 0) {
        __builtin_va_list arguments;
        __builtin_va_start(arguments, flags);
        mode = __builtin_va_arg(arguments, unsigned);
        __builtin_va_end(arguments);
    }
    return static_cast<int>(syscall(SYS_openat, folder, path, flags, mode));
}
