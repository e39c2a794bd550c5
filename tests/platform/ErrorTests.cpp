#include "platform/Error.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <set>
#include <thread>
#include <type_traits>
#include <vector>

#include "platform/UTF8.h"

namespace larkfold {
namespace {

using Operation = SystemError::Operation;

constexpr Operation operations[] = {Operation::open,        Operation::list,    Operation::readAttributes,
                                    Operation::read,        Operation::write,   Operation::create,
                                    Operation::remove,      Operation::replace, Operation::sync,
                                    Operation::permissions, Operation::launch,  Operation::resolve};

TEST(SystemErrorTest, everyOperationAndCodeIsOneLineOfWholeSentences) {
    for (const Operation operation : operations) {
        for (int code = 1; code < 134; ++code) {
            for (const char* path : {"", "/tmp/a\nb\xFF"}) {
                const std::string text = SystemError(operation, code, path).description();
                EXPECT_TRUE(utf8::isValid(text)) << text;
                EXPECT_EQ(text.find('\n'), std::string::npos) << text;
                EXPECT_TRUE(text.ends_with(".")) << text;
                EXPECT_FALSE(text.ends_with("..")) << text;
                EXPECT_TRUE(text.starts_with("The ") || text.starts_with("“")) << text;
            }
        }
    }
}

TEST(SystemErrorTest, operationsAreToldApart) {
    std::set<std::string> texts;
    for (const Operation operation : operations) {
        texts.insert(SystemError(operation, EIO, "/x").description());
    }
    EXPECT_EQ(texts.size(), std::size(operations));
}

TEST(SystemErrorTest, sentenceNamesThePathAndTheReason) {
    EXPECT_EQ(SystemError(Operation::open, EACCES, "/home/a/b").description(),
              "“/home/a/b” could not be opened: you do not have permission.");
    EXPECT_EQ(SystemError(Operation::list, ENOENT, "").description(),
              "The contents of the item could not be listed: it is no longer there.");
    EXPECT_EQ(SystemError(Operation::write, ENOSPC, "").description(),
              "The item could not be written: the disk is full. Free some space and try again.");
}

TEST(SystemErrorTest, onlyLackOfARightIsAPermissionFailure) {
    EXPECT_TRUE(SystemError(Operation::open, EACCES, "/x").isPermissionFailure());
    EXPECT_TRUE(SystemError(Operation::open, EPERM, "/x").isPermissionFailure());
    EXPECT_FALSE(SystemError(Operation::open, ENOENT, "/x").isPermissionFailure());
    EXPECT_FALSE(SystemError(Operation::open, EROFS, "/x").isPermissionFailure());
}

TEST(SystemErrorTest, whatIsTheDescriptionAndStaysValidInACopy) {
    const SystemError error(Operation::open, EIO, "/x");
    const char* text = error.what();
    EXPECT_EQ(text, error.description());
    const SystemError copy = error;
    EXPECT_STREQ(copy.what(), text);
    EXPECT_NE(copy.what(), text) << "each error keeps its own text";
    EXPECT_EQ(error.what(), text) << "the same pointer at each call";
}

TEST(SystemErrorTest, whatMayBeAskedFromManyThreadsAtOnce) {
    const ErrorValue error = std::make_shared<SystemError>(Operation::open, EIO, "/x");
    std::vector<std::thread> threads;
    std::vector<const char*> texts(8);
    for (const char*& text : texts) {
        threads.emplace_back([&text, error] { text = error->what(); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(std::set<const char*>(texts.begin(), texts.end()).size(), 1u);
}

TEST(CancellationErrorTest, isNotCaughtAsAnErrorForTheUser) {
    static_assert(!std::is_base_of_v<Error, CancellationError>);
    EXPECT_THROW(
        {
            try {
                throw CancellationError();
            } catch (const Error&) {
                ADD_FAILURE() << "a cancellation was taken for a failure";
            }
        },
        CancellationError);
}

}  // namespace
}  // namespace larkfold
