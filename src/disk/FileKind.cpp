#include "disk/FileKind.h"

#include <algorithm>
#include <array>
#include <span>
#include <string>

#include "platform/Collation.h"
#include "platform/Path.h"

namespace larkfold {

namespace {

using namespace std::string_view_literals;

// clang-format off
constexpr std::array image{"jpg"sv, "jpeg"sv, "png"sv, "gif"sv, "bmp"sv, "tiff"sv, "heic"sv, "webp"sv, "svg"sv, "ico"sv, "raw"sv};
constexpr std::array video{"mp4"sv, "mov"sv, "avi"sv, "mkv"sv, "wmv"sv, "flv"sv, "webm"sv, "m4v"sv, "mpeg"sv, "mpg"sv};
constexpr std::array audio{"mp3"sv, "wav"sv, "aac"sv, "flac"sv, "m4a"sv, "wma"sv, "ogg"sv, "aiff"sv, "alac"sv};
constexpr std::array document{"pdf"sv, "doc"sv, "docx"sv, "xls"sv, "xlsx"sv, "ppt"sv, "pptx"sv, "txt"sv, "rtf"sv, "pages"sv, "numbers"sv, "keynote"sv, "csv"sv};
constexpr std::array archive{"zip"sv, "rar"sv, "7z"sv, "tar"sv, "gz"sv, "bz2"sv, "xz"sv, "dmg"sv, "iso"sv};
constexpr std::array code{"swift"sv, "py"sv, "js"sv, "ts"sv, "html"sv, "css"sv, "json"sv, "xml"sv, "java"sv, "c"sv, "cpp"sv, "h"sv, "m"sv, "go"sv, "rs"sv, "rb"sv, "php"sv};
constexpr std::array application{"app"sv, "exe"sv, "pkg"sv, "deb"sv, "rpm"sv};
constexpr std::array system{"plist"sv, "log"sv, "cache"sv, "db"sv, "sqlite"sv};

struct Row {
    FileKind kind;
    std::span<const std::string_view> extensions;
};

// Tested in this order; the first hit wins.
constexpr std::array rows{
    Row{.kind = FileKind::image,       .extensions = image},
    Row{.kind = FileKind::video,       .extensions = video},
    Row{.kind = FileKind::audio,       .extensions = audio},
    Row{.kind = FileKind::document,    .extensions = document},
    Row{.kind = FileKind::archive,     .extensions = archive},
    Row{.kind = FileKind::code,        .extensions = code},
    Row{.kind = FileKind::application, .extensions = application},
    Row{.kind = FileKind::system,      .extensions = system},
};
// clang-format on

constexpr std::size_t longestExtension = 7;

FileKind kindOfLowerCase(std::string_view extension) {
    for (const Row& row : rows) {
        if (std::ranges::find(row.extensions, extension) != row.extensions.end()) {
            return row.kind;
        }
    }
    return FileKind::other;
}

}  // namespace

FileKind fileKindOf(std::string_view name) {
    const std::string_view extension = pathExtension(name);
    if (extension.empty()) {
        return FileKind::other;
    }
    // Every extension of the table is ASCII. Asked for each node of a map, so no text
    // is made where all is ASCII.
    const bool isASCII =
        std::ranges::all_of(extension, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (!isASCII) {
        return kindOfLowerCase(lowercased(extension));
    }
    if (extension.size() > longestExtension) {
        return FileKind::other;
    }
    std::array<char, longestExtension> lower;
    std::ranges::transform(extension, lower.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return kindOfLowerCase({lower.data(), extension.size()});
}

}  // namespace larkfold
