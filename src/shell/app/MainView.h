// The content of the window: it owns the drivers for the window's life, keeps one tab selected, acts on the
// menu's notifications, and carries what tabs ask of each other. It knows tabs by one table, which stands in
// its source; the flows that begin with a decision of the program (advice about access, forgetting the saved
// scan) have their flags here. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>
#include <QVariantList>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "disk/DiskScannerViewModel.h"
#include "disk/ScanHistoryManager.h"
#include "platform/NotificationCenter.h"
#include "platform/UserDefaults.h"
#include "removal/CleanupHistoryStore.h"
#include "shell/app/PermissionManager.h"
#include "shell/chooser/QmlFolderChooser.h"
#include "shell/disk/DiskSpaceTab.h"
#include "shell/kit/Tab.h"
#include "shell/kit/TabRequests.h"
#include "shell/removal/RemovalPresenter.h"

namespace larkfold {

class MainView : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The program makes the one there is.")

    Q_PROPERTY(larkfold::PermissionManager* permissionManager READ permissionManager CONSTANT)
    Q_PROPERTY(larkfold::QmlFolderChooser* folderChooser READ folderChooser CONSTANT)
    Q_PROPERTY(larkfold::RemovalPresenter* removal READ removal CONSTANT)
    Q_PROPERTY(larkfold::TabRequests* requests READ requests CONSTANT)
    // The tabs there are, each as `tabRows` and with the `tab` that its page gets, in the order of the
    // sidebar.
    Q_PROPERTY(QVariantList tabs READ tabs CONSTANT)
    Q_PROPERTY(int selectedTab READ selectedTab WRITE setSelectedTab NOTIFY selectedTabChanged)
    // The one on screen.
    Q_PROPERTY(larkfold::Tab* current READ current NOTIFY selectedTabChanged)
    Q_PROPERTY(bool historyIsOnScreen READ historyIsOnScreen NOTIFY selectedTabChanged)
    // Whose marked items the menu reviews: the one on screen, otherwise the first that has any.
    Q_PROPERTY(larkfold::Tab* tabToReview READ tabToReview NOTIFY tabToReviewChanged)
    Q_PROPERTY(bool canReturnToMap READ canReturnToMap NOTIFY canReturnToMapChanged)
    // They are about the map, whichever tab is on screen.
    Q_PROPERTY(larkfold::Command* newScan READ newScan CONSTANT)
    Q_PROPERTY(larkfold::Command* cancelScan READ cancelScan CONSTANT)
    Q_PROPERTY(QString windowTitle READ windowTitle NOTIFY windowTitleChanged)
    Q_PROPERTY(bool forgetIndexConfirmation READ forgetIndexConfirmation WRITE setForgetIndexConfirmation
                   NOTIFY forgetIndexConfirmationChanged)
    Q_PROPERTY(bool showFullDiskAccessAlert READ showFullDiskAccessAlert WRITE setShowFullDiskAccessAlert
                   NOTIFY showFullDiskAccessAlertChanged)

public:
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

    // Of each tab that there is its value, title, icon, shortcut and page, whether a window stands or not.
    static QVariantList tabRows();
    // The notification that asks for a tab; empty where there is none.
    static std::string notificationOf(int tab);

    DiskScannerViewModel* scannerViewModel() { return &scannerViewModel_; }
    ScanHistoryManager& historyManager() { return historyManager_; }
    PermissionManager* permissionManager() { return &dependencies_.permissionManager; }
    QmlFolderChooser* folderChooser() { return &folderChooser_; }
    RemovalPresenter* removal() { return &removal_; }
    TabRequests* requests() { return &requests_; }
    DiskSpaceTab* diskSpace() { return diskSpace_; }

    QVariantList tabs() const;
    // The tab on screen. A stored number whose tab is not there shows 0 and stays stored
    // until the user picks a tab.
    int selectedTab() const { return selectedTab_; }
    void setSelectedTab(int tab);
    Tab* current() const { return tabOf(selectedTab_); }
    bool historyIsOnScreen() const;
    Tab* tabToReview() const;
    bool canReturnToMap() const { return diskSpace_->canReturnToMap(); }
    Q_INVOKABLE void returnToMap();
    QString windowTitle() const;

    Command* newScan() const { return diskSpace_->can()->newScan(); }
    Command* cancelScan() const { return diskSpace_->can()->cancelScan(); }
    // What the command "New Scan" does.
    void startNewScan();

    // The button "Scan Entire Disk": starts at once with full access, otherwise advises first.
    void scanEntireDisk();
    bool showFullDiskAccessAlert() const { return showFullDiskAccessAlert_; }
    void setShowFullDiskAccessAlert(bool show);
    // The alert's answer "Scan Available Areas".
    Q_INVOKABLE void scanAvailableAreas();

    // Asks before the saved index goes.
    bool forgetIndexConfirmation() const { return forgetIndexConfirmation_; }
    void setForgetIndexConfirmation(bool show);
    // The alert's button "Forget".
    Q_INVOKABLE void forgetSavedScan();

signals:
    void selectedTabChanged();
    void tabToReviewChanged();
    void canReturnToMapChanged();
    void windowTitleChanged();
    void showFullDiskAccessAlertChanged();
    void forgetIndexConfirmationChanged();

private:
    struct TabRow;
    static const std::vector<TabRow>& rows();

    void makeTabs();
    void observeCommands();
    Tab* tabOf(int value) const;
    void showTab(int tab);

    Dependencies dependencies_;
    std::shared_ptr<bool> isAlive_ = std::make_shared<bool>(true);  // for what waits in the main queue
    QmlFolderChooser folderChooser_;
    CleanupHistoryStore historyStore_;
    DiskScannerViewModel scannerViewModel_;
    ScanHistoryManager historyManager_;
    RemovalPresenter removal_;
    TabRequests requests_;
    std::vector<std::unique_ptr<Tab>> tabs_;  // in the order of the table
    DiskSpaceTab* diskSpace_ = nullptr;       // one of them: some commands of the menu are about the map
    int selectedTab_ = 0;
    bool showFullDiskAccessAlert_ = false;
    bool forgetIndexConfirmation_ = false;
    std::vector<NotificationCenter::Observation> observations_;
};

}  // namespace larkfold
