#include "platform/UUID.h"

#include <pthread.h>

#include <atomic>
#include <bit>
#include <random>

namespace larkfold {

namespace {

// Counts the forks above this process: a child must not go on with its parent's sequence, or both would name
// their temporaries alike.
std::atomic<unsigned> forkGeneration{0};

void watchForks() {
    [[maybe_unused]] static const int registered =
        pthread_atfork(nullptr, nullptr, [] { forkGeneration.fetch_add(1, std::memory_order_relaxed); });
}

// xoshiro256++: four words of state, a few instructions for each number. Not for secrets; identifiers need to
// be distinct, and 256 bits of the system's randomness as a seed see to that.
class Generator {
public:
    Generator() { watchForks(); }

    std::uint64_t next() {
        const unsigned generation = forkGeneration.load(std::memory_order_relaxed);
        if (!seeded_ || generation != generation_) {
            seed();
            generation_ = generation;
            seeded_ = true;
        }
        const std::uint64_t result = std::rotl(state_[0] + state_[3], 23) + state_[0];
        const std::uint64_t t = state_[1] << 17;
        state_[2] ^= state_[0];
        state_[3] ^= state_[1];
        state_[1] ^= state_[2];
        state_[0] ^= state_[3];
        state_[2] ^= t;
        state_[3] = std::rotl(state_[3], 45);
        return result;
    }

private:
    void seed() {
        std::random_device device;
        for (std::uint64_t& word : state_) {
            word = (static_cast<std::uint64_t>(device()) << 32) | device();
        }
        state_[0] |= 1;  // the state must not be all zero
    }

    std::array<std::uint64_t, 4> state_{};
    unsigned generation_ = 0;
    bool seeded_ = false;
};

constexpr bool hasHyphenBefore(std::size_t byteIndex) {
    return byteIndex == 4 || byteIndex == 6 || byteIndex == 8 || byteIndex == 10;
}

int hexadecimalValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

}  // namespace

UUID UUID::make() {
    thread_local Generator generator;
    const std::uint64_t words[2] = {generator.next(), generator.next()};
    UUID id;
    std::memcpy(id.bytes.data(), words, id.bytes.size());
    id.bytes[6] = static_cast<std::uint8_t>((id.bytes[6] & 0x0F) | 0x40);  // version 4
    id.bytes[8] = static_cast<std::uint8_t>((id.bytes[8] & 0x3F) | 0x80);  // variant 1
    return id;
}

std::optional<UUID> UUID::parse(std::string_view text) {
    if (text.size() != 36) {
        return std::nullopt;
    }
    UUID id;
    std::size_t at = 0;
    for (std::size_t index = 0; index < id.bytes.size(); ++index) {
        if (hasHyphenBefore(index) && text[at++] != '-') {
            return std::nullopt;
        }
        const int high = hexadecimalValue(text[at++]);
        const int low = hexadecimalValue(text[at++]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        id.bytes[index] = static_cast<std::uint8_t>(high * 16 + low);
    }
    return id;
}

std::string UUID::text() const {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string result;
    result.reserve(36);
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        if (hasHyphenBefore(index)) {
            result += '-';
        }
        result += digits[bytes[index] >> 4];
        result += digits[bytes[index] & 0x0F];
    }
    return result;
}

}  // namespace larkfold
