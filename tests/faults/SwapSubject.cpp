#include "faults/SwapSubject.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "disk/DiskScanner.h"
#include "faults/IndexOracle.h"

namespace larkfold::test {

namespace {

// Something that no library takes for a database.
std::string noise(std::size_t length) {
    std::string bytes;
    std::uint32_t state = 12345;
    while (bytes.size() < length) {
        state = state * 1664525 + 1013904223;
        bytes += static_cast<char>(state >> 24);
    }
    return bytes;
}

}  // namespace

const char* nameOf(Before before) {
    switch (before) {
        case Before::nothing:
            return "no index before";
        case Before::index:
            return "an index before";
        case Before::indexWithJournal:
            return "an index and its journal before";
        case Before::damaged:
            return "a damaged index before";
        case Before::damagedWithJournal:
            return "a damaged index and a journal before";
    }
    return "";
}

SwapSubject::SwapSubject(Before before, unsigned seed, int files) : before_(before) {
    for (int i = 0; i < files; ++i) {
        const std::string folder =
            "scanned/" + std::string(1, static_cast<char>('a' + (i + static_cast<int>(seed)) % 4));
        tree_.fileOfSize(folder + "/" + std::to_string(seed) + "-" + std::to_string(i),
                         1 + (i * 7919 + static_cast<int>(seed) * 131) % 20'000);
    }
    tree_.folder("scanned/empty");
    tree_.link("scanned/link", "a");
    for (int i = 0; i < 300; ++i) {
        tree_.fileOfSize("old/" + std::to_string(i % 7) + "/" + std::to_string(i), 100 + i);
    }
    folder_ = tree_.path("index");
    file_ = folder_ + "/latest-scan.sqlite";

    const std::string made = tree_.folder("made") + "/made.sqlite";
    const ScanResult whole = DiskScanner(made).scan(root(), everything(), {});
    newIndex_ = describeIndex(made);
    EXPECT_TRUE(isWhole(newIndex_)) << newIndex_;
    completeReport_ = "scanned " + std::to_string(whole.totalFiles) + " " +
                      std::to_string(whole.totalDirectories) + " " + std::to_string(whole.totalSize) + " 0";

    if (before_ == Before::nothing) {
        return;
    }
    makeIndex(tree_.path("old"), made);
    oldIndex_ = describeIndex(made);
    oldBytes_ = readBytes(made);
    if (before_ == Before::indexWithJournal || before_ == Before::damagedWithJournal) {
        const InterruptedIndex interrupted = interruptChange(made);
        oldBytes_ = interrupted.database;
        oldJournal_ = interrupted.journal;
        // Without the journal it is another index, or none: only then does the journal matter.
        writeBytes(made, oldBytes_);
        EXPECT_NE(describeIndex(made), oldIndex_);
    }
    if (before_ == Before::damaged || before_ == Before::damagedWithJournal) {
        oldBytes_ = noise(oldBytes_.size());
    }
}

void SwapSubject::putInPlace() {
    removeTree(folder_);
    tree_.folder("index");
    if (before_ != Before::nothing) {
        writeBytes(file_, oldBytes_);
    }
    if (!oldJournal_.empty()) {
        writeBytes(file_ + "-journal", oldJournal_);
    }
}

ProgramOutcome SwapSubject::run(const std::string& mode, const Watcher& watcher) {
    putInPlace();
    return runWatched({"scan", mode, root(), file_}, watcher);
}

bool SwapSubject::holdsIndexOfRoot(std::int64_t errors) const {
    return found_.starts_with("whole: root " + root() + "| errors " + std::to_string(errors) + "|");
}

std::string SwapSubject::problemOfIndex() {
    found_.clear();
    if (!stands(file_)) {
        return before_ == Before::nothing ? "" : "nothing stands at the index's place";
    }
    if (before_ == Before::damaged && readBytes(file_) == oldBytes_) {
        return "";
    }
    found_ = describeIndex(file_);
    if (found_ == newIndex_ || (before_ != Before::nothing && found_ == oldIndex_)) {
        return "";
    }
    if (before_ == Before::damagedWithJournal && !isWhole(found_)) {
        return "";  // the journal was played back into what it does not fit: no index before, none after
    }
    return found_;
}

}  // namespace larkfold::test
