// What the harness runs, kills and starves: one program, whose first word says what it does.
//
//   larkfold_victim scan|refresh|history|removal WORD...
//
// The words of each stand at the head of its source. It prints "descriptors BEFORE AFTER" and then what came
// of it: in the words of the work, "refused" with the sentence that a user would see, "cancelled", or
// "untyped". Exit code 0, and 3, 4 and 5 for the latter; 2 where the words mean nothing.
#pragma once

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace larkfold::test {

// Prepared before the watching begins. `run` is what is watched; it returns its report.
struct VictimWork {
    std::function<std::string()> run;
    bool isWatched = true;
};

// For a report of its own kind about an error: told as "refused" and this text.
class Refused : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Nothing for words that mean nothing.
std::optional<VictimWork> scanWork(const std::vector<std::string>& words);
std::optional<VictimWork> refreshWork(const std::vector<std::string>& words);
std::optional<VictimWork> historyWork(const std::vector<std::string>& words);
std::optional<VictimWork> removalWork(const std::vector<std::string>& words);

// Of the naive ways: one more descriptor than before.
void leakDescriptor();

}  // namespace larkfold::test
