#include "removal/CleanupOperation.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace larkfold::test {
namespace {

using Item = CleanupOperation::Item;

Item item(std::optional<std::int64_t> bytes, std::optional<std::string> error = {}) {
    return {.originalPath = "/a", .trashPath = {}, .logicalBytes = bytes, .error = std::move(error)};
}

TEST(CleanupOperation, countsOnlyItemsWithoutAnError) {
    CleanupOperation operation;
    operation.items = {item(10), item(20, "It is in use."), item(std::nullopt, "It is gone."), item(3)};
    EXPECT_EQ(operation.succeededCount(), 2);
    EXPECT_EQ(operation.dataProcessed(), 13);
    EXPECT_FALSE(operation.hasPartialMeasurement());
}

TEST(CleanupOperation, anItemWithoutASizeAddsNothingAndIsTold) {
    CleanupOperation operation;
    operation.items = {item(10), item(std::nullopt)};
    EXPECT_EQ(operation.succeededCount(), 2);
    EXPECT_EQ(operation.dataProcessed(), 10);
    EXPECT_TRUE(operation.hasPartialMeasurement());
}

TEST(CleanupOperation, withoutItems_isEmptyAndWhole) {
    const CleanupOperation operation;
    EXPECT_EQ(operation.succeededCount(), 0);
    EXPECT_EQ(operation.dataProcessed(), 0);
    EXPECT_FALSE(operation.hasPartialMeasurement());
}

TEST(CleanupOperation, freeSpaceChange_isTheSumOverAllVolumes) {
    CleanupOperation operation;
    operation.volumes = {{.path = "/", .before = 100, .after = 150},
                         {.path = "/home", .before = 7, .after = 9}};
    EXPECT_EQ(operation.freeSpaceChange(), 52);
}

TEST(CleanupOperation, freeSpaceChange_mayBeNegative) {
    CleanupOperation operation;
    operation.volumes = {{.path = "/", .before = 100, .after = 40}};
    EXPECT_EQ(operation.freeSpaceChange(), -60);
}

TEST(CleanupOperation, freeSpaceChange_isUnknownWithoutVolumesAndWhereOneWasNotMeasured) {
    CleanupOperation operation;
    EXPECT_EQ(operation.freeSpaceChange(), std::nullopt);
    operation.volumes = {{.path = "/", .before = 1, .after = 2}, {.path = "/home", .before = 1, .after = {}}};
    EXPECT_EQ(operation.freeSpaceChange(), std::nullopt);
    operation.volumes = {{.path = "/", .before = {}, .after = 2}};
    EXPECT_EQ(operation.freeSpaceChange(), std::nullopt);
}

TEST(CleanupOperation, sumsOfAbsurdSizes_stopAtTheEndsOfTheirType) {
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();
    CleanupOperation operation;
    operation.items = {item(most), item(most)};
    operation.volumes = {{.path = "/", .before = most, .after = least},
                         {.path = "/home", .before = 1, .after = 0}};
    EXPECT_EQ(operation.dataProcessed(), most);
    EXPECT_EQ(operation.freeSpaceChange(), least);
}

}  // namespace
}  // namespace larkfold::test
