// Running a part of a test in a child process that is prepared for it: under another user, in a namespace.
//
// Assertions inside work as ever. The parent tells each failure as its own, with file, line and values, and
// skips the test where the child did. So is a failure that the child throws, is killed by a signal or ends
// itself. It is a fork: threads of the parent do not exist there.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace larkfold::test {

void inChildProcess(const std::function<void()>& work);

// What `inChildProcess` tells, without telling it.
std::vector<testing::TestPartResult> toldByChildProcess(const std::function<void()>& work);

}  // namespace larkfold::test
