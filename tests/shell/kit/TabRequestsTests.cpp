#include "shell/kit/TabRequests.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <string>
#include <vector>

namespace larkfold {
namespace {

using Kind = TabRequests::Kind;

TEST(TabRequests, bringTheTabThatAnswersOnScreenAndHandItThePath) {
    TabRequests requests;
    std::vector<std::string> order;
    QObject::connect(&requests, &TabRequests::tabWanted, &requests,
                     [&](int tab) { order.push_back("tab " + std::to_string(tab)); });
    requests.serve(Kind::ShowInMap, 7, [&](const std::string& path) { order.push_back(path); });
    EXPECT_TRUE(requests.isServed(Kind::ShowInMap));
    requests.request(Kind::ShowInMap, "/a/\xFF");
    EXPECT_EQ(order, (std::vector<std::string>{"tab 7", "/a/\xFF"}));
}

TEST(TabRequests, thatNobodyAnswersAreKnownAndDoNothing) {
    TabRequests requests;
    requests.serve(Kind::ShowInMap, 7, [](const std::string&) { FAIL() << "this is another request"; });
    QSignalSpy wanted(&requests, &TabRequests::tabWanted);
    EXPECT_FALSE(requests.isServed(Kind::WatchFolder));
    requests.request(Kind::WatchFolder, "/a");
    EXPECT_EQ(wanted.count(), 0);
}

}  // namespace
}  // namespace larkfold
