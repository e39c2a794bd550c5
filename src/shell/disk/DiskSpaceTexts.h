// The sentences of the disk tab. Main thread only; figures follow the user's locale.
#pragma once

#include <QString>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "shell/kit/FigureTexts.h"

namespace larkfold::texts {

QString startupDisk();
// "Startup Disk: 325 GB used, 25 GB reserved, 150 GB free, of 500 GB"; `reserved` is empty where nothing is.
QString volumeSpoken(const QString& used, const QString& reserved, const QString& free, const QString& total);
QString mappingTitle(bool startupDisk);                        // "Mapping Startup Disk", "Building Disk Map"
QString counts(std::int64_t files, std::int64_t directories);  // "in 1,284,117 files, 96,310 folders"
QString unreadable(std::int64_t places);                       // "12 places could not be read"
QString hiddenLeftOut(std::int64_t items);                     // "318 hidden items left out"
QString marked(std::int64_t items, std::int64_t bytes);        // "3 items, 4.2 GB marked"
QString hiddenLeftOut();  // of a saved scan, which does not tell how many
QString openingSavedScan();
QString changedFolders(std::int64_t folders);  // "Changed folders (3)"
QString refreshing();
QString forgetting();
QString lookingFor(const QString& path);
QString watchLimitReached(std::int64_t folders);
QString watchLeavesOutMounts();
QString watchIncomplete();
QString watchFailed();
QString restoreFailedHint();
QString refreshFailedHint();
QString folderMissingHint();
QString forgettingFailedHint();
QString scanCancelledHint();
QString scanFailedHint();
QString removalFailedHint();
QString recordMissingHint();
// The first lines, and "and 12 more, see the history".
QString firstOf(const std::vector<std::string>& lines, std::size_t most);
QString dropFailed();  // "Larkfold couldn’t access that location."

}  // namespace larkfold::texts
