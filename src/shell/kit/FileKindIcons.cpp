#include "shell/kit/FileKindIcons.h"

#include <array>
#include <cstddef>

namespace larkfold {

namespace {

struct IconRow {
    FileKind kind;
    const char* name;
};

// In the order of the kinds.
constexpr std::array iconRows{
    IconRow{.kind = FileKind::image, .name = "image"},
    IconRow{.kind = FileKind::video, .name = "video"},
    IconRow{.kind = FileKind::audio, .name = "audio"},
    IconRow{.kind = FileKind::document, .name = "document"},
    IconRow{.kind = FileKind::archive, .name = "archive"},
    IconRow{.kind = FileKind::code, .name = "code"},
    IconRow{.kind = FileKind::application, .name = "application"},
    IconRow{.kind = FileKind::system, .name = "system"},
    IconRow{.kind = FileKind::other, .name = "file"},
};

}  // namespace

QString iconNameOf(FileKind kind) {
    return QString::fromLatin1(iconRows[static_cast<std::size_t>(kind)].name);
}

}  // namespace larkfold
