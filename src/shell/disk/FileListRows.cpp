#include "shell/disk/FileListRows.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <utility>

namespace larkfold {
namespace {

struct TypeRow {
    FileKind kind;
    std::string_view word;
};

// One row for each kind, in the order of the kinds.
constexpr std::array typeRows{
    TypeRow{.kind = FileKind::image, .word = "Image"},
    TypeRow{.kind = FileKind::video, .word = "Video"},
    TypeRow{.kind = FileKind::audio, .word = "Audio"},
    TypeRow{.kind = FileKind::document, .word = "Document"},
    TypeRow{.kind = FileKind::archive, .word = "Archive"},
    TypeRow{.kind = FileKind::code, .word = "Code"},
    TypeRow{.kind = FileKind::application, .word = "Application"},
    TypeRow{.kind = FileKind::system, .word = "System"},
    TypeRow{.kind = FileKind::other, .word = "File"},
};

// The first eight bytes as a number that orders as they do.
std::uint64_t leadingBytes(std::string_view key) {
    std::array<unsigned char, 8> bytes{};
    std::memcpy(bytes.data(), key.data(), std::min(key.size(), bytes.size()));
    std::uint64_t number = 0;
    for (const unsigned char byte : bytes) {
        number = (number << 8) | byte;
    }
    return number;
}

// Folders count their direct children; what has no such number stands below an empty folder.
std::uint64_t itemsKey(const FileNode& node) {
    return node.isDirectory() ? node.children().size() + 1 : 0;
}

}  // namespace

std::string_view fileListTypeWord(const FileNode& node) {
    if (node.isDirectory()) {
        return "Folder";
    }
    if (node.isAggregate()) {
        return "Summary";
    }
    return typeRows[static_cast<std::size_t>(node.fileKind())].word;
}

// One row on its way through the sort: the keys of the first two comparators lie beside each other, so that
// most comparisons touch no node.
struct FileListRows::Sortable {
    std::uint64_t first = 0;
    std::uint64_t second = 0;
    std::uint32_t entry = 0;
};

void FileListRows::setRoot(FileNode::Pointer root) {
    root_ = std::move(root);
    isGathered_ = false;
    entries_.clear();
    nameKeys_.clear();
    preparedNames_ = 0;
    rows_.clear();
    looked_ = {};
    holdsSummaries_ = root_ && root_->holdsAggregate();
}

void FileListRows::gather(bool searchSubfolders) {
    if (isGathered_ && gatheredSubfolders_ == searchSubfolders) {
        return;
    }
    isGathered_ = true;
    gatheredSubfolders_ = searchSubfolders;
    nameKeys_.clear();
    preparedNames_ = 0;
    entries_.clear();
    if (!root_) {
        return;
    }
    if (!searchSubfolders) {
        entries_ = root_->children();
        countLooked();
        return;
    }
    // Depth first, parents before children, on a stack of our own: trees may be very deep.
    struct Level {
        const std::vector<FileNode::Pointer>* children;
        std::size_t next;
    };
    std::vector<Level> levels{{&root_->children(), 0}};
    while (!levels.empty()) {
        Level& level = levels.back();
        if (level.next == level.children->size()) {
            levels.pop_back();
            continue;
        }
        const FileNode::Pointer& node = (*level.children)[level.next++];
        entries_.push_back(node);
        if (!node->children().empty()) {
            levels.push_back({&node->children(), 0});
        }
    }
    countLooked();
}

void FileListRows::countLooked() {
    looked_ = {};
    for (const FileNode::Pointer& entry : entries_) {
        if (entry->isDirectory()) {
            continue;
        }
        looked_.loadedFiles += entry->isAggregate() ? 0 : 1;
        looked_.allFiles = saturatingSum(looked_.allFiles, entry->representedFileCount());
    }
}

// Stages: gather, search, filter, sort.
void FileListRows::update(const FileListQuery& query, Date now) {
    gather(query.searchSubfolders);

    std::vector<Sortable> kept;
    kept.reserve(entries_.size());
    const TextMatcher search(query.searchText);
    const bool searches = !query.searchText.empty();
    const bool filters = query.filter != FileListFilter{};
    const FileListMatcher matcher(query.filter, now);
    for (std::uint32_t entry = 0; entry < entries_.size(); ++entry) {
        const FileNode& node = *entries_[entry];
        if (searches && !search.isContainedIn(node.name())) {
            continue;
        }
        if (filters && !matcher.accepts(node)) {
            continue;
        }
        kept.push_back({.entry = entry});
    }

    nameKeys_.resize(entries_.size());
    sort(kept, query.sortOrder);

    rows_.clear();
    rows_.reserve(kept.size());
    for (const Sortable& row : kept) {
        rows_.push_back(entries_[row.entry]);
    }
}

bool FileListRows::prepareNames(std::size_t most) {
    nameKeys_.resize(entries_.size());
    for (; most > 0 && preparedNames_ < entries_.size(); ++preparedNames_) {
        if (nameKeys_[preparedNames_].empty()) {
            nameKey(static_cast<std::uint32_t>(preparedNames_));
            --most;
        }
    }
    return preparedNames_ < entries_.size();
}

// Each row carries two numbers that order it as far as they can: the first sixteen bytes of a name's key, or
// the keys of the first two comparators. What they leave equal is compared in full.
void FileListRows::sort(std::vector<Sortable>& rows, const std::vector<FileListComparator>& order) const {
    const bool byName = !order.empty() && order[0].column == FileListColumn::name;
    // The key of a name is dear: as the second it is made for all rows only where the first
    // leaves many of them equal.
    const bool isCoarse = !order.empty() && (order[0].column == FileListColumn::type ||
                                             order[0].column == FileListColumn::items);
    const bool usesSecond =
        order.size() > 1 && !byName && (order[1].column != FileListColumn::name || isCoarse);
    for (Sortable& row : rows) {
        if (byName) {
            const std::string_view key = nameKey(row.entry);
            row.first = leadingBytes(key);
            row.second = leadingBytes(key.substr(std::min<std::size_t>(key.size(), 8)));
        } else if (!order.empty()) {
            row.first = leadingKey(order[0].column, row.entry);
        }
        if (usesSecond) {
            row.second = leadingKey(order[1].column, row.entry);
        }
        if (!order.empty() && order[0].isDescending) {
            row.first = ~row.first;
        }
        if (!order.empty() && order[byName ? 0 : std::min<std::size_t>(1, order.size() - 1)].isDescending) {
            row.second = ~row.second;
        }
    }
    // From here on the numbers have not said everything.
    const std::size_t rest = byName ? 0 : usesSecond && order[1].column != FileListColumn::name ? 2 : 1;
    std::ranges::sort(rows, [&](const Sortable& left, const Sortable& right) {
        if (left.first != right.first) {
            return left.first < right.first;
        }
        if (left.second != right.second) {
            return left.second < right.second;
        }
        for (std::size_t index = rest; index < order.size(); ++index) {
            const int outcome = compare(order[index], left.entry, right.entry);
            if (outcome != 0) {
                return order[index].isDescending ? outcome > 0 : outcome < 0;
            }
        }
        return left.entry < right.entry;
    });
}

const std::string& FileListRows::nameKey(std::uint32_t entry) const {
    std::string& key = nameKeys_[entry];
    if (key.empty()) {
        key = collator_.sortKey(entries_[entry]->name());
    }
    return key;
}

std::uint64_t FileListRows::leadingKey(FileListColumn column, std::uint32_t entry) const {
    const FileNode& node = *entries_[entry];
    switch (column) {
        case FileListColumn::name:
            return leadingBytes(nameKey(entry));
        case FileListColumn::size:
            return std::bit_cast<std::uint64_t>(node.size()) ^ (std::uint64_t{1} << 63);
        case FileListColumn::items:
            return itemsKey(node);
        case FileListColumn::type:
            return leadingBytes(fileListTypeWord(node));  // no two words begin with the same eight letters
    }
    return 0;
}

int FileListRows::compare(const FileListComparator& comparator, std::uint32_t left,
                          std::uint32_t right) const {
    if (comparator.column == FileListColumn::name) {
        return nameKey(left).compare(nameKey(right));
    }
    const std::uint64_t leftKey = leadingKey(comparator.column, left);
    const std::uint64_t rightKey = leadingKey(comparator.column, right);
    return leftKey < rightKey ? -1 : leftKey > rightKey ? 1 : 0;
}

}  // namespace larkfold
