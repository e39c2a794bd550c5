// What stands where a folder is to be scanned.
#pragma once

#include <stop_token>
#include <string>

namespace larkfold {

// `missing`: nothing stands there, or no folder. `empty`: it has no entries, hidden ones included.
// `unknown`: it may not be read, or does not answer within ten seconds; nothing follows from that.
enum class FolderState { missing, empty, holdsItems, unknown };

// Links are followed: who named one means the folder behind it. Safe from any thread; touches the disk.
FolderState folderStateOf(const std::string& path, std::stop_token stop = {});

}  // namespace larkfold
