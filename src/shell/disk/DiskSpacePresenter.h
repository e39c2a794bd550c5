// What the disk tab says: the driver's state as the texts, figures and lists that the views show. It decides
// nothing about files; it words, formats and counts. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QTimer>
#include <cstdint>
#include <functional>

#include "platform/SerialContext.h"
#include "platform/Volumes.h"
#include "shell/disk/BreadcrumbModel.h"
#include "shell/disk/ScanErrorListModel.h"
#include "shell/kit/Throttle.h"

namespace larkfold {

class DiskScannerViewModel;

class DiskSpacePresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The window has the one there is.")

    // What is mapped, on screen or under way.
    Q_PROPERTY(QString title READ title NOTIFY subjectChanged)
    Q_PROPERTY(QString path READ path NOTIFY subjectChanged)
    Q_PROPERTY(bool canRescan READ canRescan NOTIFY subjectChanged)

    // The status line.
    Q_PROPERTY(QString totalText READ totalText NOTIFY resultChanged)
    Q_PROPERTY(QString countsText READ countsText NOTIFY resultChanged)
    Q_PROPERTY(QString statusLine READ statusLine NOTIFY resultChanged)
    Q_PROPERTY(QString unreadableText READ unreadableText NOTIFY resultChanged)
    Q_PROPERTY(larkfold::ScanErrorListModel* scanErrors READ scanErrors CONSTANT)
    Q_PROPERTY(QString capacityNotice READ capacityNotice NOTIFY resultChanged)
    Q_PROPERTY(QString savedScanNotice READ savedScanNotice NOTIFY savedScanNoticeChanged)
    // What changed since, and how far that can be known; empty where all is watched.
    Q_PROPERTY(QString changedFoldersText READ changedFoldersText NOTIFY changedFoldersChanged)
    Q_PROPERTY(QString watchNotice READ watchNotice NOTIFY watchNoticeChanged)
    // What is under way and leaves the page as it is; empty where nothing is.
    Q_PROPERTY(QString busyText READ busyText NOTIFY busyTextChanged)
    Q_PROPERTY(QString restoreTitle READ restoreTitle CONSTANT)
    Q_PROPERTY(QString hiddenItemsText READ hiddenItemsText NOTIFY resultChanged)
    // True while the switch stands otherwise than it stood for the scan on screen.
    Q_PROPERTY(bool hiddenSettingDiffers READ hiddenSettingDiffers NOTIFY hiddenSettingDiffersChanged)
    Q_PROPERTY(int markedItems READ markedItems NOTIFY markedChanged)
    Q_PROPERTY(QString markedText READ markedText NOTIFY markedChanged)
    Q_PROPERTY(QString markedShortText READ markedShortText NOTIFY markedChanged)

    // The way in.
    Q_PROPERTY(larkfold::BreadcrumbModel* breadcrumb READ breadcrumb CONSTANT)
    Q_PROPERTY(bool canGoBack READ canGoBack NOTIFY navigationChanged)

    // A scan under way.
    Q_PROPERTY(QString scanTitle READ scanTitle NOTIFY subjectChanged)
    Q_PROPERTY(double filesScanned READ filesScanned NOTIFY progressChanged)
    Q_PROPERTY(double directoriesScanned READ directoriesScanned NOTIFY progressChanged)
    Q_PROPERTY(double bytesScanned READ bytesScanned NOTIFY progressChanged)
    Q_PROPERTY(QString currentPath READ currentPath NOTIFY progressChanged)
    Q_PROPERTY(double activityLevel READ activityLevel NOTIFY activityLevelChanged)

    // A failure that stands in the page; empty for failures that an alert shows.
    Q_PROPERTY(QString errorText READ errorText NOTIFY errorChanged)
    Q_PROPERTY(QString errorHint READ errorHint NOTIFY errorChanged)

    // The startup disk.
    Q_PROPERTY(bool hasVolume READ hasVolume NOTIFY volumeChanged)
    Q_PROPERTY(QString volumeUsedText READ volumeUsedText NOTIFY volumeChanged)
    Q_PROPERTY(QString volumeFreeText READ volumeFreeText NOTIFY volumeChanged)
    Q_PROPERTY(QString volumeTotalText READ volumeTotalText NOTIFY volumeChanged)
    // What the file system keeps back; empty where that is nothing, or not told.
    Q_PROPERTY(QString volumeReservedText READ volumeReservedText NOTIFY volumeChanged)
    Q_PROPERTY(double volumeUsedShare READ volumeUsedShare NOTIFY volumeChanged)
    Q_PROPERTY(double volumeReservedShare READ volumeReservedShare NOTIFY volumeChanged)
    Q_PROPERTY(QString volumeSpokenText READ volumeSpokenText NOTIFY volumeChanged)

public:
    using CapacityReader = std::function<VolumeCapacity(const std::string&)>;

