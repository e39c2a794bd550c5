// The privacy policy, in sections. What it says must be true of the code: whoever makes the program read,
// keep or send something new changes this text, and raises `revision`, which tells the user that it changed.
// Free functions, safe from any thread.
#pragma once

#include <span>

namespace larkfold::privacy {

struct Section {
    const char* heading;
    const char* body;
    // What the body's words mean on this system, where they are another one's; empty where nothing has to be
    // said.
    const char* note;
};

std::span<const Section> sections();
const char* closingLine();

// Raised with each change that users should know of.
inline constexpr int revision = 2;

}  // namespace larkfold::privacy
