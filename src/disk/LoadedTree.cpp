#include "disk/LoadedTree.h"

#include <utility>

#include "platform/SaturatingSum.h"

namespace larkfold {

namespace {

// Whether the path is what a node of that name below that parent says by itself. Otherwise (the row
// contradicts itself) the node keeps the row's path as its own.
bool followsFrom(std::string_view path, std::string_view parent, std::string_view name) {
    const std::size_t folder = parent == "/" ? 0 : parent.size();
    return path.size() == folder + 1 + name.size() && path.starts_with(parent) && path[folder] == '/' &&
           path.ends_with(name);
}

}  // namespace

void LoadedTree::addFile(std::string_view path, std::string_view parent, std::string_view name,
                         std::int64_t size, std::int64_t logicalSize, std::optional<Date> modified) {
    const bool isRoot = path == root_;
    const bool pathFollows = !isRoot && followsFrom(path, parent, name);
    const auto make = [&] {
        return pathFollows ? FileNode::makeFile(name, size, logicalSize, modified)
                           : FileNode::makeDetachedFile(path, name, size, logicalSize, modified);
    };
    if (isRoot) {
        rootFile_ = make();
    } else if (const std::uint32_t number = numbers_.find(parent); number != none) {
        appendFile(directories_[number], make());
    } else {
        earlyFiles_.push_back({make(), kept(parent)});
    }
}

void LoadedTree::addDirectory(std::string_view path, std::string_view parent, std::string_view name,
                              std::int64_t size) {
    const std::string_view key = kept(path);
    // A damaged index may hold a path twice: the first row stands.
    if (!numbers_.insert(key)) {
        return;
    }
    Directory& directory = directories_.emplace_back();
    // The parent's path is nearly always a part of the path that is kept already.
    directory.parent = key.starts_with(parent) ? key.substr(0, parent.size()) : kept(parent);
    if (path != root_ && followsFrom(path, parent, name)) {
        directory.node = FileNode::makeDirectory(name);
    } else {
        directory.node = FileNode::makeRoot(path, name);
    }
    directory.node->setSize(size);
}

FileNode::Pointer LoadedTree::link() {
    rootIndex_ = numbers_.find(root_);
    if (rootIndex_ == none) {
        return rootFile_;
    }
    for (EarlyFile& file : earlyFiles_) {
        if (const std::uint32_t parent = numbers_.find(file.parent); parent != none) {
            appendFile(directories_[parent], std::move(file.node));
        }
    }
    for (Directory& directory : directories_) {
        directory.parentIndex = numbers_.find(directory.parent);
    }
    directories_[rootIndex_].parentIndex = none;
    directories_[rootIndex_].reach = Reach::root;
    for (std::uint32_t index = 0; index < directories_.size(); ++index) {
        if (reachesRoot(index) && index != rootIndex_) {
            const Directory& directory = directories_[index];
            directories_[directory.parentIndex].node->appendChild(directory.node);
        }
    }
    return directories_[rootIndex_].node;
}

void LoadedTree::addSummary(std::string_view folder, std::int64_t files, std::int64_t bytes) {
    const std::uint32_t found = numbers_.find(folder);
    if (found == none) {
        return;
    }
    const Directory& directory = directories_[found];
    const std::int64_t missing = files - directory.keptFiles;
    if (missing >= 1) {
        directory.node->appendChild(FileNode::makeAggregate(
            FileNode::SummaryOrigin::index, saturatingDifference(bytes, directory.keptBytes), missing));
    }
}

void LoadedTree::finish() {
    for (const Directory& directory : directories_) {
        directory.node->finishChildren();
    }
}

void LoadedTree::appendFile(Directory& directory, FileNode::Pointer file) {
    ++directory.keptFiles;
    directory.keptBytes = saturatingSum(directory.keptBytes, file->size());
    directory.node->appendChild(std::move(file));
}

bool LoadedTree::reachesRoot(std::uint32_t start) {
    // Up to a directory of which it is known, or to one met on this very way: then it is a circle.
    std::uint32_t index = start;
    while (index != none && directories_[index].reach == Reach::unknown) {
        directories_[index].reach = Reach::asked;
        index = directories_[index].parentIndex;
    }
    const Reach reach =
        index != none && directories_[index].reach == Reach::root ? Reach::root : Reach::nothing;
    for (index = start; index != none && directories_[index].reach == Reach::asked;
         index = directories_[index].parentIndex) {
        directories_[index].reach = reach;
    }
    return directories_[start].reach == Reach::root;
}

std::string_view LoadedTree::kept(std::string_view text) {
    auto* bytes = static_cast<char*>(texts_.allocate(text.size() + 1, 1));
    text.copy(bytes, text.size());
    return {bytes, text.size()};
}

}  // namespace larkfold
