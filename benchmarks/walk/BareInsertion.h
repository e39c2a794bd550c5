// The rows of a finished index inserted into a new one, in the order in which the walk wrote them, and
// nothing else: same library configuration, same schema, same statement, one transaction.
#pragma once

#include <cstdint>
#include <string>

namespace larkfold::benchmarks {

struct BareInsertionResult {
    double seconds =
        0;  // from the first insertion to the end of the commit; reading the source is not counted
    std::int64_t rows = 0;
};

// Reads all rows of `source` into memory first (they would otherwise be measured too), then inserts them into
// `target`, which is made anew.
BareInsertionResult insertBare(const std::string& source, const std::string& target);

}  // namespace larkfold::benchmarks
