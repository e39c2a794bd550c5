// The way in: the folders from the scan's root down to the one on screen, for a view. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <vector>

#include "disk/FileNode.h"

namespace larkfold {

class BreadcrumbModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The presenter has the one there is.")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role { NameRole = Qt::UserRole + 1, IsCurrentRole };

    using QAbstractListModel::QAbstractListModel;

    // Shows the chain of parents of `current`, the root first; null: nothing.
    void setCurrentNode(const FileNode::Pointer& current);

    int count() const { return static_cast<int>(nodes_.size()); }
    // The folder of a row, or null.
    FileNode::Pointer node(int row) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

signals:
    void countChanged();

private:
    std::vector<FileNode::Pointer> nodes_;
};

}  // namespace larkfold
