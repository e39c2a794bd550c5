// The folders that a watch covers, as a tree: found by the number of their watch, which is what an event
// tells, and by their place, which is what has to be told. Linux part of the platform layer only. One thread.
//
// A folder is named by an index that stays the same as long as it is in the tree. Moving one costs nothing
// for what lies below it: paths are made of the names on the way up when they are asked for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/FileIdentity.h"
#include "platform/linux/walk/SpecialPlace.h"

namespace larkfold {

class WatchedFolders {
public:
    using Index = std::uint32_t;
    static constexpr Index none = UINT32_MAX;

    WatchedFolders() = default;
    // The hash of a place looks into the tree it belongs to.
    WatchedFolders(const WatchedFolders&) = delete;
    WatchedFolders& operator=(const WatchedFolders&) = delete;

    // Puts a folder at a free key. The first one is the root: `parent` is none.
    Index add(Index parent, std::string_view name, int watch, const FileIdentity& identity,
              const SpecialPlace* place);
    // Takes a folder to another, free place, with all that lies below it.
    void move(Index folder, Index parent, std::string_view name, const SpecialPlace* place);
    // Takes a folder out with all that lies below it, and tells the watch of each.
    void remove(Index folder, const std::function<void(int watch)>& removed);
    void clear();

    Index root() const { return folders_.empty() ? none : 0; }
    Index byWatch(int watch) const;
    Index child(Index parent, std::string_view name) const;
    Index parent(Index folder) const { return folders_[folder].parent; }
    int watch(Index folder) const { return folders_[folder].watch; }
    const FileIdentity& identity(Index folder) const { return folders_[folder].identity; }
    std::string_view name(Index folder) const { return folders_[folder].name; }
    const SpecialPlace* place(Index folder) const { return folders_[folder].place; }
    void setPlace(Index folder, const SpecialPlace* place) { folders_[folder].place = place; }

    // Whether `folder` is `above` or lies below it.
    bool isAtOrBelow(Index folder, Index above) const;
    // Names parted by "/"; empty for the root.
    std::string relativePath(Index folder) const;
    std::size_t size() const { return byWatch_.size(); }

private:
    struct Folder {
        int watch = -1;
        Index parent = none;
        Index firstChild = none;
        Index next = none;  // among the children of its parent, in no order
        Index previous = none;
        const SpecialPlace* place = nullptr;  // where something below it needs care
        FileIdentity identity;
        std::string name;
    };
    struct EntryKey {
        Index parent;
        std::string_view name;
    };
    struct PlaceHash {
        using is_transparent = void;
        const WatchedFolders* owner;
        std::size_t operator()(const EntryKey& key) const noexcept {
            return std::hash<std::string_view>()(key.name) ^ (key.parent * 0x9E3779B97F4A7C15ULL);
        }
        std::size_t operator()(Index folder) const noexcept { return (*this)(owner->keyOf(folder)); }
    };
    struct PlaceEqual {
        using is_transparent = void;
        const WatchedFolders* owner;
        bool operator()(Index left, Index right) const noexcept { return left == right; }
        bool operator()(const EntryKey& key, Index folder) const noexcept {
            const Folder& other = owner->folders_[folder];
            return other.parent == key.parent && other.name == key.name;
        }
        bool operator()(Index folder, const EntryKey& key) const noexcept { return (*this)(key, folder); }
    };

    EntryKey keyOf(Index folder) const { return {folders_[folder].parent, folders_[folder].name}; }
    void attach(Index folder, Index parent);
    void detach(Index folder);

    std::vector<Folder> folders_;
    std::vector<Index> free_;
    std::unordered_map<int, Index> byWatch_;
    std::unordered_set<Index, PlaceHash, PlaceEqual> byKey_{16, PlaceHash{this}, PlaceEqual{this}};
};

}  // namespace larkfold
