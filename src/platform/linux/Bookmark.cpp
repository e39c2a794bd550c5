#include "platform/Bookmark.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <cstdint>
#include <optional>

#include "platform/Error.h"
#include "platform/Path.h"
#include "platform/StoredJson.h"
#include "platform/linux/ExpendableCall.h"
#include "platform/linux/FileDescriptor.h"

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

// What tells one folder from another over restarts. Device numbers may change from one start of the machine
// to the next, inode numbers are used again: together with the time at which the folder was made they do not
// repeat.
struct FolderIdentity {
    int error = 0;  // errno where the rest could not be read
    std::uint64_t volume = 0;
    std::uint64_t file = 0;
    // Nanoseconds since 1970; absent where the file system keeps no such time.
    std::optional<std::int64_t> madeAt = std::nullopt;

    bool isSameAs(const FolderIdentity& other) const {
        if (file != other.file) {
            return false;
        }
        return madeAt && other.madeAt ? *madeAt == *other.madeAt : volume == other.volume;
    }
};

FolderIdentity identityOfFolder(const std::string& path) {
    // A link at the end is followed: who chose it meant the folder behind it.
    const FileDescriptor folder(::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!folder) {
        return {.error = errno};
    }
    struct statx values{};
    if (::statx(folder.get(), "", AT_EMPTY_PATH, STATX_INO | STATX_BTIME, &values) != 0) {
        return {.error = errno};
    }
    FolderIdentity identity{.volume = makedev(values.stx_dev_major, values.stx_dev_minor),
                            .file = values.stx_ino};
    if ((values.stx_mask & STATX_BTIME) != 0) {
        identity.madeAt = values.stx_btime.tv_sec * 1'000'000'000 + values.stx_btime.tv_nsec;
    }
    return identity;
}

FolderIdentity askedIdentity(const std::string& path) {
    const auto answer = expendable_call::run<FolderIdentity>([path] { return identityOfFolder(path); });
    const FolderIdentity identity = answer.value_or(FolderIdentity{.error = ETIMEDOUT});
    if (identity.error != 0) {
        throw SystemError(SystemError::Operation::open, identity.error, path);
    }
    return identity;
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
    FolderIdentity identity;
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
    Bookmark bookmark{.path = *path, .identity = {.volume = *volume, .file = *file}};
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
    const FolderIdentity identity = askedIdentity(standardized);
    nlohmann::ordered_json object;
    object["version"] = formatVersion;
    stored_json::addBytes(object, "path", standardized);
    object["volume"] = identity.volume;
    object["file"] = identity.file;
    if (identity.madeAt) {
        object["madeAt"] = *identity.madeAt;
    }
    return object.dump();
}

ResolvedBookmark resolveBookmark(const std::string& bytes) {
    const std::optional<Bookmark> bookmark = parsed(bytes);
    if (!bookmark) {
        throw BookmarkError();
    }
    const FolderIdentity now = askedIdentity(bookmark->path);
    return {.path = bookmark->path, .isStale = !now.isSameAs(bookmark->identity)};
}

bool startAccessingSecurityScopedResource(const std::string& path) {
    return expendable_call::run<bool>([path] {
               return static_cast<bool>(
                   FileDescriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC)));
           })
        .value_or(false);
}

void stopAccessingSecurityScopedResource(const std::string&) {
    // Nothing is held open.
}

}  // namespace larkfold
