#include "platform/SHA256.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <string>

#include "platform/Error.h"
#include "support/TemporaryTree.h"

namespace larkfold {
namespace {

using test::TemporaryTree;

std::string digestOf(const std::string& text, std::size_t piece) {
    SHA256 digest;
    for (std::size_t at = 0; at < text.size(); at += piece) {
        digest.update(std::as_bytes(std::span(text).subspan(at, std::min(piece, text.size() - at))));
    }
    return digest.finish();
}

// The examples of FIPS 180-4.
TEST(SHA256, knownDigests) {
    EXPECT_EQ(digestOf("", 1), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(digestOf("abc", 3), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(digestOf("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq", 7),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

TEST(FileSHA256, ofAnyLength_isThatOfItsContent) {
    TemporaryTree tree;
    for (const std::size_t length : {std::size_t{0}, std::size_t{1}, fileSHA256PieceSize - 1,
                                     fileSHA256PieceSize, fileSHA256PieceSize + 1, 3 * fileSHA256PieceSize}) {
        std::string content(length, '\0');
        for (std::size_t index = 0; index < length; ++index) {
            content[index] = static_cast<char>(index * 31 % 251);
        }
        EXPECT_EQ(fileSHA256(tree.file("file", content), {}), digestOf(content, 4096)) << length;
    }
}

TEST(FileSHA256, cancelled_readsNoFurther) {
    TemporaryTree tree;
    std::stop_source stop;
    stop.request_stop();
    EXPECT_THROW(fileSHA256(tree.file("file", "content"), stop.get_token()), CancellationError);
}

TEST(FileSHA256, whatIsNoFile_isRefused_andNeverWaitedFor) {
    TemporaryTree tree;
    EXPECT_THROW(fileSHA256(tree.fifo("pipe"), {}), SystemError);
    EXPECT_THROW(fileSHA256(tree.folder("folder"), {}), SystemError);
    EXPECT_THROW(fileSHA256(tree.path("missing"), {}), SystemError);
    EXPECT_THROW(fileSHA256("/dev/zero", {}), SystemError);
}

}  // namespace
}  // namespace larkfold
