// The places that a scan could not read, each with its reason, for a view. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <QString>
#include <vector>

#include "disk/ScanError.h"

namespace larkfold {

class ScanErrorListModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The presenter has the one there is.")

public:
    enum Role { PathRole = Qt::UserRole + 1, ReasonRole };

    using QAbstractListModel::QAbstractListModel;

    void setErrors(std::vector<ScanError> errors);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    // All rows as text, a path and its reason on each line.
    QString text() const;

private:
    std::vector<ScanError> errors_;
};

}  // namespace larkfold
