#include "disk/FinishedRemoval.h"

#include <string_view>
#include <unordered_map>
#include <utility>

#include "platform/Path.h"

namespace larkfold {

FileDeleter::Request requestFor(const CleanupReview::Shown& shown, const RemovalScope& scope) {
    FileDeleter::Request request{.urls = {},
                                 .permanently = false,
                                 .allowedRoots = {{.path = scope.openRoot(), .identity = scope.identity()}},
                                 .duplicateVerifications = {},
                                 .source = "Disk analysis",
                                 .protectRunningApplications = false};
    request.urls.reserve(shown.items.size());
    for (const CleanupPreviewItem& item : shown.items) {
        request.urls.push_back(item.url);
    }
    return request;
}

FinishedRemoval FinishedRemoval::of(const CleanupReview::Shown& shown, FileDeleter::DeletionResult result,
                                    const std::string& root) {
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
    FinishedRemoval removal;
    for (const std::string& url : result.successfulDeletions) {
        note(url, removal.gone);
    }
    if (!result.failedDeletions.empty()) {
        DiskFailure failure{.kind = DiskFailure::Kind::removal, .text = {}};
        for (const FileDeleter::FailedDeletion& failed : result.failedDeletions) {
            note(failed.url, removal.failed);
            failure.items.push_back(displayText(lastPathComponent(failed.url)) + ": " + failed.description());
            failure.text += (failure.text.empty() ? "" : "\n") + failure.items.back();
        }
        removal.failure = std::move(failure);
    } else if (result.historyError) {
        removal.failure =
            DiskFailure{.kind = DiskFailure::Kind::record, .text = std::move(*result.historyError)};
    }
    removal.operation = std::move(result.operation);
    removal.capacity = volumeCapacity(root);
    return removal;
}

}  // namespace larkfold
