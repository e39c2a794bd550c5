#include "faults/RaceSubjects.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <span>
#include <utility>

#include "platform/Path.h"
#include "platform/SHA256.h"

namespace larkfold::test {

namespace {

constexpr std::string_view itemContent = "T";
constexpr std::string_view otherContent = "OO";
constexpr std::string_view duplicateContent =
    "the same sixty-four bytes in the duplicate and in the copy: 1234";
constexpr std::string_view preciousContent = "must not be touched";

[[noreturn]] void die(const char* what, const std::string& name) {
    std::fprintf(stderr, "race: %s of %s failed: %s\n", what, name.c_str(), std::strerror(errno));
    std::abort();
}

int openFolder(const std::string& path) {
    const int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) {
        die("open", path);
    }
    return folder;
}

ino_t inodeAt(int folder, const std::string& name) {
    struct stat values;
    return fstatat(folder, name.c_str(), &values, AT_SYMLINK_NOFOLLOW) == 0 ? values.st_ino : 0;
}

void writeFile(int folder, const std::string& name, std::string_view content) {
    const int file =
        openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (file < 0 || write(file, content.data(), content.size()) != static_cast<ssize_t>(content.size())) {
        die("write", name);
    }
    close(file);
}

std::string readFile(int folder, const std::string& name) {
    std::array<char, 256> bytes;
    const int file = openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    const ssize_t count = file < 0 ? 0 : read(file, bytes.data(), bytes.size());
    if (file >= 0) {
        close(file);
    }
    return {bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
}

void move(int fromFolder, const std::string& from, int toFolder, const std::string& to) {
    if (renameat(fromFolder, from.c_str(), toFolder, to.c_str()) != 0) {
        die("rename", from);
    }
}

std::string numbered(const char* prefix, int item) {
    std::array<char, 32> name;
    std::snprintf(name.data(), name.size(), "%s%03d", prefix, item);
    return name.data();
}

bool isIntact(const HeldFile& file, std::string_view content) {
    struct stat values;
    std::array<char, 8> bytes;
    return fstat(file.descriptor, &values) == 0 && values.st_nlink > 0 &&
           pread(file.descriptor, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(content.size()) &&
           std::string_view(bytes.data(), content.size()) == content;
}

bool hasName(const HeldFile& file) {
    struct stat values;
    return fstat(file.descriptor, &values) == 0 && values.st_nlink > 0;
}

// Where an item could not be put back, the folder that it rests in is left with it.
void removePrivateFolderOf(const std::string& place) {
    if (const std::string folder(parentPath(place));
        lastPathComponent(folder).starts_with(".larkfold-removing-")) {
        rmdir(folder.c_str());
    }
}

std::string strayPrivateFolders(const std::string& folder) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with(".larkfold-")) {
            return name + " was left in " + folder;
        }
    }
    return {};
}

}  // namespace

// --- Files beside others

PairedFiles::PairedFiles(const RaceDisk& disk, Places places)
    : places_(std::move(places)),
      heldRoot_(FileDeleter::AllowedRoot::at(places_.root)),
      trashFilesPath_(disk.trash() + "/files/"),
      itemFolder_(openFolder(places_.items)),
      otherFolder_(openFolder(places_.others)),
      trashFiles_(openFolder(disk.trash() + "/files")),
      trashInfo_(openFolder(disk.trash() + "/info")),
      items_(mostItems),
      others_(mostItems) {
    for (int item = 0; item < mostItems; ++item) {
        restoreOne(item, "");
    }
}

PairedFiles::~PairedFiles() {
    for (const auto* files : {&items_, &others_}) {
        for (const HeldFile& file : *files) {
            close(file.descriptor);
        }
    }
    for (const int folder : {itemFolder_, otherFolder_, trashFiles_, trashInfo_}) {
        close(folder);
    }
}

std::string PairedFiles::itemName(int item) {
    return numbered("item-", item);
}

