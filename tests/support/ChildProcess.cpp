#include "support/ChildProcess.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <mutex>
#include <string>
#include <vector>

#include "support/MachineRequirements.h"

namespace larkfold::test {

namespace {

constexpr int ended = 0;
constexpr int threw = 1;

testing::TestPartResult failure(const std::string& text) {
    return {testing::TestPartResult::kNonFatalFailure, __FILE__, __LINE__, text.c_str()};
}

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

    std::vector<testing::TestPartResult> parts() const {
        std::vector<testing::TestPartResult> parts;
        struct stat status{};
        fstat(file_, &status);
        std::string records(static_cast<std::size_t>(status.st_size), '\0');
        if (pread(file_, records.data(), records.size(), 0) != status.st_size) {
            parts.push_back(failure("what the child process told cannot be read"));
            return parts;
        }
        const char* at = records.data();
        const char* const end = at + records.size();
        while (at != end) {
            std::size_t numbers[4];
            std::memcpy(numbers, at, sizeof numbers);
            at += sizeof numbers;
            const std::string place(at, numbers[2]);
            const std::string text(at + numbers[2], numbers[3]);
            at += numbers[2] + numbers[3];
            parts.emplace_back(static_cast<testing::TestPartResult::Type>(numbers[0]), place.c_str(),
                               static_cast<int>(numbers[1]), text.c_str());
        }
        return parts;
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

std::vector<testing::TestPartResult> toldByChildProcess(const std::function<void()>& work) {
    const Told told;
    if (!told.isThere()) {
        return {failure(std::string("no file in memory could be made: ") + std::strerror(errno))};
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
    std::vector<testing::TestPartResult> parts = told.parts();
    const bool hasFailed = std::ranges::any_of(parts, [](const auto& part) { return part.failed(); });
    if (child < 0) {
        parts.push_back(failure("no child process could be made"));
    } else if (WIFSIGNALED(status)) {
        parts.push_back(failure("the child process ended by signal " + std::to_string(WTERMSIG(status))));
    } else if (WEXITSTATUS(status) != ended && !hasFailed) {
        parts.push_back(failure("the child process ended by itself with exit code " +
                                std::to_string(WEXITSTATUS(status))));
    }
    return parts;
}

void inChildProcess(const std::function<void()>& work) {
    bool isSkipped = false;
    for (const testing::TestPartResult& part : toldByChildProcess(work)) {
        isSkipped = isSkipped || part.skipped();
        GTEST_MESSAGE_AT_(part.file_name(), part.line_number(), part.message(), part.type());
    }
    if (isSkipped) {
        endSkippedTest();
    }
}

}  // namespace larkfold::test
