#include "platform/qt/DetachedCall.h"

#include <gtest/gtest.h>

#include <QEventLoop>
#include <QTimer>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "support/NoThreads.h"
#include "support/UnprivilegedUser.h"

namespace larkfold::test {
namespace {

// Where a question waits until the test lets it go on, and says that it was asked and that it is over.
class Gate {
public:
    void pass() {
        std::unique_lock lock(mutex_);
        isAsked_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return isOpen_; });
    }
    void awaitQuestion() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return isAsked_; });
    }
    void open() {
        const std::lock_guard lock(mutex_);
        isOpen_ = true;
        changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isAsked_ = false;
    bool isOpen_ = false;
};

TEST(DetachedCall, itsAnswerArrivesInTheEventLoop) {
    QObject owner;
    QEventLoop loop;
    std::optional<int> answer;
    std::thread::id place;
    std::thread::id asked;
    const DetachedCall call(owner, std::function([&asked] {
                                asked = std::this_thread::get_id();
                                return 42;
                            }),
                            std::function([&](int value) {
                                answer = value;
                                place = std::this_thread::get_id();
                                loop.quit();
                            }));
    EXPECT_FALSE(answer);
    QTimer::singleShot(std::chrono::seconds(60), &loop, &QEventLoop::quit);
    loop.exec();
    EXPECT_EQ(answer, 42);
    EXPECT_EQ(place, std::this_thread::get_id());
    EXPECT_NE(asked, place);
}

TEST(DetachedCall, whoForgetsItWaitsForNothingAndIsToldNothing) {
    QObject owner;
    const auto gate = std::make_shared<Gate>();
    const auto question = std::function([gate] {
        gate->pass();
        return 1;
    });
    bool isTold = false;
    {
        const DetachedCall call(owner, question, std::function([&isTold](int) { isTold = true; }));
        gate->awaitQuestion();
    }  // with the question unanswered
    gate->open();
    // Another one's answer comes after what the first might have sent.
    QEventLoop loop;
    QTimer::singleShot(std::chrono::seconds(60), &loop, &QEventLoop::quit);
    const DetachedCall next(owner, question, std::function([&loop](int) { loop.quit(); }));
    loop.exec();
    EXPECT_FALSE(isTold);
}

TEST(DetachedCall, anotherInItsPlaceIsTheOnlyOneThatAnswers) {
    QObject owner;
    QEventLoop loop;
    const auto gate = std::make_shared<Gate>();
    int answer = 0;
    const auto take = std::function([&](int value) {
        answer += value;
        loop.quit();
    });
    DetachedCall call(owner, std::function([gate] {
                          gate->pass();
                          return 1;
                      }),
                      take);
    gate->awaitQuestion();
    call = DetachedCall(owner, std::function([] { return 2; }), take);
    gate->open();
    QTimer::singleShot(std::chrono::seconds(60), &loop, &QEventLoop::quit);
    loop.exec();
    EXPECT_EQ(answer, 2);
}

TEST(DetachedCall, withoutAThread_fails) {
    asUnprivilegedUser([](const std::string&) {
        allowNoMoreThreads();
        QObject owner;
        EXPECT_THROW(DetachedCall(owner, std::function([] { return 1; }), std::function([](int) {})),
                     SystemError);
    });
}

}  // namespace
}  // namespace larkfold::test
