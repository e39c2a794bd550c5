// The sentences of the window's own folder chooser. Main thread only; figures follow the user's locale.
#pragma once

#include <QString>
#include <cstddef>
#include <string>

#include "platform/UserLocation.h"

namespace larkfold::folder_chooser_texts {

QString placeTitle(const UserLocation& place);
QString placeIcon(UserLocation::Kind kind);

QString reading(std::size_t entriesSeen);  // "Reading this folder…", from some entries on with their number
QString foldersInside(std::size_t count);  // "12 folders", for a screen reader

// Why there are no rows.
QString noFoldersTitle();
QString noFoldersText();
QString onlyHiddenTitle();
QString onlyHiddenText(std::size_t hidden);
QString unreadableTitle();
QString unreadableText(const std::string& path, int error);
QString partlyRead(const std::string& path, int error);

// What a typed path came to that leads nowhere. `typed` as the user wrote it.
QString typedPathProblem(const QString& typed, const std::string& path, int error);
QString otherUsersHome(const QString& typed);

// A row for a screen reader.
QString spokenFolder(const QString& name, bool isHidden);

}  // namespace larkfold::folder_chooser_texts
