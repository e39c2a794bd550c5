// What is scanned goes away, or becomes something else, while it is scanned.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <string>

#include "disk/DiskScanner.h"
#include "faults/FaultLoops.h"
#include "faults/IndexOracle.h"
#include "faults/SystemCallHarness.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

// Runs a scan and does `change` right before the first call for which `isMoment` is true.
ProgramOutcome scanAndChange(const TemporaryTree& tree,
                             const std::function<bool(const SystemCall&)>& isMoment,
                             const std::function<void()>& change) {
    bool isDone = false;
    const ProgramOutcome outcome =
        runWatched({"scan", "scan", tree.path("root"), tree.path("index/latest-scan.sqlite")},
                   [&](const SystemCall& call) {
                       if (!isDone && call.isEntry && isMoment(call)) {
                           isDone = true;
                           change();
                       }
                       return Verdict{};
                   });
    EXPECT_TRUE(isDone) << "the moment never came";
    return outcome;
}

class Vanishing : public testing::Test {
protected:
    Vanishing() {
        tree.file("root/a/stays", "x");
        tree.file("root/a/goes", "x");
        tree.file("root/b/inside", "x");
        tree.file("root/c/last", "x");
        tree.folder("index");
    }

    std::string problemOfIndex() {
        const std::string found = describeIndex(tree.path("index/latest-scan.sqlite"));
        return isWhole(found) ? "" : found;
    }

    QuickFolder quick;
    TemporaryTree tree;
};

TEST_F(Vanishing, aFileBetweenItsListingAndTheLookAtIt_isTold) {
    const ProgramOutcome outcome = scanAndChange(
        tree, [](const SystemCall& call) { return call.number == SYS_statx && call.text(1) == "goes"; },
        [&] { ASSERT_EQ(unlink(tree.path("root/a/goes").c_str()), 0); });
    EXPECT_THAT(outcome.output, AllOf(HasSubstr("scanned 3 4 "), HasSubstr("root/a/goes”"),
                                      HasSubstr("it is no longer there.")));
    EXPECT_EQ(problemOfIndex(), "");
}

TEST_F(Vanishing, aFolderBetweenItsListingAndItsOpening_isTold) {
    const ProgramOutcome outcome = scanAndChange(
        tree, [](const SystemCall& call) { return call.number == SYS_openat2 && call.text(1) == "b"; },
        [&] { removeTree(tree.path("root/b")); });
    EXPECT_THAT(outcome.output,
                AllOf(HasSubstr("scanned 3 4 "), HasSubstr("root/b”"), HasSubstr("it is no longer there.")));
    EXPECT_EQ(problemOfIndex(), "");
}

TEST_F(Vanishing, aFolderThatBecomesALink_isToldAndNotFollowed) {
    tree.file("elsewhere/secret", "x");
    const ProgramOutcome outcome = scanAndChange(
        tree, [](const SystemCall& call) { return call.number == SYS_openat2 && call.text(1) == "b"; },
        [&] {
            removeTree(tree.path("root/b"));
            ASSERT_EQ(symlink(tree.path("elsewhere").c_str(), tree.path("root/b").c_str()), 0);
        });
    EXPECT_THAT(outcome.output, AllOf(HasSubstr("scanned 3 4 "), HasSubstr("unread "), HasSubstr("root/b”"),
                                      Not(HasSubstr("secret"))));
    EXPECT_EQ(problemOfIndex(), "");
}

// A pipe that takes a folder's place is not waited for.
TEST_F(Vanishing, aFolderThatBecomesAPipe_isToldAndNotWaitedFor) {
    const ProgramOutcome outcome = scanAndChange(
        tree, [](const SystemCall& call) { return call.number == SYS_openat2 && call.text(1) == "b"; },
        [&] {
            removeTree(tree.path("root/b"));
            ASSERT_EQ(mkfifo(tree.path("root/b").c_str(), 0600), 0);
        });
    EXPECT_THAT(outcome.output, AllOf(HasSubstr("scanned 3 4 "), HasSubstr("root/b”")));
    EXPECT_EQ(problemOfIndex(), "");
}

// At whichever call the whole root goes: the scan ends by itself, with a whole index or with a sentence, and
// what is missing is told.
TEST_F(Vanishing, theRootAtAnyCall_endsTheScanInOrder) {
    const std::uint64_t step = thoroughness() == Thoroughness::brief ? 25 : 4;
    int told = 0;
    for (std::uint64_t at = 0;; at += step) {
        TemporaryTree fresh;
        fresh.file("root/a/one", "x");
        fresh.file("root/b/two", "x");
        fresh.file("root/b/deeper/three", "x");
        fresh.folder("index");
        bool isGone = false;
        const ProgramOutcome outcome =
            runWatched({"scan", "scan", fresh.path("root"), fresh.path("index/latest-scan.sqlite")},
                       [&](const SystemCall& call) {
                           if (call.stop == at) {
                               removeTree(fresh.path("root"));
                               isGone = true;
                           }
                           return Verdict{};
                       });
        if (!isGone) {
            break;
        }
        ASSERT_TRUE(outcome.hasExited && outcome.exitCode == 0) << "at stop " << at << ": " << outcome.output;
        const bool isComplete = outcome.output.find("scanned 3 4 ") != std::string::npos;
        const bool tells = outcome.output.find("unread ") != std::string::npos;
        EXPECT_TRUE(isComplete || tells) << "at stop " << at << ": " << outcome.output;
        told += tells ? 1 : 0;
        const std::string found = describeIndex(fresh.path("index/latest-scan.sqlite"));
        EXPECT_TRUE(isWhole(found)) << "at stop " << at << ": " << found;
    }
    EXPECT_GT(told, 0);
}

// The folders of one that came into the map, whole or not.
std::size_t foldersIn(const ScanResult& result, std::string_view name) {
    for (const auto& folder : result.rootNode->children()) {
        if (folder->name() == name) {
            return folder->children().size();
        }
    }
    return 0;
}

TEST_F(Vanishing, theRootInAProgressReport_endsTheScanInOrder) {
    for (const bool readsAhead : {false, true}) {
        for (int i = 0; i < 3'000; ++i) {
            tree.file("root/many/" + std::to_string(i % 60) + "/" + std::to_string(i), "x");
        }
        bool isGone = false;
        const ScanResult result =
            DiskScanner(tree.path("index/latest-scan.sqlite"), {.readsAhead = readsAhead})
                .scan(tree.path("root"), everything(), {}, [&](const ScanProgress& progress) {
                    if (!isGone && progress.filesScanned > 500) {
                        isGone = true;
                        removeTree(tree.path("root"));
                    }
                });
        EXPECT_TRUE(isGone);
        EXPECT_GT(result.totalFiles, 500);
        EXPECT_EQ(problemOfIndex(), "");
        // Reading ahead may have been through before the root went, and of a folder that was just being
        // listed it sees what is still there. A folder that it never saw is told, and so is every one where
        // nothing was read ahead.
        EXPECT_TRUE((readsAhead && foldersIn(result, "many") == 60) || !result.errors.empty())
            << result.totalFiles;
        EXPECT_FALSE(result.volumeCapacity.has_value());
    }
}

}  // namespace
}  // namespace larkfold::test
