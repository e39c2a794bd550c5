// A removal through the gate.
//
//   larkfold_victim removal [--history FILE] MODE ROOT URL [KEEPER]
//   larkfold_victim removal --history FILE recover|restore|restore-unseen
//   larkfold_victim removal --history FILE several|several-permanent ROOT URL...
//
// What came of it is "gone BYTES PLACE" or "stays PLACE: SENTENCE", where PLACE is "-" where there is none.
// With a KEEPER the item goes as its duplicate. With a FILE the run is recorded there, and journaled beside
// it; "unrecorded SENTENCE" stands below where that failed. "recover" brings what the journals tell into it,
// "restore" puts back what lies aside as well, and "several" removes many items in one run.
//
// MODE is "trash" or "permanent", or one of the naive ways that the suites have to find out:
//   late-info-file    into the Trash first, and the info file of it after that
//   unchecked    the info file's sync is made, and its outcome ignored
//   leaky        a descriptor stays open
//   hopeful      told as gone whatever happened
//   beside       the item is unlinked, and its info file by its name in the folder beside its own
//   in-place     a folder is removed where it stands, what is left of it is told as gone
//   unjournaled, unjournaled-permanent    the run is recorded at its end, without a journal
//   late-journal, late-journal-permanent  what is journaled is what was done
//   restore-unseen  what lies aside is put back by its path, whatever it is by then
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "faults/Victim.h"
#include "platform/Error.h"
#include "platform/Path.h"
#include "platform/SHA256.h"
#include "platform/StandardFolders.h"
#include "removal/CleanupHistoryStore.h"
#include "removal/FileDeleter.h"
#include "removal/RemovalJournal.h"
#include "removal/RemovalRecovery.h"

