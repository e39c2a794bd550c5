#include "shell/disk/DiskSpacePresenter.h"

#include <QClipboard>
#include <QGuiApplication>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <exception>
#include <utility>

#include "disk/DiskScannerViewModel.h"
#include "platform/Path.h"
#include "platform/qt/PathText.h"
#include "shell/disk/DiskSpaceTexts.h"

namespace larkfold {

namespace {

// Reports come hundreds of times a second; nobody reads faster than this, and each costs a layout
// of the texts.
constexpr std::chrono::milliseconds kProgressInterval{100};
constexpr std::chrono::milliseconds kActivityInterval{250};
// How much of the distance to the measured level is gone at each measuring: the animation must not jump.
constexpr double kActivityEase = 0.4;
// The level is full at ten to this power of entries a second.
constexpr double kFullActivityPower = 5;
// How many of a removal's failures the page tells; it is no place for ten thousand.
constexpr std::size_t kMostFailuresShown = 20;

}  // namespace

DiskSpacePresenter::DiskSpacePresenter(DiskScannerViewModel& driver, MainQueue& mainQueue,
                                       CapacityReader readCapacity, QObject* parent)
    : QObject(parent),
      driver_(driver),
      readCapacity_(std::move(readCapacity)),
      marks_([this] { emit markedChanged(); }),
      progress_(kProgressInterval, [this] { emit progressChanged(); }),
      context_(mainQueue, "volume") {
    activityTimer_.setInterval(kActivityInterval);
    connect(&activityTimer_, &QTimer::timeout, this, &DiskSpacePresenter::measureActivity);
    followDriver();
    takeResult();
    noteError();
}

void DiskSpacePresenter::followDriver() {
    using Driver = DiskScannerViewModel;
    connect(&driver_, &Driver::scanResultChanged, this, &DiskSpacePresenter::takeResult);
    connect(&driver_, &Driver::navigationStackChanged, this, [this] {
        breadcrumb_.setCurrentNode(driver_.currentNode());
        emit navigationChanged();
    });
    connect(&driver_, &Driver::isScanningChanged, this, [this] {
        if (driver_.isScanning()) {
            entriesAtMeasure_ = 0;
            sinceMeasured_.start();
            activityTimer_.start();
        } else {
            activityTimer_.stop();
            setActivityLevel(0);
        }
        emit subjectChanged();
    });
    connect(&driver_, &Driver::isRefreshingIndexChanged, this, &DiskSpacePresenter::busyTextChanged);
    connect(&driver_, &Driver::isForgettingChanged, this, &DiskSpacePresenter::busyTextChanged);
    connect(driver_.rescanCheck(), &RescanCheck::changed, this, &DiskSpacePresenter::busyTextChanged);
    connect(&driver_, &Driver::scanScopeChanged, this, &DiskSpacePresenter::subjectChanged);
    connect(&driver_, &Driver::progressChanged, this, [this] { progress_.note(); });
    connect(&driver_, &Driver::errorChanged, this, &DiskSpacePresenter::noteError);
    connect(&driver_, &Driver::savedScanNoticeChanged, this, &DiskSpacePresenter::savedScanNoticeChanged);
    connect(&driver_, &Driver::selectedForDeletionChanged, this, [this] { marks_.note(); });
    connect(&driver_, &Driver::changedFolderCountChanged, this, &DiskSpacePresenter::changedFoldersChanged);
    connect(&driver_, &Driver::watchCoverageChanged, this, &DiskSpacePresenter::watchNoticeChanged);
    connect(&driver_, &Driver::skipHiddenFilesChanged, this,
            &DiskSpacePresenter::hiddenSettingDiffersChanged);
}

void DiskSpacePresenter::takeResult() {
    scanErrors_.setErrors(driver_.scanResult() ? driver_.scanResult()->errors : std::vector<ScanError>());
    breadcrumb_.setCurrentNode(driver_.currentNode());
    emit resultChanged();
    emit subjectChanged();
    emit hiddenSettingDiffersChanged();
    marks_.note();
    emit navigationChanged();
}

int DiskSpacePresenter::markedItems() const {
    return driver_.markedTotals().items;
}

QString DiskSpacePresenter::markedText() const {
    const auto totals = driver_.markedTotals();
    return totals.items > 0 ? texts::marked(totals.items, totals.bytes) : QString();
}

QString DiskSpacePresenter::markedShortText() const {
    const auto totals = driver_.markedTotals();
    return totals.items > 0 ? countText(totals.items) + QLatin1Char('\n') + texts::bytes(totals.bytes)
                            : QString();
}

QString DiskSpacePresenter::title() const {
    if (!driver_.hasScanResult() && !driver_.isScanning()) {
        return {};
    }
    return driver_.scansStartupDisk() ? texts::startupDisk()
                                      : displayString(lastPathComponent(driver_.scanRootPath()));
}

QString DiskSpacePresenter::path() const {
    return driver_.hasScanResult() || driver_.isScanning() ? displayString(driver_.scanRootPath())
                                                           : QString();
}

bool DiskSpacePresenter::canRescan() const {
    return driver_.hasScanResult() && !driver_.isScanning();
}

QString DiskSpacePresenter::totalText() const {
    return driver_.scanResult() ? texts::bytes(driver_.scanResult()->totalSize) : QString();
}

QString DiskSpacePresenter::countsText() const {
    return driver_.scanResult()
               ? texts::counts(driver_.scanResult()->totalFiles, driver_.scanResult()->totalDirectories)
               : QString();
}

QString DiskSpacePresenter::statusLine() const {
    return driver_.scanResult() ? totalText() + QLatin1Char(' ') + countsText() : QString();
}

QString DiskSpacePresenter::unreadableText() const {
    const std::int64_t rows = scanErrors_.rowCount();
    const std::int64_t places =
        driver_.scanResult() ? std::max(rows, driver_.scanResult()->unreadablePlaces) : rows;
    return places > 0 ? texts::unreadable(places) : QString();
}

QString DiskSpacePresenter::capacityNotice() const {
    const auto notice = driver_.scanResult() ? driver_.scanResult()->capacityNotice() : std::nullopt;
    return notice ? QString::fromStdString(*notice) : QString();
}

QString DiskSpacePresenter::savedScanNotice() const {
    return driver_.savedScanNoticeText();
}

QString DiskSpacePresenter::hiddenItemsText() const {
    if (driver_.scanResult() && driver_.isFromIndex()) {
        return driver_.scanOptions().skipHiddenFiles ? texts::hiddenLeftOut() : QString();
    }
    const std::int64_t items = driver_.scanResult() ? driver_.scanResult()->hiddenItemsLeftOut : 0;
    return items > 0 ? texts::hiddenLeftOut(items) : QString();
}

QString DiskSpacePresenter::changedFoldersText() const {
    return texts::changedFolders(driver_.changedFolderCount());
}

QString DiskSpacePresenter::watchNotice() const {
    const auto& coverage = driver_.watchCoverage();
    if (!coverage.isReady || coverage.isComplete()) {
        return {};
    }
    if (coverage.hasFailed) {
        return texts::watchFailed();
    }
    if (coverage.watched.isLimitReached) {
        return texts::watchLimitReached(coverage.watched.folders);
    }
    return coverage.watched.leavesOutMounts ? texts::watchLeavesOutMounts() : texts::watchIncomplete();
}

QString DiskSpacePresenter::busyText() const {
    if (driver_.isRefreshingIndex()) {
        return texts::refreshing();
    }
    if (driver_.isForgetting()) {
        return texts::forgetting();
    }
    return driver_.rescanCheck()->isLooking()
               ? texts::lookingFor(displayString(driver_.rescanCheck()->path()))
               : QString();
}

QString DiskSpacePresenter::restoreTitle() const {
    return texts::openingSavedScan();
}

bool DiskSpacePresenter::hiddenSettingDiffers() const {
    return driver_.hasScanResult() && !driver_.scansStartupDisk() &&
           driver_.skipHiddenFiles() != driver_.scanOptions().skipHiddenFiles;
}

bool DiskSpacePresenter::canGoBack() const {
    return !driver_.navigationStack().empty();
}

QString DiskSpacePresenter::scanTitle() const {
    return texts::mappingTitle(driver_.scansStartupDisk());
}

double DiskSpacePresenter::filesScanned() const {
    return static_cast<double>(driver_.progress().filesScanned);
}

double DiskSpacePresenter::directoriesScanned() const {
    return static_cast<double>(driver_.progress().directoriesScanned);
}

double DiskSpacePresenter::bytesScanned() const {
    return static_cast<double>(driver_.progress().bytesScanned);
}

QString DiskSpacePresenter::currentPath() const {
    return displayString(driver_.progress().currentPath);
}

double DiskSpacePresenter::activityLevel(double entriesPerSecond) {
    return std::clamp(std::log10(1 + std::max(0.0, entriesPerSecond)) / kFullActivityPower, 0.0, 1.0);
}

void DiskSpacePresenter::measureActivity() {
    const double entries = filesScanned() + directoriesScanned();
    const double seconds = static_cast<double>(sinceMeasured_.restart()) / 1000;
    if (seconds <= 0) {
        return;
    }
    const double level = activityLevel((entries - std::exchange(entriesAtMeasure_, entries)) / seconds);
    setActivityLevel(activityLevel_ + (level - activityLevel_) * kActivityEase);
}

void DiskSpacePresenter::setActivityLevel(double level) {
    if (!qFuzzyCompare(1 + level, 1 + activityLevel_)) {
        activityLevel_ = level;
        emit activityLevelChanged();
    }
}

// Kept, since the text of a long removal has a line for each of its failures.
void DiskSpacePresenter::noteError() {
    const auto& failure = driver_.failure();
    if (!failure || failure->kind == DiskFailure::Kind::access) {
        errorText_.clear();
    } else {
        errorText_ = failure->items.empty() ? QString::fromStdString(failure->text)
                                            : texts::firstOf(failure->items, kMostFailuresShown);
    }
    emit errorChanged();
}

QString DiskSpacePresenter::errorHint() const {
    const auto& failure = driver_.failure();
    if (!failure) {
        return {};
    }
    using Kind = DiskFailure::Kind;
    switch (failure->kind) {
        case Kind::access:
            return {};  // an alert tells of it
        case Kind::removal:
            return texts::removalFailedHint();
        case Kind::record:
            return texts::recordMissingHint();
        case Kind::forgetting:
            return texts::forgettingFailedHint();
        case Kind::restoring:
            return texts::restoreFailedHint();
        case Kind::refreshing:
            return texts::refreshFailedHint();
        case Kind::cancelled:
            return texts::scanCancelledHint();
        case Kind::folderMissing:
            return texts::folderMissingHint();
        case Kind::scan:
            break;
    }
    return texts::scanFailedHint();
}

// Used is what is not free at all. What is free and yet not for this user is neither used nor free to him.
DiskSpacePresenter::VolumeParts DiskSpacePresenter::volumeParts() const {
    if (!hasVolume()) {
        return {};
    }
    const std::int64_t total = std::max<std::int64_t>(*volume_.total, 0);
    const std::int64_t available = std::clamp<std::int64_t>(*volume_.available, 0, total);
    const std::int64_t free = std::clamp(volume_.free.value_or(available), available, total);
    return {.used = total - free, .reserved = free - available, .available = available};
}

QString DiskSpacePresenter::volumeUsedText() const {
    return hasVolume() ? texts::bytes(volumeParts().used) : QString();
}

QString DiskSpacePresenter::volumeReservedText() const {
    const std::int64_t reserved = volumeParts().reserved;
    return reserved > 0 ? texts::bytes(reserved) : QString();
}

QString DiskSpacePresenter::volumeFreeText() const {
    return hasVolume() ? texts::bytes(volumeParts().available) : QString();
}

QString DiskSpacePresenter::volumeTotalText() const {
    return hasVolume() ? texts::bytes(*volume_.total) : QString();
}

double DiskSpacePresenter::volumeUsedShare() const {
    return hasVolume() && *volume_.total > 0
               ? static_cast<double>(volumeParts().used) / static_cast<double>(*volume_.total)
               : 0;
}

double DiskSpacePresenter::volumeReservedShare() const {
    return hasVolume() && *volume_.total > 0
               ? static_cast<double>(volumeParts().reserved) / static_cast<double>(*volume_.total)
               : 0;
}

QString DiskSpacePresenter::volumeSpokenText() const {
    return hasVolume() ? texts::volumeSpoken(volumeUsedText(), volumeReservedText(), volumeFreeText(),
                                             volumeTotalText())
                       : QString();
}

void DiskSpacePresenter::refreshVolume() {
    volumeRun_ = context_.run<VolumeCapacity>([read = readCapacity_](std::stop_token) { return read("/"); },
                                              [this](Outcome<VolumeCapacity> outcome) {
                                                  try {
                                                      volume_ = outcome.get();
                                                  } catch (const std::exception&) {
                                                      volume_ = {};  // shown as unknown
                                                  }
                                                  emit volumeChanged();
                                              });
}

void DiskSpacePresenter::navigateToCrumb(int row) {
    if (auto node = breadcrumb_.node(row)) {
        driver_.navigateTo(node);
    }
}

void DiskSpacePresenter::copyScanErrors() const {
    QGuiApplication::clipboard()->setText(scanErrors_.text());
}

QString DiskSpacePresenter::countText(double count) const {
    return texts::grouped(std::llround(count));
}

QString DiskSpacePresenter::byteCountText(double bytes) const {
    return texts::bytes(std::llround(bytes));
}

}  // namespace larkfold
