#include "platform/linux/process/ProcessSupervisor.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ctime>

#include "platform/linux/calls/SystemCalls.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

// Only calls that a signal handler may make; no allocation, no exceptions, no locks.

namespace larkfold {

namespace {

constexpr unsigned closeOnExecution = 4;  // CLOSE_RANGE_CLOEXEC

// How long what was killed may take to go before the tool's end is told all the same: a process that waits
// for a disk that does not answer cannot be killed.
constexpr std::int64_t longestReaping = 150;  // milliseconds

std::int64_t millisecondsNow() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1'000 + now.tv_nsec / 1'000'000;
}

// Nobody's handlers, and nothing ignored.
void forgetHandlers() {
    struct sigaction standard{};
    standard.sa_handler = SIG_DFL;
    for (int signal = 1; signal < NSIG; ++signal) {
        ::sigaction(signal, &standard, nullptr);
    }
}

// Marks every descriptor from `first` on to be closed when another program is executed, or closes it.
void markDescriptors(unsigned first, bool closesNow) {
    if (::syscall(SYS_close_range, first, ~0U, closesNow ? 0U : closeOnExecution) == 0) {
        return;
    }
    // An older kernel.
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    for (rlim_t descriptor = first; descriptor < limit.rlim_cur; ++descriptor) {
        if (closesNow) {
            ::close(static_cast<int>(descriptor));
        } else {
            ::fcntl(static_cast<int>(descriptor), F_SETFD, FD_CLOEXEC);
        }
    }
}

[[noreturn]] void failLaunch(int launch, int code) {
    static_cast<void>(system_calls::uninterrupted([&] { return ::write(launch, &code, sizeof code); }));
    ::_exit(127);
}

// In the process of the tool.
[[noreturn]] void execute(const ProcessSupervisor& supervisor, pid_t parent) {
    // Should somebody kill the supervisor, nobody would look after the tool any more.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) {
        ::_exit(127);
    }
    ::setpgid(0, 0);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    if (::dup2(supervisor.output, STDOUT_FILENO) < 0 || ::dup2(supervisor.nothing, STDERR_FILENO) < 0) {
        failLaunch(supervisor.launch, errno);
    }
    markDescriptors(3, false);
    ::execve(supervisor.executable, supervisor.arguments, supervisor.environment);
    failLaunch(supervisor.launch, errno);
}

// The processes below the supervisor.
class Descendants {
public:
    explicit Descendants(pid_t tool) : tool_(tool), self_(::getpid()) {
        // "/proc/self/task/NUMBER/children"
        char* end = append(path_.data(), "/proc/self/task/");
        std::array<char, 12> digits{};
        std::size_t count = 0;
        for (pid_t rest = self_; rest > 0; rest /= 10) {
            digits[count++] = static_cast<char>('0' + rest % 10);
        }
        while (count > 0) {
            *end++ = digits[--count];
        }
        append(end, "/children");
    }

    bool hasToolEnded() const { return hasToolEnded_; }
    bool isGone() const { return isGone_; }
    int toolStatus() const { return toolStatus_; }

    void terminate() const {
        if (!hasToolEnded_) {
            ::kill(-tool_, SIGTERM);
            // What is stopped could not even hear it.
            ::kill(-tool_, SIGCONT);
        }
    }

    // One round: those killed may have children of their own, which come to the supervisor and have their
    // turn in the next one. Their numbers cannot belong to others: nobody but the supervisor reaps them.
    void killChildren() {
        if (!hasToolEnded_) {
            ::kill(-tool_, SIGKILL);
        }
        const int file = ::open(path_.data(), O_RDONLY | O_CLOEXEC);
        if (file < 0) {
            return;
        }
        pid_t number = 0;
        std::array<char, 4096> text;
        for (;;) {
            const ssize_t length = ::read(file, text.data(), text.size());
            if (length <= 0) {
                break;
            }
            for (ssize_t at = 0; at < length; ++at) {
                const char c = text[static_cast<std::size_t>(at)];
                if (c >= '0' && c <= '9') {
                    number = number * 10 + (c - '0');
                } else if (number > 1) {
                    ::kill(number, SIGKILL);
                    number = 0;
                }
            }
        }
        if (number > 1) {
            ::kill(number, SIGKILL);
        }
        ::close(file);
    }

    // Takes note of those that have ended.
    void reap() {
        for (;;) {
            siginfo_t ended{};
            if (system_calls::uninterrupted(
                    [&] { return ::waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT); }) != 0) {
                isGone_ = errno == ECHILD;
                return;
            }
            if (ended.si_pid == 0) {
                return;
            }
            if (ended.si_pid == tool_) {
                // While its number is still its own: its group at one blow.
                ::kill(-tool_, SIGKILL);
                hasToolEnded_ = true;
            }
            int status = 0;
            ::waitpid(ended.si_pid, &status, 0);
            if (ended.si_pid == tool_) {
                toolStatus_ = status;
            }
        }
    }

