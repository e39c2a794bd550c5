// The way in: the folders from the scan's root down to the one on screen, for a view. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <vector>

#include "disk/FileNode.h"
#include "shell/kit/CrumbListModel.h"

namespace larkfold {

// The base by its full name: the checker of the views knows it by no other.
class BreadcrumbModel : public larkfold::CrumbListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The presenter has the one there is.")

public:
    using CrumbListModel::CrumbListModel;

    // Shows the chain of parents of `current`, the root first; null: nothing.
    void setCurrentNode(const FileNode::Pointer& current);

    // The folder of a row, or null.
    FileNode::Pointer node(int row) const;

private:
    std::vector<FileNode::Pointer> nodes_;
};

}  // namespace larkfold
