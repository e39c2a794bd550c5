// Whether the system lets this program see everything the user may see, and how the user can grant it.
//
// The system offers no call that tells: the probe tries to read what only a granted process can read. It
// touches the disk and so runs on a serial context; its answer is published on the main thread. Every error
// counts as no access. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>
#include <functional>

#include "platform/Confinement.h"
#include "platform/SerialContext.h"

namespace larkfold {

class PermissionManager : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The program makes the one there is.")
    Q_PROPERTY(bool hasFullDiskAccess READ hasFullDiskAccess NOTIFY hasFullDiskAccessChanged)
    Q_PROPERTY(bool isChecking READ isChecking NOTIFY isCheckingChanged)
    // True once a probe has said no: until the first answer nobody is told of limits that may not exist.
    Q_PROPERTY(bool isLimited READ isLimited NOTIFY isCheckingChanged)
    Q_PROPERTY(bool showSettingsGuide READ showSettingsGuide WRITE setShowSettingsGuide NOTIFY
                   showSettingsGuideChanged)
    Q_PROPERTY(QString settingsGuide READ settingsGuide NOTIFY hasFullDiskAccessChanged)
    Q_PROPERTY(QString settingsCommand READ settingsCommand NOTIFY hasFullDiskAccessChanged)

public:
    // How the system is asked; the defaults are what the program uses. `probe` runs off the main thread.
    struct Dependencies {
        std::function<bool()> probe = probeFullDiskAccess;
        std::function<Confinement()> confinement = currentConfinement;
    };

    // Probes once at once. `mainQueue` outlives the manager.
    explicit PermissionManager(MainQueue& mainQueue, Dependencies dependencies, QObject* parent = nullptr);

    bool hasFullDiskAccess() const { return hasFullDiskAccess_; }
    bool isChecking() const { return isChecking_; }
    bool isLimited() const { return hasAnswer_ && !hasFullDiskAccess_; }

    // Probes again. While a probe is under way this does nothing: its answer is as fresh.
    Q_INVOKABLE void checkFullDiskAccess();

    // Leads to where access is granted. This system has no such page in its settings, so a guide of ours is
    // shown that tells what to do for the confinement found.
    Q_INVOKABLE void openFullDiskAccessSettings();

    bool showSettingsGuide() const { return showSettingsGuide_; }
    void setShowSettingsGuide(bool show);
    // What stands in the way and what to do about it.
    QString settingsGuide() const;
    // The command that does it, empty where there is none.
    QString settingsCommand() const;
    Q_INVOKABLE void copySettingsCommand() const;

signals:
    void hasFullDiskAccessChanged();
    void isCheckingChanged();
    void showSettingsGuideChanged();

private:
    void finishCheck(Outcome<bool> outcome);

    Dependencies dependencies_;
    bool hasFullDiskAccess_ = false;
    bool isChecking_ = false;
    bool hasAnswer_ = false;
    bool showSettingsGuide_ = false;
    SerialContext context_;
    Run check_;  // last: its end drops the probe before anything that the probe reports to
};

}  // namespace larkfold
