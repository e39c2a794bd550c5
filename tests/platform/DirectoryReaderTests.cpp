#include "platform/DirectoryReader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "platform/Path.h"
#include "support/OpenDescriptors.h"
#include "support/TemporaryTree.h"
#include "support/UnprivilegedUser.h"

namespace larkfold {
namespace {

using test::openDescriptors;
using test::TemporaryTree;
using Kind = DirectoryEntry::Kind;

DirectoryReaderOptions readingAhead(bool ahead) {
    DirectoryReaderOptions options;
    options.readsAhead = ahead;
    return options;
}

// Walks everything below the root as the scan does and tells of each entry, in order: "path kind size error".
struct Walked {
    std::vector<std::string> lines;
    std::size_t folders = 0;
    std::size_t deepest = 0;
};

Walked walk(DirectoryReader& reader, const std::string& root,
            const std::function<void(const std::string&)>& onFolder = {}) {
    struct Frame {
        std::unique_ptr<DirectoryListing> listing;
        std::size_t next = 0;
        std::size_t pathLength = 0;
    };
    Walked walked;
    std::string path = root;
    std::vector<Frame> frames;
    const auto enter = [&](std::unique_ptr<DirectoryListing> listing) {
        walked.lines.push_back(path + " folder " + std::to_string(listing->error()));
        ++walked.folders;
        if (onFolder) {
            onFolder(path);
        }
        frames.push_back({std::move(listing), 0, path.size()});
        walked.deepest = std::max(walked.deepest, frames.size());
    };
    enter(reader.openRoot());
    while (!frames.empty()) {
        Frame& frame = frames.back();
        if (frame.next == frame.listing->entries().size()) {
            frames.pop_back();
            continue;
        }
        const std::size_t index = frame.next++;
        const DirectoryEntry& entry = frame.listing->entries()[index];
        path.resize(frame.pathLength);
        path += '/';
        path += entry.name;
        if (entry.error == 0 && entry.kind == Kind::directory) {
            enter(reader.open(*frame.listing, index));
        } else if (walked.lines.size() < 1'000'000) {
            walked.lines.push_back(path + " " + std::to_string(static_cast<int>(entry.kind)) + " " +
                                   std::to_string(entry.fileSize) + " " +
                                   std::to_string(entry.allocatedSize) + " " + std::to_string(entry.error));
        }
    }
    return walked;
}

Walked walk(const std::string& root, DirectoryReaderOptions options) {
    DirectoryReader reader(root, std::move(options), {});
    return walk(reader, root);
}

// A chain of folders "d", each in the one before, made by descriptor since no path is long enough. With
// `comb` each also holds a folder "z" that comes after "d".
void makeChain(const std::string& root, int depth, bool comb) {
    int at = ::open(root.c_str(), O_RDONLY | O_DIRECTORY);
    for (int level = 0; level < depth; ++level) {
        ASSERT_EQ(::mkdirat(at, "d", 0755), 0);
        if (comb) {
            ASSERT_EQ(::mkdirat(at, "z", 0755), 0);
        }
        const int next = ::openat(at, "d", O_RDONLY | O_DIRECTORY);
        ::close(at);
        at = next;
    }
    ::close(at);
}

TEST(DirectoryReader, listsEntriesInTheOrderOfTheirBytesWithTheirValues) {
    TemporaryTree tree;
    tree.fileOfSize("b", 5000);
    tree.file("a", "x");
    tree.file("B");
    tree.folder("c");
    tree.link("a-link", "nowhere");
    tree.file(std::string("eightlen").c_str(), "1");
    tree.file("eightlen-and-more", "22");
    tree.file("eightle", "333");
    DirectoryReader reader(tree.root(), readingAhead(true), {});
    const auto listing = reader.openRoot();
    std::vector<std::string> names;
    for (const DirectoryEntry& entry : listing->entries()) {
        names.emplace_back(entry.name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"B", "a", "a-link", "b", "c", "eightle", "eightlen",
                                               "eightlen-and-more"}));
    struct stat values{};
    ASSERT_EQ(::lstat(tree.path("b").c_str(), &values), 0);
    const DirectoryEntry& entry = listing->entries()[3];
    EXPECT_EQ(entry.fileSize, 5000);
    EXPECT_EQ(entry.allocatedSize, values.st_blocks * 512);
    EXPECT_DOUBLE_EQ(entry.modifiedAt, static_cast<double>(values.st_mtim.tv_sec) +
                                           static_cast<double>(values.st_mtim.tv_nsec) * 1e-9);
    EXPECT_EQ(listing->entries()[2].kind, Kind::symbolicLink);
    EXPECT_EQ(listing->entries()[4].kind, Kind::directory);
    ASSERT_EQ(::stat(tree.root().c_str(), &values), 0);
    EXPECT_EQ(listing->identity(), (FileIdentity{values.st_dev, values.st_ino}));
}

TEST(DirectoryReader, leavesHiddenNamesOutAndCountsThem) {
    TemporaryTree tree;
    tree.file(".hidden");
    tree.file(".folder/inside");
    tree.file("seen/.also");
    tree.file("seen/file");
    DirectoryReaderOptions options;
    options.skipHiddenFiles = true;
    DirectoryReader reader(tree.root(), options, {});
    const Walked walked = walk(reader, tree.root());
    EXPECT_EQ(walked.lines.size(), 3u);  // the root, "seen", "seen/file"
    EXPECT_EQ(reader.hiddenSkipped(), 3);
    options.skipHiddenFiles = false;
    EXPECT_EQ(walk(tree.root(), options).lines.size(), 7u);
}

TEST(DirectoryReader, neverLooksAtExcludedNames) {
    TemporaryTree tree;
    tree.file("Volumes/Data/inside");
    tree.file("VolumesOther/inside");
    tree.file("kept/Volumes/inside");
    DirectoryReaderOptions options;
    options.excludedPathPrefixes = {tree.path("Volumes"), tree.path("kept/Volumes")};
    const Walked walked = walk(tree.root(), options);
    for (const std::string& line : walked.lines) {
        EXPECT_EQ(line.find("/Volumes/"), std::string::npos) << line;
    }
    EXPECT_EQ(walked.folders, 3u);  // the root, "VolumesOther", "kept"
    // Everything lies below an excluded folder where the root does.
    options.excludedPathPrefixes = {std::string(parentPath(tree.root()))};
    EXPECT_EQ(walk(tree.root(), options).lines.size(), 1u);
}

TEST(DirectoryReader, namesOfAllBytesComeThroughExactly) {
    TemporaryTree tree;
    const std::vector<std::string> names = {
        "new\nline",           "quo'te\"s", "back\\slash", "\xff\xfe not text",
        std::string(255, 'x'), " ",         "\x01\x7f",    "%2F"};
    for (const std::string& name : names) {
        tree.file(name + "/in", "");
        break;
    }
    for (std::size_t i = 1; i < names.size(); ++i) {
        tree.file(names[i], "");
    }
    DirectoryReader reader(tree.root(), readingAhead(true), {});
    const auto listing = reader.openRoot();
    std::set<std::string> found;
    for (const DirectoryEntry& entry : listing->entries()) {
        EXPECT_EQ(entry.error, 0);
        found.emplace(entry.name);
    }
    EXPECT_EQ(found, std::set<std::string>(names.begin(), names.end()));
}

TEST(DirectoryReader, specialFilesAreToldAndNeverOpened) {
    TemporaryTree tree;
    tree.fifo("fifo");  // opening it would wait for a writer for ever
    const int server = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string socketPath = tree.path("s");
    ASSERT_LT(socketPath.size(), sizeof address.sun_path);
    std::copy(socketPath.begin(), socketPath.end(), address.sun_path);
    ASSERT_EQ(::bind(server, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    tree.link("loop", tree.root());
    DirectoryReader reader(tree.root(), readingAhead(true), {});
    const auto listing = reader.openRoot();
    ASSERT_EQ(listing->entries().size(), 3u);
    EXPECT_EQ(listing->entries()[0].kind, Kind::other);
    EXPECT_EQ(listing->entries()[1].kind, Kind::symbolicLink);
    EXPECT_EQ(listing->entries()[2].kind, Kind::other);
    ::close(server);
}

TEST(DirectoryReader, ofLinksThatNobodyWantsOnlyTheKindIsTold) {
    TemporaryTree tree;
    tree.file("a");
    tree.link("b", "somewhere");
    DirectoryReaderOptions options;
    options.readsSymbolicLinks = false;
    DirectoryReader reader(tree.root(), options, {});
    const auto listing = reader.openRoot();
    ASSERT_EQ(listing->entries().size(), 2u);
    EXPECT_EQ(listing->entries()[1].kind, Kind::symbolicLink);
    EXPECT_EQ(listing->entries()[1].fileSize, 0);
    DirectoryReader all(tree.root(), readingAhead(true), {});
    EXPECT_EQ(all.openRoot()->entries()[1].fileSize, 9);
}

TEST(DirectoryReader, aLinkAtTheRootIsFollowedAndNoOther) {
    TemporaryTree tree;
    tree.file("real/file");
    const std::string link = tree.link("link", tree.path("real"));
    DirectoryReader reader(link, readingAhead(true), {});
    const auto listing = reader.openRoot();
    ASSERT_EQ(listing->error(), 0);
    ASSERT_EQ(listing->entries().size(), 1u);
    EXPECT_EQ(listing->entries()[0].name, "file");
}

TEST(DirectoryReader, whatCannotBeListedTellsWhy) {
    test::asUnprivilegedUser([](const std::string&) {
        TemporaryTree tree;
        tree.file("closed/secret");
        tree.file("listable/file");
        tree.folder("listable/folder");
        tree.file("open/file");
        ASSERT_EQ(::chmod(tree.path("closed").c_str(), 0), 0);
        ASSERT_EQ(::chmod(tree.path("listable").c_str(), 0400), 0);  // names may be read, nothing behind them
        for (const bool ahead : {true, false}) {
            const Walked walked = walk(tree.root(), readingAhead(ahead));
            const auto holds = [&](const std::string& line) {
                return std::find(walked.lines.begin(), walked.lines.end(), line) != walked.lines.end();
            };
            const std::string denied = std::to_string(EACCES);
            EXPECT_TRUE(holds(tree.path("closed") + " folder " + denied));
            EXPECT_TRUE(holds(tree.path("listable/file") + " 0 0 0 " + denied));
            EXPECT_TRUE(holds(tree.path("listable/folder") + " 0 0 0 " + denied));
            EXPECT_EQ(walked.folders, 4u);
            EXPECT_EQ(walked.lines.size(), 7u);
        }
    });
}

TEST(DirectoryReader, aRootThatIsMissingOrNoFolderTellsWhy) {
    TemporaryTree tree;
    tree.file("file");
    DirectoryReader missing(tree.path("missing"), readingAhead(true), {});
    EXPECT_EQ(missing.openRoot()->error(), ENOENT);
    DirectoryReader file(tree.path("file"), readingAhead(true), {});
    EXPECT_EQ(file.openRoot()->error(), ENOTDIR);
}

TEST(DirectoryReader, aFolderThatVanishesAfterItsParentWasListedTellsSo) {
    TemporaryTree tree;
    tree.folder("a");
    DirectoryReader reader(tree.root(), readingAhead(false), {});
    const auto listing = reader.openRoot();
    ASSERT_EQ(::rmdir(tree.path("a").c_str()), 0);
    EXPECT_EQ(reader.open(*listing, 0)->error(), ENOENT);
}

TEST(DirectoryReader, aFolderReplacedByALinkIsNotFollowed) {
    TemporaryTree tree;
    tree.file("elsewhere/secret");
    tree.folder("root/a");
    DirectoryReader reader(tree.path("root"), readingAhead(false), {});
    const auto listing = reader.openRoot();
    ASSERT_EQ(::rmdir(tree.path("root/a").c_str()), 0);
    tree.link("root/a", tree.path("elsewhere"));
    const auto child = reader.open(*listing, 0);
    EXPECT_TRUE(child->error() == ELOOP || child->error() == ENOTDIR) << child->error();
    EXPECT_TRUE(child->entries().empty());
}

TEST(DirectoryReader, readingAheadFindsTheSameInTheSameOrder) {
    for (unsigned seed = 1; seed <= 8; ++seed) {
        TemporaryTree tree;
        std::mt19937 random(seed);
        std::vector<std::string> folders{""};
        for (int i = 0; i < 400; ++i) {
            const std::string& parent = folders[random() % folders.size()];
            const std::string name = (parent.empty() ? "" : parent + "/") + std::to_string(random() % 1000);
            if (random() % 3 == 0) {
                tree.folder(name + "d");
                folders.push_back(name + "d");
            } else {
                tree.file(name, std::string(random() % 50, 'x'));
            }
        }
        DirectoryReaderOptions alone = readingAhead(false);
        const Walked expected = walk(tree.root(), alone);
        EXPECT_GT(expected.folders, 50u);
        for (const std::size_t window : {std::size_t{1}, std::size_t{30}, std::size_t{20'000}}) {
            DirectoryReaderOptions options = readingAhead(true);
            options.window = window;
            EXPECT_EQ(walk(tree.root(), options).lines, expected.lines)
                << "seed " << seed << ", window " << window;
        }
    }
}

TEST(DirectoryReader, aTreeAHundredThousandLevelsDeepNeedsFewDescriptors) {
    for (const bool comb : {false, true}) {
        TemporaryTree tree;
        const int depth = comb ? 20'000 : 100'000;
        makeChain(tree.root(), depth, comb);
        for (const bool ahead : {false, true}) {
            DirectoryReader reader(tree.root(), readingAhead(ahead), {});
            const std::size_t before = openDescriptors();
            std::size_t most = 0;
            std::size_t seen = 0;
            std::size_t errors = 0;
            std::vector<std::unique_ptr<DirectoryListing>> frames;
            std::vector<std::size_t> next;
            frames.push_back(reader.openRoot());
            next.push_back(0);
            while (!frames.empty()) {
                if (next.back() == frames.back()->entries().size()) {
                    frames.pop_back();
                    next.pop_back();
                    continue;
                }
                auto child = reader.open(*frames.back(), next.back()++);
                errors += child->error() != 0 ? 1u : 0u;
                if (++seen % 1000 == 0) {
                    most = std::max(most, openDescriptors());
                }
                frames.push_back(std::move(child));
                next.push_back(0);
            }
            EXPECT_EQ(seen, static_cast<std::size_t>(comb ? 2 * depth : depth)) << "ahead " << ahead;
            EXPECT_EQ(errors, 0u) << "ahead " << ahead << ", comb " << comb;
            EXPECT_LE(most, before + 140) << "ahead " << ahead << ", comb " << comb;
        }
    }
}

TEST(DirectoryReader, fewDescriptorsLeftAreEnough) {
    TemporaryTree tree;
    makeChain(tree.root(), 300, true);
    const Walked expected = walk(tree.root(), readingAhead(false));
    struct rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    for (const bool ahead : {false, true}) {
        struct rlimit few = before;
        few.rlim_cur = openDescriptors() + 13;
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
        const Walked walked = walk(tree.root(), readingAhead(ahead));
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
        EXPECT_EQ(walked.lines, expected.lines) << "ahead " << ahead;
    }
}

TEST(DirectoryReader, listingsLeftEarlyLeaveNothingBehind) {
    TemporaryTree tree;
    for (int i = 0; i < 30; ++i) {
        for (int j = 0; j < 30; ++j) {
            tree.file(std::to_string(i) + "/" + std::to_string(j) + "/file");
        }
    }
    const test::DescriptorBalance descriptors;
    for (int round = 0; round < 50; ++round) {
        DirectoryReader reader(tree.root(), readingAhead(true), {});
        const auto root = reader.openRoot();
        for (std::size_t i = 0; i < root->entries().size(); ++i) {
            const auto child = reader.open(*root, i);  // none of its folders is opened
            EXPECT_EQ(child->entries().size(), 30u);
        }
    }
    EXPECT_EQ(descriptors.after(), descriptors.before());
}

TEST(DirectoryReader, aStopEndsTheWalkWithACancellation) {
    TemporaryTree tree;
    for (int i = 0; i < 200; ++i) {
        tree.file(std::to_string(i) + "/a/b/file");
    }
    for (const bool ahead : {false, true}) {
        std::stop_source stop;
        DirectoryReader reader(tree.root(), readingAhead(ahead), stop.get_token());
        std::size_t folders = 0;
        EXPECT_THROW(walk(reader, tree.root(),
                          [&](const std::string&) {
                              if (++folders == 100) {
                                  stop.request_stop();
                              }
                          }),
                     CancellationError);
        EXPECT_EQ(folders, 100u);
    }
}

TEST(DirectoryReader, aStopEndsTheListingOfALargeFolder) {
    TemporaryTree tree;
    for (int i = 0; i < 5000; ++i) {
        tree.file("f" + std::to_string(i));
    }
    std::stop_source stop;
    stop.request_stop();
    DirectoryReader reader(tree.root(), readingAhead(true), stop.get_token());
    EXPECT_THROW((void)reader.openRoot(), CancellationError);
}

}  // namespace
}  // namespace larkfold
