#include "shell/app/MainView.h"

#include <QVariantMap>
#include <algorithm>
#include <cstddef>
#include <exception>
#include <utility>

#include "platform/Path.h"
#include "shell/removal/CleanupHistoryTab.h"

namespace larkfold {

namespace {

constexpr const char* kSelectedTabKey = "selectedTab";

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

// The values are stored, so they never change.
enum TabValue : int { diskSpace = 0, cleanupHistory = 5 };

}  // namespace

// --- The table of tabs

struct MainView::TabRow {
    int value;
    const char* title;
    const char* icon;
    const char* shortcut;      // empty where there is none
    const char* notification;  // that asks for it; empty where none does
    const char* page;          // its view, which gets `tab` and `view`
    std::unique_ptr<Tab> (*make)(MainView& view);
};

// In the order of the sidebar. A tab stands here when there is something behind it.
const std::vector<MainView::TabRow>& MainView::rows() {
    static const std::vector<TabRow> table{
        {.value = TabValue::diskSpace,
         .title = "Disk Space",
         .icon = "disk",
         .shortcut = "Ctrl+1",
         .notification = "showDiskSpace",
         .page = "DiskSpaceView.qml",
         .make = [](MainView& view) -> std::unique_ptr<Tab> {
             DiskScannerViewModel& driver = view.scannerViewModel_;
             view.removal_.attach(TabValue::diskSpace, *driver.removalRun(), driver.reviewRequest());
             auto tab = std::make_unique<DiskSpaceTab>(
                 DiskSpaceTab::Dependencies{.mainQueue = view.dependencies_.mainQueue,
                                            .driver = driver,
                                            .history = view.historyManager_,
                                            .readCapacity = view.dependencies_.readCapacity});
             view.diskSpace_ = tab.get();
             return tab;
         }},
        {.value = TabValue::cleanupHistory,
         .title = "Cleanup History",
         .icon = "history",
         .shortcut = "",
         .notification = "",
         .page = "CleanupHistoryView.qml",
         .make = [](MainView& view) -> std::unique_ptr<Tab> {
             return std::make_unique<CleanupHistoryTab>(*view.removal_.history());
         }},
    };
    return table;
}

// --- Beginning and end

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
      historyManager_(dependencies_.defaults, dependencies_.mainQueue),
      removal_({.mainQueue = dependencies_.mainQueue,
                .notifications = dependencies_.notifications,
                .store = historyStore_,
                .reveal = dependencies_.reveal}) {
    connect(&scannerViewModel_, &DiskScannerViewModel::scanFinished, this, [this](const ScanResult& result) {
        historyManager_.add(result, scannerViewModel_.scanRootBookmarkData());
    });
    connect(&scannerViewModel_, &DiskScannerViewModel::mapUpdated, &historyManager_,
            &ScanHistoryManager::updateFigures);
    makeTabs();
    observeCommands();
    connect(&requests_, &TabRequests::tabWanted, this, &MainView::showTab);
    connect(&removal_, &RemovalPresenter::historyWanted, this, [this] { showTab(TabValue::cleanupHistory); });
    removal_.recover();
    const auto stored = dependencies_.defaults.integerForKey(kSelectedTabKey).value_or(TabValue::diskSpace);
    selectedTab_ = std::in_range<int>(stored) && tabOf(static_cast<int>(stored)) != nullptr
                       ? static_cast<int>(stored)
                       : TabValue::diskSpace;
    current()->appear();
}

MainView::~MainView() = default;

void MainView::makeTabs() {
    for (const TabRow& row : rows()) {
        Tab* tab = tabs_.emplace_back(row.make(*this)).get();
        connect(tab, &Tab::markedChanged, this, &MainView::tabToReviewChanged);
        connect(tab, &Tab::subjectChanged, this, [this, tab] {
            if (tab == current()) {
                emit windowTitleChanged();
            }
        });
    }
    connect(diskSpace_, &DiskSpaceTab::pageChanged, this, &MainView::canReturnToMapChanged);
    DiskCommands& can = *diskSpace_->can();
    connect(can.newScan(), &Command::triggered, this, &MainView::startNewScan);
    connect(can.scanDisk(), &Command::triggered, this, &MainView::scanEntireDisk);
    connect(can.forget(), &Command::triggered, this, [this] { setForgetIndexConfirmation(true); });
}

void MainView::observeCommands() {
    NotificationCenter& notifications = dependencies_.notifications;
    observations_.push_back(notifications.observe("newScan", [this] {
        showTab(TabValue::diskSpace);
        diskSpace_->showStartPage(true);
    }));
    observations_.push_back(notifications.observe("cancelScan", [this] { scannerViewModel_.cancelScan(); }));
    for (const TabRow& row : rows()) {
        if (*row.notification != '\0') {
            observations_.push_back(
                notifications.observe(row.notification, [this, value = row.value] { showTab(value); }));
        }
    }
}

// --- Tabs

QVariantList MainView::tabRows() {
    QVariantList list;
    for (const TabRow& row : rows()) {
        list.append(QVariantMap{{QStringLiteral("value"), row.value},
                                {QStringLiteral("title"), QString::fromUtf8(row.title)},
                                {QStringLiteral("icon"), QString::fromUtf8(row.icon)},
                                {QStringLiteral("shortcut"), QString::fromUtf8(row.shortcut)},
                                {QStringLiteral("page"), QString::fromUtf8(row.page)}});
    }
    return list;
}

std::string MainView::notificationOf(int tab) {
    const auto found =
        std::find_if(rows().begin(), rows().end(), [tab](const TabRow& row) { return row.value == tab; });
    return found == rows().end() ? std::string() : found->notification;
}

bool MainView::historyIsOnScreen() const {
    return selectedTab_ == TabValue::cleanupHistory;
}

QVariantList MainView::tabs() const {
    QVariantList list = tabRows();
    for (qsizetype index = 0; index < list.size(); ++index) {
        QVariantMap row = list[index].toMap();
        row.insert(QStringLiteral("tab"), QVariant::fromValue(tabs_[static_cast<std::size_t>(index)].get()));
        list[index] = row;
    }
    return list;
}

Tab* MainView::tabOf(int value) const {
    for (std::size_t index = 0; index < tabs_.size(); ++index) {
        if (rows()[index].value == value) {
            return tabs_[index].get();
        }
    }
    return nullptr;
}

Tab* MainView::tabToReview() const {
    if (current()->canReview()) {
        return current();
    }
    const auto found =
        std::find_if(tabs_.begin(), tabs_.end(), [](const auto& tab) { return tab->canReview(); });
    return found == tabs_.end() ? nullptr : found->get();
}

void MainView::setSelectedTab(int tab) {
    if (tabOf(tab) != nullptr) {
        showTab(tab);
    }
}

void MainView::showTab(int tab) {
    if (selectedTab_ == tab) {
        return;
    }
    selectedTab_ = tab;
    // Where that cannot be saved it is not remembered, and no reason to disturb.
    dependencies_.defaults.setInteger(kSelectedTabKey, tab);
    emit selectedTabChanged();
    emit tabToReviewChanged();
    emit windowTitleChanged();
    current()->appear();
}

QString MainView::windowTitle() const {
    const QString subject = current()->subject();
    return subject.isEmpty() ? QStringLiteral("Larkfold") : QStringLiteral("%1 — Larkfold").arg(subject);
}

void MainView::returnToMap() {
    showTab(TabValue::diskSpace);
    diskSpace_->returnToMap();
}

// --- What begins with a decision of the program

void MainView::startNewScan() {
    dependencies_.notifications.post("newScan");
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

void MainView::scanAvailableAreas() {
    setShowFullDiskAccessAlert(false);
    scannerViewModel_.scanStartupDisk();
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

}  // namespace larkfold
