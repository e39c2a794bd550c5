#include "shell/app/LarkfoldApp.h"

#include <QVariantMap>
#include <utility>

#include "shell/app/PrivacyTexts.h"
#include "shell/updates/BuildInformation.h"

namespace larkfold {

namespace {

constexpr const char* kHasCompletedOnboardingKey = "hasCompletedOnboarding";
constexpr const char* kPrivacyRevisionKey = "privacyPolicyRevision";

}  // namespace

LarkfoldApp::LarkfoldApp(Dependencies dependencies, QObject* parent)
    : QObject(parent),
      dependencies_(std::move(dependencies)),
      permissionManager_(dependencies_.mainQueue, dependencies_.permissions),
      updateManager_(dependencies_.mainQueue, dependencies_.defaults, dependencies_.updates),
      settings_(dependencies_.defaults) {
    if (!dependencies_.defaults.integerForKey(kPrivacyRevisionKey)) {
        rememberPrivacyPolicy();  // who has not seen another one is told of no change
    }
    if (dependencies_.defaults.boolForKey(kHasCompletedOnboardingKey).value_or(false)) {
        makeMainView();
    }
}

LarkfoldApp::~LarkfoldApp() = default;

void LarkfoldApp::completeOnboarding() {
    // Where the home cannot be written, the pages come again next time, and the program works now.
    dependencies_.defaults.setBool(kHasCompletedOnboardingKey, true);
    if (!mainView_) {
        makeMainView();
        emit hasCompletedOnboardingChanged();
    }
}

void LarkfoldApp::makeMainView() {
    mainView_ = std::make_unique<MainView>(
        MainView::Dependencies{.mainQueue = dependencies_.mainQueue,
                               .defaults = dependencies_.defaults,
                               .notifications = notifications_,
                               .permissionManager = permissionManager_,
                               .indexFileURL = dependencies_.indexFileURL,
                               .readCapacity = dependencies_.readCapacity,
                               .cleanupHistoryURL = dependencies_.cleanupHistoryURL,
                               .gate = dependencies_.gate,
                               .reveal = dependencies_.reveal});
    // Two places show the same setting.
    DiskScannerViewModel* scanner = mainView_->scannerViewModel();
    connect(&settings_, &Settings::skipHiddenFilesChanged, scanner,
            &DiskScannerViewModel::skipHiddenFilesChanged);
    connect(scanner, &DiskScannerViewModel::skipHiddenFilesChanged, &settings_, &Settings::readAgain);
}

QString LarkfoldApp::version() const {
    return QString::fromStdString(dependencies_.updates.version);
}

void LarkfoldApp::setShowSettings(bool show) {
    if (show || showSettings_) {
        showSettings_ = show;
        emit showSettingsChanged();
    }
}

void LarkfoldApp::setShowPrivacyPolicy(bool show) {
    if (show || showPrivacyPolicy_) {
        showPrivacyPolicy_ = show;
        rememberPrivacyPolicy();
        emit showPrivacyPolicyChanged();
    }
}

bool LarkfoldApp::privacyPolicyHasChanged() const {
    return dependencies_.defaults.integerForKey(kPrivacyRevisionKey).value_or(privacy::revision) <
           privacy::revision;
}

void LarkfoldApp::rememberPrivacyPolicy() {
    if (dependencies_.defaults.integerForKey(kPrivacyRevisionKey) == privacy::revision) {
        return;
    }
    // Where that cannot be saved, the user is told once more at the next start.
    dependencies_.defaults.setInteger(kPrivacyRevisionKey, privacy::revision);
}

QVariantList LarkfoldApp::privacySections() {
    QVariantList list;
    for (const privacy::Section& section : privacy::sections()) {
        list.append(QVariantMap{{QStringLiteral("heading"), QString::fromStdString(section.heading)},
                                {QStringLiteral("body"), QString::fromStdString(section.body)},
                                {QStringLiteral("note"), QString::fromStdString(section.note)}});
    }
    return list;
}

QString LarkfoldApp::privacyClosingLine() {
    return QString::fromUtf8(privacy::closingLine());
}

void LarkfoldApp::newScan() {
    notifications_.post("newScan");
}

void LarkfoldApp::cancelScan() {
    notifications_.post("cancelScan");
}

void LarkfoldApp::showTab(int tab) {
    if (const std::string notification = MainView::notificationOf(tab); !notification.empty()) {
        notifications_.post(notification);
    } else if (mainView_) {
        mainView_->setSelectedTab(tab);
    }
}

}  // namespace larkfold
