#include "platform/SystemWords.h"

#include <gtest/gtest.h>

#include <string_view>
#include <vector>

namespace larkfold {
namespace {

std::vector<std::string_view> rowsOf(const SystemWords& words) {
    return {words.computer,   words.computerStart,        words.system,   words.systemStart,
            words.ofSystem,   words.fileManager,          words.trash,    words.fileManagerButton,
            words.putBack,    words.putBackInFileManager, words.settings, words.commandKey,
            words.fileSystem, words.fileSystemStart,      words.diskTool};
}

TEST(SystemWords, noRowIsEmpty) {
    for (const SystemWords* words : {&macSystemWords, &linuxSystemWords}) {
        for (const std::string_view row : rowsOf(*words)) {
            EXPECT_FALSE(row.empty());
        }
    }
}

TEST(SystemWords, whatBeginsASentenceHasACapital) {
    for (const char* row : {linuxSystemWords.computerStart, linuxSystemWords.systemStart,
                            linuxSystemWords.fileSystemStart, linuxSystemWords.fileManagerButton}) {
        EXPECT_TRUE(row[0] >= 'A' && row[0] <= 'Z') << row;
    }
    for (const char* row : {linuxSystemWords.computer, linuxSystemWords.system, linuxSystemWords.ofSystem,
                            linuxSystemWords.fileSystem, linuxSystemWords.fileManager}) {
        EXPECT_TRUE(row[0] >= 'a' && row[0] <= 'z') << row;
    }
}

TEST(SystemWords, theTwoTablesDifferInEachRow) {
    const auto mac = rowsOf(macSystemWords);
    const auto own = rowsOf(linuxSystemWords);
    for (std::size_t row = 0; row < mac.size(); ++row) {
        EXPECT_NE(mac[row], own[row]);
    }
}

TEST(SystemWords, theBuildChoosesTheTableOfItsSystem) {
    EXPECT_EQ(&systemWords(), &linuxSystemWords);
}

}  // namespace
}  // namespace larkfold
