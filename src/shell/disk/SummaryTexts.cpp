#include "shell/disk/SummaryTexts.h"

#include <algorithm>

#include "disk/SavedScanLoader.h"
#include "platform/qt/PathText.h"
#include "shell/kit/FigureTexts.h"

namespace larkfold {

namespace {

std::int64_t loadedFilesBelow(const FileNode& folder) {
    std::int64_t files = 0;
    folder.forEachNode(
        [&](const FileNode& node) { files += node.isDirectory() || node.isAggregate() ? 0 : 1; });
    return files;
}

bool holdsSummaryInSubfolder(const FileNode& folder) {
    return std::ranges::any_of(folder.children(), [](const FileNode::Pointer& child) {
        return child->isDirectory() && child->holdsAggregate();
    });
}

bool holdsSummaryItself(const FileNode& folder) {
    return std::ranges::any_of(folder.children(),
                               [](const FileNode::Pointer& child) { return child->isAggregate(); });
}

QString wayOfSummary(const FileNode& parent, const QString& folder, bool hasSavedIndex) {
    if (!hasSavedIndex) {
        return QStringLiteral(
                   "The saved index that lists every file is gone. Scan “%1” by itself to see more of it.")
            .arg(folder);
    }
    return loadBringsMore(parent)
               ? QStringLiteral("Open this to load more files.")
               : QStringLiteral("As many files of “%1” and below are listed as can be loaded at once.")
                     .arg(folder);
}

}  // namespace

bool loadBringsMore(const FileNode& folder) {
    return loadedFilesBelow(folder) < SavedScanLoader::maximumFiles;
}

namespace texts {

QString summaryExplanation(const FileNode& node, bool hasSavedIndex) {
    const FileNode::Pointer parent = node.isAggregate() ? node.parent() : nullptr;
    if (!parent) {
        return {};
    }
    const QString folder = displayString(parent->name());
    const std::int64_t files = node.representedFileCount();
    const QString what =
        files == 1 ? QStringLiteral("One file directly in “%1”, %2, that is not shown by its name.")
                         .arg(folder, bytes(node.size()))
                   : QStringLiteral("%1 files directly in “%2” that are not shown one by one, %3 together.")
                         .arg(grouped(files), folder, bytes(node.size()));
    return what + QLatin1Char(' ') + wayOfSummary(*parent, folder, hasSavedIndex);
}

QString filtersApplyToLoadedEntries(bool hasSavedIndex) {
    return hasSavedIndex ? QStringLiteral(
                               "Filters apply to loaded entries. Open a summarized folder to load more "
                               "details from the "
                               "index.")
                         : QStringLiteral(
                               "Filters apply to loaded entries. The saved index is gone, so the others "
                               "cannot be loaded; "
                               "scan again to reach them.");
}

QString nothingFoundAmongLoaded(const FileNode& folder, std::int64_t loadedFiles, std::int64_t allFiles,
                                bool includesSubfolders, bool hasSavedIndex) {
    const QString looked =
        (includesSubfolders ? QStringLiteral("Looked at %1 of the %2 files in this folder and below it.")
                            : QStringLiteral("Looked at %1 of the %2 files of this folder."))
            .arg(grouped(loadedFiles), grouped(allFiles));
    const auto with = [&](const char* way) { return looked + QLatin1Char(' ') + QString::fromUtf8(way); };
    if (!hasSavedIndex) {
        return with(
            "The others are counted together in summaries, and the saved index that lists them is gone. Scan "
            "again to reach them.");
    }
    if (holdsSummaryItself(folder) && loadBringsMore(folder)) {
        return with("The others are counted together in summaries. Load them to search among them too.");
    }
    if (includesSubfolders && holdsSummaryInSubfolder(folder)) {
        return with(
            "The others are counted together in summaries. Open a folder that holds one to load its files, "
            "then "
            "search there.");
    }
    return with(
        "The others are counted together in a summary; as many files are listed as can be loaded at once.");
}

}  // namespace texts
}  // namespace larkfold
