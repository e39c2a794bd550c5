// Marks that went with their nodes when a part of the tree was replaced: how many there were, which of them
// have a node at the same place again, and the way to set those anew.
//
// Nothing is marked by itself: the items may not be what they were. Part of the disk tab's driver; main
// thread only.
#pragma once

#include <QObject>
#include <QString>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "disk/FileNode.h"

namespace larkfold {

class DroppedMarks : public QObject {
    Q_OBJECT
    // What happened, and how many of the marks can be set again; empty where nothing is to be told.
    Q_PROPERTY(QString text READ text NOTIFY changed)
    Q_PROPERTY(QString detail READ detail NOTIFY changed)
    Q_PROPERTY(bool canMarkAgain READ canMarkAgain NOTIFY changed)

public:
    enum class Cause { refresh, loading };
    // Sets the marks of nodes that are in the tree.
    using Marker = std::function<void(const std::vector<FileNode::Pointer>& nodes)>;

    explicit DroppedMarks(Marker mark, QObject* parent = nullptr);

    // The marks on the nodes at these paths went. They take the place of what was told before.
    void take(Cause cause, std::vector<std::string> paths);
    // The tree is this one now, or has other nodes than before.
    void resolve(const FileNode::Pointer& root);

    std::size_t count() const { return paths_.size(); }
    std::size_t markableAgain() const { return found_.size(); }
    QString text() const;
    QString detail() const;
    bool canMarkAgain() const { return !found_.empty(); }

    Q_INVOKABLE void markAgain();
    Q_INVOKABLE void dismiss();

signals:
    void changed();

private:
    Marker mark_;
    Cause cause_ = Cause::refresh;
    std::vector<std::string> paths_;
    std::vector<std::weak_ptr<FileNode>> found_;
};

}  // namespace larkfold
