#include "shell/kit/Throttle.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTest>
#include <chrono>
#include <memory>

namespace larkfold {
namespace {

using namespace std::chrono_literals;

TEST(ThrottleTest, howeverMuchChangesItIsToldOnceInATurnOfTheMainLoop) {
    int told = 0;
    Throttle throttle([&] { ++told; });
    for (int change = 0; change < 1000; ++change) {
        throttle.note();
    }
    EXPECT_EQ(told, 0) << "not in the midst of the changes";
    QCoreApplication::processEvents();
    EXPECT_EQ(told, 1);
    QCoreApplication::processEvents();
    EXPECT_EQ(told, 1) << "nothing changed since";
    throttle.note();
    QCoreApplication::processEvents();
    EXPECT_EQ(told, 2);
}

TEST(ThrottleTest, whatChangesWhileItIsToldIsToldInTheNextTurn) {
    int told = 0;
    std::unique_ptr<Throttle> throttle;
    throttle = std::make_unique<Throttle>([&] {
        if (++told == 1) {
            throttle->note();
        }
    });
    throttle->note();
    EXPECT_TRUE(QTest::qWaitFor([&] { return told == 2; }, 20'000));
}

TEST(ThrottleTest, withAnIntervalTheFirstChangeIsToldAtOnceAndTheRestAtItsEnd) {
    int told = 0;
    Throttle throttle(30ms, [&] { ++told; });
    throttle.note();
    EXPECT_EQ(told, 1);
    throttle.note();
    throttle.note();
    EXPECT_EQ(told, 1);
    ASSERT_TRUE(QTest::qWaitFor([&] { return told == 2; }, 20'000));
}

TEST(ThrottleTest, withinTheIntervalNothingMoreIsTold) {
    int told = 0;
    Throttle throttle(1h, [&] { ++told; });
    for (int change = 0; change < 100; ++change) {
        throttle.note();
        QCoreApplication::processEvents();
    }
    EXPECT_EQ(told, 1);
}

TEST(ThrottleTest, whoIsGoneIsNotToldAnyMore) {
    int told = 0;
    auto throttle = std::make_unique<Throttle>([&] { ++told; });
    throttle->note();
    throttle.reset();
    QCoreApplication::processEvents();
    EXPECT_EQ(told, 0);
}

}  // namespace
}  // namespace larkfold
