#include "faults/RaceScene.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/Path.h"

namespace larkfold::test {

namespace {

[[noreturn]] void die(const char* what) {
    std::fprintf(stderr, "race: %s failed: %s\n", what, std::strerror(errno));
    std::abort();
}

std::vector<int> usableProcessors() {
    cpu_set_t set;
    std::vector<int> processors;
    if (sched_getaffinity(0, sizeof set, &set) == 0) {
        for (int processor = 0; processor < CPU_SETSIZE; ++processor) {
            if (CPU_ISSET(static_cast<unsigned>(processor), &set)) {
                processors.push_back(processor);
            }
        }
    }
    return processors;
}

void stayOn(int processor) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<unsigned>(processor), &set);
    sched_setaffinity(0, sizeof set, &set);
}

// Where the attackers go; -1 where there is only one.
int attackersProcessor = -1;

void breathe() {
    __builtin_ia32_pause();
}

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) {
            close(number_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return number_; }

private:
    int number_;
};

bool isSameFile(const struct stat& left, const struct stat& right) {
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

// Between the quotation marks of a sentence that tells where an item rests.
std::string placeIn(const std::string& sentence) {
    const std::string opening = "kept at “";
    const std::size_t begin = sentence.find(opening);
    if (begin == std::string::npos) {
        return {};
    }
    const std::size_t from = begin + opening.size();
    return sentence.substr(from, sentence.find("”", from) - from);
}

class Naive {
public:
    Naive(const NaiveSteps& steps, std::string trash) : steps_(steps), trash_(std::move(trash)) {}

    Told remove(const std::string& url, const RaceRequest& request) {
        const std::string name(lastPathComponent(url));
        std::array<char, PATH_MAX> resolved;
        const std::string asked(steps_.byPath ? url : std::string(parentPath(url)));
        if (realpath(asked.c_str(), resolved.data()) == nullptr ||
            !(std::string(resolved.data()) + "/").starts_with(request.root + "/")) {
            return {.sentence = "outside"};
        }
        if (steps_.byPath) {
            return removeByPath(url, name, request.permanently);
        }
        const Descriptor folder(openFolder(std::string(parentPath(url)), resolved.data(), request.root));
        const Descriptor item(openat(folder.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        struct stat noted;
        if (item.get() < 0 || fstat(item.get(), &noted) != 0 || !S_ISREG(noted.st_mode)) {
            return {.sentence = "not there"};
        }
        return steps_.movesFirst ? moveAndLook(folder.get(), name, noted, request)
                                 : lookAndRemove(folder.get(), name, noted, request.permanently);
    }

private:
    Told removeByPath(const std::string& url, const std::string& name, bool permanently) {
        struct stat noted;
        if (lstat(url.c_str(), &noted) != 0 || !S_ISREG(noted.st_mode)) {
            return {.sentence = "not there"};
        }
        const std::string place = permanently ? std::string() : trash_ + "/files/" + name;
        const int result = permanently ? unlink(url.c_str()) : rename(url.c_str(), place.c_str());
        return {.isGone = result == 0, .bytes = noted.st_size, .place = result == 0 ? place : ""};
    }

    int openFolder(const std::string& given, const char* resolved, const std::string& root) const {
        if (steps_.followsLinks) {
            return open(given.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        }
        const Descriptor top(open(root.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        const std::string relative =
            std::string(resolved).substr(std::min(std::strlen(resolved), root.size() + 1));
        open_how how{};
        how.flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
        how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
        return static_cast<int>(syscall(SYS_openat2, top.get(), relative.c_str(), &how, sizeof how));
    }

    Told lookAndRemove(int folder, const std::string& name, const struct stat& noted, bool permanently) {
        struct stat now;
        if (fstatat(folder, name.c_str(), &now, AT_SYMLINK_NOFOLLOW) != 0 || !isSameFile(now, noted)) {
            return {.sentence = "changed"};
        }
        const std::string place = permanently ? std::string() : trash_ + "/files/" + name;
        const int result = permanently ? unlinkat(folder, name.c_str(), 0)
                                       : renameat(folder, name.c_str(), AT_FDCWD, place.c_str());
        return {.isGone = result == 0, .bytes = noted.st_size, .place = result == 0 ? place : ""};
    }

    Told moveAndLook(int folder, const std::string& name, const struct stat& noted,
                     const RaceRequest& request) {
        const std::string place =
            (request.permanently ? request.root + "/staging/" : trash_ + "/files/") + name;
        if (renameat2(folder, name.c_str(), AT_FDCWD, place.c_str(), RENAME_NOREPLACE) != 0) {
            return {.sentence = "not there"};
        }
        struct stat arrived;
        if (steps_.verifies && (lstat(place.c_str(), &arrived) != 0 || !isSameFile(arrived, noted))) {
            if (steps_.restores &&
                renameat2(AT_FDCWD, place.c_str(), folder, name.c_str(), RENAME_NOREPLACE) != 0) {
                return {.place = place, .sentence = "kept"};
            }
            return {.sentence = "changed"};
        }
        if (request.permanently && unlink(place.c_str()) != 0) {
            return {.sentence = "not removed"};
        }
        return {.isGone = true, .bytes = noted.st_size, .place = request.permanently ? "" : place};
    }

    NaiveSteps steps_;
    std::string trash_;
};

}  // namespace

std::uint32_t Dice::below(std::uint32_t limit) {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 7;
    state_ ^= state_ << 17;
    return static_cast<std::uint32_t>(state_ >> 32) % limit;
}

// --- The attacker

Attacker::Attacker(const Attack& attack) {
    void* memory = mmap(nullptr, sizeof(Turn), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        die("mmap");
    }
    turn_ = new (memory) Turn;
    std::fflush(stdout);
    process_ = fork();
    if (process_ < 0) {
        die("fork");
    }
    if (process_ == 0) {
        run(attack);
    }
}

Attacker::~Attacker() {
    turn_->isOver = true;
    while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
    }
    munmap(turn_, sizeof(Turn));
}

void Attacker::begin() {
    for (int item = 0; item < mostItems; ++item) {
        turn_->strikes[static_cast<std::size_t>(item)] = 0;
        turn_->marks[static_cast<std::size_t>(item)] = 0;
    }
    turn_->item = 0;
    turn_->number.fetch_add(1);
    waitForAnswer();
}

void Attacker::end() {
    turn_->number.fetch_add(1);
    waitForAnswer();
}

void Attacker::waitForAnswer() {
    while (turn_->answered != turn_->number) {
        if (waitpid(process_, nullptr, WNOHANG) == process_) {
            die("the attacker");
        }
        sched_yield();
    }
}

void Attacker::run(const Attack& attack) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (attackersProcessor >= 0) {
        stayOn(attackersProcessor);
    }
    Dice dice(static_cast<std::uint64_t>(getpid()));
    while (!turn_->isOver) {
        const std::uint32_t number = turn_->number;
        if (number != turn_->answered) {
            if (number % 2 == 0) {
                attack.calm();
            }
            turn_->answered = number;
        }
        if (number % 2 == 0) {
            sched_yield();
            continue;
        }
        const int item = turn_->item;
        if (attack.strike(*turn_, item, dice) && turn_->item == item) {
            turn_->strikes[static_cast<std::size_t>(item)].fetch_add(1);
        }
        // Now and then at once, now and then as long after as an attempt takes.
        for (std::uint32_t pause = dice.below(1U << dice.below(9)); pause > 0; --pause) {
            breathe();
        }
    }
    _exit(0);
}

// --- The disk

RaceDisk::RaceDisk(const char* type) : disk_("none", tree_.folder("disk"), type, 0, "mode=0755") {
    const char* home = std::getenv("HOME");  // NOLINT(concurrency-mt-unsafe)
    homeBefore_ = home == nullptr ? "" : home;
    setenv("HOME", folder("home").c_str(), 1);
    unsetenv("XDG_DATA_HOME");
    folder("root");
    folder("home/.local/share");
    folder("nowhere");
    // With a link there, the volume has no Trash but that of the home folder.
    const std::string own = path(".Trash-" + std::to_string(geteuid()));
    if (symlink("nowhere", own.c_str()) != 0) {
        die("symlink");
    }
}

RaceDisk::~RaceDisk() {
    setenv("HOME", homeBefore_.c_str(), 1);
}

void RaceDisk::letOtherUsersIn() const {
    if (chmod(tree_.root().c_str(), 0755) != 0) {
        die("chmod");
    }
}

std::string RaceDisk::path(const std::string& relative) const {
    return tree_.path("disk/" + relative);
}

std::string RaceDisk::folder(const std::string& relative) {
    return tree_.folder("disk/" + relative);
}

// --- The gates

RaceGate realGate() {
    auto gate = std::make_shared<FileDeleter>(nullptr, [] { return std::vector<RunningApplication>(); });
    return [gate](const RaceRequest& request, const HandledItem& handled) {
        const FileDeleter::Request asked{
            .urls = request.urls,
            .permanently = request.permanently,
            .allowedRoots = {request.heldRoot ? *request.heldRoot
                                              : FileDeleter::AllowedRoot::at(request.root)},
            .duplicateVerifications = request.verifications,
            .source = "Race",
            .protectRunningApplications = false};
        const auto result =
            gate->deleteItems(asked, [&handled](std::int64_t, std::int64_t) { handled(); }, {});
        std::vector<Told> told;
        told.reserve(result.operation.items.size());
        for (const CleanupOperation::Item& item : result.operation.items) {
            told.push_back({.isGone = !item.error,
                            .bytes = item.logicalBytes,
                            .place = item.error ? placeIn(*item.error) : item.trashPath.value_or(""),
                            .sentence = item.error.value_or("")});
        }
        return told;
    };
}

RaceGate naiveGate(const NaiveSteps& steps, const RaceDisk& disk) {
    return [steps, trash = disk.trash()](const RaceRequest& request, const HandledItem& handled) {
        Naive gate(steps, trash);
        std::vector<Told> told;
        for (const std::string& url : request.urls) {
            told.push_back(gate.remove(url, request));
            handled();
        }
        return told;
    };
}

void keepProcessorsApart() {
    const std::vector<int> processors = usableProcessors();
    if (processors.size() >= 2) {
        stayOn(processors[0]);
        attackersProcessor = processors[1];
    }
}

}  // namespace larkfold::test
