// Runs the tests of a program that needs nothing else of its own.
#include <gtest/gtest.h>

#include "support/MachineRequirements.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    larkfold::test::listSkippedTests();
    return RUN_ALL_TESTS();
}
