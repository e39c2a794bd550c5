#include "removal/FileDeleter.h"

#include <cerrno>
#include <new>
#include <set>
#include <utility>

#include "platform/Path.h"
#include "platform/RemovalRemains.h"
#include "platform/UUID.h"
#include "platform/UserFiles.h"
#include "platform/Volumes.h"
#include "removal/CleanupHistoryStore.h"
#include "removal/PathRules.h"
#include "removal/RemovalJournal.h"

namespace larkfold {

namespace {

using Case = FileDeleter::DeletionError::Case;
using user_files::HeldItem;
using user_files::Refusal;
using user_files::RetainedCopy;

// The gate's own word for what the platform refused; the rest speaks for itself.
ErrorValue errorOf(const Refusal& refusal) {
    if (refusal.reason() == Refusal::Reason::unsafePath) {
        return std::make_shared<FileDeleter::DeletionError>(Case::unsafePath, refusal.restsAt());
    }
    if (refusal.reason() == Refusal::Reason::disproved) {
        return std::make_shared<FileDeleter::DeletionError>(Case::changedDuplicate, refusal.restsAt());
    }
    return std::make_shared<Refusal>(refusal);
}

}  // namespace

// --- The errors

FileDeleter::DeletionError::DeletionError(Case which, std::string detail)
    : which_(which), detail_(std::move(detail)) {}

std::string FileDeleter::DeletionError::description() const {
    if (which_ == Case::runningApplication) {
        return "Close " + displayText(detail_) + " before cleaning its files.";
    }
    std::string text =
        which_ == Case::unsafePath
            ? "This path is protected or outside the selected folder. Scan again before deleting."
            : "The duplicate or its retained copy changed or is unavailable. Scan for duplicates again.";
    if (!detail_.empty()) {
        text += " It could not be put back in its place; it is kept at “" + displayText(detail_) + "”.";
    }
    return text;
}

std::string FileDeleter::FailedDeletion::description() const {
    return error ? error->description() : CancellationError().description();
}

FileDeleter::AllowedRoot FileDeleter::AllowedRoot::at(std::string path) {
    auto identity = DurableIdentity::ofFolder(path);
    return {.path = std::move(path), .identity = identity};
}

// --- A run

// Everything that lives only as long as one run.
struct FileDeleter::Run {
    const Request& request;
    const RunningApplications& runningApplications;
    const std::stop_token& stop;
    std::vector<std::string> workList;
    std::set<std::string> workListKeys;     // standardized
    std::vector<std::string> stagingNames;  // beside the work list; empty names where nothing goes for good
    user_files::Session session;
    removal_rules::PathPolicy policy;
    std::unique_ptr<RemovalJournal> journal;  // null where no record is kept

    Run(const Request& asked, const RunningApplications& applications, const std::stop_token& stopToken)
        : request(asked),
          runningApplications(applications),
          stop(stopToken),
          workList(collapseNested(asked.urls)),
          session(heldRoots(asked.allowedRoots)),
          policy(policyOf(session.roots(), stopToken)) {
        for (const std::string& url : workList) {
            workListKeys.insert(standardizedPath(url));
            stagingNames.push_back(asked.permanently ? ".larkfold-removing-" + UUID::make().text()
                                                     : std::string());
        }
    }

    // What the run is about to do, written down before it does it; in the folder of the history.
    void beginJournal(const std::string& folder, const CleanupOperation& operation) {
        if (workList.empty()) {
            return;
        }
        RemovalJournalContent plan;
        plan.id = operation.id;
        plan.startedAt = operation.startedAt;
        plan.source = operation.source;
        plan.permanent = operation.permanent;
        plan.volumes = operation.volumes;
        std::vector<std::string> volumes;
        volumes.reserve(operation.volumes.size());
        for (const CleanupOperation::VolumeChange& volume : operation.volumes) {
            volumes.push_back(volume.path);
        }
        if (!operation.permanent) {
            plan.trashes = user_files::trashFolders(volumes);
        }
        for (std::size_t index = 0; index < workList.size(); ++index) {
            plan.items.push_back({.path = workList[index],
                                  .identity = {},
                                  .stagingName = stagingNames[index],
                                  .moves = {},
                                  .isBeingRemoved = false,
                                  .outcome = {}});
        }
        journal = std::make_unique<RemovalJournal>(folder, std::move(plan));
    }

