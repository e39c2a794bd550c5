// The sentences of the window's own folder chooser. Main thread only; figures follow the user's locale.
#pragma once

#include <QString>
#include <cstddef>
#include <string>
#include <vector>

#include "platform/OpenPanel.h"
#include "platform/UserLocation.h"

namespace larkfold::folder_chooser_texts {

QString placeTitle(const UserLocation& place);
QString placeIcon(UserLocation::Kind kind);

QString reading(std::size_t entriesSeen);  // "Reading this folder…", from some entries on with their number
QString foldersInside(std::size_t count);  // "12 folders", for a screen reader
QString foldersAndFilesInside(std::size_t folders, std::size_t files);

// What is asked for, and what would be chosen.
QString choiceLabel(const OpenPanel::Question& question);
QString whatIsListed(const OpenPanel::Question& question);  // empty where only folders are
QString showHidden(const OpenPanel::Question& question);
QString choice(const std::vector<std::string>& paths);
QString spokenChoice(const OpenPanel::Question& question, const std::vector<std::string>& paths);

// Why there are no rows.
QString nothingTitle(const OpenPanel::Question& question);
QString nothingText(const OpenPanel::Question& question);
QString onlyHiddenTitle(const OpenPanel::Question& question);
QString onlyHiddenText(const OpenPanel::Question& question, std::size_t hidden);
QString unreadableTitle();
QString unreadableText(const std::string& path, int error);
QString partlyRead(const OpenPanel::Question& question, const std::string& path, int error);

// What a typed path came to that leads nowhere. `typed` as the user wrote it.
QString typedPathProblem(const OpenPanel::Question& question, const QString& typed, const std::string& path,
                         int error);
QString otherUsersHome(const QString& typed);

// A row for a screen reader.
QString spokenFolder(const QString& name, bool isHidden);
QString spokenFile(const QString& name, bool isHidden);

}  // namespace larkfold::folder_chooser_texts
