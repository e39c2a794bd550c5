// Why something was not removed, in sentences.
#pragma once

#include <string>

#include "platform/UserFiles.h"

namespace larkfold::user_files {

// `detail` follows the reason's sentence; `restsAt`: where the item is kept now, if not in its place.
std::string refusalText(Refusal::Reason reason, const std::string& detail, const std::string& restsAt);

}  // namespace larkfold::user_files
