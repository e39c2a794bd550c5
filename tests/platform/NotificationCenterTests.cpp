#include "platform/NotificationCenter.h"

#include <gtest/gtest.h>

#include <vector>

namespace larkfold {
namespace {

using Observation = NotificationCenter::Observation;

TEST(NotificationCenterTest, callsTheObserversOfTheNameInTheirOrder) {
    NotificationCenter center;
    std::vector<int> order;
    const Observation first = center.observe("changed", [&] { order.push_back(1); });
    const Observation other = center.observe("other", [&] { order.push_back(9); });
    const Observation second = center.observe("changed", [&] { order.push_back(2); });
    center.post("changed");
    EXPECT_EQ(order, (std::vector{1, 2}));
}

TEST(NotificationCenterTest, anEndedObservationIsCalledNoMore) {
    NotificationCenter center;
    int calls = 0;
    Observation observation = center.observe("changed", [&] { ++calls; });
    center.post("changed");
    observation = Observation();
    center.post("changed");
    EXPECT_EQ(calls, 1);
}

TEST(NotificationCenterTest, anObserverMayEndItselfAndOthersWhileCalled) {
    NotificationCenter center;
    std::vector<int> order;
    Observation first;
    Observation second;
    first = center.observe("changed", [&] {
        order.push_back(1);
        first = Observation();
        second = Observation();
    });
    second = center.observe("changed", [&] { order.push_back(2); });
    const Observation third = center.observe("changed", [&] { order.push_back(3); });
    center.post("changed");
    center.post("changed");
    EXPECT_EQ(order, (std::vector{1, 3, 3}));
}

TEST(NotificationCenterTest, anObserverAddedWhileCallingIsCalledFromTheNextPostOn) {
    NotificationCenter center;
    int calls = 0;
    std::vector<Observation> added;
    const Observation observation =
        center.observe("changed", [&] { added.push_back(center.observe("changed", [&] { ++calls; })); });
    center.post("changed");
    EXPECT_EQ(calls, 0);
    center.post("changed");
    EXPECT_EQ(calls, 1);
}

TEST(NotificationCenterTest, anObservationMayOutliveTheCenter) {
    auto held = std::make_shared<int>(0);
    Observation observation;
    {
        NotificationCenter center;
        observation = center.observe("changed", [held] {});
        EXPECT_EQ(held.use_count(), 2);
    }
    observation = Observation();
    EXPECT_EQ(held.use_count(), 1) << "the observer goes with its observation";
}

}  // namespace
}  // namespace larkfold
