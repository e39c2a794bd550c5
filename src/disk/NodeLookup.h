// Finding many nodes of a tree by their paths at once. Pure; belongs to the thread that the tree belongs to.
#pragma once

#include <string>
#include <vector>

#include "disk/FileNode.h"

namespace larkfold {

// For each path the node that has it in the tree below `root`, which counts as well; null where there is
// none. Never a summary, whatever it is called. Costs about one look at each folder on the ways to the paths
// and at what lies directly in it, in any depth.
std::vector<FileNode::Pointer> nodesAt(const FileNode::Pointer& root, const std::vector<std::string>& paths);

}  // namespace larkfold
