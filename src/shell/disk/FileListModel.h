// The rows of the file list, the state that narrows and orders them, and what the user does with a row.
//
// It follows the driver's current folder, marks and pointer, and computes the rows anew at each
// change. Whether a row may be marked is asked when the user wants to mark it or to see what can be done with
// it, and never for each row.
//
// The current row is kept by its node, so it stays the same item while the list is sorted,
// searched and filtered.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <QString>
#include <QTimer>
#include <QVariantList>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "disk/DiskScannerViewModel.h"
#include "shell/disk/FileListRows.h"
#include "shell/kit/PathActions.h"
#include "shell/kit/Throttle.h"
#include "shell/kit/TypeAhead.h"

namespace larkfold {

class FileListModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    // The driver outlives the model, or is set to null first.
    Q_PROPERTY(larkfold::DiskScannerViewModel* driver READ driver WRITE setDriver NOTIFY driverChanged)
    Q_PROPERTY(QString searchText READ searchText WRITE setSearchText NOTIFY queryChanged)
    // The minimum size and the age by the number of one of their choices.
    Q_PROPERTY(int minimumSizeChoice READ minimumSizeChoice WRITE chooseMinimumSize NOTIFY queryChanged)
    Q_PROPERTY(int ageChoice READ ageChoice WRITE chooseAge NOTIFY queryChanged)
    Q_PROPERTY(QString extensionFilter READ extensionFilter WRITE setExtensionFilter NOTIFY queryChanged)
    Q_PROPERTY(QString locationFilter READ locationFilter WRITE setLocationFilter NOTIFY queryChanged)
    Q_PROPERTY(bool searchSubfolders READ searchSubfolders WRITE setSearchSubfolders NOTIFY queryChanged)
    // Whether a filter differs from its initial value; the search text is no filter.
    Q_PROPERTY(bool hasFilters READ hasFilters NOTIFY queryChanged)
    Q_PROPERTY(larkfold::FileListModel::Column sortColumn READ sortColumn NOTIFY sortOrderChanged)
    Q_PROPERTY(bool isSortedDescending READ isSortedDescending NOTIFY sortOrderChanged)
    Q_PROPERTY(QVariantList minimumSizeChoices READ minimumSizeChoices CONSTANT)
    Q_PROPERTY(QVariantList ageChoices READ ageChoices CONSTANT)
    Q_PROPERTY(int count READ count NOTIFY rowsChanged)
    // What search and filters cannot look through, and why; empty where they look through everything.
    Q_PROPERTY(QString summaryNote READ summaryNote NOTIFY summariesChanged)
    Q_PROPERTY(larkfold::FileListModel::EmptyReason emptyReason READ emptyReason NOTIFY rowsChanged)
    Q_PROPERTY(QString emptyTitle READ emptyTitle NOTIFY rowsChanged)
    Q_PROPERTY(QString emptyText READ emptyText NOTIFY summariesChanged)
    // Whether `loadMore` brings entries that are not listed yet.
    Q_PROPERTY(bool canLoadMore READ canLoadMore NOTIFY summariesChanged)
    // Whether there is a folder to go back to.
    Q_PROPERTY(bool canGoBack READ canGoBack NOTIFY rowsChanged)
    Q_PROPERTY(int currentRow READ currentRow WRITE setCurrentRow NOTIFY currentRowChanged)
    // What the user should know of the last action or of the current row; empty: nothing.
    Q_PROPERTY(QString notice READ notice NOTIFY noticeChanged)
    // The details of the current row; empty without one.
    Q_PROPERTY(QString currentDetails READ currentDetails NOTIFY noticeChanged)

public:
    enum Column { Name, Size, Items, Type };
    Q_ENUM(Column)
    // Why there are no rows.
    enum EmptyReason { NotEmpty, NoFolder, EmptyFolder, NothingMatches, NothingLoadedMatches };
    Q_ENUM(EmptyReason)
    enum Role {
        NameRole = Qt::UserRole + 1,
        SizeRole,  // bytes on disk
        SizeTextRole,
        ItemsTextRole,  // how many children a folder has; empty for everything else
        TypeTextRole,
        IconNameRole,
        ShareRole,      // 0 to 1 of the parent
        ShareTextRole,  // "61.8%"
        ShareOfRole,    // "61.8% of “photos”"
        DetailsRole,    // "Folder · 1,033 items · 14.6% of “share”": what the columns say that may be hidden
        LocationTextRole,  // with subfolders: the folder below the current one that holds the row; else empty
        PathTextRole,
        ExplanationRole,  // of a summary: what it stands for; else empty
        SpokenTextRole,   // the row for a screen reader
        IsDirectoryRole,
        IsAggregateRole,
        IsMarkedRole,
        IsHoveredRole,
        CanOpenRole,
    };

    explicit FileListModel(QObject* parent = nullptr);
    ~FileListModel() override;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    DiskScannerViewModel* driver() const { return driver_; }
    void setDriver(DiskScannerViewModel* driver);

