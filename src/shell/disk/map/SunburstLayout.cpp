#include "shell/disk/map/SunburstLayout.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <utility>

namespace larkfold {

namespace {

// A folder that is not drawn is normally looked through at the pointer's first visit. One with more children
// than this is looked through with the layout, so that no pointer move has to wait for it.
constexpr std::size_t manyChildren = 1'000;

bool hasContent(const FileNode& node) {
    return node.isDirectory() && node.size() > 0 && !node.children().empty();
}

}  // namespace

SunburstLayout::SunburstLayout(FileNode::Pointer root) : root_(std::move(root)) {
    if (root_) {
        place(root_, 0, 0, 0.0, 360.0, 0);
        arcOfNode_.reserve(arcs_.size());
        for (std::size_t i = 0; i < arcs_.size(); ++i) {
            arcOfNode_.emplace(arcs_[i].node.get(), i);
        }
    }
}

std::optional<std::size_t> SunburstLayout::arcOf(const FileNode& node) const {
    const auto found = arcOfNode_.find(&node);
    return found == arcOfNode_.end() ? std::nullopt : std::optional(found->second);
}

// Five levels at most, so it may call itself.
void SunburstLayout::place(const FileNode::Pointer& node, int depth, std::size_t colour, double start,
                           double end, std::size_t parent) {
    if (depth >= SunburstGeometry::ringCount || node->size() <= 0) {
        return;
    }
    const std::size_t arc = arcs_.size();
    arcs_.push_back(
        {.node = node, .start = start, .end = end, .depth = depth, .colour = colour, .parent = parent});
    if (depth + 1 >= SunburstGeometry::ringCount || !hasContent(*node)) {
        return;
    }
    const Folder& folder = resolve(node, start, end);
    const double size = static_cast<double>(node->size());
    for (std::size_t i = 0; i + 1 < folder.bounds.size(); ++i) {
        const FileNode::Pointer& child = childInOrder(folder, i);
        // The angle as it was added, not the difference of the sums, which is rounded.
        if (static_cast<double>(child->size()) / size * (end - start) <= narrowestAngle) {
            break;  // largest first: nothing but narrow ones follows
        }
        place(child, depth + 1, colour + i, folder.bounds[i], folder.bounds[i + 1], arc);
    }
    if (depth + 2 < SunburstGeometry::ringCount) {
        for (const std::uint32_t i : folder.largeFolders) {
            resolve(childInOrder(folder, i), folder.bounds[i], folder.bounds[i + 1]);
        }
    }
}

std::vector<std::uint32_t> SunburstLayout::orderOf(const std::vector<FileNode::Pointer>& children) {
    std::vector<std::uint32_t> order(children.size());
    std::iota(order.begin(), order.end(), 0u);
    std::stable_sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
        return children[a]->size() > children[b]->size();
    });
    return order;
}

const FileNode::Pointer& SunburstLayout::childInOrder(const Folder& folder, std::size_t position) {
    return folder.node->children()[folder.order.empty() ? position : folder.order[position]];
}

SunburstLayout::Folder& SunburstLayout::resolve(const FileNode::Pointer& node, double start,
                                                double end) const {
    std::unique_ptr<Folder>& slot = folders_[node.get()];
    if (slot) {
        return *slot;
    }
    slot = std::make_unique<Folder>();
    Folder& folder = *slot;
    folder.node = node;
    folder.childCount = node->children().size();
    // Nearly every tree is in order already: one pass both finds that out and adds up.
    if (!addBounds(folder, start, end)) {
        folder.order = orderOf(node->children());
        addBounds(folder, start, end);
    }
    return folder;
}

bool SunburstLayout::addBounds(Folder& folder, double start, double end) {
    const double size = static_cast<double>(folder.node->size());
    const double span = end - start;
    folder.bounds.clear();
    folder.bounds.reserve(folder.childCount + 1);
    folder.bounds.push_back(start);
    folder.largeFolders.clear();
    double running = start;
    std::int64_t previous = std::numeric_limits<std::int64_t>::max();
    for (std::size_t i = 0; i < folder.childCount; ++i) {
        const FileNode& child = *childInOrder(folder, i);
        if (child.size() > previous) {
            return false;
        }
        previous = child.size();
        if (child.size() <= 0) {
            continue;  // takes no angle
        }
        running += static_cast<double>(child.size()) / size * span;
        folder.bounds.push_back(running);
        if (child.children().size() >= manyChildren && hasContent(child)) {
            folder.largeFolders.push_back(static_cast<std::uint32_t>(i));
        }
    }
    return true;
}

FileNode::Pointer SunburstLayout::childAt(const Folder& folder, std::size_t position) {
    if (folder.node->children().size() != folder.childCount) {
        return nullptr;  // the tree has changed since
    }
    return childInOrder(folder, position);
}

FileNode::Pointer SunburstLayout::nodeAt(int ring, double angle) const {
    if (!root_ || ring < 0 || ring >= SunburstGeometry::ringCount) {
        return nullptr;
    }
    FileNode::Pointer node = root_;
    double start = 0.0;
    double end = 360.0;
    for (int depth = 0; depth < ring; ++depth) {
        if (!hasContent(*node)) {
            return nullptr;
        }
        const Folder& folder = resolve(node, start, end);
        // The bounds never fall, so the first one beyond the angle ends the only child that can hold it.
        const auto beyond = std::upper_bound(folder.bounds.begin(), folder.bounds.end(), angle);
        if (beyond == folder.bounds.begin() || beyond == folder.bounds.end()) {
            return nullptr;
        }
        start = *(beyond - 1);
        end = *beyond;
        node = childAt(folder, static_cast<std::size_t>(beyond - folder.bounds.begin()) - 1);
        if (!node) {
            return nullptr;
        }
    }
    return start <= angle && end > angle ? node : nullptr;
}

FileNode::Pointer SunburstLayout::hitTest(const SunburstGeometry& geometry, double x, double y) const {
    const SunburstGeometry::PolarPosition position = geometry.positionOf(x, y);
    return position.ring < 0 ? root_ : nodeAt(position.ring, position.angle);
}

std::vector<FileNode::Pointer> SunburstLayout::firstChildren(const FileNode& node, std::size_t limit) {
    const std::vector<FileNode::Pointer>& children = node.children();
    const bool inOrder = std::is_sorted(children.begin(), children.end(),
                                        [](const auto& a, const auto& b) { return a->size() > b->size(); });
    const std::vector<std::uint32_t> order = inOrder ? std::vector<std::uint32_t>() : orderOf(children);
    std::vector<FileNode::Pointer> first;
    for (std::size_t i = 0; i < std::min(limit, children.size()); ++i) {
        first.push_back(children[inOrder ? i : order[i]]);
    }
    return first;
}

}  // namespace larkfold