    static std::vector<user_files::Root> heldRoots(const std::vector<AllowedRoot>& allowed) {
        std::vector<user_files::Root> roots;
        roots.reserve(allowed.size());
        for (const AllowedRoot& root : allowed) {
            roots.push_back({.path = root.path, .identity = root.identity});
        }
        return roots;
    }

    // Waits as long as the disk takes: a slow one must not make it refuse what may go. Of a run that is
    // cancelled meanwhile every item is told as cancelled, so it is asked nothing.
    static removal_rules::PathPolicy policyOf(const std::vector<std::string>& roots,
                                              const std::stop_token& stop) {
        try {
            return {roots, stop};
        } catch (const CancellationError&) {
            return removal_rules::PathPolicy({});
        }
    }

    // What an item came to. `logicalBytes` is told for a failure too, where that came after the measuring.
    struct Outcome {
        std::optional<std::string> trashPath;
        std::optional<std::int64_t> logicalBytes;
        std::optional<FailedDeletion> failure;
    };

    Outcome handle(std::size_t index) {
        const std::string& url = workList[index];
        Outcome outcome;
        try {
            remove(index, outcome);
        } catch (const CancellationError&) {
            outcome.failure = FailedDeletion{url, nullptr};
        } catch (const Refusal& refusal) {
            outcome.failure = FailedDeletion{url, errorOf(refusal)};
        } catch (const DeletionError& error) {
            outcome.failure = FailedDeletion{url, std::make_shared<DeletionError>(error)};
        } catch (const SystemError& error) {
            outcome.failure = FailedDeletion{url, std::make_shared<SystemError>(error)};
        } catch (const std::bad_alloc&) {
            outcome.failure = FailedDeletion{
                url, std::make_shared<SystemError>(SystemError::Operation::remove, ENOMEM, url)};
        }
        return outcome;
    }

    // 1. No running application owns it.
    // 2. Nobody cancelled.
    // 3. The path rule, for the very path under which the item is then held. A link is judged by its own
    //    place here and not by where it leads, since the next step refuses it in any case.
    // 4. What it is.
    // 5. A duplicate is proved by both contents.
    // 6. Its size.
    // 7. Nobody cancelled.
    // 8. Away with it, and what went is compared with what was held.
    void remove(std::size_t index, Outcome& outcome) {
        const std::string& url = workList[index];
        if (request.protectRunningApplications) {
            if (const auto name = RunningApplication::match(url, runningApplications())) {
                throw DeletionError(Case::runningApplication, *name);
            }
        }
        checkCancelled();
        HeldItem item = HeldItem::hold(
            session, url, [this](const std::string& realPath) { return policy.allowsResolved(realPath); });
        const user_files::ItemValues& values = item.values();
        if (values.isSymbolicLink || values.isVolume || values.holdsVolume) {
            throw DeletionError(Case::unsafePath);
        }
        user_files::Proof proof;
        std::optional<RetainedCopy> keeper;
        if (const auto entry = request.duplicateVerifications.find(url);
            entry != request.duplicateVerifications.end()) {
            keeper = proveDuplicate(item, entry->second);
            // Its content once more, now that no name leads to it any more, and that the copy still stands.
            proof.isUnchanged = [&item, &keeper] {
                return keeper->isUnchangedBeside(item) && item.isUnchangedSinceHash();
            };
            proof.stillHolds = [this, &item, &keeper, &sha256 = entry->second.sha256] {
                return item.sha256(stop) == sha256 &&
                       (keeper->hadSettled() || keeper->sha256(stop) == sha256) &&
                       keeper->isUnchangedBeside(item);
            };
        }
        if (!request.permanently && values.isDirectory) {
            item.prepareTrash();
        }
        const user_files::Measure measure = item.measure(stop);
        outcome.logicalBytes = measure.logicalBytes;
        checkCancelled();
        const user_files::Way way{.stagingName = stagingNames[index],
                                  .announce = [this, index, &item, &measure](const std::string& place) {
                                      if (journal) {
                                          journal->willMove(index, {.realPath = item.realPath(),
                                                                    .identity = item.values().durableIdentity,
                                                                    .logicalBytes = measure.logicalBytes,
                                                                    .place = place});
                                      }
                                  }};
        if (request.permanently) {
            if (journal) {
                // What comes behind the last question takes it away; nothing comes between those two.
                proof.isUnchanged = [this, index, isUnchanged = std::move(proof.isUnchanged)] {
                    journal->willRemove(index);
                    return !isUnchanged || isUnchanged();
                };
            }
            item.removePermanently(proof, way);
        } else {
            outcome.trashPath = item.putIntoTrash(measure, proof, way);
        }
    }

