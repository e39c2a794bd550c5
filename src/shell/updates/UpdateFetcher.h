// Fetches the feed of releases and the signature beside it.
//
// Over HTTPS alone, also where the server leads elsewhere; a server that cannot prove who it is gets no
// second chance. What is sent: a request for each of the two files with the host's name, the name of this
// program ("Larkfold") and what HTTP needs. No version, no language, no cookie, no identifier, and nothing is
// kept between two fetches, connections included.
//
// Bounded: by the size of each file (an endless one is cut off), by the number of times the server may lead
// elsewhere, and by one time limit for all of it, measured by a clock that does not jump.
//
// Main thread only; nothing waits.
#pragma once

#include <QList>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QObject>
#include <QSslCertificate>
#include <QTimer>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "platform/qt/DetachedCall.h"
#include "shell/updates/UpdateError.h"
#include "shell/updates/UpdateSource.h"

namespace larkfold {

class UpdateFetcher final : public QObject {
    Q_OBJECT

public:
    struct Dependencies {
        // Whom to believe who the server is; absent: whom the system believes.
        std::optional<QList<QSslCertificate>> authorities = std::nullopt;
        std::chrono::milliseconds timeLimit = std::chrono::seconds(30);
        // The proxy for an address, as the system has it set; asked on another thread, and may never return.
        std::function<QNetworkProxy(const QUrl&)> proxyFor = systemProxyFor;
    };
    static QNetworkProxy systemProxyFor(const QUrl& url);
    struct Files {
        std::string feed;
        std::string signature;
    };
    using Result = std::variant<Files, UpdateError>;

    explicit UpdateFetcher(Dependencies dependencies, QObject* parent = nullptr);
    ~UpdateFetcher() override;

    // `done` is called once, later, unless the fetch is cancelled. One fetch at a time: a second one takes
    // the place of the first.
    void fetch(const UpdateSource& source, std::function<void(Result)> done);
    void cancel();

private:
    enum class Stage { signature, feed };

    // Where the system's settings leave the choice of a proxy to a script, finding it may take as long as
    // loading that script does: on a thread that nobody waits for.
    void findProxy();
    void get(Stage stage);
    void take();
    void finishReply();
    void fail(UpdateError::Case reason);
    void deliver(Result result);
    void dropReply();
    std::size_t limit() const;

    Dependencies dependencies_;
    QTimer timer_;
    std::optional<UpdateSource> source_;
    std::function<void(Result)> done_;
    std::unique_ptr<QNetworkAccessManager> network_;  // of one fetch
    QNetworkReply* reply_ = nullptr;                  // owned by `network_`
    DetachedCall proxyCall_;
    Stage stage_ = Stage::signature;
    std::string received_;
    std::string signature_;
};

}  // namespace larkfold
