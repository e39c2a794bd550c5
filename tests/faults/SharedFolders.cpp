#include "faults/SharedFolders.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "platform/Path.h"

namespace larkfold::test {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view itemContent = "T";
constexpr std::string_view otherContent = "OO";
constexpr std::string_view lureContent = "LLL";

void require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "race of two users: %s failed: %s\n", what, std::strerror(errno));
        std::abort();
    }
}

std::string numbered(const char* prefix, int item) {
    std::array<char, 32> name;
    std::snprintf(name.data(), name.size(), "%s%03d", prefix, item);
    return name.data();
}

// A folder of the removing user's with one file in it, which is held.
int makeFolder(const std::string& path, std::string_view content) {
    fs::create_directories(path);
    const std::string file = path + "/x";
    const int descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    require(descriptor >= 0 && write(descriptor, content.data(), content.size()) == std::ssize(content),
            "write");
    return descriptor;
}

void giveToRemovingUser(const std::string& path) {
    require(lchown(path.c_str(), removingUser, removingUser) == 0, "chown");
    for (const auto& entry : fs::recursive_directory_iterator(path)) {
        require(lchown(entry.path().c_str(), removingUser, removingUser) == 0, "chown");
    }
}

bool isAlive(int descriptor) {
    struct stat values;
    return fstat(descriptor, &values) == 0 && values.st_nlink > 0;
}

// The name of a private folder of the gate in the folder, but for those `known`; empty where there is none.
std::string privateFolderIn(int folder, const std::set<std::string>& known) {
    const int again = openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* listing = again < 0 ? nullptr : fdopendir(again);
    std::string found;
    while (listing != nullptr && found.empty()) {
        const dirent* entry = readdir(listing);
        if (entry == nullptr) {
            break;
        }
        if (std::string_view(entry->d_name).starts_with(".larkfold-removing-") &&
            !known.contains(entry->d_name)) {
            found = entry->d_name;
        }
    }
    if (listing != nullptr) {
        closedir(listing);
    }
    return found;
}

}  // namespace

void asUser(uid_t user, const std::function<void()>& work) {
    require(setegid(user) == 0 && seteuid(user) == 0, "becoming a user");
    // Otherwise the process may not look at its own descriptors any more.
    prctl(PR_SET_DUMPABLE, 1);
    work();
    require(seteuid(0) == 0 && setegid(0) == 0, "becoming the superuser");
    prctl(PR_SET_DUMPABLE, 1);
}

RaceGate asRemovingUser(RaceGate gate) {
    return [gate = std::move(gate)](const RaceRequest& request, const HandledItem& handled) {
        std::vector<Told> told;
        asUser(removingUser, [&] { told = gate(request, handled); });
        return told;
    };
}

SharedFolders::SharedFolders(RaceDisk& disk) : disk_(disk), folderPath_(disk.folder("root/shared")) {
    disk.letOtherUsersIn();
    disk.folder("home/.local/share/Trash/files");
    disk.folder("home/.local/share/Trash/info");
    make();
}

SharedFolders::~SharedFolders() {
    release();
}

void SharedFolders::release() {
    for (const Held& held : held_) {
        for (const int descriptor : {held.item, held.other, held.lure}) {
            close(descriptor);
        }
    }
    held_.clear();
    if (folder_ >= 0) {
        close(std::exchange(folder_, -1));
    }
}

