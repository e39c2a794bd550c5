#include "shell/chooser/FolderChooserTexts.h"

#include <cerrno>

#include "platform/Collation.h"
#include "platform/Error.h"
#include "platform/qt/PathText.h"

namespace larkfold::folder_chooser_texts {

namespace {

// Fewer are there before anybody could read how many.
constexpr std::size_t entriesWorthTelling = 10'000;

QString grouped(std::size_t count) {
    return QString::fromStdString(groupedCount(static_cast<std::int64_t>(count)));
}

QString listingFailure(const std::string& path, int error) {
    return QString::fromStdString(SystemError(SystemError::Operation::list, error, path).description());
}

}  // namespace

QString placeTitle(const UserLocation& place) {
    switch (place.kind) {
        case UserLocation::Kind::home:
            return QStringLiteral("Home");
        case UserLocation::Kind::fileSystem:
            return QStringLiteral("File System");
        case UserLocation::Kind::desktop:
        case UserLocation::Kind::documents:
        case UserLocation::Kind::downloads:
        case UserLocation::Kind::music:
        case UserLocation::Kind::pictures:
        case UserLocation::Kind::videos:
        case UserLocation::Kind::volume:
            return displayString(place.name);
    }
    return displayString(place.name);
}

QString placeIcon(UserLocation::Kind kind) {
    switch (kind) {
        case UserLocation::Kind::home:
            return QStringLiteral("home");
        case UserLocation::Kind::desktop:
            return QStringLiteral("desktop");
        case UserLocation::Kind::documents:
            return QStringLiteral("document");
        case UserLocation::Kind::downloads:
            return QStringLiteral("drop");
        case UserLocation::Kind::music:
            return QStringLiteral("audio");
        case UserLocation::Kind::pictures:
            return QStringLiteral("image");
        case UserLocation::Kind::videos:
            return QStringLiteral("video");
        case UserLocation::Kind::fileSystem:
            return QStringLiteral("disk");
        case UserLocation::Kind::volume:
            return QStringLiteral("drive");
    }
    return QStringLiteral("folder");
}

QString reading(std::size_t entriesSeen) {
    return entriesSeen < entriesWorthTelling
               ? QStringLiteral("Reading this folder…")
               : QStringLiteral("Reading this folder… %1 items so far").arg(grouped(entriesSeen));
}

QString foldersInside(std::size_t count) {
    return QStringLiteral("%1 %2").arg(grouped(count),
                                       count == 1 ? QStringLiteral("folder") : QStringLiteral("folders"));
}

QString noFoldersTitle() {
    return QStringLiteral("No folders in here");
}

QString noFoldersText() {
    return QStringLiteral("You can choose this folder itself, or go back up.");
}

QString onlyHiddenTitle() {
    return QStringLiteral("Only hidden folders in here");
}

QString onlyHiddenText(std::size_t hidden) {
    return hidden == 1
               ? QStringLiteral("One hidden folder is not listed. Turn on “Show hidden folders” to see it.")
               : QStringLiteral(
                     "%1 hidden folders are not listed. Turn on “Show hidden folders” to see them.")
                     .arg(grouped(hidden));
}

QString unreadableTitle() {
    return QStringLiteral("This folder could not be read");
}

QString unreadableText(const std::string& path, int error) {
    return listingFailure(path, error) + QStringLiteral(" Choose another folder, or go back up.");
}

QString partlyRead(const std::string& path, int error) {
    return listingFailure(path, error) + QStringLiteral(" Folders may be missing from this list.");
}

QString typedPathProblem(const QString& typed, const std::string& path, int error) {
    switch (error) {
        case ENOENT:
            return QStringLiteral(
                       "There is no folder “%1”. Check the spelling, or choose a folder from the list.")
                .arg(typed);
        case ENOTDIR:
            return QStringLiteral(
                       "“%1” is not a folder. Enter the path of a folder, such as the one that holds it.")
                .arg(typed);
        default:
            return QString::fromStdString(
                       SystemError(SystemError::Operation::open, error, path).description()) +
                   QStringLiteral(" Enter another path, or choose a folder from the list.");
    }
}

QString otherUsersHome(const QString& typed) {
    return QStringLiteral(
               "“%1” names another account’s home folder, which Larkfold cannot look up. Enter its full "
               "path.")
        .arg(typed);
}

QString spokenFolder(const QString& name, bool isHidden) {
    return isHidden ? QStringLiteral("%1, hidden folder").arg(name) : QStringLiteral("%1, folder").arg(name);
}

}  // namespace larkfold::folder_chooser_texts
