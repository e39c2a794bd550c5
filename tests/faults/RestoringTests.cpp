// An item that an interrupted removal had put aside, on its way back: while somebody exchanges it, while the
// program is killed, and on a disk that does not answer.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "faults/FaultLoops.h"
#include "faults/PrivateNamespace.h"
#include "faults/RemovalSubject.h"
#include "faults/SystemCallHarness.h"
#include "platform/Path.h"
#include "removal/CleanupHistoryStore.h"
#include "removal/CleanupTexts.h"
#include "removal/RemovalRecovery.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* anothers = "a file of somebody else";

// The removal is killed where the item lies in its private folder and nothing of it has gone.
void leaveAside(RemovalSubject& subject) {
    const ProgramOutcome outcome = subject.run("", [isMoved = false](const SystemCall& call) mutable {
        if (call.number == SYS_renameat2 && call.isEntry) {
            isMoved = true;
            return Verdict{};
        }
        return isMoved && call.number == SYS_unlinkat ? Verdict{.kind = Verdict::Kind::kill} : Verdict{};
    });
    ASSERT_TRUE(outcome.wasKilledByWatcher) << outcome.output;
    subject.look();
    ASSERT_FALSE(subject.isAtPlace());
    ASSERT_THAT(subject.privateFolders(), SizeIs(1));
    ASSERT_TRUE(subject.privateFolders().front().holdsAllOfIt);
}

std::string asidePath(const RemovalSubject& subject) {
    return subject.pathOf(subject.privateFolders().front().path) + "/" +
           std::string(lastPathComponent(subject.url()));
}

// Somebody puts a file of theirs in the place of the item right before it is moved.
std::string restoreWhileExchanged(RemovalSubject& subject, const std::string& mode) {
    leaveAside(subject);
    const std::string aside = asidePath(subject);
    const std::string other = subject.pathOf("other");
    std::ofstream(other) << anothers;
    bool isExchanged = false;
    const ProgramOutcome outcome = subject.recover(
        [&](const SystemCall& call) {
            if (call.number == SYS_renameat2 && call.isEntry && !isExchanged && fs::exists(aside) &&
                !subject.journals().empty()) {
                isExchanged =
                    renameat2(AT_FDCWD, aside.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE) == 0;
            }
            return Verdict{};
        },
        mode);
    EXPECT_TRUE(isExchanged) << outcome.output;
    EXPECT_TRUE(outcome.hasExited) << outcome.output;
    return outcome.output;
}

class Restoring : public testing::TestWithParam<Scenario> {};

TEST_P(Restoring, whatSomebodyPutInItsPlace_isRestored) {
    inPrivateNamespace([] {
        RemovalSubject subject(GetParam(), true);
        EXPECT_THAT(restoreWhileExchanged(subject, "restore"),
                    HasSubstr("not restored: " + cleanup_texts::asideChanged()));
        // Nobody's file stands under the item's name, and both are whole where somebody had put them.
        EXPECT_FALSE(fs::exists(subject.url()));
        EXPECT_EQ(contentOf(asidePath(subject)), anothers);
        EXPECT_TRUE(fs::exists(subject.pathOf("other")));
        const std::string aside = asidePath(subject);
        const std::string other = subject.pathOf("other");
        ASSERT_EQ(renameat2(AT_FDCWD, aside.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE), 0);
        ASSERT_TRUE(fs::remove(other));
        subject.look();
        EXPECT_TRUE(subject.privateFolders().front().holdsAllOfIt);
        EXPECT_EQ(subject.harm(), "");
        // It is still offered.
        EXPECT_THAT(subject.journals(), SizeIs(1));
    });
}

TEST_P(Restoring, withoutALookAtWhatArrived_isFoundOut) {
    inPrivateNamespace([] {
        RemovalSubject subject(GetParam(), true);
        restoreWhileExchanged(subject, "restore-unseen");
        EXPECT_EQ(contentOf(subject.url()), anothers);
    });
}

