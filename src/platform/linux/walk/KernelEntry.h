// One record of getdents64, as the kernel lays it out. Linux part of the platform layer only.
#pragma once

#include <cstdint>

namespace larkfold {

struct KernelEntry {
    std::uint64_t inode;
    std::int64_t offset;
    std::uint16_t length;
    std::uint8_t type;
    __extension__ char name[];  // as many bytes as `length` leaves, NUL-terminated
};

}  // namespace larkfold
