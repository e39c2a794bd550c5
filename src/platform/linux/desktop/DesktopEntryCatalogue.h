// The installed applications by their desktop entries, and which of them an executable belongs to.
//
// A catalogue is read once and does not change; `DesktopEntryCatalogue::current` keeps the latest one and
// reads anew only when a folder of entries has changed, which costs one call for each folder.
//
// An executable belongs to an entry by the first of these that holds:
//   1. it is the program that the entry starts, links followed;
//   2. the program is a script, and the executable has the script's name (browsers come like this);
//   3. it lies in a folder of the application's own, at or below the program.
// Programs that run others (shells, interpreters, launchers) say nothing about an application and count for
// none. Where several entries start one program, the one shown in menus and with the fewest words stands for
// all; an entry that is not shown in menus alone belongs to a helper that nobody could close, and counts only
// where the system itself says that it runs.
//
// Immutable after construction, so shared between threads. Linux part of the platform layer only.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace larkfold {

class DesktopEntryCatalogue {
public:
    struct Application {
        std::string identifier;  // the entry's file name without its suffix, folders as "-"
        std::string name;        // the identifier where the entry has none
        std::string program;     // absolute, links followed; empty where it tells nothing
    };

    // Where to look.
    struct Places {
        std::vector<std::string> entryFolders;    // the first that holds an identifier wins
        std::vector<std::string> programFolders;  // as PATH lists them
        std::string home;
        std::string locale;

        // By the environment: the user's, the system's, Flatpak's and Snap's.
        static Places standard();

        bool operator==(const Places&) const = default;
    };

    explicit DesktopEntryCatalogue(const Places& places);

    // The application of this identifier; null where there is none.
    const Application* withIdentifier(std::string_view identifier) const;

    // The application that the executable belongs to; null where there is none.
    const Application* owning(std::string_view executable) const;

    // The catalogue of the standard places as they are now. Safe from any thread.
    static std::shared_ptr<const DesktopEntryCatalogue> current();

private:
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
    };
    template <typename Value>
    using ByText = std::unordered_map<std::string, Value, Hash, std::equal_to<>>;

    // When the folders of entries last changed; other times mean that they have.
    struct State {
        std::vector<std::int64_t> changedAt;
        bool isSettled = true;  // false where a change is so young that another one could bear the same time
    };
    static State stateOf(const std::vector<std::string>& folders);

    struct Candidate;
    void read(const Places& places);
    void addPrograms(std::vector<Candidate>&& candidates, const Places& places);

    std::vector<std::string> folders_;  // that were listed, for `state`
    std::vector<Application> applications_;
    ByText<std::size_t> byIdentifier_;
    ByText<std::size_t> byProgram_;
    ByText<std::size_t> byScriptName_;
    ByText<std::size_t> byFolder_;
    State state_;
};

}  // namespace larkfold
