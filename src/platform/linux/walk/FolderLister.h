// Lists folders one after the other: their names in the order of bytes, and what the walk wants to know of
// each.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <stop_token>
#include <vector>

#include "platform/DirectoryReader.h"
#include "platform/linux/walk/KernelEntry.h"
#include "platform/linux/walk/ListedFolder.h"

namespace larkfold {

// Keeps its buffers. One per thread.
class FolderLister {
public:
    explicit FolderLister(DirectoryReaderOptions options);

    // Whether the values are as the kernel has them, or are asked of whoever answers for the file system. A
    // local disk knows no difference, and of a mount that came upon an entry just now the first way asks
    // nothing.
    enum class Values { known, asked };

    // Fills `folder` from its descriptor. Nothing that is mounted onto an entry is looked at on this thread.
    // Throws CancellationError.
    void list(ListedFolder& folder, Values values, const std::stop_token& stop);

private:
    struct RawEntry {
        std::uint64_t inode;
        std::uint64_t key;  // the first eight bytes of the name, so that most comparisons touch no name
        std::uint32_t nameOffset;
        std::uint32_t nameLength;
        std::uint8_t type;
    };

    void readItself(ListedFolder& folder);
    void readNames(ListedFolder& folder, const std::stop_token& stop);
    void take(ListedFolder& folder, const KernelEntry& entry);
    void orderByName(const std::stop_token& stop);
    void readValues(ListedFolder& folder, const std::stop_token& stop);
    void readMounted(const ListedFolder& folder, const RawEntry& raw, DirectoryEntry& entry,
                     const std::stop_token& stop) const;
    void askInTime(const ListedFolder& folder, DirectoryEntry& entry, const std::stop_token& stop) const;

    DirectoryReaderOptions options_;
    Values wanted_ = Values::known;
    bool mayLookAtEntries_ = false;
    struct statx values_{};
    std::vector<char> buffer_;
    std::vector<RawEntry> raw_;
    std::vector<char> nameBytes_;
};

}  // namespace larkfold
