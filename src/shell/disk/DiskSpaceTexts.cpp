#include "shell/disk/DiskSpaceTexts.h"

#include <algorithm>

namespace larkfold::texts {

QString startupDisk() {
    return QStringLiteral("Startup Disk");
}

QString volumeSpoken(const QString& used, const QString& reserved, const QString& free,
                     const QString& total) {
    return reserved.isEmpty() ? QStringLiteral("Startup Disk: %1 used, %2 free, of %3").arg(used, free, total)
                              : QStringLiteral("Startup Disk: %1 used, %2 reserved, %3 free, of %4")
                                    .arg(used, reserved, free, total);
}

QString mappingTitle(bool startupDisk) {
    return startupDisk ? QStringLiteral("Mapping Startup Disk") : QStringLiteral("Building Disk Map");
}

QString counts(std::int64_t files, std::int64_t directories) {
    return QStringLiteral("in %1, %2")
        .arg(counted(files, "file", "files"), counted(directories, "folder", "folders"));
}

QString unreadable(std::int64_t places) {
    return counted(places, "place could not be read", "places could not be read");
}

QString hiddenLeftOut(std::int64_t items) {
    return counted(items, "hidden item left out", "hidden items left out");
}

QString marked(std::int64_t items, std::int64_t byteCount) {
    return QStringLiteral("%1, %2 marked").arg(counted(items, "item", "items"), bytes(byteCount));
}

QString hiddenLeftOut() {
    return QStringLiteral("Hidden items left out");
}

QString openingSavedScan() {
    return QStringLiteral("Opening your latest scan…");
}

QString changedFolders(std::int64_t folders) {
    return QStringLiteral("Changed folders (%1)").arg(grouped(folders));
}

QString forgetting() {
    return QStringLiteral("Forgetting the saved scan. Another window of Larkfold is busy with it.");
}

QString lookingFor(const QString& path) {
    return QStringLiteral("Waiting for the disk of “%1” to answer…").arg(path);
}

QString refreshing() {
    return QStringLiteral("Scanning changed folders. The map shows what was saved before.");
}

QString watchLimitReached(std::int64_t folders) {
    return QStringLiteral(
               "Only %1 are watched for changes: this system allows no more. A refresh scans everything "
               "again. To raise the limit, set fs.inotify.max_user_watches.")
        .arg(counted(folders, "folder", "folders"));
}

QString watchLeavesOutMounts() {
    return QStringLiteral(
        "Network drives in here cannot be watched for changes, so a refresh scans everything again.");
}

QString watchIncomplete() {
    return QStringLiteral(
        "Some folders could not be watched for changes, so a refresh scans everything again.");
}

QString watchFailed() {
    return QStringLiteral("This folder cannot be watched for changes, so a refresh scans everything again.");
}

QString restoreFailedHint() {
    return QStringLiteral("Your files were not touched. Scan the folder again to replace the saved index.");
}

QString refreshFailedHint() {
    return QStringLiteral(
        "The map still shows what was saved before, and the folders still count as changed. Refresh again, "
        "or scan everything again.");
}

QString folderMissingHint() {
    return QStringLiteral(
        "The folder is not there. If it lies on a drive that is not connected, connect the drive and try "
        "again. "
        "The map and the saved scan were kept.");
}

QString forgettingFailedHint() {
    return QStringLiteral(
        "The saved scan is still there. Try again, and close other windows of Larkfold that are busy with "
        "it.");
}

QString scanCancelledHint() {
    return QStringLiteral("Nothing on your disk was changed. Start again whenever you like.");
}

QString scanFailedHint() {
    return QStringLiteral(
        "Nothing on your disk was changed. Try again, or choose another folder to find out where the trouble "
        "lies.");
}

QString removalFailedHint() {
    return QStringLiteral(
        "Larkfold did not remove what failed; it stays marked. Cleanup History tells what became of every "
        "item.");
}

QString recordMissingHint() {
    return QStringLiteral("What you removed has gone where you decided; only the record of it is missing.");
}

QString firstOf(const std::vector<std::string>& lines, std::size_t most) {
    QString text;
    const std::size_t shown = std::min(most, lines.size());
    for (std::size_t line = 0; line < shown; ++line) {
        text += (line == 0 ? QString() : QStringLiteral("\n")) + QString::fromStdString(lines[line]);
    }
    if (shown < lines.size()) {
        text += QStringLiteral("\nand %1 more, see the history")
                    .arg(grouped(static_cast<std::int64_t>(lines.size() - shown)));
    }
    return text;
}

QString dropFailed() {
    return QStringLiteral("Larkfold couldn’t access that location.");
}

}  // namespace larkfold::texts
