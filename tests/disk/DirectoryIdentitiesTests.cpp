#include "disk/DirectoryIdentities.h"

#include <gtest/gtest.h>

#include <random>
#include <unordered_set>

namespace larkfold {
namespace {

TEST(DirectoryIdentities, tellsTheSameAsAPlainSet) {
    std::mt19937_64 random(7);
    DirectoryIdentities identities;
    std::unordered_set<FileIdentity> expected;
    for (int i = 0; i < 200'000; ++i) {
        // Runs, far jumps, repeats, several volumes, and zeros.
        const FileIdentity identity{.volume = random() % 3,
                                    .file = random() % 4 == 0 ? random() : random() % 50'000};
        EXPECT_EQ(identities.insert(identity), expected.insert(identity).second);
    }
    EXPECT_EQ(identities.size(), expected.size());
    EXPECT_EQ(identities.insert({}), expected.insert(FileIdentity{}).second);
    identities.clear();
    EXPECT_EQ(identities.size(), 0u);
    EXPECT_TRUE(identities.insert({.volume = 1, .file = 2}));
}

TEST(DirectoryIdentities, anInodeOfAnotherVolumeIsAnotherDirectory) {
    DirectoryIdentities identities;
    EXPECT_TRUE(identities.insert({.volume = 1, .file = 42}));
    EXPECT_TRUE(identities.insert({.volume = 2, .file = 42}));
    EXPECT_FALSE(identities.insert({.volume = 1, .file = 42}));
}

TEST(DirectoryIdentities, numbersFarApartByPowersOfTwoStayQuick) {
    DirectoryIdentities identities;  // would take hours if they all fell into one run
    for (std::uint64_t i = 0; i < 200'000; ++i) {
        ASSERT_TRUE(identities.insert({.volume = 1, .file = i << 32}));
    }
}

}  // namespace
}  // namespace larkfold
