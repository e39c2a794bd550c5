#include "IndexReading.h"

#include <array>
#include <cstdint>
#include <functional>
#include <optional>

#include "StoredFormat.h"
#include "disk/DiskScanner.h"
#include "disk/FileNode.h"
#include "disk/ScanIndexDatabase.h"
#include "platform/Error.h"
#include "support/TemporaryTree.h"

namespace larkfold::fuzz {

namespace {

constexpr std::array<std::int64_t, 4> limits{-1, 0, 1, 50'000};
constexpr auto folderOfSearch = "/r/a";

void requireSense(const ScanResult& result, std::int64_t limit) {
    require(result.rootNode != nullptr);
    require(result.rootNode->parent() == nullptr);
    require(result.totalSize == result.rootNode->size());
    std::int64_t nodes = 0;
    std::int64_t files = 0;
    result.rootNode->forEachNode([&](const FileNode& node) {
        ++nodes;
        files += node.isDirectory() || node.isAggregate() ? 0 : 1;
        require(!node.isAggregate() || node.representedFileCount() > 0);
        require(node.children().empty() || node.isDirectory());
        std::optional<std::int64_t> last;
        for (const FileNode::Pointer& child : node.children()) {
            require(child->parent().get() == &node);
            require(!last || child->size() <= *last);
            last = child->size();
        }
        static_cast<void>(node.fileKind());
    });
    require(files <= std::max<std::int64_t>(limit, 0) || !result.rootNode->isDirectory());
    // Paths are built from the chain of parents: of a few, since each costs the depth.
    std::int64_t paths = 0;
    result.rootNode->forEachNode([&](const FileNode& node) {
        if (++paths <= 20 || paths == nodes) {
            static_cast<void>(node.url());
        }
    });
}

// Calls `work`, which may say that it failed, and in no other way.
void permitFailure(const std::function<void()>& work) {
    try {
        work();
    } catch (const Error& error) {
        require(!error.description().empty());
    }
}

// The index of a scan of `folderOfSearch`.
const std::string& incomingIndex() {
    static const test::TemporaryTree place;
    static const std::string file = [] {
        std::string path = place.path("incoming.sqlite");
        ScanIndexDatabase index(path, true);
        const std::string root = folderOfSearch;
        index.insertRow(root, "/r", "a", true, 5, 0, std::nullopt);
        index.insertRow(root + "/new", root, "new", false, 5, 5, 1.5);
        index.finish(root, true, 1);
        return path;
    }();
    return file;
}

}  // namespace

void tryIndex(const std::string& file, std::size_t way) {
    const std::int64_t limit = limits[way % limits.size()];
    switch (way / limits.size() % 4) {
        case 0:
            permitFailure(
                [&] { requireSense(ScanIndexDatabase(file, false).loadTree(std::nullopt, limit), limit); });
            return;
        case 1:
            permitFailure(
                [&] { requireSense(ScanIndexDatabase(file, false).loadTree(folderOfSearch, limit), limit); });
            return;
        case 2:
            permitFailure([&] { ScanIndexDatabase(file, false).merge(incomingIndex()); });
            break;
        default:
            permitFailure([&] { ScanIndexDatabase(file, false).removeFolder(folderOfSearch); });
    }
    permitFailure([&] { requireSense(ScanIndexDatabase(file, false).loadTree(std::nullopt, limit), limit); });
}

}  // namespace larkfold::fuzz
