#include "platform/UUID.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <mutex>
#include <thread>
#include <unordered_set>
#include <vector>

namespace larkfold {
namespace {

TEST(UUIDTest, isOfVersionFourAndVariantOne) {
    for (int count = 0; count < 1000; ++count) {
        const UUID id = UUID::make();
        EXPECT_EQ(id.bytes[6] >> 4, 4);
        EXPECT_EQ(id.bytes[8] >> 6, 2);
    }
}

TEST(UUIDTest, textIsUpperCaseAndReadsBack) {
    const UUID id = UUID::make();
    const std::string text = id.text();
    ASSERT_EQ(text.size(), 36u);
    EXPECT_EQ(text.find_first_not_of("0123456789ABCDEF-"), std::string::npos) << text;
    for (const std::size_t at : {8u, 13u, 18u, 23u}) {
        EXPECT_EQ(text[at], '-') << text;
    }
    EXPECT_EQ(UUID::parse(text), id);
}

TEST(UUIDTest, readsEitherCase) {
    const auto upper = UUID::parse("0123ABCD-89EF-4123-8456-789ABCDEF012");
    ASSERT_TRUE(upper);
    EXPECT_EQ(upper, UUID::parse("0123abcd-89ef-4123-8456-789abcdef012"));
    EXPECT_EQ(upper->bytes[3], 0xCD);
    EXPECT_EQ(upper->text(), "0123ABCD-89EF-4123-8456-789ABCDEF012");
}

TEST(UUIDTest, refusesOtherForms) {
    EXPECT_FALSE(UUID::parse(""));
    EXPECT_FALSE(UUID::parse("0123ABCD-89EF-4123-8456-789ABCDEF01"));
    EXPECT_FALSE(UUID::parse("0123ABCD-89EF-4123-8456-789ABCDEF0123"));
    EXPECT_FALSE(UUID::parse("0123ABCD089EF-4123-8456-789ABCDEF012"));
    EXPECT_FALSE(UUID::parse("0123ABCG-89EF-4123-8456-789ABCDEF012"));
    EXPECT_FALSE(UUID::parse("{123ABCD-89EF-4123-8456-789ABCDEF01}"));
}

TEST(UUIDTest, threadsNeverMakeTheSame) {
    std::mutex mutex;
    std::unordered_set<UUID> all;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&] {
            std::vector<UUID> own(5000);
            for (UUID& id : own) {
                id = UUID::make();
            }
            const std::lock_guard lock(mutex);
            all.insert(own.begin(), own.end());
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(all.size(), 40'000u);
}

TEST(UUIDTest, aForkedChildDoesNotRepeatItsParentsSequence) {
    UUID::make();  // seeded before the fork
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        const UUID id = UUID::make();
        _exit(write(ends[1], id.bytes.data(), id.bytes.size()) == 16 ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
    UUID ofChild;
    ASSERT_EQ(read(ends[0], ofChild.bytes.data(), 16), 16);
    close(ends[0]);
    close(ends[1]);
    EXPECT_NE(ofChild, UUID::make());
}

}  // namespace
}  // namespace larkfold
