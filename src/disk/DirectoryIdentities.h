// The directories that a scan has entered, by identity.
//
// A table without links, asked once per directory: directories that were made one after the other have
// neighbouring numbers and lie side by side in it, so a walk touches few lines of memory. A set of nodes cost
// three hundredths of a whole scan.
//
// One context at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "platform/FileIdentity.h"

namespace larkfold {

class DirectoryIdentities {
public:
    // Adds it; false where it was there already.
    bool insert(const FileIdentity& identity) {
        if (identity == FileIdentity{}) {
            return !std::exchange(holdsZero_, true);  // the table's mark of an empty place
        }
        if ((count_ + 1) * 4 > table_.size() * 3) {
            grow();
        }
        FileIdentity& place = find(identity);
        if (place == identity) {
            return false;
        }
        place = identity;
        ++count_;
        return true;
    }

    void clear() {
        table_.clear();
        table_.shrink_to_fit();
        count_ = 0;
        holdsZero_ = false;
    }

    std::size_t size() const { return count_ + (holdsZero_ ? 1 : 0); }

private:
    // Sixteen neighbouring numbers share a run of places; the runs are spread.
    FileIdentity& find(const FileIdentity& identity) {
        const std::size_t mask = table_.size() - 1;
        const std::uint64_t run = ((identity.file >> 4) ^ (identity.volume << 40)) * 0x9E3779B97F4A7C15ull;
        std::size_t at = static_cast<std::size_t>((run >> 32 << 4) | (identity.file & 15)) & mask;
        while (table_[at] != FileIdentity{} && table_[at] != identity) {
            at = (at + 1) & mask;
        }
        return table_[at];
    }

    void grow() {
        std::vector<FileIdentity> old =
            std::exchange(table_, std::vector<FileIdentity>(table_.empty() ? 1024 : table_.size() * 2));
        for (const FileIdentity& identity : old) {
            if (identity != FileIdentity{}) {
                find(identity) = identity;
            }
        }
    }

    std::vector<FileIdentity> table_;  // a power of two; all zero where empty
    std::size_t count_ = 0;
    bool holdsZero_ = false;
};

}  // namespace larkfold
