#include "shell/kit/CrumbListModel.h"

#include <algorithm>
#include <utility>

namespace larkfold {

std::vector<CrumbListModel::Crumb> CrumbListModel::crumbsOf(const QStringList& names) {
    const int total = static_cast<int>(names.size());
    std::vector<Crumb> crumbs;
    // The first row and the "…" leave this many for the end of the path.
    const int firstOfEnd = total > mostRows ? total - (mostRows - 2) : 0;
    if (firstOfEnd > 0) {
        crumbs.push_back({.name = names.first(), .position = 0});
        crumbs.push_back({.name = QStringLiteral("…"), .position = firstOfEnd - 1});
    }
    for (int position = firstOfEnd; position < total; ++position) {
        crumbs.push_back({.name = names[position], .position = position});
    }
    return crumbs;
}

void CrumbListModel::setNames(const QStringList& names) {
    std::vector<Crumb> wanted = crumbsOf(names);
    const auto differs = std::mismatch(crumbs_.begin(), crumbs_.end(), wanted.begin(), wanted.end()).first;
    const int kept = static_cast<int>(differs - crumbs_.begin());
    if (kept == count() && kept == static_cast<int>(wanted.size())) {
        return;
    }
    if (kept < count()) {
        beginRemoveRows({}, kept, count() - 1);
        crumbs_.erase(differs, crumbs_.end());
        endRemoveRows();
    }
    if (kept < static_cast<int>(wanted.size())) {
        beginInsertRows({}, kept, static_cast<int>(wanted.size()) - 1);
        crumbs_ = std::move(wanted);
        endInsertRows();
    }
    if (kept > 0) {
        emit dataChanged(index(0), index(kept - 1), {IsCurrentRole});
    }
    emit countChanged();
}

int CrumbListModel::position(int row) const {
    return row >= 0 && row < count() ? crumbs_[static_cast<std::size_t>(row)].position : -1;
}

int CrumbListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : count();
}

QVariant CrumbListModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    switch (role) {
        case Qt::DisplayRole:
        case NameRole:
            return crumbs_[static_cast<std::size_t>(index.row())].name;
        case IsCurrentRole:
            return index.row() + 1 == count();
        default:
            return {};
    }
}

QHash<int, QByteArray> CrumbListModel::roleNames() const {
    return {{NameRole, "name"}, {IsCurrentRole, "isCurrent"}};
}

}  // namespace larkfold
