// The question for a folder, for several folders, or for a file of a kind: how a driver asks for a place on
// the disk without knowing any dialog. Main thread only.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace larkfold {

class OpenPanel {
public:
    enum class Kind { folder, folders, file };

    // The files that may be chosen, by the endings of their names.
    struct FileType {
        std::string name;                     // for the user, in the plural: "JSON files"
        std::vector<std::string> extensions;  // without the dot; none: every file

        // Whether a file of that name (bytes) may be chosen. The case of the letters A to Z
        // makes no difference.
        bool accepts(std::string_view fileName) const;
    };

    struct Question {
        std::string title;    // of the dialog; empty: the message stands in its place
        std::string message;  // what the choice is for. A dialog with room for one text shows the title alone
        std::string button;   // what the button that chooses is called; empty: "Open"
        Kind kind = Kind::folder;
        FileType fileType;  // for a file
    };

    // Absolute paths, as bytes. None: the user turned back. More than one only where several were asked for.
    using Chosen = std::function<void(std::vector<std::string> paths)>;

    virtual ~OpenPanel() = default;

    // Calls `chosen` once, on the main thread, before or after it returns. That what was chosen is still
    // there when it is used is not promised.
    virtual void ask(const Question& question, Chosen chosen) = 0;
};

}  // namespace larkfold
