#include "disk/DroppedMarks.h"

#include <utility>

#include "disk/MarkTexts.h"
#include "disk/NodeLookup.h"

namespace larkfold {

DroppedMarks::DroppedMarks(Marker mark, QObject* parent) : QObject(parent), mark_(std::move(mark)) {}

void DroppedMarks::take(Cause cause, std::vector<std::string> paths) {
    cause_ = cause;
    paths_ = std::move(paths);
    found_.clear();
    emit changed();
}

void DroppedMarks::resolve(const FileNode::Pointer& root) {
    if (paths_.empty()) {
        return;
    }
    found_.clear();
    for (const FileNode::Pointer& node : nodesAt(root, paths_)) {
        if (node) {
            found_.push_back(node);
        }
    }
    emit changed();
}

QString DroppedMarks::text() const {
    if (paths_.empty()) {
        return {};
    }
    return QString::fromStdString(cause_ == Cause::refresh ? mark_texts::droppedByRefresh(paths_.size())
                                                           : mark_texts::droppedByLoading(paths_.size()));
}

QString DroppedMarks::detail() const {
    return paths_.empty() ? QString()
                          : QString::fromStdString(mark_texts::markableAgain(found_.size(), paths_.size()));
}

void DroppedMarks::markAgain() {
    std::vector<FileNode::Pointer> nodes;
    nodes.reserve(found_.size());
    for (const std::weak_ptr<FileNode>& each : found_) {
        if (FileNode::Pointer node = each.lock()) {
            nodes.push_back(std::move(node));
        }
    }
    dismiss();
    mark_(nodes);
}

void DroppedMarks::dismiss() {
    if (!paths_.empty()) {
        paths_.clear();
        found_.clear();
        emit changed();
    }
}

}  // namespace larkfold
