// The sentences of the map. Main thread only; figures follow the user's locale.
#pragma once

#include <QString>
#include <set>

#include "disk/FileNode.h"

namespace larkfold::texts {

// "{n} items", the number of a folder's children; empty for anything else.
QString itemCount(const FileNode& node);
// What a summary leaf is called; empty for anything else. What it stands for says
// `texts::summaryExplanation`.
QString summaryTitle(const FileNode& node);
// One arc for a screen reader: name, size, share of the folder on display, what it is, whether it is marked
// or goes with a marked folder.
QString arcDescription(const FileNode& node, const FileNode& currentRoot, const std::set<UUID>& marked);
// A row of the legend for a screen reader: name, size, whether it is marked.
QString legendRow(const FileNode& node, const std::set<UUID>& marked);

}  // namespace larkfold::texts
