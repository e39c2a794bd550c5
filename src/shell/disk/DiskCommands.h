// What the user can do in the disk tab, and when. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>
#include <QVariantList>
#include <functional>
#include <vector>

#include "disk/DiskScannerViewModel.h"
#include "shell/kit/Command.h"

namespace larkfold {

class DiskSpaceTab;

class DiskCommands : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The tab owns it.")
    Q_PROPERTY(larkfold::Command* scanFolder READ scanFolder CONSTANT)
    Q_PROPERTY(larkfold::Command* scanDisk READ scanDisk CONSTANT)
    Q_PROPERTY(larkfold::Command* newScan READ newScan CONSTANT)
    Q_PROPERTY(larkfold::Command* cancelScan READ cancelScan CONSTANT)
    Q_PROPERTY(larkfold::Command* refreshChanged READ refreshChanged CONSTANT)
    Q_PROPERTY(larkfold::Command* refreshCurrent READ refreshCurrent CONSTANT)
    Q_PROPERTY(larkfold::Command* scanAgain READ scanAgain CONSTANT)
    Q_PROPERTY(larkfold::Command* forget READ forget CONSTANT)
    Q_PROPERTY(larkfold::Command* review READ review CONSTANT)
    Q_PROPERTY(larkfold::Command* clearMarks READ clearMarks CONSTANT)
    // Why nothing can begin now, a sentence; empty where something can.
    Q_PROPERTY(QString busyReason READ busyReason NOTIFY busyReasonChanged)

public:
    // Both outlive it, and are made before it.
    DiskCommands(DiskScannerViewModel& driver, DiskSpaceTab& tab);

    Command* scanFolder() { return &scanFolder_; }
    Command* scanDisk() { return &scanDisk_; }
    Command* newScan() { return &newScan_; }
    Command* cancelScan() { return &cancelScan_; }
    Command* refreshChanged() { return &refreshChanged_; }
    Command* refreshCurrent() { return &refreshCurrent_; }
    Command* scanAgain() { return &scanAgain_; }
    Command* forget() { return &forget_; }
    Command* review() { return &review_; }
    const Command* review() const { return &review_; }
    Command* clearMarks() { return &clearMarks_; }

    QString busyReason() const;

    // Those that the menu bar shows while the tab is on screen, in the order of each menu.
    QVariantList inMenus();

signals:
    void busyReasonChanged();

private:
    void update();
    QString ofTheMap(bool can, const char* reason) const;
    // Of something that can begin where nothing else is under way, and `whyNot` knows of no other reason.
    Command::State begins(const std::function<QString()>& whyNot = nullptr) const;

    DiskScannerViewModel& driver_;
    DiskSpaceTab& tab_;
    QString busyReason_;
    Command scanFolder_;
    Command scanDisk_;
    Command newScan_;
    Command cancelScan_;
    Command refreshChanged_;
    Command refreshCurrent_;
    Command scanAgain_;
    Command forget_;
    Command review_;
    Command clearMarks_;
    std::vector<Command*> all_;
};

}  // namespace larkfold
