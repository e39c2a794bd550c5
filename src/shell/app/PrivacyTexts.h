// The privacy policy, in sections. What it says must be true of the code: whoever makes the program read,
// keep or send something new changes this text, and raises `revision`, which tells the user that it changed.
// Free functions, safe from any thread.
#pragma once

#include <string>
#include <vector>

namespace larkfold::privacy {

struct Section {
    std::string heading;
    std::string body;
    std::string note;  // in smaller type below; empty where nothing has to be said
};

std::vector<Section> sections();
const char* closingLine();

// Raised with each change that users should know of.
inline constexpr int revision = 2;

}  // namespace larkfold::privacy
