// A stored format, as the fuzzer sees it. Each source in `formats` is
// one format and defines these two functions; the rest comes from Main.cpp and the library of the search.
//
// One thread. A reader fails by a crash, by what a sanitizer says, by an exception that is not documented, by
// a `require` that does not hold, and by taking longer than scripts/fuzz allows.
#pragma once

#include <source_location>
#include <string>
#include <string_view>

namespace larkfold::fuzz {

// Fills the folder with files in the format, written by the program's own writer: what the search begins
// with.
void writeSeeds(const std::string& folder);

// Reads the bytes as the program does, and asks for what has to hold then.
void read(std::string_view bytes);

// Ends the program where the condition does not hold.
void require(bool condition, std::source_location place = std::source_location::current());

// Writes a file that is no part of the program's own.
void writeBytes(const std::string& file, std::string_view bytes);

}  // namespace larkfold::fuzz