    RetainedCopy proveDuplicate(HeldItem& item, const DuplicateVerification& verification) {
        // Asked first: it may have gone already, and then that is the reason.
        if (goesItself(verification.keeper)) {
            throw DeletionError(Case::changedDuplicate);
        }
        RetainedCopy keeper = RetainedCopy::hold(session, verification.keeper);
        if (!keeper.isRegularFile() || keeper.isTheSameAs(item) ||
            keeper.sha256(stop) != verification.sha256 || item.sha256(stop) != verification.sha256) {
            throw DeletionError(Case::changedDuplicate);
        }
        return keeper;
    }

    // Whether the file is on the work list, by itself or within a folder.
    bool goesItself(const std::string& file) const {
        for (std::string path = standardizedPath(file); path != "/"; path = std::string(parentPath(path))) {
            if (workListKeys.contains(path)) {
                return true;
            }
        }
        return false;
    }

    void checkCancelled() const {
        if (stop.stop_requested()) {
            throw CancellationError();
        }
    }
};

// --- The gate

FileDeleter::FileDeleter(CleanupHistoryStore* history, RunningApplications runningApplications)
    : history_(history), runningApplications_(std::move(runningApplications)) {}

FileDeleter::DeletionResult FileDeleter::deleteItems(const Request& request, const Progress& progress,
                                                     std::stop_token stop) {
    DeletionResult result;
    CleanupOperation& operation = result.operation;
    operation.id = UUID::make();
    operation.source = request.source;
    operation.permanent = request.permanently;
    operation.startedAt = now();
    for (std::string& volume : volumesHolding(request.urls)) {
        const auto before = freeSpace(volume);
        operation.volumes.push_back({.path = std::move(volume), .before = before, .after = std::nullopt});
    }

    std::unique_ptr<RemovalJournal> journal;
    {
        Run run(request, runningApplications_, stop);
        if (history_ != nullptr) {
            run.beginJournal(std::string(parentPath(standardizedPath(history_->url()))), operation);
        }
        const auto total = static_cast<std::int64_t>(run.workList.size());
        std::int64_t completed = 0;
        for (std::size_t index = 0; index < run.workList.size(); ++index) {
            const std::string& url = run.workList[index];
            Run::Outcome outcome = run.handle(index);
            CleanupOperation::Item item{.originalPath = url,
                                        .trashPath = std::move(outcome.trashPath),
                                        .logicalBytes = outcome.logicalBytes,
                                        .error = std::nullopt};
            if (outcome.failure) {
                item.error = outcome.failure->description();
                result.failedDeletions.push_back(std::move(*outcome.failure));
            } else {
                result.successfulDeletions.push_back(url);
                result.processedBytes += item.logicalBytes.value_or(0);
            }
            if (run.journal) {
                run.journal->didHandle(index, item);
            }
            operation.items.push_back(std::move(item));
            if (progress) {
                progress(++completed, total);
            }
        }
        run.session.finish();
        journal = std::move(run.journal);
    }

    for (CleanupOperation::VolumeChange& volume : operation.volumes) {
        volume.after = freeSpace(volume.path);
    }
    operation.finishedAt = now();
    if (history_ != nullptr && !operation.items.empty()) {
        try {
            history_->append(operation);
            if (journal) {
                journal->discard();
            }
        } catch (const Error& error) {
            result.historyError =
                "Cleanup finished, but its history could not be saved: " + error.description();
        }
    }
    return result;
}

bool FileDeleter::isSafe(const std::string& url, const std::vector<std::string>& allowedRoots) {
    return removal_rules::isSafe(url, allowedRoots);
}

std::vector<std::string> FileDeleter::collapseNested(const std::vector<std::string>& urls) {
    return removal_rules::collapseNested(urls);
}

}  // namespace larkfold
