#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "platform/Error.h"
#include "platform/Path.h"

namespace larkfold {

// A folder holds nothing any more, and its saved scan, which has files, was kept: the drive that it lies on
// may only not be connected. Whether the saved scan is to go is for the user to say.
class EmptyFolderFailure final : public Error {
public:
    EmptyFolderFailure(std::string folder, std::int64_t savedFiles)
        : folder_(std::move(folder)), savedFiles_(savedFiles) {}
    std::string description() const override {
        return "“" + displayText(folder_) + "” is empty now. Its saved scan was kept.";
    }
    const std::string& folder() const { return folder_; }
    std::int64_t savedFiles() const { return savedFiles_; }

private:
    std::string folder_;
    std::int64_t savedFiles_;
};

}  // namespace larkfold
