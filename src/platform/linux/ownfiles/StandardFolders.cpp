#include "platform/StandardFolders.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <vector>

#include "platform/HomeRule.h"
#include "platform/Path.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

// The value of a variable that names a folder; empty where it is missing or no absolute path, which counts
// the same.
std::string folderFromEnvironment(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && value[0] == '/' ? standardizedPath(value) : std::string();
}

// The home folder in the account database; empty where the user has no entry there.
std::string accountHomeDirectory() {
    std::vector<char> buffer(1024);
    passwd entry{};
    passwd* found = nullptr;
    int result;
    while ((result = getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found)) == ERANGE ||
           result == EINTR) {
        if (result == ERANGE) {
            buffer.resize(buffer.size() * 2);
        }
    }
    if (result != 0 || found == nullptr || found->pw_dir == nullptr || found->pw_dir[0] != '/') {
        return {};
    }
    return standardizedPath(found->pw_dir);
}

std::string folderOrBelowHome(const char* variable, const char* below) {
    std::string folder = folderFromEnvironment(variable);
    return folder.empty() ? joinedPath(homeDirectoryForCurrentUser(), below) : folder;
}

}  // namespace

std::string realHomeDirectory() {
    std::string current = folderFromEnvironment("HOME");
    return realHomeDirectory(accountHomeDirectory(), current.empty() ? "/" : current);
}

std::string homeDirectoryForCurrentUser() {
    std::string home = folderFromEnvironment("HOME");
    return home.empty() ? realHomeDirectory() : home;
}

std::string applicationSupportDirectory() {
    return folderOrBelowHome("XDG_DATA_HOME", ".local/share");
}

std::string temporaryDirectory() {
    std::string folder = folderFromEnvironment("TMPDIR");
    return folder.empty() ? "/tmp" : folder;
}

std::string configurationDirectory() {
    return folderOrBelowHome("XDG_CONFIG_HOME", ".config");
}

}  // namespace larkfold
