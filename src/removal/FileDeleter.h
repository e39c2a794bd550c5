// The gate: the one door through which the user's files leave the disk.
//
// It trusts nothing that a scan said minutes ago. Each item is examined again at the moment of its removal,
// through descriptors that are held until it is gone: a path can have been replaced by a link, a duplicate
// can have changed, an application can have started. What was moved is compared with what was examined, and
// restored where it differs, before anything is lost. An item goes to Trash unless the caller asks for more;
// where no Trash can take it, it stays.
//
// Every problem ends up in the result, and every run leaves one `CleanupOperation` behind.
//
// Synchronous; one run at a time for one instance, from the serial context of its driver.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "platform/DurableIdentity.h"
#include "platform/Error.h"
#include "removal/CleanupOperation.h"
#include "removal/RunningApplication.h"

namespace larkfold {

class CleanupHistoryStore;

class FileDeleter {
public:
    // What proves a duplicate against the copy that stays.
    struct DuplicateVerification {
        std::string keeper;  // the file of the same group that stays
        std::string sha256;  // the group's content, lower-case hexadecimal, as the scan found it
    };

    // The gate's own refusals.
    class DeletionError final : public Error {
    public:
        enum class Case { runningApplication, unsafePath, changedDuplicate };

        // `detail`: the application's name, or for the others where the item rests when it could not be put
        // back; empty where there is nothing to tell.
        explicit DeletionError(Case which, std::string detail = {});

        Case which() const { return which_; }
        std::string description() const override;

    private:
        Case which_;
        std::string detail_;
    };

    struct FailedDeletion {
        std::string url;
        ErrorValue error;  // null where the run was cancelled before the item went

        bool isCancelled() const { return error == nullptr; }
        std::string description() const;  // a sentence for the user
    };

    struct DeletionResult {
        std::vector<std::string> successfulDeletions;  // trashed or removed, in processing order
        std::vector<FailedDeletion> failedDeletions;   // still there, in processing order
        std::int64_t processedBytes = 0;               // logical bytes of the successful ones, unknown as 0
        CleanupOperation operation;
        std::optional<std::string> historyError;  // why the record could not be saved; absent on success
    };

    // A folder within which a run may touch anything. It is the folder that the user saw: whatever else
    // stands at its path when the run begins opens nothing.
    struct AllowedRoot {
        std::string path;
        // That it had when the list or the map was made; absent where it could not be told,
        // and then it opens nothing.
        std::optional<DurableIdentity> identity;

        // As it stands now: for who makes the list now. Asks the disk.
        static AllowedRoot at(std::string path);

        bool operator==(const AllowedRoot&) const = default;
    };

    struct Request {
        std::vector<std::string> urls;  // absolute paths; folders go whole
        bool permanently = false;
        std::vector<AllowedRoot> allowedRoots;
        std::map<std::string, DuplicateVerification> duplicateVerifications;
        std::string source;  // the label in the record
        bool protectRunningApplications = false;
    };

    // How many of how many items were handled.
    using Progress = std::function<void(std::int64_t completed, std::int64_t total)>;
    using RunningApplications = std::function<std::vector<RunningApplication>()>;

    // `history` may be null: then no record is written. It outlives the gate. Until a run stands in it, a
    // journal beside it tells what the run does; see RemovalJournal.h.
    explicit FileDeleter(CleanupHistoryStore* history,
                         RunningApplications runningApplications = RunningApplication::current);

    // Removes what may be removed. Never throws. Cancelling lets the item that is under way be
    // finished and fails the rest, so that the record names every item. `progress` is called on
    // this thread after each item.
    DeletionResult deleteItems(const Request& request, const Progress& progress, std::stop_token stop);

    // The path rule by itself; see PathRules.h.
    static bool isSafe(const std::string& url, const std::vector<std::string>& allowedRoots);

    // The nesting rule by itself; see PathRules.h.
    static std::vector<std::string> collapseNested(const std::vector<std::string>& urls);

private:
    struct Run;

    CleanupHistoryStore* history_;
    RunningApplications runningApplications_;
};

}  // namespace larkfold
