#include "support/ChildProcess.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <mutex>
#include <string>
#include <utility>

#include "support/MachineRequirements.h"

namespace larkfold::test {

namespace {

constexpr int ended = 0;
constexpr int threw = 1;

// What the child tells lies in a file in memory that both have, so that it is there however the child ended.
class Told {
public:
    Told() : file_(memfd_create("told by a child process", MFD_CLOEXEC)) {}
    ~Told() { close(file_); }
    Told(const Told&) = delete;
    Told& operator=(const Told&) = delete;

    bool isThere() const { return file_ >= 0; }

    // In one call, so that what several threads tell stays apart.
    void add(const testing::TestPartResult& part) const {
        const std::string place = part.file_name() == nullptr ? "" : part.file_name();
        const std::string text = part.message();
        std::string record;
        for (const std::size_t number :
             {static_cast<std::size_t>(part.type()),
              static_cast<std::size_t>(part.line_number() < 0 ? 0 : part.line_number()), place.size(),
              text.size()}) {
            record.append(reinterpret_cast<const char*>(&number), sizeof number);
        }
        record += place + text;
        const std::scoped_lock lock(mutex_);
        if (write(file_, record.data(), record.size()) != static_cast<ssize_t>(record.size())) {
            _exit(threw);
        }
    }

    // Makes each of them the running test's own; true where one is a skip.
    bool repeat() const {
        struct stat status{};
        fstat(file_, &status);
        std::string records(static_cast<std::size_t>(status.st_size), '\0');
        if (pread(file_, records.data(), records.size(), 0) != status.st_size) {
            ADD_FAILURE() << "what the child process told cannot be read";
            return false;
        }
        bool isSkipped = false;
        const char* at = records.data();
        const char* const end = at + records.size();
        while (at != end) {
            std::size_t numbers[4];
            std::memcpy(numbers, at, sizeof numbers);
            at += sizeof numbers;
            const std::string place(at, numbers[2]);
            const std::string text(at + numbers[2], numbers[3]);
            at += numbers[2] + numbers[3];
            const auto type = static_cast<testing::TestPartResult::Type>(numbers[0]);
            isSkipped = isSkipped || type == testing::TestPartResult::kSkip;
            GTEST_MESSAGE_AT_(place.c_str(), static_cast<int>(numbers[1]), text.c_str(), type);
        }
        return isSkipped;
    }

private:
    int file_;
    mutable std::mutex mutex_;
};

// Tells the parent instead of printing.
class TellingListener : public testing::EmptyTestEventListener {
public:
    explicit TellingListener(const Told& told) : told_(told) {}
    void OnTestPartResult(const testing::TestPartResult& part) override {
        if (part.failed() || part.skipped()) {
            told_.add(part);
        }
    }

private:
    const Told& told_;
};

[[noreturn]] void runChild(const Told& told, const std::function<void()>& work) {
    testing::TestEventListeners& listeners = testing::UnitTest::GetInstance()->listeners();
    delete listeners.Release(listeners.default_result_printer());
    delete listeners.Release(listeners.default_xml_generator());
    listeners.Append(new TellingListener(told));
    int code = ended;
    try {
        work();
    } catch (const testing::AssertionException&) {
        // Told before it was thrown.
    } catch (const std::exception& error) {
        ADD_FAILURE() << "The function threw: " << error.what();
        code = threw;
    }
    std::fflush(stdout);
    std::fflush(stderr);
    // Not `exit`: what the parent registered for its own end is none of the child's.
    _exit(code);
}

}  // namespace

void inChildProcess(const std::function<void()>& work) {
    const Told told;
    if (!told.isThere()) {
        ADD_FAILURE() << "no file in memory could be made: " << std::strerror(errno);
        return;
    }
    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t child = fork();
    if (child == 0) {
        runChild(told, work);
    }
    int status = 0;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    const bool hadFailed = testing::Test::HasFailure();
    const bool isSkipped = told.repeat();
    if (child < 0) {
        ADD_FAILURE() << "no child process could be made";
    } else if (WIFSIGNALED(status)) {
        ADD_FAILURE() << "the child process ended by signal " << WTERMSIG(status);
    } else if (WEXITSTATUS(status) != ended && (hadFailed || !testing::Test::HasFailure())) {
        ADD_FAILURE() << "the child process ended by itself with exit code " << WEXITSTATUS(status);
    } else if (isSkipped) {
        endSkippedTest();
    }
}

}  // namespace larkfold::test
