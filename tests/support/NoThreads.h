// A process to which the system gives no further thread. For an ordinary user's process only: the superuser's
// know no such limit.
#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>

namespace larkfold::test {

inline void allowNoMoreThreads() {
    const rlimit none{.rlim_cur = 1, .rlim_max = 1};  // this one
    ASSERT_EQ(setrlimit(RLIMIT_NPROC, &none), 0);
}

}  // namespace larkfold::test
