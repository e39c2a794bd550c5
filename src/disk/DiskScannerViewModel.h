// The driver behind the disk tab: what the window shows of a scan, and what the user can do with it.
//
// It starts and cancels scans, keeps a stale scan's reports from the screen, hands exactly what the user has
// confirmed to the gate, and lets the tree follow what the gate did. The marks and their review are its
// `RemovalSelection`, the saved scan its `SavedScanSession`, a removal under way its `RemovalRun`. Every
// failure becomes text in `error`; no operation throws. Main thread only; the scan, what the disk is asked
// about marks, and the removal run on serial contexts.
#pragma once

#include <QObject>
#include <QString>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <vector>

#include "disk/DiskFailure.h"
#include "disk/DiskScanOptions.h"
#include "disk/EmptyFolderFailure.h"
#include "disk/FileNode.h"
#include "disk/FinishedRemoval.h"
#include "disk/HiddenFilesSetting.h"
#include "disk/RemovalMarks.h"
#include "disk/RemovalReview.h"
#include "disk/RemovalSelection.h"
#include "disk/RescanCheck.h"
#include "disk/SavedScanSession.h"
#include "disk/ScanChangeTracker.h"
#include "disk/ScanProgress.h"
#include "disk/ScanResult.h"
#include "disk/ScanScope.h"
#include "disk/ScannedMap.h"
#include "platform/OpenPanel.h"
#include "platform/SerialContext.h"
#include "platform/UUID.h"
#include "platform/UserDefaults.h"
#include "platform/Volumes.h"
#include "removal/CleanupPreviewItem.h"
#include "removal/RemovalRun.h"
#include "removal/ReviewRequest.h"

namespace larkfold {

class DiskScannerViewModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool hasScanResult READ hasScanResult NOTIFY scanResultChanged)
    Q_PROPERTY(bool isScanning READ isScanning NOTIFY isScanningChanged)
    Q_PROPERTY(bool isDeleting READ isDeleting NOTIFY isDeletingChanged)
    Q_PROPERTY(larkfold::RemovalRun* removalRun READ removalRun CONSTANT)
    Q_PROPERTY(larkfold::RescanCheck* rescanCheck READ rescanCheck CONSTANT)
    Q_PROPERTY(bool isForgetting READ isForgetting NOTIFY isForgettingChanged)
    // The marks that a refresh or a loaded folder took back.
    Q_PROPERTY(larkfold::DroppedMarks* droppedMarks READ droppedMarks CONSTANT)
    // The review was asked for and is not there yet.
    Q_PROPERTY(bool isPreparingReview READ isPreparingReview NOTIFY isPreparingReviewChanged)
    // Why something was not marked, or a mark was taken back; empty where there is nothing to tell.
    Q_PROPERTY(QString markNotice READ markNotice NOTIFY markNoticeChanged)
    Q_PROPERTY(bool showDeleteConfirmation READ showDeleteConfirmation WRITE setShowDeleteConfirmation NOTIFY
                   showDeleteConfirmationChanged)
    Q_PROPERTY(QString error READ errorText NOTIFY errorChanged)
    Q_PROPERTY(bool isAccessProblem READ isAccessProblem NOTIFY errorChanged)
    Q_PROPERTY(QString savedScanNotice READ savedScanNoticeText NOTIFY savedScanNoticeChanged)
    Q_PROPERTY(bool hasSavedIndex READ hasSavedIndex NOTIFY hasSavedIndexChanged)
    Q_PROPERTY(int changedFolderCount READ changedFolderCount NOTIFY changedFolderCountChanged)
    Q_PROPERTY(bool isRefreshingIndex READ isRefreshingIndex NOTIFY isRefreshingIndexChanged)
    // The saved index is being read back; `isScanning` is set as well.
    Q_PROPERTY(bool isRestoring READ isRestoring NOTIFY isScanningChanged)
    Q_PROPERTY(bool scansStartupDisk READ scansStartupDisk NOTIFY scanScopeChanged)
    Q_PROPERTY(
        bool skipHiddenFiles READ skipHiddenFiles WRITE setSkipHiddenFiles NOTIFY skipHiddenFilesChanged)

