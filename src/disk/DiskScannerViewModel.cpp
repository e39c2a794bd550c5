#include "disk/DiskScannerViewModel.h"

#include <QDateTime>
#include <QLocale>
#include <QPointer>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iostream>
#include <unordered_set>
#include <utility>

#include "disk/DiskScanner.h"
#include "disk/SavedScanLoader.h"
#include "platform/Bookmark.h"
#include "platform/CoalescedReports.h"
#include "platform/Error.h"
#include "platform/LinkResolution.h"
#include "platform/OwnFiles.h"
#include "platform/Path.h"
#include "platform/StandardFolders.h"
#include "platform/Volumes.h"
#include "removal/PathRules.h"

namespace larkfold {

namespace {

constexpr std::size_t maximumRetainedFiles = 50'000;

QString textOf(const std::optional<std::string>& text) {
    return text ? QString::fromStdString(*text) : QString();
}

// The default short form of the user's locale.
std::string shortDate(Date date) {
    const double milliseconds = std::clamp(secondsSince1970(date) * 1000, -9.0e15, 9.0e15);
    return QLocale::system()
        .toString(QDateTime::fromMSecsSinceEpoch(std::llround(milliseconds)), QLocale::ShortFormat)
        .toStdString();
}

// What a failure says of itself.
std::string descriptionOf(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const Error& error) {
        return error.description();
    } catch (const std::exception& error) {
        return error.what();
    }
}

// The driver's own gate, kept by the work that uses it.
DiskScannerViewModel::Gate makeGate(CleanupHistoryStore* history) {
    return [deleter = std::make_shared<FileDeleter>(history)](
               const FileDeleter::Request& request, const FileDeleter::Progress& progress,
               std::stop_token stop) { return deleter->deleteItems(request, progress, std::move(stop)); };
}

}  // namespace

DiskScannerViewModel::DiskScannerViewModel(World world, QObject* parent)
    : QObject(parent),
      world_(std::move(world)),
      deleter_(world_.gate ? world_.gate : makeGate(world_.cleanupHistory)),
      changeTracker_(
          world_.makeStream ? world_.makeStream : ScanChangeTracker::folderWatchers(world_.mainQueue),
          [this] { return indexURL(); }, [this] { emit watchCoverageChanged(); }),
      scanContext_(world_.mainQueue, "disk-scan"),
      removalContext_(world_.mainQueue, "disk-removal"),
      indexContext_(world_.mainQueue, "saved-scan") {}

DiskScannerViewModel::~DiskScannerViewModel() {
    scanTask_.drop();
    refreshTask_.reset();
    loadTask_.drop();
    forgetTask_.drop();
    deletionTask_.drop();  // the gate finishes the item under way and records the run
    releaseSecurityScope();
}

std::string DiskScannerViewModel::indexFileURL() {
    return joinedPath(applicationSupportDirectory(), "Larkfold/latest-scan.sqlite");
}

const std::vector<std::string>& DiskScannerViewModel::startupScanExclusions() {
    static const std::vector<std::string> prefixes = {"/System/Volumes", "/Volumes", "/dev", "/.vol",
                                                      "/.nofollow",      "/Network", "/net"};
    return prefixes;
}

// --- State
// ----------------------------------------------------------------------------------------------------------

QString DiskScannerViewModel::errorText() const {
    return textOf(error_);
}

QString DiskScannerViewModel::savedScanNoticeText() const {
    return textOf(savedScanNotice_);
}

FileNode::Pointer DiskScannerViewModel::currentNode() const {
    if (!navigationStack_.empty()) {
        return navigationStack_.back();
    }
    return scanResult_ ? scanResult_->rootNode : nullptr;
}

bool DiskScannerViewModel::skipHiddenFiles() const {
    return world_.defaults.boolForKey("skipHiddenFiles").value_or(true);
}

void DiskScannerViewModel::setSkipHiddenFiles(bool skip) {
    if (skip == skipHiddenFiles()) {
        return;
    }
    try {
        world_.defaults.setBool("skipHiddenFiles", skip);
    } catch (const Error& failure) {
        setError(failure.description());  // it holds for this run all the same
    }
    emit skipHiddenFilesChanged();
}

