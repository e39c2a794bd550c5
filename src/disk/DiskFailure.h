// What went wrong in the disk tab, as a value: the kind tells what the user can do, the text is the user's.
#pragma once

#include <exception>
#include <string>
#include <vector>

namespace larkfold {

struct DiskFailure {
    enum class Kind {
        access,         // a lack of permission, which granting access can mend
        scan,           // a scan, or what belongs to no other kind
        folderMissing,  // the folder is not there; map and saved scan stay as they were
        cancelled,      // a scan that the user ended
        restoring,      // the saved scan could not be read back
        refreshing,
        forgetting,
        removal,  // of some items; `items` has a line for each
        record,   // the removal went well, and only its record could not be kept
    };

    Kind kind = Kind::scan;
    std::string text;
    std::vector<std::string> items = {};

    // Of a scan, and of what is asked before one.
    static DiskFailure of(const std::exception_ptr& failure);

    bool isOfRemoval() const { return kind == Kind::removal || kind == Kind::record; }
    bool operator==(const DiskFailure&) const = default;
};

}  // namespace larkfold
