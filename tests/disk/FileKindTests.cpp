#include "disk/FileKind.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>
#include <string>

namespace larkfold {
namespace {

const std::map<FileKind, std::string> extensionsByKind{
    {FileKind::image, "jpg jpeg png gif bmp tiff heic webp svg ico raw"},
    {FileKind::video, "mp4 mov avi mkv wmv flv webm m4v mpeg mpg"},
    {FileKind::audio, "mp3 wav aac flac m4a wma ogg aiff alac"},
    {FileKind::document, "pdf doc docx xls xlsx ppt pptx txt rtf pages numbers keynote csv"},
    {FileKind::archive, "zip rar 7z tar gz bz2 xz dmg iso"},
    {FileKind::code, "swift py js ts html css json xml java c cpp h m go rs rb php"},
    {FileKind::application, "app exe pkg deb rpm"},
    {FileKind::system, "plist log cache db sqlite"},
};

TEST(FileKind, everyExtensionOfEachKindIsKnownInAnyCase) {
    std::set<std::string> seen;
    for (const auto& [kind, extensions] : extensionsByKind) {
        std::istringstream list(extensions);
        for (std::string extension; list >> extension;) {
            EXPECT_TRUE(seen.insert(extension).second) << extension << " stands for two kinds";
            EXPECT_EQ(fileKindOf("name." + extension), kind) << extension;
            std::string upper = extension;
            for (char& c : upper) {
                c = static_cast<char>(std::toupper(c));
            }
            EXPECT_EQ(fileKindOf("NAME." + upper), kind) << upper;
        }
    }
    EXPECT_EQ(seen.size(), 79u);
}

TEST(FileKind, onlyTheLastExtensionCounts) {
    EXPECT_EQ(fileKindOf("photo.jpg.zip"), FileKind::archive);
    EXPECT_EQ(fileKindOf("/folder.zip/photo.jpg"), FileKind::image);
    EXPECT_EQ(fileKindOf("/folder.zip/photo"), FileKind::other);
}

TEST(FileKind, whatHasNoKnownExtensionIsOther) {
    for (const char* name : {"", "/", "README", "name.", ".zip", "name.unknown", "name.jpgg", "name.jp",
                             "name.keynotes", "name.a very long extension that nothing has"}) {
        EXPECT_EQ(fileKindOf(name), FileKind::other) << name;
    }
}

TEST(FileKind, extensionsOutsideOfASCIIAreLoweredByUnicodeAndBytesDoNoHarm) {
    EXPECT_EQ(fileKindOf("name.m\xE2\x84\xAAv"), FileKind::video);  // the Kelvin sign is a capital k
    EXPECT_EQ(fileKindOf("name.\xFF\xFE"), FileKind::other);
    EXPECT_EQ(fileKindOf("\xFF.png"), FileKind::image);
}

}  // namespace
}  // namespace larkfold
