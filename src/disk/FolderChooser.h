// How a driver asks for a folder without knowing any dialog.
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace larkfold {

class FolderChooser {
public:
    virtual ~FolderChooser() = default;

    // Lets the user choose one folder, with `message` above the list, and calls `chosen` on the main thread
    // with its absolute path (bytes), or with nothing when the user turned back.
    virtual void chooseFolder(const std::string& message,
                              std::function<void(std::optional<std::string>)> chosen) = 0;
};

}  // namespace larkfold
