#include "disk/DiskScannerViewModel.h"

#include <QPointer>
#include <algorithm>
#include <iostream>
#include <utility>

#include "platform/Bookmark.h"
#include "platform/CoalescedReports.h"
#include "platform/Error.h"
#include "platform/Path.h"
#include "platform/StandardFolders.h"

namespace larkfold {

DiskScannerViewModel::DiskScannerViewModel(Dependencies dependencies, QObject* parent)
    : QObject(parent),
      dependencies_(std::move(dependencies)),
      hiddenFiles_(dependencies_.defaults),
      scanContext_(dependencies_.mainQueue, "disk-scan"),
      rescanCheck_(scanContext_),
      selection_(dependencies_.mainQueue),
      savedScan_({.mainQueue = dependencies_.mainQueue,
                  .indexURL = [this] { return indexURL(); },
                  .makeStream = dependencies_.makeStream,
                  .ownFolders = dependencies_.ownFolders}),
      removalRun_(dependencies_.mainQueue, dependencies_.gate
                                               ? dependencies_.gate
                                               : RemovalRun::gateWith(dependencies_.cleanupHistory)) {
    using Driver = DiskScannerViewModel;
    connect(&selection_, &RemovalSelection::changed, this, &Driver::selectedForDeletionChanged);
    connect(&selection_, &RemovalSelection::noticeChanged, this, &Driver::markNoticeChanged);
    connect(&selection_, &RemovalSelection::isPreparingReviewChanged, this,
            &Driver::isPreparingReviewChanged);
    connect(&selection_, &RemovalSelection::reviewProgressChanged, this, [this] {
        const auto& now = selection_.reviewProgress();
        reviewRequest_.setProgress({.checked = now.answered, .total = now.total, .awaited = now.awaited});
    });
    connect(&selection_, &RemovalSelection::reviewPrepared, this, &Driver::proposeReview);
    connect(&selection_, &RemovalSelection::reviewFailed, this, [this](const std::exception_ptr& failure) {
        setError(descriptionOf(failure));
        setShowDeleteConfirmation(false);
    });
    // The flag and the sheet go together, whoever closes it.
    connect(&reviewRequest_, &ReviewRequest::closed, this, [this] { setShowDeleteConfirmation(false); });
    connect(&savedScan_, &SavedScanSession::existsChanged, this, &Driver::hasSavedIndexChanged);
    connect(&savedScan_, &SavedScanSession::noticeChanged, this, &Driver::savedScanNoticeChanged);
    connect(&savedScan_, &SavedScanSession::changedFolderCountChanged, this,
            &Driver::changedFolderCountChanged);
    connect(&savedScan_, &SavedScanSession::coverageChanged, this, &Driver::watchCoverageChanged);
    connect(&savedScan_, &SavedScanSession::isForgettingChanged, this, &Driver::isForgettingChanged);
    connect(&removalRun_, &RemovalRun::stateChanged, this, &Driver::isDeletingChanged);
}

DiskScannerViewModel::~DiskScannerViewModel() {
    scanTask_.drop();
    rescanCheck_.dropRuns();
    savedScan_.dropRuns();
    selection_.dropRuns();
    releaseSecurityScope();
}

std::string DiskScannerViewModel::indexFileURL() {
    return joinedPath(applicationSupportDirectory(), "Larkfold/latest-scan.sqlite");
}

// --- State

QString DiskScannerViewModel::errorText() const {
    return QString::fromStdString(error().value_or(std::string()));
}

QString DiskScannerViewModel::savedScanNoticeText() const {
    return QString::fromStdString(savedScanNotice().value_or(std::string()));
}

FileNode::Pointer DiskScannerViewModel::currentNode() const {
    if (!navigationStack_.empty()) {
        return navigationStack_.back();
    }
    return scanResult_ ? scanResult_->rootNode : nullptr;
}

void DiskScannerViewModel::setSkipHiddenFiles(bool skip) {
    if (skip != skipHiddenFiles()) {
        hiddenFiles_.set(skip, [this](const std::string& problem) { setError(problem); });
        emit skipHiddenFilesChanged();
    }
}

void DiskScannerViewModel::setSelectedNode(FileNode::Pointer node) {
    if (node == selectedNode_) {
        return;
    }
    selectedNode_ = std::move(node);
    emit selectedNodeChanged();
}

void DiskScannerViewModel::setHoveredNode(FileNode::Pointer node, const void* owner) {
    hoverOwner_ = owner;
    if (node == hoveredNode_) {
        return;
    }
    hoveredNode_ = std::move(node);
    emit hoveredNodeChanged();
}

void DiskScannerViewModel::setShowDeleteConfirmation(bool show) {
    if (show == showDeleteConfirmation_) {
        return;
    }
    showDeleteConfirmation_ = show;
    if (show) {
        reviewRequest_.prepare();
        selection_.prepareReview();
    } else {
        selection_.dropReview();
        reviewRequest_.close();
    }
    emit showDeleteConfirmationChanged();
}

void DiskScannerViewModel::setError(std::optional<std::string> text, bool isAccessProblem) {
    const auto kind = isAccessProblem ? DiskFailure::Kind::access : DiskFailure::Kind::scan;
    setFailure(text ? std::optional(DiskFailure{.kind = kind, .text = std::move(*text)}) : std::nullopt);
}

void DiskScannerViewModel::setFailure(std::optional<DiskFailure> failure) {
    if (failure == failure_) {
        return;
    }
    failure_ = std::move(failure);
    emit errorChanged();
}

void DiskScannerViewModel::setScanning(bool scanning) {
    if (scanning == isScanning_) {
        return;
    }
    isScanning_ = scanning;
    if (scanning) {
        setShowDeleteConfirmation(false);  // of a map that is about to change
    }
    emit isScanningChanged();
}

// --- Operations of the user

void DiskScannerViewModel::chooseFolder() {
    if (dependencies_.folderChooser == nullptr) {
        return;
    }
    dependencies_.folderChooser->ask(
        {.title = {}, .message = "Select a folder to scan", .button = {}, .fileType = {}},
        [driver = QPointer(this)](const std::vector<std::string>& paths) {
            if (driver && !paths.empty()) {
                driver->scanFolder(paths.front());
            }
        });
}

void DiskScannerViewModel::scanFolder(const std::string& path) {
    if (!mayBegin([this, path] { scanFolder(path); })) {
        return;
    }
    if (standardizedPath(path) == "/") {
        scanStartupDisk();
        return;
    }
    startChosenFolder(path, false);
}

void DiskScannerViewModel::scanStartupDisk() {
    if (!mayBegin([this] { scanStartupDisk(); })) {
        return;
    }
    releaseSecurityScope();
    scanRootBookmarkData_.reset();
    startScan("/", ScanScope::startupDisk, false);
}

void DiskScannerViewModel::rescan(const std::string& path, const std::optional<std::string>& bookmarkData) {
    if (!mayBegin([this, path, bookmarkData] { rescan(path, bookmarkData); })) {
        return;
    }
    if (standardizedPath(path) == "/") {
        scanStartupDisk();
        return;
    }
    releaseSecurityScope();
    checkThenStart(path, bookmarkData.has_value(), [this, path, bookmarkData](bool mayEmptyIndex) {
        if (bookmarkData) {
            activeSecurityScopedURL_ = path;
            hasActiveSecurityScope_ = true;
        }
        scanRootBookmarkData_ = bookmarkData;
        startScan(path, ScanScope::selectedFolder, mayEmptyIndex);
    });
}

void DiskScannerViewModel::rescanCurrent() {
    if (scanRootPath_.empty() || !mayBegin([this] { rescanCurrent(); })) {
        return;
    }
    if (scanScope_ == ScanScope::startupDisk) {
        scanStartupDisk();
    } else {
        checkThenStart(scanRootPath_, false, [this, path = scanRootPath_](bool mayEmptyIndex) {
            startChosenFolder(path, mayEmptyIndex);
        });
    }
}

void DiskScannerViewModel::checkThenStart(const std::string& path, bool needsPermission,
                                          RescanCheck::Start start) {
    rescanCheck_.begin({.path = path, .indexURL = indexURL(), .needsPermission = needsPermission},
                       std::move(start), [this](std::optional<DiskFailure> failure) {
                           setFailure(std::move(failure));
                           setScanning(false);
                       });
    setScanning(true);
}

void DiskScannerViewModel::startChosenFolder(const std::string& path, bool mayEmptyIndex) {
    releaseSecurityScope();
    scanRootBookmarkData_.reset();
    try {
        scanRootBookmarkData_ = makeBookmark(path);
    } catch (const Error& failure) {
        std::cerr << "Failed to create security-scoped bookmark for " << displayText(path) << ": "
                  << failure.description() << '\n';
    }
    startScan(path, ScanScope::selectedFolder, mayEmptyIndex);
}

// Nothing begins during a scan or a removal. What is asked for while the saved scan is being forgotten begins
// when that has ended: a scan would put a new one in its place.
bool DiskScannerViewModel::mayBegin(std::function<void()> again) {
    if (savedScan_.isForgetting()) {
        savedScan_.whenForgotten(std::move(again));
        return false;
    }
    return !isScanning_ && !isDeleting();
}

void DiskScannerViewModel::cancelScan() {
    scanTask_.cancel();
    rescanCheck_.cancel();
    savedScan_.cancelForgetting();
    savedScan_.cancelRefresh();
}

void DiskScannerViewModel::dismissError() {
    setError(std::nullopt);
}

void DiskScannerViewModel::navigateInto(const FileNode::Pointer& node) {
    if (!node || !node->isDirectory()) {
        return;
    }
    navigationStack_.push_back(node);
    emit navigationStackChanged();
    setSelectedNode(nullptr);
    loadOnDemand(node);
}

void DiskScannerViewModel::openSummary(const FileNode::Pointer& summary) {
    const FileNode::Pointer folder = summary && summary->isAggregate() ? summary->parent() : nullptr;
    if (!folder || !savedScan_.exists()) {
        return;
    }
    if (folder == currentNode()) {
        loadOnDemand(folder);
    } else {
        navigateInto(folder);
    }
}

void DiskScannerViewModel::navigateBack() {
    if (navigationStack_.empty()) {
        return;
    }
    navigationStack_.pop_back();
    emit navigationStackChanged();
    setSelectedNode(nullptr);
}

void DiskScannerViewModel::navigateTo(const FileNode::Pointer& node) {
    if (!node || !scanResult_) {
        return;
    }
    std::vector<FileNode::Pointer> way;
    for (FileNode::Pointer at = node; at && at != scanResult_->rootNode; at = at->parent()) {
        way.push_back(at);
    }
    std::reverse(way.begin(), way.end());
    navigationStack_ = std::move(way);
    emit navigationStackChanged();
    setSelectedNode(nullptr);
}

// --- The saved scan

void DiskScannerViewModel::restoreSavedScanIfNeeded() {
    if (scanResult_ || !isIdle()) {
        return;
    }
    try {
        if (!savedScan_.hasIndexFile()) {
            return;
        }
    } catch (const Error& failure) {
        setFailure(DiskFailure{.kind = DiskFailure::Kind::restoring,
                               .text = "Could not restore the saved scan: " + failure.description()});
        return;
    }
    setError(std::nullopt);
    isRestoring_ = true;
    setScanning(true);
    scanTask_ = savedScan_.restore(
        [this](Outcome<SavedScanSession::SavedScan> outcome) { finishRestore(std::move(outcome)); });
}

void DiskScannerViewModel::finishRestore(Outcome<SavedScanSession::SavedScan> outcome) {
    scanTask_ = Run();
    isRestoring_ = false;
    try {
        SavedScanSession::SavedScan& saved = outcome.get();
        takeMap(std::move(saved.map));
        isFromIndex_ = true;
        scanRootPath_ = scanResult_->rootPath;
        setScanScope(SavedScanSession::scopeOf(*scanResult_));
        scanOptions_ = ScannedMap::optionsFor(scanScope_, saved.skipsHiddenFiles);
        savedScan_.trackRestored(scanResult_->rootPath, scanOptions_, scanResult_->scanDate);
    } catch (...) {
        setFailure(DiskFailure{
            .kind = DiskFailure::Kind::restoring,
            .text = "Could not restore the saved scan: " + descriptionOf(std::current_exception())});
    }
    setScanning(false);
    emit scanResultChanged();
    emit navigationStackChanged();
}

void DiskScannerViewModel::forgetSavedScan() {
    if (!isIdle()) {
        return;
    }
    savedScan_.forget([this](Outcome<bool> outcome) {
        try {
            outcome.get();
        } catch (const CancellationError&) {
            // The user kept it after all.
        } catch (...) {
            setFailure(DiskFailure{.kind = DiskFailure::Kind::forgetting,
                                   .text = descriptionOf(std::current_exception())});
        }
    });
}

void DiskScannerViewModel::loadOnDemand(const FileNode::Pointer& node) {
    const auto& children = node->children();
    if (isDeleting() || std::none_of(children.begin(), children.end(),
                                     [](const FileNode::Pointer& child) { return child->isAggregate(); })) {
        return;
    }
    savedScan_.load(scanResult_->rootPath, node->url(), [this, node](Outcome<ScanResult> outcome) {
        try {
            takeLoaded(node, std::move(outcome.get()));
        } catch (const std::exception&) {
            // The folder stays as it was, with its summary.
        }
    });
}

void DiskScannerViewModel::takeLoaded(const FileNode::Pointer& node, ScanResult loaded) {
    const FileNode::Pointer current = currentNode();
    if (isDeleting() || showDeleteConfirmation_ || !current || *current != *node) {
        return;  // the user has gone on, or decides about nodes that would be replaced
    }
    const FileNode::Pointer root = std::move(loaded.rootNode);
    const std::int64_t size = root->size();
    selection_.dropBelow(*node);
    node->replaceChildren(root->takeChildren());
    node->setSize(size);
    // What was looked at among the children that are gone is not there any more.
    selection_.recount();
    setSelectedNode(nullptr);
    setHoveredNode(nullptr);
    emit navigationStackChanged();
    emit selectedForDeletionChanged();
}

void DiskScannerViewModel::refreshIndex(bool currentFolderOnly) {
    if (!scanResult_ || !mayBegin([this, currentFolderOnly] { refreshIndex(currentFolderOnly); })) {
        return;
    }
    std::vector<std::string> folders;
    if (currentFolderOnly) {
        const FileNode::Pointer current = currentNode();
        folders.push_back(current ? current->url() : scanResult_->rootPath);
    } else {
        folders = savedScan_.takeChangedFolders();
    }
    if (folders.empty()) {
        return;
    }
    isRefreshingIndex_ = true;
    setScanning(true);
    emit isRefreshingIndexChanged();
    setError(std::nullopt);
    scanID_ = UUID::make();
    progress_ = ScanProgress{};
    emit progressChanged();
    savedScan_.refresh(
        scanContext_, scanResult_->rootPath, std::move(folders),
        [this](bool skipsHiddenFiles) { return ScannedMap::optionsFor(scanScope_, skipsHiddenFiles); },
        [this](Outcome<ScanResult> outcome) { finishRefresh(std::move(outcome)); });
}

void DiskScannerViewModel::finishRefresh(Outcome<ScanResult> outcome) {
    bool hasNewTree = false;
    try {
        scanResult_ = std::move(outcome.get());
        hasNewTree = true;
        isFromIndex_ = true;
        navigationStack_.clear();
        setSelectedNode(nullptr);
        setHoveredNode(nullptr);
        selection_.takeTree(scanResult_->rootNode);
    } catch (const EmptyFolderFailure& empty) {
        askAboutEmptyFolder(empty);
    } catch (...) {
        DiskFailure failure = DiskFailure::of(std::current_exception());
        setFailure(DiskFailure{.kind = failure.kind == DiskFailure::Kind::folderMissing
                                           ? failure.kind
                                           : DiskFailure::Kind::refreshing,
                               .text = "Refresh did not finish: " + descriptionOf(std::current_exception())});
    }
    isRefreshingIndex_ = false;
    setScanning(false);
    emit isRefreshingIndexChanged();
    if (hasNewTree) {
        emit scanResultChanged();
        emit navigationStackChanged();
        emit mapUpdated(*scanResult_);
    }
}

// --- Marks

std::vector<std::string> DiskScannerViewModel::allowedRemovalRoots() const {
    if (scanScope_ == ScanScope::startupDisk) {
        return {realHomeDirectory()};
    }
    if (!scanResult_) {
        return {};
    }
    return {scanResult_->rootPath};
}

QString DiskScannerViewModel::markNotice() const {
    return QString::fromStdString(selection_.notice().value_or(std::string()));
}

void DiskScannerViewModel::dismissMarkNotice() {
    selection_.setNotice(std::nullopt);
}

// --- Review

void DiskScannerViewModel::proposeReview() {
    emit reviewPrepared();
    if (!showDeleteConfirmation_) {
        return;  // who heard of it turned it down
    }
    reviewRequest_.propose(selection_.proposal(
        [this](bool permanently, auto confirmed) { deleteSelected(permanently, std::move(confirmed)); }));
}

std::vector<CleanupPreviewItem> DiskScannerViewModel::reviewItems() const {
    return selection_.reviewOrMarks()->shown->items;
}

// --- Removal

void DiskScannerViewModel::deleteSelected(bool permanently, std::shared_ptr<const RemovalReview> confirmed) {
    const auto removalScope = selection_.removalScope();
    if (!scanResult_ || !removalScope || isPreparingReview()) {
        return;
    }
    if (!confirmed) {
        confirmed = selection_.reviewOrMarks();
    }
    if (!mayBegin([this, permanently, confirmed] { deleteSelected(permanently, confirmed); })) {
        return;
    }
    setError(std::nullopt);
    selection_.forgetUnchecked();
    selection_.setNotice(std::nullopt);
    removalRun_.begin<FinishedRemoval>(
        static_cast<std::int64_t>(confirmed->shown->items.size()), permanently,
        [shown = confirmed->shown, removalScope] { return requestFor(*shown, *removalScope); },
        [shown = confirmed->shown, root = scanResult_->rootPath](FileDeleter::DeletionResult result) {
            return FinishedRemoval::of(*shown, std::move(result), root);
        },
        [this, confirmed](Outcome<FinishedRemoval> outcome) {
            finishDeletion(confirmed, std::move(outcome));
        });
}

void DiskScannerViewModel::cancelDeletion() {
    removalRun_.cancel();
}

// The end of a removal. A list of a hundred thousand must not hold up the main loop, so it has its turns:
// 1. What is gone leaves the tree and the marks, a slice for each turn.
// 2. What failed stays marked, the view goes back to the root, and the sums are right again.
// 3. It has ended, and is told.
// Until the second turn nobody is told of a change, until the third nothing else begins.
void DiskScannerViewModel::finishDeletion(const std::shared_ptr<const RemovalReview>& review,
                                          Outcome<FinishedRemoval> outcome) {
    try {
        const auto removal = std::make_shared<FinishedRemoval>(std::move(outcome.get()));
        selection_.takeOutOfTree(review, removal->gone,
                                 [this, review, removal] { followRemoval(*review, *removal); });
    } catch (...) {
        setShowDeleteConfirmation(false);
        fail(std::current_exception());
        removalRun_.end();
    }
}

void DiskScannerViewModel::followRemoval(const RemovalReview& review, FinishedRemoval& removal) {
    if (removal.failure) {
        setFailure(std::move(removal.failure));
    }
    // Whoever looks at the tree from a signal below sees all of it as it is now.
    navigationStack_.clear();
    std::vector<FileNode::Pointer> failed;
    failed.reserve(removal.failed.size());
    for (const std::size_t position : removal.failed) {
        failed.push_back(review.nodes[position]);
    }
    selection_.keepOnly(failed);
    setSelectedNode(nullptr);
    setHoveredNode(nullptr);
    setShowDeleteConfirmation(false);
    totalAnew(removal.capacity);
    dependencies_.mainQueue.post([driver = QPointer(this), operation = removal.operation] {
        if (driver) {
            driver->removalRun_.end(operation);
        }
    });
}

void DiskScannerViewModel::totalAnew(const VolumeCapacity& capacity) {
    if (scanResult_) {
        scanResult_->rootNode->recalculateSize();
        scanResult_->rootNode->sortChildrenBySize();
        scanResult_->takeTotals(capacity);
        selection_.recount();
        emit mapUpdated(*scanResult_);
    }
    emit scanResultChanged();
    emit navigationStackChanged();
    emit selectedForDeletionChanged();
}

void DiskScannerViewModel::releaseSecurityScope() {
    if (hasActiveSecurityScope_ && activeSecurityScopedURL_) {
        stopAccessingSecurityScopedResource(*activeSecurityScopedURL_);
    }
    hasActiveSecurityScope_ = false;
    activeSecurityScopedURL_.reset();
}

// --- How a scan begins, reports and ends

void DiskScannerViewModel::setScanScope(ScanScope scope) {
    if (scope != scanScope_) {
        scanScope_ = scope;
        selection_.setScanScope(scope);
        emit scanScopeChanged();
    }
}

void DiskScannerViewModel::startScan(const std::string& path, ScanScope scope, bool mayEmptyIndex) {
    scanRootPath_ = path;
    scanOptions_ = ScannedMap::optionsFor(scope, skipHiddenFiles());
    rescanCheck_.forgetQuestion();
    setScanning(true);
    setScanScope(scope);
    setError(std::nullopt);
    hiddenFiles_.dropSave();  // what it tells now would stand there as the scan's
    progress_ = ScanProgress{};
    emit progressChanged();
    setSelectedNode(nullptr);
    setHoveredNode(nullptr);
    navigationStack_.clear();
    scanResult_.reset();
    selection_.dropMap();
    emit scanResultChanged();
    emit navigationStackChanged();

    scanID_ = UUID::make();
    const CoalescedReports<ScanProgress> reports(
        dependencies_.mainQueue, [driver = QPointer(this), id = scanID_](const ScanProgress& progress) {
            if (driver) {
                driver->takeProgress(id, progress);
            }
        });
    scanTask_ = scanContext_.run<ScannedMap>(
        [reports, scan = ScannedMap::Scan{.root = path,
                                          .scope = scope,
                                          .options = scanOptions_,
                                          .indexURL = indexURL(),
                                          .mayEmptyIndex = mayEmptyIndex}](std::stop_token stop) {
            return ScannedMap::of(scan, stop,
                                  [&reports](const ScanProgress& progress) { reports.report(progress); });
        },
        [this](Outcome<ScannedMap> outcome) { finishScan(std::move(outcome)); });
}

void DiskScannerViewModel::takeProgress(const UUID& scanID, const ScanProgress& progress) {
    if (scanID != scanID_ || !isScanning_) {
        return;
    }
    progress_ = progress;
    emit progressChanged();
}

void DiskScannerViewModel::takeMap(ScannedMap map) {
    scanResult_ = std::move(map.result);
    selection_.takeMap(scanResult_->rootNode, std::move(map.removalScope));
}

void DiskScannerViewModel::finishScan(Outcome<ScannedMap> outcome) {
    scanTask_ = Run();
    std::optional<ScanResult> finished;
    try {
        WatchBeginning began = std::move(outcome.get().began);
        takeMap(std::move(outcome.get()));
        finished = scanResult_;
        isFromIndex_ = false;
        savedScan_.trackScanned(scanResult_->rootPath, scanOptions_, std::move(began));
    } catch (const EmptyFolderFailure& empty) {
        askAboutEmptyFolder(empty);
    } catch (...) {
        fail(std::current_exception());
    }
    setScanning(false);
    emit scanResultChanged();
    emit navigationStackChanged();
    if (finished) {
        emit scanFinished(*finished);
    } else if (rescanCheck_.asksUser()) {
        restoreSavedScanIfNeeded();  // the question is about it
    }
}

void DiskScannerViewModel::askAboutEmptyFolder(const EmptyFolderFailure& failure) {
    rescanCheck_.ask(failure.folder(), failure.savedFiles(),
                     [this, path = failure.folder()](bool mayEmptyIndex) {
                         if (isIdle()) {
                             startChosenFolder(path, mayEmptyIndex);
                         }
                     });
}

void DiskScannerViewModel::fail(const std::exception_ptr& failure) {
    setFailure(DiskFailure::of(failure));
}

}  // namespace larkfold
