#pragma once

#include <string>
#include <utility>

#include "platform/Error.h"

namespace larkfold {

// The folder of a saved scan is not there; the saved scan was kept.
class MissingFolderFailure final : public Error {
public:
    explicit MissingFolderFailure(std::string text) : text_(std::move(text)) {}
    std::string description() const override { return text_; }

private:
    std::string text_;
};

}  // namespace larkfold
