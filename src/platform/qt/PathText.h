// Between paths as bytes and Qt's texts and URLs.
//
// QUrl::toLocalFile and QString::fromUtf8 corrupt names that are not UTF-8; these do not.
#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <optional>
#include <string>
#include <string_view>

namespace larkfold {

// The bytes as text for a view (see `displayText`).
QString displayString(std::string_view bytes);

// The path of a "file:" URL (host empty or "localhost"), percent-decoded to bytes and standardized; nothing
// for any other URL or a relative path.
std::optional<std::string> pathFromFileURL(const QUrl& url);

// The percent-encoded "file:" URL of a path.
QByteArray fileURLFromPath(std::string_view path);

}  // namespace larkfold
