// Why a check for updates came to nothing. Each case has a sentence that says what to do. Immutable, so
// values may cross threads.
#pragma once

#include "platform/Error.h"

namespace larkfold {

class UpdateError final : public Error {
public:
    enum class Case {
        unreachable,   // no connection came about
        insecure,      // somebody answered who could not prove to be the server, or who leads to an open one
        tooSlow,       // it did not end within the time there is
        refused,       // the server answered something else than the feed
        tooLarge,      // it sent more than a feed ever has
        cutOff,        // it ended before everything had come
        unsignedFeed,  // there is no signature beside the feed
        wrongSignature,  // there is one, of something else or by somebody else
        outdated,        // an older feed than one that was read before
        documentType,    // signed, and with a document type declaration, which no feed has
        unreadable       // signed, and yet no feed
    };

    explicit UpdateError(Case reason) : reason_(reason) {}

    Case reason() const { return reason_; }
    std::string description() const override;

private:
    Case reason_;
};

}  // namespace larkfold
