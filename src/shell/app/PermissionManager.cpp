#include "shell/app/PermissionManager.h"

#include <QClipboard>
#include <QGuiApplication>
#include <exception>
#include <utility>

namespace larkfold {

namespace {

struct Guide {
    const char* text;
    const char* command;
};

Guide guideFor(Confinement confinement, bool hasAccess) {
    switch (confinement) {
        case Confinement::flatpak:
            return {
                "Larkfold runs in a Flatpak sandbox, which hides your home folder from it. Run this command "
                "in a terminal, or switch on “All user files” for Larkfold in Flatseal. Then start Larkfold "
                "again.",
                "flatpak override --user --filesystem=home com.ostenbrook.larkfold"};
        case Confinement::snap:
            return {
                "Larkfold runs in a Snap sandbox, which hides parts of your home folder from it. Run this "
                "command in a terminal, or switch on access to your files for Larkfold in the software "
                "center. Then start Larkfold again.",
                "sudo snap connect larkfold:home"};
        case Confinement::none:
            break;
    }
    if (hasAccess) {
        return {
            "Nothing confines Larkfold on this computer: it reads whatever your account may read. A place "
            "that stays closed belongs to another account or to the system. Choose another folder, or ask "
            "whoever administers this computer to let your account read it.",
            ""};
    }
    return {
        "Nothing confines Larkfold on this computer, but your account could not list its own home folder. "
        "This command lets your account read it again. Then choose “Check Again”.",
        "chmod u+rwx \"$HOME\""};
}

}  // namespace

PermissionManager::PermissionManager(MainQueue& mainQueue, Dependencies dependencies, QObject* parent)
    : QObject(parent), dependencies_(std::move(dependencies)), context_(mainQueue, "permissions") {
    checkFullDiskAccess();
}

void PermissionManager::checkFullDiskAccess() {
    if (isChecking_) {
        return;
    }
    isChecking_ = true;
    emit isCheckingChanged();
    check_ = context_.run<bool>([probe = dependencies_.probe](std::stop_token) { return probe(); },
                                [this](Outcome<bool> outcome) { finishCheck(std::move(outcome)); });
}

void PermissionManager::finishCheck(Outcome<bool> outcome) {
    bool granted = false;
    try {
        granted = outcome.get();
    } catch (const std::exception&) {
        granted = false;  // a probe that fails is one that was refused
    }
    const bool changed = granted != hasFullDiskAccess_;
    hasFullDiskAccess_ = granted;
    hasAnswer_ = true;
    isChecking_ = false;
    if (changed) {
        emit hasFullDiskAccessChanged();
    }
    emit isCheckingChanged();
}

void PermissionManager::openFullDiskAccessSettings() {
    setShowSettingsGuide(true);
}

void PermissionManager::setShowSettingsGuide(bool show) {
    if (showSettingsGuide_ != show) {
        showSettingsGuide_ = show;
        emit showSettingsGuideChanged();
    }
}

QString PermissionManager::settingsGuide() const {
    return QString::fromUtf8(guideFor(dependencies_.confinement(), hasFullDiskAccess_).text);
}

QString PermissionManager::settingsCommand() const {
    return QString::fromUtf8(guideFor(dependencies_.confinement(), hasFullDiskAccess_).command);
}

void PermissionManager::copySettingsCommand() const {
    QGuiApplication::clipboard()->setText(settingsCommand());
}

}  // namespace larkfold
