// Signatures by Ed25519 (RFC 8032): whether bytes come from whoever holds a key. Free functions, safe from
// any thread.
#pragma once

#include <cstddef>
#include <string_view>

namespace larkfold {

inline constexpr std::size_t ed25519PublicKeySize = 32;  // bytes
inline constexpr std::size_t ed25519SignatureSize = 64;  // bytes

// True where `signature` is that of the whole of `bytes` by the key to which `publicKey` belongs. A key or a
// signature of another size, and whatever the library does not take, is no signature.
bool isSignedByEd25519(std::string_view bytes, std::string_view signature, std::string_view publicKey);

}  // namespace larkfold
