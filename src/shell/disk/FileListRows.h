// What the file list shows: the entries of one folder, or of everything below it,
// searched, filtered and sorted.
//
// Plain C++ without a window. What does not change while the user types and sorts (the entries themselves and
// the keys that names are ordered by) is kept between updates, so an update of 50,000 rows stays within a few
// tens of milliseconds. Main thread only, as the tree itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "disk/FileListFilter.h"
#include "disk/FileNode.h"
#include "platform/Collation.h"
#include "platform/Date.h"

namespace larkfold {

enum class FileListColumn { name, size, items, type };

struct FileListComparator {
    FileListColumn column = FileListColumn::size;
    bool isDescending = true;

    bool operator==(const FileListComparator&) const = default;
};

struct FileListQuery {
    std::string searchText = {};  // empty: no search
    FileListFilter filter = {};
    bool searchSubfolders = false;  // every node below the folder instead of its own children
    // The first one decides; what it leaves equal the next one decides, and what all leave equal stays in the
    // tree's order.
    std::vector<FileListComparator> sortOrder{FileListComparator{}};
};

// The word of the column "Type": "Folder", "Summary", or that of the file's kind.
std::string_view fileListTypeWord(const FileNode& node);

class FileListRows {
public:
    // Lists what `root` holds from now on; null: nothing. Call it again with the same root
    // when its tree has changed.
    void setRoot(FileNode::Pointer root);

    // Computes the rows anew. `now` is what ages are counted from.
    void update(const FileListQuery& query, Date now);

    // Makes up to `most` of the keys that names are ordered by, so that an update by name finds them made.
    // True while some are missing. It changes no row.
    bool prepareNames(std::size_t most);

    // The outcome of the last update, in order.
    const std::vector<FileNode::Pointer>& rows() const { return rows_; }

    // How many entries there are before search and filters.
    std::size_t entryCount() const { return entries_.size(); }

    const FileNode::Pointer& root() const { return root_; }
    // Whether there is a summary in the folder or anywhere below it, so that not everything in it can be
    // filtered.
    bool holdsSummaries() const { return holdsSummaries_; }

    // How many files search and filters look through, and how many there are with those that summaries stand
    // for: of the folder, or of everything below it where subfolders are included. Of the last update.
    struct Looked {
        std::int64_t loadedFiles = 0;
        std::int64_t allFiles = 0;
        bool operator==(const Looked&) const = default;
    };
    const Looked& looked() const { return looked_; }

private:
    struct Sortable;

    void gather(bool searchSubfolders);
    void countLooked();
    void sort(std::vector<Sortable>& rows, const std::vector<FileListComparator>& order) const;
    const std::string& nameKey(std::uint32_t entry) const;
    std::uint64_t leadingKey(FileListColumn column, std::uint32_t entry) const;
    int compare(const FileListComparator& comparator, std::uint32_t left, std::uint32_t right) const;

    FileNode::Pointer root_;
    bool holdsSummaries_ = false;
    Looked looked_;
    bool isGathered_ = false;
    bool gatheredSubfolders_ = false;
    std::vector<FileNode::Pointer> entries_;  // before search and filter, in the tree's order
    std::vector<FileNode::Pointer> rows_;
    Collator collator_;
    mutable std::vector<std::string> nameKeys_;  // beside `entries_`; empty: not made yet
    std::size_t preparedNames_ = 0;              // up to here all are made
};

}  // namespace larkfold
