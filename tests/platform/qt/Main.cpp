#include <gtest/gtest.h>

#include <QGuiApplication>

#include "support/MachineRequirements.h"

int main(int argc, char** argv) {
    const QGuiApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    larkfold::test::listSkippedTests();
    return RUN_ALL_TESTS();
}
