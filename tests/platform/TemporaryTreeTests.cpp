// The tests' own means: what stands on them is worth no more than they are.
#include "support/TemporaryTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <stdexcept>

#include "support/ChildProcess.h"
#include "support/UnprivilegedUser.h"

namespace larkfold {
namespace {

using test::TemporaryTree;

bool stands(const std::string& path) {
    struct stat values{};
    return lstat(path.c_str(), &values) == 0;
}

TEST(TemporaryTreeTest, isThereWhileItLivesAndGoneAfterwards) {
    std::string root;
    {
        TemporaryTree tree;
        root = tree.root();
        EXPECT_EQ(std::filesystem::file_size(tree.file("a/b/file", "12345")), 5u);
        EXPECT_EQ(std::filesystem::file_size(tree.fileOfSize("large", (3 << 20) + 1)), (3u << 20) + 1);
        EXPECT_TRUE(std::filesystem::is_directory(tree.folder("folder")));
        EXPECT_EQ(std::filesystem::read_symlink(tree.link("link", "a\xFF")), "a\xFF");
        EXPECT_TRUE(std::filesystem::is_fifo(tree.fifo("pipe")));
    }
    EXPECT_FALSE(stands(root));
}

TEST(TemporaryTreeTest, whatALinkLeadsToIsNotRemoved) {
    TemporaryTree kept;
    kept.file("precious", "x");
    {
        TemporaryTree tree;
        tree.link("link", kept.root());
    }
    EXPECT_TRUE(stands(kept.path("precious")));
}

TEST(TemporaryTreeTest, aTreeOfAnyDepthIsRemoved) {
    std::string root;
    {
        TemporaryTree tree;
        root = tree.root();
        std::string relative;
        for (int depth = 0; depth < 100'000; ++depth) {
            relative += "d/";
        }
        tree.file(relative + "file", "x");
    }
    EXPECT_FALSE(stands(root));
}

TEST(TemporaryTreeTest, foldersWithoutRightsAreRemoved) {
    test::asUnprivilegedUser([](const std::string&) {
        std::string root;
        {
            TemporaryTree tree;
            root = tree.root();
            tree.file("none/inner/file");
            tree.file("readable/file");
            chmod(tree.path("none/inner").c_str(), 0000);
            chmod(tree.path("none").c_str(), 0000);
            chmod(tree.path("readable").c_str(), 0500);
        }
        EXPECT_FALSE(stands(root));
    });
}

TEST(UnprivilegedUserTest, mayNotReadWhatIsClosed) {
    test::asUnprivilegedUser([](const std::string& home) {
        EXPECT_NE(geteuid(), 0u);
        TemporaryTree tree;
        EXPECT_TRUE(tree.root().starts_with(home));
        const std::string file = tree.file("file", "x");
        EXPECT_EQ(access(file.c_str(), R_OK), 0);
        chmod(file.c_str(), 0000);
        EXPECT_NE(access(file.c_str(), R_OK), 0);
    });
}

// The one failure that a child process tells with this work.
std::string failureOf(const std::function<void()>& work) {
    const auto told = test::toldByChildProcess(work);
    return told.size() == 1 && told.front().failed() ? told.front().message() : "not one failure";
}

TEST(ChildProcessTest, tellsAFailureWithItsPlaceAndValues) {
    const int three = 3;
    const int line = __LINE__ + 1;
    const auto told = test::toldByChildProcess([three] { EXPECT_EQ(three, 4); });
    ASSERT_EQ(told.size(), 1u);
    EXPECT_THAT(told.front().message(), testing::HasSubstr("three\n    Which is: 3"));
    EXPECT_THAT(told.front().file_name(), testing::HasSubstr("TemporaryTreeTests.cpp"));
    EXPECT_EQ(told.front().line_number(), line);
}

TEST(ChildProcessTest, tellsWhateverElseWentWrong) {
    EXPECT_EQ(failureOf([] { throw std::runtime_error("expected"); }),
              "Failed\nThe function threw: expected");
    EXPECT_THAT(failureOf([] { _exit(3); }), testing::HasSubstr("exit code 3"));
    EXPECT_THAT(failureOf([] { raise(SIGKILL); }), testing::HasSubstr("signal 9"));
    EXPECT_EQ(failureOf([] {}), "not one failure");
}

TEST(ChildProcessTest, makesItsFailureOneOfTheTest) {
    EXPECT_NONFATAL_FAILURE(test::inChildProcess([] { _exit(3); }), "exit code 3");
}

}  // namespace
}  // namespace larkfold
