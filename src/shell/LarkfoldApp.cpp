#include "shell/LarkfoldApp.h"

#include <exception>
#include <utility>

namespace larkfold {

namespace {

constexpr const char* kHasCompletedOnboardingKey = "hasCompletedOnboarding";

}  // namespace

LarkfoldApp::LarkfoldApp(World world, QObject* parent)
    : QObject(parent), world_(std::move(world)), permissionManager_(world_.mainQueue, world_.permissions) {
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
