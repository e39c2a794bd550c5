#include "disk/RemovalMarks.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace larkfold {

void RemovalMarks::begin(const FileNode::Pointer& root) {
    root_ = root.get();
    clear();
}

void RemovalMarks::clear() {
    ids_.clear();
    marked_.clear();
    below_.clear();
}

RemovalMarks::Sum RemovalMarks::below(const FileNode& node) const {
    const auto found = below_.find(&node);
    return found == below_.end() ? Sum() : found->second;
}

void RemovalMarks::addAbove(const FileNode& node, const Sum& change) {
    for (FileNode::Pointer folder = node.parent(); folder; folder = folder->parent()) {
        Sum& sum = below_[folder.get()];
        sum.items += change.items;
        sum.bytes += change.bytes;
        if (marked_.contains(folder->id())) {
            return;
        }
    }
}

bool RemovalMarks::insert(const FileNode::Pointer& node) {
    const std::int64_t size = node->size();
    if (!marked_.try_emplace(node->id(), Mark{.node = node, .size = size}).second) {
        return false;
    }
    ids_.insert(node->id());
    const Sum covered = below(*node);
    addAbove(*node, {.items = 1 - covered.items, .bytes = static_cast<std::uint64_t>(size) - covered.bytes});
    return true;
}

bool RemovalMarks::erase(const UUID& id) {
    const auto found = marked_.find(id);
    if (found == marked_.end()) {
        return false;
    }
    const Mark mark = found->second;
    marked_.erase(found);
    ids_.erase(id);
    if (const FileNode::Pointer node = mark.node.lock()) {
        const Sum uncovered = below(*node);
        addAbove(*node, {.items = uncovered.items - 1,
                         .bytes = uncovered.bytes - static_cast<std::uint64_t>(mark.size)});
    }
    return true;
}

void RemovalMarks::recount() {
    const std::vector<FileNode::Pointer> all = nodes();
    clear();
    for (const FileNode::Pointer& node : all) {
        insert(node);
    }
}

RemovalMarks::Totals RemovalMarks::totals() const {
    if (root_ == nullptr) {
        return {};
    }
    const Sum sum = below(*root_);
    return {.items = static_cast<int>(std::min<std::int64_t>(sum.items, std::numeric_limits<int>::max())),
            .bytes = static_cast<std::int64_t>(sum.bytes)};
}

std::vector<FileNode::Pointer> RemovalMarks::nodes() const {
    std::vector<FileNode::Pointer> nodes;
    nodes.reserve(marked_.size());
    for (const auto& [id, mark] : marked_) {
        if (FileNode::Pointer node = mark.node.lock()) {
            nodes.push_back(std::move(node));
        }
    }
    return nodes;
}

bool RemovalMarks::isInTree(const FileNode& node) const {
    if (&node == root_) {
        return true;
    }
    FileNode::Pointer above = node.parent();
    while (above && above.get() != root_) {
        above = above->parent();
    }
    return above != nullptr;
}

}  // namespace larkfold
