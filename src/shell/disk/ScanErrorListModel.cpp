#include "shell/disk/ScanErrorListModel.h"

#include <utility>

#include "platform/qt/PathText.h"

namespace larkfold {

namespace {

QString reasonOf(const ScanError& error) {
    return QString::fromStdString(error.error->description());
}

}  // namespace

void ScanErrorListModel::setErrors(std::vector<ScanError> errors) {
    beginResetModel();
    errors_ = std::move(errors);
    endResetModel();
}

int ScanErrorListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(errors_.size());
}

QVariant ScanErrorListModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    const ScanError& error = errors_[static_cast<std::size_t>(index.row())];
    switch (role) {
        case Qt::DisplayRole:
        case PathRole:
            return displayString(error.path);
        case ReasonRole:
            return reasonOf(error);
        default:
            return {};
    }
}

QHash<int, QByteArray> ScanErrorListModel::roleNames() const {
    return {{PathRole, "path"}, {ReasonRole, "reason"}};
}

QString ScanErrorListModel::text() const {
    QString text;
    for (const ScanError& error : errors_) {
        text += displayString(error.path) + QLatin1Char('\t') + reasonOf(error) + QLatin1Char('\n');
    }
    return text;
}

}  // namespace larkfold
