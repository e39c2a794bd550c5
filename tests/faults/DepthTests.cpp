// Folders a hundred thousand deep: complete, on a small stack, with a bounded number of descriptors.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>

#include "disk/DiskScanner.h"
#include "disk/FileNode.h"
#include "disk/ScanIndexDatabase.h"
#include "faults/IndexOracle.h"
#include "support/OpenDescriptors.h"
#include "support/Sanitized.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {
namespace {

constexpr std::size_t smallStack = isSanitized ? 1 << 20 : 1 << 18;  // instrumented frames are larger

void onSmallStack(const std::function<void()>& work) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, smallStack), 0);
    pthread_t thread{};
    ASSERT_EQ(pthread_create(
                  &thread, &attributes,
                  [](void* function) -> void* {
                      (*static_cast<const std::function<void()>*>(function))();
                      return nullptr;
                  },
                  const_cast<std::function<void()>*>(&work)),
              0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

// A chain of folders named "c" below `root`; with `comb`, each also holds a folder "z" with a file.
void makeChain(const std::string& root, int depth, bool comb) {
    int folder = open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_GE(folder, 0);
    for (int level = 0; level < depth; ++level) {
        if (comb) {
            ASSERT_EQ(mkdirat(folder, "z", 0755), 0);
            const int file = openat(folder, "z/f", O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
            ASSERT_EQ(write(file, "x", 1), 1);
            close(file);
        }
        ASSERT_EQ(mkdirat(folder, "c", 0755), 0);
        const int next = openat(folder, "c", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ASSERT_GE(next, 0);
        close(folder);
        folder = next;
    }
    close(folder);
}

struct Chain {
    int depth;
    bool comb;
    bool indexed;
};

class Depth : public testing::TestWithParam<Chain> {};

TEST_P(Depth, isCompleteOnASmallStackWithFewDescriptors) {
    const QuickFolder quick;
    const Chain chain = GetParam();
    TemporaryTree tree;
    const std::string root = tree.folder("root");
    makeChain(root, chain.depth, chain.comb);
    const std::string index = tree.folder("index") + "/latest-scan.sqlite";
    onSmallStack([&] {
        const DescriptorBalance descriptors;
        std::size_t most = 0;
        int reports = 0;
        ScanResult result = DiskScanner(chain.indexed ? std::optional(index) : std::nullopt)
                                .scan(root, everything(), {}, [&](const ScanProgress&) {
                                    if (++reports % 50 == 0) {
                                        most = std::max(most, openDescriptors());
                                    }
                                });
        EXPECT_EQ(result.errors.size(), 0U)
            << (result.errors.empty() ? "" : result.errors[0].error->description().substr(0, 300));
        EXPECT_EQ(result.totalDirectories, 1 + chain.depth * (chain.comb ? 2 : 1));
        EXPECT_EQ(result.totalFiles, chain.comb ? chain.depth : 0);
        EXPECT_GT(most, 0U);
        EXPECT_LT(most, descriptors.before() + 160);
        EXPECT_EQ(descriptors.after(), descriptors.before());

        FileNode::Pointer deepest = result.rootNode;
        std::size_t length = root.size();
        for (;;) {
            const auto& children = deepest->children();
            const auto next =
                std::find_if(children.begin(), children.end(),
                             [](const FileNode::Pointer& child) { return child->name() == "c"; });
            if (next == children.end()) {
                break;
            }
            deepest = *next;
            length += 2;
        }
        EXPECT_EQ(deepest->url().size(), length);
        EXPECT_EQ(length, root.size() + 2 * static_cast<std::size_t>(chain.depth));
        if (chain.indexed) {
            EXPECT_TRUE(isWhole(describeIndex(index))) << describeIndex(index).substr(0, 300);
            const ScanResult loaded = ScanIndexDatabase(index, false).loadTree(std::nullopt, 50'000);
            EXPECT_EQ(loaded.totalDirectories, result.totalDirectories);
            EXPECT_EQ(loaded.totalFiles, result.totalFiles);
        }
    });
}

INSTANTIATE_TEST_SUITE_P(Chains, Depth,
                         testing::Values(Chain{.depth = 100'000, .comb = false, .indexed = false},
                                         Chain{.depth = 30'000, .comb = true, .indexed = false},
                                         Chain{.depth = 4'000, .comb = false, .indexed = true},
                                         Chain{.depth = 2'000, .comb = true, .indexed = true}),
                         [](const testing::TestParamInfo<Chain>& chain) {
                             return std::to_string(chain.param.depth) +
                                    (chain.param.comb ? "comb" : "chain") +
                                    (chain.param.indexed ? "Indexed" : "");
                         });

// The stack is small enough for these depths: what destroys its levels one within the other does not survive.
TEST(DepthControl, recursionOnThatStack_isFoundOut) {
    struct Level {
        std::unique_ptr<Level> below;
    };
    const pid_t child = fork();
    if (child == 0) {
        onSmallStack([] {
            auto top = std::make_unique<Level>();
            Level* at = top.get();
            for (int i = 0; i < 100'000; ++i) {
                at->below = std::make_unique<Level>();
                at = at->below.get();
            }
            top.reset();
        });
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_FALSE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

}  // namespace
}  // namespace larkfold::test
