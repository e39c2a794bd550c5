#include "shell/kit/DateTexts.h"

#include <QDateTime>
#include <QLocale>
#include <cmath>
#include <optional>

namespace larkfold::texts {

namespace {

// The years 1 to 9999, in seconds from 1970.
constexpr double kFirstSecond = -62'135'596'800.0;
constexpr double kLastSecond = 253'402'300'799.0;

std::optional<QDateTime> moment(Date date) {
    const double seconds = secondsSince1970(date);
    if (!(seconds >= kFirstSecond && seconds <= kLastSecond)) {
        return std::nullopt;
    }
    return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(std::floor(seconds * 1000)));
}

QString unknownDate() {
    return QStringLiteral("Unknown date");
}

QString dayText(const QDateTime& moment) {
    return QLocale().toString(moment.date(), QStringLiteral("d MMM yyyy"));
}

QString timeText(const QDateTime& moment) {
    // Some locales count the seconds to a short time.
    const QLocale locale;
    return locale.toString(moment.time(),
                           locale.timeFormat(QLocale::ShortFormat).remove(QStringLiteral(":ss")));
}

}  // namespace

QString dateAndTime(Date date) {
    const auto at = moment(date);
    return at ? dayText(*at) + QStringLiteral(", ") + timeText(*at) : unknownDate();
}

QString age(Date date, Date now) {
    const auto at = moment(date);
    const auto present = moment(now);
    if (!at || !present) {
        return unknownDate();
    }
    switch (at->daysTo(*present)) {
        case 0:
            return QStringLiteral("Today, %1").arg(timeText(*at));
        case 1:
            return QStringLiteral("Yesterday");
        default:
            return dayText(*at);
    }
}

}  // namespace larkfold::texts