    // What narrows the rows.
    QString searchText() const;
    void setSearchText(const QString& text);
    qint64 minimumSize() const { return query_.filter.minimumSize; }
    void setMinimumSize(qint64 bytes);
    QString extensionFilter() const;
    void setExtensionFilter(const QString& extensions);
    QString locationFilter() const;
    void setLocationFilter(const QString& text);
    int olderThanDays() const { return query_.filter.olderThanDays; }
    void setOlderThanDays(int days);
    // By the number of one of the choices below; -1 where the value is none of them.
    int minimumSizeChoice() const;
    void chooseMinimumSize(int choice);
    int ageChoice() const;
    void chooseAge(int choice);
    bool searchSubfolders() const { return query_.searchSubfolders; }
    void setSearchSubfolders(bool searches);
    bool hasFilters() const;
    // All filters back to their initial values. The search text stays.
    Q_INVOKABLE void resetFilters();
    Q_INVOKABLE void resetSearchAndFilters();

    // What orders them.
    const std::vector<FileListComparator>& sortOrder() const { return query_.sortOrder; }
    void setSortOrder(std::vector<FileListComparator> order);
    Column sortColumn() const;
    bool isSortedDescending() const;
    // Sorts by a column first and by what was there before after it; by the first column once
    // more: the other way round.
    Q_INVOKABLE void sortBy(larkfold::FileListModel::Column column);

    static QVariantList minimumSizeChoices();
    static QVariantList ageChoices();

    // What there is.
    int count() const { return static_cast<int>(rows_.rows().size()); }
    QString summaryNote() const;
    EmptyReason emptyReason() const;
    QString emptyTitle() const;
    QString emptyText() const;
    bool canLoadMore() const;
    // Fills the current folder in from the saved index.
    Q_INVOKABLE void loadMore();
    // The node of a row; null out of range.
    FileNode::Pointer node(int row) const;
    // The row of a node; -1 where it is not listed.
    int rowOf(const FileNode* node) const;

    // The row that the keyboard is on; -1: none. Setting it selects the node in the driver.
    int currentRow() const { return currentRow_; }
    void setCurrentRow(int row);

    QString notice() const;
    QString currentDetails() const;
    Q_INVOKABLE void dismissNotice();
    void showNotice(const QString& text);

    // What the user does with a row. A row out of range does nothing.
    Q_INVOKABLE void open(int row);
    bool canGoBack() const { return driver_ && !driver_->navigationStack().empty(); }
    Q_INVOKABLE void goBack();
    // Into the queue or out of it; says why where that may not be.
    Q_INVOKABLE void toggleMark(int row);
    // Lights the row's arc in the map.
    Q_INVOKABLE void hover(int row);
    // The pointer has left that row; where it is on another one by now, nothing changes.
    Q_INVOKABLE void leave(int row);
    Q_INVOKABLE void reveal(int row);
    Q_INVOKABLE void copyPath(int row);
    // The next row whose name begins with what was typed within the last second, `text` included; -1: none.
    Q_INVOKABLE int typeAhead(const QString& text);
    // Whether a name is being typed, so that a space belongs to it.
    Q_INVOKABLE bool isTypingAhead() const { return typeAhead_.isTyping(); }
    // What the menu of a row needs to know.
    Q_INVOKABLE bool isMarked(int row) const;
    Q_INVOKABLE bool isAggregate(int row) const;
    // Empty where the row can be marked. By what is known of the map, without a look at the disk.
    Q_INVOKABLE QString whyNotMarked(int row) const;

    // For tests: a clock, and somebody else who shows items in a file manager.
    void setClock(std::function<Date()> clock) { clock_ = std::move(clock); }
    void setRevealer(PathActions::Program revealer);

signals:
    void driverChanged();
    void queryChanged();
    void sortOrderChanged();
    void rowsChanged();
    // What stands in summaries, or how it can be reached. Also after `rowsChanged`.
    void summariesChanged();
    void currentRowChanged();
    void noticeChanged();
    // What came of something the user did; also the same sentence once more.
    void told(const QString& sentence);

private:
    template <typename Value>
    void setQueryValue(Value& value, Value wanted);
    void followFolder();
    void followSelectedNode();
    void followHoveredNode();
    void rebuild();
    void settleRows();
    void prepareNames();
    void setCurrentNode(const FileNode::Pointer& node);
    void refreshRows(const QList<int>& roles);
    std::optional<std::string> pathOf(int row);
    QString locationText(const FileNode& node) const;
    bool isMarked(const FileNode& node) const;
    FileNode::Pointer summaryOfFolder() const;
    bool hasSavedIndex() const { return driver_ && driver_->hasSavedIndex(); }

    DiskScannerViewModel* driver_ = nullptr;
    FileListQuery query_;
    FileListRows rows_;
    mutable std::unordered_map<const FileNode*, int> rowOfNode_;  // filled when first asked after an update
    std::weak_ptr<FileNode> currentNode_;
    int currentRow_ = -1;
    int hoveredRow_ = -1;
    Throttle marks_;
    QString notice_;
    TypeAhead typeAhead_;
    QTimer idle_;  // due whenever the window has nothing else to do, while names are not prepared yet
    std::function<Date()> clock_ = now;
    std::unique_ptr<PathActions> actions_ = std::make_unique<PathActions>();
};

}  // namespace larkfold
