// The serial context: where engines work.
//
// A context runs one piece of work at a time, in order of arrival, on a thread of its own that is started
// when the first work comes. Each piece gets a stop token; its outcome (a value, or what it threw) is
// delivered on the main thread through the `MainQueue`, unless the owner dropped the `Run` meanwhile: then it
// does not arrive.
//
//   run_ = context_.run<ScanResult>(
//       [=](std::stop_token stop) { return scanner->scan(url, options, stop); },
//       [this](Outcome<ScanResult> outcome) { ... main thread ... });
//
// Dropping the handle (destroying `Run`, or assigning another) asks the work to stop and discards what it
// delivers. `Run::cancel()` asks it to stop and still delivers, which is how a driver hears of a
// cancellation.
//
// Work that tells how far it is posts through a `CoalescedReports` made on the same main queue: functions run
// there in the order of their posting, so a report made by the work arrives before its outcome.
//
// What the work captured is destroyed on the context's thread, what the functions of the main thread captured
// on the main thread; nothing of it under a lock. Where the system gives no thread, the work does not begin
// and its outcome is a `SystemError` of `launch`; the next work asks for one anew.
//
// A context may be destroyed from the main thread only. The destructor asks the running work to stop, drops
// what waits, and joins the thread; work therefore has to look at its token, and never waits for the main
// thread.
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <utility>
#include <variant>

#include "platform/MainQueue.h"

namespace larkfold {

// What a piece of work came to: its value, or what it threw.
template <typename T>
class Outcome {
public:
    explicit Outcome(T value) : state_(std::in_place_index<0>, std::move(value)) {}
    explicit Outcome(std::exception_ptr failure) : state_(std::in_place_index<1>, std::move(failure)) {}

    bool succeeded() const { return state_.index() == 0; }

    // The value; throws what the work threw.
    T& get() {
        if (state_.index() == 1) {
            std::rethrow_exception(std::get<1>(state_));
        }
        return std::get<0>(state_);
    }

private:
    std::variant<T, std::exception_ptr> state_;
};

// The owner's handle to a piece of work. Main thread only.
class Run {
public:
    struct State;

    Run() = default;
    explicit Run(std::shared_ptr<State> state) : state_(std::move(state)) {}
    Run(Run&&) noexcept = default;
    Run& operator=(Run&& other) noexcept;
    ~Run();

    // Asks the work to stop. Its outcome still arrives.
    void cancel();

    // Asks the work to stop and lets nothing of it arrive any more.
    void drop();

    explicit operator bool() const { return state_ != nullptr; }

private:
    std::shared_ptr<State> state_;
};

class SerialContext {
public:
    // `mainQueue` outlives the context. `name` is shown by debuggers, at most 15 characters.
    SerialContext(MainQueue& mainQueue, std::string name);
    ~SerialContext();
    SerialContext(const SerialContext&) = delete;
    SerialContext& operator=(const SerialContext&) = delete;

    // Runs `work(stop)` here, then `deliver(outcome)` on the main thread. Main thread only.
    template <typename T>
    [[nodiscard]] Run run(std::function<T(std::stop_token)> work, std::function<void(Outcome<T>)> deliver) {
        return enqueue([work = std::move(work), deliver = std::move(deliver)](
                           std::stop_token stop, std::exception_ptr refusal) mutable {
            auto outcome = std::make_shared<Outcome<T>>(refusal ? Outcome<T>(std::move(refusal))
                                                                : attempt<T>(work, std::move(stop)));
            work = nullptr;
            return std::function<void()>([deliver = std::move(deliver), outcome = std::move(outcome)] {
                deliver(std::move(*outcome));
            });
        });
    }

private:
    template <typename T>
    static Outcome<T> attempt(const std::function<T(std::stop_token)>& work, std::stop_token stop) {
        try {
            return Outcome<T>(work(std::move(stop)));
        } catch (...) {
            return Outcome<T>(std::current_exception());
        }
    }

    // A job runs once, on the context's thread, and returns what is to be done on the main thread. With a
    // refusal it does not do its work: that is its outcome.
    using Job = std::function<std::function<void()>(std::stop_token, std::exception_ptr refusal)>;
    Run enqueue(Job job);

    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace larkfold
