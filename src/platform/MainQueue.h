// The main thread's mailbox.
//
// Any thread posts a function; the main thread runs it when it drains the box. What wakes the main thread is
// given from outside (the window's event loop, or a test's own loop), so nothing here knows a toolkit.
#pragma once

#include <functional>
#include <memory>

namespace larkfold {

class MainQueue {
public:
    // `wake` is called from any thread, at most once between two drains, when something waits. It must only
    // cause a later `drain()` on the main thread.
    explicit MainQueue(std::function<void()> wake);
    ~MainQueue();
    MainQueue(const MainQueue&) = delete;
    MainQueue& operator=(const MainQueue&) = delete;

    // From any thread. Functions run in the order of their posting. After the queue is gone, nothing may
    // post.
    void post(std::function<void()> function);

    // Main thread only: runs what waits now. What is posted meanwhile waits for the next drain (and wakes).
    void drain();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace larkfold
