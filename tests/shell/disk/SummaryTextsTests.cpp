#include "shell/disk/SummaryTexts.h"

#include <gtest/gtest.h>

#include <string>

#include "disk/SavedScanLoader.h"

namespace larkfold {
namespace {

FileNode::Pointer summary(std::int64_t files, std::int64_t bytes = 3'000'000) {
    return FileNode::makeAggregate(FileNode::SummaryOrigin::index, bytes, files);
}

FileNode::Pointer file(const std::string& name) {
    return FileNode::makeFile(name, 1, 1, std::nullopt);
}

class SummaryTextsTest : public testing::Test {
protected:
    FileNode::Pointer add(const FileNode::Pointer& folder, FileNode::Pointer child) {
        folder->appendChild(child);
        return child;
    }
    // As many files as one load gives, in a folder of their own.
    void fill() {
        const auto many = add(root_, FileNode::makeDirectory("many"));
        for (std::int64_t number = 0; number < SavedScanLoader::maximumFiles; ++number) {
            add(many, file(std::to_string(number)));
        }
    }

    FileNode::Pointer root_ = FileNode::makeRoot("/home/ada/photos", "photos");
};

TEST_F(SummaryTextsTest, aSummarySaysWhoseFilesItStandsForAndHowTheyAreReached) {
    const auto many = add(root_, summary(18'204));
    EXPECT_EQ(
        texts::summaryExplanation(*many, true),
        "18,204 files directly in “photos” that are not shown one by one, 3 MB together. Open this to load "
        "more files.");
    EXPECT_EQ(
        texts::summaryExplanation(*many, false),
        "18,204 files directly in “photos” that are not shown one by one, 3 MB together. The saved index "
        "that lists every file is gone. Scan “photos” by itself to see more of it.");
    const auto inner = add(root_, FileNode::makeDirectory("inner"));
    EXPECT_EQ(
        texts::summaryExplanation(*add(inner, summary(1)), true),
        "One file directly in “inner”, 3 MB, that is not shown by its name. Open this to load more files.");
    EXPECT_EQ(texts::summaryExplanation(*root_, true), "");
    EXPECT_EQ(texts::summaryExplanation(*add(root_, file("a")), true), "");
}

TEST_F(SummaryTextsTest, whatALoadCannotBringIsNotPromised) {
    const auto rest = add(root_, summary(7));
    EXPECT_TRUE(loadBringsMore(*root_));
    fill();
    EXPECT_FALSE(loadBringsMore(*root_));
    EXPECT_TRUE(texts::summaryExplanation(*rest, true)
                    .endsWith("As many files of “photos” and below are listed as can be loaded at once."));
}

TEST_F(SummaryTextsTest, aSearchWithoutAFindSaysHowTheOthersAreReached) {
    const auto inner = add(root_, FileNode::makeDirectory("inner"));
    const auto way = [this](bool includesSubfolders, bool hasSavedIndex = true) {
        const QString text =
            texts::nothingFoundAmongLoaded(*root_, 1'000, 20'000, includesSubfolders, hasSavedIndex);
        const QString looked = includesSubfolders
                                   ? "Looked at 1,000 of the 20,000 files in this folder and below it. "
                                   : "Looked at 1,000 of the 20,000 files of this folder. ";
        EXPECT_TRUE(text.startsWith(looked)) << text.toStdString();
        return text.mid(looked.size());
    };
    add(inner, summary(5));
    EXPECT_EQ(
        way(true),
        "The others are counted together in summaries. Open a folder that holds one to load its files, then "
        "search there.");
    add(root_, summary(5));
    EXPECT_EQ(way(true), "The others are counted together in summaries. Load them to search among them too.");
    EXPECT_EQ(way(false), way(true));
    EXPECT_EQ(
        way(true, false),
        "The others are counted together in summaries, and the saved index that lists them is gone. Scan "
        "again to reach them.");
    fill();
    EXPECT_TRUE(way(true).contains("Open a folder that holds one"));
    EXPECT_EQ(
        way(false),
        "The others are counted together in a summary; as many files are listed as can be loaded at once.");
}

}  // namespace
}  // namespace larkfold
