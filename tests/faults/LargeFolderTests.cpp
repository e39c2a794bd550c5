// A folder with a hundred thousand entries (a million on demand): bounded memory, and a stop that is obeyed
// wherever it comes.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>

#include "disk/DiskScanner.h"
#include "faults/FaultLoops.h"
#include "faults/IndexOracle.h"
#include "faults/SystemCallHarness.h"
#include "support/Sanitized.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {
namespace {

using testing::HasSubstr;

int entries() {
    return thoroughness() == Thoroughness::full ? 1'000'000 : 100'000;
}

class LargeFolder : public testing::Test {
protected:
    static void SetUpTestSuite() {
        quick_ = new QuickFolder;
        tree_ = new TemporaryTree;
        const int folder = open(tree_->folder("root/large").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        for (int i = 0; i < entries(); ++i) {
            // Names in an order that is not that of the listing.
            const std::string name = std::to_string((i * 7919LL) % 1'000'003) + " entry " + std::to_string(i);
            const int file = openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
            ASSERT_GE(file, 0);
            close(file);
        }
        close(folder);
        tree_->folder("index");
    }
    static void TearDownTestSuite() {
        delete tree_;
        delete quick_;
    }

    static std::string root() { return tree_->path("root"); }
    static std::string index() { return tree_->path("index/latest-scan.sqlite"); }

    static QuickFolder* quick_;
    static TemporaryTree* tree_;
};

QuickFolder* LargeFolder::quick_ = nullptr;
TemporaryTree* LargeFolder::tree_ = nullptr;

TEST_F(LargeFolder, isScannedInBoundedMemory) {
    const ProgramOutcome outcome = runWatched(
        {"scan", "retained", root(), index()}, [](const SystemCall&) { return Verdict{}; },
        std::chrono::seconds(300));
    EXPECT_THAT(outcome.output, HasSubstr("scanned " + std::to_string(entries()) + " 2 "));
    const auto at = outcome.output.find("resident ");
    ASSERT_NE(at, std::string::npos) << outcome.output;
    const long kilobytes = std::stol(outcome.output.substr(at + 9));
    std::printf("%d entries: %ld KiB resident at most\n", entries(), kilobytes);
    RecordProperty("residentKiB", std::to_string(kilobytes));
    if (!isSanitized) {
        EXPECT_LT(kilobytes, 512 * 1024L * entries() / 1'000'000 + 24 * 1024);
    }
}

// Where a stop comes: when the watcher sees the call of that number and kind.
struct Moment {
    const char* name;
    long number;
    int occurrence;          // counted from 1
    std::int64_t mostLooks;  // entries looked at after the stop was requested
    int mostListings;
};

// The listing thread is held at that moment until the request to stop has been made, so what it does
// afterwards it does in spite of the request.
struct Aftermath {
    std::int64_t looks = 0;
    int listings = 0;
    bool wasHeld = false;
    ProgramOutcome outcome;
};

Aftermath stopAt(const std::string& mode, const Moment& moment, const std::string& root,
                 const std::string& index) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const int input = dup(STDIN_FILENO);
    dup2(ends[0], STDIN_FILENO);
    int seen = 0;
    bool isRequested = false;
    Aftermath aftermath;
    aftermath.outcome = runWatched(
        {"scan", mode, root, index},
        [&](const SystemCall& call) {
            if (call.isEntry && call.number == SYS_getpgid) {
                isRequested = true;
                return Verdict{.releasesHeld = true};
            }
            // At an entry by name; by the same number a folder is asked about itself, and a path.
            const bool isLook = call.number == SYS_statx && static_cast<int>(call.arguments[0]) != AT_FDCWD &&
                                (call.arguments[2] & AT_EMPTY_PATH) == 0 && call.text(1) != ".";
            if (!call.isEntry) {
                return Verdict{};
            }
            // The system's own folders may be listed as well, for what is told of volumes.
            const bool isListing = call.number == SYS_getdents64 && call.descriptorPath(0) == root + "/large";
            if (isRequested) {
                aftermath.looks += isLook ? 1 : 0;
                aftermath.listings += isListing ? 1 : 0;
            } else if ((isLook || isListing) && call.number == moment.number && ++seen == moment.occurrence) {
                aftermath.wasHeld = true;
                EXPECT_EQ(write(ends[1], "s", 1), 1);
                return Verdict{.kind = Verdict::Kind::hold};
            }
            return Verdict{};
        },
        std::chrono::seconds(300));
    dup2(input, STDIN_FILENO);
    close(input);
    close(ends[0]);
    close(ends[1]);
    return aftermath;
}

// The last reading of the names comes back empty; then they are sorted, and only then looked at. So a stop at
// that reading that leads to no look has ended the sort or come before it.
TEST_F(LargeFolder, aStopWhileItIsListed_isObeyedAfterFewEntries) {
    const Moment moments[] = {
        {"in the listing of the names", SYS_getdents64, 5, 0, 1},
        {"in the look at the first entries", SYS_statx, 100, 128, 0},
        {"in the look at the entries", SYS_statx, entries() / 2, 128, 0},
    };
    for (const Moment& moment : moments) {
        const Aftermath aftermath = stopAt("stoppable", moment, root(), index());
        EXPECT_TRUE(aftermath.wasHeld) << moment.name;
        EXPECT_THAT(aftermath.outcome.output, HasSubstr("cancelled")) << moment.name;
        EXPECT_EQ(aftermath.outcome.exitCode, 4) << moment.name;
        EXPECT_LE(aftermath.looks, moment.mostLooks) << moment.name;
        EXPECT_LE(aftermath.listings, moment.mostListings) << moment.name;
        std::printf("a stop %s: %lld entries and %d listings after it\n", moment.name,
                    static_cast<long long>(aftermath.looks), aftermath.listings);
    }
}

TEST_F(LargeFolder, control_aStopThatIsNotPassedOn_isFoundOut) {
    const Aftermath aftermath =
        stopAt("deaf", {"in the look at the entries", SYS_statx, 100, 0, 0}, root(), index());
    EXPECT_TRUE(aftermath.wasHeld);
    EXPECT_GT(aftermath.looks, entries() / 2);
}

TEST_F(LargeFolder, aStopInTheWalkOfItsEntries_isObeyedBeforeTheNextReport) {
    std::stop_source stop;
    int reports = 0;
    EXPECT_THROW(DiskScanner().scan(root(), everything(), stop.get_token(),
                                    [&](const ScanProgress& progress) {
                                        ++reports;
                                        if (progress.filesScanned >= 5'000) {
                                            stop.request_stop();
                                        }
                                    }),
                 CancellationError);
    EXPECT_LE(reports, 5'000 / 500 + 1);
}

// Tells how long a stop takes in clock time, at twenty moments of a scan. On demand, since a clock proves
// nothing on a machine that is busy with something else.
TEST_F(LargeFolder, tellsTheTimeThatAStopTakes) {
    const auto measured = [&](std::chrono::microseconds after) {
        std::stop_source stop;
        std::chrono::steady_clock::time_point requested;
        std::mutex mutex;
        std::condition_variable over;
        bool isOver = false;
        std::jthread stopper([&] {
            std::unique_lock lock(mutex);
            if (!over.wait_for(lock, after, [&] { return isOver; })) {
                requested = std::chrono::steady_clock::now();
                stop.request_stop();
            }
        });
        bool wasCancelled = false;
        try {
            DiskScanner(index()).scan(root(), everything(), stop.get_token());
        } catch (const CancellationError&) {
            wasCancelled = true;
        }
        const auto end = std::chrono::steady_clock::now();
        {
            const std::lock_guard lock(mutex);
            isOver = true;
        }
        over.notify_all();
        stopper.join();
        return wasCancelled ? std::optional(std::chrono::duration<double, std::milli>(end - requested))
                            : std::nullopt;
    };
    const auto began = std::chrono::steady_clock::now();
    EXPECT_FALSE(measured(std::chrono::hours(1)));
    const auto whole =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - began);
    const int moments = thoroughness() == Thoroughness::full ? 20 : 2;
    double longest = 0;
    int stopped = 0;
    for (int moment = 1; moment <= moments; ++moment) {
        if (const auto taken = measured(whole * moment / (moments + 1))) {
            longest = std::max(longest, taken->count());
            ++stopped;
        }
    }
    std::printf("%d entries in %.0f ms; %d stops, the longest took %.1f ms\n", entries(),
                static_cast<double>(whole.count()) / 1000, stopped, longest);
    RecordProperty("longestStopMilliseconds", std::to_string(longest));
    EXPECT_GT(stopped, 0);
}

}  // namespace
}  // namespace larkfold::test
