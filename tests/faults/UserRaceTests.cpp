// Two users and one folder: what one of them removes is exchanged by the other, and so is what the gate makes
// on the way. Nothing goes but what was looked at.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include "faults/FaultLoops.h"
#include "faults/IndexOracle.h"
#include "faults/PrivateNamespace.h"
#include "faults/RaceScene.h"
#include "faults/RaceSubjects.h"
#include "faults/SharedFolders.h"
#include "support/MachineRequirements.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

namespace fs = std::filesystem;

std::uint64_t attempts() {
    switch (thoroughness()) {
        case Thoroughness::brief:
            return 1'000;
        case Thoroughness::usual:
            return 10'000;
        case Thoroughness::full:
            break;
    }
    return 1'000'000;
}

TEST(RaceOfUsers, whatAnotherUserExchanges_isNeverLost) {
    require(Need::otherUsers);
    inPrivateNamespace([] {
        keepProcessorsApart();
        RaceFigures figures;
        for (const bool permanently : {false, true}) {
            RaceDisk disk;
            SharedFolders subject(disk);
            figures.add(
                race(subject, subject.attack(), asRemovingUser(realGate()), permanently, attempts() / 2));
        }
        std::printf("another user: %llu attempts, %llu interleaved, %llu went, %llu stayed\n",
                    static_cast<unsigned long long>(figures.attempts),
                    static_cast<unsigned long long>(figures.interleaved),
                    static_cast<unsigned long long>(figures.gone),
                    static_cast<unsigned long long>(figures.stayed));
        EXPECT_THAT(figures.violations, IsEmpty());
        EXPECT_GT(figures.interleaved, figures.attempts / 20);
        EXPECT_GT(figures.gone, 0U);
    });
}

// Compares what arrived, and then asks for the private folder by its name again, as one would who has a path.
std::vector<Told> emptyByName(const RaceRequest& request, const HandledItem& handled) {
    std::vector<Told> told;
    for (const std::string& url : request.urls) {
        Told one;
        const std::string staging = url.substr(0, url.rfind('/')) + "/.larkfold-removing-control";
        const std::string moved = staging + url.substr(url.rfind('/'));
        struct stat before{};
        struct stat after{};
        std::error_code problem;
        if (mkdir(staging.c_str(), 0700) == 0 && stat(url.c_str(), &before) == 0 &&
            rename(url.c_str(), moved.c_str()) == 0 && stat(moved.c_str(), &after) == 0 &&
            before.st_ino == after.st_ino) {
            fs::remove_all(moved, problem);
            one = {.isGone = true};
        }
        fs::remove(staging, problem);
        told.push_back(one);
        handled();
    }
    return told;
}

TEST(RaceOfUsersControl, emptyingByName_isFoundOut) {
    require(Need::otherUsers);
    inPrivateNamespace([] {
        keepProcessorsApart();
        RaceDisk disk;
        SharedFolders subject(disk);
        const RaceFigures figures =
            race(subject, subject.attack(), asRemovingUser(emptyByName), true, 400'000);
        std::printf("emptied by name: found out within %llu attempts: %s\n",
                    static_cast<unsigned long long>(figures.attempts),
                    figures.violations.empty() ? "no" : figures.violations.front().c_str());
        EXPECT_FALSE(figures.violations.empty());
    });
}

// --- A disk without room for a private folder

struct FullDisk {
    QuickFolder quick;
    TemporaryTree tree;
    std::string path = tree.folder("disk");
    Mounted disk{"none", path, "tmpfs", 0, "mode=0755,nr_inodes=64"};
    std::string shared = path + "/shared";
    std::string item = shared + "/item";
    std::string homeBefore = std::getenv("HOME");  // NOLINT(concurrency-mt-unsafe)

    FullDisk(uid_t folderOwner, mode_t mode, uid_t itemOwner) {
        setenv("HOME", (path + "/home").c_str(), 1);
        EXPECT_EQ(chmod(tree.root().c_str(), 0755), 0);
        fs::create_directories(shared);
        fs::create_directories(path + "/home");
        writeBytes(item, "content");
        EXPECT_EQ(chown(path.c_str(), 0, 0), 0);
        EXPECT_EQ(chown(shared.c_str(), folderOwner, folderOwner), 0);
        EXPECT_EQ(chmod(shared.c_str(), mode), 0);
        EXPECT_EQ(chown(item.c_str(), itemOwner, itemOwner), 0);
        // Every name is used up.
        for (int number = 0;; ++number) {
            std::error_code problem;
            if (!fs::create_directory(path + "/filling-" + std::to_string(number), problem)) {
                break;
            }
        }
    }
    ~FullDisk() { setenv("HOME", homeBefore.c_str(), 1); }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

    Told remove() const {
        return asRemovingUser(realGate())({.urls = {item}, .permanently = true, .root = path}, [] {}).front();
    }
    bool stands() const { return fs::exists(item) && readBytes(item) == "content"; }
    // As many as before: nothing was made and nothing else went.
    long namesIn() const { return std::distance(fs::directory_iterator(shared), fs::directory_iterator()); }
};

TEST(FullDiskOfTwoUsers, inAFolderThatOthersMayWriteIn_theItemStaysAndThatIsTold) {
    require(Need::otherUsers);
    inPrivateNamespace([] {
        struct Row {
            uid_t owner;
            mode_t mode;
            uid_t itemOwner;
        };
        for (const Row& row :
             {Row{removingUser, 0777, removingUser},   // for everybody
              Row{removingUser, 0770, removingUser},   // for a group
              Row{removingUser, 01777, otherUser},     // the other user may move their own
              Row{otherUser, 01777, removingUser}}) {  // and the owner of the folder anything
            const FullDisk disk(row.owner, row.mode, row.itemOwner);
            const Told told = disk.remove();
            EXPECT_FALSE(told.isGone) << row.owner << ' ' << row.mode;
            EXPECT_THAT(told.sentence, HasSubstr("Other users may write in the folder of this item"));
            EXPECT_THAT(told.sentence, HasSubstr("The disk is full: make some room first."));
            EXPECT_TRUE(disk.stands());
            EXPECT_EQ(disk.namesIn(), 1);
        }
    });
}

TEST(FullDiskOfTwoUsers, whereNobodyElseMayWrite_theItemGoes) {
    require(Need::otherUsers);
    inPrivateNamespace([] {
        struct Row {
            uid_t owner;
            mode_t mode;
        };
        for (const Row& row : {Row{removingUser, 0755}, Row{removingUser, 01777}, Row{0, 01777}}) {
            const FullDisk disk(row.owner, row.mode, removingUser);
            const Told told = disk.remove();
            EXPECT_TRUE(told.isGone) << row.owner << ' ' << row.mode << ' ' << told.sentence;
            EXPECT_EQ(disk.namesIn(), 0);
        }
    });
}

}  // namespace
}  // namespace larkfold::test
