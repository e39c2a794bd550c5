// What the races share: a disk in memory of their own, an attacker in a process of its own, and the gate that
// is attacked, or one of the naive gates that the same attackers have to find out.
//
// The two meet in turns. While a turn is on, the attacker strikes as fast as it can and tells in shared
// memory on which attempt it struck; between turns it has put back what it can and stands still, and the
// judge looks. The judge holds descriptors of every file that counts, so a file that lost its last name
// cannot hide.
//
// For a private namespace: see PrivateNamespace.h. One attacker at a time.
#pragma once

#include <sys/types.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "faults/IndexOracle.h"
#include "faults/PrivateNamespace.h"
#include "removal/FileDeleter.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {

inline constexpr int mostItems = 200;  // of one turn

// In memory that both processes see.
struct Turn {
    std::atomic<std::uint32_t> number{0};  // odd: the attacker strikes
    std::atomic<std::uint32_t> answered{0};
    std::atomic<bool> isOver{false};
    std::atomic<int> item{0};                                     // which attempt is under way
    std::array<std::atomic<std::uint32_t>, mostItems> strikes{};  // that fell into the attempt
    std::array<std::atomic<std::uint32_t>, mostItems> marks{};    // what the attack itself has to tell
};

// A source of numbers that differ, cheap enough for a loop that must not wait.
class Dice {
public:
    explicit Dice(std::uint64_t seed) : state_(seed * 2 + 1) {}
    std::uint32_t below(std::uint32_t limit);

private:
    std::uint64_t state_;
};

struct Attack {
    // Changes something; true where that succeeded. Runs in the attacker's process.
    std::function<bool(Turn& turn, int item, Dice& dice)> strike;
    // Puts back what would be in the way of the next turn.
    std::function<void()> calm;
};

// The attacking process. Goes with its object.
class Attacker {
public:
    explicit Attacker(const Attack& attack);
    ~Attacker();
    Attacker(const Attacker&) = delete;
    Attacker& operator=(const Attacker&) = delete;

    Turn& turn() { return *turn_; }
    void begin();  // returns when it is awake
    void end();    // returns when it stands still

private:
    void waitForAnswer();
    [[noreturn]] void run(const Attack& attack);

    Turn* turn_;
    pid_t process_ = -1;
};

// A whole disk in memory at `path()`, with a home folder that is HOME while it lives, and a root in which
// items may be removed. Its own top cannot become a Trash.
class RaceDisk {
public:
    explicit RaceDisk(const char* type = "tmpfs");
    ~RaceDisk();
    RaceDisk(const RaceDisk&) = delete;
    RaceDisk& operator=(const RaceDisk&) = delete;

    std::string path(const std::string& relative) const;
    std::string folder(const std::string& relative);  // made with what it needs
    std::string root() const { return path("root"); }
    void letOtherUsersIn() const;  // to the disk; what lies in it has rights of its own
    std::string trash() const { return path("home/.local/share/Trash"); }

private:
    QuickFolder quick_;  // other users reach what is made there
    TemporaryTree tree_;
    Mounted disk_;
    std::string homeBefore_;
};

// What a gate says that became of one item.
struct Told {
    bool isGone = false;
    std::optional<std::int64_t> bytes{};  // of what it had looked at
    std::string place{};                  // in the Trash, or where it rests since it could not be put back
    std::string sentence{};               // why it stays
};

struct RaceRequest {
    std::vector<std::string> urls;
    bool permanently = false;
    std::string root;
    // As it was before the run; absent: as it stands when the run begins.
    std::optional<FileDeleter::AllowedRoot> heldRoot{};
    std::map<std::string, FileDeleter::DuplicateVerification> verifications{};
};

// Told once for each item, in order, when it was handled.
using HandledItem = std::function<void()>;
using RaceGate = std::function<std::vector<Told>(const RaceRequest& request, const HandledItem& handled)>;

RaceGate realGate();

// A gate with some of its steps taken out.
struct NaiveSteps {
    bool byPath = false;        // check the resolved path, then act on the path as it was given
    bool followsLinks = false;  // the folder is opened by its path, with the links in it
    bool movesFirst = true;     // false: compare the inode in its place and remove it there
    bool verifies = true;       // what arrived is compared with what was looked at
    bool restores = true;       // false: what is something else stays where it arrived
};
RaceGate naiveGate(const NaiveSteps& steps, const RaceDisk& disk);

// Keeps this process on the first processor that it may use, and the attackers on the second.
void keepProcessorsApart();

}  // namespace larkfold::test
