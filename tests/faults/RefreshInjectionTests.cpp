// A system call of a refresh of the saved index fails, each call in turn with each error: the change is made
// and told, or it fails with a sentence. It ends, keeps no descriptor, and each change is in the index as a
// whole or not at all.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "faults/ErrorInjection.h"
#include "faults/FaultLoops.h"
#include "faults/RefreshSubject.h"

namespace larkfold::test {
namespace {

using testing::IsEmpty;

struct Report {
    int descriptorsBefore = -1;
    int descriptorsAfter = -2;
    std::string outcome;
};

Report parse(const ProgramOutcome& program) {
    Report report;
    std::istringstream lines(program.output);
    std::string word;
    lines >> word >> report.descriptorsBefore >> report.descriptorsAfter >> std::ws;
    std::getline(lines, report.outcome);
    return report;
}

// "" where everything that is promised held.
std::string problemOf(RefreshSubject& subject, const ErrorInjection& injection,
                      const ProgramOutcome& program) {
    if (program.isOverdue) {
        return "it did not end";
    }
    if (!program.hasExited) {
        return "it ended by signal " + std::to_string(program.signal);
    }
    const Report report = parse(program);
    if (report.descriptorsBefore != report.descriptorsAfter) {
        return "descriptors: " + std::to_string(report.descriptorsBefore) + " before, " +
               std::to_string(report.descriptorsAfter) + " after";
    }
    if (const std::string index = subject.problem(); !index.empty()) {
        return "index: " + index;
    }
    const bool isDone = report.outcome.starts_with("done");
    if (isDone && report.outcome != subject.completeReport()) {
        return "told as " + report.outcome + " instead of " + subject.completeReport();
    }
    if (isDone && !subject.holdsNew()) {
        return "told as a success, and the index is not up to date";
    }
    if (!isDone && (!report.outcome.starts_with("refused ") || report.outcome.size() < 30)) {
        return "no sentence: " + report.outcome;
    }
    if (isDone && isSync(injection.struck->number) && !injection.isSyncedLater) {
        return "told as a success although the sync of " + injection.subject + " failed";
    }
    if (!subject.strangers().empty()) {
        return subject.strangers().front() + " was left";
    }
    if (injection.struck->number != SYS_unlink && !subject.temporaries().empty()) {
        return subject.temporaries().front() + " was left";
    }
    return "";
}

struct Tally {
    int injected = 0;
    int done = 0;
    int refused = 0;           // and the index is as it was
    int refusedInBetween = 0;  // and some of the changes are made
    int refusedAfterAll = 0;   // all of them
    std::vector<std::string> violations;
};

void injectEverywhere(RefreshSubject& subject, const std::string& mode, std::span<const int> errors,
                      bool (*counts)(long number), std::uint64_t stride, Tally& tally) {
    const auto run = [&](const Watcher& watcher) {
        return mode.empty() ? subject.run(watcher) : subject.run(mode, watcher);
    };
    const auto judge = [&](const ErrorInjection& struck, const ProgramOutcome& program) {
        ++tally.injected;
        const std::string problem = problemOf(subject, struck, program);
        ++(program.exitCode == 0 ? tally.done
           : subject.holdsOld()  ? tally.refused
           : subject.holdsNew()  ? tally.refusedAfterAll
                                 : tally.refusedInBetween);
        if (!problem.empty()) {
            tally.violations.push_back(struck.description() + problem + "\n" + program.output);
        }
    };
    ErrorInjection injection;
    injection.counts = counts;
    failEverywhere(run, errors, injection, {.stride = stride}, judge);
}

void tell(const char* what, const Tally& tally) {
    std::printf(
        "%s: %d errors injected: %d times done, %d refused with the old index, %d with some of the changes, "
        "%d "
        "with all; %zu violations\n",
        what, tally.injected, tally.done, tally.refused, tally.refusedInBetween, tally.refusedAfterAll,
        tally.violations.size());
}

TEST(RefreshInjection, eachErrorAtEachCall_isToldAndLeavesEachChangeWholeOrAbsent) {
    struct Run {
        Step step;
        std::uint64_t stride;
    };
    const Run runs[] = {{.step = Step::merge, .stride = 3},
                        {.step = Step::mergeOfRoot, .stride = 5},
                        {.step = Step::remove, .stride = 2},
                        {.step = Step::refresh, .stride = 11}};
    int injected = 0;
    for (const auto& [step, stride] : runs) {
        RefreshSubject subject(step);
        Tally tally;
        injectEverywhere(subject, "", diskErrors, isFallible,
                         thorough<std::uint64_t>(stride * 20, stride * 4, 1), tally);
        injectEverywhere(subject, "", std::array{EAGAIN}, isThreadStart, 1, tally);
        tell(nameOf(step), tally);
        EXPECT_THAT(tally.violations, IsEmpty()) << nameOf(step);
        EXPECT_GT(tally.done, 0);
        EXPECT_GT(tally.refused, 0);
        injected += tally.injected;
    }
    std::printf("%d errors injected\n", injected);
    RecordProperty("injectedErrors", injected);
    if (thoroughness() != Thoroughness::brief) {
        EXPECT_GE(injected, 500);
    }
}

TEST(RefreshInjection, aFailedSync_isNeverTakenForSuccess) {
    for (const Step step : {Step::merge, Step::mergeOfRoot, Step::remove, Step::refresh}) {
        RefreshSubject subject(step);
        Tally tally;
        injectEverywhere(subject, "", std::array{EIO, ENOSPC, EDQUOT, EROFS}, isSync,
                         thorough<std::uint64_t>(5, 1, 1), tally);
        tell(nameOf(step), tally);
        EXPECT_THAT(tally.violations, IsEmpty()) << nameOf(step);
        // Of the journal's bytes and of the index's.
        EXPECT_GE(tally.refused, thoroughness() == Thoroughness::brief ? 1 : 8) << nameOf(step);
    }
}

// Negative controls: the same loop and the same judgement find out what is naive.

int violationsOf(const std::string& mode, int error, bool (*counts)(long number)) {
    RefreshSubject subject(Step::merge);
    Tally tally;
    injectEverywhere(subject, mode, std::array{error}, counts, 1, tally);
    tell(mode.c_str(), tally);
    return static_cast<int>(tally.violations.size());
}

TEST(RefreshInjectionControl, aFailureToldAsASuccess_isFoundOut) {
    EXPECT_GT(violationsOf("mute", EIO, isSync), 0);
    EXPECT_GT(violationsOf("mute", ENOSPC, isWrite), 0);
}

TEST(RefreshInjectionControl, keepingADescriptorAfterAFailure_isFoundOut) {
    EXPECT_GT(violationsOf("leaky", ENOSPC, isWrite), 0);
}

TEST(RefreshInjectionControl, aChangeInSeveralTransactions_isFoundOut) {
    EXPECT_GT(violationsOf("unwrapped", ENOSPC, isWrite), 0);
}

}  // namespace
}  // namespace larkfold::test
