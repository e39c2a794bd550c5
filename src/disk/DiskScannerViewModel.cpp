#include "disk/DiskScannerViewModel.h"

#include <QDateTime>
#include <QLocale>
#include <QPointer>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iostream>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "disk/DiskScanner.h"
#include "disk/MarkTexts.h"
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

// Of a scan that is read back, which keeps its root alone.
ScanScope scopeOf(const ScanResult& result) {
    return result.rootPath == "/" ? ScanScope::startupDisk : ScanScope::selectedFolder;
}

// The driver's own gate, kept by the work that uses it.
DiskScannerViewModel::Gate makeGate(CleanupHistoryStore* history) {
    return [deleter = std::make_shared<FileDeleter>(history)](
               const FileDeleter::Request& request, const FileDeleter::Progress& progress,
               std::stop_token stop) { return deleter->deleteItems(request, progress, std::move(stop)); };
}

}  // namespace

DiskScannerViewModel::DiskScannerViewModel(Dependencies dependencies, QObject* parent)
    : QObject(parent),
      dependencies_(std::move(dependencies)),
      deleter_(dependencies_.gate ? dependencies_.gate : makeGate(dependencies_.cleanupHistory)),
      changeTracker_(
          dependencies_.makeStream ? dependencies_.makeStream
                                   : ScanChangeTracker::folderWatchers(dependencies_.mainQueue),
          [this] { return indexURL(); }, [this] { emit watchCoverageChanged(); }),
      scanContext_(dependencies_.mainQueue, "disk-scan"),
      reviewContext_(dependencies_.mainQueue, "removal-review"),
      removalContext_(dependencies_.mainQueue, "disk-removal"),
      indexContext_(dependencies_.mainQueue, "saved-scan") {}

DiskScannerViewModel::~DiskScannerViewModel() {
    scanTask_.drop();
    refreshTask_.reset();
    loadTask_.drop();
    forgetTask_.drop();
    rulesTask_.drop();
    markTask_.drop();
    preparation_.reset();
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
    return dependencies_.defaults.boolForKey("skipHiddenFiles").value_or(true);
}

