// The rows of a list whose sections open and close: a header row for each section, and below each open one
// its items.
//
// Rows are flat, so that a view makes only those in sight, with 50,000 sections as with 50,000 items in one.
// Whoever derives says what a header and an item show; which row is which, what opens, and where the keyboard
// goes from there stands here once. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <QByteArray>
#include <QHash>
#include <QString>
#include <QVariant>
#include <functional>
#include <vector>

#include "shell/kit/SectionRows.h"

namespace larkfold {

class SectionListModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Each list of sections derives its own.")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum SectionRole {
        IsHeaderRole = Qt::UserRole + 1,
        IsOpenRole,  // of a header
        FirstRoleOfItsOwn,
    };

    int count() const { return rows_.rowCount(); }

    // Opens or closes the section of a header; a row of an item does nothing.
    Q_INVOKABLE void toggle(int row);
    // The header of the section that a row belongs to; -1 out of range.
    Q_INVOKABLE int headerRowOf(int row) const;
    // What the arrow keys do in every such list: to the left closes the section that a row belongs to and
    // leads to its header, to the right opens that of a header. Each returns the row to be on.
    Q_INVOKABLE int goLeft(int row);
    Q_INVOKABLE int goRight(int row);

    int rowCount(const QModelIndex& parent = {}) const final;
    QVariant data(const QModelIndex& index, int role) const final;
    QHash<int, QByteArray> roleNames() const final;

signals:
    void countChanged();

protected:
    explicit SectionListModel(QObject* parent = nullptr);

    const SectionRows& rows() const { return rows_; }

    // What the rows show, for the roles of its own and `Qt::DisplayRole`.
    virtual QVariant dataOfHeader(int section, int role) const = 0;
    virtual QVariant dataOfItem(int section, int item, int role) const = 0;
    // From `FirstRoleOfItsOwn` on.
    virtual QHash<int, QByteArray> rolesOfItsOwn() const = 0;
    // A section was opened or closed, by whatever way.
    virtual void noteOpened(int section, bool isOpen) = 0;

    // For what is read to a user who cannot see the arrow: the toolkit has no such state for a row.
    QString openText(int section) const;

    void setOpen(int section, bool isOpen);
    // `replace` puts other sections in the place of all, and tells what they are.
    void reset(const std::function<std::vector<SectionRows::Section>()>& replace);
    // `remove` takes what is named out of what the rows show; nothing else.
    void removeSections(int first, int count, const std::function<void()>& remove);
    void removeItems(int section, int first, int count, const std::function<void()>& remove);

private:
    SectionRows rows_;
};

}  // namespace larkfold
