#include "platform/SHA256.h"

#include <openssl/evp.h>

#include <array>
#include <new>
#include <stdexcept>

namespace larkfold {

struct SHA256::Context {
    EVP_MD_CTX* digest = EVP_MD_CTX_new();

    Context() = default;
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;
    ~Context() { EVP_MD_CTX_free(digest); }
};

namespace {

// The library fails only where it was built without the digest or has no memory: nothing that a caller could
// mend.
void require(int outcome) {
    if (outcome != 1) {
        throw std::runtime_error("SHA-256 is not available.");
    }
}

}  // namespace

SHA256::SHA256() : context_(std::make_unique<Context>()) {
    if (context_->digest == nullptr) {
        throw std::bad_alloc();
    }
    require(EVP_DigestInit_ex(context_->digest, EVP_sha256(), nullptr));
}

SHA256::~SHA256() = default;

void SHA256::update(std::span<const std::byte> bytes) {
    require(EVP_DigestUpdate(context_->digest, bytes.data(), bytes.size()));
}

std::string SHA256::finish() {
    std::array<unsigned char, 32> digest;
    require(EVP_DigestFinal_ex(context_->digest, digest.data(), nullptr));
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(digest.size() * 2);
    for (const unsigned char byte : digest) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

}  // namespace larkfold
