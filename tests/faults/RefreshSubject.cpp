#include "faults/RefreshSubject.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "disk/DiskScanner.h"
#include "disk/IndexRows.h"
#include "disk/SavedScanLoader.h"
#include "platform/OwnFiles.h"
#include "removal/PathRules.h"

namespace larkfold::test {

namespace {

std::string dateOf(const std::string& index) {
    const auto rows = rowsOf(index, "SELECT value FROM meta WHERE key='date'");
    return rows.size() == 1 ? rows.front() : "none";
}

}  // namespace

const char* nameOf(Step step) {
    switch (step) {
        case Step::merge:
            return "a merge";
        case Step::mergeOfRoot:
            return "a merge of the root";
        case Step::remove:
            return "a removal";
        case Step::refresh:
            return "a refresh";
    }
    return "";
}

RefreshSubject::RefreshSubject(Step step, int files) : step_(step) {
    const char* folders[] = {"a", "a/inner", "b/c", "gone", "gone/deep", "kept"};
    for (int i = 0; i < files; ++i) {
        tree_.file("scanned/" + std::string(folders[i % 6]) + "/" + std::to_string(i) +
                       " with a name of some length",
                   std::string(static_cast<std::size_t>(1 + i * 37 % 5'000), 'x'));
    }
    tree_.folder("scanned/kept/empty");
    folder_ = tree_.folder("index");
    file_ = folder_ + "/latest-scan.sqlite";
    const std::string made = tree_.folder("made") + "/made.sqlite";
    makeIndex(root(), made);
    oldBytes_ = readBytes(made);
    oldDate_ = dateOf(made);
    states_.push_back({.index = describeIndex(made)});

    // What happened since. The folder that has gone is one change of its own.
    for (int i = 0; i < files; i += 3) {
        const std::string folder = folders[i % 2 == 0 ? 0 : 2];
        tree_.fileOfSize("scanned/" + folder + "/new " + std::to_string(i), 6'000 + i);
    }
    std::filesystem::remove_all(tree_.path("scanned/a/inner"));
    std::filesystem::remove_all(tree_.path("scanned/gone"));
    if (step_ == Step::merge || step_ == Step::mergeOfRoot) {
        incoming_ = tree_.path("made/incoming.sqlite");
        makeIndex(step_ == Step::merge ? tree_.path("scanned/a") : root(), incoming_);
    }
    makeStates(made);
}

std::vector<std::string> RefreshSubject::changedFolders() const {
    switch (step_) {
        case Step::merge:
            return {tree_.path("scanned/a")};
        case Step::mergeOfRoot:
            return {root()};
        case Step::remove:
            return {tree_.path("scanned/gone")};
        case Step::refresh:
            return removal_rules::collapseNested(
                {tree_.path("scanned/gone"), tree_.path("scanned/b/c"), tree_.path("scanned/a")});
    }
    return {};
}

void RefreshSubject::makeStates(const std::string& made) {
    const std::string incoming = tree_.path("made/of-one-folder.sqlite");
    bool isOfOldDate = true;
    for (const std::string& folder : changedFolders()) {
        if (own_files::exists(folder)) {
            makeIndex(folder, incoming);
            SavedScanLoader::merge(made, incoming, {});
            isOfOldDate = false;
        } else {
            SavedScanLoader::removeFolder(made, folder, {});
        }
        states_.push_back({.index = describeIndex(made), .isOfOldDate = isOfOldDate});
    }
    for (const State& state : states_) {
        EXPECT_TRUE(isWhole(state.index)) << state.index;
        EXPECT_NE(state.index, states_[&state == &states_.front() ? 1 : 0].index);
    }
    EXPECT_TRUE(isConsistent(made));
    completeReport_ = "done";
    if (step_ == Step::refresh || step_ == Step::mergeOfRoot) {
        // A judge of its own: what a fresh scan of everything writes.
        const std::string fresh = tree_.path("made/fresh.sqlite");
        const ScanResult whole = DiskScanner(fresh).scan(root(), everything(), {});
        EXPECT_EQ(describeIndex(fresh), states_.back().index);
        if (step_ == Step::refresh) {
            completeReport_ += " " + std::to_string(whole.totalFiles) + " " +
                               std::to_string(whole.totalDirectories) + " " +
                               std::to_string(whole.totalSize) + " 0";
        }
    }
}

const char* RefreshSubject::nameOfVictim() const {
    return step_ == Step::remove ? "remove" : step_ == Step::refresh ? "refresh" : "merge";
}

std::vector<std::string> RefreshSubject::arguments(const std::string& mode) const {
    std::vector<std::string> words{"refresh", mode, file_};
    if (step_ == Step::merge || step_ == Step::mergeOfRoot) {
        words.push_back(incoming_);
        return words;
    }
    if (step_ == Step::refresh) {
        words.push_back(root());
    }
    for (const std::string& folder : changedFolders()) {
        words.push_back(folder);
    }
    return words;
}

void RefreshSubject::putInPlace() {
    removeTree(folder_);
    tree_.folder("index");
    writeBytes(file_, oldBytes_);
}

ProgramOutcome RefreshSubject::run(const std::string& mode, const Watcher& watcher) {
    putInPlace();
    return runWatched(arguments(mode), watcher);
}

void RefreshSubject::doStep() const {
    const std::string incoming = folder_ + "/refresh-by-the-test.sqlite";
    for (const std::string& folder : changedFolders()) {
        if (own_files::exists(folder)) {
            makeIndex(folder, incoming);
            SavedScanLoader::merge(file_, incoming, {});
            own_files::removeFile(incoming);
        } else {
            SavedScanLoader::removeFolder(file_, folder, {});
        }
    }
}

std::string RefreshSubject::problem() {
    state_ = -1;
    std::string found = describeIndex(file_);
    for (std::size_t i = 0; i < states_.size(); ++i) {
        if (found != states_[i].index) {
            continue;
        }
        state_ = static_cast<int>(i);
        if ((dateOf(file_) == oldDate_) != states_[i].isOfOldDate) {
            return "the rows are those of state " + std::to_string(i) + ", and the date is not";
        }
        const auto consistent = isConsistent(file_);
        return consistent ? "" : consistent.message();
    }
    return found;
}

std::vector<std::string> RefreshSubject::temporaries() const {
    std::vector<std::string> names;
    for (const auto& [name, path] : filesWithPrefix(folder_, "")) {
        if (name.starts_with("refresh-") || name.starts_with("scan-")) {
            names.push_back(name);
        }
    }
    return names;
}

std::vector<std::string> RefreshSubject::strangers() const {
    std::vector<std::string> names;
    for (const auto& [name, path] : filesWithPrefix(folder_, "")) {
        if (!name.starts_with("refresh-") && !name.starts_with("scan-") &&
            !name.starts_with("latest-scan.sqlite")) {
            names.push_back(name);
        }
    }
    return names;
}

}  // namespace larkfold::test
