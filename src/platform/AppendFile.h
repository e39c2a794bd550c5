// An own file that grows line by line while something goes on, and the same file when whoever wrote it has
// gone.
//
// The writer holds a lock on the file itself for as long as it lives, however it ends. So whoever finds the
// file and gets the lock knows that nobody writes it any more. Nothing takes the place of such a file: it is
// made, appended to and removed, hence the lock on it and not on one beside it.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace larkfold::own_files {

// The writer's side. One thread.
class AppendFile {
public:
    // Makes a new file (mode 0600) in `folder`, its name between `prefix` and `suffix` its own, locks it,
    // writes what `beginning` gives and syncs both. All of that, `beginning` included, happens on a thread of
    // its own, so that the caller may go on meanwhile; where there is no thread to be had it happens here.
    AppendFile(std::string folder, std::string prefix, std::string suffix,
               std::function<std::string()> beginning);
    // Releases the file and leaves it where it is.
    ~AppendFile();
    AppendFile(const AppendFile&) = delete;
    AppendFile& operator=(const AppendFile&) = delete;

    // Waits until the beginning is on the disk; false where it could not be brought there, and then there is
    // no file.
    bool isBegun();

    // Writes `bytes` behind what is there by one call, not synced: what ends the program does not undo it.
    // Throws SystemError; then a part may have been written, and nothing more should be.
    void append(std::string_view bytes);

    // Removes the file. Throws SystemError.
    void remove();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// The side of who finds it. One thread; moves.
class LeftAppendFile {
public:
    // The paths of the files in `folder` with such names, sorted; none where there is no such folder. Throws
    // SystemError where it cannot be listed.
    static std::vector<std::string> find(const std::string& folder, std::string_view prefix,
                                         std::string_view suffix);

    // Takes the file over, with its lock, until the object ends. Nothing where somebody else has it or it is
    // gone. Throws SystemError where it cannot be used.
    static std::optional<LeftAppendFile> take(const std::string& path);

    LeftAppendFile(LeftAppendFile&&) noexcept;
    LeftAppendFile& operator=(LeftAppendFile&&) noexcept;
    ~LeftAppendFile();

    // All of it. Throws SystemError where it cannot be read or is larger than `limit` bytes.
    std::string content(std::size_t limit) const;

    // Cuts the file to its first `length` bytes and writes `bytes` behind them, synced: what the writer did
    // not finish goes. Throws SystemError.
    void append(std::size_t length, std::string_view bytes);

    // As above.
    void remove();

private:
    struct Impl;
    explicit LeftAppendFile(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

}  // namespace larkfold::own_files
