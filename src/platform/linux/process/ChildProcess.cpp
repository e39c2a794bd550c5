#include "platform/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <optional>

#include "platform/Error.h"
#include "platform/Path.h"
#include "platform/StandardFolders.h"
#include "platform/UUID.h"
#include "platform/linux/calls/CallWithTimeout.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/calls/SystemCalls.h"
#include "platform/linux/process/ProcessSupervisor.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

using Clock = std::chrono::steady_clock;
using Operation = SystemError::Operation;

// How long the start of a program may take before its time begins to count all the same: its file may lie on
// a disk that does not answer.
constexpr std::chrono::milliseconds longestLaunch{5'000};
// How long the supervisor may take to kill and to end. What cannot be killed within this time never may be.
constexpr std::chrono::milliseconds longestEnd{400};

// The same descriptor with a number above 2: where this program was started without standard ones, new ones
// take their places.
FileDescriptor aboveStandard(FileDescriptor descriptor) {
    if (!descriptor || descriptor.get() > STDERR_FILENO) {
        return descriptor;
    }
    return FileDescriptor(::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

FileDescriptor openFile(const std::string& path, int flags, Operation operation) {
    FileDescriptor safe = aboveStandard(FileDescriptor(system_calls::uninterrupted(
        [&] { return ::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, 0600); })));
    if (!safe) {
        throw SystemError(operation, errno, path);
    }
    return safe;
}

// Waits until `descriptor` has something to tell; false when that took too long.
bool waitUntilReady(int descriptor, std::chrono::milliseconds limit) {
    const auto end = Clock::now() + limit;
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        pollfd source{.fd = descriptor, .events = POLLIN, .revents = 0};
        const int ready = ::poll(&source, 1, static_cast<int>(std::max<std::int64_t>(0, left.count())));
        if (ready > 0) {
            return true;
        }
        if (ready == 0 || errno != EINTR) {
            return false;
        }
    }
}

// No handler of this program may run in a process that is a copy of it.
class AllSignalsBlocked {
public:
    AllSignalsBlocked() {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~AllSignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    AllSignalsBlocked(const AllSignalsBlocked&) = delete;
    AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

private:
    sigset_t before_{};
};

void reap(pid_t process) {
    system_calls::uninterrupted([&] { return ::waitpid(process, nullptr, 0); });
}

}  // namespace

struct CommandOutput::Impl {
    std::string path;
    FileDescriptor writing;
    FileDescriptor reading;
};

CommandOutput::CommandOutput() : impl_(std::make_unique<Impl>()) {
    const std::string path = joinedPath(temporaryDirectory(), "Larkfold-command-" + UUID::make().text());
    impl_->writing = openFile(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, Operation::create);
    try {
        // The process's mask may have taken bits away.
        if (::fchmod(impl_->writing.get(), 0600) != 0) {
            throw SystemError(Operation::permissions, errno, path);
        }
        impl_->reading = openFile(path, O_RDONLY | O_NOFOLLOW, Operation::open);
    } catch (...) {
        ::unlink(path.c_str());
        throw;
    }
    impl_->path = path;
}

CommandOutput::~CommandOutput() {
    ::unlink(impl_->path.c_str());
}

std::int64_t CommandOutput::size() const {
    struct stat values{};
    return ::fstat(impl_->reading.get(), &values) == 0 ? values.st_size : 0;
}

std::string CommandOutput::read(std::size_t limit) const {
    std::string bytes(std::min(limit, static_cast<std::size_t>(std::max<std::int64_t>(0, size()))), '\0');
    std::size_t length = 0;
    while (length < bytes.size()) {
        const ssize_t count = system_calls::uninterrupted([&] {
            return ::pread(impl_->reading.get(), bytes.data() + length, bytes.size() - length,
                           static_cast<off_t>(length));
        });
        if (count < 0) {
            throw SystemError(Operation::read, errno, impl_->path);
        }
        if (count == 0) {
            break;
        }
        length += static_cast<std::size_t>(count);
    }
    bytes.resize(length);
    return bytes;
}

int CommandOutput::writingDescriptor() const {
    return impl_->writing.get();
}

struct ChildProcess::Impl {
    pid_t supervisor = -1;
    FileDescriptor control;
    std::optional<int> waitStatus;

    void send(ProcessSupervisor::Command command) const {
        // A supervisor that has ended needs no command.
        static_cast<void>(::send(control.get(), &command, sizeof command, MSG_NOSIGNAL | MSG_DONTWAIT));
    }

    // Lets the supervisor kill what is left, and reaps it.
    void finish() {
        if (supervisor < 0) {
            return;
        }
        // No more commands; the supervisor's side stays open until it ends.
        ::shutdown(control.get(), SHUT_WR);
        const auto end = Clock::now() + longestEnd;
        bool hasEnded = false;
        while (!hasEnded && Clock::now() < end) {
            if (!waitUntilReady(control.get(),
                                std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()))) {
                break;
            }
            ProcessSupervisor::Report report{};
            const ssize_t length = ::recv(control.get(), &report, sizeof report, MSG_DONTWAIT);
            hasEnded = length == 0 || (length < 0 && errno != EAGAIN && errno != EINTR);
        }
        if (hasEnded) {
            reap(supervisor);
        } else if (!call_with_timeout::start([process = supervisor] { reap(process); })) {
            // A tool that waits for a dead disk cannot be killed, and its supervisor stays with it. It should
            // have been reaped by a thread that waits as long as that takes.
            static_cast<void>(::waitpid(supervisor, nullptr, WNOHANG));
        }
        supervisor = -1;
    }
};

