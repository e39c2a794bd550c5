// One step in bringing a saved index up to date.
//
//   larkfold_victim refresh merge INDEX INCOMING
//   larkfold_victim refresh remove INDEX FOLDER
//   larkfold_victim refresh refresh INDEX ROOT FOLDER...   the whole: scans, merges, removals, and the load
//   at
//                                                          the end
//   larkfold_victim refresh load INDEX
//
// What came of it is "done", with what a load found.
//
// Naive ways, which the suites have to find out:
//   unwrapped INDEX INCOMING     a merge in which each statement is a transaction of its own
//   in-memory INDEX INCOMING     a merge whose journal is kept in memory
//   unlinked INDEX INCOMING      a merge that removes the journal before it is committed
//   unsynced INDEX INCOMING      a merge that syncs nothing
//   mute INDEX INCOMING          a merge whose failure is told as a success
//   leaky INDEX INCOMING         a merge that leaves a descriptor open when it failed
//   unlocked-load INDEX          a load that keeps no other process off
//   unlocked-merge INDEX INCOMING  a merge that keeps no other process off
#include <sqlite3.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <vector>

#include "disk/IndexRefresh.h"
#include "disk/SavedScanLoader.h"
#include "disk/ScanIndexDatabase.h"
#include "faults/Victim.h"
#include "platform/Error.h"
#include "platform/Path.h"
#include "support/TestMainLoop.h"

namespace larkfold::test {
namespace {

std::string told(const ScanResult& result) {
    return " " + std::to_string(result.totalFiles) + " " + std::to_string(result.totalDirectories) + " " +
           std::to_string(result.totalSize) + " " + std::to_string(result.errors.size());
}

std::string refresh(const std::string& index, const std::string& root, std::vector<std::string> folders) {
    TestMainLoop loop;
    SerialContext scans(loop.queue(), "scan");
    SerialContext indexes(loop.queue(), "index");
    std::optional<Outcome<ScanResult>> outcome;
    const IndexRefresh refresh(
        scans, indexes, {.indexURL = index, .root = root, .folders = std::move(folders)},
        [](bool skipsHiddenFiles) {
            return DiskScanOptions{.skipHiddenFiles = skipsHiddenFiles,
                                   .excludedPathPrefixes = {},
                                   .skipSymbolicLinks = true,
                                   .maximumRetainedFiles = 50'000};
        },
        [&outcome](Outcome<ScanResult> came) { outcome = std::move(came); });
    if (!loop.runUntil([&outcome] { return outcome.has_value(); })) {
        return " nothing";
    }
    return told(outcome->get());
}

// A merge by hand, of the same statements.
void mergeByHand(const std::string& mode, const std::string& index, const std::string& incoming) {
    sqlite3* db = nullptr;
    const auto run = [&db](const std::string& sql) {
        if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
            throw ScanIndexDatabase::Failure(sqlite3_errmsg(db));
        }
    };
    sqlite3_open_v2(index.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
    const std::string root = ScanIndexDatabase(incoming, false).readMeta().at("root");
    const std::string saved = ScanIndexDatabase(index, false).readMeta().at("root");
    try {
        if (mode == "in-memory" || mode == "unsynced") {
            run(mode == "unsynced" ? "PRAGMA synchronous=OFF" : "PRAGMA journal_mode=MEMORY");
        }
        run("PRAGMA cache_size=5; ATTACH DATABASE " + quoted(incoming) + " AS incoming");
        if (mode != "unwrapped") {
            run("BEGIN IMMEDIATE");
        }
        run("DELETE FROM nodes WHERE " + subtreePredicate(root));
        run("INSERT INTO nodes SELECT * FROM incoming.nodes");
        std::string folder = root;
        while (folder != saved) {
            folder = std::string(parentPath(folder));
            const std::string sql = quoted(folder);
            run("UPDATE nodes SET size=(SELECT COALESCE(SUM(size),0) FROM nodes WHERE parent=" + sql +
                ") WHERE path=" + sql);
        }
        run("INSERT OR REPLACE INTO meta VALUES('date','4000000000.5')");
        if (mode == "unlinked") {
            unlink((index + "-journal").c_str());
        }
        if (mode != "unwrapped") {
            run("COMMIT");
        }
    } catch (...) {
        sqlite3_close(db);
        throw;
    }
    sqlite3_close(db);
}

std::string work(const std::string& mode, const std::vector<std::string>& words) {
    const std::string& index = words.at(0);
    if (mode == "merge") {
        SavedScanLoader::merge(index, words.at(1), {});
    } else if (mode == "remove") {
        SavedScanLoader::removeFolder(index, words.at(1), {});
    } else if (mode == "refresh") {
        return "done" + refresh(index, words.at(1), {words.begin() + 2, words.end()});
    } else if (mode == "load") {
        return "done" + told(SavedScanLoader::load(index, std::nullopt, {}));
    } else if (mode == "unlocked-load") {
        return "done" + told(ScanIndexDatabase(index, false).loadTree(std::nullopt, 50'000));
    } else if (mode == "unlocked-merge") {
        ScanIndexDatabase(index, false).merge(words.at(1));
    } else if (mode == "mute" || mode == "leaky") {
        try {
            SavedScanLoader::merge(index, words.at(1), {});
        } catch (const Error&) {
            if (mode == "leaky") {
                leakDescriptor();
                throw;
            }
        }
    } else {
        mergeByHand(mode, index, words.at(1));
    }
    return "done";
}

}  // namespace

std::optional<VictimWork> refreshWork(const std::vector<std::string>& words) {
    if (words.size() < 2) {
        return std::nullopt;
    }
    return VictimWork{.run = [mode = words[0], arguments = std::vector(words.begin() + 1, words.end())] {
        return work(mode, arguments);
    }};
}

}  // namespace larkfold::test
