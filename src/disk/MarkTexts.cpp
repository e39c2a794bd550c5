#include "disk/MarkTexts.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

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

std::string marksText(std::size_t marks) {
    return marks == 1 ? std::string("1 mark") : groupedCount(static_cast<std::int64_t>(marks)) + " marks";
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

std::string droppedByRefresh(std::size_t marks) {
    return "The refresh took back " + marksText(marks) + ".";
}

std::string droppedByLoading(std::size_t marks) {
    return "Loading the folder took back " + marksText(marks) + ".";
}

std::string markableAgain(std::size_t markable, std::size_t marks) {
    if (marks == 1) {
        return markable == 1 ? "It can be set again." : "What it was on is not listed in the map any more.";
    }
    if (markable == marks) {
        return "All of them can be set again.";
    }
    if (markable == 0) {
        return "Nothing that they were on is listed in the map any more.";
    }
    return groupedCount(static_cast<std::int64_t>(markable)) +
           " of them can be set again. What the others were on is not listed in the map any more.";
}

std::string notChecked(const std::string& reason) {
    return "Not checked: " + reason +
           " It is checked again when it is to be removed, and stays if it cannot be checked then either.";
}

}  // namespace larkfold::mark_texts
