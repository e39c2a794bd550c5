#include "platform/Path.h"

#include <gtest/gtest.h>

#include "platform/UTF8.h"

namespace larkfold {
namespace {

TEST(PathTest, standardizedPathHasNoEmptyDotOrDotDotComponents) {
    EXPECT_EQ(standardizedPath("/"), "/");
    EXPECT_EQ(standardizedPath(""), "/");
    EXPECT_EQ(standardizedPath("//a//b/"), "/a/b");
    EXPECT_EQ(standardizedPath("/a/./b/."), "/a/b");
    EXPECT_EQ(standardizedPath("/a/b/../c"), "/a/c");
    EXPECT_EQ(standardizedPath("/a/.."), "/");
    EXPECT_EQ(standardizedPath("/../../a"), "/a");
    EXPECT_EQ(standardizedPath("a/b"), "/a/b");
    EXPECT_EQ(standardizedPath("/a/..b/...c"), "/a/..b/...c");
}

TEST(PathTest, standardizedPathKeepsBytesThatAreNoText) {
    EXPECT_EQ(standardizedPath("/a\xFF\n'\"/b/"), "/a\xFF\n'\"/b");
}

TEST(PathTest, standardizingTwiceChangesNothing) {
    for (const char* path : {"/a/../..//b/./c/", "x/..", "/a b/\xC3\x28/..x"}) {
        EXPECT_EQ(standardizedPath(standardizedPath(path)), standardizedPath(path));
    }
}

TEST(PathTest, componentsAndParents) {
    EXPECT_EQ(lastPathComponent("/a/b"), "b");
    EXPECT_EQ(lastPathComponent("/a/b/"), "b");
    EXPECT_EQ(lastPathComponent("/"), "/");
    EXPECT_EQ(lastPathComponent("b"), "b");
    EXPECT_EQ(parentPath("/a/b"), "/a");
    EXPECT_EQ(parentPath("/a"), "/");
    EXPECT_EQ(parentPath("/"), "/");
    EXPECT_EQ(joinedPath("/", "a"), "/a");
    EXPECT_EQ(joinedPath("/a", "b"), "/a/b");
}

TEST(PathTest, extensionIsWhatStandsBehindTheLastDotOfTheName) {
    EXPECT_EQ(pathExtension("/a/b.tar.gz"), "gz");
    EXPECT_EQ(pathExtension("/a.b/c"), "");
    EXPECT_EQ(pathExtension("/a/.hidden"), "");
    EXPECT_EQ(pathExtension("/a/.hidden.txt"), "txt");
    EXPECT_EQ(pathExtension("/a/b."), "");
    EXPECT_EQ(pathExtension("/"), "");
}

TEST(PathTest, isAtOrBelowLooksAtWholeComponents) {
    EXPECT_TRUE(isAtOrBelow("/a/b", "/a"));
    EXPECT_TRUE(isAtOrBelow("/a", "/a"));
    EXPECT_FALSE(isAtOrBelow("/ab", "/a"));
    EXPECT_FALSE(isAtOrBelow("/a", "/a/b"));
    EXPECT_TRUE(isAtOrBelow("/a", "/"));
    EXPECT_TRUE(isAtOrBelow("/", "/"));
}

TEST(DisplayTextTest, textStandsAsItIs) {
    EXPECT_EQ(displayText("Größe 漢字 🙂"), "Größe 漢字 🙂");
}

TEST(DisplayTextTest, eachByteThatIsNotDecodableIsReplaced) {
    EXPECT_EQ(displayText("a\xFF\xFE"
                          "b"),
              "a\uFFFD\uFFFDb");
    EXPECT_EQ(displayText("\xC3"), "\uFFFD");
    EXPECT_EQ(displayText("\xE2\x82"), "\uFFFD\uFFFD");
    EXPECT_EQ(displayText("\xC0\xAF"), "\uFFFD\uFFFD") << "overlong";
    EXPECT_EQ(displayText("\xED\xA0\x80"), "\uFFFD\uFFFD\uFFFD") << "a surrogate";
    EXPECT_EQ(displayText("\xF4\x90\x80\x80"), "\uFFFD\uFFFD\uFFFD\uFFFD") << "beyond U+10FFFF";
}

TEST(DisplayTextTest, controlCharactersAndLineEndsAreShownByTheirPictures) {
    EXPECT_EQ(displayText("a\nb\tc\x1B\x7F"), "a␊b␉c␛␡");
    EXPECT_EQ(displayText("a\xE2\x80\xA8"
                          "b\xC2\x85"
                          "c"),
              "a␤b␤c");
}

TEST(DisplayTextTest, anyTwoBytesGiveOneLineOfValidText) {
    for (int first = 1; first < 256; ++first) {
        for (int second = 1; second < 256; ++second) {
            const std::string bytes = {static_cast<char>(first), static_cast<char>(second)};
            const std::string text = displayText(bytes);
            ASSERT_TRUE(utf8::isValid(text)) << first << ' ' << second;
            ASSERT_EQ(text.find('\n'), std::string::npos);
        }
    }
}

}  // namespace
}  // namespace larkfold
