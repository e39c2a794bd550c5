// Trees for the map's tests and benchmarks.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include "disk/FileNode.h"

namespace larkfold::test {

inline FileNode::Pointer file(std::string_view name, std::int64_t size) {
    return FileNode::makeFile(name, size, size, std::nullopt);
}

// A folder with the sum of its children's sizes, which stay in the order given.
inline FileNode::Pointer folder(std::string_view name, std::vector<FileNode::Pointer> children) {
    const FileNode::Pointer node = FileNode::makeDirectory(name);
    std::int64_t size = 0;
    for (FileNode::Pointer& child : children) {
        size += child->size();
        node->appendChild(std::move(child));
    }
    node->setSize(size);
    return node;
}

inline FileNode::Pointer root(std::vector<FileNode::Pointer> children) {
    const FileNode::Pointer node = FileNode::makeRoot("/data", "data");
    std::int64_t size = 0;
    for (FileNode::Pointer& child : children) {
        size += child->size();
        node->appendChild(std::move(child));
    }
    node->setSize(size);
    return node;
}

// The fullest map there is room for: `branches` children of equal size, and in each a chain down to the last
// ring. With 700 it has 2,801 arcs, each hardly wider than what is drawn at all.
inline FileNode::Pointer densestTree(int branches) {
    std::vector<FileNode::Pointer> children;
    for (int i = 0; i < branches; ++i) {
        FileNode::Pointer node = file("leaf", 1'000'000);
        for (int depth = 0; depth < 3; ++depth) {
            std::vector<FileNode::Pointer> one;
            one.push_back(std::move(node));
            node = folder("branch" + std::to_string(i), std::move(one));
        }
        children.push_back(std::move(node));
    }
    return root(std::move(children));
}

// A folder as disks have them: a few large children and many small ones, some of no size, in order of size
// unless `shuffled`.
inline FileNode::Pointer randomFolder(std::mt19937_64& random, int depth, bool shuffled,
                                      std::string_view name = "f") {
    const auto upTo = [&](std::uint64_t limit) { return random() % limit; };
    std::vector<FileNode::Pointer> children;
    const std::uint64_t count = 1 + upTo(depth == 0 ? 20 : 9);
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::string childName = "n" + std::to_string(i);
        const auto size = static_cast<std::int64_t>(upTo(std::uint64_t{1} << (4 + upTo(36))));
        if (depth < 6 && upTo(10) < 5) {
            children.push_back(randomFolder(random, depth + 1, shuffled, childName));
        } else if (upTo(12) == 0) {
            children.push_back(FileNode::makeAggregate(FileNode::SummaryOrigin::scan, size, 10));
        } else {
            children.push_back(file(childName, upTo(9) == 0 ? 0 : size));
        }
    }
    const FileNode::Pointer node = depth == 0 ? root(std::move(children)) : folder(name, std::move(children));
    if (!shuffled && depth == 0) {
        node->sortChildrenBySize();
    }
    return node;
}

inline FileNode::Pointer randomTree(std::uint64_t seed, bool shuffled = false) {
    std::mt19937_64 random(seed);
    return randomFolder(random, 0, shuffled);
}

}  // namespace larkfold::test
