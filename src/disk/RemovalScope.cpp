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
    removal_rules::Judge judge({openRoot_});
    if (real && judge.isUsable()) {
        realMapRoot_ = *real;
        judge_ = std::move(judge);
    }
}

void RemovalScope::awaitRules(const std::stop_token& stop) {
    const LinkResolution real = resolveLinks({mapRoot_}, nullptr, stop).front();
    removal_rules::Judge judge({openRoot_}, stop);
    if (real.path && judge.isUsable()) {
        realMapRoot_ = *real.path;
        judge_ = std::move(judge);
    }
}

RemovalScope::Answer RemovalScope::mayMark(const std::string& url) const {
    if (!judge_) {
        return Answer::notToldYet;
    }
    if (!isAtOrBelow(url, mapRoot_)) {
        return Answer::refused;
    }
    const std::string below = mapRoot_ == "/" ? url : url.substr(mapRoot_.size());
    if (!judge_->allowsResolved(realMapRoot_ == "/" ? below : realMapRoot_ + below)) {
        return Answer::refused;
    }
    return identity_ ? Answer::allowed : Answer::unknownRoot;
}

RemovalScope::Judgements RemovalScope::ask(const std::vector<std::string>& urls,
                                           const std::function<void(std::size_t)>& onAnswered,
                                           const std::stop_token& stop) const {
    const auto now = DurableIdentity::ofFolder(openRoot_, answerTimeout, stop);
    if (now && identity_ && !now->isSameAs(*identity_)) {
        return {.items = std::vector<removal_rules::Judgement>(urls.size()), .isAnotherFolder = true};
    }
    const removal_rules::Judge judge({openRoot_}, stop);
    return {.items = judge.judgeEach(urls, onAnswered, stop), .isAnotherFolder = false};
}

}  // namespace larkfold
