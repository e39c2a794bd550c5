#include "shell/updates/PlainText.h"

#include <gtest/gtest.h>

namespace larkfold {
namespace {

std::string plain(const QString& html, qsizetype limit = 1000) {
    return plainTextFromHTML(html, limit).toStdString();
}

TEST(PlainTextTest, blocksBecomeLinesAndItemsGetBullets) {
    EXPECT_EQ(plain("<h2>New</h2><ul><li>Faster</li><li>Smaller &amp; calmer</li></ul><p>Enjoy.</p>"),
              "New\n\n• Faster\n• Smaller & calmer\n\nEnjoy.");
    EXPECT_EQ(plain("one<br>two<br/><br>three"), "one\ntwo\n\nthree");
    EXPECT_EQ(plain("<p>a\n  b</p>"), "a b");
}

TEST(PlainTextTest, aTextWithoutTagsKeepsItsLines) {
    EXPECT_EQ(plain("- one\n- two\n\n\n\nthree & 1 < 2 &amp;"), "- one\n- two\n\nthree & 1 < 2 &amp;");
}

TEST(PlainTextTest, whatIsNotForAReaderGoes) {
    EXPECT_EQ(plain("a<script>alert('<p>')</script>b<style>p{}</style><!-- <p>no</p> -->c"), "abc");
    EXPECT_EQ(plain("<img src='https://example.org/pixel.png' alt=\">\">x"), "x");
    EXPECT_EQ(plain("<a href=\"javascript:x\">link</a>"), "link");
}

TEST(PlainTextTest, whatDoesNotEndTakesTheRestWithIt) {
    EXPECT_EQ(plain("a<b x"), "a");
    EXPECT_EQ(plain("a<!-- b"), "a");
    EXPECT_EQ(plain("a<script>b"), "a");
    EXPECT_EQ(plain("a<i title='b>c</i>"), "a");
    EXPECT_EQ(plain("<p>a</p><"), "a\n\n<");
}

TEST(PlainTextTest, referencesBecomeCharactersAndUnknownOnesStay) {
    EXPECT_EQ(plain("<p>&lt;b&gt; &#65;&#x42; &quot;&apos; &hellip; &nosuch; &#0; &#xD800; &#x110000; &</p>"),
              "<b> AB \"' … &nosuch; &#0; &#xD800; &#x110000; &");
    EXPECT_EQ(plain("<p>&lt;script&gt;x&lt;/script&gt;</p>"), "<script>x</script>") << "read once, not twice";
}

TEST(PlainTextTest, charactersThatDeceiveGo) {
    EXPECT_EQ(plain(QStringLiteral("a\u202Eb\u200Bc\u2066d\u0007e\uFEFFf")), "abcdef");
    EXPECT_EQ(plain("<p>a&#x202E;b&#7;c</p>"), "abc");
    EXPECT_EQ(plainLine(QStringLiteral("1.0\n\u202E2\t3"), 64).toStdString(), "1.0 2 3");
}

TEST(PlainTextTest, longTextsAreCutBetweenCharacters) {
    EXPECT_EQ(plain("abcdef", 6), "abcdef");
    EXPECT_EQ(plain("abcdefg", 6), "abcde…");
    EXPECT_EQ(plain(QStringLiteral("abcd\U0001F5C2efg"), 6), "abcd…");
    EXPECT_EQ(plainLine("abcdefg", 3).toStdString(), "ab…");
    EXPECT_LE(plainTextFromHTML(QString(100'000, u'<') + QString(100'000, u'x'), 50).size(), 50);
}

}  // namespace
}  // namespace larkfold
