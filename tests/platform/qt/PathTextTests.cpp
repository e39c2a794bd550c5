#include "platform/qt/PathText.h"

#include <gtest/gtest.h>

#include <QUrl>
#include <string>

namespace larkfold {
namespace {

TEST(PathTextTest, everyByteOfANameSurvivesTheWayThroughAURL) {
    std::string name = "/";
    for (int byte = 1; byte < 256; ++byte) {
        if (byte != '/') {
            name += static_cast<char>(byte);
        }
    }
    const QByteArray encoded = fileURLFromPath(name);
    EXPECT_EQ(pathFromFileURL(QUrl::fromEncoded(encoded)), name);
    EXPECT_EQ(pathFromFileURL(QUrl(QString::fromLatin1(encoded))), name) << "as a text, too";
}

TEST(PathTextTest, theURLIsPercentEncodedASCII) {
    EXPECT_EQ(fileURLFromPath("/a b/ä%?#\xFF"), "file:///a%20b/%C3%A4%25%3F%23%FF");
    EXPECT_EQ(fileURLFromPath("/"), "file:///");
}

TEST(PathTextTest, onlyLocalFileURLsHaveAPath) {
    EXPECT_EQ(pathFromFileURL(QUrl("file:///a/../b/")), "/b");
    EXPECT_EQ(pathFromFileURL(QUrl("file://localhost/a")), "/a");
    EXPECT_EQ(pathFromFileURL(QUrl("FILE:/a")), "/a");
    for (const char* url : {"file://server/a", "http:///a", "a", "file:a", "", "/a", "file:///a%00b"}) {
        EXPECT_EQ(pathFromFileURL(QUrl(url)), std::nullopt) << url;
    }
}

TEST(PathTextTest, displayTextIsWholeForTextAndMarkedForBytes) {
    EXPECT_EQ(displayString("Größe 🙂"), QString::fromUtf8("Größe 🙂"));
    EXPECT_EQ(displayString("a\xFF\n"), QString::fromUtf8("a\uFFFD␊"));
}

}  // namespace
}  // namespace larkfold
