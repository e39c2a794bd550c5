// One node of the tree of a scanned folder: a directory, a file, or an aggregate, a summary leaf that stands for many
// files and has no item of its own on disk. No feature may select, remove, hash or list an aggregate as a file.
//
// A parent owns its children; a child knows its parent only as long as that lives. Nodes are compared by `id`. A tree is
// built by one engine and then handed over whole; from then on only the main thread reads or changes it. There is no
// lock.
//
// The tree of a whole disk has hundreds of thousands of nodes, so a node is kept small (see the benchmark of the tree's
// memory): a name is stored once, and a path is built from the chain of parents when it is asked for. Only a node
// without a parent stores its path. A node that loses its parent makes its path its own first.
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
#include "platform/UUID.h"

namespace larkfold {

class FileNode : public std::enable_shared_from_this<FileNode> {
    struct Private {};  // construction goes through the factories below

public:
    using Pointer = std::shared_ptr<FileNode>;

    // Who made a summary; it chooses the words of its name.
    enum class SummaryOrigin : std::uint8_t { scan, index };

    // A directory with a path of its own, the root of a tree. `name` is its display name.
    static Pointer makeRoot(std::string_view path, std::string_view name);
    // A directory below another; its path follows from the parent it is appended to.
    static Pointer makeDirectory(std::string_view name, std::int64_t size = 0);
    static Pointer makeFile(std::string_view name, std::int64_t size, std::int64_t logicalSize,
                            std::optional<Date> modifiedAt);
    // A file with a path of its own, not (yet) in any tree.
    static Pointer makeDetachedFile(std::string_view path, std::int64_t size, std::int64_t logicalSize,
                                    std::optional<Date> modifiedAt);
    // "Other scanned files ({count})" or "Other indexed files ({count})": `size` bytes in `representedFileCount` files.
    static Pointer makeAggregate(SummaryOrigin origin, std::int64_t size, std::int64_t representedFileCount);

    FileNode(Private, std::string_view name);
    ~FileNode();
    FileNode(const FileNode&) = delete;
    FileNode& operator=(const FileNode&) = delete;

    const UUID& id() const { return id_; }
    // The path of the item, bytes; of an aggregate, that of the folder whose files it stands for.
    std::string url() const;
    // The display name, bytes. For all but roots the last path component.
    std::string_view name() const { return {name_.get(), nameLength_}; }
    bool isDirectory() const { return kind_ == Kind::directory; }
    bool isAggregate() const { return kind_ == Kind::aggregate; }
    // Bytes on disk; of a directory the sum over its children.
    std::int64_t size() const { return size_; }
    void setSize(std::int64_t bytes) { size_ = bytes; }
    // Bytes of content; 0 for a directory.
    std::int64_t logicalSize() const { return logicalSize_; }
    // Nothing for directories and aggregates, and where it is unknown.
    std::optional<Date> modifiedAt() const;
    // 1 for a file, 0 for a directory, the number of summarised files for an aggregate.
    std::int64_t representedFileCount() const;
    const std::vector<Pointer>& children() const { return children_; }
    // The parent, or null at the root of a tree.
    Pointer parent() const;

    bool isExpanded() const { return isExpanded_; }
    void setExpanded(bool expanded) { isExpanded_ = expanded; }
    bool isSelected() const { return isSelected_; }
    void setSelected(bool selected) { isSelected_ = selected; }

    // Appends a node without a parent and becomes its parent. Changes no size.
    void appendChild(Pointer child);
    // Tells that no more children come: gives back what the list holds in reserve.
    void finishChildren() { children_.shrink_to_fit(); }
    // Replaces all children; those dropped make their paths their own first where somebody still holds them.
    void replaceChildren(std::vector<Pointer> children);
    // Takes all children out of this node, each with no parent and a path of its own.
    std::vector<Pointer> takeChildren();

    // Sums a directory's size over its whole subtree, bottom up, and returns it. Any other node returns its size.
    std::int64_t recalculateSize();
    // Orders the children by size, larger first, ties as they stood, in the whole subtree.
    void sortChildrenBySize();
    // The node of this subtree with that id, or null. Depth first, this node first.
    Pointer findNode(const UUID& id);
    // Removes every child with the id of `child`, then sums this node and each directory above it anew over their
    // direct children.
    void removeChild(const FileNode& child);
    // The real files of the subtree, depth first.
    std::vector<Pointer> allFileNodes();
    // Calls `visit` for each node of the subtree, depth first, parents before children, this node included.
    void forEachNode(const std::function<void(const FileNode&)>& visit) const;

    FileKind fileKind() const;
    bool matches(const FileListFilter& filter, Date now) const;

    bool operator==(const FileNode& other) const { return id_ == other.id_; }

private:
    enum class Kind : std::uint8_t { file, directory, aggregate };

    void ownPath();  // before the parent is lost
    void orphan(Pointer child);

    UUID id_;
    std::unique_ptr<char[]> name_;
    std::unique_ptr<std::string> path_;  // only where there is no parent
    FileNode* parent_ = nullptr;         // cleared by the parent's end
    std::vector<Pointer> children_;
    std::int64_t size_ = 0;
    std::int64_t logicalSize_ = 0;  // of an aggregate: the number of files (its logical size is its size)
    double modifiedAt_;             // not a number: unknown
    std::uint32_t nameLength_ = 0;
    Kind kind_ = Kind::file;
    bool isExpanded_ = false;
    bool isSelected_ = false;
};

}  // namespace larkfold