public:
    using Gate = RemovalRun::Gate;

    // What the driver is given. References and pointers outlive the driver.
    struct Dependencies {
        MainQueue& mainQueue;
        UserDefaults& defaults;
        OpenPanel* folderChooser = nullptr;                   // null: `chooseFolder` does nothing
        std::optional<std::string> indexFileURL;              // absent: the place that `indexFileURL()` names
        CleanupHistoryStore* cleanupHistory = nullptr;        // where removals are recorded; null: nowhere
        Gate gate = nullptr;                                  // null: the gate, with that history
        ScanChangeTracker::StreamMaker makeStream = nullptr;  // null: a watch of the file system
        std::vector<std::string> ownFolders = {};  // what the program keeps for itself: no change of the scan
    };

    explicit DiskScannerViewModel(Dependencies dependencies, QObject* parent = nullptr);
    ~DiskScannerViewModel() override;

    // The user's Application Support folder, then "Larkfold/latest-scan.sqlite". Looked up anew at each call.
    static std::string indexFileURL();
    // The fixed prefixes that a scan of the startup disk leaves out; the system's own are read at each scan.
    static const std::vector<std::string>& startupScanExclusions() {
        return ScannedMap::startupScanExclusions();
    }

    // Published state.
    const std::optional<ScanResult>& scanResult() const { return scanResult_; }
    bool hasScanResult() const { return scanResult_.has_value(); }
    bool isScanning() const { return isScanning_; }
    // From the removal's beginning until the tree on screen has followed it.
    bool isDeleting() const { return removalRun_.isRunning(); }
    RemovalRun* removalRun() { return &removalRun_; }
    RescanCheck* rescanCheck() { return &rescanCheck_; }
    // The saved scan is being forgotten, which may have to wait for another window.
    bool isForgetting() const { return savedScan_.isForgetting(); }
    const ScanProgress& progress() const { return progress_; }
    const std::optional<DiskFailure>& failure() const { return failure_; }
    std::optional<std::string> error() const {
        return failure_ ? std::optional(failure_->text) : std::nullopt;
    }
    QString errorText() const;
    // True where `error` tells of a lack of permission, which granting access can mend.
    bool isAccessProblem() const { return failure_ && failure_->kind == DiskFailure::Kind::access; }
    const FileNode::Pointer& selectedNode() const { return selectedNode_; }
    const FileNode::Pointer& hoveredNode() const { return hoveredNode_; }
    const std::vector<FileNode::Pointer>& navigationStack() const { return navigationStack_; }
    const std::set<UUID>& selectedForDeletion() const { return selection_.ids(); }
    DroppedMarks* droppedMarks() { return &selection_.dropped(); }
    // False while the disk is still to be asked about marks that were set.
    bool areMarksChecked() const { return selection_.areChecked(); }
    QString markNotice() const;
    bool isPreparingReview() const { return selection_.isPreparingReview(); }
    // What was prepared for the review that is asked for; null until then.
    const std::shared_ptr<const RemovalReview>& review() const { return selection_.review(); }
    // Where the sheet attaches.
    ReviewRequest& reviewRequest() { return reviewRequest_; }
    bool showDeleteConfirmation() const { return showDeleteConfirmation_; }
    ScanScope scanScope() const { return scanScope_; }
    bool scansStartupDisk() const { return scanScope_ == ScanScope::startupDisk; }
    const std::optional<std::string>& savedScanNotice() const { return savedScan_.notice(); }
    QString savedScanNoticeText() const;
    bool hasSavedIndex() const { return savedScan_.exists(); }
    int changedFolderCount() const { return savedScan_.changedFolderCount(); }
    bool isRefreshingIndex() const { return isRefreshingIndex_; }
    bool isRestoring() const { return isRestoring_; }
    // The tree on screen was read from the saved index.
    bool isFromIndex() const { return isFromIndex_; }
    const ScanChangeTracker::Coverage& watchCoverage() const { return savedScan_.coverage(); }
    const std::optional<std::string>& scanRootBookmarkData() const { return scanRootBookmarkData_; }

    // The last of `navigationStack`, otherwise the root of the result, otherwise null.
    FileNode::Pointer currentNode() const;
    // The folder that the scan on screen (or under way) was started for, and whether it left hidden items
    // out.
    const std::string& scanRootPath() const { return scanRootPath_; }
    const DiskScanOptions& scanOptions() const { return scanOptions_; }

    // The user default "skipHiddenFiles"; true where it is missing or no Boolean.
    bool skipHiddenFiles() const { return hiddenFiles_.skips(); }
    void setSkipHiddenFiles(bool skip);

    // Views write these.
    void setSelectedNode(FileNode::Pointer node);
    // Map and list both light what the pointer is over. Whoever did so last, named by `owner`, which is only
    // compared, takes it back by `clearHoveredNode`; of anybody else that changes nothing.
    void setHoveredNode(FileNode::Pointer node, const void* owner = nullptr);
    void clearHoveredNode(const void* owner) {
        if (owner == hoverOwner_) {
            setHoveredNode(nullptr);
        }
    }
    // Asking for the review begins to prepare it, and taking that back ends the preparing at once.
    // `reviewPrepared` tells when it is there.
    void setShowDeleteConfirmation(bool show);
    void setError(std::optional<std::string> text, bool isAccessProblem = false);
    void setFailure(std::optional<DiskFailure> failure);

    // Operations of the user.
    Q_INVOKABLE void chooseFolder();
    void scanFolder(const std::string& path);
    Q_INVOKABLE void scanStartupDisk();
    void rescan(const std::string& path, const std::optional<std::string>& bookmarkData);
    // The same root once more, with the present settings.
    Q_INVOKABLE void rescanCurrent();
    Q_INVOKABLE void cancelScan();
    Q_INVOKABLE void dismissError();
    // Brings the saved scan back where no map is on screen: when the disk tab appears, and after a scan that
    // came to nothing.
    Q_INVOKABLE void restoreSavedScanIfNeeded();
    // Deletes the saved index; the tree on screen stays.
    Q_INVOKABLE void forgetSavedScan();
    // Scans the changed folders again, or the one on screen, and puts what it finds into the saved index. The
    // old tree stays on screen meanwhile.
    Q_INVOKABLE void refreshIndex(bool currentFolderOnly);
    void navigateInto(const FileNode::Pointer& node);
    // Shows the folder of a summary, filled in from the saved index.
    void openSummary(const FileNode::Pointer& summary);
    Q_INVOKABLE void navigateBack();
    // Back to an ancestor of the current node (or to the root), as the breadcrumb does.
    void navigateTo(const FileNode::Pointer& node);
    // By what is known of the map, without a look at the disk.
    bool canSelect(const FileNode& node) const { return !whyNotMarked(node); }
    // A sentence for the user; nothing where the node can be marked.
    std::optional<std::string> whyNotMarked(const FileNode& node) const {
        return selection_.whyNotMarked(node);
    }
    // Where it cannot be marked, `markNotice` tells why. Of a mark that is set the disk is asked later, and a
    // mark that it refuses is taken back, which `markNotice` tells too.
    void toggleSelection(const FileNode::Pointer& node) { selection_.toggle(node); }
    // Takes all marks away.
    Q_INVOKABLE void clearSelection() { selection_.clear(); }
    Q_INVOKABLE void dismissMarkNotice();
    // Why something cannot be done with the marks, a sentence.
    void setMarkNotice(std::string text) { selection_.setNotice(std::move(text)); }
    std::vector<std::string> allowedRemovalRoots() const;
    // How many marked nodes there are and their sizes together, what lies within another marked folder
    // counted once.
    RemovalMarks::Totals markedTotals() const { return selection_.totals(); }
    // What the review that is prepared shows; without one, what is marked and still in the tree, in the order
    // of the paths and not yet checked.
    std::vector<CleanupPreviewItem> reviewItems() const;
    // Hands exactly what `confirmed` shows to the gate, whatever was marked or changed since: to Trash, or
    // for good. What failed stays marked, the view goes back to the root, and the totals are fresh when it
    // ends. Null: the review that is prepared, otherwise what `reviewItems` holds. Nothing goes while a
    // review is being prepared, since nobody has seen it.
    void deleteSelected(bool permanently, std::shared_ptr<const RemovalReview> confirmed = nullptr);
    // Lets the item that is under way be finished and leaves the rest. The record names them all.
    Q_INVOKABLE void cancelDeletion();
    void releaseSecurityScope();

