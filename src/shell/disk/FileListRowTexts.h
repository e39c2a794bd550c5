// One row of the file list as texts and figures. Main thread only; figures follow the user's locale.
#pragma once

#include <QString>

#include "disk/FileNode.h"

namespace larkfold::texts {

QString rowIconName(const FileNode& node);
QString rowType(const FileNode& node);   // "Folder"
QString rowItems(const FileNode& node);  // how many children a folder has; empty for everything else
double rowShare(const FileNode& node);   // 0 to 1 of the folder that holds it
// The share and the folder that it is a share of: "61.8% of “photos”".
QString rowShareOf(const FileNode& node);
// What a row's columns say beside name and size: "Folder · 1,033 items · 14.6% of “share”".
QString rowDetails(const FileNode& node);
// The folders between `root` and the node: "deep › deeper".
QString rowLocation(const FileNode& node, const FileNode* root);
// The row for a screen reader.
QString rowSpoken(const FileNode& node, const QString& location, bool isMarked);

}  // namespace larkfold::texts
