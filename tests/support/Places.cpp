#include "support/Places.h"

namespace larkfold::test {

std::string sourceFile(const std::string& relative) {
    return LARKFOLD_SOURCE_FOLDER "/" + relative;
}

std::string builtFile(const std::string& relative) {
    return LARKFOLD_BUILD_FOLDER "/" + relative;
}

}  // namespace larkfold::test
