// What is raced for: the items of one turn, how they are judged afterwards, and how they come back to their
// places.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "faults/RaceScene.h"

namespace larkfold::test {

class RaceSubject {
public:
    virtual ~RaceSubject() = default;
    virtual RaceRequest request(bool permanently) const = 0;
    // What was promised of this item and did not hold; "" where all did.
    virtual std::string judge(int item, const Told& told, const Turn& turn) = 0;
    // Called between turns.
    virtual void restore(const std::vector<Told>& told) = 0;
    // Called by the gate's side right before each attempt.
    virtual void freshen(int /*item*/) {}
    // What must never be there after a turn; "" where nothing is.
    virtual std::string strayed() { return {}; }
    // For gates that write no info files and are to be found out for worse.
    virtual void acceptMissingNotes() {}
};

// A file that the judge holds.
struct HeldFile {
    int descriptor = -1;
    ino_t inode = 0;
};

// Files of one byte, which are to be removed, and for each another one of two bytes. What a gate removes must
// be the one whose size it told; the other one must keep a name, at one of their two places or where the gate
// tells.
class PairedFiles : public RaceSubject {
public:
    struct Places {
        std::string root;    // given to the gate
        std::string items;   // the folder of the items
        std::string others;  // the folder of the others
        std::string otherPrefix = "item-";
        std::string otherSuffix{};
        bool otherMayGo = false;  // it may stand at the item's path when that is looked at
        bool itemsLieInTrash = false;
    };

    PairedFiles(const RaceDisk& disk, Places places);
    ~PairedFiles() override;
    PairedFiles(const PairedFiles&) = delete;
    PairedFiles& operator=(const PairedFiles&) = delete;

    // The gate takes the root as it stands when a run begins: for the control.
    void takeRootLate() { holdsRoot_ = false; }

    static std::string itemName(int item);
    std::string otherName(int item) const;
    int itemFolder() const { return itemFolder_; }
    int otherFolder() const { return otherFolder_; }

    RaceRequest request(bool permanently) const override;
    std::string judge(int item, const Told& told, const Turn& turn) override;
    void restore(const std::vector<Told>& told) override;
    std::string strayed() override;
    void acceptMissingNotes() override { needsInfoFiles_ = false; }

private:
    ino_t inodeAtPlace(const std::string& place) const;
    bool isFound(const HeldFile& file, int item, const std::string& place) const;
    void restoreOne(int item, const std::string& place);
    void make(HeldFile& file, int folder, const std::string& name, std::string_view content) const;

    Places places_;
    FileDeleter::AllowedRoot heldRoot_;  // as it was before the first attack
    bool holdsRoot_ = true;
    std::string trashFilesPath_;
    int itemFolder_;
    int otherFolder_;
    int trashFiles_;
    int trashInfo_;
    mutable bool isPermanent_ = false;
    bool needsInfoFiles_ = true;
    std::vector<HeldFile> items_;
    std::vector<HeldFile> others_;
};

// Duplicates and the copies that stay, proved by their contents. An attack that changed one of the two before
// the duplicate was moved (its name still led to it afterwards) must be noticed.
class ProvedDuplicates : public RaceSubject {
public:
    enum class Mark : std::uint32_t { none, changedTooLate, changedInTime };

    explicit ProvedDuplicates(const RaceDisk& disk);
    ~ProvedDuplicates() override;
    ProvedDuplicates(const ProvedDuplicates&) = delete;
    ProvedDuplicates& operator=(const ProvedDuplicates&) = delete;

    Attack attack() const;

    RaceRequest request(bool permanently) const override;
    std::string judge(int item, const Told& told, const Turn& turn) override;
    void restore(const std::vector<Told>& told) override;
    void freshen(int item) override;
    std::string strayed() override;

private:
    void makePair(int item) const;

    const RaceDisk& disk_;
    std::string folderPath_;
    int folder_;
    RaceRequest request_;
};

// Folders onto which, or into which, the attacker mounts what must not be touched.
class MountedFolders : public RaceSubject {
public:
    explicit MountedFolders(RaceDisk& disk);
    ~MountedFolders() override;
    MountedFolders(const MountedFolders&) = delete;
    MountedFolders& operator=(const MountedFolders&) = delete;

    Attack attack() const;

    RaceRequest request(bool permanently) const override;
    std::string judge(int item, const Told& told, const Turn& turn) override;
    void restore(const std::vector<Told>& told) override;
    std::string strayed() override;

private:
    void make(int item) const;

    const RaceDisk& disk_;
    std::string folderPath_;
    int folder_;
    int preciousFile_;
};

struct RaceFigures {
    std::uint64_t attempts = 0;
    std::uint64_t interleaved = 0;  // attempts into which a strike of the attacker fell
    std::uint64_t gone = 0;
    std::uint64_t stayed = 0;
    std::uint64_t keptElsewhere = 0;  // the old name was taken, and the gate told where it rests
    std::vector<std::string> violations;

    void add(const RaceFigures& other);
};

// Turn after turn until so many attempts were made, or something was promised and did not hold.
RaceFigures race(RaceSubject& subject, const Attack& attack, const RaceGate& gate, bool permanently,
                 std::uint64_t attempts);

}  // namespace larkfold::test
