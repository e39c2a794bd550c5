#include "shell/updates/UpdateTexts.h"

#include "shell/kit/DateTexts.h"

namespace larkfold::texts {

QString checkingForUpdates() {
    return QStringLiteral("Checking for updates…");
}

QString upToDate() {
    return QStringLiteral("Larkfold is up to date");
}

QString newestVersion(const QString& version) {
    return QStringLiteral("You have version %1. There is no newer one.").arg(version);
}

QString updateAvailable(const QString& version) {
    return QStringLiteral("Larkfold %1 is available").arg(version);
}

QString currentVersion(const QString& version) {
    return QStringLiteral("You have version %1.").arg(version);
}

QString checkFailed() {
    return QStringLiteral("The check for updates failed");
}

QString nothingWasChanged(const QString& reason) {
    return QStringLiteral("%1 Nothing was changed on this computer.").arg(reason);
}

QString notCheckedYet() {
    return QStringLiteral("Not checked yet.");
}

QString lastChecked(Date date) {
    return QStringLiteral("Last checked on %1.").arg(dateAndTime(date));
}

QString noFeed() {
    return QStringLiteral(
        "This copy of Larkfold was made without an address to ask for updates, so it never asks. Look for "
        "new versions where you got it.");
}

QString pageNotOpened(const QString& address) {
    return QStringLiteral("The page could not be opened. Its address is %1").arg(address);
}

QString whatACheckTells(const QString& host) {
    return QStringLiteral(
               "A check asks %1 for the signed list of releases, with nothing about you or your files in the "
               "request. It installs nothing.")
        .arg(host);
}

QString updatesComeFrom(Installation installation) {
    switch (installation) {
        case Installation::systemPackage:
            return QStringLiteral(
                "Your system’s package manager installed Larkfold, and updates it too. It may offer a new "
                "version a little later.");
        case Installation::flatpak:
            return QStringLiteral("Larkfold is a Flatpak: your software center updates it, or this command.");
        case Installation::snap:
            return QStringLiteral(
                "Larkfold is a Snap: the system updates it by itself, or this command does.");
        case Installation::unmanaged:
            break;
    }
    return {};
}

QString updateCommand(Installation installation) {
    switch (installation) {
        case Installation::flatpak:
            return QStringLiteral("flatpak update com.ostenbrook.larkfold");
        case Installation::snap:
            return QStringLiteral("sudo snap refresh larkfold");
        case Installation::systemPackage:
        case Installation::unmanaged:
            break;
    }
    return {};
}

}  // namespace larkfold::texts
