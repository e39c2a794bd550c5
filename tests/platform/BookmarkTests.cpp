#include "platform/Bookmark.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <random>
#include <regex>
#include <sstream>

#include "platform/Error.h"
#include "platform/FileIdentity.h"
#include "support/Places.h"
#include "support/TemporaryTree.h"
#include "support/UnprivilegedUser.h"

namespace larkfold {
namespace {

using test::TemporaryTree;

// The errno of the SystemError; -1 for another Error; 0 where nothing is thrown.
template <typename Call>
int codeOf(Call call) {
    try {
        call();
        return 0;
    } catch (const SystemError& error) {
        return error.code();
    } catch (const Error&) {
        return -1;
    }
}

std::string goldenFile(const std::string& name) {
    std::ifstream stream(test::sourceFile("tests/platform/golden/" + name), std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    EXPECT_FALSE(text.str().empty()) << name;
    return text.str();
}

TEST(BookmarkTest, leadsBackToTheFolder) {
    TemporaryTree tree;
    const std::string folder = tree.folder("a b/Größe\n");
    const ResolvedBookmark resolved = resolveBookmark(makeBookmark(folder + "/"));
    EXPECT_EQ(resolved.path, folder);
    EXPECT_FALSE(resolved.isStale);
}

TEST(BookmarkTest, aNameThatIsNoTextComesBackByteForByte) {
    TemporaryTree tree;
    const std::string folder = tree.folder("a\xFF\xC3");
    const std::string bytes = makeBookmark(folder);
    EXPECT_THAT(bytes, testing::HasSubstr("\"pathBytes\""));
    EXPECT_THAT(bytes, testing::HasSubstr("a\uFFFD\uFFFD"));
    EXPECT_EQ(resolveBookmark(bytes).path, folder);
    EXPECT_THAT(makeBookmark(tree.root()), testing::Not(testing::HasSubstr("pathBytes")));
}

TEST(BookmarkTest, anotherFolderInItsPlaceIsStale) {
    TemporaryTree tree;
    const std::string folder = tree.folder("folder");
    const std::string bytes = makeBookmark(folder);
    std::filesystem::rename(folder, tree.path("moved"));
    EXPECT_EQ(codeOf([&] { resolveBookmark(bytes); }), ENOENT);
    tree.folder("folder");
    EXPECT_TRUE(resolveBookmark(bytes).isStale);
    EXPECT_EQ(resolveBookmark(bytes).path, folder);
}

TEST(BookmarkTest, aFolderThatTookOverTheInodeIsStaleToo) {
    TemporaryTree tree;
    const std::string folder = tree.folder("folder");
    const std::string bytes = makeBookmark(folder);
    // The same numbers, made at another time.
    const std::regex madeAt(R"("madeAt":(-?[0-9]+))");
    ASSERT_TRUE(std::regex_search(bytes, madeAt))
        << "this test needs a file system that keeps the time of making";
    EXPECT_TRUE(resolveBookmark(std::regex_replace(bytes, madeAt, R"("madeAt":1)")).isStale);
}

TEST(BookmarkTest, aDeviceNumberThatChangedWithARestartIsNotStale) {
    TemporaryTree tree;
    const std::string bytes = makeBookmark(tree.folder("folder"));
    const std::regex volume(R"("volume":[0-9]+)");
    const std::string renumbered = std::regex_replace(bytes, volume, R"("volume":99)");
    ASSERT_NE(renumbered, bytes);
    EXPECT_FALSE(resolveBookmark(renumbered).isStale);
    // Without the time of making the numbers are all there is.
    const std::regex madeAt(R"(,"madeAt":-?[0-9]+)");
    EXPECT_FALSE(resolveBookmark(std::regex_replace(bytes, madeAt, "")).isStale);
    EXPECT_TRUE(resolveBookmark(std::regex_replace(renumbered, madeAt, "")).isStale);
}

TEST(BookmarkTest, changesInsideOfTheFolderDoNotMakeItStale) {
    TemporaryTree tree;
    const std::string bytes = makeBookmark(tree.folder("folder"));
    tree.file("folder/new/file", "x");
    EXPECT_FALSE(resolveBookmark(bytes).isStale);
}

TEST(BookmarkTest, aFileOrNothingCannotBeRemembered) {
    TemporaryTree tree;
    EXPECT_EQ(codeOf([&] { makeBookmark(tree.file("file")); }), ENOTDIR);
    EXPECT_EQ(codeOf([&] { makeBookmark(tree.path("missing")); }), ENOENT);
}

TEST(BookmarkTest, aLinkIsRememberedByTheFolderBehindIt) {
    TemporaryTree tree;
    tree.folder("real");
    tree.folder("other");
    const std::string link = tree.link("link", "real");
    const std::string bytes = makeBookmark(link);
    EXPECT_FALSE(resolveBookmark(bytes).isStale);
    std::filesystem::remove(link);
    tree.link("link", "other");
    EXPECT_TRUE(resolveBookmark(bytes).isStale);
}

TEST(BookmarkTest, theBytesHaveTheDocumentedForm) {
    // The paths lead nowhere; that they are looked for shows that they were read.
    EXPECT_EQ(codeOf([] { resolveBookmark(goldenFile("bookmark.json")); }), ENOENT);
    try {
        resolveBookmark(goldenFile("bookmark-bytes.json"));
        ADD_FAILURE();
    } catch (const SystemError& error) {
        EXPECT_EQ(error.path(), "/nowhere/a\xFF");
    }
    // What is written has the golden file's keys in its order.
    TemporaryTree tree;
    const std::regex form(
        R"re(\{"version":1,"path":"[^"]+","pathBytes":"[A-Za-z0-9+/=]+","volume":[0-9]+,"file":[0-9]+(,"madeAt":-?[0-9]+)?\})re");
    EXPECT_TRUE(std::regex_match(makeBookmark(tree.folder("a\xFF")), form));
    EXPECT_TRUE(std::regex_match(goldenFile("bookmark-bytes.json"), form));
}

TEST(BookmarkTest, bytesThatAreNoBookmarkAreRefused) {
    const std::string samples[] = {
        "",
        "{}",
        "[]",
        "null",
        R"({"version":2,"path":"/tmp","volume":1,"file":2})",
        R"({"version":1,"path":"tmp","volume":1,"file":2})",
        R"({"version":1,"path":5,"volume":1,"file":2})",
        R"({"version":1,"path":"/tmp","volume":-1,"file":2})",
        R"({"version":1,"path":"/tmp","volume":1.5,"file":2})",
        R"({"version":1,"path":"/tmp","volume":1})",
        R"({"version":1,"path":"/tmp","pathBytes":"%%%","volume":1,"file":2})",
        R"({"version":1,"path":"/tmp","pathBytes":"L3RtcAAv","volume":1,"file":2})",
        R"({"version":1,"path":"/tmp\u0000x","volume":1,"file":2})",
        R"({"version":1,"path":"/tmp","volume":1,"file":2,"madeAt":"now"})",
        R"({"version":1,"path":"/tmp","volume":1,"file":2,"x":)" + std::string(100'000, '['),
        std::string(2 << 20, ' '),
    };
    for (const std::string& bytes : samples) {
        EXPECT_EQ(codeOf([&] { resolveBookmark(bytes); }), -1) << bytes.substr(0, 80);
    }
}

TEST(BookmarkTest, everyFlippedBitEitherLeadsSomewhereOrIsATypedError) {
    TemporaryTree tree;
    const std::string folder = tree.folder("f\xFF");
    const std::string bytes = makeBookmark(folder);
    int refused = 0;
    int sameAndFresh = 0;
    for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit) {
        std::string flipped = bytes;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << (bit % 8)));
        try {
            const ResolvedBookmark resolved = resolveBookmark(flipped);
            // What is taken for the folder remembered must be that folder.
            if (!resolved.isStale) {
                EXPECT_EQ(FileIdentity::of(resolved.path), FileIdentity::of(folder)) << flipped;
                ++sameAndFresh;
            }
        } catch (const Error&) {
            ++refused;
        }
    }
    EXPECT_GT(refused, 0);
    EXPECT_GT(sameAndFresh, 0) << "a flip in the text beside the bytes changes nothing";
}

TEST(BookmarkTest, everyTruncationIsRefused) {
    TemporaryTree tree;
    const std::string bytes = makeBookmark(tree.folder("folder"));
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        EXPECT_EQ(codeOf([&] { resolveBookmark(bytes.substr(0, length)); }), -1) << length;
    }
}

TEST(BookmarkTest, randomBytesAreRefused) {
    std::mt19937 random(3);
    for (int round = 0; round < 2000; ++round) {
        std::string bytes(random() % 64, '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(random());
        }
        EXPECT_EQ(codeOf([&] { resolveBookmark(bytes); }), -1);
    }
}

TEST(BookmarkTest, accessIsRefusedToAFolderThatCannotBeListed) {
    test::asUnprivilegedUser([](const std::string&) {
        TemporaryTree tree;
        const std::string open = tree.folder("open");
        const std::string closed = tree.folder("closed");
        chmod(closed.c_str(), 0300);
        EXPECT_TRUE(startAccessingSecurityScopedResource(open));
        stopAccessingSecurityScopedResource(open);
        EXPECT_FALSE(startAccessingSecurityScopedResource(closed));
        EXPECT_FALSE(startAccessingSecurityScopedResource(tree.file("file")));
        EXPECT_FALSE(startAccessingSecurityScopedResource(tree.path("missing")));
        EXPECT_FALSE(resolveBookmark(makeBookmark(closed)).isStale)
            << "to remember a folder takes no right to list it";
    });
}

}  // namespace
}  // namespace larkfold
