// Many processes bring things of the same name to the Trash at once: each gets a name of its own, and from
// its info file each can be restored to where it came from.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "faults/FaultLoops.h"
#include "faults/IndexOracle.h"
#include "faults/PrivateNamespace.h"
#include "faults/RaceScene.h"

namespace larkfold::test {
namespace {

constexpr int processes = 64;

int itemsOfEach() {
    switch (thoroughness()) {
        case Thoroughness::brief:
            return 2;
        case Thoroughness::usual:
            return 10;
        case Thoroughness::full:
            break;
    }
    return 100;
}

// Where the items of one process stand: all of the same name, and each with its own path as its content.
std::vector<std::string> makeItems(RaceDisk& disk, int process, int count) {
    std::vector<std::string> items;
    for (int item = 0; item < count; ++item) {
        const std::string folder =
            disk.folder("root/" + std::to_string(process) + "/" + std::to_string(item));
        items.push_back(folder + "/report.txt");
        writeBytes(items.back(), items.back());
    }
    return items;
}

// Lets each process do its work, all from the same moment on.
void inCrowd(const std::function<void(int process)>& work) {
    int gate[2];
    ASSERT_EQ(pipe2(gate, O_CLOEXEC), 0);
    std::fflush(stdout);
    std::vector<pid_t> crowd;
    for (int process = 0; process < processes; ++process) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            close(gate[1]);
            char byte;
            static_cast<void>(!read(gate[0], &byte, 1));  // returns when the last writer has gone
            work(process);
            _exit(0);
        }
        crowd.push_back(child);
    }
    close(gate[0]);
    close(gate[1]);
    for (const pid_t child : crowd) {
        int status = 0;
        while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
        EXPECT_EQ(status, 0);
    }
}

// The items that the Trash gives back: by the content of each, the path that its info file tells.
std::map<std::string, std::string> restorable(const RaceDisk& disk) {
    std::map<std::string, std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(disk.trash() + "/files")) {
        const std::string infoFile =
            disk.trash() + "/info/" + entry.path().filename().string() + ".trashinfo";
        const std::string text = stands(infoFile) ? readBytes(infoFile) : std::string();
        const std::string begin = "[Trash Info]\nPath=";
        const std::size_t end = text.find("\nDeletionDate=");
        found[readBytes(entry.path())] = text.starts_with(begin) && end != std::string::npos
                                             ? text.substr(begin.size(), end - begin.size())
                                             : "no info file";
    }
    return found;
}

int lostOf(const std::vector<std::vector<std::string>>& items,
           const std::map<std::string, std::string>& found) {
    int lost = 0;
    for (const auto& some : items) {
        for (const std::string& item : some) {
            const auto row = found.find(item);
            lost += row == found.end() || row->second != item ? 1 : 0;
        }
    }
    return lost;
}

void expectNoneLost() {
    inPrivateNamespace([] {
        RaceDisk disk;
        const int count = itemsOfEach();
        std::vector<std::vector<std::string>> items;
        items.reserve(processes);
        for (int process = 0; process < processes; ++process) {
            items.push_back(makeItems(disk, process, count));
        }
        inCrowd([&](int process) {
            for (const Told& told : realGate()({.urls = items[static_cast<std::size_t>(process)],
                                                .permanently = false,
                                                .root = disk.root(),
                                                .verifications = {}},
                                               [] {})) {
                if (!told.isGone) {
                    std::printf("%s\n", told.sentence.c_str());
                    std::fflush(stdout);
                    _exit(1);
                }
            }
        });
        const auto found = restorable(disk);
        std::printf("%d processes, %d items, %zu of them distinct in the Trash, %d lost\n", processes,
                    processes * count, found.size(), lostOf(items, found));
        EXPECT_EQ(found.size(), static_cast<std::size_t>(processes * count));
        EXPECT_EQ(lostOf(items, found), 0);
    });
}

TEST(TrashCrowd, manyProcessesWithThingsOfOneName_loseNoneOfThem) {
    const int rounds = thoroughness() == Thoroughness::full ? 100 : 1;
    for (int round = 0; round < rounds && !HasFailure(); ++round) {
        expectNoneLost();
    }
}

// Looks whether a name is free, and then moves there.
TEST(TrashCrowdControl, lookingForAFreeNameFirst_isFoundOut) {
    inPrivateNamespace([] {
        RaceDisk disk;
        disk.folder("home/.local/share/Trash/files");
        disk.folder("home/.local/share/Trash/info");
        std::vector<std::vector<std::string>> items;
        items.reserve(processes);
        for (int process = 0; process < processes; ++process) {
            items.push_back(makeItems(disk, process, 10));
        }
        inCrowd([&](int process) {
            for (const std::string& item : items[static_cast<std::size_t>(process)]) {
                std::string place;
                int number = 0;
                do {
                    place = disk.trash() + "/files/report." + std::to_string(number++);
                } while (stands(place));
                writeBytes(disk.trash() + "/info/report." + std::to_string(number - 1) + ".trashinfo",
                           "[Trash Info]\nPath=" + item + "\nDeletionDate=2026-01-01T00:00:00\n");
                rename(item.c_str(), place.c_str());
            }
        });
        EXPECT_GT(lostOf(items, restorable(disk)), 0);
    });
}

}  // namespace
}  // namespace larkfold::test
