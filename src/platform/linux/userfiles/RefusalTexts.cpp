#include "platform/linux/userfiles/RefusalTexts.h"

#include <cstddef>
#include <iterator>
#include <string_view>

#include "platform/Path.h"

namespace larkfold::user_files {

namespace {

// In the order of the reasons.
constexpr std::string_view sentences[] = {
    "Another item stands at this path now, or it leads somewhere else.",
    "The item or what it was compared with has changed.",
    "This item is in Trash already. To remove it for good, choose permanent deletion.",
    "This folder holds the Trash itself, so it cannot be moved there. Nothing was changed.",
    "No Trash on this volume can take this item, so it stays where it is.",
    "Other users may write in the folder of this item, and no private folder can be made in it.",
    "This folder could not be removed whole: a part of it has gone.",
};
static_assert(std::size(sentences) == static_cast<std::size_t>(Refusal::Reason::removedInPart) + 1);

}  // namespace

std::string refusalText(Refusal::Reason reason, const std::string& detail, const std::string& restsAt) {
    std::string text(sentences[static_cast<std::size_t>(reason)]);
    if (!detail.empty()) {
        text += " " + detail;
    }
    if (!restsAt.empty()) {
        text += " It could not be put back in its place; it is kept at “" + displayText(restsAt) + "”.";
    } else if (reason == Refusal::Reason::removedInPart) {
        text += " What is left of it is in its place.";
    }
    return text;
}

}  // namespace larkfold::user_files
