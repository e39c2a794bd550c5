// Bookmarks: a folder remembered over restarts by its path and its identity.
//
// The bytes are opaque to everyone else. Format on Linux: one JSON object, UTF-8, documented in
// docs/bookmark-format.md. Safe from any thread. A folder on a volume that does not answer costs a short,
// fixed wait and then fails.
#pragma once

#include <string>

namespace larkfold {

struct ResolvedBookmark {
    std::string path;      // where the folder is now
    bool isStale = false;  // what stands at the path is another folder than the one remembered
};

// Remembers the folder at `path`. Throws SystemError where its identity cannot be read.
std::string makeBookmark(const std::string& path);

// Throws Error where the bytes are no bookmark, or SystemError where nothing stands at the path any more.
ResolvedBookmark resolveBookmark(const std::string& bytes);

// Opens access to the folder of a bookmark; false where it is refused (the folder cannot be opened for
// listing). The system has no such thing as a scope that has to be closed, but callers keep to the pairing.
bool startAccessingSecurityScopedResource(const std::string& path);
void stopAccessingSecurityScopedResource(const std::string& path);

}  // namespace larkfold
