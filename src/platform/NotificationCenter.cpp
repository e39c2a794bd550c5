#include "platform/NotificationCenter.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace larkfold {

struct NotificationCenter::Impl {
    struct Entry {
        std::string name;
        std::function<void()> observer;
        bool isObserving = true;
    };

    std::vector<std::shared_ptr<Entry>> entries;
};

NotificationCenter::NotificationCenter() : impl_(std::make_shared<Impl>()) {}

NotificationCenter::~NotificationCenter() = default;

NotificationCenter::Observation NotificationCenter::observe(std::string name,
                                                            std::function<void()> observer) {
    auto entry = std::make_shared<Impl::Entry>(std::move(name), std::move(observer));
    impl_->entries.push_back(entry);
    // The registration may outlive the center, so it knows the center weakly.
    const auto remove = [entry, center = std::weak_ptr<Impl>(impl_)](void*) {
        entry->isObserving = false;
        if (const auto impl = center.lock()) {
            std::erase(impl->entries, entry);
        }
    };
    return Observation(std::shared_ptr<void>(entry.get(), remove));
}

void NotificationCenter::post(std::string_view name) {
    // A copy, since observers may come and go meanwhile: who comes is called from the next post on, who goes
    // at once not.
    const std::vector<std::shared_ptr<Impl::Entry>> entries = impl_->entries;
    for (const auto& entry : entries) {
        if (entry->isObserving && entry->name == name) {
            entry->observer();
        }
    }
}

}  // namespace larkfold
