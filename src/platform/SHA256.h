// SHA-256 of what is fed in, and of whole files.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <stop_token>
#include <string>

namespace larkfold {

// One digest in the making. Not shared between threads.
class SHA256 {
public:
    SHA256();
    ~SHA256();
    SHA256(const SHA256&) = delete;
    SHA256& operator=(const SHA256&) = delete;

    void update(std::span<const std::byte> bytes);

    // The digest as 64 lower-case hexadecimal digits. Once, at the end.
    std::string finish();

private:
    struct Context;
    std::unique_ptr<Context> context_;
};

// How much of a file is read at a time; a cancellation is looked for at each piece.
inline constexpr std::size_t fileSHA256PieceSize = std::size_t{1} << 20;

// The digest of the whole content of the regular file at `path`, as 64 lower-case hexadecimal digits. Links
// are followed. Anything that is no regular file is refused unread. Throws SystemError and CancellationError.
// Safe from any thread.
std::string fileSHA256(const std::string& path, const std::stop_token& stop);

}  // namespace larkfold
