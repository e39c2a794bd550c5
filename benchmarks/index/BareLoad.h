// What a load of the index costs SQLite alone: the same statements, every column read, nothing made of them.
#pragma once

#include <cstdint>
#include <string>

namespace larkfold::benchmarks {

// Ends the program where the index cannot be read.
void loadBare(const std::string& url, const std::string& root, std::int64_t limit);

}  // namespace larkfold::benchmarks
