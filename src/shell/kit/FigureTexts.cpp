#include "shell/kit/FigureTexts.h"

#include "platform/ByteCountFormatter.h"
#include "platform/Collation.h"

namespace larkfold::texts {

QString bytes(std::int64_t count) {
    return QString::fromStdString(formattedByteCount(count));
}

QString grouped(std::int64_t count) {
    return QString::fromStdString(groupedCount(count));
}

QString share(double part) {
    return QString::fromStdString(shareText(part));
}

QString counted(std::int64_t count, const char* one, const char* many) {
    return QStringLiteral("%1 %2").arg(grouped(count), QString::fromUtf8(count == 1 ? one : many));
}

}  // namespace larkfold::texts
