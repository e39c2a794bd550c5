// Calls that a signal may interrupt, and the few things that are built of them everywhere.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <string_view>

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold::system_calls {

// Calls again as long as a signal interrupts. What `call` returns is negative where it failed.
template <typename Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

// All of the bytes, where the descriptor stands. 0, or the error.
inline int writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written =
            uninterrupted([&] { return ::write(descriptor, bytes.data(), bytes.size()); });
        if (written <= 0) {
            // That nothing is written is not said to happen for files; taken for a full disk rather than
            // tried forever.
            return written < 0 ? errno : ENOSPC;
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

// 0, or the error.
inline int sync(int descriptor) {
    return uninterrupted([&] { return ::fsync(descriptor); }) == 0 ? 0 : errno;
}

}  // namespace larkfold::system_calls
