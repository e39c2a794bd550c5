// One node of the tree of a scanned folder: a directory, a file, or an aggregate, a summary leaf that
// stands for many files and has no item of its own on disk. No feature may select, remove, hash or
// list an aggregate as a file.
//
// A parent owns its children; a child knows its parent only as long as that lives. Nodes are compared by
// `id`. A tree is built by one engine and then handed over whole; from then on only the main thread reads or
// changes it. There is no lock.
//
// The tree of a whole disk has hundreds of thousands of nodes, so a node is kept small (see the benchmark of
// the tree's memory): a name is stored once, and a path is built from the chain of parents when it is asked
// for. A node that loses its parent makes its path its own first, and gives it back when it is put where the
// chain says the same. So the path of a node that is part of a rooted tree never changes.
//
// No operation recurses: trees may be a hundred thousand levels deep, and that includes their destruction.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "disk/FileKind.h"
#include "disk/FileListFilter.h"
#include "platform/Date.h"
#include "platform/SaturatingSum.h"
#include "platform/UUID.h"

namespace larkfold {

class FileNode : public std::enable_shared_from_this<FileNode> {
    struct Private {};  // construction goes through the factories below
    enum class Kind : std::uint8_t { file, directory, aggregate };

public:
    using Pointer = std::shared_ptr<FileNode>;

    // Who made a summary; it chooses the words of its name.
    enum class SummaryOrigin : std::uint8_t { scan, index };

    // A directory with a path of its own, the root of a tree. `name` is its display name.
    static Pointer makeRoot(std::string_view path, std::string_view name);
    // A directory below another; its path follows from the parent it is appended to.
    static Pointer makeDirectory(std::string_view name, std::int64_t size = 0);
    // A file below a directory; its path follows from the parent it is appended to.
    static Pointer makeFile(std::string_view name, std::int64_t size, std::int64_t logicalSize,
                            std::optional<Date> modifiedAt);
    // A file with a path of its own, not (yet) in any tree. The name is the path's last component.
    static Pointer makeDetachedFile(std::string_view path, std::int64_t size, std::int64_t logicalSize,
                                    std::optional<Date> modifiedAt);
    // The same with a name that need not be the path's last component.
    static Pointer makeDetachedFile(std::string_view path, std::string_view name, std::int64_t size,
                                    std::int64_t logicalSize, std::optional<Date> modifiedAt);
    // "Other scanned files ({count})" or "Other indexed files ({count})": `size` bytes in
    // `representedFileCount` files.
    static Pointer makeAggregate(SummaryOrigin origin, std::int64_t size, std::int64_t representedFileCount);

    FileNode(Private, Kind kind, std::string_view name);
    ~FileNode();
    FileNode(const FileNode&) = delete;
    FileNode& operator=(const FileNode&) = delete;

    const UUID& id() const { return id_; }
    // The path of the item, bytes; of an aggregate, that of the folder whose files it
    // stands for. Built at each call.
    std::string url() const;
    // The display name, bytes. For all but roots the last path component. Valid as long as the node.
    std::string_view name() const { return {name_.get(), nameLength_}; }
    bool isDirectory() const { return kind_ == Kind::directory; }
    bool isAggregate() const { return kind_ == Kind::aggregate; }
    // Bytes on disk; of a directory the sum over its children.
    std::int64_t size() const { return size_; }
    void setSize(std::int64_t bytes) { size_ = bytes; }
    // Bytes of content; 0 for a directory, the size for an aggregate.
    std::int64_t logicalSize() const;
    // Nothing for directories and aggregates, and where it is unknown.
    std::optional<Date> modifiedAt() const;
    // 1 for a file, 0 for a directory, the number of summarised files for an aggregate.
    std::int64_t representedFileCount() const;
    // Empty for all but directories.
    const std::vector<Pointer>& children() const;
    // The parent, or null at the root of a tree.
    Pointer parent() const;

    bool isExpanded() const { return isExpanded_; }
    void setExpanded(bool expanded) { isExpanded_ = expanded; }
    bool isSelected() const { return isSelected_; }
    void setSelected(bool selected) { isSelected_ = selected; }

    // Of directories only. Appends a node without a parent and becomes its parent. Changes no size. The node
    // must not be an ancestor of this one.
    void appendChild(Pointer child);
    // Tells that no more children come: gives back what the list holds in reserve.
    void finishChildren();
    // Replaces all children by nodes without a parent or by children of this very node; those dropped
    // make their paths their own first, so that whoever still holds one of them or of their
    // descendants can ask for it.
    void replaceChildren(std::vector<Pointer> children);
    // Takes all children out of this node, each with no parent and a path of its own.
    std::vector<Pointer> takeChildren();

    // Sums a directory's size over its whole subtree, bottom up, and returns it. Any
    // other node returns its size.
    std::int64_t recalculateSize();
    // Orders the children by size, larger first, ties as they stood, in the whole subtree.
    void sortChildrenBySize();
    // The node of this subtree with that id, or null. Depth first, this node first.
    Pointer findNode(const UUID& id);
    // Removes every child with the id of `child`, then sums this node and each directory above it anew over
    // their direct children. `child` may die by it.
    void removeChild(const FileNode& child);
    // Takes many nodes out of their parents, one pass over each parent's children; what has no parent stays
    // as it is. The sums above them are left to `recalculateSize`.
    static void removeFromParents(const std::vector<Pointer>& nodes);
    // The real files of the subtree, depth first.
    std::vector<Pointer> allFileNodes();
    // Calls `visit` for each node of the subtree, depth first, parents before children, this node included.
    // `visit` must not change the tree.
    void forEachNode(const std::function<void(const FileNode&)>& visit) const;

    // Whether there is a summary anywhere in the subtree. Looks no further than to the first one.
    bool holdsAggregate() const;

    // By the extension of the path (of an aggregate: of its folder's).
    FileKind fileKind() const;
    // The last component of `url()`, without building the path. Valid as long as this
    // node and its parent stand.
    std::string_view urlName() const;
    // Whether the filter lets this node through. For many nodes make one FileListMatcher instead.
    bool matches(const FileListFilter& filter, Date now) const;

    bool operator==(const FileNode& other) const { return id_ == other.id_; }

private:
    // Where a node cannot lean on the chain of parents for its path.
    struct OwnPath {
        FileNode* parent;
        std::string path;
    };
    struct LeafValues {
        std::int64_t logicalSize;  // of an aggregate: the number of files
        double modifiedAt;         // not a number: unknown
    };

    FileNode* parentNode() const { return hasOwnPath_ ? place_.own->parent : place_.parent; }
    void setParentNode(FileNode* parent);
    void setOwnPath(std::string path);
    void adopt(FileNode& child, std::optional<std::string>& ownURL);
    static void orphan(FileNode& child, const std::string& parentURL);
    std::string urlBelow(const std::string& parentURL) const;
    void releaseSubtree();
    std::int64_t sumOfChildren() const;
    std::vector<FileNode*> directoriesOfSubtree();

    template <typename Visit>
    static void walk(const FileNode& start, Visit visit);

    UUID id_;
    std::unique_ptr<char[]> name_;
    union {
        FileNode* parent;  // cleared by the parent's end
        OwnPath* own;      // where `hasOwnPath_`
    } place_;
    union {
        std::vector<Pointer> children_;  // of a directory
        LeafValues leaf_;                // of all else
    };
    std::int64_t size_ = 0;
    std::uint32_t nameLength_;
    Kind kind_;
    bool hasOwnPath_ = false;
    bool isExpanded_ = false;
    bool isSelected_ = false;
};

}  // namespace larkfold
