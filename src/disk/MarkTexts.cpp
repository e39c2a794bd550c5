#include "disk/MarkTexts.h"

#include <algorithm>
#include <cstddef>

#include "platform/Collation.h"

namespace larkfold::mark_texts {

namespace {

// The first names in full, the rest as a count.
std::string listOf(const std::vector<std::string>& names) {
    constexpr std::size_t mostNamed = 3;
    std::string list;
    for (std::size_t index = 0; index < std::min(names.size(), mostNamed); ++index) {
        list += (index == 0 ? "“" : ", “") + names[index] + "”";
    }
    if (names.size() > mostNamed) {
        list += " and " + groupedCount(static_cast<std::int64_t>(names.size() - mostNamed)) + " more";
    }
    return list;
}

}  // namespace

std::string takenBack(const std::vector<std::string>& names) {
    return names.size() == 1 ? "The mark on " + listOf(names) +
                                   " was taken back: it is protected, or now leads out of the scanned folder "
                                   "through a link. Nothing was removed."
                             : "The marks on " + listOf(names) +
                                   " were taken back: they are protected, or now lead out of the scanned "
                                   "folder through a link. Nothing was removed.";
}

std::string takenBackWithTheFolder() {
    return "All marks were taken back: another folder stands in the place of the one that was scanned. Scan "
           "it again. Nothing was removed.";
}

std::string takenBackByLoading(std::size_t count, const std::string& name) {
    return (count == 1 ? std::string("One mark in “")
                       : groupedCount(static_cast<std::int64_t>(count)) + " marks in “") +
           name + (count == 1 ? "” was" : "” were") +
           " taken back: the folder was filled in from the saved scan. What lies in it can be marked "
           "again. Nothing was removed.";
}

std::string notChecked(const std::string& reason) {
    return "Not checked: " + reason +
           " It is checked again when it is to be removed, and stays if it cannot be checked then either.";
}

}  // namespace larkfold::mark_texts
