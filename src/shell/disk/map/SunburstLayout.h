// The arcs of the map: which node lies where, for drawing and for the pointer.
//
// The current folder is the innermost ring, a full circle; its children follow in order of size,
// largest first, each with an angle in proportion to its size, down to five rings. Of a folder's
// children those of more than half a degree become arcs; the others leave an empty gap of their own
// width, in which the pointer still finds them.
//
// A layout is made from a tree as it stands and keeps the nodes that it has seen alive. It does not notice
// when the tree changes: make a new one then. Until that is done it answers from the old sizes, or with
// nothing, and never with a node that is gone. Main thread only, as the tree.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "disk/FileNode.h"
#include "shell/disk/map/SunburstGeometry.h"

namespace larkfold {

class SunburstLayout {
public:
    // Arcs of this many degrees or less are not drawn.
    static constexpr double narrowestAngle = 0.5;

    struct Arc {
        FileNode::Pointer node;
        double start = 0;  // degrees
        double end = 0;
        int depth = 0;           // the ring
        std::size_t colour = 0;  // index into the palette
        std::size_t parent = 0;  // index of the arc around which this one lies; of the first arc: 0
        bool isFullCircle() const { return end - start >= 360; }
    };

    // A map of nothing.
    SunburstLayout() = default;
    // Costs one pass over the children of each drawn folder, and a sort where those are not in order.
    explicit SunburstLayout(FileNode::Pointer root);

    const FileNode::Pointer& root() const { return root_; }
    // In drawing order: a folder before its children, siblings clockwise. Empty where the root has no size.
    const std::vector<Arc>& arcs() const { return arcs_; }
    // The arc of a node, nothing where it is not drawn.
    std::optional<std::size_t> arcOf(const FileNode& node) const;

    // The node at an angle of a ring, or null. Also finds nodes too narrow to be drawn. A search by halves in
    // each ring on the way; the first visit to a folder that is not drawn passes once over its children.
    FileNode::Pointer nodeAt(int ring, double angle) const;
    // The node under a point, or null. The disc is the root.
    FileNode::Pointer hitTest(const SunburstGeometry& geometry, double x, double y) const;

    // The first children of a node in the order of drawing, those without size included.
    static std::vector<FileNode::Pointer> firstChildren(const FileNode& node, std::size_t limit);

private:
    // What the pointer needs to know of a folder: where its children begin and end.
    struct Folder {
        FileNode::Pointer node;
        // bounds[i] to bounds[i + 1] is the i-th child in order; the sums are those of
        // the drawing, to the last bit.
        std::vector<double> bounds;
        std::vector<std::uint32_t> order;  // empty where the children stand in order
        std::vector<std::uint32_t>
            largeFolders;  // positions in order of children that have many of their own
        std::size_t childCount = 0;
    };

    static std::vector<std::uint32_t> orderOf(const std::vector<FileNode::Pointer>& children);
    Folder& resolve(const FileNode::Pointer& node, double start, double end) const;
    static bool addBounds(Folder& folder, double start, double end);  // false: the children are not in order
    static const FileNode::Pointer& childInOrder(const Folder& folder, std::size_t position);
    static FileNode::Pointer childAt(const Folder& folder, std::size_t position);
    void place(const FileNode::Pointer& node, int depth, std::size_t colour, double start, double end,
               std::size_t parent);

    FileNode::Pointer root_;
    std::vector<Arc> arcs_;
    std::unordered_map<const FileNode*, std::size_t> arcOfNode_;
    // Filled by the pointer's visits; the addresses are kept valid by the pointers inside.
    mutable std::unordered_map<const FileNode*, std::unique_ptr<Folder>> folders_;
};

}  // namespace larkfold
