// Named notifications between parts of one program that do not know each other. Main thread only; observers
// are called at once, in the order in which they came. An observer may remove itself or others while it is
// called.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace larkfold {

class NotificationCenter {
public:
    // Observes as long as it lives.
    class Observation {
    public:
        Observation() = default;
        explicit Observation(std::shared_ptr<void> registration) : registration_(std::move(registration)) {}

    private:
        std::shared_ptr<void> registration_;
    };

    NotificationCenter();
    ~NotificationCenter();
    NotificationCenter(const NotificationCenter&) = delete;
    NotificationCenter& operator=(const NotificationCenter&) = delete;

    [[nodiscard]] Observation observe(std::string name, std::function<void()> observer);
    void post(std::string_view name);

private:
    struct Impl;
    std::shared_ptr<Impl> impl_;
};

}  // namespace larkfold
