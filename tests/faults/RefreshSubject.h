// One step in bringing a saved index up to date, as often as it is asked for, and the judgement of what
// stands there afterwards.
//
// An index goes through *states*: the old one, and for each change that belongs to the step the one after it.
// The last is what a fresh scan would write. Nothing else may ever be found at the index's place.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "faults/IndexOracle.h"
#include "faults/SystemCallHarness.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {

enum class Step {
    merge,        // one changed folder is put in place
    mergeOfRoot,  // the root itself is
    remove,       // a folder that has gone is taken out
    refresh       // a whole refresh of two changed folders and of one that has gone
};
const char* nameOf(Step step);

class RefreshSubject {
public:
    // `files`: how many the tree holds. From some thousands on a change does not fit into the library's
    // memory, and goes to the file before it is committed.
    explicit RefreshSubject(Step step, int files = 40);

    // Puts the old index in place and runs the victim: the step itself, or a naive way of it.
    ProgramOutcome run(const Watcher& watcher) { return run(nameOfVictim(), watcher); }
    ProgramOutcome run(const std::string& mode, const Watcher& watcher);
    void putInPlace();
    // The victim's command line.
    std::vector<std::string> arguments() const { return arguments(nameOfVictim()); }
    std::vector<std::string> arguments(const std::string& mode) const;

    // The same step within this process, with what stands at the place. Throws what the program does.
    void doStep() const;

    // Judges the place of the index: "" where it is in one of its states, each folder the sum of what lies in
    // it, and its date is that of the state. Reading rolls an interrupted change back, so it is asked once
    // for each run.
    std::string problem();
    // What the latest `problem` found: the number of the state, or -1.
    int state() const { return state_; }
    int lastState() const { return static_cast<int>(states_.size()) - 1; }
    bool holdsOld() const { return state_ == 0; }
    bool holdsNew() const { return state_ == lastState(); }

    // What stands in the index's folder and belongs neither to the index nor to an interrupted change of it:
    // temporaries of a refresh and of a scan, which may be left by a kill, or anything else, which may not.
    std::vector<std::string> temporaries() const;
    std::vector<std::string> strangers() const;

    // As the victim prints it when all went well.
    const std::string& completeReport() const { return completeReport_; }

    std::string root() const { return tree_.path("scanned"); }
    const std::string& indexFolder() const { return folder_; }
    const std::string& indexFile() const { return file_; }
    const std::string& incoming() const { return incoming_; }
    const std::string& described(int state) const { return states_[static_cast<std::size_t>(state)].index; }

private:
    struct State {
        std::string index;  // described
        bool isOfOldDate = true;
    };

    const char* nameOfVictim() const;
    std::vector<std::string> changedFolders() const;
    void makeStates(const std::string& made);

    QuickFolder quick_;
    TemporaryTree tree_;
    Step step_;
    std::string folder_;
    std::string file_;
    std::string incoming_;  // the finished index of a changed folder
    std::string oldBytes_;
    std::string oldDate_;
    std::vector<State> states_;
    std::string completeReport_;
    int state_ = -1;
};

}  // namespace larkfold::test
