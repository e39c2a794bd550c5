#include "platform/Path.h"

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/UTF8.h"

namespace larkfold {

std::string standardizedPath(std::string_view path) {
    std::string result;
    result.reserve(path.size() + 1);
    std::size_t at = 0;
    while (at < path.size()) {
        if (path[at] == '/') {
            ++at;
            continue;
        }
        const std::size_t end = std::min(path.find('/', at), path.size());
        const std::string_view component = path.substr(at, end - at);
        at = end;
        if (component == ".") {
            continue;
        }
        if (component == "..") {
            if (!result.empty()) {
                result.resize(result.rfind('/'));
            }
            continue;
        }
        result += '/';
        result += component;
    }
    if (result.empty()) {
        result.push_back('/');
    }
    return result;
}

std::string_view lastPathComponent(std::string_view path) {
    while (path.size() > 1 && path.back() == '/') {
        path.remove_suffix(1);
    }
    if (path == "/") {
        return path;
    }
    const std::size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::string_view parentPath(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string_view::npos || slash == 0) {
        return "/";
    }
    return path.substr(0, slash);
}

std::string joinedPath(std::string_view folder, std::string_view name) {
    std::string result;
    result.reserve(folder.size() + 1 + name.size());
    result += folder;
    if (result.empty() || result.back() != '/') {
        result += '/';
    }
    result += name;
    return result;
}

std::string_view pathExtension(std::string_view path) {
    const std::string_view name = lastPathComponent(path);
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || dot + 1 == name.size()) {
        return {};
    }
    return name.substr(dot + 1);
}

bool isAtOrBelow(std::string_view path, std::string_view folder) {
    if (folder == "/") {
        return path.starts_with('/');
    }
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

std::optional<std::string_view> relativePath(std::string_view path, std::string_view folder) {
    if (path == folder || !isAtOrBelow(path, folder)) {
        return std::nullopt;
    }
    return path.substr(folder == "/" ? 1 : folder.size() + 1);
}

std::string displayText(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const utf8::Decoded decoded = utf8::decodeFirst(bytes);
        if (!decoded.isValid) {
            utf8::append(text, utf8::replacementCharacter);
        } else if (decoded.codePoint < 0x20) {
            utf8::append(text, 0x2400 + decoded.codePoint);
        } else if (decoded.codePoint == 0x7F) {
            utf8::append(text, 0x2421);
        } else if (decoded.codePoint == 0x85 || decoded.codePoint == 0x2028 || decoded.codePoint == 0x2029) {
            // The line ends that are no ASCII: the picture of a new line.
            utf8::append(text, 0x2424);
        } else if (decoded.codePoint >= 0x80 && decoded.codePoint < 0xA0) {
            // The second set of control characters has no pictures.
            utf8::append(text, utf8::replacementCharacter);
        } else {
            text += bytes.substr(0, decoded.length);
        }
        bytes.remove_prefix(decoded.length);
    }
    return text;
}

}  // namespace larkfold
