// The user defaults: settings and small stores under string keys, kept in one JSON file.
//
// A value is a Boolean, an integer, a string, or bytes. A read of a key that is missing or of another type
// gives nothing, so that the caller's default holds. Each write is saved at once: to a temporary file,
// synced, renamed over the old one, the folder synced. A damaged or unreadable file counts as empty; it is
// set aside beside the new one
// ("settings.json.damaged") before the first write would replace it, so nothing is lost. Unknown keys are
// kept.
//
// Main thread only.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace larkfold {

class UserDefaults {
public:
    // `file`: absolute path of the JSON file. Its folder is made at the first write.
    explicit UserDefaults(std::string file);
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

    // Throw SystemError when the file cannot be saved; the value holds for this run all the same.
    void setBool(std::string_view key, bool value);
    void setInteger(std::string_view key, std::int64_t value);
    void setString(std::string_view key, std::string_view value);
    void setData(std::string_view key, std::string_view bytes);
    void remove(std::string_view key);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace larkfold