std::string PairedFiles::otherName(int item) const {
    return numbered(places_.otherPrefix.c_str(), item) + places_.otherSuffix;
}

RaceRequest PairedFiles::request(bool permanently) const {
    isPermanent_ = permanently;
    RaceRequest request{.urls = {}, .permanently = permanently, .root = places_.root, .verifications = {}};
    if (holdsRoot_) {
        request.heldRoot = heldRoot_;
    }
    for (int item = 0; item < mostItems; ++item) {
        request.urls.push_back(joinedPath(places_.items, itemName(item)));
    }
    return request;
}

ino_t PairedFiles::inodeAtPlace(const std::string& place) const {
    if (place.empty()) {
        return 0;
    }
    // The way to the Trash may be under attack; the Trash itself is held.
    return place.starts_with(trashFilesPath_) ? inodeAt(trashFiles_, place.substr(trashFilesPath_.size()))
                                              : inodeAt(AT_FDCWD, place);
}

bool PairedFiles::isFound(const HeldFile& file, int item, const std::string& place) const {
    return inodeAt(itemFolder_, itemName(item)) == file.inode ||
           inodeAt(otherFolder_, otherName(item)) == file.inode || inodeAtPlace(place) == file.inode;
}

std::string PairedFiles::judge(int number, const Told& told, const Turn& /*turn*/) {
    const HeldFile& item = items_[static_cast<std::size_t>(number)];
    const HeldFile& other = others_[static_cast<std::size_t>(number)];
    if (!told.isGone) {
        if (!isIntact(item, itemContent)) {
            return "the item was lost, and told as failed";
        }
        if (!isIntact(other, otherContent)) {
            return "another file was lost, and the item told as failed";
        }
        if (!isFound(item, number, told.place)) {
            return "the item is neither in its place nor where it was told";
        }
        return isFound(other, number, told.place)
                   ? ""
                   : "another file is neither in its place nor where it was told";
    }
    const bool isItem = told.bytes == std::ssize(itemContent);
    if (!isItem && !(places_.otherMayGo && told.bytes == std::ssize(otherContent))) {
        return "a file outside was taken";
    }
    const HeldFile& gone = isItem ? item : other;
    const HeldFile& kept = isItem ? other : item;
    if (!isIntact(kept, isItem ? otherContent : itemContent)) {
        return "the wrong file was lost";
    }
    if (!isFound(kept, number, "")) {
        return "the wrong file was moved away";
    }
    if (isPermanent_) {
        return hasName(gone) ? "told as removed, and it is there" : "";
    }
    if (inodeAtPlace(told.place) != gone.inode) {
        return "what lies in the Trash is something else";
    }
    const std::string infoFile = std::string(lastPathComponent(told.place)) + ".trashinfo";
    if (needsInfoFiles_ && readFile(trashInfo_, infoFile).find("\nDeletionDate=2") == std::string::npos) {
        return "it lies in the Trash without an info file";
    }
    return "";
}

void PairedFiles::restore(const std::vector<Told>& told) {
    for (int item = 0; item < mostItems; ++item) {
        const std::string& place = told[static_cast<std::size_t>(item)].place;
        restoreOne(item, place);
        removePrivateFolderOf(place);
    }
}

