#include "shell/updates/UpdateError.h"

namespace larkfold {

// What happened, and what to do. That nothing was changed holds for all of them and is said beside.
std::string UpdateError::description() const {
    switch (reason_) {
        case Case::unreachable:
            return "The update server could not be reached. Check the internet connection, then try again.";
        case Case::insecure:
            return "The connection to the update server is not secure, so nothing was read from it. Check "
                   "the date of this computer, and sign in first where the network asks for that. Then try "
                   "again.";
        case Case::tooSlow:
            return "The update server took too long to answer. Try again later.";
        case Case::refused:
            return "The update server did not have the list of releases. Try again later.";
        case Case::tooLarge:
            return "The update server sent much more than a list of releases, so the check was stopped. Try "
                   "again later.";
        case Case::cutOff:
            return "The connection broke off before the whole list of releases had arrived. Try again.";
        case Case::unsignedFeed:
            return "The list of releases is not signed, so Larkfold does not believe it. Try again later, or "
                   "look for a new version where you got this one.";
        case Case::wrongSignature:
            return "The list of releases is not signed by the makers of Larkfold, so Larkfold does not "
                   "believe it. Try again later, or look for a new version where you got this one.";
        case Case::outdated:
            return "The list of releases is older than one that was read before, so Larkfold does not "
                   "believe it. Try again later, or look for a new version where you got this one.";
        case Case::documentType:
            return "The list of releases has a document type declaration, which Larkfold does not read. Try "
                   "again later, or look for a new version where you got this one.";
        case Case::unreadable:
            return "The list of releases could not be understood. Try again later, or look for a new version "
                   "where you got this one.";
    }
    return "The check for updates failed. Try again later.";
}

}  // namespace larkfold
