// Places below the root of a walk or of a watch that need care: what is left out, and what is mounted. A tree
// by name, in which most folders have no part and then cost nothing. Linux part of the platform layer only.
// One thread.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace larkfold {

struct SpecialPlace {
    bool isExcluded = false;
    bool isMountPoint = false;
    bool mayFailToAnswer = false;  // a mount that a dead server or program may stand behind
    bool hasGivenUp = false;       // it did not answer: nothing on it is asked again (a walk's own knowledge)
    std::map<std::string, std::unique_ptr<SpecialPlace>, std::less<>> below;

    // The place at a path relative to this one, made where it is missing.
    SpecialPlace& at(std::string_view relative) {
        SpecialPlace* place = this;
        while (!relative.empty()) {
            const auto slash = relative.find('/');
            const std::string_view name = relative.substr(0, slash);
            relative.remove_prefix(slash == std::string_view::npos ? relative.size() : slash + 1);
            if (name.empty()) {
                continue;
            }
            auto& next = place->below[std::string(name)];
            if (!next) {
                next = std::make_unique<SpecialPlace>();
            }
            place = next.get();
        }
        return *place;
    }

    // What is known of the item of that name; null where it needs no care.
    static const SpecialPlace* child(const SpecialPlace* place, std::string_view name) {
        if (place == nullptr) {
            return nullptr;
        }
        const auto found = place->below.find(name);
        return found == place->below.end() ? nullptr : found->second.get();
    }
};

}  // namespace larkfold
