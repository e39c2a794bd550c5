// Which item on which volume: what tells two paths to one folder apart from two folders.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace larkfold {

// `volume` is the device number, `file` the inode number. An inode alone says nothing: it repeats on every
// volume.
struct FileIdentity {
    std::uint64_t volume = 0;
    std::uint64_t file = 0;

    // The identity of the item at `path` itself (a link is not followed); nothing where it cannot be read.
    static std::optional<FileIdentity> of(const std::string& path);

    bool operator==(const FileIdentity&) const = default;
};

}  // namespace larkfold

template <>
struct std::hash<larkfold::FileIdentity> {
    std::size_t operator()(const larkfold::FileIdentity& identity) const noexcept {
        // Inode numbers run in sequence: spread them, and fold the device in.
        return static_cast<std::size_t>((identity.file ^ (identity.volume << 48)) * 0x9E3779B97F4A7C15ull);
    }
};