void SharedFolders::make() {
    release();
    fs::remove_all(folderPath_);
    fs::create_directory(folderPath_);
    for (const char* part : {"/files", "/info"}) {
        fs::remove_all(disk_.trash() + part);
        fs::create_directory(disk_.trash() + part);
    }
    for (int item = 0; item < mostItems; ++item) {
        const std::string name = numbered("item-", item);
        held_.push_back(
            {.item = makeFolder(folderPath_ + "/" + name, itemContent),
             .other = makeFolder(folderPath_ + "/" + numbered("other-", item), otherContent),
             .lure = makeFolder(folderPath_ + "/" + numbered("lure-", item) + "/" + name, lureContent)});
        require(chmod((folderPath_ + "/" + numbered("lure-", item)).c_str(), 0700) == 0, "chmod");
    }
    giveToRemovingUser(disk_.path("home"));
    giveToRemovingUser(disk_.root());
    require(chmod(folderPath_.c_str(), 0777) == 0, "chmod");
    folder_ = open(folderPath_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    require(folder_ >= 0, "open");
}

Attack SharedFolders::attack() const {
    const auto isOther = std::make_shared<bool>(false);
    const auto strike = [path = folderPath_, isOther, folder = -1, struck = std::set<std::string>()](
                            Turn& /*turn*/, int item, Dice& dice) mutable {
        if (!*isOther) {
            require(setgid(otherUser) == 0 && setuid(otherUser) == 0, "becoming the other user");
            *isOther = true;
        }
        // The folder is a new one after each turn.
        if (struct stat values; folder < 0 || fstat(folder, &values) != 0 || values.st_nlink == 0) {
            if (folder >= 0) {
                close(folder);
            }
            folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            struck.clear();
        }
        const std::string name = numbered("item-", item);
        if (dice.below(8) == 0) {
            return renameat2(folder, name.c_str(), folder, numbered("other-", item).c_str(),
                             RENAME_EXCHANGE) == 0;
        }
        // Each of them once: what stands at its name after that would get from there to the place of another
        // item, and that is what this one is then.
        const std::string made = privateFolderIn(folder, struck);
        if (made.empty()) {
            return false;
        }
        struck.insert(made);
        const std::string lure = numbered("lure-", item);
        switch (dice.below(3)) {
            case 0:
                return renameat2(folder, made.c_str(), folder, lure.c_str(), RENAME_EXCHANGE) == 0;
            case 1:
                // Another folder of the other user's own takes its place.
                return renameat2(folder, made.c_str(), folder, ("away-" + made).c_str(), RENAME_NOREPLACE) ==
                           0 &&
                       mkdirat(folder, made.c_str(), 0777) == 0;
            default:
                return renameat2(folder, made.c_str(), folder, numbered("other-", item).c_str(),
                                 RENAME_EXCHANGE) == 0;
        }
    };
    return {.strike = strike, .calm = [] {}};
}

RaceRequest SharedFolders::request(bool permanently) const {
    RaceRequest request{.urls = {},
                        .permanently = permanently,
                        .root = disk_.root(),
                        .heldRoot = FileDeleter::AllowedRoot::at(disk_.root()),
                        .verifications = {}};
    for (int item = 0; item < mostItems; ++item) {
        request.urls.push_back(joinedPath(folderPath_, numbered("item-", item)));
    }
    return request;
}

std::string SharedFolders::judge(int item, const Told& told, const Turn& /*turn*/) {
    const Held& held = held_[static_cast<std::size_t>(item)];
    if (!isAlive(held.lure)) {
        return "what stood at the private folder's name was emptied";
    }
    // What stood at the item's path when it was looked at is told by its size.
    const bool wasOther = told.isGone && told.bytes == std::ssize(otherContent);
    if (told.isGone && !wasOther && told.bytes && told.bytes != std::ssize(itemContent)) {
        return "something else was taken for the item";
    }
    if (!told.isGone) {
        const bool isInPart = told.sentence.find("a part of it has gone") != std::string::npos;
        return isInPart || (isAlive(held.item) && isAlive(held.other))
                   ? ""
                   : "told as failed, and its content is lost";
    }
    // Where the size could not be told, one of the two may have gone.
    if (!told.bytes) {
        return isAlive(held.item) || isAlive(held.other) ? "" : "both folders are lost";
    }
    return isAlive(wasOther ? held.item : held.other) ? "" : "the wrong folder is lost";
}

void SharedFolders::restore(const std::vector<Told>& /*told*/) {
    make();
}

}  // namespace larkfold::test
