#include "shell/disk/BreadcrumbModel.h"

#include <algorithm>
#include <utility>

#include "platform/qt/PathText.h"

namespace larkfold {

void BreadcrumbModel::setCurrentNode(const FileNode::Pointer& current) {
    nodes_.clear();
    for (FileNode::Pointer node = current; node; node = node->parent()) {
        nodes_.push_back(node);
    }
    std::reverse(nodes_.begin(), nodes_.end());
    QStringList names;
    for (const FileNode::Pointer& node : nodes_) {
        names.append(displayString(node->name()));
    }
    setNames(names);
}

FileNode::Pointer BreadcrumbModel::node(int row) const {
    const int place = position(row);
    return place >= 0 ? nodes_[static_cast<std::size_t>(place)] : nullptr;
}

}  // namespace larkfold
