// Dates as the views write them, in the user's time and language: `platform/Collation.h` decides how they
// look. Safe from any thread.
#pragma once

#include <QString>

#include "platform/Date.h"

namespace larkfold::texts {

// "19 Nov 2026, 18:04". What a damaged store may claim and no calendar has is "Unknown date".
QString dateAndTime(Date date);

// How long ago, in plain words: "Today, 18:04", "Yesterday", "19 Nov 2026". A date that lies ahead, by a
// clock that was set back, stands as it is.
QString age(Date date, Date now);

}  // namespace larkfold::texts
