// The files of a subtree while its rows go by once, in any order: which of them are the largest, and for each
// folder how many it has and how much they take.
//
// Among files of one size those with the smallest row numbers are taken first. That is what the library does
// when it orders a whole table by size and cuts it off, so the same files are found whatever the order in
// which the rows come.
//
// Memory follows the limit and the number of folders that have files. One object belongs to one thread at a
// time.
#pragma once

#include <cstdint>
#include <functional>
#include <memory_resource>
#include <string_view>
#include <vector>

#include "disk/PathTable.h"

namespace larkfold {

class SubtreeFiles {
public:
    // At most `limit` files are kept; none when it is negative.
    explicit SubtreeFiles(std::int64_t limit);

    // `row`: its number in the table. `size` in bytes on disk. The text is copied. False where the sum of the
    // folder leaves the range.
    [[nodiscard]] bool add(std::int64_t row, std::string_view folder, std::int64_t size);

    // The numbers of the largest files' rows, ascending. Ends the adding.
    std::vector<std::int64_t> takeLargest();

    // For each folder that has files, in the order in which they came: path, number of files, sum of sizes.
    void tellFolders(const std::function<void(std::string_view folder, std::int64_t files,
                                              std::int64_t bytes)>& tell) const;

private:
    struct File {
        std::int64_t size;
        std::int64_t row;
    };
    struct Folder {
        std::string_view path;  // in `texts_`
        std::int64_t files = 0;
        std::int64_t bytes = 0;
    };

    // Whether the first is kept rather than the second.
    static bool precedes(const File& first, const File& second);
    Folder& folderOf(std::string_view path);
    void offer(const File& file);

    std::size_t limit_;
    std::vector<File> largest_;  // a heap, with the one that goes next in front
    std::pmr::monotonic_buffer_resource texts_{1 << 16};
    PathTable numbers_;
    std::vector<Folder> folders_;  // by number
    std::uint32_t latest_ = PathTable::none;
};

}  // namespace larkfold
