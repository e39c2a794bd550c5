// The user defaults: docs/settings-format.md.
#include <array>
#include <nlohmann/json.hpp>

#include "StoredFormat.h"
#include "platform/MainQueue.h"
#include "platform/UTF8.h"
#include "platform/UserDefaults.h"
#include "support/TemporaryTree.h"

namespace larkfold::fuzz {

namespace {

constexpr auto bytesKey = "recent";

}  // namespace

void writeSeeds(const std::string& folder) {
    MainQueue queue([] {});
    UserDefaults defaults(folder + "/settings", queue);
    defaults.setBool("skipHiddenFiles", false);
    defaults.setInteger("windowWidth", 1200);
    defaults.setInteger("least", INT64_MIN);
    defaults.setString("name", "Überblick \U0001F5C2");
    defaults.setData(bytesKey, std::string_view("\0\xff{}", 4));
    UserDefaults none(folder + "/empty", queue);
    none.setBool("gone", true);
    none.remove("gone");
    writeBytes(folder + "/nested", R"({"windows":[{"x":-1.5e3,"y":null},[[]]],"skipHiddenFiles":"true"})");
}

// What was read is read again the same after a change of something else, and what could not be read is set
// aside.
void read(std::string_view bytes) {
    static const test::TemporaryTree place;
    static const std::string file = place.path("settings.json");
    static const std::string damaged = file + ".damaged";
    static MainQueue queue([] {});  // what is not saved yet is saved at the end
    writeBytes(file, bytes);

    const nlohmann::json expected = nlohmann::json::parse(bytes, nullptr, false);
    constexpr std::array keys{"skipHiddenFiles", "windowWidth", "least", "name", bytesKey, "windows", ""};
    constexpr auto changed = "changed by the search";
    std::vector<std::optional<bool>> switches;
    std::vector<std::optional<std::int64_t>> numbers;
    std::vector<std::optional<std::string>> texts;
    std::vector<std::optional<std::string>> data;
    {
        UserDefaults defaults(file, queue);
        for (const char* key : keys) {
            switches.push_back(defaults.boolForKey(key));
            numbers.push_back(defaults.integerForKey(key));
            texts.push_back(defaults.stringForKey(key));
            data.push_back(defaults.dataForKey(key));
            require(!texts.back() || utf8::isValid(*texts.back()));
        }
        defaults.setInteger(changed, -7);
    }
    const UserDefaults defaults(file, queue);
    require(defaults.integerForKey(changed) == -7);
    std::size_t index = 0;
    for (const char* key : keys) {
        require(defaults.boolForKey(key) == switches[index]);
        require(defaults.integerForKey(key) == numbers[index]);
        require(defaults.stringForKey(key) == texts[index]);
        require(defaults.dataForKey(key) == data[index]);
        ++index;
    }

    const std::string setAside = test::contentOf(damaged);
    if (expected.is_discarded() || !expected.is_object()) {
        require(setAside == bytes);
    } else {
        require(setAside.empty() || setAside == bytes);  // the second: nested too deep
    }
    test::removeTree(damaged);
    queue.drain();
}

}  // namespace larkfold::fuzz