void DiskScannerViewModel::setSkipHiddenFiles(bool skip) {
    if (skip == skipHiddenFiles()) {
        return;
    }
    try {
        dependencies_.defaults.setBool("skipHiddenFiles", skip);
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
    if (show) {
        prepareReview();
    } else {
        dropReview();
    }
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
    if (scanning) {
        setShowDeleteConfirmation(false);  // of a map that is about to change
    }
    emit isScanningChanged();
}

// --- Operations of the user
// -----------------------------------------------------------------------------------------

void DiskScannerViewModel::chooseFolder() {
    if (dependencies_.folderChooser == nullptr) {
        return;
    }
    dependencies_.folderChooser->chooseFolder(
        "Select a folder to scan", [driver = QPointer(this)](const std::optional<std::string>& path) {
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
            ScanResult result = SavedScanLoader::load(index, std::nullopt, stop);
            const bool skipsHiddenFiles = SavedScanLoader::skipHiddenFiles(index);
            RemovalScope removalScope(openRootOf(scopeOf(result), result.rootPath), stop);
            removalScope.takeMap(result.rootNode->url(), stop);
            removalScope.askForRules();
            return SavedScan{.map = {.result = std::move(result), .removalScope = std::move(removalScope)},
                             .skipsHiddenFiles = skipsHiddenFiles};
        },
        [this](Outcome<SavedScan> outcome) { finishRestore(std::move(outcome)); });
}

void DiskScannerViewModel::finishRestore(Outcome<SavedScan> outcome) {
    scanTask_ = Run();
    isRestoring_ = false;
    try {
        SavedScan& saved = outcome.get();
        takeMap(std::move(saved.map));
        isFromIndex_ = true;
        scanRootPath_ = scanResult_->rootPath;
        setScanScope(scopeOf(*scanResult_));
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
    if (isDeleting_ || showDeleteConfirmation_ || !current || *current != *node) {
        return;  // the user has gone on, or decides about nodes that would be replaced
    }
    const FileNode::Pointer root = std::move(loaded.rootNode);
    const std::int64_t size = root->size();
    node->replaceChildren(root->takeChildren());
    node->setSize(size);
    // What was looked at or marked among the children that are gone is not there any more.
    marks_.recount();
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
        marks_.begin(scanResult_->rootNode);
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
    std::vector<std::string> own = dependencies_.ownFolders;
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

std::optional<std::string> DiskScannerViewModel::whyNotMarked(const FileNode& node) const {
    if (node.isAggregate()) {
        return mark_texts::aggregateCannotBeMarked;
    }
    if (scanResult_ && node == *scanResult_->rootNode) {
        return mark_texts::rootCannotBeMarked;
    }
    using Answer = RemovalScope::Answer;
    switch (removalScope_ ? removalScope_->mayMark(node.url()) : Answer::refused) {
        case Answer::allowed:
            return std::nullopt;
        case Answer::unknownRoot:
            return mark_texts::unknownRoot;
        case Answer::notToldYet:
            return mark_texts::notToldYet;
        case Answer::refused:
            break;
    }
    return scansStartupDisk() ? mark_texts::outsideHomeCannotBeMarked : mark_texts::protectedCannotBeMarked;
}

void DiskScannerViewModel::toggleSelection(const FileNode::Pointer& node) {
    if (!node) {
        return;
    }
    if (auto refusal = whyNotMarked(*node)) {
        setMarkNotice(std::move(refusal));
        return;
    }
    setMarkNotice(std::nullopt);
    if (!marks_.erase(node->id())) {
        marks_.insert(node);
        uncheckedMarks_.push_back(node);
        checkMarks();
    }
    emit selectedForDeletionChanged();
}

void DiskScannerViewModel::clearSelection() {
    uncheckedMarks_.clear();
    markTask_.drop();
    if (marks_.ids().empty()) {
        return;
    }
    marks_.clear();
    emit selectedForDeletionChanged();
}

QString DiskScannerViewModel::markNotice() const {
    return textOf(markNotice_);
}

void DiskScannerViewModel::setMarkNotice(std::optional<std::string> text) {
    if (text != markNotice_) {
        markNotice_ = std::move(text);
        emit markNoticeChanged();
    }
}

void DiskScannerViewModel::dismissMarkNotice() {
    setMarkNotice(std::nullopt);
}

// Asks the disk about a portion of the marks that were set; the next one follows its answer. What it cannot
// tell stays marked, and the review tells of it.
void DiskScannerViewModel::checkMarks() {
    constexpr std::size_t portion = 4'096;
    if (markTask_ || uncheckedMarks_.empty() || !removalScope_) {
        return;
    }
    const std::size_t count = std::min(portion, uncheckedMarks_.size());
    const auto end = uncheckedMarks_.end();
    std::vector<FileNode::Pointer> nodes(end - static_cast<std::ptrdiff_t>(count), end);
    uncheckedMarks_.resize(uncheckedMarks_.size() - count);
    std::vector<std::string> urls;
    urls.reserve(count);
    for (const FileNode::Pointer& node : nodes) {
        urls.push_back(node->url());
    }
    markTask_ = reviewContext_.run<RemovalScope::Decisions>(
        [removalScope = removalScope_, urls = std::move(urls)](const std::stop_token& stop) {
            return removalScope->ask(urls, nullptr, stop);
        },
        [this, nodes = std::move(nodes)](Outcome<RemovalScope::Decisions> outcome) {
            markTask_ = Run();
            try {
                const RemovalScope::Decisions& decisions = outcome.get();
                std::vector<FileNode::Pointer> refused;
                for (std::size_t index = 0; index < nodes.size(); ++index) {
                    using Verdict = removal_rules::PathDecision::Verdict;
                    if (decisions.items[index].verdict == Verdict::refused &&
                        marks_.contains(nodes[index]->id())) {
                        refused.push_back(nodes[index]);
                    }
                }
                takeBack(refused, decisions.isAnotherFolder);
            } catch (const std::exception&) {
                // Not asked, as where the system gives no thread. The review asks about all marks.
            }
            checkMarks();
        });
}

void DiskScannerViewModel::takeBack(const std::vector<FileNode::Pointer>& nodes, bool isAnotherFolder) {
    if (nodes.empty()) {
        return;
    }
    std::vector<std::string> names;
    names.reserve(nodes.size());
    for (const FileNode::Pointer& node : nodes) {
        marks_.erase(node->id());
        names.push_back(displayText(node->name()));
    }
    if (isAnotherFolder) {
        clearSelection();
        setMarkNotice(mark_texts::takenBackWithTheFolder());
    } else {
        setMarkNotice(mark_texts::takenBack(names));
    }
    emit selectedForDeletionChanged();
}

// --- Review
// ---------------------------------------------------------------------------------------------------------

void DiskScannerViewModel::prepareReview() {
    // Of these it asks as well, and must not wait behind them.
    uncheckedMarks_.clear();
    markTask_.drop();
    setMarkNotice(std::nullopt);
    review_.reset();
    reviewProgress_ = {.answered = 0, .total = static_cast<std::int64_t>(marks_.ids().size()), .awaited = {}};
    preparation_ = std::make_unique<RemovalReviewPreparation>(
        dependencies_.mainQueue, reviewContext_, removalScope_, marks_.nodes(),
        [this](const FileNode& node) { return marks_.isInTree(node); },
        [this](const RemovalReviewPreparation::Progress& progress) {
            if (progress != reviewProgress_) {
                reviewProgress_ = progress;
                emit reviewProgressChanged();
            }
        },
        [this](Outcome<RemovalReviewPreparation::Prepared> outcome) { takeReview(std::move(outcome)); });
    emit isPreparingReviewChanged();
    emit reviewProgressChanged();
}

void DiskScannerViewModel::dropReview() {
    review_.reset();
    if (preparation_) {
        preparation_.reset();
        emit isPreparingReviewChanged();
    }
}

void DiskScannerViewModel::takeReview(Outcome<RemovalReviewPreparation::Prepared> outcome) {
    const auto ended = std::move(preparation_);  // alive until its own call has returned
    emit isPreparingReviewChanged();
    try {
        RemovalReviewPreparation::Prepared& prepared = outcome.get();
        takeBack(prepared.refused, prepared.isAnotherFolder);
        review_ = std::move(prepared.review);
    } catch (...) {
        setError(descriptionOf(std::current_exception()));
        setShowDeleteConfirmation(false);
        return;
    }
    emit reviewPrepared();
}

// What would be reviewed, without a look at the disk.
std::shared_ptr<const RemovalReview> DiskScannerViewModel::reviewOfMarks() const {
    std::vector<std::pair<CleanupPreviewItem, FileNode::Pointer>> marked;
    for (const FileNode::Pointer& node : marks_.nodes()) {
        if (marks_.isInTree(*node) && canSelect(*node)) {
            marked.emplace_back(RemovalReview::itemOf(*node), node);
        }
    }
    std::sort(marked.begin(), marked.end(),
              [](const auto& left, const auto& right) { return left.first.url < right.first.url; });
    std::vector<CleanupPreviewItem> items;
    items.reserve(marked.size());
    for (auto& [item, node] : marked) {
        items.push_back(std::move(item));
    }
    const auto review = std::make_shared<RemovalReview>();
    review->shown = CleanupReview::shownOf(std::move(items));
    for (const std::size_t position : review->shown->positions) {
        review->nodes.push_back(marked[position].second);
    }
    return review;
}

std::vector<CleanupPreviewItem> DiskScannerViewModel::reviewItems() const {
    return (review_ ? review_ : reviewOfMarks())->shown->items;
}

// --- Removal
// --------------------------------------------------------------------------------------------------------

void DiskScannerViewModel::deleteSelected(bool permanently, std::shared_ptr<const RemovalReview> confirmed) {
    if (!isIdle() || !scanResult_ || !removalScope_ || preparation_) {
        return;
    }
    if (!confirmed) {
        confirmed = review_ ? review_ : reviewOfMarks();
    }
    setDeleting(true);
    setError(std::nullopt);
    uncheckedMarks_.clear();
    markTask_.drop();
    setMarkNotice(std::nullopt);
    takeDeletionProgress({.completed = 0,
                          .total = static_cast<std::int64_t>(confirmed->shown->items.size()),
                          .isPermanent = permanently});
    const CoalescedReports<DeletionProgress> reports(
        dependencies_.mainQueue, [driver = QPointer(this)](const DeletionProgress& progress) {
            if (driver && driver->isDeleting_) {
                driver->takeDeletionProgress(progress);
            }
        });
    deletionTask_ = removalContext_.run<Removal>(
        [gate = deleter_, reports, shown = confirmed->shown, removalScope = removalScope_, permanently,
         root = scanResult_->rootPath](std::stop_token stop) {
            FileDeleter::Request request{
                .urls = {},
                .permanently = permanently,
                .allowedRoots = {{.path = removalScope->openRoot(), .identity = removalScope->identity()}},
                .duplicateVerifications = {},
                .source = "Disk analysis",
                .protectRunningApplications = false};
            for (const CleanupPreviewItem& item : shown->items) {
                request.urls.push_back(item.url);
            }
            const auto progress = [&](std::int64_t completed, std::int64_t total) {
                reports.report({.completed = completed, .total = total, .isPermanent = permanently});
            };
            Removal removal = removalOf(*shown, gate(request, progress, std::move(stop)));
            // A volume that does not answer must not hold up the window, so it is asked here.
            removal.capacity = volumeCapacity(root);
            return removal;
        },
        [this, confirmed](Outcome<Removal> outcome) { finishDeletion(confirmed, std::move(outcome)); });
}

// What of the review is gone and what failed, and the text that tells of it: for long lists this takes its
// time, so it is done where the gate has run.
DiskScannerViewModel::Removal DiskScannerViewModel::removalOf(const CleanupReview::Shown& shown,
                                                              FileDeleter::DeletionResult result) {
    std::unordered_map<std::string_view, std::size_t> positions;
    positions.reserve(shown.items.size());
    for (std::size_t position = 0; position < shown.items.size(); ++position) {
        positions.emplace(shown.items[position].url, position);
    }
    const auto note = [&positions](const std::string& url, std::vector<std::size_t>& into) {
        if (const auto found = positions.find(url); found != positions.end()) {
            into.push_back(found->second);
        }
    };
    Removal removal;
    for (const std::string& url : result.successfulDeletions) {
        note(url, removal.gone);
    }
    removal.problem = std::move(result.historyError);
    removal.isRecordMissing = result.failedDeletions.empty();
    if (!result.failedDeletions.empty()) {
        removal.problem.emplace();
    }
    for (const FileDeleter::FailedDeletion& failure : result.failedDeletions) {
        note(failure.url, removal.failed);
        *removal.problem += (removal.problem->empty() ? "" : "\n") +
                            displayText(lastPathComponent(failure.url)) + ": " + failure.description();
    }
    removal.operation = std::move(result.operation);
    return removal;
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

// The end of a removal. A list of a hundred thousand must not hold up the main loop, so it has its turns:
// 1. What is gone leaves the tree and the marks, a slice for each turn.
// 2. What failed stays marked, the view goes back to the root, and the sums are right again.
// 3. It has ended, and is told.
// Until the second turn nobody is told of a change, until the third nothing else begins.
void DiskScannerViewModel::finishDeletion(std::shared_ptr<const RemovalReview> review,
                                          Outcome<Removal> outcome) {
    deletionTask_ = Run();
    try {
        const auto ending = std::make_shared<Ending>();
        ending->review = std::move(review);
        ending->removal = std::move(outcome.get());
        takeOutOfTree(ending);
    } catch (...) {
        setShowDeleteConfirmation(false);
        fail(std::current_exception());
        setDeleting(false);
    }
}

void DiskScannerViewModel::later(const std::shared_ptr<Ending>& ending,
                                 void (DiskScannerViewModel::*step)(const std::shared_ptr<Ending>&)) {
    dependencies_.mainQueue.post([driver = QPointer(this), ending, step] {
        if (driver) {
            (driver.data()->*step)(ending);
        }
    });
}

void DiskScannerViewModel::takeOutOfTree(const std::shared_ptr<Ending>& ending) {
    constexpr std::size_t slice = 4'096;
    const std::vector<std::size_t>& gone = ending->removal.gone;
    const std::size_t end = std::min(ending->next + slice, gone.size());
    std::vector<FileNode::Pointer> removed;
    removed.reserve(end - ending->next);
    for (; ending->next < end; ++ending->next) {
        removed.push_back(ending->review->nodes[gone[ending->next]]);
        marks_.erase(removed.back()->id());
    }
    FileNode::removeFromParents(removed);
    later(ending, ending->next < gone.size() ? &DiskScannerViewModel::takeOutOfTree
                                             : &DiskScannerViewModel::followRemoval);
}

void DiskScannerViewModel::followRemoval(const std::shared_ptr<Ending>& ending) {
    Removal& removal = ending->removal;
    if (removal.problem) {
        isRecordMissing_ = removal.isRecordMissing;
        publishError(std::move(removal.problem), false, true);
    }
    // Whoever looks at the tree from a signal below sees all of it as it is now.
    navigationStack_.clear();
    marks_.clear();
    for (const std::size_t position : removal.failed) {
        marks_.insert(ending->review->nodes[position]);
    }
    setSelectedNode(nullptr);
    setHoveredNode(nullptr);
    setShowDeleteConfirmation(false);
    totalAnew(removal.capacity);
    later(ending, &DiskScannerViewModel::endDeletion);
}

void DiskScannerViewModel::endDeletion(const std::shared_ptr<Ending>& ending) {
    setDeleting(false);
    emit cleanupFinished(ending->removal.operation);
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
        marks_.recount();
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
    removalScope_.reset();
    rulesTask_.drop();
    clearSelection();
    setMarkNotice(std::nullopt);
    emit scanResultChanged();
    emit navigationStackChanged();

    scanID_ = UUID::make();
    const CoalescedReports<ScanProgress> reports(
        dependencies_.mainQueue, [driver = QPointer(this), id = scanID_](const ScanProgress& progress) {
            if (driver) {
                driver->takeProgress(id, progress);
            }
        });
    auto scanner = std::make_shared<DiskScanner>(indexURL());
    scanTask_ = scanContext_.run<ScannedMap>(
        [scanner, reports, path, scope, chosen = scanOptions_](std::stop_token stop) {
            RemovalScope removalScope(openRootOf(scope, path), stop);
            ScanResult result = scanner->scan(
                path, chosen, stop, [&reports](const ScanProgress& progress) { reports.report(progress); });
            if (stop.stop_requested()) {
                throw CancellationError();
            }
            removalScope.takeMap(result.rootNode->url(), stop);
            removalScope.askForRules();
            return ScannedMap{.result = std::move(result), .removalScope = std::move(removalScope)};
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

std::string DiskScannerViewModel::openRootOf(ScanScope scope, const std::string& mapRoot) {
    return scope == ScanScope::startupDisk ? realHomeDirectory() : mapRoot;
}

void DiskScannerViewModel::takeMap(ScannedMap map) {
    scanResult_ = std::move(map.result);
    marks_.begin(scanResult_->rootNode);
    removalScope_ = std::make_shared<const RemovalScope>(std::move(map.removalScope));
    if (!removalScope_->hasRules()) {
        awaitRules();
    }
}

// Where the disk was too slow to tell the protected places with the map, for as long as it takes. Until then
// nothing can be marked, and that is told.
void DiskScannerViewModel::awaitRules() {
    rulesTask_ = reviewContext_.run<RemovalScope>(
        [removalScope = *removalScope_](const std::stop_token& stop) mutable {
            removalScope.awaitRules(stop);
            return std::move(removalScope);
        },
        [this](Outcome<RemovalScope> outcome) {
            rulesTask_ = Run();
            try {
                removalScope_ = std::make_shared<const RemovalScope>(std::move(outcome.get()));
            } catch (const std::exception&) {
                // They stay unknown.
            }
        });
}

void DiskScannerViewModel::finishScan(Outcome<ScannedMap> outcome) {
    scanTask_ = Run();
    std::optional<ScanResult> finished;
    try {
        takeMap(std::move(outcome.get()));
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