private:
    static char* append(char* to, const char* text) {
        while (*text != '\0') {
            *to++ = *text++;
        }
        return to;
    }

    pid_t tool_;
    pid_t self_;
    bool hasToolEnded_ = false;
    bool isGone_ = false;
    int toolStatus_ = 0;
    std::array<char, 64> path_{};
};

}  // namespace

void ProcessSupervisor::run() const {
    forgetHandlers();
    ::prctl(PR_SET_NAME, "lark-supervisor");
    // Who loses its parent below here becomes a child of this process.
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    const pid_t self = ::getpid();
    // Out of this program's group: a signal from its terminal is not for the tool.
    ::setpgid(0, 0);

    // Only the four of its own, in a row behind the standard ones. They are all above 2, and moving each to
    // its place may not strike another one.
    const int safe = 16;
    const std::array<int, 4> moved = {::fcntl(control, F_DUPFD, safe), ::fcntl(launch, F_DUPFD, safe),
                                      ::fcntl(output, F_DUPFD, safe), ::fcntl(nothing, F_DUPFD, safe)};
    if (std::any_of(moved.begin(), moved.end(), [](int one) { return one < 0; })) {
        failLaunch(launch, errno);
    }
    ProcessSupervisor own = *this;
    own.control = ::dup2(moved[0], 3);
    own.launch = ::dup2(moved[1], 4);
    own.output = ::dup2(moved[2], 5);
    own.nothing = ::dup2(moved[3], 6);
    if (own.control < 0 || own.launch < 0 || own.output < 0 || own.nothing < 0) {
        failLaunch(moved[1], errno);
    }
    markDescriptors(7, true);

    const pid_t tool = ::_Fork();
    if (tool == 0) {
        execute(own, self);
    }
    if (tool < 0) {
        failLaunch(own.launch, errno);
    }
    // The tool does it too: whoever comes first, its group stands before anything is sent to it.
    ::setpgid(tool, tool);
    // What this program reads and writes is not held open by its supervisor.
    ::dup2(own.nothing, STDIN_FILENO);
    ::dup2(own.nothing, STDOUT_FILENO);
    ::dup2(own.nothing, STDERR_FILENO);
    ::close(own.launch);
    ::close(own.output);
    ::close(own.nothing);

    sigset_t childEnds;
    ::sigemptyset(&childEnds);
    ::sigaddset(&childEnds, SIGCHLD);
    ::sigprocmask(SIG_SETMASK, &childEnds, nullptr);
    const int ends = ::signalfd(-1, &childEnds, SFD_CLOEXEC | SFD_NONBLOCK);

    Descendants descendants(tool);
    bool mustGo = false;  // everything, now
    bool isTold = false;  // that the tool has ended
    bool isHeard = true;  // there may be more commands
    std::int64_t endedAt = 0;
    for (;;) {
        descendants.reap();
        if (descendants.hasToolEnded() && endedAt == 0) {
            endedAt = millisecondsNow();
            mustGo = true;
        }
        if (endedAt != 0 && !isTold &&
            (descendants.isGone() || millisecondsNow() - endedAt > longestReaping)) {
            const Report report{.waitStatus = descendants.toolStatus()};
            ::send(own.control, &report, sizeof report, MSG_NOSIGNAL);
            isTold = true;
        }
        if (descendants.isGone()) {
            ::_exit(0);
        }
        if (mustGo) {
            descendants.killChildren();
        }
        std::array<pollfd, 2> sources = {
            pollfd{.fd = isHeard ? own.control : -1, .events = POLLIN, .revents = 0},
            pollfd{.fd = ends, .events = POLLIN, .revents = 0}};
        // While there is somebody to kill it looks again soon: who is just being made shows a little later.
        ::poll(sources.data(), sources.size(), mustGo || ends < 0 ? 2 : -1);
        if ((sources[1].revents & POLLIN) != 0) {
            signalfd_siginfo information;
            while (::read(ends, &information, sizeof information) > 0) {
            }
        }
        if (sources[0].revents != 0) {
            Command command{};
            const ssize_t length = ::recv(own.control, &command, sizeof command, MSG_DONTWAIT);
            if (length == sizeof command && command == Command::terminate) {
                descendants.terminate();
            } else if (length == sizeof command || length == 0 ||
                       (length < 0 && errno != EAGAIN && errno != EINTR)) {
                // Told to, or nobody is there any more.
                mustGo = true;
                isHeard = length > 0;
            }
        }
    }
}

}  // namespace larkfold