ChildProcess::ChildProcess(const std::string& executable, const std::vector<std::string>& arguments,
                           const CommandOutput& output)
    : impl_(std::make_unique<Impl>()) {
    const auto fail = [&executable](int code) { throw SystemError(Operation::launch, code, executable); };
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        fail(errno);
    }
    impl_->control = FileDescriptor(ends[0]);
    FileDescriptor supervisorsControl = aboveStandard(FileDescriptor(ends[1]));
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        fail(errno);
    }
    const FileDescriptor launch(ends[0]);
    FileDescriptor supervisorsLaunch = aboveStandard(FileDescriptor(ends[1]));
    if (!supervisorsControl || !supervisorsLaunch) {
        fail(errno);
    }
    const FileDescriptor nothing = openFile("/dev/null", O_RDWR, Operation::open);

    std::vector<char*> words;
    words.push_back(const_cast<char*>(executable.c_str()));
    for (const std::string& argument : arguments) {
        words.push_back(const_cast<char*>(argument.c_str()));
    }
    words.push_back(nullptr);
    const ProcessSupervisor supervisor{.executable = executable.c_str(),
                                       .arguments = words.data(),
                                       .environment = environ,
                                       .control = supervisorsControl.get(),
                                       .launch = supervisorsLaunch.get(),
                                       .output = output.writingDescriptor(),
                                       .nothing = nothing.get()};
    {
        const AllSignalsBlocked blocked;
        impl_->supervisor = ::fork();
        if (impl_->supervisor == 0) {
            supervisor.run();
        }
    }
    if (impl_->supervisor < 0) {
        fail(errno);
    }
    supervisorsControl.reset();
    supervisorsLaunch.reset();
    // Ends without a word when the program runs.
    int code = 0;
    if (waitUntilReady(launch.get(), longestLaunch) &&
        ::read(launch.get(), &code, sizeof code) == static_cast<ssize_t>(sizeof code)) {
        impl_->finish();
        fail(code);
    }
}

ChildProcess::~ChildProcess() {
    impl_->finish();
}

bool ChildProcess::waitForEnd(std::chrono::milliseconds limit) {
    if (impl_->waitStatus) {
        return true;
    }
    if (!waitUntilReady(impl_->control.get(), limit)) {
        return false;
    }
    ProcessSupervisor::Report report{};
    const ssize_t length = ::recv(impl_->control.get(), &report, sizeof report, MSG_DONTWAIT);
    if (length < 0 && (errno == EAGAIN || errno == EINTR)) {
        return false;
    }
    // A supervisor that is gone without a report was killed by somebody, and the tool with it.
    impl_->waitStatus = length == static_cast<ssize_t>(sizeof report) ? report.waitStatus : SIGKILL;
    return true;
}

void ChildProcess::terminate() {
    impl_->send(ProcessSupervisor::Command::terminate);
}

void ChildProcess::kill() {
    impl_->send(ProcessSupervisor::Command::kill);
}

int ChildProcess::terminationStatus() const {
    const int status = impl_->waitStatus.value_or(0);
    return WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace larkfold
