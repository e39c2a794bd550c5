// What was scanned: one folder, or all local disks as one map.
#pragma once

namespace larkfold {

enum class ScanScope { selectedFolder, startupDisk };

}  // namespace larkfold
