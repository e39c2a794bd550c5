// A point in time as the stores keep it: seconds since 1970 as a double.
#pragma once

#include <chrono>

namespace larkfold {

using Seconds = std::chrono::duration<double>;
using Date = std::chrono::sys_time<Seconds>;

inline Date dateFromSecondsSince1970(double seconds) {
    return Date{Seconds{seconds}};
}
inline double secondsSince1970(Date date) {
    return date.time_since_epoch().count();
}

// The present time by the system's clock. For durations use std::chrono::steady_clock: this one may jump.
inline Date now() {
    return std::chrono::time_point_cast<Seconds>(std::chrono::system_clock::now());
}

}  // namespace larkfold
