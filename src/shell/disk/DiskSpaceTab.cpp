#include "shell/disk/DiskSpaceTab.h"

#include <exception>
#include <optional>
#include <stop_token>
#include <utility>

#include "platform/Bookmark.h"
#include "platform/qt/PathText.h"
#include "shell/disk/DiskSpaceTexts.h"

namespace larkfold {

DiskSpaceTab::DiskSpaceTab(Dependencies dependencies, QObject* parent)
    : Tab(parent),
      driver_(dependencies.driver),
      presenter_(driver_, dependencies.mainQueue, std::move(dependencies.readCapacity)),
      recentScans_(dependencies.history, driver_),
      can_(driver_, *this),
      dropContext_(dependencies.mainQueue, "drop") {
    using Driver = DiskScannerViewModel;
    connect(&driver_, &Driver::isScanningChanged, this, &DiskSpaceTab::followScan);
    connect(driver_.rescanCheck(), &RescanCheck::changed, this, &DiskSpaceTab::followScan);
    connect(&driver_, &Driver::scanResultChanged, this, &DiskSpaceTab::pageChanged);
    connect(&driver_, &Driver::isRefreshingIndexChanged, this, &DiskSpaceTab::pageChanged);
    connect(&driver_, &Driver::hasSavedIndexChanged, this, &DiskSpaceTab::pageChanged);
    connect(&driver_, &Driver::errorChanged, this, &DiskSpaceTab::showDiskAccessIssueChanged);
    connect(&driver_, &Driver::isDeletingChanged, this, &DiskSpaceTab::markedChanged);
    connect(&presenter_, &DiskSpacePresenter::markedChanged, this, &DiskSpaceTab::markedChanged);
    connect(&presenter_, &DiskSpacePresenter::navigationChanged, this, &DiskSpaceTab::navigationChanged);
    connect(&presenter_, &DiskSpacePresenter::subjectChanged, this, &DiskSpaceTab::subjectChanged);
}

void DiskSpaceTab::followScan() {
    if (driver_.isScanning() && !driver_.rescanCheck()->isLooking()) {
        setDropMessage({});
        wantsStartPage_ = false;
    }
    emit pageChanged();
    emit markedChanged();
}

DiskSpaceTab::Page DiskSpaceTab::page() const {
    if (driver_.isRestoring()) {
        return Page::Restoring;
    }
    // A refresh leaves the page on screen, and so does the question to the disk before a scan.
    if (driver_.isScanning() && !driver_.isRefreshingIndex() && !driver_.rescanCheck()->isLooking()) {
        return Page::Scanning;
    }
    return driver_.hasScanResult() && !wantsStartPage_ ? Page::Result : Page::Start;
}

bool DiskSpaceTab::canReturnToMap() const {
    // A scan that was cancelled or failed has taken the map from the screen, and its index still stands.
    return page() == Page::Start &&
           (driver_.hasScanResult() || (driver_.hasSavedIndex() && can_.busyReason().isEmpty()));
}

void DiskSpaceTab::returnToMap() {
    if (driver_.hasScanResult()) {
        showStartPage(false);
    } else {
        driver_.restoreSavedScanIfNeeded();
    }
}

void DiskSpaceTab::showStartPage(bool show) {
    if (can_.busyReason().isEmpty() && wantsStartPage_ != show) {
        wantsStartPage_ = show;
        setDropMessage({});
        emit pageChanged();
    }
}

void DiskSpaceTab::scanFolder() {
    setDropMessage({});
    driver_.chooseFolder();
}

void DiskSpaceTab::drop(const QList<QUrl>& urls) {
    setDropMessage({});
    const auto path = urls.isEmpty() ? std::nullopt : pathFromFileURL(urls.first());
    if (!path) {
        setDropMessage(texts::dropFailed());
        return;
    }
    // Whether it is a folder that can be listed is asked off the main thread: the disk may not answer.
    dropRun_ = dropContext_.run<bool>(
        [path](std::stop_token) {
            const bool accessible = startAccessingSecurityScopedResource(*path);
            if (accessible) {
                stopAccessingSecurityScopedResource(*path);
            }
            return accessible;
        },
        [this, path](Outcome<bool> outcome) {
            bool accessible = false;
            try {
                accessible = outcome.get();
            } catch (const std::exception&) {
                accessible = false;
            }
            if (accessible) {
                driver_.scanFolder(*path);
            } else {
                setDropMessage(texts::dropFailed());
            }
        });
}

void DiskSpaceTab::setDropMessage(const QString& message) {
    if (dropMessage_ != message) {
        dropMessage_ = message;
        emit dropMessageChanged();
    }
}

void DiskSpaceTab::dismissDropMessage() {
    setDropMessage({});
}

bool DiskSpaceTab::showDiskAccessIssue() const {
    return driver_.isAccessProblem();
}

QString DiskSpaceTab::subject() const {
    return presenter_.title();
}

QString DiskSpaceTab::markedText() const {
    return driver_.isDeleting() ? QString() : presenter_.markedText();
}

QString DiskSpaceTab::markedShortText() const {
    return driver_.isDeleting() ? QString() : presenter_.markedShortText();
}

bool DiskSpaceTab::canReview() const {
    return can_.review()->isEnabled();
}

QString DiskSpaceTab::whyNoReview() const {
    return can_.review()->reason();
}

void DiskSpaceTab::review() {
    // The key does it also where nothing is marked: the sheet then says how to mark.
    if (!driver_.hasScanResult()) {
        return;
    }
    if (can_.busyReason().isEmpty()) {
        driver_.setShowDeleteConfirmation(true);
    } else {
        driver_.setMarkNotice(
            (can_.busyReason() + QStringLiteral(" Review what is marked when it has ended.")).toStdString());
    }
}

void DiskSpaceTab::clearMarked() {
    driver_.clearSelection();
}

bool DiskSpaceTab::canGoBack() const {
    return presenter_.canGoBack();
}

void DiskSpaceTab::goBack() {
    driver_.navigateBack();
}

}  // namespace larkfold
