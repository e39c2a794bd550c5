#include "platform/qt/PathText.h"

#include "platform/Path.h"

namespace larkfold {

QString displayString(std::string_view bytes) {
    const std::string text = displayText(bytes);
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

std::optional<std::string> pathFromFileURL(const QUrl& url) {
    if (url.scheme().compare(QLatin1String("file"), Qt::CaseInsensitive) != 0) {
        return std::nullopt;
    }
    const QString host = url.host();
    if (!host.isEmpty() && host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) != 0) {
        return std::nullopt;
    }
    // Fully encoded, a URL's path is ASCII, and its escapes are the bytes that came in.
    const QByteArray bytes = QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1());
    if (!bytes.startsWith('/') || bytes.contains('\0')) {
        return std::nullopt;
    }
    return standardizedPath(std::string_view(bytes.constData(), static_cast<std::size_t>(bytes.size())));
}

QByteArray fileURLFromPath(std::string_view path) {
    const QByteArray bytes(path.data(), static_cast<qsizetype>(path.size()));
    return "file://" + bytes.toPercentEncoding("/");
}

}  // namespace larkfold
