#include "platform/Ed25519.h"

#include <gtest/gtest.h>

#include <string>

namespace larkfold {
namespace {

std::string bytesOf(std::string_view digits) {
    std::string bytes;
    for (std::size_t place = 0; place + 1 < digits.size(); place += 2) {
        bytes += static_cast<char>(std::stoi(std::string(digits.substr(place, 2)), nullptr, 16));
    }
    return bytes;
}

struct Vector {
    const char* publicKey;
    const char* bytes;
    const char* signature;
};

// The first three of RFC 8032, section 7.1.
constexpr Vector kVectors[] = {
    {"d75a980182b10ab7d54bfed3c964073a0ee172f3daa62325af021a68f707511a", "",
     "e5564300c360ac729086e2cc806e828a84877f1eb8e5d974d873e065224901555fb8821590a33bacc61e39701cf9b46bd25bf5f"
     "0595b"
     "be24655141438e7a100b"},
    {"3d4017c3e843895a92b70aa74d1b7ebc9c982ccf2ec4968cc0cd55f12af4660c", "72",
     "92a009a9f0d4cab8720e820b5f642540a2b27b5416503f8fb3762223ebdb69da085ac1e43e15996e458f3613d0f11d8c387b2ea"
     "eb430"
     "2aeeb00d291612bb0c00"},
    {"fc51cd8e6218a1a38da47ed00230f0580816ed13ba3303ac5deb911548908025", "af82",
     "6291d657deec24024827e69c3abe01a30ce548a284743a445e3680d7db5ac3ac18ff9b538d16f290ae67f760984dc6594a7c15e"
     "9716e"
     "d28dc027beceea1ec40a"},
};

TEST(Ed25519Test, theStandardsOwnSignaturesAreRight) {
    for (const Vector& vector : kVectors) {
        EXPECT_TRUE(
            isSignedByEd25519(bytesOf(vector.bytes), bytesOf(vector.signature), bytesOf(vector.publicKey)))
            << vector.bytes;
    }
}

TEST(Ed25519Test, oneBitOfBytesSignatureOrKeyIsEnough) {
    const std::string bytes = bytesOf(kVectors[2].bytes);
    const std::string signature = bytesOf(kVectors[2].signature);
    const std::string key = bytesOf(kVectors[2].publicKey);
    const auto eachBit = [](std::string text, const auto& check) {
        for (std::size_t bit = 0; bit < text.size() * 8; ++bit) {
            const auto mask = static_cast<char>(1 << (bit % 8));
            text[bit / 8] = static_cast<char>(text[bit / 8] ^ mask);
            EXPECT_FALSE(check(text)) << bit;
            text[bit / 8] = static_cast<char>(text[bit / 8] ^ mask);
        }
    };
    eachBit(bytes, [&](const std::string& changed) { return isSignedByEd25519(changed, signature, key); });
    eachBit(signature, [&](const std::string& changed) { return isSignedByEd25519(bytes, changed, key); });
    eachBit(key, [&](const std::string& changed) { return isSignedByEd25519(bytes, signature, changed); });
    EXPECT_TRUE(isSignedByEd25519(bytes, signature, key));
}

TEST(Ed25519Test, keysAndSignaturesOfAnotherSizeAreNone) {
    const std::string bytes = bytesOf(kVectors[1].bytes);
    const std::string signature = bytesOf(kVectors[1].signature);
    const std::string key = bytesOf(kVectors[1].publicKey);
    EXPECT_FALSE(isSignedByEd25519(bytes, signature, ""));
    EXPECT_FALSE(isSignedByEd25519(bytes, "", key));
    EXPECT_FALSE(isSignedByEd25519(bytes, signature + "x", key));
    EXPECT_FALSE(isSignedByEd25519(bytes, signature.substr(1), key));
    EXPECT_FALSE(isSignedByEd25519(bytes, signature, key + "x"));
}

}  // namespace
}  // namespace larkfold
