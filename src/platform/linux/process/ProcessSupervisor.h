// What runs in the process between this program and a tool: it starts the tool, tells of its end, and sees to
// it that nothing that came out of the tool remains. Linux part of the platform layer only.
#pragma once

#include <sys/types.h>

namespace larkfold {

// Everything is made by the caller before the process of the supervisor comes to be: there, only calls that
// are safe in a signal handler may be made, since another thread may have held any lock at that moment.
struct ProcessSupervisor {
    // What stands in the packets that go to and from a supervisor.
    enum class Command : int { terminate = 1, kill = 2 };
    struct Report {
        int waitStatus;  // as waitpid gives it
    };

    const char* executable = nullptr;
    char* const* arguments = nullptr;    // the executable first, null at the end
    char* const* environment = nullptr;  // null at the end
    int control = -1;  // a socket of packets: commands in, one report out; its end kills everything
    int launch = -1;   // takes the error number (an int) when the tool cannot be started; closed when it runs
    int output = -1;
    int nothing = -1;  // the null device
    // All four are above 2.

    // In the process of the supervisor, with every signal blocked. Never returns.
    [[noreturn]] void run() const;
};

}  // namespace larkfold
