// The disk tab as the window's frame sees it, and which of its pages is on screen: the start page, a scan
// under way, or its result. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QList>
#include <QString>
#include <QUrl>
#include <string>

#include "disk/DiskScannerViewModel.h"
#include "disk/ScanHistoryManager.h"
#include "platform/SerialContext.h"
#include "shell/disk/DiskCommands.h"
#include "shell/disk/DiskSpacePresenter.h"
#include "shell/disk/RecentScansModel.h"
#include "shell/kit/Tab.h"

namespace larkfold {

class DiskSpaceTab : public larkfold::Tab {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The window has the one there is.")
    Q_PROPERTY(larkfold::DiskScannerViewModel* driver READ driver CONSTANT)
    Q_PROPERTY(larkfold::DiskSpacePresenter* presenter READ presenter CONSTANT)
    Q_PROPERTY(larkfold::RecentScansModel* recentScans READ recentScans CONSTANT)
    Q_PROPERTY(larkfold::DiskCommands* can READ can CONSTANT)
    Q_PROPERTY(larkfold::DiskSpaceTab::Page page READ page NOTIFY pageChanged)
    Q_PROPERTY(bool canReturnToMap READ canReturnToMap NOTIFY pageChanged)
    Q_PROPERTY(QString dropMessage READ dropMessage NOTIFY dropMessageChanged)
    // A scan failed for want of permission.
    Q_PROPERTY(bool showDiskAccessIssue READ showDiskAccessIssue NOTIFY showDiskAccessIssueChanged)

public:
    // Views reach an enumerator only by a capital.
    enum class Page { Start, Restoring, Scanning, Result };
    Q_ENUM(Page)

    // What it is given. References outlive it.
    struct Dependencies {
        MainQueue& mainQueue;
        DiskScannerViewModel& driver;
        ScanHistoryManager& history;
        DiskSpacePresenter::CapacityReader readCapacity = volumeCapacity;
    };

    explicit DiskSpaceTab(Dependencies dependencies, QObject* parent = nullptr);

    DiskScannerViewModel* driver() { return &driver_; }
    DiskSpacePresenter* presenter() { return &presenter_; }
    RecentScansModel* recentScans() { return &recentScans_; }
    // What can be done, and when.
    DiskCommands* can() { return &can_; }
    QVariantList commands() override { return can_.inMenus(); }

    Page page() const;
    bool canReturnToMap() const;
    // To the map that is there, or else to the saved one.
    Q_INVOKABLE void returnToMap();
    // While a result is there the start page is shown in its place. During a scan or a removal the page
    // stays: there is nothing that could be started.
    void showStartPage(bool show);

    // The button "Scan Folder".
    Q_INVOKABLE void scanFolder();
    // Takes the first of the items dropped on the start page as a chosen folder.
    Q_INVOKABLE void drop(const QList<QUrl>& urls);
    QString dropMessage() const { return dropMessage_; }
    Q_INVOKABLE void dismissDropMessage();

    bool showDiskAccessIssue() const;

    QString subject() const override;
    QString markedText() const override;
    QString markedShortText() const override;
    bool canReview() const override;
    QString whyNoReview() const override;
    // The button "Delete Selected" and the key Delete as well.
    void review() override;
    void clearMarked() override;
    bool canGoBack() const override;
    void goBack() override;

signals:
    void pageChanged();
    void dropMessageChanged();
    void showDiskAccessIssueChanged();

private:
    void followScan();
    void setDropMessage(const QString& message);

    DiskScannerViewModel& driver_;
    DiskSpacePresenter presenter_;
    RecentScansModel recentScans_;
    DiskCommands can_;
    bool wantsStartPage_ = false;  // "New Scan" while a result is there
    QString dropMessage_;
    SerialContext dropContext_;
    Run dropRun_;
};

}  // namespace larkfold
