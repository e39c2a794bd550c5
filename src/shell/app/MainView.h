// The content of the window: it owns the drivers for the window's life, keeps one tab selected, acts on the
// menu's notifications, and carries the flows around a scan: the advice about access, the folder chooser,
// dropped folders; and those around a removal: the review before it, the banner after it. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QList>
#include <QObject>
#include <QString>
#include <QUrl>
#include <QVariantList>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "disk/DiskScannerViewModel.h"
#include "disk/ScanHistoryManager.h"
#include "platform/NotificationCenter.h"
#include "platform/SerialContext.h"
#include "platform/UserDefaults.h"
#include "removal/CleanupHistoryStore.h"
#include "shell/app/PermissionManager.h"
#include "shell/chooser/QmlFolderChooser.h"
#include "shell/disk/DiskSpacePresenter.h"
#include "shell/disk/RecentScansModel.h"
#include "shell/removal/CleanupHistoryModel.h"
#include "shell/removal/CleanupResultPresenter.h"
#include "shell/removal/CleanupReviewModel.h"
#include "shell/removal/InterruptedRemovalModel.h"

namespace larkfold {

class MainView : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The program makes the one there is.")

    Q_PROPERTY(larkfold::DiskScannerViewModel* scannerViewModel READ scannerViewModel CONSTANT)
    Q_PROPERTY(larkfold::DiskSpacePresenter* diskSpace READ diskSpace CONSTANT)
    Q_PROPERTY(larkfold::PermissionManager* permissionManager READ permissionManager CONSTANT)
    Q_PROPERTY(larkfold::QmlFolderChooser* folderChooser READ folderChooser CONSTANT)
    Q_PROPERTY(larkfold::CleanupReviewModel* cleanupReview READ cleanupReview CONSTANT)
    Q_PROPERTY(larkfold::CleanupResultPresenter* cleanupResult READ cleanupResult CONSTANT)
    Q_PROPERTY(larkfold::CleanupHistoryModel* cleanupHistory READ cleanupHistory CONSTANT)
    Q_PROPERTY(larkfold::InterruptedRemovalModel* interruptedRemoval READ interruptedRemoval CONSTANT)
    Q_PROPERTY(larkfold::RecentScansModel* recentScans READ recentScans CONSTANT)
    // The tabs there are, each {value, title, icon}, in the order of the sidebar.
    Q_PROPERTY(QVariantList tabs READ tabs CONSTANT)
    Q_PROPERTY(int selectedTab READ selectedTab WRITE setSelectedTab NOTIFY selectedTabChanged)
    Q_PROPERTY(QString windowTitle READ windowTitle NOTIFY windowTitleChanged)
    Q_PROPERTY(larkfold::MainView::DiskPage diskPage READ diskPage NOTIFY diskPageChanged)
    Q_PROPERTY(bool canReturnToMap READ canReturnToMap NOTIFY diskPageChanged)
    Q_PROPERTY(bool forgetIndexConfirmation READ forgetIndexConfirmation WRITE setForgetIndexConfirmation
                   NOTIFY forgetIndexConfirmationChanged)
    Q_PROPERTY(bool showFullDiskAccessAlert READ showFullDiskAccessAlert WRITE setShowFullDiskAccessAlert
                   NOTIFY showFullDiskAccessAlertChanged)
    Q_PROPERTY(bool showDiskAccessIssue READ showDiskAccessIssue NOTIFY showDiskAccessIssueChanged)
    Q_PROPERTY(QString dropMessage READ dropMessage NOTIFY dropMessageChanged)

public:
    // What stands in the disk tab. Views reach an enumerator only by a capital.
    enum class DiskPage { Start, Restoring, Scanning, Result };
    Q_ENUM(DiskPage)

    // What the window's content is given. All outlive it.
    struct Dependencies {
        MainQueue& mainQueue;
        UserDefaults& defaults;
        NotificationCenter& notifications;
        PermissionManager& permissionManager;
        std::optional<std::string> indexFileURL;  // absent: the place that the driver names
        DiskSpacePresenter::CapacityReader readCapacity = volumeCapacity;
        // Of removals: where they are recorded (absent: the store's place), the gate (null: the driver's
        // own), and who shows what lies in Trash (null: the desktop).
        std::optional<std::string> cleanupHistoryURL = std::nullopt;
        DiskScannerViewModel::Gate gate = nullptr;
        std::function<void(const std::string&, std::function<void(bool)>)> reveal = nullptr;
    };

