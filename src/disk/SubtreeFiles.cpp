#include "disk/SubtreeFiles.h"

#include <algorithm>
#include <utility>

namespace larkfold {

SubtreeFiles::SubtreeFiles(std::int64_t limit)
    : limit_(static_cast<std::size_t>(std::max<std::int64_t>(limit, 0))) {}

bool SubtreeFiles::add(std::int64_t row, std::string_view folder, std::int64_t size) {
    Folder& sums = folderOf(folder);
    if (__builtin_add_overflow(sums.bytes, size, &sums.bytes)) {
        return false;
    }
    ++sums.files;
    offer({.size = size, .row = row});
    return true;
}

std::vector<std::int64_t> SubtreeFiles::takeLargest() {
    std::vector<std::int64_t> rows;
    rows.reserve(largest_.size());
    for (const File& file : std::exchange(largest_, {})) {
        rows.push_back(file.row);
    }
    std::ranges::sort(rows);
    return rows;
}

void SubtreeFiles::tellFolders(
    const std::function<void(std::string_view, std::int64_t, std::int64_t)>& tell) const {
    for (const Folder& folder : folders_) {
        tell(folder.path, folder.files, folder.bytes);
    }
}

bool SubtreeFiles::precedes(const File& first, const File& second) {
    return first.size != second.size ? first.size > second.size : first.row < second.row;
}

SubtreeFiles::Folder& SubtreeFiles::folderOf(std::string_view path) {
    // The files of a folder come one after another, but for its subfolders in between.
    if (latest_ != PathTable::none && folders_[latest_].path == path) {
        return folders_[latest_];
    }
    latest_ = numbers_.find(path);
    if (latest_ == PathTable::none) {
        auto* bytes = static_cast<char*>(texts_.allocate(path.size() + 1, 1));
        path.copy(bytes, path.size());
        const std::string_view kept(bytes, path.size());
        numbers_.insert(kept);
        latest_ = static_cast<std::uint32_t>(folders_.size());
        folders_.push_back({.path = kept});
    }
    return folders_[latest_];
}

void SubtreeFiles::offer(const File& file) {
    if (largest_.size() < limit_) {
        largest_.push_back(file);
        std::ranges::push_heap(largest_, precedes);
    } else if (limit_ > 0 && precedes(file, largest_.front())) {
        std::ranges::pop_heap(largest_, precedes);
        largest_.back() = file;
        std::ranges::push_heap(largest_, precedes);
    }
}

}  // namespace larkfold
