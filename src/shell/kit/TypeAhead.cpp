#include "shell/kit/TypeAhead.h"

#include <algorithm>
#include <utility>

#include "platform/Collation.h"
#include "platform/Path.h"

namespace larkfold {

TypeAhead::TypeAhead(Clock clock) : clock_(std::move(clock)) {}

bool TypeAhead::isTyping() const {
    return !typed_.isEmpty() && clock_() - typedAt_ < patience;
}

int TypeAhead::rowFor(const QString& addition, int current, int rowCount, const NameOfRow& nameOf) {
    const bool continues = isTyping();
    typed_ = continues ? typed_ + addition : addition;
    typedAt_ = clock_();
    const bool repeats =
        typed_.size() > 1 && typed_.count(typed_.front(), Qt::CaseInsensitive) == typed_.size();
    const std::string prefix = lowercased((repeats ? typed_.left(1) : typed_).toStdString());
    // Who goes on typing a name may be on its row already; a new name begins behind.
    const int start = continues && !repeats ? std::max(current, 0) : current + 1;
    for (int step = 0; step < rowCount; ++step) {
        const int row = (start + step) % rowCount;
        if (lowercased(displayText(nameOf(row))).starts_with(prefix)) {
            return row;
        }
    }
    return -1;
}

void TypeAhead::forget() {
    typed_.clear();
}

}  // namespace larkfold
