// A lock on one of this program's own files, for reading it, changing it and writing it back as one step.
//
// It holds against other threads of this process and against other processes of this program, as long as each
// takes it: it is a lock on "<file>.lock" beside the file, which stays there. The file itself cannot bear the
// lock, since writing puts another file in its place. A process that ends in any way releases what it held.
//
// Never taken twice by one thread for the same file: it would wait for itself until the time is over.
#pragma once

#include <chrono>
#include <memory>
#include <stop_token>
#include <string>

namespace larkfold::own_files {

class FileLock {
public:
    // Whether the error of a lock says that the file system keeps none.
    static bool isUnsupported(int code);

    // How long the other holder may take. It writes one file and syncs it.
    static constexpr std::chrono::milliseconds longestWait{10'000};

    // Waits until the lock is held. The folder must be there. Throws SystemError where the lock's file cannot
    // be made or used, and where another holder did not release it in time; CancellationError where a stop
    // was requested meanwhile.
    explicit FileLock(const std::string& file, std::chrono::milliseconds wait = longestWait,
                      const std::stop_token& stop = {});
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// A lock on a folder of this program's own, for changing which files stand in it, or one that lies there, as
// one step. It leaves no file behind, except on file systems that cannot lock a folder: there it is one of a
// file named ".lock" in it. Otherwise as above.
class FolderLock {
public:
    static constexpr std::chrono::milliseconds longestWait = FileLock::longestWait;

    // Waits until the lock is held. Throws SystemError where the folder is not there or cannot be locked, and
    // where another holder did not release it in time; CancellationError where a stop was requested
    // meanwhile.
    explicit FolderLock(const std::string& folder, std::chrono::milliseconds wait = longestWait,
                        const std::stop_token& stop = {});
    ~FolderLock();
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace larkfold::own_files
