#include "disk/ScanResult.h"

#include <gtest/gtest.h>

#include <limits>

#include "disk/DiskScanOptions.h"
#include "disk/ScanProgress.h"

namespace larkfold {
namespace {

constexpr std::int64_t gib = 0x40000000;
constexpr auto notice =
    "The logical file map exceeds this volume's physical capacity. File system clones or virtual paths "
    "may share storage, so mapped sizes are not all independently reclaimable.";

ScanResult result(std::string rootPath, std::optional<std::int64_t> capacity, std::int64_t total) {
    ScanResult made;
    made.rootPath = std::move(rootPath);
    made.volumeCapacity = capacity;
    made.totalSize = total;
    return made;
}

TEST(ScanResult, countsFilesFoldersAndWhatSummariesStandFor) {
    const auto root = FileNode::makeRoot("/r", "r");
    const auto folder = FileNode::makeDirectory("a");
    root->appendChild(folder);
    root->appendChild(FileNode::makeFile("f", 1, 1, std::nullopt));
    root->appendChild(FileNode::makeAggregate(FileNode::SummaryOrigin::scan, 5, 40));
    EXPECT_EQ(ScanResult::countNodes(*root), (ScanResult::NodeCounts{.files = 41, .directories = 2}));
    EXPECT_EQ(ScanResult::countNodes(*folder), (ScanResult::NodeCounts{.files = 0, .directories = 1}))
        << "an empty folder";
    EXPECT_EQ(ScanResult::countNodes(*root->children()[1]),
              (ScanResult::NodeCounts{.files = 1, .directories = 0}));
    EXPECT_EQ(ScanResult::countNodes(*root->children()[2]),
              (ScanResult::NodeCounts{.files = 40, .directories = 0}));
}

TEST(ScanResult, capacityNoticeComesOneByteBeyondCapacityAndSlack) {
    EXPECT_EQ(result("/", 20 * gib, 21 * gib).capacityNotice(), std::nullopt);
    EXPECT_EQ(result("/", 20 * gib, 21 * gib + 1).capacityNotice(), notice);
}

TEST(ScanResult, capacitySlackIsATwentiethOrOneGibibyteWhicheverIsMore) {
    EXPECT_EQ(result("/", 1, gib + 1).capacityNotice(), std::nullopt);
    EXPECT_EQ(result("/", 1, gib + 2).capacityNotice(), notice);
    EXPECT_EQ(result("/", 100 * gib + 19, 105 * gib + 19).capacityNotice(), std::nullopt)
        << "whole-number division";
    EXPECT_EQ(result("/", 100 * gib + 19, 105 * gib + 20).capacityNotice(), notice);
}

TEST(ScanResult, aFolderNeverGivesACapacityNotice) {
    EXPECT_EQ(result("/home", gib, 1000 * gib).capacityNotice(), std::nullopt);
    EXPECT_EQ(result("/.//", gib, 1000 * gib).capacityNotice(), notice) << "the root by another spelling";
}

TEST(ScanResult, anUnknownCapacityGivesNoNotice) {
    EXPECT_EQ(result("/", std::nullopt, 1000 * gib).capacityNotice(), std::nullopt);
    EXPECT_EQ(result("/", 0, 1000 * gib).capacityNotice(), std::nullopt);
    EXPECT_EQ(result("/", -5, 1000 * gib).capacityNotice(), std::nullopt);
}

TEST(ScanResult, capacityAtTheEndOfTheRangeDoesNotWrap) {
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(result("/", most, most).capacityNotice(), std::nullopt);
}

TEST(ScanResult, everyResultHasAnIdentifierOfItsOwn) {
    EXPECT_NE(ScanResult().id, ScanResult().id);
}

TEST(ScanProgress, startsEmpty) {
    EXPECT_EQ(ScanProgress(), (ScanProgress{"", 0, 0, 0, false}));
}

TEST(DiskScanOptions, hiddenFilesAndLinksAreSkippedAndNothingIsLimitedUnlessSaidOtherwise) {
    const DiskScanOptions options;
    EXPECT_TRUE(options.skipHiddenFiles);
    EXPECT_TRUE(options.skipSymbolicLinks);
    EXPECT_TRUE(options.excludedPathPrefixes.empty());
    EXPECT_EQ(options.maximumRetainedFiles, std::nullopt);
}

}  // namespace
}  // namespace larkfold
