#include "platform/linux/walk/LinkWalk.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/linux/calls/FileDescriptor.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

// As many links as the kernel follows in one path.
constexpr int mostLinks = 40;

// Puts the components of `path` on top of `pending`, the first of them uppermost.
void pushComponents(std::string_view path, std::vector<std::string>& pending) {
    const std::size_t bottom = pending.size();
    while (!path.empty()) {
        const std::size_t end = std::min(path.find('/'), path.size());
        const std::string_view component = path.substr(0, end);
        if (!component.empty() && component != ".") {
            pending.emplace_back(component);
        }
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    std::reverse(pending.begin() + static_cast<std::ptrdiff_t>(bottom), pending.end());
}

FileDescriptor openFolder(int parent, const char* name) {
    return FileDescriptor(::openat(parent, name, O_PATH | O_NOFOLLOW | O_DIRECTORY | O_CLOEXEC));
}

LinkResolution unanswered(int error) {
    return {.path = std::nullopt, .error = error};
}

}  // namespace

LinkResolution walkLinks(
    const std::string& path,
    const std::function<void(int folder, const std::string& folderPath, const std::string& name)>& onLink) {
    if (!path.starts_with('/') || path.find('\0') != std::string::npos) {
        return unanswered(EINVAL);
    }
    std::vector<std::string> pending;
    pushComponents(path, pending);
    std::string resolved;  // without a "/" at its end; empty for the root
    FileDescriptor folder(openFolder(AT_FDCWD, "/"));
    if (!folder) {
        return unanswered(errno);
    }
    bool exists = true;  // false from the first missing component on: then only the text counts
    int links = 0;
    while (!pending.empty()) {
        const std::string component = std::move(pending.back());
        pending.pop_back();
        if (component == "..") {
            resolved.resize(resolved.empty() ? 0 : resolved.rfind('/'));
            if (exists) {
                folder = openFolder(folder.get(), "..");
                if (!folder) {
                    return unanswered(errno);
                }
            }
            continue;
        }
        if (!exists) {
            resolved += "/" + component;
            continue;
        }
        std::array<char, PATH_MAX> target;
        const ssize_t length = ::readlinkat(folder.get(), component.c_str(), target.data(), target.size());
        if (length >= 0) {
            if (++links > mostLinks) {
                return unanswered(ELOOP);
            }
            if (onLink) {
                onLink(folder.get(), resolved.empty() ? "/" : resolved, component);
            }
            const std::string_view text(target.data(), static_cast<std::size_t>(length));
            if (text.starts_with('/')) {
                resolved.clear();
                folder = openFolder(AT_FDCWD, "/");
                if (!folder) {
                    return unanswered(errno);
                }
            }
            pushComponents(text, pending);
            continue;
        }
        if (errno == ENOENT) {
            exists = false;
        } else if (errno != EINVAL) {  // EINVAL: there, and no link
            return unanswered(errno);
        }
        resolved += "/" + component;
        if (exists && !pending.empty()) {
            folder = openFolder(folder.get(), component.c_str());
            if (!folder) {
                if (errno != ENOTDIR && errno != ENOENT) {
                    return unanswered(errno);
                }
                exists = false;  // below a file is nothing
            }
        }
    }
    return {.path = resolved.empty() ? "/" : std::move(resolved), .error = 0};
}

}  // namespace larkfold
