// What is raced for between two users: folders in a folder in which both may write. One of the users removes
// them, the other exchanges whatever stands there, and the private folders that the gate makes beside them.
//
// For the superuser in a private namespace.
#pragma once

#include <sys/types.h>

#include <vector>

#include "faults/RaceScene.h"
#include "faults/RaceSubjects.h"

namespace larkfold::test {

inline constexpr uid_t removingUser = 20'001;
inline constexpr uid_t otherUser = 20'002;

// Runs the work with the rights of that user and nobody else's. The superuser alone may.
void asUser(uid_t user, const std::function<void()>& work);

// The gate, with the rights of the removing user.
RaceGate asRemovingUser(RaceGate gate);

// Beside each item stand another folder of the removing user's, which may stand at the item's path when it is
// looked at, and a lure that holds a folder of the item's name: where a private folder is asked for by its
// name again, it leads there.
class SharedFolders : public RaceSubject {
public:
    explicit SharedFolders(RaceDisk& disk);
    ~SharedFolders() override;
    SharedFolders(const SharedFolders&) = delete;
    SharedFolders& operator=(const SharedFolders&) = delete;

    // By the other user.
    Attack attack() const;

    RaceRequest request(bool permanently) const override;
    std::string judge(int item, const Told& told, const Turn& turn) override;
    void restore(const std::vector<Told>& told) override;

private:
    struct Held {
        int item = -1;   // the file in the item
        int other = -1;  // the one in the other folder
        int lure = -1;   // the one in the lure
    };

    void make();
    void release();

    RaceDisk& disk_;
    std::string folderPath_;
    int folder_ = -1;
    std::vector<Held> held_;
};

}  // namespace larkfold::test
