#include "shell/disk/map/SunburstTexts.h"

#include <QLocale>
#include <QStringList>

#include "platform/ByteCountFormatter.h"
#include "platform/Collation.h"
#include "platform/qt/PathText.h"

namespace larkfold::texts {

namespace {

QString sizeOf(const FileNode& node) {
    return QString::fromStdString(formattedByteCount(node.size()));
}

QString grouped(std::int64_t count) {
    return QString::fromStdString(groupedCount(count));
}

}  // namespace

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
    const QString files =
        count == 1 ? QStringLiteral("1 file") : QStringLiteral("%1 files").arg(grouped(count));
    const QString place =
        parent ? QStringLiteral(" in and below “%1”").arg(displayString(parent->name())) : QString();
    return QStringLiteral(
               "This is a sum, not an item on the disk: %1%2, %3 together, too many to keep one by one. All "
               "of them are counted. Scan that folder by itself to see them.")
        .arg(files, place, sizeOf(node));
}

QString arcDescription(const FileNode& node, const FileNode& currentRoot, bool isMarked) {
    QStringList parts{displayString(node.name()), sizeOf(node)};
    if (&node != &currentRoot && currentRoot.size() > 0) {
        const double share =
            100.0 * static_cast<double>(node.size()) / static_cast<double>(currentRoot.size());
        parts << QStringLiteral("%1 % of this folder").arg(QLocale().toString(share, 'f', 1));
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
