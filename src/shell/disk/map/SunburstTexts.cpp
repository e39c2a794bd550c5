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

QString arcDescription(const FileNode& node, const FileNode& currentRoot, bool isMarked) {
    QStringList parts{displayString(node.name()), bytes(node.size())};
    if (&node != &currentRoot && currentRoot.size() > 0) {
        const double part = static_cast<double>(node.size()) / static_cast<double>(currentRoot.size());
        parts << QStringLiteral("%1 of this folder").arg(share(part));
    }
    if (node.isDirectory()) {
        parts << itemCount(node);
    } else if (node.isAggregate()) {
        parts << QStringLiteral("a sum of %1").arg(counted(node.representedFileCount(), "file", "files"));
    }
    if (isMarked) {
        parts << QStringLiteral("selected for deletion");
    }
    return parts.join(QStringLiteral(", "));
}

}  // namespace larkfold::texts
