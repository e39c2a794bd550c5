// The tree of a saved scan while the rows of the index come in, in any order.
//
// 1. Each row becomes a node. A directory also gets an entry in the map by path, which files can do without:
//    they are nobody's parent.
// 2. A file is appended to its parent at once where that is known, which in the order of the query it is;
//    otherwise, and for all directories, the parent's path waits until all rows are there.
// 3. Then the directories are linked: each to its parent, where the chain of its parents reaches the root.
//    What hangs on a row that is missing, or on itself (a damaged index may hold circles, which would own
//    themselves for ever), stays out of the tree and ends with this object.
// 4. The summaries are appended.
//
// Memory follows the number of rows that are added. One object belongs to one thread at a time.
#pragma once

#include <cstdint>
#include <memory_resource>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "disk/FileNode.h"
#include "disk/PathTable.h"
#include "platform/Date.h"

namespace larkfold {

class LoadedTree {
public:
    // `root`: the path of the folder whose tree is read; it outlives this object.
    explicit LoadedTree(const std::string& root) : root_(root) {}

    // Steps 1 and 2. The texts are copied. Sizes in bytes, `size` on disk, `logicalSize` of the content.
    void addDirectory(std::string_view path, std::string_view parent, std::string_view name,
                      std::int64_t size);
    void addFile(std::string_view path, std::string_view parent, std::string_view name, std::int64_t size,
                 std::int64_t logicalSize, std::optional<Date> modified);

    // Step 3. The root, or null where no row is the root's.
    FileNode::Pointer link();

    // Step 4, for each folder that has files: their number and the sum of their sizes on disk.
    void addSummary(std::string_view folder, std::int64_t files, std::int64_t bytes);

    // After the last summary.
    void finish();

private:
    static constexpr std::uint32_t none = PathTable::none;
    enum class Reach : std::uint8_t { unknown, asked, root, nothing };

    struct Directory {
        FileNode::Pointer node;
        std::string_view parent;  // its path, in `texts_`
        std::uint32_t parentIndex = none;
        Reach reach = Reach::unknown;
        std::int64_t keptFiles = 0;  // the file nodes among its children
        std::int64_t keptBytes = 0;
    };
    struct EarlyFile {
        FileNode::Pointer node;
        std::string_view parent;
    };

    static void appendFile(Directory& directory, FileNode::Pointer file);
    bool reachesRoot(std::uint32_t start);
    std::string_view kept(std::string_view text);

    const std::string& root_;
    std::pmr::monotonic_buffer_resource texts_{1 << 16};
    PathTable numbers_;                   // of the directories, by path
    std::vector<Directory> directories_;  // by number
    std::vector<EarlyFile> earlyFiles_;
    FileNode::Pointer rootFile_;
    std::uint32_t rootIndex_ = none;
};

}  // namespace larkfold
