#include "disk/DiskScannerViewModel.h"

#include <QPointer>
#include <algorithm>
#include <cstddef>
#include <iostream>
#include <unordered_set>
#include <utility>

#include "disk/DiskScanner.h"
#include "platform/Bookmark.h"
#include "platform/CoalescedReports.h"
#include "platform/Error.h"
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
      scanContext_(world_.mainQueue, "disk-scan"),
      removalContext_(world_.mainQueue, "disk-removal") {}

DiskScannerViewModel::~DiskScannerViewModel() {
    scanTask_.drop();
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
    DiskScanOptions options = folderOptions();
    options.skipHiddenFiles = false;
    options.excludedPathPrefixes = startupScanExclusions();
    const auto ofThisSystem = startupDiskExclusions();
    options.excludedPathPrefixes.insert(options.excludedPathPrefixes.end(), ofThisSystem.begin(),
                                        ofThisSystem.end());
    startScan("/", std::move(options), ScanScope::startupDisk);
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
                                 .allowedRoots = allowedRemovalRoots(),
                                 .duplicateVerifications = {},
                                 .source = "Disk analysis",
                                 .protectRunningApplications = false};
    for (const FileNode::Pointer& node : nodes) {
        request.urls.push_back(node->url());
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

void DiskScannerViewModel::startScan(const std::string& path, DiskScanOptions options, ScanScope scope) {
    scanRootPath_ = path;
    scanOptions_ = std::move(options);
    setScanning(true);
    if (scope != scanScope_) {
        scanScope_ = scope;
        emit scanScopeChanged();
    }
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
    auto scanner = std::make_shared<DiskScanner>(world_.indexFileURL.value_or(indexFileURL()));
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
    try {
        scanResult_ = std::move(outcome.get());
        hasSavedIndex_ = true;
        savedScanNotice_ = "Saved on this Mac. Changes outside a rescan remain a snapshot.";
        emit hasSavedIndexChanged();
        emit savedScanNoticeChanged();
    } catch (...) {
        fail(std::current_exception());
    }
    setScanning(false);
    emit scanResultChanged();
    emit navigationStackChanged();
}

void DiskScannerViewModel::fail(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const CancellationError&) {
        setError("Scan was cancelled");
    } catch (const SystemError& error) {
        setError(error.description(), error.isPermissionFailure());
    } catch (const Error& error) {
        setError(error.description());
    } catch (const std::exception& error) {
        setError(error.what());
    }
}

}  // namespace larkfold
