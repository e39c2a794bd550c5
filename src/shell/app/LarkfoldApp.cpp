#include "shell/app/LarkfoldApp.h"

#include <QVariantMap>
#include <exception>
#include <utility>

#include "shell/app/PrivacyTexts.h"
#include "shell/updates/BuildInformation.h"

namespace larkfold {

namespace {

constexpr const char* kHasCompletedOnboardingKey = "hasCompletedOnboarding";
constexpr const char* kPrivacyRevisionKey = "privacyPolicyRevision";

}  // namespace

LarkfoldApp::LarkfoldApp(World world, QObject* parent)
    : QObject(parent),
      world_(std::move(world)),
      permissionManager_(world_.mainQueue, world_.permissions),
      updateManager_(world_.defaults, world_.updates),
      settings_(world_.defaults) {
    // The window of the updater's setting is that of the others, also during the first run.
    connect(&updateManager_, &UpdateManager::settingWritten, &settings_, &Settings::noteWritten);
    if (!world_.defaults.integerForKey(kPrivacyRevisionKey)) {
        rememberPrivacyPolicy();  // who has not seen another one is told of no change
    }
    if (world_.defaults.boolForKey(kHasCompletedOnboardingKey).value_or(false)) {
        makeMainView();
    }
}

LarkfoldApp::~LarkfoldApp() = default;

void LarkfoldApp::completeOnboarding() {
    try {
        world_.defaults.setBool(kHasCompletedOnboardingKey, true);
    } catch (const std::exception&) {
        // A home that cannot be written: the pages come again next time, the program works now.
    }
    if (!mainView_) {
        makeMainView();
        emit hasCompletedOnboardingChanged();
    }
}

void LarkfoldApp::makeMainView() {
    mainView_ = std::make_unique<MainView>(MainView::World{.mainQueue = world_.mainQueue,
                                                           .defaults = world_.defaults,
                                                           .notifications = notifications_,
                                                           .permissionManager = permissionManager_,
                                                           .indexFileURL = world_.indexFileURL,
                                                           .readCapacity = world_.readCapacity,
                                                           .cleanupHistoryURL = world_.cleanupHistoryURL,
                                                           .gate = world_.gate,
                                                           .reveal = world_.reveal});
    // Two places show the same setting.
    DiskScannerViewModel* scanner = mainView_->scannerViewModel();
    connect(&settings_, &Settings::skipHiddenFilesChanged, scanner,
            &DiskScannerViewModel::skipHiddenFilesChanged);
    connect(scanner, &DiskScannerViewModel::skipHiddenFilesChanged, &settings_, &Settings::readAgain);
}

QString LarkfoldApp::version() const {
    return QString::fromStdString(world_.updates.version);
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
    return world_.defaults.integerForKey(kPrivacyRevisionKey).value_or(privacy::revision) < privacy::revision;
}

void LarkfoldApp::rememberPrivacyPolicy() {
    if (world_.defaults.integerForKey(kPrivacyRevisionKey) == privacy::revision) {
        return;
    }
    try {
        world_.defaults.setInteger(kPrivacyRevisionKey, privacy::revision);
    } catch (const std::exception&) {
        // The user is told once more.
    }
}

QVariantList LarkfoldApp::privacySections() {
    QVariantList list;
    for (const privacy::Section& section : privacy::sections()) {
        list.append(QVariantMap{{QStringLiteral("heading"), QString::fromUtf8(section.heading)},
                                {QStringLiteral("body"), QString::fromUtf8(section.body)},
                                {QStringLiteral("note"), QString::fromUtf8(section.note)}});
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

void LarkfoldApp::showDiskSpace() {
    notifications_.post("showDiskSpace");
}

}  // namespace larkfold
