// Bookmarks: docs/bookmark-format.md.
#include "platform/Bookmark.h"

#include "StoredFormat.h"
#include "platform/Error.h"
#include "platform/Path.h"
#include "support/TemporaryTree.h"

namespace larkfold::fuzz {

void writeSeeds(const std::string& folder) {
    test::TemporaryTree tree;
    writeBytes(folder + "/root", makeBookmark("/"));
    writeBytes(folder + "/folder", makeBookmark(tree.folder("a folder")));
    writeBytes(folder + "/name that is no text", makeBookmark(tree.folder("\xff\xfe name")));
}

void read(std::string_view bytes) {
    try {
        const ResolvedBookmark bookmark = resolveBookmark(std::string(bytes));
        require(bookmark.path.starts_with('/'));
        require(!bookmark.path.contains('\0'));
        require(standardizedPath(bookmark.path) == bookmark.path);
        // What was found can be remembered again, and is then no stale one.
        const ResolvedBookmark again = resolveBookmark(makeBookmark(bookmark.path));
        require(again.path == bookmark.path && !again.isStale);
    } catch (const Error& error) {
        require(!error.description().empty());
    }
}

}  // namespace larkfold::fuzz
