#include "shell/ShellTexts.h"

#include <QStringList>

#include "platform/ByteCountFormatter.h"
#include "platform/Collation.h"

namespace larkfold::texts {

namespace {

QString grouped(std::int64_t count) {
    return QString::fromStdString(groupedCount(count));
}

// "1 file", "2 files".
QString counted(std::int64_t count, const char* one, const char* many) {
    return QStringLiteral("%1 %2").arg(grouped(count), QString::fromUtf8(count == 1 ? one : many));
}

}  // namespace

QString startupDisk() {
    return QStringLiteral("Startup Disk");
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

QString bytes(std::int64_t count) {
    return QString::fromStdString(formattedByteCount(count));
}

QString savedScanHint(const QString& folder) {
    return QStringLiteral("“This Mac” is this computer: the index lies in %1.").arg(folder);
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

QString firstLines(const QString& lines, int most) {
    const QStringList all = lines.split(QLatin1Char('\n'));
    if (all.size() <= most) {
        return lines;
    }
    return all.first(most).join(QLatin1Char('\n')) + QLatin1Char('\n') +
           QStringLiteral("…and %1 more.").arg(grouped(all.size() - most));
}

QString dropFailed() {
    return QStringLiteral("Larkfold couldn’t access that location.");
}

}  // namespace larkfold::texts