// What is killed on the way back is aside or in its place, whole, and the next start knows which.
TEST_P(Restoring, killedAtEverySystemCall_isInOnePlaceAndOfferedAsLongAsItLiesAside) {
    inPrivateNamespace([] {
        RemovalSubject subject(GetParam(), true);
        int aside = 0;
        int inPlace = 0;
        const auto run = [&subject](const Watcher& watcher) {
            leaveAside(subject);
            return subject.recover(watcher, "restore");
        };
        const auto judge = [&](std::uint64_t at, const ProgramOutcome& outcome) {
            CleanupHistoryStore history(subject.historyFile());
            RemovalRecovery recovery(history);
            const RemovalRecovery::Report report = recovery.recover({});
            subject.look();
            ASSERT_EQ(subject.harm(), "") << at;
            ASSERT_THAT(report.problems, IsEmpty()) << at;
            ASSERT_THAT(history.load(), SizeIs(1)) << at;
            if (subject.isAtPlace()) {
                ASSERT_TRUE(subject.isWholeAtPlace()) << at;
                ASSERT_THAT(report.leftovers, IsEmpty()) << at;
                ASSERT_TRUE(subject.privateFolders().empty()) << at;
                ASSERT_THAT(subject.journals(), IsEmpty()) << at;
                ++inPlace;
            } else {
                ASSERT_THAT(report.leftovers, SizeIs(1)) << at;
                ASSERT_EQ(report.leftovers.front().item.path, asidePath(subject)) << at;
                ASSERT_TRUE(subject.privateFolders().front().holdsAllOfIt) << at;
                ++aside;
            }
            if (!outcome.wasKilledByWatcher) {
                ASSERT_THAT(outcome.output, HasSubstr("\nrestored"));
                ASSERT_TRUE(subject.isWholeAtPlace());
            }
        };
        killEverywhere(run, {.stride = thorough<std::uint64_t>(37, 5, 1)},
                       [&](std::uint64_t at, const ProgramOutcome& outcome) {
                           judge(at, outcome);
                           return !testing::Test::HasFailure();
                       });
        std::printf("%s, on its way back: %d aside, %d in its place\n", nameOf(subject.scenario()), aside,
                    inPlace);
        EXPECT_GT(aside, 0);
        EXPECT_GT(inPlace, 0);
    });
}

INSTANTIATE_TEST_SUITE_P(OfAFileAndOfATree, Restoring,
                         testing::Values(Scenario::fileForGood, Scenario::treeForGood),
                         [](const auto& which) {
                             return which.param == Scenario::fileForGood ? "file" : "tree";
                         });

// --- A disk that does not answer

TEST(RecoveryOfADeadDisk, waits_andTellsItWhenTheDiskIsBack) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::fileForGood, true);
        leaveAside(subject);
        CleanupHistoryStore history(subject.historyFile());
        RemovalRecovery recovery(history);
        {
            const DeadMount dead(std::string(parentPath(subject.url())));
            const RemovalRecovery::Report report = recovery.recover({});
            EXPECT_THAT(report.problems, ElementsAre(cleanup_texts::journalWaits()));
            EXPECT_THAT(report.leftovers, IsEmpty());
            EXPECT_EQ(report.recordedCount, 0);
        }
        EXPECT_THAT(subject.journals(), SizeIs(1));
        EXPECT_THAT(history.load(), IsEmpty());
        const RemovalRecovery::Report report = recovery.recover({});
        EXPECT_THAT(report.problems, IsEmpty());
        EXPECT_EQ(report.recordedCount, 1);
        EXPECT_THAT(history.load(), SizeIs(1));
        ASSERT_THAT(report.leftovers, SizeIs(1));
        {
            const DeadMount dead(std::string(parentPath(subject.url())));
            EXPECT_EQ(recovery.restore(report.leftovers.front()), cleanup_texts::asideUnreachable());
        }
        EXPECT_THAT(subject.journals(), SizeIs(1));
        EXPECT_EQ(recovery.restore(report.leftovers.front()), std::nullopt);
        subject.look();
        EXPECT_TRUE(subject.isWholeAtPlace());
        EXPECT_EQ(subject.harm(), "");
        EXPECT_THAT(subject.journals(), IsEmpty());
    });
}

}  // namespace
}  // namespace larkfold::test
