// What may be removed from a map: the folder that is open to it, as the user saw it when the map was made,
// and what the path rules say of the map's items.
//
// An item is judged twice. By its text alone as it is marked: the map was made without following a link,
// so none lies between its root and the item, and where the root really leads was asked before. And by
// the disk afterwards, which may have changed. A value; asking the text is safe from any thread, and what
// asks the disk waits for it.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "platform/DurableIdentity.h"
#include "removal/PathRules.h"

namespace larkfold {

class RemovalScope {
public:
    // What the text of a path says of its item.
    enum class Answer {
        allowed,
        refused,      // protected, or outside of the open folder
        unknownRoot,  // the open folder cannot be told from another one in its place
        notToldYet,   // the disk has not told where the protected places lie
    };

    // What the disk says of many items.
    struct Decisions {
        std::vector<removal_rules::PathDecision> items;  // of each, in their order
        bool isAnotherFolder = false;  // another one stands in the place of the open folder: all are refused
    };

    RemovalScope() = default;
    // With the folder at `openRoot` as it stands now. Waits for its disk as long as a scan does.
    RemovalScope(std::string openRoot, const std::stop_token& stop);

    // To be called when the map is complete: `mapRoot` is the path of its root. A folder that is another one
    // by now than at the beginning is unknown from here on.
    void takeMap(std::string mapRoot, const std::stop_token& stop);

    // Where the map's root and the protected places lie. The first waits a short, fixed time, after which it
    // is simply not known yet; the second as long as the disk takes, and throws `CancellationError` as soon
    // as `stop` is requested.
    void askForRules();
    void awaitRules(const std::stop_token& stop);
    bool hasRules() const { return policy_.has_value(); }

    const std::string& openRoot() const { return openRoot_; }
    // Absent where it could not be told, or where the folder was exchanged while the map was made.
    const std::optional<DurableIdentity>& identity() const { return identity_; }

    // For the path of a node of the map. Looks at no disk.
    Answer mayMark(const std::string& url) const;

    // As `PathPolicy::decideEach`, with the protected places looked up anew.
    Decisions ask(const std::vector<std::string>& urls, const std::function<void(std::size_t)>& onAnswered,
                  const std::stop_token& stop) const;

private:
    std::string openRoot_;
    std::optional<DurableIdentity> identity_;
    std::string mapRoot_;
    std::string realMapRoot_;  // without a link, known with the policy
    std::optional<removal_rules::PathPolicy> policy_;
};

}  // namespace larkfold
