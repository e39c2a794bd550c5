#include "shell/kit/DateTexts.h"

#include "platform/Collation.h"

namespace larkfold::texts {

namespace {

// The platform's text, which is empty for what no calendar has.
QString known(const std::string& text) {
    return text.empty() ? QStringLiteral("Unknown date") : QString::fromStdString(text);
}

}  // namespace

QString dateAndTime(Date date) {
    return known(shortDateText(secondsSince1970(date)));
}

QString age(Date date, Date now) {
    const auto day = localDay(secondsSince1970(date));
    const auto today = localDay(secondsSince1970(now));
    if (!day || !today) {
        return known({});
    }
    switch (*today - *day) {
        case 0:
            return QStringLiteral("Today, %1").arg(known(timeText(secondsSince1970(date))));
        case 1:
            return QStringLiteral("Yesterday");
        default:
            return known(dayText(secondsSince1970(date)));
    }
}

}  // namespace larkfold::texts
