#include "shell/disk/map/SunburstTexts.h"

#include <QStringList>

#include "platform/qt/PathText.h"
#include "shell/kit/FigureTexts.h"

namespace larkfold::texts {

QString itemCount(const FileNode& node) {
    if (!node.isDirectory()) {
        return {};
    }
    return QStringLiteral("%1 items").arg(grouped(static_cast<std::int64_t>(node.children().size())));
}

QString summaryTitle(const FileNode& node) {
    return node.isAggregate() ? displayString(node.name()) : QString();
}

QString summaryExplanation(const FileNode& node) {
    if (!node.isAggregate()) {
        return {};
    }
    const FileNode::Pointer parent = node.parent();
    const std::int64_t count = node.representedFileCount();
    const QString files = counted(count, "file", "files");
    const QString place =
        parent ? QStringLiteral(" in and below “%1”").arg(displayString(parent->name())) : QString();
    return QStringLiteral(
               "This is a sum, not an item on the disk: %1%2, %3 together, too many to keep one by one. All "
               "of them are counted. Scan that folder by itself to see them.")
        .arg(files, place, bytes(node.size()));
}

QString arcDescription(const FileNode& node, const FileNode& currentRoot, bool isMarked) {
    QStringList parts{displayString(node.name()), bytes(node.size())};
    if (&node != &currentRoot && currentRoot.size() > 0) {
        const double part = static_cast<double>(node.size()) / static_cast<double>(currentRoot.size());
        parts << QStringLiteral("%1 of this folder").arg(share(part));
    }
    if (node.isDirectory()) {
        parts << itemCount(node);
    } else if (node.isAggregate()) {
        parts << QStringLiteral("a sum of many files");
    }
    if (isMarked) {
        parts << QStringLiteral("selected for deletion");
    }
    return parts.join(QStringLiteral(", "));
}

}  // namespace larkfold::texts
