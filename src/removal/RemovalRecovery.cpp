#include "removal/RemovalRecovery.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "platform/AppendFile.h"
#include "platform/Error.h"
#include "platform/LinkResolution.h"
#include "platform/Path.h"
#include "removal/CleanupHistoryStore.h"
#include "removal/CleanupTexts.h"
#include "removal/RemovalJournal.h"

namespace larkfold {

namespace {

using user_files::Whereabouts;
using Kind = Whereabouts::Kind;
using Item = RemovalJournalContent::Item;

// As large as the history may be.
constexpr std::size_t largestJournal = std::size_t{1} << 30;

// What lies in the Trashes, by inode number; listed when the first item has to be looked for there.
class TrashIndex {
public:
    explicit TrashIndex(const std::vector<std::string>& folders) : folders_(folders) {}

    std::vector<std::string> placesOf(const DurableIdentity& identity) {
        if (!isListed_) {
            isListed_ = true;
            for (user_files::TrashedItem& item : user_files::itemsInTrashes(folders_)) {
                paths_.emplace(item.file, std::move(item.path));
            }
        }
        std::vector<std::string> places;
        const auto [begin, end] = paths_.equal_range(identity.file);
        std::transform(begin, end, std::back_inserter(places), [](const auto& row) { return row.second; });
        return places;
    }

private:
    const std::vector<std::string>& folders_;
    std::unordered_multimap<std::uint64_t, std::string> paths_;
    bool isListed_ = false;
};

// The item's path with the links in its folder's path resolved; the last component is the item's own.
std::string realPathOf(const Item& item) {
    if (!item.moves.empty()) {
        return item.moves.back().realPath;
    }
    const std::string path = standardizedPath(item.path);
    const auto folder = pathWithLinksResolved(std::string(parentPath(path)));
    return folder ? joinedPath(*folder, lastPathComponent(path)) : path;
}

std::optional<DurableIdentity> identityOf(const Item& item) {
    return item.moves.empty() ? item.identity : std::optional(item.moves.back().identity);
}

bool isItem(const Whereabouts& found) {
    return found.kind != Kind::nowhere && found.kind != Kind::unreachable;
}

// Where the item is. Without an outcome in the journal that decides what is told of it; with one, whether
// something of it lies aside.
Whereabouts whereaboutsOf(const RemovalJournalContent& content, const Item& item, TrashIndex& trashes) {
    // Where it was not noted, no item is taken for it.
    const DurableIdentity identity = identityOf(item).value_or(DurableIdentity{});
    user_files::Sought sought{
        .path = realPathOf(item), .identity = identity, .stagingName = item.stagingName, .places = {}};
    if (!content.permanent) {
        for (const RemovalJournalContent::Move& move : item.moves) {
            sought.places.push_back(move.place);
        }
    }
    Whereabouts found = user_files::find(sought);
    if (content.permanent || isItem(found) || !found.isAnswered) {
        return found;
    }
    sought.places = trashes.placesOf(identity);
    return sought.places.empty() ? found : user_files::find(sought);
}

// What the history tells of an item whose outcome was not written.
CleanupOperation::Item toldOf(const RemovalJournalContent& content, const Item& item,
                              const Whereabouts& found) {
    namespace texts = cleanup_texts;
    CleanupOperation::Item told{
        .originalPath = item.path,
        .trashPath = {},
        .logicalBytes = item.moves.empty() ? std::nullopt : item.moves.back().logicalBytes,
        .error = {}};
    if (!isItem(found) && found.aside) {
        told.error =
            texts::interruptedRestsAt(found.aside->path, item.isBeingRemoved && found.aside->isFolder);
        return told;
    }
    if (!identityOf(item)) {
        told.error = texts::interruptedUnknown();
        return told;
    }
    switch (found.kind) {
        case Kind::inPlace:
            // What was verified and then came back to its place may have lost something.
            told.error = item.isBeingRemoved ? texts::interruptedPartInPlace() : texts::interruptedInPlace();
            break;
        case Kind::inTrash:
            told.trashPath = found.path;
            break;
        case Kind::inTrashWithoutNote:
            told.error = texts::interruptedWithoutNote(found.path);
            break;
        case Kind::aside:
            told.error = texts::interruptedRestsAt(found.path, item.isBeingRemoved && found.aside->isFolder);
            break;
        case Kind::nowhere:
            // Only what was verified and about to be removed has gone where it is found nowhere: anything
            // else somebody may have taken away.
            if (!content.permanent || !item.isBeingRemoved) {
                told.error = texts::interruptedNotFound();
            }
            break;
        case Kind::unreachable:
            told.error = texts::interruptedUnreachable();
            break;
    }
    return told;
}

}  // namespace

// What the disk tells of the run of one journal.
struct RemovalRecovery::Findings {
    std::vector<CleanupOperation::Item> items;
    std::vector<Leftover> leftovers;
    bool isAnswered = true;  // every disk answered
    bool isComplete = true;  // no private folder is left that could not be looked at
    bool wasStopped = false;

