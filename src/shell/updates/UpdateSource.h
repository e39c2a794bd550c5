// Where the feed of releases lies and by whom it must be signed, and the one door through which its bytes
// become releases. A value; safe from any thread.
#pragma once

#include <QUrl>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <utility>

#include "shell/updates/Appcast.h"

namespace larkfold {

class UpdateSource {
public:
    // `feed`: an https address without user, query and fragment. `publicKey`: the makers' Ed25519 key, 32
    // bytes in Base64. Nothing where one of them is not that: checking for updates is disabled then.
    static std::optional<UpdateSource> make(std::string_view feed, std::string_view publicKey);

    const QUrl& feed() const { return feed_; }
    // The detached signature: beside the feed, with this behind its name.
    static constexpr auto signatureSuffix = ".sig";
    QUrl signature() const;
    // A signature in Base64 has 88 characters; room for line breaks, and no more.
    static constexpr std::size_t largestSignature = 1024;

    // The releases in the feed. Nothing is read of it before `signature`, the content of the file beside it,
    // has proved to be the makers' signature of exactly these bytes. Throws UpdateError, and
    // CancellationError where `stop` is asked for meanwhile.
    Appcast read(std::string_view feed, std::string_view signature, const std::stop_token& stop = {}) const;

private:
    UpdateSource(QUrl feed, std::string publicKey)
        : feed_(std::move(feed)), publicKey_(std::move(publicKey)) {}

    QUrl feed_;
    std::string publicKey_;
};

}  // namespace larkfold
