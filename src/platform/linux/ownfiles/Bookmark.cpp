#include "platform/Bookmark.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdint>
#include <expected>
#include <optional>

#include "platform/DurableIdentity.h"
#include "platform/Error.h"
#include "platform/Path.h"
#include "platform/StoredJson.h"
#include "platform/linux/calls/CallWithTimeout.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/walk/PathDescriptors.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

constexpr std::int64_t formatVersion = 1;
// No bookmark comes near it: the path is limited by the disk's own formats.
constexpr std::size_t largestBookmark = 1 << 20;
constexpr int deepestNesting = 8;

class BookmarkError final : public Error {
public:
    std::string description() const override {
        return "The saved folder could not be recognised. Please choose the folder again.";
    }
};

DurableIdentity askedIdentity(const std::string& path) {
    using Answer = std::expected<DurableIdentity, int>;
    const Answer answer = callWithTimeout<Answer>([path] {
                              return path_descriptors::identityOfFolder(path);
                          }).value_or(std::unexpected(ETIMEDOUT));
    if (!answer) {
        throw SystemError(SystemError::Operation::open, answer.error(), path);
    }
    return *answer;
}

std::optional<std::uint64_t> unsignedAt(const nlohmann::json& object, const char* key) {
    const auto value = object.find(key);
    if (value == object.end() || !value->is_number_unsigned()) {
        return std::nullopt;
    }
    return value->get<std::uint64_t>();
}

struct Bookmark {
    std::string path;
    DurableIdentity identity;
};

// Nothing where the bytes are no bookmark.
std::optional<Bookmark> parsed(const std::string& bytes) {
    if (bytes.size() > largestBookmark) {
        return std::nullopt;
    }
    const auto value = stored_json::parsed(bytes, deepestNesting);
    if (!value || !value->is_object()) {
        return std::nullopt;
    }
    const nlohmann::json& object = *value;
    const auto version = unsignedAt(object, "version");
    const auto volume = unsignedAt(object, "volume");
    const auto file = unsignedAt(object, "file");
    const auto path = stored_json::bytesAt(object, "path");
    if (version != formatVersion || !volume || !file || !path) {
        return std::nullopt;
    }
    Bookmark bookmark{.path = *path, .identity = {.volume = *volume, .file = *file, .madeAt = {}}};
    if (const auto madeAt = object.find("madeAt"); madeAt != object.end()) {
        if (!madeAt->is_number_integer()) {
            return std::nullopt;
        }
        bookmark.identity.madeAt = madeAt->get<std::int64_t>();
    }
    if (!bookmark.path.starts_with('/') || bookmark.path.find('\0') != std::string::npos) {
        return std::nullopt;
    }
    bookmark.path = standardizedPath(bookmark.path);
    return bookmark;
}

}  // namespace

std::string makeBookmark(const std::string& path) {
    const std::string standardized = standardizedPath(path);
    const DurableIdentity identity = askedIdentity(standardized);
    nlohmann::ordered_json object;
    object["version"] = formatVersion;
    stored_json::addBytes(object, "path", standardized);
    object["volume"] = identity.volume;
    object["file"] = identity.file;
    if (identity.madeAt) {
        object["madeAt"] = *identity.madeAt;
    }
    return stored_json::encoded(object);
}

ResolvedBookmark resolveBookmark(const std::string& bytes) {
    const std::optional<Bookmark> bookmark = parsed(bytes);
    if (!bookmark) {
        throw BookmarkError();
    }
    const DurableIdentity now = askedIdentity(bookmark->path);
    return {.path = bookmark->path, .isStale = !now.isSameAs(bookmark->identity)};
}

bool startAccessingSecurityScopedResource(const std::string& path) {
    return callWithTimeout<bool>([path] {
               return static_cast<bool>(
                   FileDescriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC)));
           })
        .value_or(false);
}

void stopAccessingSecurityScopedResource(const std::string&) {
    // Nothing is held open.
}

}  // namespace larkfold
