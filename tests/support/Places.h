// Where this clone and its build lie. From any thread.
#pragma once

#include <string>

namespace larkfold::test {

// A file of the sources, or one that the build made, by its path below the one folder or the other.
std::string sourceFile(const std::string& relative);
std::string builtFile(const std::string& relative);

}  // namespace larkfold::test
