#include "faults/RemovalSubject.h"

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "platform/Path.h"

namespace larkfold::test {

namespace {

namespace fs = std::filesystem;

constexpr const char* homeTrash = "home/.local/share/Trash";

void put(const std::string& path, const std::string& content) {
    fs::create_directories(fs::path(path).parent_path());
    writeBytes(path, content);
}

void putTree(const std::string& folder) {
    put(folder + "/one", "1");
    put(folder + "/two", "22");
    put(folder + "/a/three", "333");
    put(folder + "/a/b/four", "4444");
    fs::create_directories(folder + "/empty");
    fs::create_symlink("../../bystander", folder + "/link");
    fs::create_symlink("nowhere", folder + "/dangling");
}

// Without following links; several mounts count as one tree.
Census censusOf(const std::string& disk) {
    Census census;
    for (const auto& entry : fs::recursive_directory_iterator(disk)) {
        const std::string path = entry.path().string();
        census[path.substr(disk.size() + 1)] = entry.is_symlink()
                                                   ? "->" + fs::read_symlink(entry.path()).string()
                                               : entry.is_regular_file() ? "=" + contentOf(path)
                                                                         : "/";
    }
    return census;
}

// What stands at `top` and below it, by the rest of the path.
Census below(const Census& census, const std::string& top) {
    Census part;
    for (const auto& [path, content] : census) {
        if (isAtOrBelow("/" + path, "/" + top)) {
            part[path.substr(top.size())] = content;
        }
    }
    return part;
}

bool isPartOf(const Census& part, const Census& whole) {
    return std::all_of(part.begin(), part.end(), [&whole](const auto& row) {
        const auto found = whole.find(row.first);
        return found != whole.end() && found->second == row.second;
    });
}

bool isTrashFolder(const std::string& path) {
    return path.ends_with("/Trash") || lastPathComponent("/" + path).starts_with(".Trash-");
}

// ".../Trash/files/x": "…/Trash"; empty for what does not lie directly in a folder `kind` of a Trash.
std::string trashHolding(const std::string& path, const std::string& kind) {
    const std::string folder(parentPath("/" + path));
    if (lastPathComponent(folder) != kind) {
        return {};
    }
    const std::string trash = std::string(parentPath(folder)).substr(1);
    return isTrashFolder(trash) ? trash : std::string();
}

}  // namespace

const char* nameOf(Scenario scenario) {
    switch (scenario) {
        case Scenario::file:
            return "a file";
        case Scenario::folder:
            return "a folder";
        case Scenario::collision:
            return "a taken name";
        case Scenario::volumeTrash:
            return "the Trash of a volume";
        case Scenario::duplicate:
            return "a duplicate";
        case Scenario::fileForGood:
            return "a file for good";
        case Scenario::treeForGood:
            return "a tree for good";
        case Scenario::trashedForGood:
            return "from the Trash for good";
        case Scenario::mountBelow:
            return "a folder that holds a mount";
        case Scenario::mountBelowForGood:
            return "a folder that holds a mount, for good";
    }
    return "";
}

RemovalSubject::RemovalSubject(Scenario scenario, bool isRecorded)
    : scenario_(scenario),
      disk_(tree_.folder("disk")),
      historyFolder_(tree_.folder("history")),
      isRecorded_(isRecorded),
      mounted_(std::make_unique<Mounted>("none", disk_, "tmpfs", 0, "mode=0755")) {
    const char* home = std::getenv("HOME");  // NOLINT(concurrency-mt-unsafe)
    homeBefore_ = home == nullptr ? "" : home;
    setenv("HOME", pathOf("home").c_str(), 1);
    unsetenv("XDG_DATA_HOME");
    root_ = "root";
    item_ = "root/folder/item.txt";
    if (scenario == Scenario::volumeTrash) {
        volume_ = std::make_unique<Mounted>("none", tree_.folder("disk/volume"), "tmpfs", 0, "mode=0755");
        root_ = "volume";
        item_ = "volume/folder/item.txt";
    } else if (scenario == Scenario::trashedForGood) {
        root_ = "home";
        item_ = std::string(homeTrash) + "/files/item.txt";
    } else if (scenario == Scenario::duplicate) {
        keeper_ = "root/keeper.txt";
    }
    build();
    before_ = censusOf(disk_);
}

RemovalSubject::~RemovalSubject() {
    below_.reset();
    volume_.reset();
    setenv("HOME", homeBefore_.c_str(), 1);
}

bool RemovalSubject::isPermanent() const {
    return scenario_ == Scenario::fileForGood || scenario_ == Scenario::treeForGood ||
           scenario_ == Scenario::trashedForGood || scenario_ == Scenario::mountBelowForGood;
}

void RemovalSubject::build() {
    put(pathOf("bystander"), "bystander");
    put(pathOf("root/folder/beside"), "beside");
    put(pathOf("outside/item.txt"), "outside");
    const std::string trash = pathOf(homeTrash);
    fs::create_directories(trash + "/files");
    fs::create_directories(trash + "/info");
    put(trash + "/files/old", "trashed long ago");
    put(trash + "/info/old.trashinfo", "[Trash Info]\nPath=/old\nDeletionDate=2020-01-01T00:00:00\n");
    switch (scenario_) {
        case Scenario::folder:
        case Scenario::treeForGood:
        case Scenario::mountBelow:
        case Scenario::mountBelowForGood:
            putTree(pathOf(item_));
            break;
        case Scenario::collision:
            put(trash + "/files/item.txt", "the first");
            put(trash + "/info/item.txt.trashinfo",
                "[Trash Info]\nPath=/x\nDeletionDate=2020-01-01T00:00:00\n");
            put(trash + "/files/item.2.txt", "without an info file");
            put(pathOf(item_), "the item");
            break;
        case Scenario::trashedForGood:
            put(trash + "/info/item.txt.trashinfo",
                "[Trash Info]\nPath=/x\nDeletionDate=2020-01-01T00:00:00\n");
            put(pathOf(item_), "the item");
            break;
        case Scenario::duplicate:
            put(pathOf(keeper_), "the item");
            put(pathOf(item_), "the item");
            break;
        case Scenario::file:
        case Scenario::volumeTrash:
        case Scenario::fileForGood:
            put(pathOf(item_), "the item");
            break;
    }
    if (scenario_ == Scenario::volumeTrash) {
        put(pathOf("volume/folder/beside"), "beside");
    }
    if (scenario_ == Scenario::mountBelow || scenario_ == Scenario::mountBelowForGood) {
        below_ = std::make_unique<Mounted>("none", pathOf(item_ + "/a/b"), "tmpfs", 0, "mode=0755");
        put(pathOf(item_ + "/a/b/precious"), "precious");
    }
}

ProgramOutcome RemovalSubject::run(const std::string& mode, const Watcher& watcher) {
    below_.reset();
    for (const std::string& top :
         volume_ ? std::vector<std::string>{disk_, pathOf("volume")} : std::vector<std::string>{disk_}) {
        for (const auto& entry : fs::directory_iterator(top)) {
            const std::string path = entry.path().string();
            if (path != pathOf("volume")) {
                removeTree(path);
            }
        }
    }
    build();
    for (const auto& entry : fs::directory_iterator(historyFolder_)) {
        fs::remove(entry.path());
    }
    std::vector<std::string> arguments = {"removal"};
    if (isRecorded_) {
        arguments.insert(arguments.end(), {"--history", historyFile()});
    }
    const std::string usual = isPermanent() ? "permanent" : "trash";
    arguments.insert(arguments.end(), {mode.empty() ? usual : mode, pathOf(root_), url()});
    if (!keeper_.empty()) {
        arguments.push_back(pathOf(keeper_));
    }
    return runWatched(arguments, watcher);
}

ProgramOutcome RemovalSubject::recover(const Watcher& watcher, const std::string& mode) const {
    return runWatched({"removal", "--history", historyFile(), mode}, watcher);
}

std::vector<std::string> RemovalSubject::journals() const {
    std::vector<std::string> files;
    for (const auto& entry : fs::directory_iterator(historyFolder_)) {
        if (entry.path().filename().string().starts_with("cleanup-journal-")) {
            files.push_back(entry.path().string());
        }
    }
    return files;
}

void RemovalSubject::look() {
    after_ = censusOf(disk_);
}

bool RemovalSubject::isItem(const std::string& path) const {
    return isAtOrBelow("/" + path, "/" + item_);
}

bool RemovalSubject::isWholeAtPlace() const {
    return below(after_, item_) == below(before_, item_);
}

bool RemovalSubject::isAtPlace() const {
    return after_.contains(item_);
}

bool RemovalSubject::isPartAtPlace() const {
    return isAtPlace() && isPartOf(below(after_, item_), below(before_, item_));
}

std::vector<std::string> RemovalSubject::wholeInTrash() const {
    std::vector<std::string> found;
    for (const auto& [path, content] : after_) {
        if (!trashHolding(path, "files").empty() && !before_.contains(path) &&
            below(after_, path) == below(before_, item_)) {
            found.push_back(path);
        }
    }
    return found;
}

std::vector<std::string> RemovalSubject::fragmentsInTrash() const {
    std::vector<std::string> found;
    for (const auto& [path, content] : after_) {
        if (!trashHolding(path, "files").empty() && !before_.contains(path) &&
            below(after_, path) != below(before_, item_) &&
            !lastPathComponent("/" + path).starts_with(".larkfold-removing-")) {
            found.push_back(path);
        }
    }
    return found;
}

bool RemovalSubject::hasCompleteInfoFile(const std::string& trashed) const {
    const std::string trash = trashHolding(trashed, "files");
    const auto infoFile =
        after_.find(trash + "/info/" + std::string(lastPathComponent("/" + trashed)) + ".trashinfo");
    if (infoFile == after_.end()) {
        return false;
    }
    // Absolute in the home folder, relative to the top of a volume. No name here needs to be encoded.
    const std::string top = trash.find('/') == std::string::npos ? "" : trash.substr(0, trash.rfind('/') + 1);
    const std::string path = trash == homeTrash ? url() : item_.substr(top.size());
    const std::string begin = "=[Trash Info]\nPath=" + path + "\nDeletionDate=2";
    return infoFile->second.starts_with(begin) && infoFile->second.size() == begin.size() + 19 &&
           infoFile->second.ends_with("\n");
}

std::vector<RemovalSubject::PrivateFolder> RemovalSubject::privateFolders() const {
    std::vector<PrivateFolder> folders;
    const Census whole = below(before_, item_);
    for (const auto& [path, content] : after_) {
        if (!lastPathComponent("/" + path).starts_with(".larkfold-removing-")) {
            continue;
        }
        Census inside = below(after_, path);
        inside.erase("");
        const Census held = below(after_, path + "/" + std::string(lastPathComponent("/" + item_)));
        folders.push_back({.path = path,
                           .isEmpty = inside.empty(),
                           .holdsOnlyTheItem = held.size() == inside.size() && isPartOf(held, whole),
                           .holdsAllOfIt = held == whole});
    }
    return folders;
}

std::vector<std::string> RemovalSubject::newNotesWithoutItem() const {
    std::vector<std::string> infoFiles;
    for (const auto& [path, content] : after_) {
        const std::string trash = trashHolding(path, "info");
        if (trash.empty() || before_.contains(path)) {
            continue;
        }
        std::string name(lastPathComponent("/" + path));
        name.resize(name.size() - std::min(name.size(), std::string(".trashinfo").size()));
        if (!after_.contains(trash + "/files/" + name)) {
            infoFiles.push_back(path);
        }
    }
    return infoFiles;
}

bool RemovalSubject::hasItsOwnNote() const {
    return after_.contains(std::string(homeTrash) + "/info/item.txt.trashinfo");
}

std::string RemovalSubject::harm() const {
    const std::string itsNote = std::string(homeTrash) + "/info/item.txt.trashinfo";
    for (const auto& [path, content] : before_) {
        const auto now = after_.find(path);
        const bool mayGo = isItem(path) || (scenario_ == Scenario::trashedForGood && path == itsNote);
        if (!mayGo && (now == after_.end() || now->second != content)) {
            return path + " is not as it was";
        }
    }
    for (const auto& [path, content] : after_) {
        if (before_.contains(path)) {
            continue;
        }
        bool isKnown = path.find("/.larkfold-removing-") != std::string::npos || isTrashFolder(path) ||
                       path.ends_with("/files") || path.ends_with("/info") ||
                       (path.ends_with("/directorysizes") &&
                        isTrashFolder(std::string(parentPath("/" + path)).substr(1))) ||
                       (lastPathComponent("/" + path).starts_with(".larkfold-") &&
                        isTrashFolder(std::string(parentPath("/" + path)).substr(1)));
        for (std::string above = path; !isKnown && !above.empty();
             above = above.find('/') == std::string::npos ? ""
                                                          : std::string(parentPath("/" + above)).substr(1)) {
            isKnown = !trashHolding(above, "files").empty() || !trashHolding(above, "info").empty();
        }
        if (!isKnown) {
            return path + " came from nowhere";
        }
    }
    return {};
}

RemovalReport parseRemoval(const RemovalSubject& subject, const std::string& output) {
    RemovalReport report;
    std::istringstream lines(output);
    std::string word;
    lines >> word >> report.descriptorsBefore >> report.descriptorsAfter >> word;
    report.isGone = word == "gone";
    if (report.isGone) {
        lines >> word;  // the bytes
    }
    report.isTyped = report.isGone || word == "stays";
    lines >> report.place >> std::ws;
    std::getline(lines, report.sentence);
    if (report.place.ends_with(":")) {
        report.place.pop_back();
    }
    if (report.place.starts_with(subject.disk() + "/")) {
        report.place.erase(0, subject.disk().size() + 1);
    } else if (report.place == "-") {
        report.place.clear();
    }
    return report;
}

}  // namespace larkfold::test