void PairedFiles::restoreOne(int number, const std::string& place) {
    HeldFile& item = items_[static_cast<std::size_t>(number)];
    HeldFile& other = others_[static_cast<std::size_t>(number)];
    const std::string itemPlace = itemName(number);
    const std::string otherPlace = otherName(number);
    const bool isInTrash = place.starts_with(trashFilesPath_);
    if (places_.itemsLieInTrash) {
        writeFile(trashInfo_, itemPlace + ".trashinfo",
                  "[Trash Info]\nPath=x\nDeletionDate=2026-01-01T00:00:00\n");
    } else if (isInTrash) {
        unlinkat(trashInfo_, (std::string(lastPathComponent(place)) + ".trashinfo").c_str(), 0);
    }
    if (item.inode != 0 && inodeAt(itemFolder_, itemPlace) == item.inode &&
        inodeAt(otherFolder_, otherPlace) == other.inode) {
        return;
    }
    // Each to a name that nobody else uses, wherever it is now, and from there to its place.
    const struct {
        int folder;
        std::string name;
    } found[] = {
        {itemFolder_, itemPlace},
        {otherFolder_, otherPlace},
        {isInTrash ? trashFiles_ : AT_FDCWD, isInTrash ? std::string(lastPathComponent(place)) : place}};
    const std::string itemAside = "aside-" + itemPlace;
    const std::string otherAside = "aside-" + otherPlace;
    for (const auto& [folder, name] : found) {
        const ino_t inode = name.empty() ? 0 : inodeAt(folder, name);
        if (inode != 0 && inode == item.inode) {
            move(folder, name, itemFolder_, itemAside);
        } else if (inode != 0 && inode == other.inode) {
            move(folder, name, otherFolder_, otherAside);
        }
    }
    if (item.inode == 0 || !hasName(item)) {
        make(item, itemFolder_, itemAside, itemContent);
    }
    if (other.inode == 0 || !hasName(other)) {
        make(other, otherFolder_, otherAside, otherContent);
    }
    move(itemFolder_, itemAside, itemFolder_, itemPlace);
    move(otherFolder_, otherAside, otherFolder_, otherPlace);
}

