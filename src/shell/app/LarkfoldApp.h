// The program: its managers and settings, whether the first run is over, the content of its one window, and
// which of the small windows beside it are open. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>
#include <QVariantList>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/NotificationCenter.h"
#include "platform/UserDefaults.h"
#include "shell/app/Appearance.h"
#include "shell/app/MainView.h"
#include "shell/app/PermissionManager.h"
#include "shell/app/Settings.h"
#include "shell/updates/UpdateManager.h"

namespace larkfold {

class LarkfoldApp : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The program makes the one there is.")
    Q_PROPERTY(larkfold::Appearance* appearance READ appearance CONSTANT)
    Q_PROPERTY(larkfold::PermissionManager* permissionManager READ permissionManager CONSTANT)
    Q_PROPERTY(larkfold::UpdateManager* updateManager READ updateManager CONSTANT)
    Q_PROPERTY(larkfold::Settings* settings READ settings CONSTANT)
    // As the user reads it: "0.1.0".
    Q_PROPERTY(QString version READ version CONSTANT)
    Q_PROPERTY(bool showSettings READ showSettings WRITE setShowSettings NOTIFY showSettingsChanged)
    Q_PROPERTY(bool showPrivacyPolicy READ showPrivacyPolicy WRITE setShowPrivacyPolicy NOTIFY
                   showPrivacyPolicyChanged)
    // The policy says something else than when it was last looked at, or than at the first start.
    Q_PROPERTY(bool privacyPolicyHasChanged READ privacyPolicyHasChanged NOTIFY showPrivacyPolicyChanged)
    // Maps with "heading", "body" and "note".
    Q_PROPERTY(QVariantList privacySections READ privacySections CONSTANT)
    Q_PROPERTY(QString privacyClosingLine READ privacyClosingLine CONSTANT)
    Q_PROPERTY(bool hasCompletedOnboarding READ hasCompletedOnboarding NOTIFY hasCompletedOnboardingChanged)
    // As `MainView::tabRows`: the menu has them before there is a window's content.
    Q_PROPERTY(QVariantList tabRows READ tabRows CONSTANT)
    // Null until the first run's pages have ended: no driver works behind them.
    Q_PROPERTY(larkfold::MainView* mainView READ mainView NOTIFY hasCompletedOnboardingChanged)

public:
    // What the program is given. References outlive it.
    struct Dependencies {
        MainQueue& mainQueue;
        UserDefaults& defaults;
        Appearance& appearance;
        PermissionManager::Dependencies permissions = {};
        UpdateManager::Dependencies updates = {};
        std::optional<std::string> indexFileURL = std::nullopt;  // absent: the place that the driver names
        DiskSpacePresenter::CapacityReader readCapacity = volumeCapacity;
        // Of removals, as `MainView` takes them.
        std::optional<std::string> cleanupHistoryURL = std::nullopt;
        DiskScannerViewModel::Gate gate = nullptr;
        std::function<void(const std::string&, std::function<void(bool)>)> reveal = nullptr;
    };

    explicit LarkfoldApp(Dependencies dependencies, QObject* parent = nullptr);
    ~LarkfoldApp() override;

    Appearance* appearance() { return &dependencies_.appearance; }
    PermissionManager* permissionManager() { return &permissionManager_; }
    UpdateManager* updateManager() { return &updateManager_; }
    Settings* settings() { return &settings_; }
    NotificationCenter& notifications() { return notifications_; }
    MainView* mainView() { return mainView_.get(); }

    QString version() const;
    static QVariantList tabRows() { return MainView::tabRows(); }

    // The windows of the settings and of the privacy policy.
    bool showSettings() const { return showSettings_; }
    void setShowSettings(bool show);
    bool showPrivacyPolicy() const { return showPrivacyPolicy_; }
    void setShowPrivacyPolicy(bool show);
    bool privacyPolicyHasChanged() const;
    static QVariantList privacySections();
    static QString privacyClosingLine();

    // The user default "hasCompletedOnboarding" as it stood at the start, or became by "Get Started": what
    // the settings change about it holds from the next start on.
    bool hasCompletedOnboarding() const { return mainView_ != nullptr; }
    // The last page's "Get Started".
    Q_INVOKABLE void completeOnboarding();

    // What the menu's commands do: each posts the notification of its name.
    Q_INVOKABLE void newScan();
    Q_INVOKABLE void cancelScan();
    Q_INVOKABLE void showTab(int tab);

signals:
    void hasCompletedOnboardingChanged();
    // Also when such a window is asked for again while it is open: then it comes forward.
    void showSettingsChanged();
    void showPrivacyPolicyChanged();

private:
    void makeMainView();
    void rememberPrivacyPolicy();

    Dependencies dependencies_;
    NotificationCenter notifications_;
    PermissionManager permissionManager_;
    UpdateManager updateManager_;
    Settings settings_;
    bool showSettings_ = false;
    bool showPrivacyPolicy_ = false;
    std::unique_ptr<MainView> mainView_;
};

}  // namespace larkfold
