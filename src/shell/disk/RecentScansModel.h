// The recent scans as the start page shows them, and what the user can do with one: scan it again, or take it
// off the list. What was taken off can be brought back until something else happens to the list.
//
// It words and formats; the list itself is the manager's, and a scan the driver's. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <QString>
#include <QTimer>
#include <functional>
#include <optional>
#include <vector>

#include "disk/ScanHistoryEntry.h"
#include "platform/Date.h"

namespace larkfold {

class DiskScannerViewModel;
class ScanHistoryManager;
struct ResolvedScanLocation;

class RecentScansModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The window has the one there is.")
    Q_PROPERTY(int count READ count NOTIFY countChanged)
    // What was taken off the list and can be brought back; empty where there is nothing of the kind.
    Q_PROPERTY(QString undoText READ undoText NOTIFY undoTextChanged)

public:
    enum Role {
        NameRole = Qt::UserRole + 1,
        PathRole,
        SizeTextRole,
        FilesTextRole,
        AgeTextRole,
        IsCurrentRole,  // it is what the map shows
        IconNameRole,
        SpokenTextRole,
    };
    using Clock = std::function<Date()>;

    // Both outlive the model.
    RecentScansModel(ScanHistoryManager& history, DiskScannerViewModel& driver, Clock clock = now,
                     QObject* parent = nullptr);

    int count() const { return rowCount(); }
    QString undoText() const { return undoText_; }

    // Scans a row's root again. The disk is asked for it first, off the main thread, so the scan begins a
    // moment later; where nothing is found, the driver's `error` tells. Nothing while the driver works.
    Q_INVOKABLE void rescan(int row);
    Q_INVOKABLE void remove(int row);
    Q_INVOKABLE void clear();
    Q_INVOKABLE void undo();
    // The page goes: what was taken off stays so.
    Q_INVOKABLE void forgetUndo();
    // Words the ages anew where the day has changed. Called by a timer.
    void refreshAges();

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

signals:
    void countChanged();
    void undoTextChanged();

private:
    const ScanHistoryEntry* entryAt(int row) const;
    bool isCurrent(const ScanHistoryEntry& entry) const;
    QString spokenText(const ScanHistoryEntry& entry) const;
    void followHistory();
    std::optional<int> removedRow(const std::vector<ScanHistoryEntry>& next) const;
    void takeOff(const QString& text, const std::function<void()>& change);
    void setUndoText(const QString& text);
    void scan(const std::optional<ResolvedScanLocation>& location);

    ScanHistoryManager& history_;
    DiskScannerViewModel& driver_;
    Clock clock_;
    std::vector<ScanHistoryEntry> entries_;
    std::vector<ScanHistoryEntry> before_;  // what `undo` brings back
    QString undoText_;
    bool isTakingOff_ = false;
    Date agesAt_;
    QTimer ageTimer_;
};

}  // namespace larkfold
