#include "shell/app/MainView.h"

#include <QVariantMap>
#include <algorithm>
#include <array>
#include <exception>
#include <utility>

#include "platform/Bookmark.h"
#include "platform/Path.h"
#include "platform/qt/PathText.h"
#include "shell/app/ShellTexts.h"

namespace larkfold {

namespace {

constexpr const char* kSelectedTabKey = "selectedTab";

constexpr int kDiskSpace = 0;
constexpr int kCleanupHistory = 5;

struct Tab {
    int value;
    const char* title;
    const char* icon;
};

// A tab stands here when there is something behind it. The values are stored, so they never change.
constexpr std::array kTabs{
    Tab{.value = kDiskSpace, .title = "Disk Space", .icon = "disk"},
    Tab{.value = kCleanupHistory, .title = "Cleanup History", .icon = "history"},
};

// Tells the window of each change of the history. Called on the thread that wrote; what it posts may arrive
// when the window has gone.
std::function<void()> announcer(MainQueue& mainQueue, NotificationCenter& notifications,
                                std::weak_ptr<bool> isAlive) {
    return [&mainQueue, &notifications, isAlive = std::move(isAlive)] {
        mainQueue.post([&notifications, isAlive] {
            if (!isAlive.expired()) {
                notifications.post(CleanupHistoryStore::changedNotification);
            }
        });
    };
}

bool isTab(std::int64_t value) {
    return std::any_of(kTabs.begin(), kTabs.end(), [value](const Tab& tab) { return tab.value == value; });
}

}  // namespace

MainView::MainView(Dependencies dependencies, QObject* parent)
    : QObject(parent),
      dependencies_(std::move(dependencies)),
      folderChooser_({.mainQueue = dependencies_.mainQueue}),
      historyStore_(dependencies_.cleanupHistoryURL,
                    announcer(dependencies_.mainQueue, dependencies_.notifications, isAlive_)),
      scannerViewModel_({.mainQueue = dependencies_.mainQueue,
                         .defaults = dependencies_.defaults,
                         .folderChooser = &folderChooser_,
                         .indexFileURL = dependencies_.indexFileURL,
                         .cleanupHistory = &historyStore_,
                         .gate = dependencies_.gate,
                         .makeStream = nullptr,
                         .ownFolders = {std::string(parentPath(UserDefaults::standardFile()))}}),
      diskSpace_(scannerViewModel_, dependencies_.mainQueue, dependencies_.readCapacity),
      cleanupHistory_({.mainQueue = dependencies_.mainQueue,
                       .notifications = dependencies_.notifications,
                       .store = historyStore_,
                       .reveal = dependencies_.reveal}),
      interruptedRemoval_(
          {.mainQueue = dependencies_.mainQueue, .store = historyStore_, .reveal = dependencies_.reveal}),
      historyManager_(dependencies_.defaults, dependencies_.mainQueue),
      recentScans_(historyManager_, scannerViewModel_),
      dropContext_(dependencies_.mainQueue, "drop") {
    const auto stored = dependencies_.defaults.integerForKey(kSelectedTabKey).value_or(0);
    selectedTab_ = isTab(stored) ? static_cast<int>(stored) : 0;

    connect(&scannerViewModel_, &DiskScannerViewModel::isScanningChanged, this, [this] {
        if (scannerViewModel_.isScanning()) {
            setDropMessage({});
            wantsStartPage_ = false;
        }
        emit diskPageChanged();
    });
    connect(&scannerViewModel_, &DiskScannerViewModel::scanResultChanged, this, &MainView::diskPageChanged);
    connect(&scannerViewModel_, &DiskScannerViewModel::isRefreshingIndexChanged, this,
            &MainView::diskPageChanged);
    connect(&scannerViewModel_, &DiskScannerViewModel::errorChanged, this,
            &MainView::showDiskAccessIssueChanged);
    connect(&scannerViewModel_, &DiskScannerViewModel::scanFinished, this, [this](const ScanResult& result) {
        historyManager_.add(result, scannerViewModel_.scanRootBookmarkData());
    });
    connect(&diskSpace_, &DiskSpacePresenter::subjectChanged, this, &MainView::windowTitleChanged);
    observeCommands();
    observeRemoval();
    if (selectedTab_ == kCleanupHistory) {
        cleanupHistory_.load();
    }
}

MainView::~MainView() = default;

void MainView::observeCommands() {
    observations_.push_back(dependencies_.notifications.observe("newScan", [this] {
        showTab(kDiskSpace);
        showStartPage(true);
    }));
    observations_.push_back(
        dependencies_.notifications.observe("cancelScan", [this] { scannerViewModel_.cancelScan(); }));
    observations_.push_back(
        dependencies_.notifications.observe("showDiskSpace", [this] { showTab(kDiskSpace); }));
}

void MainView::observeRemoval() {
    // The driver's flag and the sheet go together, whoever closes it.
    connect(&scannerViewModel_, &DiskScannerViewModel::showDeleteConfirmationChanged, this, [this] {
        if (!scannerViewModel_.showDeleteConfirmation()) {
            cleanupReview_.cancel();
        } else {
            cleanupReview_.prepare();
        }
    });
    connect(&scannerViewModel_, &DiskScannerViewModel::reviewProgressChanged, this, [this] {
        const auto& progress = scannerViewModel_.reviewProgress();
        cleanupReview_.setProgress(progress.answered, progress.total, progress.awaited);
    });
    connect(&scannerViewModel_, &DiskScannerViewModel::reviewPrepared, this, [this] {
        // What is confirmed is what is shown here, whatever the driver holds by then.
        const auto review = scannerViewModel_.review();
        cleanupReview_.open(
            review->shown, {.notice = scannerViewModel_.markNotice().toStdString()},
            [this, review](bool permanently) { scannerViewModel_.deleteSelected(permanently, review); });
    });
    connect(&cleanupReview_, &CleanupReviewModel::isOpenChanged, this, [this] {
        if (!cleanupReview_.isOpen()) {
            scannerViewModel_.setShowDeleteConfirmation(false);
        }
    });
    connect(&scannerViewModel_, &DiskScannerViewModel::cleanupFinished, &cleanupResult_,
            &CleanupResultPresenter::show);
    connect(&interruptedRemoval_, &InterruptedRemovalModel::problemsFound, &cleanupHistory_,
            &CleanupHistoryModel::setJournalProblem);
    interruptedRemoval_.recover();
}

void MainView::reviewMarked() {
    if (scannerViewModel_.hasScanResult() && !scannerViewModel_.isScanning() &&
        !scannerViewModel_.isDeleting()) {
        scannerViewModel_.setShowDeleteConfirmation(true);
    }
}

void MainView::showCleanupHistory() {
    if (cleanupResult_.latestCleanup()) {
        cleanupHistory_.expand(cleanupResult_.latestCleanup()->id);
    }
    showTab(kCleanupHistory);
}

QVariantList MainView::tabs() const {
    QVariantList list;
    for (const Tab& tab : kTabs) {
        list.append(QVariantMap{{QStringLiteral("value"), tab.value},
                                {QStringLiteral("title"), QString::fromUtf8(tab.title)},
                                {QStringLiteral("icon"), QString::fromUtf8(tab.icon)}});
    }
    return list;
}

void MainView::setSelectedTab(int tab) {
    if (isTab(tab)) {
        showTab(tab);
    }
}

void MainView::showTab(int tab) {
    if (selectedTab_ == tab) {
        return;
    }
    selectedTab_ = tab;
    try {
        dependencies_.defaults.setInteger(kSelectedTabKey, tab);
    } catch (const std::exception&) {
        // Not remembered, and no reason to disturb: the tab is shown all the same.
    }
    emit selectedTabChanged();
    emit windowTitleChanged();
    if (tab == kCleanupHistory) {
        cleanupHistory_.load();
    }
}

QString MainView::windowTitle() const {
    const QString title =
        selectedTab_ == kCleanupHistory ? QStringLiteral("Cleanup History") : diskSpace_.title();
    return title.isEmpty() ? QStringLiteral("Larkfold") : QStringLiteral("%1 — Larkfold").arg(title);
}

MainView::DiskPage MainView::diskPage() const {
    if (scannerViewModel_.isRestoring()) {
        return DiskPage::Restoring;
    }
    // A refresh leaves the map on screen.
    if (scannerViewModel_.isScanning() && !scannerViewModel_.isRefreshingIndex()) {
        return DiskPage::Scanning;
    }
    return scannerViewModel_.hasScanResult() && !wantsStartPage_ ? DiskPage::Result : DiskPage::Start;
}

bool MainView::canReturnToMap() const {
    return diskPage() == DiskPage::Start && scannerViewModel_.hasScanResult();
}

void MainView::returnToMap() {
    showStartPage(false);
}

void MainView::startNewScan() {
    dependencies_.notifications.post("newScan");
}

void MainView::showStartPage(bool show) {
    // During a scan or a removal the page stays: there is nothing that could be started.
    if (!scannerViewModel_.isScanning() && !scannerViewModel_.isDeleting() && wantsStartPage_ != show) {
        wantsStartPage_ = show;
        setDropMessage({});
        emit diskPageChanged();
    }
}

void MainView::scanEntireDisk() {
    if (dependencies_.permissionManager.hasFullDiskAccess()) {
        scannerViewModel_.scanStartupDisk();
    } else {
        setShowFullDiskAccessAlert(true);
    }
}

void MainView::setShowFullDiskAccessAlert(bool show) {
    if (showFullDiskAccessAlert_ != show) {
        showFullDiskAccessAlert_ = show;
        emit showFullDiskAccessAlertChanged();
    }
}

void MainView::setForgetIndexConfirmation(bool show) {
    if (forgetIndexConfirmation_ != show) {
        forgetIndexConfirmation_ = show;
        emit forgetIndexConfirmationChanged();
    }
}

void MainView::forgetSavedScan() {
    setForgetIndexConfirmation(false);
    scannerViewModel_.forgetSavedScan();
}

void MainView::scanAvailableAreas() {
    setShowFullDiskAccessAlert(false);
    scannerViewModel_.scanStartupDisk();
}

void MainView::scanFolder() {
    setDropMessage({});
    scannerViewModel_.chooseFolder();
}

void MainView::drop(const QList<QUrl>& urls) {
    setDropMessage({});
    const auto path = urls.isEmpty() ? std::nullopt : pathFromFileURL(urls.first());
    if (!path) {
        setDropMessage(texts::dropFailed());
        return;
    }
    // Whether it is a folder that can be listed is asked off the main thread: the disk may not answer.
    dropRun_ = dropContext_.run<bool>(
        [path](std::stop_token) {
            const bool accessible = startAccessingSecurityScopedResource(*path);
            if (accessible) {
                stopAccessingSecurityScopedResource(*path);
            }
            return accessible;
        },
        [this, path](Outcome<bool> outcome) {
            bool accessible = false;
            try {
                accessible = outcome.get();
            } catch (const std::exception&) {
                accessible = false;
            }
            if (accessible) {
                scannerViewModel_.scanFolder(*path);
            } else {
                setDropMessage(texts::dropFailed());
            }
        });
}

void MainView::setDropMessage(const QString& message) {
    if (dropMessage_ != message) {
        dropMessage_ = message;
        emit dropMessageChanged();
    }
}

void MainView::dismissDropMessage() {
    setDropMessage({});
}

bool MainView::showDiskAccessIssue() const {
    return scannerViewModel_.error().has_value() && scannerViewModel_.isAccessProblem();
}

}  // namespace larkfold
