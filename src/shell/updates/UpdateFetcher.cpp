#include "shell/updates/UpdateFetcher.h"

#include <QNetworkCookieJar>
#include <QNetworkRequest>
#include <QSslConfiguration>
#include <functional>
#include <utility>

#include "platform/Error.h"

namespace larkfold {

namespace {

constexpr int kMostRedirects = 5;
constexpr qint64 kReadAhead = 64 << 10;  // bytes that wait for us at most; the sender waits from there on

constexpr int kOK = 200;
constexpr int kNotFound = 404;
constexpr int kGone = 410;

QNetworkRequest requestFor(const QUrl& url, const UpdateFetcher::Dependencies& dependencies) {
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    request.setMaximumRedirectsAllowed(kMostRedirects);
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    request.setRawHeader("User-Agent", "Larkfold");
    // The same for everybody; the toolkit would send the user's language.
    request.setRawHeader("Accept-Language", "en");
    // What arrives is what is counted and signed: nothing that grows when it is unpacked.
    request.setRawHeader("Accept-Encoding", "identity");
    auto security = QSslConfiguration::defaultConfiguration();
    security.setProtocol(QSsl::TlsV1_2OrLater);
    security.setPeerVerifyMode(QSslSocket::VerifyPeer);
    if (dependencies.authorities) {
        security.setCaCertificates(*dependencies.authorities);
    }
    request.setSslConfiguration(security);
    return request;
}

UpdateError::Case reasonFor(QNetworkReply::NetworkError error, bool hasAnswer) {
    switch (error) {
        case QNetworkReply::SslHandshakeFailedError:
        case QNetworkReply::InsecureRedirectError:
        case QNetworkReply::ProtocolUnknownError:
            return UpdateError::Case::insecure;
        case QNetworkReply::RemoteHostClosedError:
            return hasAnswer ? UpdateError::Case::cutOff : UpdateError::Case::unreachable;
        case QNetworkReply::TimeoutError:
            return UpdateError::Case::tooSlow;
        default:
            return hasAnswer ? UpdateError::Case::refused : UpdateError::Case::unreachable;
    }
}

}  // namespace

UpdateFetcher::UpdateFetcher(Dependencies dependencies, QObject* parent)
    : QObject(parent), dependencies_(std::move(dependencies)) {
    timer_.setSingleShot(true);
    connect(&timer_, &QTimer::timeout, this, [this] { fail(UpdateError::Case::tooSlow); });
}

UpdateFetcher::~UpdateFetcher() {
    cancel();
}

void UpdateFetcher::fetch(const UpdateSource& source, std::function<void(Result)> done) {
    cancel();
    source_ = source;
    done_ = std::move(done);
    network_ = std::make_unique<QNetworkAccessManager>();
    network_->setAutoDeleteReplies(false);
    timer_.start(dependencies_.timeLimit);
    findProxy();
}

QNetworkProxy UpdateFetcher::systemProxyFor(const QUrl& url) {
    const auto proxies = QNetworkProxyFactory::proxyForQuery(QNetworkProxyQuery(url));
    return proxies.isEmpty() ? QNetworkProxy(QNetworkProxy::NoProxy) : proxies.first();
}

void UpdateFetcher::findProxy() {
    try {
        proxyCall_ =
            DetachedCall(*this, std::function([proxyFor = dependencies_.proxyFor, url = source_->feed()] {
                return proxyFor(url);
            }),
                         std::function([this](QNetworkProxy proxy) {
                             network_->setProxy(proxy);
                             // The signature first: without one there is no reason to load the feed.
                             get(Stage::signature);
                         }));
    } catch (const SystemError&) {
        QTimer::singleShot(0, network_.get(), [this, asked = network_.get()] {
            if (network_.get() == asked) {
                fail(UpdateError::Case::unreachable);
            }
        });
    }
}

void UpdateFetcher::cancel() {
    timer_.stop();
    proxyCall_ = {};
    dropReply();
    done_ = nullptr;
}

void UpdateFetcher::dropReply() {
    if (reply_ != nullptr) {
        reply_->disconnect(this);
        if (reply_->isRunning()) {
            reply_->abort();
        }
        reply_ = nullptr;
    }
    if (network_) {
        // Not at once: this may be called by one of its own replies.
        network_.release()->deleteLater();
    }
}

std::size_t UpdateFetcher::limit() const {
    return stage_ == Stage::signature ? UpdateSource::largestSignature : Appcast::largestFeed;
}

void UpdateFetcher::get(Stage stage) {
    stage_ = stage;
    received_.clear();
    const QUrl url = stage == Stage::signature ? source_->signature() : source_->feed();
    reply_ = network_->get(requestFor(url, dependencies_));
    reply_->setReadBufferSize(kReadAhead);
    connect(reply_, &QNetworkReply::readyRead, this, &UpdateFetcher::take);
    connect(reply_, &QNetworkReply::finished, this, &UpdateFetcher::finishReply);
}

void UpdateFetcher::take() {
    const QByteArray bytes = reply_->readAll();
    received_.append(bytes.constData(), static_cast<std::size_t>(bytes.size()));
    if (received_.size() > limit()) {
        fail(UpdateError::Case::tooLarge);
    }
}

void UpdateFetcher::finishReply() {
    const int status = reply_->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (stage_ == Stage::signature && (status == kNotFound || status == kGone)) {
        fail(UpdateError::Case::unsignedFeed);
        return;
    }
    if (reply_->error() != QNetworkReply::NoError) {
        fail(reasonFor(reply_->error(), status != 0));
        return;
    }
    if (status != kOK) {
        fail(UpdateError::Case::refused);
        return;
    }
    take();
    if (!done_) {
        return;  // what came last was too much
    }
    reply_->disconnect(this);
    reply_->deleteLater();
    reply_ = nullptr;
    if (stage_ == Stage::signature) {
        signature_ = std::move(received_);
        get(Stage::feed);
    } else {
        deliver(Files{.feed = std::move(received_), .signature = std::move(signature_)});
    }
}

void UpdateFetcher::fail(UpdateError::Case reason) {
    deliver(UpdateError(reason));
}

void UpdateFetcher::deliver(Result result) {
    const auto done = std::exchange(done_, nullptr);
    cancel();
    if (done) {
        done(std::move(result));
    }
}

}  // namespace larkfold