void PairedFiles::make(HeldFile& file, int folder, const std::string& name, std::string_view content) const {
    if (file.descriptor >= 0) {
        close(file.descriptor);
    }
    file.descriptor = openat(folder, name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    struct stat values;
    if (file.descriptor < 0 || fstat(file.descriptor, &values) != 0 ||
        write(file.descriptor, content.data(), content.size()) != static_cast<ssize_t>(content.size())) {
        die("create", name);
    }
    file.inode = values.st_ino;
}

std::string PairedFiles::strayed() {
    return strayPrivateFolders(places_.items);
}

// --- Duplicates

ProvedDuplicates::ProvedDuplicates(const RaceDisk& disk)
    : disk_(disk), folderPath_(disk.path("root/duplicates")), folder_(-1) {
    std::filesystem::create_directory(folderPath_);
    folder_ = openFolder(folderPath_);
    SHA256 digest;
    digest.update(std::as_bytes(std::span(duplicateContent)));
    const std::string sha256 = digest.finish();
    request_.root = disk.root();
    for (int item = 0; item < mostItems; ++item) {
        makePair(item);
        const std::string url = joinedPath(folderPath_, numbered("item-", item));
        request_.urls.push_back(url);
        request_.verifications[url] = {.keeper = joinedPath(folderPath_, numbered("keep-", item)),
                                       .sha256 = sha256};
    }
}

ProvedDuplicates::~ProvedDuplicates() {
    close(folder_);
}

namespace {

// How long an attempt takes, as the attacker sees it: on another machine it is another time.
class Rhythm {
public:
    void see(const Turn& turn, int item) {
        if (item == item_ && turn.number == turn_) {
            return;
        }
        const Clock::time_point now = Clock::now();
        // Of the last item of a turn nobody sees the end.
        if (item == item_ + 1 && turn.number == turn_) {
            usual_ = (7 * usual_ + (now - began_)) / 8;
        }
        item_ = item;
        turn_ = turn.number;
        began_ = now;
    }

    // Until a moment that is drawn; false where the attempt was over before.
    bool waitWithin(const Turn& turn, int item, Dice& dice) const {
        const auto until = began_ + usual_ * dice.below(1'500) / 1'000;
        while (Clock::now() < until) {
            if (turn.item != item) {
                return false;
            }
            __builtin_ia32_pause();
        }
        return turn.item == item;
    }

private:
    using Clock = std::chrono::steady_clock;

    int item_ = -1;
    std::uint32_t turn_ = 0;
    Clock::time_point began_{};
    Clock::duration usual_ = std::chrono::microseconds(50);
};

}  // namespace

Attack ProvedDuplicates::attack() const {
    const int folder = folder_;
    const auto strike = [folder, rhythm = Rhythm()](Turn& turn, int item, Dice& dice) mutable {
        const auto index = static_cast<std::size_t>(item);
        rhythm.see(turn, item);
        if (turn.marks[index] != 0) {
            return false;  // once for each, or nothing would ever be proved
        }
        // At any moment of an attempt, and now and then later than it takes: some have to be left alone.
        if (!rhythm.waitWithin(turn, item, dice)) {
            return false;
        }
        const std::string duplicate = numbered("item-", item);
        const std::string keeper = numbered("keep-", item);
        const std::uint32_t kind = dice.below(6);
        const std::string& subject = kind < 4 ? keeper : duplicate;
        bool isDone = false;
        if (kind == 0) {
            isDone = unlinkat(folder, keeper.c_str(), 0) == 0;
        } else if (const int file = openat(folder, subject.c_str(), O_WRONLY | O_CLOEXEC); file >= 0) {
            if (kind == 1 || kind == 4) {
                isDone = ftruncate(file, 3) == 0;
            } else if (kind == 2) {
                isDone = pwrite(file, "more", 4, std::ssize(duplicateContent)) == 4;
            } else {
                isDone = pwrite(file, "THE", 3, 0) == 3;
            }
            close(file);
        }
        if (!isDone) {
            return false;
        }
        // Where the name still leads to it, the change came before it was moved.
        const bool isInTime = inodeAt(folder, duplicate) != 0;
        turn.marks[index] =
            static_cast<std::uint32_t>(isInTime ? Mark::changedInTime : Mark::changedTooLate) + 16 * kind;
        return true;
    };
    return {.strike = strike, .calm = [] {}};
}

RaceRequest ProvedDuplicates::request(bool permanently) const {
    RaceRequest request = request_;
    request.permanently = permanently;
    return request;
}

std::string ProvedDuplicates::judge(int item, const Told& told, const Turn& turn) {
    const std::uint32_t markTold = turn.marks[static_cast<std::size_t>(item)];
    const auto mark = static_cast<Mark>(markTold % 16);
    const bool stands = inodeAt(folder_, numbered("item-", item)) != 0;
    if (told.isGone) {
        if (mark == Mark::changedInTime) {
            return "what it was proved by had changed (in way " + std::to_string(markTold / 16) +
                   "), and it went";
        }
        return stands ? "told as gone, and it stands" : "";
    }
    return stands || (!told.place.empty() && inodeAt(AT_FDCWD, told.place) != 0)
               ? ""
               : "told as failed, and it is not there";
}

void ProvedDuplicates::restore(const std::vector<Told>& told) {
    const std::string files = disk_.trash() + "/files/";
    for (int item = 0; item < mostItems; ++item) {
        const std::string& place = told[static_cast<std::size_t>(item)].place;
        if (!place.empty()) {
            unlink(place.c_str());
            removePrivateFolderOf(place);
            if (place.starts_with(files)) {
                unlink((disk_.trash() + "/info/" + place.substr(files.size()) + ".trashinfo").c_str());
            }
        }
        makePair(item);
    }
}

void ProvedDuplicates::makePair(int item) const {
    const std::string duplicate = numbered("item-", item);
    const std::string keeper = numbered("keep-", item);
    for (const std::string& name : {duplicate, keeper}) {
        if (readFile(folder_, name) != duplicateContent) {
            writeFile(folder_, name, duplicateContent);
        }
    }
    // Now and then the copy is the same file by another name.
    if (item % 4 == 0 && inodeAt(folder_, duplicate) != inodeAt(folder_, keeper) &&
        (unlinkat(folder_, keeper.c_str(), 0) != 0 ||
         linkat(folder_, duplicate.c_str(), folder_, keeper.c_str(), 0) != 0)) {
        die("link", keeper);
    }
}

void ProvedDuplicates::freshen(int item) {
    // The copy that stays was written only now: a clock with coarse ticks shows no difference to a change
    // that follows at once.
    const std::string keeper = numbered("keep-", item);
    const int file = openat(folder_, keeper.c_str(), O_WRONLY | O_CLOEXEC);
    if (file >= 0) {
        if (pwrite(file, duplicateContent.data(), 1, 0) != 1) {
            die("write", keeper);
        }
        close(file);
    }
}

std::string ProvedDuplicates::strayed() {
    return strayPrivateFolders(folderPath_);
}

// --- Mounts

MountedFolders::MountedFolders(RaceDisk& disk)
    : disk_(disk), folderPath_(disk.folder("root/folders")), folder_(openFolder(folderPath_)) {
    const std::string precious = disk.folder("outside/precious");
    const int outside = openFolder(precious);
    writeFile(outside, "x", preciousContent);
    close(outside);
    preciousFile_ = open((precious + "/x").c_str(), O_RDONLY | O_CLOEXEC);
    for (int item = 0; item < mostItems; ++item) {
        make(item);
    }
}

MountedFolders::~MountedFolders() {
    close(folder_);
    close(preciousFile_);
}

void MountedFolders::make(int item) const {
    const std::string name = numbered("item-", item);
    if (mkdirat(folder_, name.c_str(), 0700) != 0 && errno != EEXIST) {
        die("mkdir", name);
    }
    if (mkdirat(folder_, (name + "/below").c_str(), 0700) != 0 && errno != EEXIST) {
        die("mkdir", name);
    }
    writeFile(folder_, name + "/x", itemContent);
    writeFile(folder_, name + "/below/y", itemContent);
}

Attack MountedFolders::attack() const {
    // The mount is attached to what a descriptor stands for and taken off by its own descriptor, wherever the
    // folder was moved meanwhile.
    const auto mounted = std::make_shared<int>(-1);
    const auto takeOff = [mounted] {
        if (*mounted >= 0) {
            umount2(("/proc/self/fd/" + std::to_string(*mounted)).c_str(), MNT_DETACH);
            close(*mounted);
            *mounted = -1;
        }
    };
    const std::string precious = disk_.path("outside/precious");
    const auto strike = [this, mounted, takeOff, precious](Turn& /*turn*/, int item, Dice& dice) {
        if (*mounted >= 0) {
            takeOff();
            return true;
        }
        const std::string name = numbered("item-", item);
        const std::uint32_t kind = dice.below(3);
        const std::string target = kind == 0 ? name : name + (kind == 1 ? "/below" : "/x");
        const int place = openat(folder_, target.c_str(), O_PATH | O_CLOEXEC);
        if (place < 0) {
            return false;
        }
        const int tree = open_tree(AT_FDCWD, (kind == 2 ? precious + "/x" : precious).c_str(),
                                   OPEN_TREE_CLONE | OPEN_TREE_CLOEXEC);
        const bool isMounted =
            tree >= 0 &&
            move_mount(tree, "", place, "", MOVE_MOUNT_F_EMPTY_PATH | MOVE_MOUNT_T_EMPTY_PATH) == 0;
        close(place);
        if (isMounted) {
            *mounted = tree;
        } else if (tree >= 0) {
            close(tree);
        }
        return isMounted;
    };
    return {.strike = strike, .calm = takeOff};
}

RaceRequest MountedFolders::request(bool permanently) const {
    RaceRequest request{.urls = {}, .permanently = permanently, .root = disk_.root(), .verifications = {}};
    for (int item = 0; item < mostItems; ++item) {
        request.urls.push_back(joinedPath(folderPath_, numbered("item-", item)));
    }
    return request;
}

std::string MountedFolders::judge(int item, const Told& told, const Turn& /*turn*/) {
    struct stat values;
    std::array<char, 64> bytes;
    if (fstat(preciousFile_, &values) != 0 || values.st_nlink != 1 ||
        pread(preciousFile_, bytes.data(), bytes.size(), 0) != std::ssize(preciousContent)) {
        return "what was mounted was touched";
    }
    if (told.bytes && told.bytes != 2 * std::ssize(itemContent)) {
        return "the size of what was mounted counted for the item";
    }
    const std::string name = numbered("item-", item);
    const bool stands = inodeAt(folder_, name) != 0;
    if (told.isGone) {
        return stands ? "told as gone, and it stands" : "";
    }
    const bool isElsewhere = !told.place.empty() && inodeAt(AT_FDCWD, told.place) != 0;
    if (!stands && !isElsewhere) {
        return "told as failed, and it is not there";
    }
    // A mount that comes when the removal has begun leaves a part, and that is told.
    const std::string where = stands ? name : told.place;
    const int folder = stands ? folder_ : AT_FDCWD;
    const bool isWhole = inodeAt(folder, where + "/x") != 0 && inodeAt(folder, where + "/below/y") != 0;
    return isWhole || told.sentence.find("a part of it has gone") != std::string::npos
               ? ""
               : "refused, and a part of it has gone";
}

void MountedFolders::restore(const std::vector<Told>& told) {
    const std::string files = disk_.trash() + "/files/";
    for (int item = 0; item < mostItems; ++item) {
        const std::string& place = told[static_cast<std::size_t>(item)].place;
        if (!place.empty()) {
            move(AT_FDCWD, place, folder_, numbered("item-", item));
            removePrivateFolderOf(place);
            if (place.starts_with(files)) {
                unlink((disk_.trash() + "/info/" + place.substr(files.size()) + ".trashinfo").c_str());
            }
        }
        make(item);
    }
    unlink((disk_.trash() + "/directorysizes").c_str());
}

std::string MountedFolders::strayed() {
    return strayPrivateFolders(folderPath_);
}

// --- The race

void RaceFigures::add(const RaceFigures& other) {
    attempts += other.attempts;
    interleaved += other.interleaved;
    gone += other.gone;
    stayed += other.stayed;
    keptElsewhere += other.keptElsewhere;
    violations.insert(violations.end(), other.violations.begin(), other.violations.end());
}

RaceFigures race(RaceSubject& subject, const Attack& attack, const RaceGate& gate, bool permanently,
                 std::uint64_t attempts) {
    RaceFigures figures;
    Attacker attacker(attack);
    Turn& turn = attacker.turn();
    const RaceRequest request = subject.request(permanently);
    while (figures.attempts < attempts && figures.violations.empty()) {
        attacker.begin();
        subject.freshen(0);
        const std::vector<Told> told = gate(request, [&] {
            const int next = turn.item + 1;
            if (next < mostItems) {
                subject.freshen(next);
                turn.item = next;
            }
        });
        attacker.end();
        for (int item = 0; item < mostItems; ++item) {
            const Told& one = told[static_cast<std::size_t>(item)];
            ++figures.attempts;
            figures.interleaved += turn.strikes[static_cast<std::size_t>(item)] > 0 ? 1U : 0U;
            ++(one.isGone ? figures.gone : figures.stayed);
            figures.keptElsewhere += !one.isGone && !one.place.empty() ? 1U : 0U;
            if (const std::string problem = subject.judge(item, one, turn); !problem.empty()) {
                figures.violations.push_back(problem + (one.sentence.empty() ? "" : ": " + one.sentence));
            }
        }
        if (figures.violations.empty()) {
            subject.restore(told);
            if (std::string stray = subject.strayed(); !stray.empty()) {
                figures.violations.push_back(std::move(stray));
            }
        }
    }
    return figures;
}

}  // namespace larkfold::test