namespace larkfold::test {
namespace {

using Strings = std::vector<std::string>;
using Store = CleanupHistoryStore;
using Root = FileDeleter::AllowedRoot;

FileDeleter::DeletionResult deleteAll(bool permanently, const Root& root, const Strings& urls,
                                      const FileDeleter::DuplicateVerification* proof, Store* history) {
    FileDeleter::Request request{.urls = urls,
                                 .permanently = permanently,
                                 .allowedRoots = {root},
                                 .duplicateVerifications = {},
                                 .source = "Victim",
                                 .protectRunningApplications = false};
    if (proof != nullptr) {
        request.duplicateVerifications[urls.front()] = *proof;
    }
    FileDeleter gate(history, [] { return std::vector<RunningApplication>(); });
    return gate.deleteItems(request, nullptr, {});
}

std::string reportOf(const FileDeleter::DeletionResult& result) {
    const std::string unrecorded =
        result.historyError ? "\nunrecorded " + *result.historyError : std::string();
    const CleanupOperation::Item& item = result.operation.items.at(0);
    if (!item.error) {
        return "gone " + std::to_string(item.logicalBytes.value_or(-1)) + " " + item.trashPath.value_or("-") +
               unrecorded;
    }
    const std::string opening = "kept at “";
    const std::size_t at = item.error->find(opening);
    const std::string rest =
        at == std::string::npos ? std::string() : item.error->substr(at + opening.size());
    return "stays " + (rest.empty() ? "-" : rest.substr(0, rest.find("”"))) + ": " + *item.error + unrecorded;
}

// What keeps no journal while it goes on: recorded at the end, or journaled then and recorded after that.
FileDeleter::DeletionResult recordedLate(bool isJournaled, bool permanently, const Root& root,
                                         const std::string& url, Store& history) {
    auto result = deleteAll(permanently, root, {url}, nullptr, nullptr);
    if (isJournaled) {
        RemovalJournalContent plan;
        plan.id = result.operation.id;
        plan.startedAt = result.operation.startedAt;
        plan.permanent = permanently;
        plan.items.resize(1);
        plan.items[0].path = url;
        RemovalJournal journal(std::string(parentPath(history.url())), plan);
        journal.didHandle(0, result.operation.items.at(0));
        history.append(result.operation);
        journal.discard();
    } else {
        history.append(result.operation);
    }
    return result;
}

std::string naively(std::string_view mode, const std::string& url) {
    if (mode == "in-place") {
        std::error_code problem;
        std::filesystem::remove_all(url, problem);
        return "gone 0 -";
    }
    const std::string name(lastPathComponent(url));
    if (mode == "beside") {
        const int folder = open(std::string(parentPath(url)).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        const bool isGone = unlinkat(folder, name.c_str(), 0) == 0;
        const int info = openat(folder, "../info", O_PATH | O_DIRECTORY | O_CLOEXEC);
        unlinkat(info, (name + ".trashinfo").c_str(), 0);
        close(info);
        close(folder);
        return isGone ? "gone 0 -" : "stays -: It could not be removed.";
    }
    const std::string trash = joinedPath(applicationSupportDirectory(), "Trash");
    const std::string place = trash + "/files/" + name;
    const std::string infoFile = trash + "/info/" + name + ".trashinfo";
    const std::string text = "[Trash Info]\nPath=" + url + "\nDeletionDate=2026-01-01T00:00:00\n";
    bool isMoved = false;
    if (mode == "late-info-file") {
        isMoved = rename(url.c_str(), place.c_str()) == 0;
    }
    const int file = open(infoFile.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (file >= 0) {
        static_cast<void>(!write(file, text.data(), text.size()));
        fsync(file);
        close(file);
    }
    if (mode != "late-info-file") {
        isMoved = rename(url.c_str(), place.c_str()) == 0;
    }
    if (!isMoved) {
        unlink(infoFile.c_str());
    }
    if (mode == "leaky") {
        leakDescriptor();
    }
    return isMoved || mode == "hopeful" ? "gone 0 " + place : "stays -: It could not be moved to the Trash.";
}

std::string restored(bool isUnseen, Store& history) {
    RemovalRecovery recovery(history);
    for (const auto& leftover : recovery.recover({}).leftovers) {
        if (isUnseen) {
            renameat2(AT_FDCWD, leftover.item.path.c_str(), AT_FDCWD, leftover.item.originalPath.c_str(),
                      RENAME_NOREPLACE);
        } else if (const auto problem = recovery.restore(leftover)) {
            return "not restored: " + *problem;
        }
    }
    return "restored";
}

std::string answer(std::string_view mode, Store* history, const Root& root, const Strings& urls,
                   const FileDeleter::DuplicateVerification* proof) {
    const bool isPermanent = mode.ends_with("permanent");
    if (mode == "recover") {
        const auto report = RemovalRecovery(*history).recover({});
        return "recovered " + std::to_string(report.recordedCount);
    }
    if (mode.starts_with("restore")) {
        return restored(mode == "restore-unseen", *history);
    }
    if (mode.starts_with("several")) {
        return reportOf(deleteAll(isPermanent, root, urls, nullptr, history));
    }
    const std::string& url = urls.at(0);
    if (mode == "trash" || mode == "permanent") {
        return reportOf(deleteAll(isPermanent, root, {url}, proof, history));
    }
    if (mode.starts_with("unjournaled") || mode.starts_with("late-journal")) {
        return reportOf(recordedLate(mode.starts_with("late-journal"), isPermanent, root, url, *history));
    }
    return naively(mode, url);
}

}  // namespace

std::optional<VictimWork> removalWork(const std::vector<std::string>& words) {
    Strings rest = words;
    std::shared_ptr<Store> history;
    if (rest.size() > 2 && rest[0] == "--history") {
        history = std::make_shared<Store>(rest[1]);
        rest.erase(rest.begin(), rest.begin() + 2);
    }
    if (rest.empty() || (rest.size() == 1 ? !history : rest.size() < 3)) {
        return std::nullopt;
    }
    const std::string mode = rest[0];
    rest.erase(rest.begin());
    std::optional<FileDeleter::DuplicateVerification> proof;
    if (rest.size() == 3 && !mode.starts_with("several")) {
        proof = {.keeper = rest[2], .sha256 = fileSHA256(rest[2], {})};
    }
    const Root root = rest.empty() ? Root() : Root::at(rest[0]);
    const Strings urls(rest.begin() + (rest.empty() ? 0 : 1), rest.end());
    return VictimWork{
        .run = [=] { return answer(mode, history.get(), root, urls, proof ? &*proof : nullptr); }};
}

}  // namespace larkfold::test
