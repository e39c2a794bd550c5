// Letting one system call of a watched program fail, and remembering which it was: what the suites share that
// try each error at each call.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "faults/SystemCallHarness.h"

namespace larkfold::test {

inline constexpr int shortWrite = -1;  // stands among the errors for half of what was to be written

// Calls that a failing system makes fail. Memory and locks between threads are not among them.
bool isFallible(long number);
bool isThreadStart(long number);
bool mayFail(long number);  // either
bool isWrite(long number);
bool isSync(long number);

// Each error of a failing disk or system, and half a write.
std::vector<int> allErrors();
// "ENOSPC"
const char* nameOfError(int error);

// Lets one call fail, where that is an error which such a call can give.
struct ErrorInjection {
    std::uint64_t call = 0;  // the number of the call among those of `counts`, of all threads
    int error = 0;
    bool (*counts)(long number) = nullptr;

    std::uint64_t seen = 0;  // of the calls that count
    std::optional<SystemCall> struck;
    std::string subject;         // a struck sync or removal: the path it was about
    bool isSyncedLater = false;  // a struck sync: the same file was synced with success afterwards

    // For `runWatched`.
    Verdict look(const SystemCall& now);
};

}  // namespace larkfold::test
