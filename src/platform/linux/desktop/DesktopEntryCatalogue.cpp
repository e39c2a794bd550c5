#include "platform/linux/desktop/DesktopEntryCatalogue.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <map>
#include <mutex>
#include <set>

#include "platform/Path.h"
#include "platform/StandardFolders.h"
#include "platform/UTF8.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/calls/SystemCalls.h"
#include "platform/linux/desktop/DesktopEntry.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

constexpr std::size_t largestEntry = 1u << 20;
constexpr std::size_t mostEntries = 20'000;
constexpr int deepestFolder = 4;  // below a folder of entries

// File systems count time in steps of a few milliseconds.
constexpr std::int64_t unsettledNanoseconds = 50'000'000;

// Programs that run others: which application runs, they do not tell.
constexpr std::array runners = {
    std::string_view("bash"),
    std::string_view("bwrap"),
    std::string_view("busctl"),
    std::string_view("dash"),
    std::string_view("dbus-send"),
    std::string_view("dbus-launch"),
    std::string_view("dotnet"),
    std::string_view("env"),
    std::string_view("firejail"),
    std::string_view("fish"),
    std::string_view("flatpak"),
    std::string_view("gapplication"),
    std::string_view("gio"),
    std::string_view("gjs"),
    std::string_view("gjs-console"),
    std::string_view("gtk-launch"),
    std::string_view("java"),
    std::string_view("kde-open"),
    std::string_view("kdesu"),
    std::string_view("kioclient"),
    std::string_view("ksh"),
    std::string_view("mono"),
    std::string_view("node"),
    std::string_view("nodejs"),
    std::string_view("perl"),
    std::string_view("php"),
    std::string_view("pkexec"),
    std::string_view("ruby"),
    std::string_view("sh"),
    std::string_view("snap"),
    std::string_view("sudo"),
    std::string_view("systemctl"),
    std::string_view("systemd-run"),
    std::string_view("tclsh"),
    std::string_view("wine"),
    std::string_view("wish"),
    std::string_view("x-terminal-emulator"),
    std::string_view("xdg-open"),
    std::string_view("zsh"),
};

// Prefixes for runners that bear a version.
constexpr std::array versionedRunners = {
    std::string_view("electron"), std::string_view("java-"), std::string_view("lua"),
    std::string_view("node-"),    std::string_view("perl5"), std::string_view("php"),
    std::string_view("python"),   std::string_view("pypy"),  std::string_view("ruby"),
    std::string_view("tclsh"),    std::string_view("wine"),  std::string_view("wish"),
};

// Folders in which the programs of many applications lie, beside those of PATH.
constexpr std::array sharedFolders = {
    std::string_view("/"),
    std::string_view("/usr"),
    std::string_view("/usr/lib"),
    std::string_view("/usr/lib64"),
    std::string_view("/usr/libexec"),
    std::string_view("/usr/share"),
    std::string_view("/usr/bin"),
    std::string_view("/usr/sbin"),
    std::string_view("/bin"),
    std::string_view("/sbin"),
    std::string_view("/lib"),
    std::string_view("/opt"),
    std::string_view("/usr/games"),
    std::string_view("/usr/local"),
    std::string_view("/usr/local/bin"),
    std::string_view("/usr/local/lib"),
    std::string_view("/usr/local/games"),
    std::string_view("/usr/local/share"),
    std::string_view("/snap"),
    std::string_view("/snap/bin"),
    std::string_view("/tmp"),
    std::string_view("/var/tmp"),
    std::string_view("/home"),
    std::string_view("/var/lib/snapd"),
};

bool isRunner(std::string_view program) {
    return std::find(runners.begin(), runners.end(), program) != runners.end() ||
           std::any_of(versionedRunners.begin(), versionedRunners.end(), [&](std::string_view prefix) {
               if (!program.starts_with(prefix)) {
                   return false;
               }
               // "python3.11" and "electron", but not "pythoncad".
               const std::string_view rest = program.substr(prefix.size());
               return rest.empty() || prefix.ends_with('-') ||
                      rest.find_first_not_of("0123456789.-") == std::string_view::npos;
           });
}

