#include "disk/RemovalScope.h"

#include <chrono>
#include <utility>

#include "platform/LinkResolution.h"
#include "platform/Path.h"

namespace larkfold {

namespace {

// As long as a scan waits for a folder: a disk that slept is awake by then.
constexpr std::chrono::seconds answerTimeout{10};

}  // namespace

RemovalScope::RemovalScope(std::string openRoot, const std::stop_token& stop)
    : openRoot_(std::move(openRoot)), identity_(DurableIdentity::ofFolder(openRoot_, answerTimeout, stop)) {}

void RemovalScope::takeMap(std::string mapRoot, const std::stop_token& stop) {
    mapRoot_ = std::move(mapRoot);
    const auto now = DurableIdentity::ofFolder(openRoot_, answerTimeout, stop);
    if (!now || !identity_ || !now->isSameAs(*identity_)) {
        identity_.reset();
    }
}

void RemovalScope::askForRules() {
    const auto real = pathWithLinksResolved(mapRoot_);
    removal_rules::PathPolicy policy({openRoot_});
    if (real && policy.isUsable()) {
        realMapRoot_ = *real;
        policy_ = std::move(policy);
    }
}

void RemovalScope::awaitRules(const std::stop_token& stop) {
    const LinkResolution real = resolveLinks({mapRoot_}, nullptr, stop).front();
    removal_rules::PathPolicy policy({openRoot_}, stop);
    if (real.path && policy.isUsable()) {
        realMapRoot_ = *real.path;
        policy_ = std::move(policy);
    }
}

RemovalScope::Answer RemovalScope::mayMark(const std::string& url) const {
    if (!policy_) {
        return Answer::notToldYet;
    }
    if (!isAtOrBelow(url, mapRoot_)) {
        return Answer::refused;
    }
    const std::string below = mapRoot_ == "/" ? url : url.substr(mapRoot_.size());
    if (!policy_->allowsResolved(realMapRoot_ == "/" ? below : realMapRoot_ + below)) {
        return Answer::refused;
    }
    return identity_ ? Answer::allowed : Answer::unknownRoot;
}

RemovalScope::Decisions RemovalScope::ask(const std::vector<std::string>& urls,
                                          const std::function<void(std::size_t)>& onAnswered,
                                          const std::stop_token& stop) const {
    const auto now = DurableIdentity::ofFolder(openRoot_, answerTimeout, stop);
    if (now && identity_ && !now->isSameAs(*identity_)) {
        return {.items = std::vector<removal_rules::PathDecision>(urls.size()), .isAnotherFolder = true};
    }
    const removal_rules::PathPolicy policy({openRoot_}, stop);
    return {.items = policy.decideEach(urls, onAnswered, stop), .isAnotherFolder = false};
}

}  // namespace larkfold
