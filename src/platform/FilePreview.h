// A look at one item that the user asked to see: its values as they are now, and the beginning of a regular
// file.
//
// Only regular files are opened, never a link, a FIFO, a socket or a device, and nothing is changed but
// perhaps the time of the last access. Takes as long as the disk takes, so not on the main thread; a disk
// that does not answer is given up after ten seconds, or at once when a stop is asked for. Safe from any
// thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stop_token>
#include <string>

namespace larkfold {

struct FilePreview {
    enum class Kind { file, directory, symbolicLink, other };

    Kind kind = Kind::file;
    std::int64_t logicalBytes = 0;    // of content
    std::int64_t allocatedBytes = 0;  // on disk
    double modifiedAt = 0;            // seconds since 1970
    std::string beginning;            // of a regular file; empty for everything else
    bool isWhole = false;             // `beginning` is all there is

    // Reads at most `limit` bytes. Throws SystemError: where nothing stands at `path`, its code is that of a
    // missing file; where the file may not be read, that of a lacking permission. Throws CancellationError
    // when stopped.
    static FilePreview read(const std::string& path, std::size_t limit, std::stop_token stop = {});
};

}  // namespace larkfold
