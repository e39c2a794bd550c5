// What the program does with a saved index that it did not write, and what holds whatever stands in it.
#pragma once

#include <cstddef>
#include <string>

namespace larkfold::fuzz {

// Reads a tree from it, or changes it and reads what is left: one of sixteen ways, so that one input costs
// one.
void tryIndex(const std::string& file, std::size_t way);

}  // namespace larkfold::fuzz
