#include "shell/updates/UpdateSource.h"

#include <utility>

#include "platform/Base64.h"
#include "platform/Ed25519.h"
#include "shell/updates/UpdateError.h"

namespace larkfold {

namespace {

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view spaces = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(spaces);
    return begin == std::string_view::npos ? std::string_view()
                                           : text.substr(begin, text.find_last_not_of(spaces) - begin + 1);
}

}  // namespace

std::optional<UpdateSource> UpdateSource::make(std::string_view feed, std::string_view publicKey) {
    const QUrl url(QString::fromUtf8(feed.data(), static_cast<qsizetype>(feed.size())), QUrl::StrictMode);
    const auto key = base64Decoded(publicKey);
    const bool isAddress = url.isValid() && url.scheme() == u"https" && !url.host().isEmpty() &&
                           url.path().size() > 1 && url.userInfo().isEmpty() && !url.hasQuery() &&
                           !url.hasFragment();
    if (!isAddress || !key || key->size() != ed25519PublicKeySize) {
        return std::nullopt;
    }
    return UpdateSource(url, *key);
}

QUrl UpdateSource::signature() const {
    QUrl url = feed_;
    url.setPath(feed_.path(QUrl::FullyEncoded) + QString::fromLatin1(signatureSuffix), QUrl::StrictMode);
    return url;
}

Appcast UpdateSource::read(std::string_view feed, std::string_view signature,
                           const std::stop_token& stop) const {
    const auto bytes = base64Decoded(trimmed(signature));
    if (!bytes || !isSignedByEd25519(feed, *bytes, publicKey_)) {
        throw UpdateError(UpdateError::Case::wrongSignature);
    }
    return Appcast::parse(feed, stop);
}

}  // namespace larkfold
