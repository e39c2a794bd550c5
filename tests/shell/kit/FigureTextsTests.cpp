#include "shell/kit/FigureTexts.h"

#include <gtest/gtest.h>

namespace larkfold {
namespace {

TEST(FigureTextsTest, figuresAreWrittenAsThePlatformWritesThem) {
    EXPECT_EQ(texts::bytes(4'200'000'000), "4.2 GB");
    EXPECT_EQ(texts::grouped(12'408), "12,408");
    EXPECT_EQ(texts::share(0.6184), "61.8%");
}

TEST(FigureTextsTest, oneIsNotMany) {
    EXPECT_EQ(texts::counted(0, "file", "files"), "0 files");
    EXPECT_EQ(texts::counted(1, "file", "files"), "1 file");
    EXPECT_EQ(texts::counted(12'408, "file", "files"), "12,408 files");
}

}  // namespace
}  // namespace larkfold
