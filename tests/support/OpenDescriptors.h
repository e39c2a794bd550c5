// How many descriptors this process has open: what is compared before and after. For the programs that are
// killed and starved too, so without anything of a test's own.
#pragma once

#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <string>
#include <system_error>
#include <thread>

namespace larkfold::test {

inline std::size_t openDescriptors() {
    using Entries = std::filesystem::directory_iterator;
    // The last one is that of the listing itself.
    return static_cast<std::size_t>(std::distance(Entries("/proc/self/fd"), Entries())) - 1;
}

// What they are of, a line each: for whoever has to find out which one stayed.
inline std::string namesOfOpenDescriptors() {
    std::string names;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const auto target = std::filesystem::read_symlink(entry.path(), gone);
        names += entry.path().filename().string() + " " + (gone ? gone.message() : target.string()) + "\n";
    }
    return names;
}

// The count at two moments of a program. At the second one it waits for the threads that have come up since:
// one whose answer has been taken may still be on its way out, with whatever it or a sanitizer beneath it has
// open.
class DescriptorBalance {
public:
    DescriptorBalance() {
        // The first thread of a program calls up one of the thread sanitizer's own, which stays.
        pid_t number = 0;
        std::thread([&number] { number = gettid(); }).join();
        while (std::filesystem::exists("/proc/self/task/" + std::to_string(number))) {
            std::this_thread::yield();
        }
        threadsBefore_ = threads();
        before_ = openDescriptors();
    }
    std::size_t before() const { return before_; }
    std::size_t after() const {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (threads() > threadsBefore_ && std::chrono::steady_clock::now() < end) {
            std::this_thread::yield();
        }
        return openDescriptors();
    }

private:
    static std::size_t threads() {
        using Entries = std::filesystem::directory_iterator;
        return static_cast<std::size_t>(std::distance(Entries("/proc/self/task"), Entries()));
    }

    std::size_t threadsBefore_ = 0;
    std::size_t before_ = 0;
};

}  // namespace larkfold::test
