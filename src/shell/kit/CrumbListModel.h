// The folders of a path, outermost first, for a row of crumbs. Main thread only.
//
// Rows change only where the path does, so that a crumb that stays keeps its place, on screen and for
// assistive technology. A path of very many folders keeps its first and its last ones, with one row "…"
// between them.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <QString>
#include <QStringList>
#include <vector>

namespace larkfold {

class CrumbListModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Whoever knows the path has one.")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role { NameRole = Qt::UserRole + 1, IsCurrentRole };

    static constexpr int mostRows = 40;

    using QAbstractListModel::QAbstractListModel;

    void setNames(const QStringList& names);

    int count() const { return static_cast<int>(crumbs_.size()); }
    // Which of the names a row leads to; -1 out of range. The row "…" leads to the last of those that it
    // stands for.
    int position(int row) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

signals:
    void countChanged();

private:
    struct Crumb {
        QString name;
        int position = 0;  // among the names

        bool operator==(const Crumb&) const = default;
    };
    static std::vector<Crumb> crumbsOf(const QStringList& names);

    std::vector<Crumb> crumbs_;
};

}  // namespace larkfold
