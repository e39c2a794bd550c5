// What the kill and the starvation of a removal share: a disk with something to remove on it, one run of the
// victim, and the judgement of what lies where afterwards.
//
// The judgement is a census: every name below the disk with its content, before and after. What did not
// belong to the item has to be as it was, but for what the gate may add: folders of a Trash, notes, its
// private folder.
//
// For a private namespace.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "faults/IndexOracle.h"
#include "faults/PrivateNamespace.h"
#include "faults/SystemCallHarness.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {

enum class Scenario {
    file,              // into the Trash of the home folder
    folder,            // the same for a folder with a tree in it
    collision,         // its name is taken there, and another one lies there without a note
    volumeTrash,       // the item lies on a volume with no Trash yet
    duplicate,         // proved by a copy
    fileForGood,       //
    treeForGood,       //
    trashedForGood,    // what lies in the Trash, with its note
    mountBelow,        // a folder that holds a mount: it stays
    mountBelowForGood  // the same
};
inline constexpr Scenario removableScenarios[] = {
    Scenario::file,      Scenario::folder,      Scenario::collision,   Scenario::volumeTrash,
    Scenario::duplicate, Scenario::fileForGood, Scenario::treeForGood, Scenario::trashedForGood};

const char* nameOf(Scenario scenario);

// By path below the disk: "=" and the content of a file, "->" and where a link leads, "/" for a folder.
using Census = std::map<std::string, std::string>;

class RemovalSubject {
public:
    // `isRecorded`: the victim keeps a history, and its journals beside it, apart from the disk.
    explicit RemovalSubject(Scenario scenario, bool isRecorded = false);
    ~RemovalSubject();
    RemovalSubject(const RemovalSubject&) = delete;
    RemovalSubject& operator=(const RemovalSubject&) = delete;

    Scenario scenario() const { return scenario_; }
    bool isPermanent() const;
    // The disk as it was is built anew, and the victim runs. An empty `mode` is the gate's own.
    ProgramOutcome run(const std::string& mode, const Watcher& watcher);

    // The victim once more, without building anything: it brings what the journals tell into the history, and
    // in the mode "restore" puts back what lies aside.
    ProgramOutcome recover(const Watcher& watcher, const std::string& mode = "recover") const;
    std::string historyFile() const { return historyFolder_ + "/cleanup-history.json"; }
    std::vector<std::string> journals() const;

    std::string disk() const { return disk_; }
    std::string url() const { return disk_ + "/" + item_; }
    std::string pathOf(const std::string& relative) const { return disk_ + "/" + relative; }

    // What the census says; to be taken once after a run.
    void look();
    bool isWholeAtPlace() const;  // the item, with all its content
    bool isAtPlace() const;       // something has its name
    bool isPartAtPlace() const;   // nothing but what belonged to it
    std::vector<std::string> wholeInTrash()
        const;  // the names in `files` of a Trash under which the item lies
    // What came into `files` of a Trash and is not the whole item.
    std::vector<std::string> fragmentsInTrash() const;
    bool hasCompleteInfoFile(const std::string& trashed) const;  // as `wholeInTrash` told it
    // Private folders of the gate; what lies in them, where that is a part of the item or all of it.
    struct PrivateFolder {
        std::string path;
        bool isEmpty = false;
        bool holdsOnlyTheItem = false;
        bool holdsAllOfIt = false;
    };
    std::vector<PrivateFolder> privateFolders() const;
    std::vector<std::string> newNotesWithoutItem() const;
    bool hasItsOwnNote() const;  // of an item that lay in the Trash before
    // What was there and is no part of the item, and is not as it was; or what came and may not.
    std::string harm() const;

private:
    void build();
    bool isItem(const std::string& path) const;

    Scenario scenario_;
    QuickFolder quick_;
    TemporaryTree tree_;
    std::string disk_;
    std::string historyFolder_;
    bool isRecorded_;
    std::unique_ptr<Mounted> mounted_;
    std::unique_ptr<Mounted> volume_;
    std::unique_ptr<Mounted> below_;
    std::string homeBefore_;
    std::string root_;
    std::string item_;
    std::string keeper_;
    Census before_;
    Census after_;
};

// The last line of the victim, taken apart.
struct RemovalReport {
    int descriptorsBefore = -1;
    int descriptorsAfter = -2;
    bool isGone = false;
    bool isTyped = false;  // it is one of the two answers
    std::string place;     // below the disk where it lies there
    std::string sentence;
};
RemovalReport parseRemoval(const RemovalSubject& subject, const std::string& output);

}  // namespace larkfold::test
