#include "platform/linux/process/RunningProcesses.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <optional>
#include <string_view>
#include <unordered_set>

#include "platform/UTF8.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/desktop/ApplicationUnit.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

// A path in /proc relative to its folder: "1234", "1234/exe". Made without allocation, three times for each
// process.
class ProcessPath {
public:
    explicit ProcessPath(pid_t process, std::string_view name = {}) {
        char* end = std::to_chars(text_.data(), text_.data() + text_.size(), process).ptr;
        if (!name.empty()) {
            *end++ = '/';
            name.copy(end, name.size());
        }
    }
    const char* get() const { return text_.data(); }

private:
    std::array<char, 64> text_{};
};

// The numbers of the processes, in ascending order, which is that of their age until they begin anew.
std::vector<pid_t> processes(DIR* listing) {
    std::vector<pid_t> numbers;
    while (const dirent* item = ::readdir(listing)) {
        const std::string_view name = item->d_name;
        pid_t number = 0;
        const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
        if (error == std::errc() && end == name.data() + name.size() && number > 0) {
            numbers.push_back(number);
        }
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

// The first bytes of a small file of the kernel's; empty where it cannot be read.
std::string_view content(int folder, const char* path, std::array<char, 4096>& buffer) {
    const FileDescriptor file(::openat(folder, path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file) {
        return {};
    }
    const ssize_t length = ::read(file.get(), buffer.data(), buffer.size());
    return length <= 0 ? std::string_view()
                       : std::string_view(buffer.data(), static_cast<std::size_t>(length));
}

// The path of the executable as it was when the process began it.
std::string_view executable(int folder, pid_t process, std::array<char, PATH_MAX>& buffer) {
    const ssize_t length =
        ::readlinkat(folder, ProcessPath(process, "exe").get(), buffer.data(), buffer.size());
    if (length <= 0) {
        return {};  // a thread of the kernel, or it has ended
    }
    std::string_view path(buffer.data(), static_cast<std::size_t>(length));
    // An update has replaced it meanwhile.
    if (constexpr std::string_view mark = " (deleted)"; path.ends_with(mark)) {
        path.remove_suffix(mark.size());
    }
    return path;
}

// Collects each identifier once.
class Found {
public:
    void add(std::string identifier, std::string name) {
        identifier = utf8::repaired(identifier);
        if (!identifier.empty() && seen_.insert(identifier).second) {
            list_.push_back({.identifier = std::move(identifier), .name = std::move(name)});
        }
    }
    void add(const DesktopEntryCatalogue::Application& application) {
        add(application.identifier, application.name);
    }
    std::vector<DesktopApplication> take() && { return std::move(list_); }

private:
    std::unordered_set<std::string> seen_;
    std::vector<DesktopApplication> list_;
};

}  // namespace

std::vector<DesktopApplication> RunningProcesses::applications(const DesktopEntryCatalogue& catalogue) const {
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(::opendir(folder.c_str()), ::closedir);
    if (listing == nullptr) {
        return {};
    }
    const int descriptor = ::dirfd(listing.get());
    const auto isOwn = [this](const DesktopEntryCatalogue::Application* application) {
        return application != nullptr && !ownExecutable.empty() && application->program == ownExecutable;
    };
    Found found;
    std::array<char, PATH_MAX> executableBuffer;
    std::array<char, 4096> contentBuffer;
    for (const pid_t process : processes(listing.get())) {
        struct stat values{};
        if (::fstatat(descriptor, ProcessPath(process).get(), &values, AT_SYMLINK_NOFOLLOW) != 0 ||
            values.st_uid != user) {
            continue;
        }
        const std::string_view program = executable(descriptor, process, executableBuffer);
        if (program.empty()) {
            continue;
        }
        const std::optional<ApplicationUnit> unit =
            applicationUnit(content(descriptor, ProcessPath(process, "cgroup").get(), contentBuffer));
        if (unit && unit->kind == ApplicationUnit::Kind::snap) {
            // The identifier is the snap's own name, by which its folders go; the entry is one for each of
            // its applications.
            const auto* application =
                catalogue.withIdentifier(unit->identifier + "_" + unit->snapApplication);
            found.add(unit->identifier, application == nullptr ? unit->identifier : application->name);
        } else if (unit) {
            const auto* application = catalogue.withIdentifier(unit->identifier);
            if (application != nullptr && !isOwn(application)) {
                found.add(*application);
            } else if (application == nullptr && unit->kind == ApplicationUnit::Kind::application) {
                found.add(unit->identifier, utf8::repaired(unit->identifier));
            }
        } else if (program.starts_with("/app/")) {
            // Where no unit tells of the sandbox, a file at its root does.
            const std::string identifier = flatpakIdentifier(
                content(descriptor, ProcessPath(process, "root/.flatpak-info").get(), contentBuffer));
            const auto* application = catalogue.withIdentifier(identifier);
            found.add(identifier, application == nullptr ? utf8::repaired(identifier) : application->name);
        } else if (const std::string snap = snapName(program); !snap.empty()) {
            const auto* application = catalogue.withIdentifier(snap + "_" + snap);
            found.add(snap, application == nullptr ? utf8::repaired(snap) : application->name);
        }
        const auto* application = catalogue.owning(program);
        if (application != nullptr && !isOwn(application)) {
            found.add(*application);
        }
    }
    return std::move(found).take();
}

}  // namespace larkfold
