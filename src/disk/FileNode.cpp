#include "disk/FileNode.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>
#include <limits>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "platform/Collation.h"
#include "platform/Path.h"

namespace larkfold {

namespace {

// What joins a folder's path to a name: nothing where the folder is "/".
std::string_view withoutFinalSlash(std::string_view path) {
    return path.ends_with('/') ? path.substr(0, path.size() - 1) : path;
}

}  // namespace

// Construction

FileNode::FileNode(Private, Kind kind, std::string_view name)
    : id_(UUID::make()), nameLength_(static_cast<std::uint32_t>(name.size())), kind_(kind) {
    if (!name.empty()) {
        name_ = std::make_unique_for_overwrite<char[]>(name.size());
        std::memcpy(name_.get(), name.data(), name.size());
    }
    place_.parent = nullptr;
    if (kind == Kind::directory) {
        std::construct_at(&children_);
    } else {
        std::construct_at(&leaf_, 0, std::numeric_limits<double>::quiet_NaN());
    }
}

FileNode::~FileNode() {
    if (kind_ == Kind::directory) {
        releaseSubtree();
        std::destroy_at(&children_);
    }
    if (hasOwnPath_) {
        delete place_.own;
    }
}

FileNode::Pointer FileNode::makeRoot(std::string_view path, std::string_view name) {
    auto node = std::make_shared<FileNode>(Private{}, Kind::directory, name);
    node->setOwnPath(std::string(path));
    return node;
}

FileNode::Pointer FileNode::makeDirectory(std::string_view name, std::int64_t size) {
    auto node = std::make_shared<FileNode>(Private{}, Kind::directory, name);
    node->size_ = size;
    return node;
}

FileNode::Pointer FileNode::makeFile(std::string_view name, std::int64_t size, std::int64_t logicalSize,
                                     std::optional<Date> modifiedAt) {
    auto node = std::make_shared<FileNode>(Private{}, Kind::file, name);
    node->size_ = size;
    node->leaf_.logicalSize = logicalSize;
    if (modifiedAt) {
        node->leaf_.modifiedAt = secondsSince1970(*modifiedAt);
    }
    return node;
}

FileNode::Pointer FileNode::makeDetachedFile(std::string_view path, std::int64_t size,
                                             std::int64_t logicalSize, std::optional<Date> modifiedAt) {
    return makeDetachedFile(path, lastPathComponent(path), size, logicalSize, modifiedAt);
}

FileNode::Pointer FileNode::makeDetachedFile(std::string_view path, std::string_view name, std::int64_t size,
                                             std::int64_t logicalSize, std::optional<Date> modifiedAt) {
    auto node = makeFile(name, size, logicalSize, modifiedAt);
    node->setOwnPath(std::string(path));
    return node;
}

FileNode::Pointer FileNode::makeAggregate(SummaryOrigin origin, std::int64_t size,
                                          std::int64_t representedFileCount) {
    std::string name = origin == SummaryOrigin::scan ? "Other scanned files (" : "Other indexed files (";
    name += groupedCount(representedFileCount);
    name += ')';
    auto node = std::make_shared<FileNode>(Private{}, Kind::aggregate, name);
    node->size_ = size;
    node->leaf_.logicalSize = representedFileCount;
    return node;
}

// Values

std::int64_t FileNode::logicalSize() const {
    switch (kind_) {
        case Kind::file:
            return leaf_.logicalSize;
        case Kind::aggregate:
            return size_;
        case Kind::directory:
            break;
    }
    return 0;
}

std::optional<Date> FileNode::modifiedAt() const {
    if (kind_ != Kind::file || std::isnan(leaf_.modifiedAt)) {
        return std::nullopt;
    }
    return dateFromSecondsSince1970(leaf_.modifiedAt);
}

std::int64_t FileNode::representedFileCount() const {
    switch (kind_) {
        case Kind::file:
            return 1;
        case Kind::aggregate:
            return leaf_.logicalSize;
        case Kind::directory:
            break;
    }
    return 0;
}

const std::vector<FileNode::Pointer>& FileNode::children() const {
    static const std::vector<Pointer> none;
    return kind_ == Kind::directory ? children_ : none;
}

FileNode::Pointer FileNode::parent() const {
    const FileNode* const node = parentNode();
    return node == nullptr ? nullptr : std::const_pointer_cast<FileNode>(node->weak_from_this().lock());
}

// Paths

std::string FileNode::url() const {
    const FileNode* const start = kind_ == Kind::aggregate && !hasOwnPath_ ? place_.parent : this;
    // Up to the next node that knows its path, adding the lengths; then down again, written from the end.
    std::size_t length = 0;
    const FileNode* node = start;
    while (node != nullptr && !node->hasOwnPath_) {
        length += 1 + node->nameLength_;
        node = node->place_.parent;
    }
    if (length == 0) {
        return node == nullptr ? std::string() : node->place_.own->path;
    }
    const std::string_view base =
        node == nullptr ? std::string_view() : withoutFinalSlash(node->place_.own->path);
    std::string path(base.size() + length, '/');
    base.copy(path.data(), base.size());
    std::size_t end = path.size();
    for (const FileNode* part = start; part != node; part = part->place_.parent) {
        end -= part->nameLength_;
        part->name().copy(path.data() + end, part->nameLength_);
        end -= 1;  // the "/" stands there already
    }
    if (node == nullptr) {
        path.erase(0, 1);  // a chain without a root: the names alone
    }
    return path;
}

std::string_view FileNode::urlName() const {
    const FileNode* const node = kind_ == Kind::aggregate && !hasOwnPath_ ? place_.parent : this;
    if (node == nullptr) {
        return {};
    }
    return node->hasOwnPath_ ? lastPathComponent(node->place_.own->path) : node->name();
}

void FileNode::setParentNode(FileNode* parent) {
    if (hasOwnPath_) {
        place_.own->parent = parent;
    } else {
        place_.parent = parent;
    }
}

void FileNode::setOwnPath(std::string path) {
    assert(!hasOwnPath_);
    place_.own = new OwnPath{place_.parent, std::move(path)};
    hasOwnPath_ = true;
}

// The path that follows from a parent's path and this node's name.
std::string FileNode::urlBelow(const std::string& parentURL) const {
    return kind_ == Kind::aggregate ? parentURL : joinedPath(parentURL, name());
}

// Becomes the parent of `child`, which gives up its own path where the chain of parents now tells the same.
// `ownURL` is this node's path once it has been asked for.
void FileNode::adopt(FileNode& child, std::optional<std::string>& ownURL) {
    assert(child.parentNode() == nullptr && &child != this);
    if (child.hasOwnPath_) {
        if (!ownURL) {
            ownURL = url();
        }
        if (child.place_.own->path == child.urlBelow(*ownURL)) {
            delete child.place_.own;
            child.place_.parent = nullptr;
            child.hasOwnPath_ = false;
        }
    }
    child.setParentNode(this);
}

// Takes the parent from a child, which keeps its path.
void FileNode::orphan(FileNode& child, const std::string& parentURL) {
    if (!child.hasOwnPath_) {
        child.setOwnPath(child.urlBelow(parentURL));
    }
    child.setParentNode(nullptr);
}

// Children

void FileNode::appendChild(Pointer child) {
    assert(kind_ == Kind::directory && child != nullptr);
    std::optional<std::string> ownURL;
    children_.push_back(std::move(child));
    adopt(*children_.back(), ownURL);
}

void FileNode::finishChildren() {
    if (kind_ == Kind::directory) {
        children_.shrink_to_fit();
    }
}

void FileNode::replaceChildren(std::vector<Pointer> children) {
    assert(kind_ == Kind::directory);
    const std::vector<Pointer> dropped = takeChildren();
    children_ = std::move(children);
    std::optional<std::string> ownURL;
    for (const Pointer& child : children_) {
        adopt(*child, ownURL);
    }
}

std::vector<FileNode::Pointer> FileNode::takeChildren() {
    if (kind_ != Kind::directory) {
        return {};
    }
    std::vector<Pointer> taken = std::exchange(children_, {});
    if (!taken.empty()) {
        const std::string ownURL = url();
        for (const Pointer& child : taken) {
            orphan(*child, ownURL);
        }
    }
    return taken;
}

void FileNode::removeChild(const FileNode& child) {
    const UUID id = child.id_;  // `child` may be gone below
    if (kind_ == Kind::directory) {
        const auto kept = std::stable_partition(children_.begin(), children_.end(),
                                                [&](const Pointer& each) { return each->id_ != id; });
        if (kept != children_.end()) {
            const std::vector<Pointer> removed(std::make_move_iterator(kept),
                                               std::make_move_iterator(children_.end()));
            children_.erase(kept, children_.end());
            const std::string ownURL = url();
            for (const Pointer& each : removed) {
                orphan(*each, ownURL);
            }
        }
    }
    for (FileNode* node = this; node != nullptr; node = node->parentNode()) {
        if (node->kind_ == Kind::directory) {
            node->size_ = node->sumOfChildren();
        }
    }
}

void FileNode::removeFromParents(const std::vector<Pointer>& nodes) {
    std::unordered_map<FileNode*, std::unordered_set<const FileNode*>> ofParent;
    for (const Pointer& node : nodes) {
        if (FileNode* parent = node->parentNode()) {
            ofParent[parent].insert(node.get());
        }
    }
    // The paths of all first: they are made of chains that the removals break.
    for (const Pointer& node : nodes) {
        if (node->parentNode() != nullptr && !node->hasOwnPath_) {
            node->setOwnPath(node->url());
        }
    }
    for (const auto& entry : ofParent) {
        std::erase_if(entry.first->children_,
                      [&](const Pointer& child) { return entry.second.contains(child.get()); });
    }
    for (const Pointer& node : nodes) {
        node->setParentNode(nullptr);
    }
}

// Lets the whole subtree below this node go without recursion and without memory of its own: goes down
// along the last children, whose parents thus live until their subtree is done, and back up through the
// parents. A child that somebody else holds survives with its own subtree, and takes its path along while
// the chain above it still stands.
void FileNode::releaseSubtree() {
    FileNode* node = this;
    while (true) {
        if (node->children_.empty()) {
            if (node == this) {
                return;
            }
            node = node->parentNode();
            node->children_.pop_back();  // the node just emptied
            continue;
        }
        const Pointer& child = node->children_.back();
        if (child.use_count() > 1) {
            if (!child->hasOwnPath_) {
                child->setOwnPath(child->url());
            }
            child->setParentNode(nullptr);
        } else if (child->kind_ == Kind::directory && !child->children_.empty()) {
            node = child.get();
            continue;
        }
        node->children_.pop_back();
    }
}

// The whole subtree

std::int64_t FileNode::sumOfChildren() const {
    std::int64_t sum = 0;
    for (const Pointer& child : children_) {
        sum = saturatingSum(sum, child->size_);
    }
    return sum;
}

// Every directory of the subtree, each behind its parent.
std::vector<FileNode*> FileNode::directoriesOfSubtree() {
    std::vector<FileNode*> directories;
    if (kind_ == Kind::directory) {
        directories.push_back(this);
    }
    for (std::size_t next = 0; next < directories.size(); ++next) {
        for (const Pointer& child : directories[next]->children_) {
            if (child->kind_ == Kind::directory) {
                directories.push_back(child.get());
            }
        }
    }
    return directories;
}

std::int64_t FileNode::recalculateSize() {
    const std::vector<FileNode*> directories = directoriesOfSubtree();
    for (auto each = directories.rbegin(); each != directories.rend(); ++each) {
        (*each)->size_ = (*each)->sumOfChildren();
    }
    return size_;
}

void FileNode::sortChildrenBySize() {
    const auto isLarger = [](const Pointer& left, const Pointer& right) {
        return left->size_ > right->size_;
    };
    for (FileNode* const directory : directoriesOfSubtree()) {
        std::vector<Pointer>& list = directory->children_;
        if (!std::is_sorted(list.begin(), list.end(), isLarger)) {
            std::stable_sort(list.begin(), list.end(), isLarger);
        }
    }
}

// Visits the subtree depth first, parents before children, children in order, until `visit` returns false.
template <typename Visit>
void FileNode::walk(const FileNode& start, Visit visit) {
    if (!visit(start) || start.kind_ != Kind::directory) {
        return;
    }
    struct Level {
        const Pointer* next;
        const Pointer* end;
    };
    const auto levelOf = [](const FileNode& node) {
        return Level{node.children_.data(), node.children_.data() + node.children_.size()};
    };
    std::vector<Level> levels{levelOf(start)};
    while (!levels.empty()) {
        Level& level = levels.back();
        if (level.next == level.end) {
            levels.pop_back();
            continue;
        }
        const FileNode& node = **level.next++;
        if (!visit(node)) {
            return;
        }
        if (node.kind_ == Kind::directory && !node.children_.empty()) {
            levels.push_back(levelOf(node));
        }
    }
}

bool FileNode::holdsAggregate() const {
    bool holds = false;
    walk(*this, [&](const FileNode& node) {
        holds = node.isAggregate();
        return !holds;
    });
    return holds;
}

FileNode::Pointer FileNode::findNode(const UUID& id) {
    Pointer found;
    walk(*this, [&](const FileNode& node) {
        if (node.id_ != id) {
            return true;
        }
        found = std::const_pointer_cast<FileNode>(node.shared_from_this());
        return false;
    });
    return found;
}

std::vector<FileNode::Pointer> FileNode::allFileNodes() {
    std::vector<Pointer> files;
    walk(*this, [&](const FileNode& node) {
        if (node.kind_ == Kind::file) {
            files.push_back(std::const_pointer_cast<FileNode>(node.shared_from_this()));
        }
        return true;
    });
    return files;
}

void FileNode::forEachNode(const std::function<void(const FileNode&)>& visit) const {
    walk(*this, [&](const FileNode& node) {
        visit(node);
        return true;
    });
}

// Classification

FileKind FileNode::fileKind() const {
    return fileKindOf(urlName());
}

bool FileNode::matches(const FileListFilter& filter, Date now) const {
    return FileListMatcher(filter, now).accepts(*this);
}

}  // namespace larkfold
