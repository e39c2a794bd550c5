// The program: its managers, whether the first run is over, and the content of its one window. Main thread
// only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/NotificationCenter.h"
#include "platform/UserDefaults.h"
#include "shell/Appearance.h"
#include "shell/MainView.h"
#include "shell/PermissionManager.h"

namespace larkfold {

class LarkfoldApp : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The program makes the one there is.")
    Q_PROPERTY(larkfold::Appearance* appearance READ appearance CONSTANT)
    Q_PROPERTY(larkfold::PermissionManager* permissionManager READ permissionManager CONSTANT)
    Q_PROPERTY(bool hasCompletedOnboarding READ hasCompletedOnboarding NOTIFY hasCompletedOnboardingChanged)
    // Null until the first run's pages have ended: no driver works behind them.
    Q_PROPERTY(larkfold::MainView* mainView READ mainView NOTIFY hasCompletedOnboardingChanged)

public:
    // What the program needs of the world. References outlive it.
    struct World {
        MainQueue& mainQueue;
        UserDefaults& defaults;
        Appearance& appearance;
        PermissionManager::World permissions = {};
        std::optional<std::string> indexFileURL = std::nullopt;  // absent: the place that the driver names
        DiskSpacePresenter::CapacityReader readCapacity = volumeCapacity;
        // Of removals, as `MainView` takes them.
        std::optional<std::string> cleanupHistoryURL = std::nullopt;
        DiskScannerViewModel::Gate gate = nullptr;
        std::function<void(const std::string&, std::function<void(bool)>)> reveal = nullptr;
    };

    explicit LarkfoldApp(World world, QObject* parent = nullptr);
    ~LarkfoldApp() override;

    Appearance* appearance() { return &world_.appearance; }
    PermissionManager* permissionManager() { return &permissionManager_; }
    NotificationCenter& notifications() { return notifications_; }
    MainView* mainView() { return mainView_.get(); }

    // The user default "hasCompletedOnboarding".
    bool hasCompletedOnboarding() const { return mainView_ != nullptr; }
    // The last page's "Get Started".
    Q_INVOKABLE void completeOnboarding();

    // What the menu's commands do: each posts the notification of its name.
    Q_INVOKABLE void newScan();
    Q_INVOKABLE void cancelScan();
    Q_INVOKABLE void showDiskSpace();

signals:
    void hasCompletedOnboardingChanged();

private:
    void makeMainView();

    World world_;
    NotificationCenter notifications_;
    PermissionManager permissionManager_;
    std::unique_ptr<MainView> mainView_;
};

}  // namespace larkfold
