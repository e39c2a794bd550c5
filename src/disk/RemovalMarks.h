// The marks on a map: what the user means to remove, and what it comes to.
//
// A folder covers what lies within it: marks below a marked folder stay, add nothing while it is marked, and
// count again once it is not. The totals follow each change for the price of the node's depth, so a hundred
// thousand marks cost no walk over the tree.
//
// A mark outlives the place of its node: a node that was replaced stays marked until somebody takes the mark
// away, but is no longer counted after `recount`. Belongs to the thread that the tree belongs to.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <unordered_map>
#include <vector>

#include "disk/FileNode.h"
#include "platform/UUID.h"

namespace larkfold {

class RemovalMarks {
public:
    struct Totals {
        int items = 0;
        std::int64_t bytes = 0;

        bool operator==(const Totals&) const = default;
    };

    // Forgets all marks. Those that follow are counted in the tree below `root`; null: in none.
    void begin(const FileNode::Pointer& root);
    void clear();
    // A node that is marked already, or a mark that is not there, changes nothing and gives false.
    bool insert(const FileNode::Pointer& node);
    bool erase(const UUID& id);
    // To be called when nodes of the tree were replaced or got other sizes. Costs a climb for each mark.
    void recount();

    bool contains(const UUID& id) const { return marked_.contains(id); }
    const std::set<UUID>& ids() const { return ids_; }
    // Of what is marked in the tree, without what lies within another marked folder.
    Totals totals() const;
    // The marked nodes that live, in no particular order, whether they are in the tree or not.
    std::vector<FileNode::Pointer> nodes() const;
    bool isInTree(const FileNode& node) const;

private:
    // What marks add to the totals of a folder. Modular arithmetic: a damaged store may hold any sizes, and
    // what was added is taken away again.
    struct Sum {
        std::int64_t items = 0;
        std::uint64_t bytes = 0;
    };
    struct Mark {
        std::weak_ptr<FileNode> node;
        std::int64_t size;  // as it was counted
    };

    // Adds to all folders above the node, up to the first that is marked, which covers it.
    void addAbove(const FileNode& node, const Sum& change);
    Sum below(const FileNode& node) const;

    const FileNode* root_ = nullptr;  // only compared
    std::set<UUID> ids_;
    std::unordered_map<UUID, Mark> marked_;
    // Of the folders that have marks below them, as if they were not marked themselves. Only looked up; a
    // folder that is gone does not matter until the tree has changed, and then everything is counted anew.
    std::unordered_map<const FileNode*, Sum> below_;
};

}  // namespace larkfold
