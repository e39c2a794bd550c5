// The sentences about marks: why something cannot be marked, and why a mark was taken back. Each says that
// nothing was lost. Pure, safe from any thread.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace larkfold::mark_texts {

inline const std::string aggregateCannotBeMarked =
    "This line stands for many files together, so it cannot be marked. Nothing was changed.";
inline const std::string rootCannotBeMarked =
    "The folder that was scanned cannot be marked itself, only what lies in it. Nothing was changed.";
inline const std::string outsideHomeCannotBeMarked =
    "After a scan of the whole disk only what lies in your home folder can be marked, and not its "
    "protected places. Nothing was changed.";
inline const std::string protectedCannotBeMarked =
    "This item cannot be marked: it is protected, or it lies outside of the folder that was scanned. "
    "Nothing was changed.";
inline const std::string notToldYet =
    "The disk has not told yet what may be removed from this map. Try again in a moment. Nothing was "
    "changed.";
inline const std::string unknownRoot =
    "Larkfold cannot make sure that this is still the folder that was scanned, so nothing in it can be "
    "marked. Scan it again. Nothing was changed.";

// Of marks that were taken back because the disk tells other things than the map. `names` are display
// names, none of them missing.
std::string takenBack(const std::vector<std::string>& names);
// Of all marks, since another folder stands in the place of the scanned one.
std::string takenBackWithTheFolder();
// Of marks in a folder that was filled in from the saved scan; `name` is the folder's display name.
std::string takenBackByLoading(std::size_t count, const std::string& name);
// Why an item of the review could not be checked beforehand.
std::string notChecked(const std::string& reason);

}  // namespace larkfold::mark_texts
