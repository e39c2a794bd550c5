// A change of the saved index that comes to an early end: the disk is full, or the user asks it to stop.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <cstdio>
#include <functional>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "disk/IndexRows.h"
#include "disk/SavedScanLoader.h"
#include "disk/ScanIndexDatabase.h"
#include "faults/FaultLoops.h"
#include "faults/IndexOracle.h"
#include "faults/PrivateNamespace.h"
#include "platform/OwnFiles.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {
namespace {

using testing::HasSubstr;
using testing::SizeIs;

// An index of /r with so many files of one byte in each of the two folders /r/a and /r/b; or of /r/a alone.
void writeIndex(const std::string& file, const std::string& root, int files) {
    ScanIndexDatabase index(file, true);
    for (const char* folder : {"/r/a", "/r/b"}) {
        if (root != "/r" && root != folder) {
            continue;
        }
        for (int i = 0; i < files; ++i) {
            const std::string name = std::to_string(i) + " with a name of some length, as a user gives them";
            index.insertRow(std::string(folder) + "/" + name, folder, name, false, 1, 1, 0.0);
        }
        index.insertRow(folder, "/r", folder + 3, true, files, 0, std::nullopt);
    }
    if (root == "/r") {
        index.insertRow("/r", "/", "r", true, 2LL * files, 0, std::nullopt);
    }
    index.finish(root, false, 0);
}

std::int64_t sizeOf(const std::string& path) {
    struct stat values{};
    return stat(path.c_str(), &values) == 0 ? values.st_size : -1;
}

TEST(RefreshFullDisk, aMergeWithoutRoom_isToldAndTheIndexStays) {
    inPrivateNamespace([] {
        const QuickFolder quick;
        TemporaryTree tree;
        writeIndex(tree.path("small.sqlite"), "/r", 500);
        writeIndex(tree.path("large.sqlite"), "/r/a", 6'000);
        const std::string place = tree.folder("disk");
        // Room for the index and its journal, and no more; or names for the index alone.
        for (const char* size : {"size=1m", "size=16m,nr_inodes=2"}) {
            const Mounted disk("none", place, "tmpfs", 0, size);
            const std::string index = place + "/latest-scan.sqlite";
            writeBytes(index, readBytes(tree.path("small.sqlite")));
            const std::string before = describeIndex(index);
            const auto fails = [&](const std::function<void()>& work) {
                try {
                    work();
                    ADD_FAILURE() << "there was room on a disk of " << size;
                } catch (const Error& error) {
                    EXPECT_THAT(error.description(), HasSubstr("Scan index: "));
                }
                EXPECT_EQ(describeIndex(index), before);
                EXPECT_TRUE(isConsistent(index));
                EXPECT_THAT(filesWithPrefix(place, ""), SizeIs(1));
            };
            fails([&] { SavedScanLoader::merge(index, tree.path("large.sqlite"), {}); });
            if (std::string(size).ends_with("=2")) {
                fails([&] { SavedScanLoader::removeFolder(index, "/r/a", {}); });
            }

            ASSERT_EQ(mount("none", place.c_str(), nullptr, MS_REMOUNT, "size=64m,nr_inodes=1000"), 0);
            SavedScanLoader::merge(index, tree.path("large.sqlite"), {});
            EXPECT_TRUE(isConsistent(index));
            EXPECT_EQ(rowsOf(index, "SELECT size FROM nodes WHERE path='/r'"),
                      std::vector<std::string>{"6500"});

            const std::string after = describeIndex(index);
            ASSERT_EQ(mount("none", place.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, "size=64m"), 0);
            EXPECT_THROW(SavedScanLoader::removeFolder(index, "/r/a", {}), Error);
            EXPECT_EQ(SavedScanLoader::load(index, std::nullopt, {}).totalSize, 6'500);
            EXPECT_EQ(describeIndex(index), after);
        }
    });
}

// Asks for a stop as soon as `isTime`, which is asked without a pause.
std::jthread stopWhen(std::stop_source& source, std::function<bool()> isTime) {
    return std::jthread([&source, isTime = std::move(isTime)](std::stop_token over) {
        while (!over.stop_requested() && !isTime()) {
            std::this_thread::yield();
        }
        source.request_stop();
    });
}

TEST(RefreshStop, inTheMiddleOfALargeChange_rollsItBack) {
    const QuickFolder quick;
    TemporaryTree tree;
    const int files = thoroughness() == Thoroughness::brief ? 15'000 : 30'000;
    const std::string whole = tree.path("whole.sqlite");
    const std::string incoming = tree.path("incoming.sqlite");
    writeIndex(whole, "/r", files);
    writeIndex(incoming, "/r/a", 2 * files);
    const std::string index = tree.folder("index") + "/latest-scan.sqlite";
    writeBytes(index, readBytes(whole));
    const std::string before = describeIndex(index);
    const std::int64_t size = sizeOf(index);

    const auto merge = [&](std::stop_token stop) {
        SavedScanLoader::merge(index, incoming, std::move(stop));
    };
    const auto remove = [&](std::stop_token stop) {
        SavedScanLoader::removeFolder(index, "/r/a", std::move(stop));
    };
    struct Moment {
        const char* name;
        std::function<void(std::stop_token)> work;
        std::function<bool()> isTime;
    };
    const Moment moments[] = {
        {.name = "a merge has begun",
         .work = merge,
         .isTime = [&] { return sizeOf(index + "-journal") >= 0; }},
        {.name = "a merge takes rows out",
         .work = merge,
         .isTime = [&] { return sizeOf(index + "-journal") > size / 8; }},
        {.name = "a merge puts rows in",
         .work = merge,
         .isTime = [&] { return sizeOf(index) > size + size / 20; }},
        {.name = "a removal has begun",
         .work = remove,
         .isTime = [&] { return sizeOf(index + "-journal") >= 0; }},
        {.name = "a removal takes rows out",
         .work = remove,
         .isTime = [&] { return sizeOf(index + "-journal") > size / 8; }},
    };
    for (const Moment& moment : moments) {
        std::stop_source source;
        {
            const std::jthread stopper = stopWhen(source, moment.isTime);
            EXPECT_THROW(moment.work(source.get_token()), CancellationError) << moment.name;
        }
        EXPECT_FALSE(stands(index + "-journal")) << moment.name;
        EXPECT_EQ(describeIndex(index), before) << moment.name;
        EXPECT_TRUE(isConsistent(index)) << moment.name;
    }
    merge({});
    EXPECT_TRUE(isConsistent(index));
    EXPECT_EQ(rowsOf(index, "SELECT size FROM nodes WHERE path='/r'"),
              std::vector<std::string>{std::to_string(3 * files)});
}

}  // namespace
}  // namespace larkfold::test
