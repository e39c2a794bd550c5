// The sentences of the map. Main thread only; figures follow the user's locale.
#pragma once

#include <QString>

#include "disk/FileNode.h"

namespace larkfold::texts {

// "{n} items", the number of a folder's children; empty for anything else.
QString itemCount(const FileNode& node);
// What a summary leaf is called; empty for anything else. What it stands for says
// `texts::summaryExplanation`.
QString summaryTitle(const FileNode& node);
// One arc for a screen reader: name, size, share of the folder on display, what it is, whether it is marked.
QString arcDescription(const FileNode& node, const FileNode& currentRoot, bool isMarked);

}  // namespace larkfold::texts