void DiskScannerViewModel::setSelectedNode(FileNode::Pointer node) {
    if (node == selectedNode_) {
        return;
    }
    selectedNode_ = std::move(node);
    emit selectedNodeChanged();
}

void DiskScannerViewModel::setHoveredNode(FileNode::Pointer node) {
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
    emit showDeleteConfirmationChanged();
}

void DiskScannerViewModel::setError(std::optional<std::string> text, bool isAccessProblem) {
    publishError(std::move(text), isAccessProblem, false);
}

void DiskScannerViewModel::publishError(std::optional<std::string> text, bool isAccessProblem,
                                        bool isRemovalProblem) {
    isForgettingProblem_ = false;
    if (text == error_ && isAccessProblem == isAccessProblem_ && isRemovalProblem == isRemovalProblem_) {
        return;
    }
    error_ = std::move(text);
    isAccessProblem_ = isAccessProblem;
    isRemovalProblem_ = isRemovalProblem;
    emit errorChanged();
}

void DiskScannerViewModel::setScanning(bool scanning) {
    if (scanning == isScanning_) {
        return;
    }
    isScanning_ = scanning;
    emit isScanningChanged();
}

// --- Operations of the user
// -----------------------------------------------------------------------------------------

void DiskScannerViewModel::chooseFolder() {
    if (world_.folderChooser == nullptr) {
        return;
    }
    world_.folderChooser->chooseFolder("Select a folder to scan",
                                       [driver = QPointer(this)](const std::optional<std::string>& path) {
                                           if (driver && path) {
                                               driver->scanFolder(*path);
                                           }
                                       });
}

void DiskScannerViewModel::scanFolder(const std::string& path) {
    if (!isIdle()) {
        return;
    }
    releaseSecurityScope();
    std::optional<std::string> bookmark;
    try {
        bookmark = makeBookmark(path);
    } catch (const Error& failure) {
        std::cerr << "Failed to create security-scoped bookmark for " << displayText(path) << ": "
                  << failure.description() << '\n';
    }
    scanRootBookmarkData_ = std::move(bookmark);
    startScan(path, folderOptions(), ScanScope::selectedFolder);
}

void DiskScannerViewModel::scanStartupDisk() {
    if (!isIdle()) {
        return;
    }
    releaseSecurityScope();
    scanRootBookmarkData_.reset();
    startScan("/", startupOptions(), ScanScope::startupDisk);
}

void DiskScannerViewModel::rescan(const std::string& path, const std::optional<std::string>& bookmarkData) {
    if (!isIdle()) {
        return;
    }
    if (standardizedPath(path) == "/") {
        scanStartupDisk();
        return;
    }
    releaseSecurityScope();
    if (bookmarkData) {
        if (!startAccessingSecurityScopedResource(path)) {
            setError("Larkfold needs permission to reopen this saved folder. Please choose it again.", true);
            return;
        }
        activeSecurityScopedURL_ = path;
        hasActiveSecurityScope_ = true;
    }
    scanRootBookmarkData_ = bookmarkData;
    startScan(path, folderOptions(), ScanScope::selectedFolder);
}

void DiskScannerViewModel::rescanCurrent() {
    if (scanRootPath_.empty()) {
        return;
    }
    if (scanScope_ == ScanScope::startupDisk) {
        scanStartupDisk();
    } else {
        scanFolder(std::string(scanRootPath_));
    }
}

