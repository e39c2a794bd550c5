#include "platform/linux/watch/WatchedFolders.h"

#include <algorithm>

namespace larkfold {

WatchedFolders::Index WatchedFolders::add(Index parent, std::string_view name, int watch,
                                          const FileIdentity& identity, const SpecialPlace* place) {
    Index folder;
    if (free_.empty()) {
        folder = static_cast<Index>(folders_.size());
        folders_.emplace_back();
    } else {
        folder = free_.back();
        free_.pop_back();
    }
    folders_[folder] = {.watch = watch, .place = place, .identity = identity, .name = std::string(name)};
    byWatch_.emplace(watch, folder);
    attach(folder, parent);
    return folder;
}

void WatchedFolders::move(Index folder, Index parent, std::string_view name, const SpecialPlace* place) {
    detach(folder);
    folders_[folder].name = name;
    folders_[folder].place = place;
    attach(folder, parent);
}

void WatchedFolders::remove(Index folder, const std::function<void(int)>& removed) {
    detach(folder);
    std::vector<Index> pending{folder};
    while (!pending.empty()) {
        const Index at = pending.back();
        pending.pop_back();
        for (Index child = folders_[at].firstChild; child != none; child = folders_[child].next) {
            byKey_.erase(child);
            pending.push_back(child);
        }
        const int watch = folders_[at].watch;
        byWatch_.erase(watch);
        folders_[at] = {};
        free_.push_back(at);
        removed(watch);
    }
    if (byWatch_.empty()) {
        clear();
    }
}

void WatchedFolders::clear() {
    byKey_.clear();
    byWatch_.clear();
    folders_.clear();
    free_.clear();
}

WatchedFolders::Index WatchedFolders::byWatch(int watch) const {
    const auto found = byWatch_.find(watch);
    return found == byWatch_.end() ? none : found->second;
}

WatchedFolders::Index WatchedFolders::child(Index parent, std::string_view name) const {
    const auto found = byKey_.find(EntryKey{parent, name});
    return found == byKey_.end() ? none : *found;
}

bool WatchedFolders::isAtOrBelow(Index folder, Index above) const {
    while (folder != none && folder != above) {
        folder = folders_[folder].parent;
    }
    return folder == above;
}

std::string WatchedFolders::relativePath(Index folder) const {
    std::vector<std::string_view> names;
    std::size_t length = 0;
    for (Index at = folder; folders_[at].parent != none; at = folders_[at].parent) {
        names.push_back(folders_[at].name);
        length += folders_[at].name.size() + 1;
    }
    std::string path;
    path.reserve(length);
    for (auto name = names.rbegin(); name != names.rend(); ++name) {
        path.append(path.empty() ? "" : "/").append(*name);
    }
    return path;
}

void WatchedFolders::attach(Index folder, Index parent) {
    Folder& added = folders_[folder];
    added.parent = parent;
    added.previous = none;
    added.next = none;
    if (parent == none) {
        return;
    }
    added.next = folders_[parent].firstChild;
    if (added.next != none) {
        folders_[added.next].previous = folder;
    }
    folders_[parent].firstChild = folder;
    byKey_.insert(folder);
}

void WatchedFolders::detach(Index folder) {
    const Folder& leaving = folders_[folder];
    if (leaving.parent == none) {
        return;
    }
    byKey_.erase(folder);
    if (leaving.previous != none) {
        folders_[leaving.previous].next = leaving.next;
    } else {
        folders_[leaving.parent].firstChild = leaving.next;
    }
    if (leaving.next != none) {
        folders_[leaving.next].previous = leaving.previous;
    }
}

}  // namespace larkfold
