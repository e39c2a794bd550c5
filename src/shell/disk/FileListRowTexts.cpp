#include "shell/disk/FileListRowTexts.h"

#include <QStringList>
#include <algorithm>
#include <cstdint>

#include "platform/qt/PathText.h"
#include "shell/disk/FileListRows.h"
#include "shell/disk/FileListTexts.h"
#include "shell/kit/FigureTexts.h"
#include "shell/kit/FileKindIcons.h"

namespace larkfold::texts {

namespace {

QString itemCountOf(const FileNode& folder) {
    return counted(static_cast<std::int64_t>(folder.children().size()), "item", "items");
}

}  // namespace

QString rowIconName(const FileNode& node) {
    if (node.isDirectory()) {
        return QStringLiteral("folder");
    }
    return node.isAggregate() ? QStringLiteral("summary") : iconNameOf(node.fileKind());
}

QString rowType(const FileNode& node) {
    const std::string_view word = fileListTypeWord(node);
    return QString::fromUtf8(word.data(), static_cast<qsizetype>(word.size()));
}

QString rowItems(const FileNode& node) {
    return node.isDirectory() ? grouped(static_cast<std::int64_t>(node.children().size())) : QString();
}

double rowShare(const FileNode& node) {
    const FileNode::Pointer parent = node.parent();
    if (!parent || parent->size() <= 0) {
        return 0;
    }
    return std::clamp(static_cast<double>(node.size()) / static_cast<double>(parent->size()), 0.0, 1.0);
}

QString rowShareOf(const FileNode& node) {
    const FileNode::Pointer parent = node.parent();
    const QString part = share(rowShare(node));
    return parent ? file_list_texts::shareOf.arg(part, displayString(parent->name())) : part;
}

QString rowDetails(const FileNode& node) {
    QStringList parts{rowType(node)};
    if (node.isDirectory()) {
        parts.append(itemCountOf(node));
    }
    parts.append(rowShareOf(node));
    return parts.join(QStringLiteral(" · "));
}

QString rowLocation(const FileNode& node, const FileNode* root) {
    QStringList names;
    for (FileNode::Pointer folder = node.parent(); folder && folder.get() != root;
         folder = folder->parent()) {
        names.prepend(displayString(folder->name()));
    }
    return names.join(QStringLiteral(" › "));
}

QString rowSpoken(const FileNode& node, const QString& location, bool isMarked) {
    QStringList parts{displayString(node.name()), rowType(node), bytes(node.size()), rowShareOf(node)};
    if (node.isDirectory()) {
        parts.append(itemCountOf(node));
    }
    if (!location.isEmpty()) {
        parts.append(QStringLiteral("in %1").arg(location));
    }
    if (isMarked) {
        parts.append(QStringLiteral("marked for removal"));
    }
    return parts.join(QStringLiteral(", "));
}

}  // namespace larkfold::texts
