#include "faults/RecordOracle.h"

#include <algorithm>
#include <filesystem>
#include <vector>

#include "platform/Error.h"
#include "removal/CleanupHistoryStore.h"

namespace larkfold::test {

namespace {

// Without the info files of a Trash that are on their way out: they are files, and no item lies in them.
std::vector<RemovalSubject::PrivateFolder> privateFoldersOf(const RemovalSubject& subject) {
    auto folders = subject.privateFolders();
    std::erase_if(folders, [&subject](const auto& folder) {
        return !std::filesystem::is_directory(subject.pathOf(folder.path));
    });
    return folders;
}

std::string problemOfItem(const RemovalSubject& subject, const CleanupOperation& operation,
                          const std::vector<RemovalRecovery::Leftover>& leftovers, RecordOracle& counts) {
    const CleanupOperation::Item& item = operation.items.front();
    const auto folders = privateFoldersOf(subject);
    const auto held =
        std::find_if(folders.begin(), folders.end(), [](const auto& folder) { return !folder.isEmpty; });
    if (std::any_of(folders.begin(), folders.end(), [](const auto& folder) { return folder.isEmpty; })) {
        return "an empty private folder was left";
    }
    if (held != folders.end()) {
        ++counts.aside;
        const std::string place = subject.pathOf(held->path + "/item.txt");
        if (!item.error || item.error->find("“" + place + "”") == std::string::npos) {
            return "it lies aside, and the history tells " + item.error.value_or("that it went");
        }
        return leftovers.size() == 1 && leftovers.front().item.path == place
                   ? ""
                   : "it lies aside, and is not offered";
    }
    if (!leftovers.empty()) {
        return "something is offered that does not lie aside";
    }
    if (subject.isAtPlace()) {
        ++counts.inPlace;
        return item.error && item.error->find("in its place") != std::string::npos && !item.trashPath
                   ? ""
                   : "it is in its place, and the history tells otherwise";
    }
    const std::vector<std::string> trashed = subject.wholeInTrash();
    if (!trashed.empty()) {
        ++counts.inTrash;
        return !item.error && item.trashPath == subject.pathOf(trashed.front())
                   ? ""
                   : "it lies in the Trash, and the history tells otherwise";
    }
    ++counts.gone;
    return subject.isPermanent() && operation.permanent && !item.error && !item.trashPath
               ? ""
               : "it is nowhere, and the history tells " + item.error.value_or("another place");
}

}  // namespace

std::string RecordOracle::problemAfterRecovery(RemovalSubject& subject) {
    CleanupHistoryStore history(subject.historyFile());
    report = RemovalRecovery(history).recover({});
    subject.look();
    if (!report.problems.empty()) {
        return report.problems.front();
    }
    if (subject.journals().size() != report.leftovers.size()) {
        return "a journal is left for nothing, or is not left";
    }
    std::vector<CleanupOperation> operations;
    try {
        operations = history.load();
    } catch (const Error& error) {
        return error.description();
    }
    if (operations.empty()) {
        ++untold;
        return subject.isWholeAtPlace() ? "" : "the history does not know of it, and it is not in its place";
    }
    if (operations.size() != 1 || operations.front().items.size() != 1 ||
        operations.front().items.front().originalPath != subject.url()) {
        return "the history tells it twice, or of something else";
    }
    return problemOfItem(subject, operations.front(), report.leftovers, *this);
}

std::string RecordOracle::problemAfterRestoring(RemovalSubject& subject) {
    CleanupHistoryStore history(subject.historyFile());
    RemovalRecovery recovery(history);
    for (const RemovalRecovery::Leftover& leftover : report.leftovers) {
        const auto folders = privateFoldersOf(subject);
        const bool isWhole = std::any_of(folders.begin(), folders.end(),
                                         [](const auto& folder) { return folder.holdsAllOfIt; });
        if (const auto problem = recovery.restore(leftover)) {
            return *problem;
        }
        subject.look();
        if (isWhole ? !subject.isWholeAtPlace() : !subject.isPartAtPlace()) {
            return "what lay aside did not come back to its place";
        }
        if (!isWhole && !leftover.maybePart) {
            return "a part of it is gone, and was offered as the whole";
        }
        if (!privateFoldersOf(subject).empty() || !subject.journals().empty()) {
            return "the private folder or the journal was left behind";
        }
    }
    return subject.harm();
}

}  // namespace larkfold::test
