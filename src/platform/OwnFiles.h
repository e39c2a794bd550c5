// Operations that create, replace or remove files of this program itself: the index, stores, temporaries.
// What belongs to the user has another door. Safe from any thread.
//
// Every failure is a SystemError; a failed sync is a failed operation.
#pragma once

#include <string>
#include <string_view>

namespace larkfold::own_files {

// True where anything stands at `path`, a dangling link included. Throws where that cannot be told (a folder
// above it may not be searched, say).
bool exists(const std::string& path);

// Makes the folder with all its missing parents (mode 0700 for those it makes).
void createFolders(const std::string& folder);

// Sets the permission bits.
void setPermissions(const std::string& path, unsigned mode);

// Removes one file; a missing file is no failure. Never a folder.
void removeFile(const std::string& path);

// Puts `replacement` in the place of `target`, whether or not a file stands there: syncs the replacement's
// bytes, renames it over the target in one step, syncs the folder. Both lie in one folder. After a failure
// the target is the whole old file or the whole new one.
void replaceFile(const std::string& replacement, const std::string& target);

// Makes sure that the names in the folder are on the disk as they are now.
void syncFolder(const std::string& folder);

// Gives the file (or whatever stands there) the name `place` in the same folder, which must be free: nothing
// is replaced.
void moveAside(const std::string& path, const std::string& place);

// Writes `bytes` as the new content of `path` (mode 0600): to a temporary beside it, synced, then
// `replaceFile`. Makes the folder where it is missing. On failure the temporary is gone and the old content
// stands.
void writeFile(const std::string& path, std::string_view bytes);

// The same in a folder that is there, for what can be made anew at any time: whoever reads it finds the whole
// old or the whole new content, but nothing is waited for until it is on the disk, so a machine that fails
// may leave anything.
void writeCache(const std::string& path, std::string_view bytes);

// The whole content. Throws where it cannot be read or is larger than `limit` bytes.
std::string readFile(const std::string& path, std::size_t limit);

}  // namespace larkfold::own_files