std::vector<std::string> parted(const char* list) {
    std::vector<std::string> parts;
    std::string_view rest = list == nullptr ? std::string_view() : list;
    while (!rest.empty()) {
        const std::size_t end = rest.find(':');
        if (const std::string_view part = rest.substr(0, end); part.starts_with('/')) {
            parts.push_back(standardizedPath(part));
        }
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    }
    return parts;
}

// The bytes of a file that is no larger than an entry may be; empty where it cannot be read.
std::string content(int folder, const char* name) {
    const FileDescriptor file(::openat(folder, name, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat values{};
    if (!file || ::fstat(file.get(), &values) != 0 || !S_ISREG(values.st_mode) ||
        static_cast<std::size_t>(values.st_size) > largestEntry) {
        return {};
    }
    std::string bytes(static_cast<std::size_t>(values.st_size), '\0');
    std::size_t length = 0;
    while (length < bytes.size()) {
        const ssize_t count = system_calls::uninterrupted(
            [&] { return ::read(file.get(), bytes.data() + length, bytes.size() - length); });
        if (count <= 0) {
            break;
        }
        length += static_cast<std::size_t>(count);
    }
    bytes.resize(length);
    return bytes;
}

// The path with all links followed; empty where it leads nowhere.
std::string resolved(const std::string& path) {
    char* real = ::realpath(path.c_str(), nullptr);
    std::string text = real == nullptr ? std::string() : real;
    std::free(real);
    return text;
}

// Where a command of an entry lies, links followed; empty where it is not installed.
std::string located(const std::string& program, const std::vector<std::string>& folders) {
    if (program.starts_with('/')) {
        return ::access(program.c_str(), X_OK) == 0 ? resolved(program) : std::string();
    }
    if (program.empty() || program.find('/') != std::string::npos) {
        return {};
    }
    for (const std::string& folder : folders) {
        const std::string path = joinedPath(folder, program);
        if (::access(path.c_str(), X_OK) == 0) {
            return resolved(path);
        }
    }
    return {};
}

bool isScript(const std::string& program) {
    const FileDescriptor file(::open(program.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    std::array<char, 2> start{};
    return file && ::read(file.get(), start.data(), start.size()) == 2 && start[0] == '#' && start[1] == '!';
}

// The word of a command line that names the program: behind "env" and its settings.
std::string_view programOf(const std::vector<std::string>& command) {
    std::size_t at = 0;
    if (!command.empty() && lastPathComponent(command[0]) == "env") {
        for (at = 1; at < command.size(); ++at) {
            if (command[at].find('=') == std::string::npos && !command[at].starts_with('-')) {
                break;
            }
        }
    }
    return at < command.size() ? std::string_view(command[at]) : std::string_view();
}

std::int64_t changeTimeOf(const std::string& folder) {
    struct stat values{};
    if (::stat(folder.c_str(), &values) != 0) {
        return -1;
    }
    return std::int64_t{values.st_mtim.tv_sec} * 1'000'000'000 + values.st_mtim.tv_nsec;
}

std::int64_t nowInNanoseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

// An entry's file name below its folder, as an identifier.
std::string identifierOf(std::string_view relative) {
    std::string identifier(relative.substr(0, relative.size() - std::string_view(".desktop").size()));
    std::replace(identifier.begin(), identifier.end(), '/', '-');
    return identifier;
}

}  // namespace

// What decides which of the entries that start one program stands for it.
struct DesktopEntryCatalogue::Candidate {
    std::size_t application;
    bool isShown;
    bool isScript;
    std::size_t words;  // of the command
};

DesktopEntryCatalogue::Places DesktopEntryCatalogue::Places::standard() {
    Places places;
    places.home = homeDirectoryForCurrentUser();
    places.locale = messagesLocale();
    places.programFolders = parted(std::getenv("PATH"));
    const auto add = [&places](const std::string& data) {
        std::string folder = joinedPath(data, "applications");
        if (std::find(places.entryFolders.begin(), places.entryFolders.end(), folder) ==
            places.entryFolders.end()) {
            places.entryFolders.push_back(std::move(folder));
        }
    };
    add(applicationSupportDirectory());
    const std::vector<std::string> shared = parted(std::getenv("XDG_DATA_DIRS"));
    for (const std::string& folder :
         shared.empty() ? std::vector<std::string>{"/usr/local/share", "/usr/share"} : shared) {
        add(folder);
    }
    // Sessions begin to name these only after the first installation, and terminals often not at all.
    add(joinedPath(applicationSupportDirectory(), "flatpak/exports/share"));
    add("/var/lib/flatpak/exports/share");
    add("/var/lib/snapd/desktop");
    return places;
}

DesktopEntryCatalogue::DesktopEntryCatalogue(const Places& places) {
    read(places);
}

DesktopEntryCatalogue::State DesktopEntryCatalogue::stateOf(const std::vector<std::string>& folders) {
    State state;
    const std::int64_t young = nowInNanoseconds() - unsettledNanoseconds;
    for (const std::string& folder : folders) {
        state.changedAt.push_back(changeTimeOf(folder));
        state.isSettled = state.isSettled && state.changedAt.back() < young;
    }
    return state;
}

void DesktopEntryCatalogue::read(const Places& places) {
    const std::vector<std::string> variants = localeVariants(places.locale);
    std::set<std::string> seen;  // identifiers, those that a hidden entry takes away among them
    std::vector<Candidate> candidates;
    struct Folder {
        std::string relative;
        int depth;
    };
    // The times are taken before the folders are listed, so that a change meanwhile is seen the next time.
    std::vector<std::int64_t> changedAt;
    bool isSettled = true;
    for (const std::string& root : places.entryFolders) {
        std::vector<Folder> waiting{{.relative = {}, .depth = 0}};
        while (!waiting.empty()) {
            const Folder folder = std::move(waiting.back());
            waiting.pop_back();
            const std::string path = folder.relative.empty() ? root : joinedPath(root, folder.relative);
            folders_.push_back(path);
            const State state = stateOf({path});
            changedAt.push_back(state.changedAt.front());
            isSettled = isSettled && state.isSettled;
            const std::unique_ptr<DIR, int (*)(DIR*)> listing(::opendir(path.c_str()), ::closedir);
            if (listing == nullptr) {
                continue;
            }
            const int descriptor = ::dirfd(listing.get());
            std::vector<std::string> names;
            while (const dirent* item = ::readdir(listing.get())) {
                if (item->d_name[0] != '.') {
                    names.emplace_back(item->d_name);
                }
            }
            std::sort(names.begin(), names.end());
            for (const std::string& name : names) {
                std::string relative = folder.relative.empty() ? name : joinedPath(folder.relative, name);
                struct stat values{};
                if (!name.ends_with(".desktop")) {
                    if (folder.depth < deepestFolder &&
                        ::fstatat(descriptor, name.c_str(), &values, AT_SYMLINK_NOFOLLOW) == 0 &&
                        S_ISDIR(values.st_mode)) {
                        waiting.push_back({.relative = std::move(relative), .depth = folder.depth + 1});
                    }
                    continue;
                }
                std::string identifier = identifierOf(relative);
                if (identifier.empty() || applications_.size() >= mostEntries || seen.contains(identifier)) {
                    continue;
                }
                std::optional<DesktopEntry> entry =
                    parseDesktopEntry(content(descriptor, name.c_str()), variants);
                if (!entry) {
                    continue;
                }
                seen.insert(identifier);
                if (entry->isHidden) {
                    continue;
                }
                std::string program = located(std::string(programOf(entry->command)), places.programFolders);
                if (program.empty() || isRunner(lastPathComponent(program))) {
                    program = located(entry->tryProgram, places.programFolders);
                }
                if (isRunner(lastPathComponent(program))) {
                    program.clear();
                }
                if (!program.empty()) {
                    candidates.push_back({.application = applications_.size(),
                                          .isShown = entry->isShown,
                                          .isScript = isScript(program),
                                          .words = entry->command.size()});
                }
                byIdentifier_.emplace(identifier, applications_.size());
                std::string shownName = utf8::repaired(entry->name);
                applications_.push_back({.identifier = identifier,
                                         .name = shownName.empty() ? identifier : std::move(shownName),
                                         .program = std::move(program)});
            }
        }
    }
    state_ = {.changedAt = std::move(changedAt), .isSettled = isSettled};
    addPrograms(std::move(candidates), places);
}

void DesktopEntryCatalogue::addPrograms(std::vector<Candidate>&& candidates, const Places& places) {
    std::erase_if(candidates, [](const Candidate& one) { return !one.isShown; });
    // The best comes first, and the first to claim a place has it.
    std::sort(candidates.begin(), candidates.end(), [this](const Candidate& left, const Candidate& right) {
        return left.words != right.words
                   ? left.words < right.words
                   : applications_[left.application].identifier < applications_[right.application].identifier;
    });
    std::map<std::string, std::set<std::string>> programsByFolder;
    for (const Candidate& one : candidates) {
        const std::string& program = applications_[one.application].program;
        byProgram_.emplace(program, one.application);
        if (one.isScript) {
            byScriptName_.emplace(lastPathComponent(program), one.application);
        }
        std::string folder(parentPath(program));
        if (lastPathComponent(folder) == "bin") {
            folder = parentPath(folder);
        }
        programsByFolder[folder].insert(program);
    }
    for (const auto& [folder, programs] : programsByFolder) {
        const bool isShared =
            programs.size() > 1 ||
            std::find(sharedFolders.begin(), sharedFolders.end(), folder) != sharedFolders.end() ||
            std::any_of(places.programFolders.begin(), places.programFolders.end(),
                        [&](const std::string& one) { return isAtOrBelow(one, folder); }) ||
            // The home folder, those above it, and those in which people put things of all kinds.
            isAtOrBelow(places.home, folder) || parentPath(folder) == places.home ||
            lastPathComponent(folder).find("-linux-") != std::string_view::npos;
        if (!isShared) {
            byFolder_.emplace(folder, byProgram_.find(*programs.begin())->second);
        }
    }
}

const DesktopEntryCatalogue::Application* DesktopEntryCatalogue::withIdentifier(
    std::string_view identifier) const {
    const auto found = byIdentifier_.find(identifier);
    return found == byIdentifier_.end() ? nullptr : &applications_[found->second];
}

const DesktopEntryCatalogue::Application* DesktopEntryCatalogue::owning(std::string_view executable) const {
    if (const auto found = byProgram_.find(executable); found != byProgram_.end()) {
        return &applications_[found->second];
    }
    const std::string_view name = lastPathComponent(executable);
    if (const auto found = byScriptName_.find(name); found != byScriptName_.end()) {
        return &applications_[found->second];
    }
    for (std::string_view folder = parentPath(executable); folder.size() > 1; folder = parentPath(folder)) {
        if (const auto found = byFolder_.find(folder); found != byFolder_.end()) {
            return &applications_[found->second];
        }
    }
    return nullptr;
}

std::shared_ptr<const DesktopEntryCatalogue> DesktopEntryCatalogue::current() {
    struct Kept {
        std::mutex mutex;
        Places places;
        std::shared_ptr<const DesktopEntryCatalogue> catalogue;
    };
    static Kept kept;
    const Places places = Places::standard();
    const std::lock_guard lock(kept.mutex);
    if (!kept.catalogue || kept.places != places || !kept.catalogue->state_.isSettled ||
        stateOf(kept.catalogue->folders_).changedAt != kept.catalogue->state_.changedAt) {
        kept.catalogue = std::make_shared<const DesktopEntryCatalogue>(places);
        kept.places = places;
    }
    return kept.catalogue;
}

}  // namespace larkfold
