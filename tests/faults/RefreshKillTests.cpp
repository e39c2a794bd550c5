// kill -9 before and after every system call of a refresh of the saved index: each change is in it as a whole
// or not at all, and the next refresh goes on from there.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "faults/FaultLoops.h"
#include "faults/RefreshSubject.h"
#include "faults/SystemCallHarness.h"

namespace larkfold::test {
namespace {

using testing::IsEmpty;

// More files than the library keeps changed pages of in memory.
constexpr int manyFiles = 6'000;

struct Tally {
    int kills = 0;
    std::map<int, int> states;  // how often each was found
    std::vector<std::string> violations;
};

ProgramOutcome run(RefreshSubject& subject, const std::string& mode, const Watcher& watcher) {
    return mode.empty() ? subject.run(watcher) : subject.run(mode, watcher);
}

void killSteps(RefreshSubject& subject, const std::string& mode, std::uint64_t stride, Tally& tally) {
    const auto runOnce = [&](const Watcher& watcher) { return run(subject, mode, watcher); };
    killEverywhere(runOnce, {.stride = stride}, [&](std::uint64_t at, const ProgramOutcome& outcome) {
        const std::string problem = subject.problem();
        if (!outcome.wasKilledByWatcher) {
            if (mode.empty()) {
                EXPECT_EQ(problem, "");
                EXPECT_TRUE(subject.holdsNew());
                EXPECT_THAT(subject.temporaries(), IsEmpty());
            }
            return true;
        }
        ++tally.kills;
        ++tally.states[subject.state()];
        if (!problem.empty()) {
            tally.violations.push_back("killed at stop " + std::to_string(at) + ": " + problem);
        }
        for (const std::string& name : subject.strangers()) {
            tally.violations.push_back("killed at stop " + std::to_string(at) + ": " + name + " was left");
        }
        return true;
    });
}

void tell(const char* what, const Tally& tally) {
    std::printf("%s: %d kill points, the old index stood %d times", what, tally.kills,
                tally.states.contains(0) ? tally.states.at(0) : 0);
    for (const auto& [state, count] : tally.states) {
        if (state > 0) {
            std::printf(", state %d %d times", state, count);
        }
    }
    std::printf("; %zu violations\n", tally.violations.size());
}

TEST(RefreshKill, atEverySystemCall_leavesEachChangeWholeOrAbsent) {
    struct Run {
        Step step;
        int files;
        std::uint64_t stride;
    };
    const Run runs[] = {
        {.step = Step::merge, .files = 40, .stride = thorough<std::uint64_t>(23, 4, 1)},
        {.step = Step::mergeOfRoot, .files = 40, .stride = thorough<std::uint64_t>(23, 4, 1)},
        {.step = Step::remove, .files = 40, .stride = thorough<std::uint64_t>(23, 4, 1)},
        {.step = Step::refresh, .files = 40, .stride = thorough<std::uint64_t>(127, 13, 1)},
        {.step = Step::merge, .files = manyFiles, .stride = thorough<std::uint64_t>(1'994, 499, 3)},
        {.step = Step::remove, .files = manyFiles, .stride = thorough<std::uint64_t>(1'994, 499, 3)},
    };
    int kills = 0;
    for (const Run& run : runs) {
        RefreshSubject subject(run.step, run.files);
        Tally tally;
        killSteps(subject, "", run.stride, tally);
        tell(nameOf(run.step), tally);
        EXPECT_THAT(tally.violations, IsEmpty()) << nameOf(run.step) << " of " << run.files << " files";
        EXPECT_GT(tally.states[0], 0);
        if (run.files < manyFiles && thoroughness() == Thoroughness::full) {
            for (int state = 1; state <= subject.lastState(); ++state) {
                EXPECT_GT(tally.states[state], 0) << nameOf(run.step) << ", state " << state;
            }
        }
        kills += tally.kills;
    }
    std::printf("%d kill points\n", kills);
    RecordProperty("killPoints", kills);
    if (thoroughness() != Thoroughness::brief) {
        EXPECT_GE(kills, 450);
    }
}

// What was interrupted is not looked at first: the next refresh comes upon it as the program does.
TEST(RefreshKill, afterwards_theNextRefreshBringsTheIndexUpToDate) {
    for (const Step step : {Step::merge, Step::refresh}) {
        RefreshSubject subject(step);
        const std::uint64_t stride = (step == Step::merge ? 5 : 41) * thorough<std::uint64_t>(10, 4, 1);
        const auto runOnce = [&subject](const Watcher& watcher) { return subject.run(watcher); };
        killEverywhere(runOnce, {.stride = stride, .first = 3}, [&](std::uint64_t at, const ProgramOutcome&) {
            try {
                subject.doStep();
            } catch (const std::exception& error) {
                ADD_FAILURE() << error.what();
            }
            EXPECT_EQ(subject.problem(), "") << nameOf(step) << ", killed at stop " << at;
            EXPECT_TRUE(subject.holdsNew()) << nameOf(step) << ", killed at stop " << at;
            return true;
        });
    }
}

// Negative controls: the same loop and the same judgement find out what is naive.

int violationsOf(const std::string& mode, int files, std::uint64_t stride) {
    RefreshSubject subject(Step::merge, files);
    Tally tally;
    killSteps(subject, mode, stride, tally);
    tell(mode.c_str(), tally);
    return static_cast<int>(tally.violations.size());
}

TEST(RefreshKillControl, aChangeInSeveralTransactions_isFoundOut) {
    EXPECT_GT(violationsOf("unwrapped", 40, 5), 0);
}

TEST(RefreshKillControl, aJournalInMemory_isFoundOut) {
    EXPECT_GT(violationsOf("in-memory", 400, 15), 0);
}

// From the journal's removal to the commit's last write, which are few stops of many: so the kills are sent
// there.
TEST(RefreshKillControl, aJournalThatGoesBeforeTheCommit_isFoundOut) {
    RefreshSubject subject(Step::merge, manyFiles);
    int violations = 0;
    for (int writes = 0; writes < 3; ++writes) {
        bool hasGone = false;
        int made = 0;
        const ProgramOutcome outcome = subject.run("unlinked", [&](const SystemCall& call) {
            if (!call.isEntry && call.number == SYS_unlink && call.text(0).ends_with("-journal")) {
                hasGone = true;
            } else if (hasGone && !call.isEntry && call.number == SYS_pwrite64) {
                ++made;
            }
            return hasGone && made == writes ? Verdict{.kind = Verdict::Kind::kill} : Verdict{};
        });
        ASSERT_TRUE(outcome.wasKilledByWatcher) << outcome.output;
        violations += subject.problem().empty() ? 0 : 1;
    }
    EXPECT_GT(violations, 0);
}

}  // namespace
}  // namespace larkfold::test
