#include "platform/Base64.h"

#include <gtest/gtest.h>

namespace larkfold {
namespace {

TEST(Base64Test, encodesTheExamplesOfItsStandard) {
    EXPECT_EQ(base64Encoded(""), "");
    EXPECT_EQ(base64Encoded("f"), "Zg==");
    EXPECT_EQ(base64Encoded("fo"), "Zm8=");
    EXPECT_EQ(base64Encoded("foo"), "Zm9v");
    EXPECT_EQ(base64Encoded("foobar"), "Zm9vYmFy");
    EXPECT_EQ(base64Encoded("\xFB\xFF\xFE"), "+//+");
}

TEST(Base64Test, everyLengthAndByteReadsBack) {
    std::string bytes;
    for (int value = 0; value < 600; ++value) {
        EXPECT_EQ(base64Decoded(base64Encoded(bytes)), bytes);
        bytes += static_cast<char>(value * 37);
    }
}

TEST(Base64Test, refusesWhatIsNoBase64) {
    for (const char* text :
         {"A", "AB", "ABC", "A===", "====", "Zg==Zg==", "Zm9v\n", "Zm 9", "Zm9_", "Zh==", "Zm9="}) {
        EXPECT_FALSE(base64Decoded(text)) << text;
    }
}

}  // namespace
}  // namespace larkfold
