#include "shell/BreadcrumbModel.h"

#include <algorithm>
#include <utility>

#include "platform/qt/PathText.h"

namespace larkfold {

void BreadcrumbModel::setCurrentNode(const FileNode::Pointer& current) {
    std::vector<FileNode::Pointer> chain;
    for (FileNode::Pointer node = current; node; node = node->parent()) {
        chain.push_back(node);
    }
    std::reverse(chain.begin(), chain.end());
    beginResetModel();
    nodes_ = std::move(chain);
    endResetModel();
    emit countChanged();
}

FileNode::Pointer BreadcrumbModel::node(int row) const {
    return row >= 0 && row < count() ? nodes_[static_cast<std::size_t>(row)] : nullptr;
}

int BreadcrumbModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : count();
}

QVariant BreadcrumbModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    switch (role) {
        case Qt::DisplayRole:
        case NameRole:
            return displayString(node(index.row())->name());
        case IsCurrentRole:
            return index.row() + 1 == count();
        default:
            return {};
    }
}

QHash<int, QByteArray> BreadcrumbModel::roleNames() const {
    return {{NameRole, "name"}, {IsCurrentRole, "isCurrent"}};
}

}  // namespace larkfold
