// A file descriptor that closes itself. Linux part of the platform layer only.
#pragma once

#include <unistd.h>

#include <utility>

namespace larkfold {

class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            reset(std::exchange(other.descriptor_, -1));
        }
        return *this;
    }
    ~FileDescriptor() { reset(); }

    int get() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }

    void reset(int descriptor = -1) {
        if (descriptor_ >= 0) {
            // Never repeated after EINTR: on Linux the descriptor is gone all the same.
            ::close(descriptor_);
        }
        descriptor_ = descriptor;
    }

    // Closes and tells whether that went well: for files that were written, since some file systems report
    // late.
    bool close() {
        const int descriptor = std::exchange(descriptor_, -1);
        return descriptor < 0 || ::close(descriptor) == 0;
    }

private:
    int descriptor_ = -1;
};

}  // namespace larkfold
