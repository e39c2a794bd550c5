#include "disk/HiddenFilesSetting.h"

#include <algorithm>
#include <utility>

namespace larkfold {

namespace {

constexpr const char* key = "skipHiddenFiles";

}  // namespace

bool HiddenFilesSetting::skips() const {
    return defaults_.boolForKey(key).value_or(true);
}

void HiddenFilesSetting::set(bool skip, std::function<void(const std::string&)> onProblem) {
    defaults_.setBool(key, skip);
    save_ = defaults_.observeSaves([onProblem = std::move(onProblem)](const UserDefaults::Save& save) {
        if (save.problem && std::ranges::find(save.newKeys, key) != save.newKeys.end()) {
            onProblem(*save.problem);
        }
    });
}

}  // namespace larkfold