    explicit MainView(Dependencies dependencies, QObject* parent = nullptr);
    ~MainView() override;

    DiskScannerViewModel* scannerViewModel() { return &scannerViewModel_; }
    DiskSpacePresenter* diskSpace() { return &diskSpace_; }
    PermissionManager* permissionManager() { return &dependencies_.permissionManager; }
    QmlFolderChooser* folderChooser() { return &folderChooser_; }

    CleanupReviewModel* cleanupReview() { return &cleanupReview_; }
    CleanupResultPresenter* cleanupResult() { return &cleanupResult_; }
    CleanupHistoryModel* cleanupHistory() { return &cleanupHistory_; }
    InterruptedRemovalModel* interruptedRemoval() { return &interruptedRemoval_; }

    ScanHistoryManager& historyManager() { return historyManager_; }
    RecentScansModel* recentScans() { return &recentScans_; }

    QVariantList tabs() const;
    // The tab on screen. A stored number whose tab is not there shows 0 and stays stored until the user picks
    // a tab.
    int selectedTab() const { return selectedTab_; }
    void setSelectedTab(int tab);
    QString windowTitle() const;

    DiskPage diskPage() const;
    bool canReturnToMap() const;
    Q_INVOKABLE void returnToMap();
    // The button "New Scan": what the menu's command of that name does.
    Q_INVOKABLE void startNewScan();

    // The button "Scan Entire Disk": starts at once with full access, otherwise advises first.
    Q_INVOKABLE void scanEntireDisk();
    bool showFullDiskAccessAlert() const { return showFullDiskAccessAlert_; }
    void setShowFullDiskAccessAlert(bool show);
    // The alert's answer "Scan Available Areas".
    Q_INVOKABLE void scanAvailableAreas();
    // The button "Scan Folder".
    Q_INVOKABLE void scanFolder();
    // Takes the first of the items dropped on the start page as a chosen folder.
    Q_INVOKABLE void drop(const QList<QUrl>& urls);
    QString dropMessage() const { return dropMessage_; }
    Q_INVOKABLE void dismissDropMessage();

    // The button "Delete Selected" and the key Delete: shows what is marked before anything is removed.
    Q_INVOKABLE void reviewMarked();
    // The banner's button: the history, with what the banner tells of open.
    Q_INVOKABLE void showCleanupHistory();

    // Asks before the saved index goes.
    bool forgetIndexConfirmation() const { return forgetIndexConfirmation_; }
    void setForgetIndexConfirmation(bool show);
    // The alert's button "Forget".
    Q_INVOKABLE void forgetSavedScan();

    // The alert about a scan that failed for want of permission.
    bool showDiskAccessIssue() const;

signals:
    void selectedTabChanged();
    void windowTitleChanged();
    void diskPageChanged();
    void showFullDiskAccessAlertChanged();
    void showDiskAccessIssueChanged();
    void forgetIndexConfirmationChanged();
    void dropMessageChanged();

private:
    void observeCommands();
    void observeRemoval();
    void showTab(int tab);
    void showStartPage(bool show);
    void setDropMessage(const QString& message);

    Dependencies dependencies_;
    QmlFolderChooser folderChooser_;
    std::shared_ptr<bool> isAlive_ = std::make_shared<bool>(true);  // for what waits in the main queue
    CleanupHistoryStore historyStore_;
    CleanupReviewModel cleanupReview_;
    CleanupResultPresenter cleanupResult_;
    DiskScannerViewModel scannerViewModel_;
    DiskSpacePresenter diskSpace_;
    CleanupHistoryModel cleanupHistory_;
    InterruptedRemovalModel interruptedRemoval_;
    ScanHistoryManager historyManager_;
    RecentScansModel recentScans_;
    int selectedTab_ = 0;
    bool wantsStartPage_ = false;  // "New Scan" while a result is there
    bool showFullDiskAccessAlert_ = false;
    bool forgetIndexConfirmation_ = false;
    QString dropMessage_;
    SerialContext dropContext_;
    Run dropRun_;
    std::vector<NotificationCenter::Observation> observations_;
};

}  // namespace larkfold
