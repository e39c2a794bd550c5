#include "shell/disk/RecentScansModel.h"

#include <QDateTime>
#include <QPointer>
#include <QStringList>
#include <algorithm>
#include <chrono>
#include <utility>

#include "disk/DiskScannerViewModel.h"
#include "disk/ScanHistoryManager.h"
#include "platform/qt/PathText.h"
#include "shell/disk/DiskSpaceTexts.h"
#include "shell/disk/RecentScansTexts.h"
#include "shell/kit/DateTexts.h"
#include "shell/kit/FigureTexts.h"

namespace larkfold {

namespace {

// How late "Today" may become "Yesterday".
constexpr std::chrono::minutes kAgeInterval{5};

bool isWholeDisk(const ScanHistoryEntry& entry) {
    return entry.rootPath == "/";
}

QString nameOf(const ScanHistoryEntry& entry) {
    return isWholeDisk(entry) ? texts::startupDisk() : displayString(entry.rootName);
}

QString filesText(std::int64_t count) {
    return texts::counted(count, "file", "files");
}

}  // namespace

RecentScansModel::RecentScansModel(ScanHistoryManager& history, DiskScannerViewModel& driver, Clock clock,
                                   QObject* parent)
    : QAbstractListModel(parent),
      history_(history),
      driver_(driver),
      clock_(std::move(clock)),
      entries_(history.history()),
      agesAt_(clock_()) {
    connect(&history_, &ScanHistoryManager::historyChanged, this, &RecentScansModel::followHistory);
    connect(&driver_, &DiskScannerViewModel::scanResultChanged, this, [this] {
        if (count() > 0) {
            emit dataChanged(index(0), index(count() - 1), {IsCurrentRole, SpokenTextRole});
        }
    });
    ageTimer_.setTimerType(Qt::VeryCoarseTimer);
    ageTimer_.setInterval(kAgeInterval);
    connect(&ageTimer_, &QTimer::timeout, this, &RecentScansModel::refreshAges);
    ageTimer_.start();
}

void RecentScansModel::refreshAges() {
    const Date present = clock_();
    if (count() > 0 && texts::age(agesAt_, present) != texts::age(agesAt_, agesAt_)) {
        emit dataChanged(index(0), index(count() - 1), {AgeTextRole, SpokenTextRole});
    }
    agesAt_ = present;
}

// MARK: What the user does

void RecentScansModel::rescan(int row) {
    const ScanHistoryEntry* entry = entryAt(row);
    if (entry == nullptr || driver_.isScanning() || driver_.isDeleting() || driver_.isForgetting()) {
        return;
    }
    driver_.dismissError();
    history_.resolveInBackground(
        *entry, [model = QPointer(this)](const std::optional<ResolvedScanLocation>& location) {
            if (model) {
                model->scan(location);
            }
        });
}

void RecentScansModel::scan(const std::optional<ResolvedScanLocation>& location) {
    if (location) {
        driver_.rescan(location->url, location->bookmarkData);
    } else if (!driver_.isScanning() && !driver_.isDeleting()) {  // what began meanwhile has no failure
        driver_.setError(recent_scans_texts::needsPermission.toStdString());
    }
}

void RecentScansModel::remove(int row) {
    if (const ScanHistoryEntry* entry = entryAt(row)) {
        takeOff(recent_scans_texts::removed.arg(nameOf(*entry)),
                [this, gone = *entry] { history_.remove(gone); });
    }
}

void RecentScansModel::clear() {
    if (count() > 0) {
        takeOff(recent_scans_texts::cleared, [this] { history_.clear(); });
    }
}

void RecentScansModel::takeOff(const QString& text, const std::function<void()>& change) {
    before_ = entries_;
    isTakingOff_ = true;
    change();
    isTakingOff_ = false;
    setUndoText(text);
}

void RecentScansModel::undo() {
    if (!undoText_.isEmpty()) {
        history_.restore(std::move(before_));
    }
}

void RecentScansModel::forgetUndo() {
    before_.clear();
    setUndoText({});
}

void RecentScansModel::setUndoText(const QString& text) {
    if (text != undoText_) {
        undoText_ = text;
        emit undoTextChanged();
    }
}

// MARK: Rows

void RecentScansModel::followHistory() {
    const std::vector<ScanHistoryEntry>& next = history_.history();
    // A row that goes by itself leaves the others where they are, with the keyboard on one of them.
    if (const auto row = removedRow(next)) {
        beginRemoveRows({}, *row, *row);
        entries_ = next;
        endRemoveRows();
    } else {
        beginResetModel();
        entries_ = next;
        endResetModel();
    }
    emit countChanged();
    if (!isTakingOff_) {
        forgetUndo();
    }
}

std::optional<int> RecentScansModel::removedRow(const std::vector<ScanHistoryEntry>& next) const {
    if (next.size() + 1 != entries_.size()) {
        return std::nullopt;
    }
    const auto [first, second] = std::mismatch(next.begin(), next.end(), entries_.begin());
    if (!std::equal(first, next.end(), second + 1)) {
        return std::nullopt;
    }
    return static_cast<int>(second - entries_.begin());
}

const ScanHistoryEntry* RecentScansModel::entryAt(int row) const {
    return row >= 0 && row < rowCount() ? &entries_[static_cast<std::size_t>(row)] : nullptr;
}

bool RecentScansModel::isCurrent(const ScanHistoryEntry& entry) const {
    return driver_.scanResult() && driver_.scanResult()->rootPath == entry.rootPath;
}

QString RecentScansModel::spokenText(const ScanHistoryEntry& entry) const {
    QStringList parts{nameOf(entry), displayString(entry.rootPath), texts::bytes(entry.totalSize),
                      filesText(entry.totalFiles), texts::age(entry.scanDate, clock_())};
    if (isCurrent(entry)) {
        parts.append(recent_scans_texts::current);
    }
    return parts.join(QStringLiteral(", "));
}

int RecentScansModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(entries_.size());
}

QVariant RecentScansModel::data(const QModelIndex& index, int role) const {
    const ScanHistoryEntry* entry =
        checkIndex(index, CheckIndexOption::IndexIsValid) ? entryAt(index.row()) : nullptr;
    if (entry == nullptr) {
        return {};
    }
    switch (role) {
        case Qt::DisplayRole:
        case NameRole:
            return nameOf(*entry);
        case PathRole:
            return displayString(entry->rootPath);
        case SizeTextRole:
            return texts::bytes(entry->totalSize);
        case FilesTextRole:
            return filesText(entry->totalFiles);
        case AgeTextRole:
            return texts::age(entry->scanDate, clock_());
        case IsCurrentRole:
            return isCurrent(*entry);
        case IconNameRole:
            return isWholeDisk(*entry) ? QStringLiteral("disk") : QStringLiteral("folder");
        case SpokenTextRole:
            return spokenText(*entry);
        default:
            return {};
    }
}

QHash<int, QByteArray> RecentScansModel::roleNames() const {
    return {{NameRole, "name"},         {PathRole, "path"},
            {SizeTextRole, "sizeText"}, {FilesTextRole, "filesText"},
            {AgeTextRole, "ageText"},   {IsCurrentRole, "isCurrentScan"},
            {IconNameRole, "iconName"}, {SpokenTextRole, "spokenText"}};
}

}  // namespace larkfold
