#include "platform/Ed25519.h"

#include <openssl/evp.h>

#include <memory>

namespace larkfold {

namespace {

struct Free {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

const unsigned char* octets(std::string_view bytes) {
    return reinterpret_cast<const unsigned char*>(bytes.data());
}

}  // namespace

bool isSignedByEd25519(std::string_view bytes, std::string_view signature, std::string_view publicKey) {
    if (publicKey.size() != ed25519PublicKeySize || signature.size() != ed25519SignatureSize) {
        return false;
    }
    const std::unique_ptr<EVP_PKEY, Free> key(
        EVP_PKEY_new_raw_public_key(EVP_PKEY_ED25519, nullptr, octets(publicKey), publicKey.size()));
    const std::unique_ptr<EVP_MD_CTX, Free> context(EVP_MD_CTX_new());
    // The scheme has its digest built in: none is named. Anything but 1 is no, errors included.
    return key && context && EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, key.get()) == 1 &&
           EVP_DigestVerify(context.get(), octets(signature), signature.size(), octets(bytes),
                            bytes.size()) == 1;
}

}  // namespace larkfold
