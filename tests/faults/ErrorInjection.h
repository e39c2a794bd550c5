// Letting one system call of a watched program fail, and remembering which it was: what the suites share that
// try each error at each call.
#pragma once

#include <array>
#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>

#include "faults/SystemCallHarness.h"

namespace larkfold::test {

inline constexpr int shortWrite = -1;  // stands among the errors for half of what was to be written

// Calls that a failing system makes fail. Memory and locks between threads are not among them.
bool isFallible(long number);
bool isThreadStart(long number);
bool isWrite(long number);
bool isSync(long number);
bool isRemoval(long number);  // of a name
// It makes, moves or removes something.
bool isChange(const SystemCall& call);

// Each error of a failing disk or system, and half a write.
inline constexpr std::array diskErrors = {ENOSPC, EIO,    EMFILE, EACCES,    ENOTEMPTY,
                                          EROFS,  EDQUOT, EINTR,  shortWrite};

// Lets one call fail, or that and all further ones of its kind; of the calls that are no writes none with
// half a write.
struct ErrorInjection {
    std::uint64_t call = 0;  // the number of the call among those of `counts`, of all threads
    int error = 0;
    bool (*counts)(long number) = isFallible;
    bool goesOn = false;

    std::uint64_t seen = 0;                    // of the calls that count
    std::optional<std::uint64_t> firstChange;  // the number of the first that changes something
    std::optional<SystemCall> struck;          // the one whose turn it was
    std::string subject;                       // a struck sync or removal: the path it was about
    bool isSyncedLater = false;  // a struck sync: the same file was synced with success afterwards

    // For `runWatched`.
    Verdict look(const SystemCall& now);

    // "EIO in call 5 (number 3): "
    std::string description() const;
};

}  // namespace larkfold::test
