// One place that could not be read.
#pragma once

#include <string>
#include <utility>

#include "platform/Date.h"
#include "platform/Error.h"
#include "platform/UUID.h"

namespace larkfold {

struct ScanError {
    UUID id = UUID::make();
    std::string path;  // bytes
    ErrorValue error;  // never null; shown through its description
    Date timestamp = now();
};

}  // namespace larkfold
