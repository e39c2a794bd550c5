#include "shell/disk/map/SunburstTexts.h"

#include <QStringList>

#include "platform/qt/PathText.h"
#include "shell/disk/map/SunburstMarks.h"
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

namespace {

// What becomes of a node, for a sentence's end; empty where it is not marked.
QString fate(const FileNode& node, const std::set<UUID>& marked) {
    if (marked.contains(node.id())) {
        return QStringLiteral("selected for deletion");
    }
    const FileNode::Pointer folder = SunburstMarks::markedAbove(node, marked);
    return folder ? QStringLiteral("goes with “%1”, which is selected for deletion")
                        .arg(displayString(folder->name()))
                  : QString();
}

}  // namespace

QString legendRow(const FileNode& node, const std::set<UUID>& marked) {
    QStringList parts{displayString(node.name()), bytes(node.size())};
    if (const QString end = fate(node, marked); !end.isEmpty()) {
        parts << end;
    }
    return parts.join(QStringLiteral(", "));
}

QString arcDescription(const FileNode& node, const FileNode& currentRoot, const std::set<UUID>& marked) {
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
    if (const QString end = fate(node, marked); !end.isEmpty()) {
        parts << end;
    }
    return parts.join(QStringLiteral(", "));
}

}  // namespace larkfold::texts