    // `driver` and `mainQueue` outlive the presenter. `readCapacity` runs off the main thread.
    DiskSpacePresenter(DiskScannerViewModel& driver, MainQueue& mainQueue,
                       CapacityReader readCapacity = volumeCapacity, QObject* parent = nullptr);

    QString title() const;
    QString path() const;
    bool canRescan() const;

    QString totalText() const;       // "112.6 GB"
    QString countsText() const;      // "in 1,284,117 files, 96,310 folders"
    QString statusLine() const;      // both
    QString unreadableText() const;  // "12 places could not be read", empty where all could
    ScanErrorListModel* scanErrors() { return &scanErrors_; }
    QString capacityNotice() const;
    QString savedScanNotice() const;
    QString changedFoldersText() const;  // "Changed folders (3)"
    QString watchNotice() const;
    QString busyText() const;
    QString restoreTitle() const;
    QString hiddenItemsText() const;  // "318 hidden items left out", empty where there were none
    bool hiddenSettingDiffers() const;
    int markedItems() const;
    QString markedText() const;       // "3 items, 4.2 GB marked"
    QString markedShortText() const;  // "3", and the size on a second line

    BreadcrumbModel* breadcrumb() { return &breadcrumb_; }
    bool canGoBack() const;

    QString scanTitle() const;
    double filesScanned() const;
    double directoriesScanned() const;
    double bytesScanned() const;
    QString currentPath() const;
    // How busy the scan is: 0 at rest, 1 at a hundred thousand entries a second, even steps for each
    // power of ten.
    double activityLevel() const { return activityLevel_; }
    static double activityLevel(double entriesPerSecond);

    // Of a removal with many failures the first ones; the history has them all.
    QString errorText() const { return errorText_; }
    QString errorHint() const;

    bool hasVolume() const { return volume_.total.has_value() && volume_.available.has_value(); }
    QString volumeUsedText() const;
    QString volumeFreeText() const;
    QString volumeTotalText() const;
    QString volumeReservedText() const;
    // Of the whole; together with what is free they make 1.
    double volumeUsedShare() const;
    double volumeReservedShare() const;
    QString volumeSpokenText() const;
    // Asks the disk again, off the main thread.
    Q_INVOKABLE void refreshVolume();

    // Goes to the folder of a row of the breadcrumb.
    Q_INVOKABLE void navigateToCrumb(int row);
    Q_INVOKABLE void copyScanErrors() const;

    // Figures on their way up, as the views count them.
    Q_INVOKABLE QString countText(double count) const;
    Q_INVOKABLE QString byteCountText(double bytes) const;

signals:
    void busyTextChanged();
    void subjectChanged();
    void resultChanged();
    void savedScanNoticeChanged();
    void hiddenSettingDiffersChanged();
    void changedFoldersChanged();
    void watchNoticeChanged();
    void markedChanged();
    void navigationChanged();
    void progressChanged();
    void activityLevelChanged();
    void errorChanged();
    void volumeChanged();

private:
    // Bytes, each within the whole and all three together the whole; only where there is a volume.
    struct VolumeParts {
        std::int64_t used = 0;
        std::int64_t reserved = 0;
        std::int64_t available = 0;
    };
    VolumeParts volumeParts() const;

    void followDriver();
    void takeResult();
    void noteError();
    void measureActivity();
    void setActivityLevel(double level);

    DiskScannerViewModel& driver_;
    CapacityReader readCapacity_;
    ScanErrorListModel scanErrors_;
    BreadcrumbModel breadcrumb_;
    VolumeCapacity volume_;
    QString errorText_;

    Throttle marks_;
    Throttle progress_;
    QTimer activityTimer_;
    QElapsedTimer sinceMeasured_;
    double entriesAtMeasure_ = 0;
    double activityLevel_ = 0;

    SerialContext context_;
    Run volumeRun_;  // last: its end drops the work before anything that it reports to
};

}  // namespace larkfold
