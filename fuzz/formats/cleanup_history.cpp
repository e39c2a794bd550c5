// The history of removals: docs/cleanup-history-format.md.
#include "StoredFormat.h"
#include "platform/Error.h"
#include "removal/CleanupHistoryStore.h"
#include "support/TemporaryTree.h"

namespace larkfold::fuzz {

void writeSeeds(const std::string& folder) {
    CleanupOperation operation;
    operation.id = UUID::make();
    operation.startedAt = dateFromSecondsSince1970(1'790'000'000.25);
    operation.finishedAt = dateFromSecondsSince1970(1'790'000'001);
    operation.source = "Disk Space";
    CleanupHistoryStore(folder + "/empty operation").append(operation);
    operation.permanent = true;
    operation.items = {
        {.originalPath = "/home/anna/film.mov",
         .trashPath = "/home/anna/.local/share/Trash/files/film.mov",
         .logicalBytes = 7},
        {.originalPath = "/home/anna/\xff\xfe", .error = "It could not be moved. Nothing was changed."}};
    operation.volumes = {{.path = "/", .before = 5, .after = INT64_MAX}, {.path = "/home"}};
    CleanupHistoryStore full(folder + "/full");
    full.append(operation);
    full.append(operation);
    CleanupHistoryStore none(folder + "/none");
    none.append(operation);
    none.clear();
}

// What can be read is kept by the next removal, and what cannot is left as it is.
void read(std::string_view bytes) {
    static const test::TemporaryTree place;
    static const std::string file = place.path("cleanup-history.json");
    writeBytes(file, bytes);
    CleanupHistoryStore store(file);
    std::vector<CleanupOperation> operations;
    bool isReadable = true;
    try {
        operations = store.load();
        for (const CleanupOperation& operation : operations) {
            require(operation.succeededCount() <= static_cast<std::int64_t>(operation.items.size()));
            static_cast<void>(operation.dataProcessed());
            static_cast<void>(operation.hasPartialMeasurement());
            static_cast<void>(operation.freeSpaceChange());
        }
    } catch (const Error& error) {
        require(!error.description().empty());
        isReadable = false;
    }

    CleanupOperation next;
    next.id = UUID::make();
    next.startedAt = dateFromSecondsSince1970(1);
    next.finishedAt = dateFromSecondsSince1970(2);
    next.source = "the search";
    try {
        store.append(next);
        require(isReadable);
    } catch (const Error&) {
        require(!isReadable);
        require(test::contentOf(file) == bytes);
        return;
    }
    operations.insert(operations.begin(), next);
    if (operations.size() > CleanupHistoryStore::limit) {
        operations.resize(CleanupHistoryStore::limit);
    }
    require(store.load() == operations);
}

}  // namespace larkfold::fuzz
