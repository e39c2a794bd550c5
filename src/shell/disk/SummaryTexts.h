// The sentences about summaries, for the map and the list: what one stands for, and how what it stands for
// can be reached. Main thread only; figures follow the user's locale.
#pragma once

#include <QString>
#include <cstdint>

#include "disk/FileNode.h"

namespace larkfold {

// Whether the saved index, where it is there, gives more files of the folder than the tree holds: not where
// these are as many as one load gives. Walks over the subtree.
bool loadBringsMore(const FileNode& folder);

namespace texts {

// Of one summary, with what its folder is called; empty for anything else.
QString summaryExplanation(const FileNode& node, bool hasSavedIndex);

// Of a list that search and filters look through, while some of it stands in summaries.
QString filtersApplyToLoadedEntries(bool hasSavedIndex);

// Why a search without a find does not mean that nothing is there: `loadedFiles` of `allFiles` were looked
// at, those of `folder` alone or, `includesSubfolders`, all below it.
QString nothingFoundAmongLoaded(const FileNode& folder, std::int64_t loadedFiles, std::int64_t allFiles,
                                bool includesSubfolders, bool hasSavedIndex);

}  // namespace texts
}  // namespace larkfold
