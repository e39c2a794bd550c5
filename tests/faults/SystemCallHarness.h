// Runs the victim (see Victim.h) under ptrace and shows every system call of all its threads to a watcher,
// under one counter.
//
// The program marks with the signal SIGUSR1 where watching begins, and with a second one where it ends: what
// the loader does before and what it reports afterwards runs unwatched. The watcher is asked at the entry and
// at the exit of each call and may let it pass, kill the whole program right there, make the call fail or
// write less than it was told, or hold the thread until it is released.
//
// For x86-64. One run at a time; the harness reaps every child of the process, so a test that uses it has no
// others.
#pragma once

#include <sys/types.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace larkfold::test {

struct SystemCall {
    pid_t thread = 0;
    long number = 0;
    std::array<std::uint64_t, 6> arguments{};
    bool isEntry = true;
    std::int64_t result = 0;  // at the exit; a failure is a negative errno
    std::uint64_t stop = 0;   // how many entries and exits of all threads came before

    // The NUL-terminated text at the address that is argument `index`.
    std::string text(std::size_t index) const;
    // What the descriptor that is argument `index` leads to.
    std::string descriptorPath(std::size_t index) const;
};

struct Verdict {
    enum class Kind {
        proceed,
        kill,
        fail,       // at the entry: the call is not made and fails with `value` as errno
        failAfter,  // at the entry: the call is made and told as failed with `value` (for close, which frees
                    // anyway)
        shorten,    // at the entry: the length, argument 2, becomes `value`
        hold        // the thread stays where it is until some verdict says `releasesHeld`
    };
    Kind kind = Kind::proceed;
    std::int64_t value = 0;
    bool releasesHeld = false;
};

struct ProgramOutcome {
    bool hasExited = false;  // by itself
    int exitCode = 0;
    int signal = 0;  // that ended it
    bool wasKilledByWatcher = false;
    bool isOverdue = false;   // killed since it did not end in time
    std::uint64_t stops = 0;  // that were shown to the watcher
    std::string output;       // of the program, standard output and error
};

using Watcher = std::function<Verdict(const SystemCall&)>;

// Kills the program at that stop, and lets it be otherwise.
Watcher killAt(std::uint64_t stop);

// Runs the victim with these words. Where the system lets nobody trace, the test is skipped. A program that
// is not done after `limit` is killed and told as overdue.
ProgramOutcome runWatched(const std::vector<std::string>& words, const Watcher& watcher,
                          std::chrono::seconds limit = std::chrono::seconds(30));

}  // namespace larkfold::test
