#include "shell/chooser/FolderChooserTexts.h"

#include <QStringList>
#include <cerrno>

#include "platform/Error.h"
#include "platform/qt/PathText.h"
#include "shell/kit/FigureTexts.h"

namespace larkfold::folder_chooser_texts {

namespace {

// Fewer are there before anybody could read how many.
constexpr std::size_t entriesWorthTelling = 10'000;
// More would not fit into the line that shows the choice.
constexpr int mostPathsShown = 20;

QString grouped(std::size_t count) {
    return texts::grouped(static_cast<std::int64_t>(count));
}

bool isForFile(const OpenPanel::Question& question) {
    return question.kind == OpenPanel::Kind::file;
}

// "JSON files", or "files" where every one may be chosen.
QString filesOf(const OpenPanel::Question& question) {
    return question.fileType.extensions.empty() ? QStringLiteral("files")
                                                : QString::fromStdString(question.fileType.name);
}

QString counted(std::size_t count, const QString& one, const QString& many) {
    return QStringLiteral("%1 %2").arg(grouped(count), count == 1 ? one : many);
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
    return texts::counted(static_cast<std::int64_t>(count), "folder", "folders");
}

QString foldersAndFilesInside(std::size_t folders, std::size_t files) {
    return QStringLiteral("%1, %2").arg(foldersInside(folders),
                                        counted(files, QStringLiteral("file"), QStringLiteral("files")));
}

QString choiceLabel(const OpenPanel::Question& question) {
    switch (question.kind) {
        case OpenPanel::Kind::folder:
            break;
        case OpenPanel::Kind::folders:
            return QStringLiteral("Folders:");
        case OpenPanel::Kind::file:
            return QStringLiteral("File:");
    }
    return QStringLiteral("Folder:");
}

QString whatIsListed(const OpenPanel::Question& question) {
    return isForFile(question) && !question.fileType.extensions.empty()
               ? QStringLiteral("Of the files, only %1 are listed.").arg(filesOf(question))
               : QString();
}

QString showHidden(const OpenPanel::Question& question) {
    return isForFile(question) ? QStringLiteral("Show hidden files and folders")
                               : QStringLiteral("Show hidden folders");
}

QString choice(const std::vector<std::string>& paths) {
    if (paths.empty()) {
        return QStringLiteral("No file chosen");
    }
    if (paths.size() == 1) {
        return displayString(paths.front());
    }
    QStringList shown;
    for (const std::string& path : paths) {
        if (shown.size() == mostPathsShown) {
            shown.append(QStringLiteral("…"));
            break;
        }
        shown.append(displayString(path));
    }
    return QStringLiteral("%1 folders chosen: %2")
        .arg(grouped(paths.size()), shown.join(QStringLiteral(", ")));
}

QString spokenChoice(const OpenPanel::Question& question, const std::vector<std::string>& paths) {
    if (paths.empty()) {
        return choice(paths);
    }
    if (isForFile(question)) {
        return QStringLiteral("File to open: %1").arg(choice(paths));
    }
    return paths.size() == 1 ? QStringLiteral("Folder to open: %1").arg(choice(paths)) : choice(paths);
}

QString nothingTitle(const OpenPanel::Question& question) {
    return isForFile(question) ? QStringLiteral("Nothing to choose in here")
                               : QStringLiteral("No folders in here");
}

QString nothingText(const OpenPanel::Question& question) {
    return isForFile(question)
               ? QStringLiteral(
                     "There are no folders and no %1 in this one. Go back up, or to another place.")
                     .arg(filesOf(question))
               : QStringLiteral("You can choose this folder itself, or go back up.");
}

QString onlyHiddenTitle(const OpenPanel::Question& question) {
    return isForFile(question) ? QStringLiteral("Only hidden items in here")
                               : QStringLiteral("Only hidden folders in here");
}

QString onlyHiddenText(const OpenPanel::Question& question, std::size_t hidden) {
    const QString what = isForFile(question) ? QStringLiteral("item") : QStringLiteral("folder");
    return hidden == 1 ? QStringLiteral("One hidden %1 is not listed. Turn on “%2” to see it.")
                             .arg(what, showHidden(question))
                       : QStringLiteral("%1 hidden %2s are not listed. Turn on “%3” to see them.")
                             .arg(grouped(hidden), what, showHidden(question));
}

QString unreadableTitle() {
    return QStringLiteral("This folder could not be read");
}

QString unreadableText(const std::string& path, int error) {
    return listingFailure(path, error) + QStringLiteral(" Choose another folder, or go back up.");
}

QString partlyRead(const OpenPanel::Question& question, const std::string& path, int error) {
    return listingFailure(path, error) +
           (isForFile(question) ? QStringLiteral(" Files and folders may be missing from this list.")
                                : QStringLiteral(" Folders may be missing from this list."));
}

QString typedPathProblem(const OpenPanel::Question& question, const QString& typed, const std::string& path,
                         int error) {
    switch (error) {
        case ENOENT:
            return isForFile(question)
                       ? QStringLiteral(
                             "There is no file or folder “%1”. Check the spelling, or choose from the list.")
                             .arg(typed)
                       : QStringLiteral(
                             "There is no folder “%1”. Check the spelling, or choose a folder from the list.")
                             .arg(typed);
        case ENOTDIR:
            return isForFile(question)
                       ? QStringLiteral(
                             "“%1” is none of the %2 that can be chosen here. Enter another path, or "
                             "choose from the list.")
                             .arg(typed, filesOf(question))
                       : QStringLiteral(
                             "“%1” is not a folder. Enter the path of a folder, such as the one "
                             "that holds it.")
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

QString spokenFile(const QString& name, bool isHidden) {
    return isHidden ? QStringLiteral("%1, hidden file").arg(name) : QStringLiteral("%1, file").arg(name);
}

}  // namespace larkfold::folder_chooser_texts
