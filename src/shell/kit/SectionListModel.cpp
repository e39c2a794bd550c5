#include "shell/kit/SectionListModel.h"

namespace larkfold {

SectionListModel::SectionListModel(QObject* parent) : QAbstractListModel(parent) {
    connect(this, &QAbstractItemModel::rowsInserted, this, &SectionListModel::countChanged);
    connect(this, &QAbstractItemModel::rowsRemoved, this, &SectionListModel::countChanged);
    connect(this, &QAbstractItemModel::modelReset, this, &SectionListModel::countChanged);
}

// MARK: What opens and closes

void SectionListModel::toggle(int row) {
    const auto place = rows_.placeOf(row);
    if (place && !place->item) {
        setOpen(place->section, !rows_.section(place->section).isOpen);
    }
}

void SectionListModel::setOpen(int section, bool isOpen) {
    if (rows_.section(section).isOpen == isOpen) {
        return;
    }
    const auto [first, items] = rows_.itemRows(section);
    if (items > 0 && isOpen) {
        beginInsertRows({}, first, first + items - 1);
    } else if (items > 0) {
        beginRemoveRows({}, first, first + items - 1);
    }
    rows_.setOpen(section, isOpen);
    noteOpened(section, isOpen);
    if (items > 0 && isOpen) {
        endInsertRows();
    } else if (items > 0) {
        endRemoveRows();
    }
    // With all roles: what is read of the header tells whether it is open.
    const QModelIndex header = index(rows_.headerRow(section));
    emit dataChanged(header, header);
}

QString SectionListModel::openText(int section) const {
    return rows_.section(section).isOpen ? QStringLiteral("open") : QStringLiteral("closed");
}

// MARK: Where the keyboard goes

int SectionListModel::headerRowOf(int row) const {
    const auto place = rows_.placeOf(row);
    return place ? rows_.headerRow(place->section) : -1;
}

int SectionListModel::goLeft(int row) {
    const auto place = rows_.placeOf(row);
    if (!place) {
        return row;
    }
    setOpen(place->section, false);
    return rows_.headerRow(place->section);
}

int SectionListModel::goRight(int row) {
    const auto place = rows_.placeOf(row);
    if (place && !place->item) {
        setOpen(place->section, true);
    }
    return row;
}

// MARK: What there is

void SectionListModel::reset(const std::function<std::vector<SectionRows::Section>()>& replace) {
    beginResetModel();
    rows_ = SectionRows(replace());
    endResetModel();
}

void SectionListModel::removeSections(int first, int count, const std::function<void()>& remove) {
    if (count <= 0) {
        return;
    }
    const auto gone = rows_.rowsOf(first, count);
    beginRemoveRows({}, gone.first, gone.first + gone.count - 1);
    remove();
    rows_.removeSections(first, count);
    endRemoveRows();
}

void SectionListModel::removeItems(int section, int first, int count, const std::function<void()>& remove) {
    if (count <= 0) {
        return;
    }
    const auto [firstRow, items] = rows_.itemRows(section);
    const bool isOpen = rows_.section(section).isOpen;
    if (isOpen) {
        beginRemoveRows({}, firstRow + first, firstRow + first + count - 1);
    }
    remove();
    rows_.setItemCount(section, items - count);
    if (isOpen) {
        endRemoveRows();
    }
    // What a header tells of its items.
    const QModelIndex header = index(rows_.headerRow(section));
    emit dataChanged(header, header);
}

// MARK: Rows for the view

int SectionListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : rows_.rowCount();
}

QVariant SectionListModel::data(const QModelIndex& index, int role) const {
    const auto place =
        checkIndex(index, CheckIndexOption::IndexIsValid) ? rows_.placeOf(index.row()) : std::nullopt;
    if (!place) {
        return {};
    }
    if (role == IsHeaderRole) {
        return !place->item;
    }
    if (role == IsOpenRole) {
        return !place->item && rows_.section(place->section).isOpen;
    }
    return place->item ? dataOfItem(place->section, *place->item, role) : dataOfHeader(place->section, role);
}

QHash<int, QByteArray> SectionListModel::roleNames() const {
    QHash<int, QByteArray> names = rolesOfItsOwn();
    names.insert(IsHeaderRole, "isHeader");
    names.insert(IsOpenRole, "isOpen");
    return names;
}

}  // namespace larkfold
