// A gate that removes nothing: it says of each item what the test wants to hear, with the nesting rule as the
// real one has it.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "removal/FileDeleter.h"

namespace larkfold::test {

class GateThatTells {
public:
    std::map<std::string, ErrorValue> failures;  // of these items; null: cancelled
    std::optional<std::string> historyError;
    bool waitsForTheStop = false;  // after the first item, and fails the rest as cancelled
    std::vector<FileDeleter::Request> requests;

    // Lives as long as whoever calls it.
    std::function<FileDeleter::DeletionResult(const FileDeleter::Request&, const FileDeleter::Progress&,
                                              std::stop_token)>
    gate() {
        return [this](const FileDeleter::Request& request, const FileDeleter::Progress& progress,
                      const std::stop_token& stop) { return run(request, progress, stop); };
    }

    static ErrorValue unsafePath() {
        return std::make_shared<FileDeleter::DeletionError>(FileDeleter::DeletionError::Case::unsafePath);
    }

private:
    FileDeleter::DeletionResult run(const FileDeleter::Request& request,
                                    const FileDeleter::Progress& progress, const std::stop_token& stop) {
        requests.push_back(request);
        FileDeleter::DeletionResult result;
        result.operation.id = UUID::make();
        result.operation.source = request.source;
        result.operation.permanent = request.permanently;
        result.historyError = historyError;
        const std::vector<std::string> work = FileDeleter::collapseNested(request.urls);
        std::int64_t completed = 0;
        for (const std::string& url : work) {
            if (waitsForTheStop && completed == 1) {
                std::mutex mutex;
                std::unique_lock lock(mutex);
                std::condition_variable_any().wait(lock, stop, [] { return false; });
            }
            handle(url, stop.stop_requested(), result);
            progress(++completed, static_cast<std::int64_t>(work.size()));
        }
        return result;
    }

    void handle(const std::string& url, bool isCancelled, FileDeleter::DeletionResult& result) const {
        CleanupOperation::Item item{.originalPath = url,
                                    .trashPath = std::nullopt,
                                    .logicalBytes = std::nullopt,
                                    .error = std::nullopt};
        const auto failure = failures.find(url);
        if (failure != failures.end() || isCancelled) {
            const FileDeleter::FailedDeletion failed{
                .url = url, .error = failure == failures.end() ? nullptr : failure->second};
            item.error = failed.description();
            result.failedDeletions.push_back(failed);
        } else {
            if (!result.operation.permanent) {
                item.trashPath = "/trash" + url;
            }
            item.logicalBytes = 1;
            result.successfulDeletions.push_back(url);
        }
        result.operation.items.push_back(std::move(item));
    }
};

}  // namespace larkfold::test
