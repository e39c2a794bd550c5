// The sentences about updates. Main thread only; dates follow the user's locale.
#pragma once

#include <QString>
#include <optional>

#include "platform/Date.h"
#include "platform/Installation.h"

namespace larkfold::texts {

QString checkingForUpdates();
QString upToDate();
QString newestVersion(const QString& version);
QString updateAvailable(const QString& version);
QString currentVersion(const QString& version);
QString checkFailed();
QString nothingWasChanged(const QString& reason);  // the reason, and that no file was touched
QString notCheckedYet();
QString lastChecked(Date date);
QString noFeed();  // why a build without a feed does not check
QString pageNotOpened(const QString& address);
QString whatACheckTells(const QString& host);
// Who keeps this program up to date, and the command for it; empty where it is the user.
QString updatesComeFrom(Installation installation);
QString updateCommand(Installation installation);

}  // namespace larkfold::texts