void DiskScannerViewModel::cancelScan() {
    scanTask_.cancel();
    if (refreshTask_) {
        refreshTask_->cancel();
    }
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
    if (!folder || !hasSavedIndex_) {
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
// ------------------------------------------------------------------------------------------------------

void DiskScannerViewModel::restoreSavedScanIfNeeded() {
    if (scanResult_ || !isIdle()) {
        return;
    }
    const std::string index = indexURL();
    try {
        if (!own_files::exists(index)) {
            return;
        }
    } catch (const Error& failure) {
        setError("Could not restore the saved scan: " + failure.description());
        return;
    }
    isRestoring_ = true;
    setScanning(true);
    scanTask_ = indexContext_.run<SavedScan>(
        [index](std::stop_token stop) {
            SavedScan saved{.result = SavedScanLoader::load(index, std::nullopt, std::move(stop)),
                            .skipsHiddenFiles = SavedScanLoader::skipHiddenFiles(index)};
            return saved;
        },
        [this](Outcome<SavedScan> outcome) { finishRestore(std::move(outcome)); });
}

void DiskScannerViewModel::finishRestore(Outcome<SavedScan> outcome) {
    scanTask_ = Run();
    isRestoring_ = false;
    try {
        SavedScan& saved = outcome.get();
        scanResult_ = std::move(saved.result);
        isFromIndex_ = true;
        scanRootPath_ = scanResult_->rootPath;
        setScanScope(scanRootPath_ == "/" ? ScanScope::startupDisk : ScanScope::selectedFolder);
        scanOptions_ = optionsFor(scanScope_, saved.skipsHiddenFiles);
        setSavedIndex(true, "Saved snapshot from " + shortDate(scanResult_->scanDate) +
                                ". Refresh to include changes made while Larkfold was closed.");
        // Nothing watched the disk while the program was closed.
        startTracking(true, std::nullopt);
    } catch (...) {
        setError("Could not restore the saved scan: " + descriptionOf(std::current_exception()));
    }
    setScanning(false);
    emit scanResultChanged();
    emit navigationStackChanged();
}

void DiskScannerViewModel::forgetSavedScan() {
    if (!isIdle()) {
        return;
    }
    isForgetting_ = true;
    forgetTask_ = indexContext_.run<bool>(
        [index = indexURL()](std::stop_token) {
            SavedScanLoader::removeIndexFile(index);
            return true;
        },
        [this](Outcome<bool> outcome) {
            isForgetting_ = false;
            try {
                outcome.get();
                changeTracker_.stop();
                setSavedIndex(
                    false, "Saved index removed. The current in-memory scan and your files were preserved.");
            } catch (...) {
                setError(descriptionOf(std::current_exception()));
                isForgettingProblem_ = true;
                emit errorChanged();
            }
        });
}

void DiskScannerViewModel::loadOnDemand(const FileNode::Pointer& node) {
    const auto& children = node->children();
    if (isDeleting_ || std::none_of(children.begin(), children.end(),
                                    [](const FileNode::Pointer& child) { return child->isAggregate(); })) {
        return;
    }
    loadTask_ = indexContext_.run<ScanResult>(
        [index = indexURL(), folder = node->url()](std::stop_token stop) {
            return SavedScanLoader::load(index, folder, std::move(stop));
        },
        [this, node](Outcome<ScanResult> outcome) {
            try {
                takeLoaded(node, std::move(outcome.get()));
            } catch (const std::exception&) {
                // The folder stays as it was, with its summary.
            }
        });
}

void DiskScannerViewModel::takeLoaded(const FileNode::Pointer& node, ScanResult loaded) {
    const FileNode::Pointer current = currentNode();
    if (isDeleting_ || !current || *current != *node) {
        return;  // the user has gone on
    }
    const FileNode::Pointer root = std::move(loaded.rootNode);
    const std::int64_t size = root->size();
    node->replaceChildren(root->takeChildren());
    node->setSize(size);
    // What was looked at or marked among the children that are gone is not there any more.
    setSelectedNode(nullptr);
    setHoveredNode(nullptr);
    emit navigationStackChanged();
    emit selectedForDeletionChanged();
}

void DiskScannerViewModel::refreshIndex(bool currentFolderOnly) {
    if (!isIdle() || isRefreshingIndex_ || !scanResult_) {
        return;
    }
    std::vector<std::string> folders;
    if (currentFolderOnly) {
        const FileNode::Pointer current = currentNode();
        folders.push_back(current ? current->url() : scanResult_->rootPath);
    } else {
        folders = changeTracker_.takeDirtyFolders();
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
    refreshTask_ = std::make_unique<IndexRefresh>(
        scanContext_, indexContext_,
        IndexRefresh::Request{.indexURL = indexURL(), .root = scanResult_->rootPath, .folders = folders},
        [this](bool skipsHiddenFiles) { return optionsFor(scanScope_, skipsHiddenFiles); },
        [this, folders](Outcome<ScanResult> outcome) { finishRefresh(folders, std::move(outcome)); });
}

void DiskScannerViewModel::finishRefresh(const std::vector<std::string>& folders,
                                         Outcome<ScanResult> outcome) {
    const auto ended = std::move(refreshTask_);  // alive until its own call has returned
    bool hasNewTree = false;
    try {
        scanResult_ = std::move(outcome.get());
        hasNewTree = true;
        isFromIndex_ = true;
        navigationStack_.clear();
        setSelectedNode(nullptr);
        setHoveredNode(nullptr);
        clearSelection();
        setSavedIndex(true, "Updated " + std::to_string(folders.size()) +
                                " changed folder(s); other folders retain their previous scan.");
        changeTracker_.noteRefreshed();
    } catch (...) {
        changeTracker_.markDirty(folders);
        setError("Refresh did not finish: " + descriptionOf(std::current_exception()));
    }
    isRefreshingIndex_ = false;
    setScanning(false);
    emit isRefreshingIndexChanged();
    if (hasNewTree) {
        emit scanResultChanged();
        emit navigationStackChanged();
    }
}

void DiskScannerViewModel::startTracking(bool markRootDirty, std::optional<FolderMoment> changedSince) {
    FolderWatcherOptions leavesOut{.skipHiddenFiles = scanOptions_.skipHiddenFiles,
                                   .excludedPathPrefixes = scanOptions_.excludedPathPrefixes,
                                   .changedSince = changedSince,
                                   .latency = FolderWatcherOptions().latency,
                                   .answerTimeout = FolderWatcherOptions().answerTimeout};
    auto& prefixes = leavesOut.excludedPathPrefixes;
    std::vector<std::string> own = world_.ownFolders;
    own.emplace_back(parentPath(indexURL()));
    for (const std::string& folder : own) {
        prefixes.push_back(folder);
        // A scan from above meets it under its own name, also where a link leads the program there.
        if (const auto real = pathWithLinksResolved(folder); real && *real != folder) {
            prefixes.push_back(*real);
        }
    }
    changeTracker_.start(scanResult_->rootPath, leavesOut, markRootDirty,
                         [driver = QPointer(this)](int count) {
                             if (driver && count != driver->changedFolderCount_) {
                                 driver->changedFolderCount_ = count;
                                 emit driver->changedFolderCountChanged();
                             }
                         });
}

// --- Marks
// ----------------------------------------------------------------------------------------------------------

std::vector<std::string> DiskScannerViewModel::allowedRemovalRoots() const {
    if (scanScope_ == ScanScope::startupDisk) {
        return {realHomeDirectory()};
    }
    if (!scanResult_) {
        return {};
    }
    return {scanResult_->rootPath};
}

bool DiskScannerViewModel::canSelect(const FileNode& node) const {
    if (node.isAggregate()) {
        return false;
    }
    if (scanResult_ && node == *scanResult_->rootNode) {
        return false;
    }
    return removal_rules::isSafe(node.url(), allowedRemovalRoots());
}

void DiskScannerViewModel::toggleSelection(const FileNode::Pointer& node) {
    if (!node || !canSelect(*node)) {
        return;
    }
    if (selectedForDeletion_.erase(node->id()) == 0) {
        selectedForDeletion_.insert(node->id());
    }
    emit selectedForDeletionChanged();
}

void DiskScannerViewModel::clearSelection() {
    if (selectedForDeletion_.empty()) {
        return;
    }
    selectedForDeletion_.clear();
    emit selectedForDeletionChanged();
}

DiskScannerViewModel::MarkedTotals DiskScannerViewModel::markedTotals() const {
    MarkedTotals totals;
    if (!scanResult_ || selectedForDeletion_.empty()) {
        return totals;
    }
    // What lies within a marked folder goes with it, so the descent ends there.
    std::vector<const FileNode*> pending{scanResult_->rootNode.get()};
    while (!pending.empty()) {
        const FileNode* node = pending.back();
        pending.pop_back();
        if (selectedForDeletion_.contains(node->id())) {
            ++totals.items;
            totals.bytes += node->size();
            continue;
        }
        for (const auto& child : node->children()) {
            pending.push_back(child.get());
        }
    }
    return totals;
}

// --- Removal
// --------------------------------------------------------------------------------------------------------

std::vector<FileNode::Pointer> DiskScannerViewModel::markedNodes() const {
    std::vector<FileNode::Pointer> nodes;
    if (!scanResult_) {
        return nodes;
    }
    // One walk for all marks: a look for each would cost their product.
    std::vector<FileNode::Pointer> pending{scanResult_->rootNode};
    while (!pending.empty() && nodes.size() < selectedForDeletion_.size()) {
        const FileNode::Pointer node = std::move(pending.back());
        pending.pop_back();
        if (selectedForDeletion_.contains(node->id())) {
            nodes.push_back(node);
        }
        const auto& children = node->children();
        pending.insert(pending.end(), children.rbegin(), children.rend());
    }
    return nodes;
}

std::vector<FileNode::Pointer> DiskScannerViewModel::removableNodes() const {
    std::vector<FileNode::Pointer> nodes = markedNodes();
    if (nodes.empty()) {
        return nodes;
    }
    std::vector<std::string> urls;
    urls.reserve(nodes.size());
    for (const FileNode::Pointer& node : nodes) {
        urls.push_back(node->url());
    }
    const std::vector<bool> mayGo = removal_rules::Judge(allowedRemovalRoots()).allowEach(urls);
    std::vector<FileNode::Pointer> removable;
    for (std::size_t index = 0; index < nodes.size(); ++index) {
        if (mayGo[index] && !nodes[index]->isAggregate() && *nodes[index] != *scanResult_->rootNode) {
            removable.push_back(std::move(nodes[index]));
        }
    }
    return removable;
}

std::vector<CleanupPreviewItem> DiskScannerViewModel::reviewItems() const {
    std::vector<CleanupPreviewItem> items;
    for (const FileNode::Pointer& node : removableNodes()) {
        items.push_back({.url = node->url(),
                         .estimatedBytes = node->size(),
                         .reason = "Manually selected in disk analysis",
                         .risk = "Review",
                         .keeper = std::nullopt,
                         .isFolder = node->isDirectory()});
    }
    return items;
}

void DiskScannerViewModel::deleteSelected(bool permanently) {
    if (!isIdle() || !scanResult_) {
        return;
    }
    setDeleting(true);
    setError(std::nullopt);
    std::vector<FileNode::Pointer> nodes = removableNodes();
    FileDeleter::Request request{.urls = {},
                                 .permanently = permanently,
                                 .allowedRoots = {},
                                 .duplicateVerifications = {},
                                 .source = "Disk analysis",
                                 .protectRunningApplications = false};
    for (const FileNode::Pointer& node : nodes) {
        request.urls.push_back(node->url());
    }
    for (std::string& root : allowedRemovalRoots()) {
        request.allowedRoots.push_back(FileDeleter::AllowedRoot::at(std::move(root)));
    }
    takeDeletionProgress(
        {.completed = 0,
         .total = static_cast<std::int64_t>(FileDeleter::collapseNested(request.urls).size()),
         .isPermanent = permanently});
    const CoalescedReports<DeletionProgress> reports(
        world_.mainQueue, [driver = QPointer(this)](const DeletionProgress& progress) {
            if (driver && driver->isDeleting_) {
                driver->takeDeletionProgress(progress);
            }
        });
    deletionTask_ = removalContext_.run<Removal>(
        [gate = deleter_, reports, request = std::move(request),
         root = scanResult_->rootPath](std::stop_token stop) {
            const auto progress = [&](std::int64_t completed, std::int64_t total) {
                reports.report({.completed = completed, .total = total, .isPermanent = request.permanently});
            };
            Removal removal{.result = gate(request, progress, std::move(stop)), .capacity = {}};
            // A volume that does not answer must not hold up the window, so it is asked here.
            removal.capacity = volumeCapacity(root);
            return removal;
        },
        [this, nodes = std::move(nodes)](Outcome<Removal> outcome) {
            finishDeletion(nodes, std::move(outcome));
        });
}

void DiskScannerViewModel::cancelDeletion() {
    if (isDeleting_) {
        deletionTask_.cancel();
        setDeleting(true, true);
    }
}

void DiskScannerViewModel::takeDeletionProgress(const DeletionProgress& progress) {
    if (progress == deletionProgress_) {
        return;
    }
    deletionProgress_ = progress;
    emit deletionProgressChanged();
}

void DiskScannerViewModel::setDeleting(bool deleting, bool stopping) {
    if (deleting == isDeleting_ && stopping == isStoppingDeletion_) {
        return;
    }
    isDeleting_ = deleting;
    isStoppingDeletion_ = stopping;
    emit isDeletingChanged();
}

void DiskScannerViewModel::finishDeletion(const std::vector<FileNode::Pointer>& nodes,
                                          Outcome<Removal> outcome) {
    deletionTask_ = Run();
    std::optional<CleanupOperation> record;
    try {
        const Removal& removal = outcome.get();
        tellOfRemoval(removal.result);
        takeOutOfTree(nodes, removal.result);
        setShowDeleteConfirmation(false);
        totalAnew(removal.capacity);
        record = removal.result.operation;
    } catch (...) {
        setShowDeleteConfirmation(false);
        fail(std::current_exception());
    }
    setDeleting(false);
    if (record) {
        emit cleanupFinished(*record);
    }
}

void DiskScannerViewModel::tellOfRemoval(const FileDeleter::DeletionResult& result) {
    std::optional<std::string> text = result.historyError;
    if (!result.failedDeletions.empty()) {
        text.emplace();
        for (const FileDeleter::FailedDeletion& failure : result.failedDeletions) {
            *text += (text->empty() ? "" : "\n") + displayText(lastPathComponent(failure.url)) + ": " +
                     failure.description();
        }
    }
    if (text) {
        isRecordMissing_ = result.failedDeletions.empty();
        publishError(std::move(text), false, true);
    }
}

void DiskScannerViewModel::takeOutOfTree(const std::vector<FileNode::Pointer>& nodes,
                                         const FileDeleter::DeletionResult& result) {
    const std::unordered_set<std::string> gone(result.successfulDeletions.begin(),
                                               result.successfulDeletions.end());
    std::unordered_set<std::string> failed;
    for (const FileDeleter::FailedDeletion& failure : result.failedDeletions) {
        failed.insert(failure.url);
    }
    std::set<UUID> stillMarked;
    std::vector<FileNode::Pointer> removed;
    // All paths are built before the first node loses its parent.
    for (const FileNode::Pointer& node : nodes) {
        const std::string url = node->url();
        if (failed.contains(url)) {
            stillMarked.insert(node->id());
        }
        if (gone.contains(url)) {
            removed.push_back(node);
        }
    }
    FileNode::removeFromParents(removed);

    // Whoever looks at the tree from a signal below sees all of it as it is now.
    navigationStack_.clear();
    selectedForDeletion_ = std::move(stillMarked);
    setSelectedNode(nullptr);
    setHoveredNode(nullptr);
}

void DiskScannerViewModel::totalAnew(const VolumeCapacity& capacity) {
    if (scanResult_) {
        FileNode& root = *scanResult_->rootNode;
        root.recalculateSize();
        root.sortChildrenBySize();
        const auto [files, directories] = ScanResult::countNodes(root);
        scanResult_->totalSize = root.size();
        scanResult_->totalFiles = files;
        scanResult_->totalDirectories = directories;
        scanResult_->volumeCapacity = capacity.total;
        scanResult_->volumeAvailable = capacity.available;
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
// ----------------------------------------------------------------------------

DiskScanOptions DiskScannerViewModel::folderOptions() const {
    return {.skipHiddenFiles = skipHiddenFiles(),
            .excludedPathPrefixes = {},
            .skipSymbolicLinks = true,
            .maximumRetainedFiles = maximumRetainedFiles};
}

DiskScanOptions DiskScannerViewModel::startupOptions() const {
    DiskScanOptions options = folderOptions();
    options.skipHiddenFiles = false;
    options.excludedPathPrefixes = startupScanExclusions();
    const auto ofThisSystem = startupDiskExclusions();
    options.excludedPathPrefixes.insert(options.excludedPathPrefixes.end(), ofThisSystem.begin(),
                                        ofThisSystem.end());
    return options;
}

// As the scan of that scope was made, whatever the settings say now.
DiskScanOptions DiskScannerViewModel::optionsFor(ScanScope scope, bool skipsHiddenFiles) const {
    if (scope == ScanScope::startupDisk) {
        return startupOptions();
    }
    DiskScanOptions options = folderOptions();
    options.skipHiddenFiles = skipsHiddenFiles;
    return options;
}

void DiskScannerViewModel::setScanScope(ScanScope scope) {
    if (scope != scanScope_) {
        scanScope_ = scope;
        emit scanScopeChanged();
    }
}

void DiskScannerViewModel::setSavedIndex(bool exists, std::optional<std::string> notice) {
    if (exists != hasSavedIndex_) {
        hasSavedIndex_ = exists;
        emit hasSavedIndexChanged();
    }
    if (notice != savedScanNotice_) {
        savedScanNotice_ = std::move(notice);
        emit savedScanNoticeChanged();
    }
}

void DiskScannerViewModel::startScan(const std::string& path, DiskScanOptions options, ScanScope scope) {
    scanRootPath_ = path;
    scanOptions_ = std::move(options);
    scanBegan_ = folderMomentNow();
    setScanning(true);
    setScanScope(scope);
    setError(std::nullopt);
    progress_ = ScanProgress{};
    emit progressChanged();
    setSelectedNode(nullptr);
    setHoveredNode(nullptr);
    navigationStack_.clear();
    scanResult_.reset();
    clearSelection();
    emit scanResultChanged();
    emit navigationStackChanged();

    scanID_ = UUID::make();
    const CoalescedReports<ScanProgress> reports(
        world_.mainQueue, [driver = QPointer(this), id = scanID_](const ScanProgress& progress) {
            if (driver) {
                driver->takeProgress(id, progress);
            }
        });
    auto scanner = std::make_shared<DiskScanner>(indexURL());
    scanTask_ = scanContext_.run<ScanResult>(
        [scanner, reports, path, chosen = scanOptions_](std::stop_token stop) {
            ScanResult result = scanner->scan(
                path, chosen, stop, [&reports](const ScanProgress& progress) { reports.report(progress); });
            if (stop.stop_requested()) {
                throw CancellationError();
            }
            return result;
        },
        [this](Outcome<ScanResult> outcome) { finishScan(std::move(outcome)); });
}

void DiskScannerViewModel::takeProgress(const UUID& scanID, const ScanProgress& progress) {
    if (scanID != scanID_ || !isScanning_) {
        return;
    }
    progress_ = progress;
    emit progressChanged();
}

void DiskScannerViewModel::finishScan(Outcome<ScanResult> outcome) {
    scanTask_ = Run();
    std::optional<ScanResult> finished;
    try {
        scanResult_ = std::move(outcome.get());
        finished = scanResult_;
        isFromIndex_ = false;
        setSavedIndex(true, "Saved on this Mac. Changes outside a rescan remain a snapshot.");
        startTracking(false, scanBegan_);
    } catch (...) {
        fail(std::current_exception());
    }
    setScanning(false);
    emit scanResultChanged();
    emit navigationStackChanged();
    if (finished) {
        emit scanFinished(*finished);
    }
}

void DiskScannerViewModel::fail(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const CancellationError&) {
        setError("Scan was cancelled");
    } catch (const SystemError& error) {
        setError(error.description(), error.isPermissionFailure());
    } catch (...) {
        setError(descriptionOf(failure));
    }
}

}  // namespace larkfold
