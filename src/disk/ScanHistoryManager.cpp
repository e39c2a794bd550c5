#include "disk/ScanHistoryManager.h"

#include <algorithm>
#include <exception>
#include <iostream>
#include <utility>

#include "platform/Bookmark.h"
#include "platform/Error.h"
#include "platform/Path.h"

namespace larkfold {

namespace {

// One line of the log; what the user has called a folder cannot break it.
void log(const std::string& what, const std::string& why) {
    std::cerr << "Failed to " << what << ": " << why << '\n';
}

// What was stored, as the list may be: each root and each id once, no more than the limit.
std::vector<ScanHistoryEntry> inOrder(std::vector<ScanHistoryEntry> stored) {
    std::vector<ScanHistoryEntry> history;
    for (ScanHistoryEntry& entry : stored) {
        const bool isThere = std::any_of(history.begin(), history.end(), [&](const auto& other) {
            return other.id == entry.id || other.rootPath == entry.rootPath;
        });
        if (!isThere && history.size() < ScanHistoryManager::maxHistoryItems) {
            history.push_back(std::move(entry));
        }
    }
    return history;
}

}  // namespace

ScanHistoryManager::ScanHistoryManager(UserDefaults& defaults, MainQueue& mainQueue, QObject* parent)
    : QObject(parent),
      defaults_(defaults),
      saves_(defaults.observeSaves([](const UserDefaults::Save& save) {
          if (save.problem && std::ranges::find(save.newKeys, historyKey) != save.newKeys.end()) {
              log("save scan history", *save.problem);
          }
      })),
      changes_(defaults.observeChanges([this](const std::vector<std::string>& keys) {
          if (std::ranges::find(keys, historyKey) != keys.end()) {
              load();
              emit historyChanged();
          }
      })),
      context_(mainQueue, "scan-history") {
    load();
}

void ScanHistoryManager::add(const ScanResult& result, const std::optional<std::string>& bookmarkData) {
    ScanHistoryEntry entry{.id = result.id,
                           .rootPath = result.rootPath,
                           .rootName = std::string(result.rootNode->name()),
                           .scanDate = result.scanDate,
                           .totalSize = result.totalSize,
                           .totalFiles = result.totalFiles,
                           .totalDirectories = result.totalDirectories,
                           .scanDuration = result.scanDuration,
                           .bookmarkData = bookmarkData};
    std::vector<ScanHistoryEntry> history = history_;
    std::erase_if(history, [&](const auto& other) { return other.rootPath == entry.rootPath; });
    history.insert(history.begin(), std::move(entry));
    if (history.size() > maxHistoryItems) {
        history.resize(maxHistoryItems);
    }
    change(std::move(history));
}

void ScanHistoryManager::updateFigures(const ScanResult& result) {
    std::vector<ScanHistoryEntry> history = history_;
    const auto entry = std::ranges::find(history, result.rootPath, &ScanHistoryEntry::rootPath);
    if (entry == history.end()) {
        return;
    }
    const bool isNewer = entry->scanDate < result.scanDate;
    entry->id = result.id;
    entry->scanDate = result.scanDate;
    entry->totalSize = result.totalSize;
    entry->totalFiles = result.totalFiles;
    entry->totalDirectories = result.totalDirectories;
    if (isNewer) {
        std::rotate(history.begin(), entry, entry + 1);
    }
    if (history != history_) {
        change(std::move(history));
    }
}

void ScanHistoryManager::remove(const ScanHistoryEntry& entry) {
    std::vector<ScanHistoryEntry> history = history_;
    std::erase_if(history, [id = entry.id](const auto& other) { return other.id == id; });
    change(std::move(history));
}

void ScanHistoryManager::clear() {
    change({});
}

void ScanHistoryManager::restore(std::vector<ScanHistoryEntry> history) {
    change(std::move(history));
}

void ScanHistoryManager::change(std::vector<ScanHistoryEntry> history) {
    history_ = std::move(history);
    save();
    emit historyChanged();
}

// --- Where a root is

ScanHistoryManager::Answer ScanHistoryManager::ask(const ScanHistoryEntry& entry) {
    if (!entry.bookmarkData) {
        return {.location = {.url = entry.rootPath, .bookmarkData = std::nullopt}};
    }
    const ResolvedBookmark bookmark = resolveBookmark(*entry.bookmarkData);
    return {.location = {.url = bookmark.path,
                         .bookmarkData = bookmark.isStale ? makeBookmark(bookmark.path) : entry.bookmarkData},
            .wasStale = bookmark.isStale};
}

std::optional<ResolvedScanLocation> ScanHistoryManager::take(const ScanHistoryEntry& entry,
                                                             Outcome<Answer> outcome) {
    try {
        Answer& answer = outcome.get();
        if (answer.wasStale) {
            updateBookmark(*answer.location.bookmarkData, entry.id);
        }
        return std::move(answer.location);
    } catch (const Error& error) {
        log("resolve scan history bookmark for " + displayText(entry.rootPath), error.description());
        return std::nullopt;
    }
}

std::optional<ResolvedScanLocation> ScanHistoryManager::resolve(const ScanHistoryEntry& entry) {
    try {
        return take(entry, Outcome<Answer>(ask(entry)));
    } catch (const Error&) {
        return take(entry, Outcome<Answer>(std::current_exception()));
    }
}

void ScanHistoryManager::resolveInBackground(const ScanHistoryEntry& entry, Resolved resolved) {
    resolveRun_ =
        context_.run<Answer>([entry](std::stop_token) { return ask(entry); },
                             [this, entry, resolved = std::move(resolved)](Outcome<Answer> outcome) {
                                 resolved(take(entry, std::move(outcome)));
                             });
}

void ScanHistoryManager::updateBookmark(const std::string& data, const UUID& id) {
    std::vector<ScanHistoryEntry> history = history_;
    const auto entry = std::find_if(history.begin(), history.end(),
                                    [&](const ScanHistoryEntry& each) { return each.id == id; });
    if (entry != history.end()) {
        entry->bookmarkData = data;
        change(std::move(history));
    }
}

// --- The store

void ScanHistoryManager::load() {
    const std::optional<std::string> stored = defaults_.dataForKey(historyKey);
    if (!stored) {
        return;
    }
    try {
        history_ = inOrder(decodedScanHistory(*stored));
    } catch (const Error& error) {
        log("load scan history", error.description());
    }
}

void ScanHistoryManager::save() {
    try {
        defaults_.setData(historyKey, encodedScanHistory(history_));
    } catch (const Error& error) {
        log("save scan history", error.description());
    }
}

}  // namespace larkfold
