// The user defaults: settings and small stores under string keys, kept in one JSON file.
//
// A value is a Boolean, an integer, a string, or bytes. A read of a key that is missing or of another type
// gives nothing, so that the caller's default holds. Unknown keys are kept.
//
// A change holds here at once and is saved off the main thread: under the file's lock the file is read again,
// what was changed here is applied to it, and it is written (to a temporary file, synced, renamed over the
// old one, the folder synced). So windows of the program that run beside each other keep what each of them
// changed; of two that change one key the later save wins. What the others changed is read with each save,
// holds here from then on, and is told. Changes that come during a save are saved together after it.
//
// A change that could not be saved is told and holds for this run; it is tried again with the next change,
// and at the end. Where another holder does not release the lock in time, nothing is written.
//
// A damaged or unreadable file counts as empty at the start; it is set aside beside the new one
// ("settings.json.damaged") before the first save would replace it, so nothing is lost. One that is missing
// or damaged later on is written anew with all that holds here; where it cannot be read any more, nothing is
// written. On a file system that keeps no locks it is saved without one.
//
// Main thread only.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/FileLock.h"
#include "platform/MainQueue.h"
#include "platform/NotificationCenter.h"

namespace larkfold {

class UserDefaults {
public:
    // What came of one attempt to save.
    struct Save {
        std::vector<std::string> keys;       // what it was to save
        std::vector<std::string> newKeys;    // those of them that changed since the attempt before
        std::optional<std::string> problem;  // why it did not; a sentence
    };
    using Observation = NotificationCenter::Observation;

    // `file`: absolute path of the JSON file, which is read here. Its folder is made at the first save. The
    // queue outlives this object. `longestWait`: for the file's lock.
    UserDefaults(std::string file, MainQueue& mainQueue,
                 std::chrono::milliseconds longestWait = own_files::FileLock::longestWait);
    // Saves first what is not saved yet, as `flush` does.
    ~UserDefaults();
    UserDefaults(const UserDefaults&) = delete;
    UserDefaults& operator=(const UserDefaults&) = delete;

    // The file of this user and program: `configurationDirectory()` + "/Larkfold/settings.json".
    static std::string standardFile();

    std::optional<bool> boolForKey(std::string_view key) const;
    std::optional<std::int64_t> integerForKey(std::string_view key) const;
    std::optional<std::string> stringForKey(std::string_view key) const;
    // Bytes stand as Base64 text in the file.
    std::optional<std::string> dataForKey(std::string_view key) const;

    void setBool(std::string_view key, bool value);
    void setInteger(std::string_view key, std::int64_t value);
    void setString(std::string_view key, std::string_view value);
    void setData(std::string_view key, std::string_view bytes);
    void remove(std::string_view key);

    // Saves what is not saved yet, on this thread, and tells whether all is saved then. Waits for the lock no
    // longer than `longestWait`; for the end of the program, and for tests.
    bool flush();

    // Called after each attempt to save, on the main thread, out of its event loop or out of `flush`.
    [[nodiscard]] Observation observeSaves(std::function<void(const Save&)> observer);
    // Called where a save found that somebody else had changed values, with their keys; likewise.
    [[nodiscard]] Observation observeChanges(std::function<void(const std::vector<std::string>&)> observer);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace larkfold
