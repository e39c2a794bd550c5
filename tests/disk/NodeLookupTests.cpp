#include "disk/NodeLookup.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace larkfold {
namespace {

FileNode::Pointer add(const FileNode::Pointer& folder, FileNode::Pointer child) {
    folder->appendChild(child);
    return child;
}
FileNode::Pointer file(const std::string& name) {
    return FileNode::makeFile(name, 1, 1, std::nullopt);
}
FileNode::Pointer folder(const std::string& name) {
    return FileNode::makeDirectory(name);
}
using Found = std::vector<FileNode::Pointer>;

TEST(NodeLookupTest, eachPathGivesItsNodeInTheOrderOfThePaths) {
    const auto root = FileNode::makeRoot("/home/ada", "ada");
    const auto a = add(root, folder("a"));
    const auto ab = add(a, folder("ab"));
    const auto deep = add(ab, file("deep"));
    // Names that begin with each other, and signs that order before and after the slash.
    const auto dash = add(root, file("a-b"));
    const auto dot = add(root, file("a.b"));
    const auto longer = add(root, folder("aa"));
    const auto inLonger = add(longer, file("ab"));
    EXPECT_EQ(nodesAt(root, {"/home/ada/aa/ab", "/home/ada/a/ab/deep", "/home/ada/a", "/home/ada/a-b",
                             "/home/ada", "/home/ada/a.b", "/home/ada/a/ab", "/home/ada/a"}),
              (Found{inLonger, deep, a, dash, root, dot, ab, a}));
}

TEST(NodeLookupTest, whatIsNotThereGivesNothing) {
    const auto root = FileNode::makeRoot("/home/ada", "ada");
    const auto a = add(root, folder("a"));
    const auto b = add(a, file("b"));
    EXPECT_EQ(
        nodesAt(root, {"/home/ad", "/home/adam/a", "/home/ada/", "/home/ada/a/", "/home/ada//a",
                       "/home/ada/a/b/c", "/home/ada/c", "", "a", "/", "/home/ada/a/b"}),
        (Found{nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, b}));
    EXPECT_EQ(nodesAt(nullptr, {"/home/ada"}), Found{nullptr});
    EXPECT_TRUE(nodesAt(root, {}).empty());
}

TEST(NodeLookupTest, belowTheRootOfTheSystemThereIsOneSlash) {
    const auto root = FileNode::makeRoot("/", "/");
    const auto home = add(root, folder("home"));
    const auto ada = add(home, folder("ada"));
    EXPECT_EQ(nodesAt(root, {"/home/ada", "/", "//home"}), (Found{ada, root, nullptr}));
}

TEST(NodeLookupTest, aSummaryIsNeverFoundAndAFileOfItsNameIs) {
    const auto root = FileNode::makeRoot("/r", "r");
    add(root, FileNode::makeAggregate(FileNode::SummaryOrigin::index, 1, 3));
    EXPECT_EQ(nodesAt(root, {"/r/Other indexed files (3)", "/r/r"}), (Found{nullptr, nullptr}));
    const auto real = add(root, file("Other indexed files (3)"));
    EXPECT_EQ(nodesAt(root, {"/r/Other indexed files (3)"}), Found{real});
}

TEST(NodeLookupTest, pathsAreBytes) {
    const auto root = FileNode::makeRoot("/r\xff", "r");
    const auto odd = add(root, folder("\xfe odd"));
    const auto inner = add(odd, file("\xc3"));
    EXPECT_EQ(nodesAt(root, {"/r\xff/\xfe odd/\xc3"}), Found{inner});
}

TEST(NodeLookupTest, atAnyDepthAndManyInOneFolder) {
    const auto root = FileNode::makeRoot("/r", "r");
    FileNode::Pointer last = root;
    std::string path = "/r";
    for (int depth = 0; depth < 100'000; ++depth) {
        last = add(last, folder("d"));
        path += "/d";
    }
    const auto bottom = add(last, file("f"));
    EXPECT_EQ(nodesAt(root, {path + "/f", path + "/g", path}), (Found{bottom, nullptr, last}));

    const auto many = add(root, folder("many"));
    std::vector<std::string> paths;
    Found expected;
    for (int number = 0; number < 100'000; ++number) {
        expected.push_back(add(many, file(std::to_string(number))));
        paths.push_back("/r/many/" + std::to_string(number));
    }
    EXPECT_EQ(nodesAt(root, paths), expected);
}

}  // namespace
}  // namespace larkfold
