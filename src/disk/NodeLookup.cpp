#include "disk/NodeLookup.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace larkfold {

namespace {

// The children of one folder by their names. Few names are looked for one by one; for more of them the folder
// is listed once.
class Names {
public:
    explicit Names(const FileNode& folder) : folder_(folder) {}

    const FileNode::Pointer* find(std::string_view name) {
        constexpr int worthAList = 4;
        if (!isListed_ && ++asked_ <= worthAList) {
            const auto& children = folder_.children();
            const auto found = std::ranges::find_if(children, [&](const auto& child) {
                return !child->isAggregate() && child->urlName() == name;
            });
            return found == children.end() ? nullptr : &*found;
        }
        if (!isListed_) {
            isListed_ = true;
            byName_.reserve(folder_.children().size());
            for (const FileNode::Pointer& child : folder_.children()) {
                if (!child->isAggregate()) {
                    byName_.emplace(child->urlName(), &child);
                }
            }
        }
        const auto found = byName_.find(name);
        return found == byName_.end() ? nullptr : found->second;
    }

private:
    const FileNode& folder_;
    int asked_ = 0;
    bool isListed_ = false;
    std::unordered_map<std::string_view, const FileNode::Pointer*> byName_;
};

// A folder on the way, and where its children's names begin in the paths that lead through it.
struct Level {
    Names names;
    std::size_t begin;
};

}  // namespace

// The paths are taken in their order, so that each begins where it leaves the one before: the way that both
// have in common stays on the stack.
std::vector<FileNode::Pointer> nodesAt(const FileNode::Pointer& root, const std::vector<std::string>& paths) {
    std::vector<FileNode::Pointer> found(paths.size());
    if (!root) {
        return found;
    }
    std::vector<std::size_t> order(paths.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::sort(order, {}, [&](std::size_t index) -> const std::string& { return paths[index]; });

    const std::string rootPath = root->url();
    const std::string below = rootPath.ends_with('/') ? rootPath : rootPath + "/";
    std::vector<Level> way;
    way.push_back({.names = Names(*root), .begin = below.size()});
    std::string_view before;
    for (const std::size_t index : order) {
        const std::string& path = paths[index];
        if (path == rootPath) {
            found[index] = root;
        }
        if (!path.starts_with(below)) {
            continue;
        }
        const auto common =
            static_cast<std::size_t>(std::ranges::mismatch(before, path).in1 - before.begin());
        while (way.size() > 1 && way.back().begin > common) {
            way.pop_back();
        }
        before = path;
        while (true) {
            const std::size_t begin = way.back().begin;
            const std::size_t end = std::min(path.find('/', begin), path.size());
            const FileNode::Pointer* child =
                way.back().names.find(std::string_view(path).substr(begin, end - begin));
            if (child == nullptr) {
                break;
            }
            if (end == path.size()) {
                found[index] = *child;
                break;
            }
            way.push_back({.names = Names(**child), .begin = end + 1});
        }
    }
    return found;
}

}  // namespace larkfold
