// The name that debuggers and process lists show for a thread.
#pragma once

#include <string>

namespace larkfold {

// Names the calling thread; what is longer than 15 bytes is cut. A refusal does no harm and is not told.
void nameThisThread(const std::string& name);

}  // namespace larkfold
