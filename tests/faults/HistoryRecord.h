// The same record each time, so that the bytes to be found are known beforehand.
#pragma once

#include <string>

#include "removal/CleanupOperation.h"

namespace larkfold::test {

inline CleanupOperation historyRecord(int number) {
    UUID id;
    id.bytes[15] = static_cast<std::uint8_t>(number);
    CleanupOperation record{.id = id,
                            .startedAt = dateFromSecondsSince1970(1'764'000'000 + number),
                            .finishedAt = dateFromSecondsSince1970(1'764'000'000.5 + number),
                            .source = "Map",
                            .permanent = number % 2 == 0,
                            .items = {},
                            .volumes = {{.path = "/", .before = 1, .after = 2}}};
    for (int item = 0; item < 20; ++item) {
        record.items.push_back({.originalPath = "/home/ada/\xFF folder/" + std::to_string(item),
                                .trashPath = "/home/ada/.local/share/Trash/files/" + std::to_string(item),
                                .logicalBytes = item,
                                .error = {}});
    }
    return record;
}

}  // namespace larkfold::test
