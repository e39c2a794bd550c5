// The user's own folders are those of the file "user-dirs.dirs" in the configuration folder, which the
// desktop writes: lines such as XDG_DOWNLOAD_DIR="$HOME/Downloads". A row that names the home folder itself
// means that there is none. Where there is no such file, the usual English names count.

#include "platform/UserLocation.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include "platform/Path.h"
#include "platform/StandardFolders.h"
#include "platform/linux/calls/CallWithTimeout.h"
#include "platform/linux/mounts/MountTable.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

struct UserFolder {
    UserLocation::Kind kind;
    std::string_view key;
    std::string_view usualName;
};

constexpr std::array userFolders{
    UserFolder{.kind = UserLocation::Kind::desktop, .key = "XDG_DESKTOP_DIR", .usualName = "Desktop"},
    UserFolder{.kind = UserLocation::Kind::documents, .key = "XDG_DOCUMENTS_DIR", .usualName = "Documents"},
    UserFolder{.kind = UserLocation::Kind::downloads, .key = "XDG_DOWNLOAD_DIR", .usualName = "Downloads"},
    UserFolder{.kind = UserLocation::Kind::music, .key = "XDG_MUSIC_DIR", .usualName = "Music"},
    UserFolder{.kind = UserLocation::Kind::pictures, .key = "XDG_PICTURES_DIR", .usualName = "Pictures"},
    UserFolder{.kind = UserLocation::Kind::videos, .key = "XDG_VIDEOS_DIR", .usualName = "Videos"},
};

// Where mounts are the system's own affair.
constexpr std::array<std::string_view, 9> systemFolders{"/boot", "/dev", "/efi", "/proc", "/run",
                                                        "/snap", "/sys", "/tmp", "/var"};
constexpr std::string_view userMounts = "/run/media";

bool isFolder(const std::string& path) {
    return callWithTimeout<bool>([path] {
               struct stat values{};
               return ::stat(path.c_str(), &values) == 0 && S_ISDIR(values.st_mode);
           })
        .value_or(false);
}

// The value behind the "=": in double quotes, "\" before a character that stands for itself.
std::optional<std::string> unquoted(std::string_view value) {
    if (value.empty() || value.front() != '"') {
        return std::nullopt;
    }
    std::string text;
    for (std::size_t at = 1; at < value.size(); ++at) {
        if (value[at] == '"') {
            return text;
        }
        if (value[at] == '\\' && at + 1 < value.size()) {
            ++at;
        }
        text += value[at];
    }
    return std::nullopt;
}

// Absolute, or below the home folder; nothing else is allowed there.
std::optional<std::string> folderOf(std::string_view value, const std::string& home) {
    constexpr std::string_view homeVariable = "$HOME";
    const auto text = unquoted(value);
    if (!text) {
        return std::nullopt;
    }
    if (text->starts_with(homeVariable)) {
        return joinedPath(home, std::string_view(*text).substr(homeVariable.size()));
    }
    return text->starts_with('/') ? text : std::nullopt;
}

// By their keys; nothing where there is no file.
std::optional<std::map<std::string, std::string, std::less<>>> configuredFolders(const std::string& home) {
    std::ifstream file(joinedPath(configurationDirectory(), "user-dirs.dirs"));
    if (!file) {
        return std::nullopt;
    }
    std::map<std::string, std::string, std::less<>> folders;
    for (std::string line; std::getline(file, line);) {
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos) {
            continue;
        }
        if (auto folder = folderOf(std::string_view(line).substr(equals + 1), home)) {
            folders.insert_or_assign(line.substr(0, equals), standardizedPath(*folder));
        }
    }
    return folders;
}

void addUserFolders(std::vector<UserLocation>& places, const std::string& home) {
    const auto configured = configuredFolders(home);
    for (const UserFolder& folder : userFolders) {
        std::string path = joinedPath(home, folder.usualName);
        if (configured) {
            const auto found = configured->find(folder.key);
            path = found == configured->end() ? std::string() : found->second;
        }
        if (!path.empty() && path != home && isFolder(path)) {
            std::string name(lastPathComponent(path));
            places.push_back({.kind = folder.kind, .path = std::move(path), .name = std::move(name)});
        }
    }
}

bool isForTheUser(const Mount& mount) {
    const bool isVolume = mount.kind == MountKind::localDisk || mount.kind == MountKind::removable ||
                          mount.kind == MountKind::network;
    if (!mount.isVisible || !isVolume || mount.mountPoint == "/") {
        return false;
    }
    return isAtOrBelow(mount.mountPoint, userMounts) ||
           std::none_of(systemFolders.begin(), systemFolders.end(),
                        [&](std::string_view folder) { return isAtOrBelow(mount.mountPoint, folder); });
}

void addVolumes(std::vector<UserLocation>& places) {
    const MountTable table = MountTable::current();
    for (const Mount& mount : table.mounts()) {
        if (isForTheUser(mount) && isFolder(mount.mountPoint)) {
            places.push_back(
                {.kind = UserLocation::Kind::volume,
                 .path = mount.mountPoint,
                 .name = table.label(mount).value_or(std::string(lastPathComponent(mount.mountPoint)))});
        }
    }
}

}  // namespace

std::vector<UserLocation> userLocations() {
    std::vector<UserLocation> places;
    const std::string home = homeDirectoryForCurrentUser();
    if (isFolder(home)) {
        places.push_back(
            {.kind = UserLocation::Kind::home, .path = home, .name = std::string(lastPathComponent(home))});
    }
    addUserFolders(places, home);
    places.push_back({.kind = UserLocation::Kind::fileSystem, .path = "/", .name = "/"});
    addVolumes(places);
    return places;
}

}  // namespace larkfold