signals:
    void scanResultChanged();
    // A scan has ended with this result, which is on screen by now. Not for a tree that was loaded from the
    // index, nor for one that a removal or a refresh changed.
    void scanFinished(const larkfold::ScanResult& result);
    // A refresh or a removal has ended, and this is the map that it left. Not for a scan, a restored map or a
    // folder that was filled in.
    void mapUpdated(const larkfold::ScanResult& result);
    void isScanningChanged();
    void isDeletingChanged();
    void isForgettingChanged();
    void progressChanged();
    void errorChanged();
    void selectedNodeChanged();
    void hoveredNodeChanged();
    void navigationStackChanged();
    void selectedForDeletionChanged();
    void showDeleteConfirmationChanged();
    void isPreparingReviewChanged();
    // `review` is there.
    void reviewPrepared();
    void markNoticeChanged();  // also where a mark is refused once more, for the same reason
    void scanScopeChanged();
    void savedScanNoticeChanged();
    void hasSavedIndexChanged();
    void changedFolderCountChanged();
    void isRefreshingIndexChanged();
    void watchCoverageChanged();
    void skipHiddenFilesChanged();

private:
    bool mayBegin(std::function<void()> again);
    void checkThenStart(const std::string& path, bool needsPermission, RescanCheck::Start start);
    void startChosenFolder(const std::string& path, bool mayEmptyIndex);
    void startScan(const std::string& path, ScanScope scope, bool mayEmptyIndex);
    void takeProgress(const UUID& scanID, const ScanProgress& progress);
    bool isIdle() const { return !isScanning_ && !isDeleting() && !savedScan_.isForgetting(); }
    void fail(const std::exception_ptr& failure);
    void askAboutEmptyFolder(const EmptyFolderFailure& failure);
    void finishScan(Outcome<ScannedMap> outcome);
    void takeMap(ScannedMap map);
    void setScanning(bool scanning);
    void setScanScope(ScanScope scope);
    std::string indexURL() const { return dependencies_.indexFileURL.value_or(indexFileURL()); }
    void finishRestore(Outcome<SavedScanSession::SavedScan> outcome);
    void finishRefresh(Outcome<ScanResult> outcome);
    void loadOnDemand(const FileNode::Pointer& node);
    void takeLoaded(const FileNode::Pointer& node, ScanResult loaded);
    void proposeReview();

    void finishDeletion(const std::shared_ptr<const RemovalReview>& review, Outcome<FinishedRemoval> outcome);
    void followRemoval(const RemovalReview& review, FinishedRemoval& removal);
    void totalAnew(const VolumeCapacity& capacity);

    Dependencies dependencies_;
    std::optional<ScanResult> scanResult_;
    bool isScanning_ = false;
    ScanProgress progress_;
    std::optional<DiskFailure> failure_;
    FileNode::Pointer selectedNode_;
    FileNode::Pointer hoveredNode_;
    const void* hoverOwner_ = nullptr;
    std::vector<FileNode::Pointer> navigationStack_;
    bool showDeleteConfirmation_ = false;
    ScanScope scanScope_ = ScanScope::selectedFolder;
    bool isRefreshingIndex_ = false;
    bool isRestoring_ = false;
    bool isFromIndex_ = false;

    HiddenFilesSetting hiddenFiles_;
    std::string scanRootPath_;
    DiskScanOptions scanOptions_;
    UUID scanID_;
    std::optional<std::string> activeSecurityScopedURL_;
    bool hasActiveSecurityScope_ = false;
    std::optional<std::string> scanRootBookmarkData_;
    SerialContext scanContext_;
    RescanCheck rescanCheck_;
    RemovalSelection selection_;
    ReviewRequest reviewRequest_;
    SavedScanSession savedScan_;
    RemovalRun removalRun_;
    Run scanTask_;  // last: its end drops the work before anything that the work reports to
};

}  // namespace larkfold
