#include "faults/SystemCallHarness.h"

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <utility>

#include "support/MachineRequirements.h"
#include "support/Places.h"

#ifndef __x86_64__
#error "The harness sets registers of x86-64."
#endif

namespace larkfold::test {

namespace {

[[noreturn]] void die(const char* what) {
    std::fprintf(stderr, "system call harness: %s failed: %s\n", what, std::strerror(errno));
    std::abort();
}

void* asPointer(std::uint64_t value) {
    return reinterpret_cast<void*>(value);  // NOLINT: ptrace takes numbers as pointers
}

void setRegister(pid_t thread, std::size_t offset, std::int64_t value) {
    if (ptrace(PTRACE_POKEUSER, thread, asPointer(offset), asPointer(static_cast<std::uint64_t>(value))) !=
            0 &&
        errno != ESRCH) {
        die("PTRACE_POKEUSER");
    }
}

// A timer that only makes a waiting call return now and then, so that a deadline can be looked at.
class Ticks {
public:
    Ticks() {
        struct sigaction action{};
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, &before_);
        const itimerval every{.it_interval = {.tv_sec = 0, .tv_usec = 250'000},
                              .it_value = {.tv_sec = 0, .tv_usec = 250'000}};
        setitimer(ITIMER_REAL, &every, nullptr);
    }
    ~Ticks() {
        const itimerval never{};
        setitimer(ITIMER_REAL, &never, nullptr);
        sigaction(SIGALRM, &before_, nullptr);
    }
    Ticks(const Ticks&) = delete;
    Ticks& operator=(const Ticks&) = delete;

private:
    struct sigaction before_{};
};

class Session {
public:
    Session(const std::vector<std::string>& words, const Watcher& watcher, std::chrono::seconds limit)
        : watcher_(watcher), end_(std::chrono::steady_clock::now() + limit) {
        start(words);
    }

    ProgramOutcome run() {
        const Ticks ticks;
        for (;;) {
            int status = 0;
            const pid_t thread = waitpid(-1, &status, __WALL);
            if (thread < 0 && errno == EINTR) {
                if (std::chrono::steady_clock::now() > end_ && !outcome_.isOverdue) {
                    outcome_.isOverdue = true;
                    kill(program_, SIGKILL);
                }
                continue;
            }
            if (thread < 0) {
                break;  // none is left
            }
            if (WIFSTOPPED(status)) {
                handleStop(thread, status);
            } else {
                threads_.erase(thread);
                if (thread == program_) {
                    outcome_.hasExited = WIFEXITED(status);
                    outcome_.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 0;
                    outcome_.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
                }
            }
        }
        readOutput();
        return std::move(outcome_);
    }

private:
    struct Thread {
        SystemCall call;
        bool isWithinCall = false;
        bool isOverridden = false;  // the result becomes `overriding`
        std::int64_t overriding = 0;
    };

    void start(const std::vector<std::string>& words) {
        const std::string victim = builtFile("tests/faults/larkfold_victim");
        std::vector<char*> arguments{const_cast<char*>(victim.c_str())};
        for (const std::string& word : words) {
            arguments.push_back(const_cast<char*>(word.c_str()));
        }
        arguments.push_back(nullptr);
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) {
            die("pipe2");
        }
        program_ = fork();
        if (program_ < 0) {
            die("fork");
        }
        if (program_ == 0) {
            dup2(ends[1], STDOUT_FILENO);
            dup2(ends[1], STDERR_FILENO);
            ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
            raise(SIGSTOP);
            // A sanitizer cannot look for leaks in a program that is traced, and ends it with a failure.
            const char* options = std::getenv("ASAN_OPTIONS");
            setenv("ASAN_OPTIONS",
                   ((options == nullptr ? "" : options) + std::string(":detect_leaks=0")).c_str(), 1);
            execv(arguments[0], arguments.data());
            _exit(127);
        }
        close(ends[1]);
        output_ = ends[0];
        int status = 0;
        if (waitpid(program_, &status, __WALL) != program_ || !WIFSTOPPED(status)) {
            die("waitpid");
        }
        constexpr std::uint64_t options = PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_TRACEFORK |
                                          PTRACE_O_TRACEVFORK | PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL;
        if (ptrace(PTRACE_SETOPTIONS, program_, nullptr, asPointer(options)) != 0) {
            die("PTRACE_SETOPTIONS");
        }
        threads_[program_];
        resume(program_, 0);
    }

    void resume(pid_t thread, int signal) {
        const auto found = threads_.find(thread);
        // A call whose result is still to be replaced is seen to its end.
        const bool looks = isWatching_ || (found != threads_.end() && found->second.isOverridden);
        if (ptrace(looks ? PTRACE_SYSCALL : PTRACE_CONT, thread, nullptr,
                   asPointer(static_cast<std::uint64_t>(signal))) != 0 &&
            errno != ESRCH) {
            die("PTRACE_SYSCALL");
        }
    }

    void handleStop(pid_t thread, int status) {
        const bool isNew = !threads_.contains(thread);
        Thread& state = threads_[thread];
        const int signal = WSTOPSIG(status);
        if (isNew && signal == SIGSTOP) {
            resume(thread, 0);  // how a new thread begins
        } else if (signal == (SIGTRAP | 0x80)) {
            handleCall(thread, state);
        } else if (status >> 16 != 0) {
            resume(thread, 0);  // told of a new thread or an exec
        } else if (signal == SIGUSR1) {
            isWatching_ = !isWatching_;
            state.isWithinCall = false;
            resume(thread, 0);
        } else {
            resume(thread, signal);
        }
    }

    void handleCall(pid_t thread, Thread& state) {
        struct __ptrace_syscall_info information{};
        if (ptrace(PTRACE_GET_SYSCALL_INFO, thread, asPointer(sizeof information), &information) < 0) {
            return;  // killed meanwhile; its end is told next
        }
        if (information.op == PTRACE_SYSCALL_INFO_ENTRY) {
            state.isWithinCall = true;
            state.call = {.thread = thread, .number = static_cast<long>(information.entry.nr)};
            for (std::size_t i = 0; i < state.call.arguments.size(); ++i) {
                state.call.arguments[i] = information.entry.args[i];
            }
        } else {
            state.call.isEntry = false;
            state.call.result = information.exit.rval;
            if (state.isOverridden) {
                state.isOverridden = false;
                state.call.result = state.overriding;
                setRegister(thread, offsetof(user_regs_struct, rax), state.overriding);
            }
        }
        const bool isShown = isWatching_ && state.isWithinCall;
        state.isWithinCall = state.call.isEntry;
        if (isShown) {
            state.call.stop = outcome_.stops++;
            obey(thread, state, watcher_(state.call));
        } else {
            resume(thread, 0);
        }
    }

    void obey(pid_t thread, Thread& state, const Verdict& verdict) {
        if (verdict.releasesHeld) {
            for (const pid_t held : std::exchange(held_, {})) {
                resume(held, 0);
            }
        }
        switch (verdict.kind) {
            case Verdict::Kind::proceed:
                break;
            case Verdict::Kind::kill:
                outcome_.wasKilledByWatcher = true;
                kill(program_, SIGKILL);
                return;
            case Verdict::Kind::fail:
                setRegister(thread, offsetof(user_regs_struct, orig_rax), -1);
                [[fallthrough]];
            case Verdict::Kind::failAfter:
                state.isOverridden = true;
                state.overriding = -verdict.value;
                break;
            case Verdict::Kind::shorten:
                setRegister(thread, offsetof(user_regs_struct, rdx), verdict.value);
                break;
            case Verdict::Kind::hold:
                held_.insert(thread);
                return;
        }
        resume(thread, 0);
    }

    void readOutput() {
        std::array<char, 4096> bytes;
        for (ssize_t count; (count = read(output_, bytes.data(), bytes.size())) > 0;) {
            outcome_.output.append(bytes.data(), static_cast<std::size_t>(count));
        }
        close(output_);
    }

    const Watcher& watcher_;
    const std::chrono::steady_clock::time_point end_;
    pid_t program_ = 0;
    int output_ = -1;
    bool isWatching_ = false;
    std::map<pid_t, Thread> threads_;
    std::set<pid_t> held_;
    ProgramOutcome outcome_;
};

}  // namespace

std::string SystemCall::text(std::size_t index) const {
    // Page by page, since the next one need not be there.
    constexpr std::uint64_t pageSize = 4096;
    std::string text;
    std::uint64_t address = arguments[index];
    for (;;) {
        std::array<char, pageSize> bytes;
        const iovec here{.iov_base = bytes.data(), .iov_len = pageSize - address % pageSize};
        const iovec there{.iov_base = asPointer(address), .iov_len = here.iov_len};
        const ssize_t count = process_vm_readv(thread, &here, 1, &there, 1, 0);
        if (count <= 0) {
            return text;
        }
        const auto* end =
            static_cast<const char*>(std::memchr(bytes.data(), 0, static_cast<std::size_t>(count)));
        text.append(bytes.data(), end != nullptr ? static_cast<std::size_t>(end - bytes.data())
                                                 : static_cast<std::size_t>(count));
        if (end != nullptr) {
            return text;
        }
        address += static_cast<std::uint64_t>(count);
    }
}

std::string SystemCall::descriptorPath(std::size_t index) const {
    const std::string link =
        "/proc/" + std::to_string(thread) + "/fd/" + std::to_string(static_cast<int>(arguments[index]));
    std::array<char, 4096> path;
    const ssize_t length = readlink(link.c_str(), path.data(), path.size());
    return length < 0 ? std::string() : std::string(path.data(), static_cast<std::size_t>(length));
}

Watcher killAt(std::uint64_t stop) {
    return [stop](const SystemCall& call) {
        return call.stop == stop ? Verdict{.kind = Verdict::Kind::kill} : Verdict{};
    };
}

ProgramOutcome runWatched(const std::vector<std::string>& words, const Watcher& watcher,
                          std::chrono::seconds limit) {
    require(Need::tracing);
    return Session(words, watcher, limit).run();
}

}  // namespace larkfold::test