    Findings(const std::string& journal, const RemovalJournalContent& content, const std::stop_token& stop) {
        TrashIndex trashes(content.trashes);
        for (const Item& item : content.items) {
            if (stop.stop_requested()) {
                wasStopped = true;
                return;
            }
            // What failed may lie aside all the same.
            const bool mayLieAside = content.permanent && !item.moves.empty();
            if (item.outcome && !(item.outcome->error && mayLieAside)) {
                items.push_back(*item.outcome);
                continue;
            }
            const Whereabouts found = whereaboutsOf(content, item, trashes);
            if (!found.isAnswered) {
                // One disk that does not answer is waited for once.
                isAnswered = isComplete = false;
                return;
            }
            items.push_back(item.outcome ? *item.outcome : toldOf(content, item, found));
            if (content.permanent) {
                lookAside(journal, item, found);
            }
        }
    }

    void lookAside(const std::string& journal, const Item& item, const Whereabouts& found) {
        if (found.aside) {
            leftovers.push_back({.journal = journal,
                                 .item = *found.aside,
                                 .maybePart = item.isBeingRemoved && found.aside->isFolder});
        } else if (found.kind == Kind::unreachable && !item.moves.empty()) {
            isComplete = false;
        } else if (found.hasStaging) {
            user_files::discardEmptyStaging(realPathOf(item), item.stagingName);
        }
    }
};

std::string RemovalRecovery::folder() const {
    return std::string(parentPath(standardizedPath(history_.url())));
}

RemovalRecovery::Report RemovalRecovery::recover(const std::stop_token& stop) {
    Report report;
    try {
        for (const std::string& path : own_files::LeftAppendFile::find(folder(), RemovalJournal::namePrefix,
                                                                       RemovalJournal::nameSuffix)) {
            if (stop.stop_requested()) {
                break;
            }
            recoverJournal(path, report, stop);
        }
    } catch (const Error& error) {
        report.problems.push_back(cleanup_texts::journalUnreadable(error.description()));
    }
    return report;
}

// 1. The journal, which nobody else holds from here on.
// 2. What the disk tells.
// 3. The history. Ending here leaves the journal, and the next start knows the operation by its id.
// 4. The journal goes, or stays for what lies aside, with a mark that the history has it.
void RemovalRecovery::recoverJournal(const std::string& path, Report& report, const std::stop_token& stop) {
    namespace texts = cleanup_texts;
    try {
        auto journal = own_files::LeftAppendFile::take(path);
        if (!journal) {
            return;
        }
        const std::string bytes = journal->content(largestJournal);
        const auto content = RemovalJournalContent::read(bytes);
        if (!content) {
            journal->remove();  // the run ended before it moved anything
            return;
        }
        Findings findings(path, *content, stop);
        if (findings.wasStopped) {
            return;
        }
        if (!findings.isAnswered) {
            if (!content->isRecorded) {
                report.problems.push_back(texts::journalWaits());
            }
            return;
        }
        report.leftovers.insert(report.leftovers.end(), findings.leftovers.begin(), findings.leftovers.end());
        if (!content->isRecorded) {
            try {
                history_.appendOnce({.id = content->id,
                                     .startedAt = content->startedAt,
                                     .finishedAt = content->lastChange,
                                     .source = content->source,
                                     .permanent = content->permanent,
                                     .items = std::move(findings.items),
                                     .volumes = content->volumes});
            } catch (const Error& error) {
                report.problems.push_back(texts::journalNotRecorded(error.description()));
                return;
            }
            ++report.recordedCount;
        }
        if (findings.leftovers.empty() && findings.isComplete) {
            journal->remove();
        } else if (!content->isRecorded) {
            journal->append(RemovalJournalContent::wholeLength(bytes),
                            RemovalJournalContent::lineOfRecord(now()));
        }
    } catch (const RemovalJournalContent::Damaged&) {
        report.problems.push_back(texts::journalDamaged(path));
    } catch (const Error& error) {
        report.problems.push_back(texts::journalUnreadable(error.description()));
    }
}

std::optional<std::string> RemovalRecovery::restore(const Leftover& leftover) {
    namespace texts = cleanup_texts;
    try {
        switch (user_files::restore(leftover.item)) {
            case user_files::Restoring::done:
                break;
            case user_files::Restoring::nameTaken:
                return texts::asideNameTaken(leftover.item.originalPath, leftover.item.path);
            case user_files::Restoring::changed:
                return texts::asideChanged();
            case user_files::Restoring::unreachable:
                return texts::asideUnreachable();
        }
    } catch (const Error& error) {
        return error.description();
    }
    // The journal goes with the last item that it was kept for.
    Report rest;
    recoverJournal(leftover.journal, rest, {});
    return std::nullopt;
}

void RemovalRecovery::forget() {
    for (const std::string& path :
         own_files::LeftAppendFile::find(folder(), RemovalJournal::namePrefix, RemovalJournal::nameSuffix)) {
        auto journal = own_files::LeftAppendFile::take(path);
        if (!journal) {
            continue;
        }
        std::string bytes;
        std::optional<RemovalJournalContent> content;
        try {
            bytes = journal->content(largestJournal);
            content = RemovalJournalContent::read(bytes);
        } catch (const RemovalJournalContent::Damaged&) {
            content.reset();
        }
        const bool isNeeded = content && content->permanent && [&] {
            const Findings findings(path, *content, {});
            return !findings.leftovers.empty() || !findings.isComplete;
        }();
        if (!isNeeded) {
            journal->remove();
        } else if (!content->isRecorded) {
            journal->append(RemovalJournalContent::wholeLength(bytes),
                            RemovalJournalContent::lineOfRecord(now()));
        }
    }
}

}  // namespace larkfold
