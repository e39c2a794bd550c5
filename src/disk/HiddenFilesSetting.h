// The user default "skipHiddenFiles". Part of the disk tab's driver; main thread only.
#pragma once

#include <functional>
#include <string>

#include "platform/UserDefaults.h"

namespace larkfold {

class HiddenFilesSetting {
public:
    explicit HiddenFilesSetting(UserDefaults& defaults) : defaults_(defaults) {}

    // True where it is missing or no Boolean.
    bool skips() const;
    // It holds for this run whatever comes of the save; `onProblem` is told where it could not be saved.
    void set(bool skip, std::function<void(const std::string&)> onProblem);
    // Nothing is told of a save any more.
    void dropSave() { save_ = {}; }

private:
    UserDefaults& defaults_;
    UserDefaults::Observation save_;  // from a change here until what came of its save
};

}  // namespace larkfold
