// A check for updates against a real HTTPS server on the loopback interface, with a certificate authority of
// the test's own: good feeds, old, unsigned, wrongly signed, cut-off and endless ones, and servers that are
// not who they should be.

#include "shell/updates/UpdateManager.h"

#include <gtest/gtest.h>

#include <QNetworkProxy>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <atomic>
#include <memory>
#include <stop_token>
#include <string>
#include <thread>

#include "platform/Error.h"
#include "platform/qt/EventLoopQueue.h"
#include "shell/updates/TestCertificates.h"
#include "shell/updates/UpdateFeedText.h"
#include "shell/updates/UpdateServer.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {
namespace {

using State = UpdateManager::State;
using Way = Answer::Way;

constexpr auto kDay = std::chrono::hours(24);

class UpdateManagerTest : public testing::Test {
protected:
    std::unique_ptr<UpdateManager> make(const std::string& address,
                                        std::chrono::milliseconds timeLimit = std::chrono::seconds(20)) {
        UpdateManager::Dependencies dependencies{.version = "0.1.0",
                                                 .source = UpdateSource::make(address, makers_.publicKey()),
                                                 .fetching = {.authorities = authority_.certificates(),
                                                              .timeLimit = timeLimit,
                                                              .proxyFor = proxyFor_},
                                                 .now = [this] { return now_; },
                                                 .installation = Installation::unmanaged,
                                                 .openPage =
                                                     [this](const QUrl& url) {
                                                         opened_ << url.toString();
                                                         return opens_;
                                                     }};
        if (read_) {
            dependencies.read = read_;
        }
        return std::make_unique<UpdateManager>(events_.queue(), defaults_, std::move(dependencies));
    }
    std::unique_ptr<UpdateManager> make() { return make(server_.address("/feed.xml")); }

    void serve(const std::string& feed, const std::string& signature) {
        server_.answer("/feed.xml", {.body = QByteArray::fromStdString(feed)});
        server_.answer("/feed.xml.sig", {.body = QByteArray::fromStdString(signature)});
    }
    void serve(const std::string& feed) { serve(feed, makers_.signatureOf(feed)); }

    static bool settle(UpdateManager& manager) {
        return QTest::qWaitFor([&manager] { return manager.state() != State::Checking; }, 60'000);
    }
    static State check(UpdateManager& manager) {
        manager.checkForUpdates();
        EXPECT_TRUE(settle(manager));
        return manager.state();
    }
    static void expectFailure(UpdateManager& manager, UpdateError::Case reason) {
        EXPECT_EQ(check(manager), State::Failed);
        EXPECT_EQ(manager.text().toStdString(),
                  UpdateError(reason).description() + " Nothing was changed on this computer.");
        EXPECT_TRUE(manager.availableVersion().isEmpty());
        EXPECT_TRUE(manager.canCheckForUpdates()) << "it can be tried again";
    }

    // Lets a reading begin, and not end before it is asked to stop; what it then comes to.
    void holdReading(std::function<Appcast()> end) {
        read_ = [this, end = std::move(end)](const UpdateSource&, const UpdateFetcher::Files&,
                                             const std::stop_token& stop) {
            isReading_ = true;
            std::atomic<bool> isAsked = false;
            const std::stop_callback ask(stop, [&isAsked] {
                isAsked = true;
                isAsked.notify_all();
            });
            isAsked.wait(false);
            hasRead_ = true;
            return end();
        };
    }
    // A check that got as far as to the reading of what was fetched.
    std::unique_ptr<UpdateManager> makeReading() {
        serve(feedOf(itemOf("0.2.0")));
        auto manager = make();
        manager->checkForUpdates();
        EXPECT_TRUE(QTest::qWaitFor([this] { return isReading_.load(); }, 60'000));
        EXPECT_EQ(manager->state(), State::Checking);
        EXPECT_FALSE(manager->canCheckForUpdates());
        return manager;
    }

    TemporaryTree surroundings_;
    EventLoopQueue events_;
    decltype(UpdateManager::Dependencies::read) read_;  // in place of the manager's own
    std::atomic<bool> isReading_ = false;
    std::atomic<bool> hasRead_ = false;
    UserDefaults defaults_{surroundings_.path("settings.json"), events_.queue()};
    SigningKey makers_;
    CertificateAuthority authority_;
    UpdateServer server_{authority_.identityFor("DNS:localhost")};
    Date now_ = dateFromSecondsSince1970(1'800'000'000);  // January 2027
    QStringList opened_;
    bool opens_ = true;
    std::function<QNetworkProxy(const QUrl&)> proxyFor_ = UpdateFetcher::systemProxyFor;
};

TEST_F(UpdateManagerTest, aNewerVersionIsShownWithWhatIsNewAndWhereToGetIt) {
    serve(feedOf(
        itemOf(
            "0.2.0",
            "<link>https://example.org/get</link><description>- Faster\n- &lt;b&gt; &amp;amp;</description>"
            "<sparkle:releaseNotesLink>https://example.org/notes</sparkle:releaseNotesLink>") +
        itemOf("0.1.1", "<description>Smaller</description>")));
    const auto manager = make();
    EXPECT_EQ(manager->state(), State::Idle);
    QSignalSpy changed(manager.get(), &UpdateManager::stateChanged);
    manager->checkForUpdates();
    EXPECT_EQ(manager->state(), State::Checking);
    EXPECT_FALSE(manager->canCheckForUpdates());
    EXPECT_TRUE(manager->showsCheck());
    ASSERT_TRUE(settle(*manager));
    ASSERT_EQ(manager->state(), State::Available) << manager->text().toStdString();
    EXPECT_EQ(changed.count(), 2);
    EXPECT_TRUE(manager->canCheckForUpdates());
    EXPECT_EQ(manager->title(), "Larkfold 0.2.0 is available");
    EXPECT_EQ(manager->text(), "You have version 0.1.0.");
    const QVariantList releases = manager->releases();
    ASSERT_EQ(releases.size(), 2);
    EXPECT_EQ(releases[0].toMap()["name"], "0.2.0");
    EXPECT_EQ(releases[0].toMap()["notes"], "- Faster\n- <b> &amp;") << "as it stands";
    EXPECT_EQ(releases[1].toMap()["notes"], "Smaller");
    EXPECT_EQ(manager->page(), "https://example.org/get");
    EXPECT_TRUE(opened_.isEmpty()) << "nothing opens by itself";
    manager->openPage();
    manager->openNotesPage();
    EXPECT_EQ(opened_, QStringList({"https://example.org/get", "https://example.org/notes"}));
}

TEST_F(UpdateManagerTest, theSameVersionAndAnOldFeedAreUpToDate) {
    for (const char* version : {"0.1.0", "0.1", "0.0.9", "0.1.0-rc.1", "0.2.0-beta"}) {
        serve(feedOf(itemOf(version)));
        const auto manager = make();
        EXPECT_EQ(check(*manager), State::UpToDate) << version;
        EXPECT_EQ(manager->text(), "You have version 0.1.0. There is no newer one.");
        EXPECT_TRUE(manager->availableVersion().isEmpty());
    }
}

TEST_F(UpdateManagerTest, aFeedOlderThanOneThatWasReadIsNotBelieved) {
    const std::string old = datedFeedOf("Sun, 01 Nov 2026 00:00:00 +0000", itemOf("0.2.0"));
    serve(old);
    const auto manager = make();
    EXPECT_EQ(check(*manager), State::Available);
    serve(datedFeedOf("Mon, 02 Nov 2026 00:00:00 +0000", itemOf("0.3.0")));
    EXPECT_EQ(check(*manager), State::Available);
    EXPECT_EQ(manager->availableVersion(), "0.3.0");
    serve(old);
    EXPECT_EQ(check(*make()), State::Failed) << "also by a program that was started anew";
    EXPECT_EQ(check(*manager), State::Failed);
    EXPECT_EQ(manager->availableVersion(), "0.3.0") << "what was believed stays known";
    serve(feedOf(itemOf("0.4.0")));
    expectFailure(*make(), UpdateError::Case::outdated);
}

TEST_F(UpdateManagerTest, aReleaseMayBeWithdrawnByANewerFeed) {
    serve(datedFeedOf("Sun, 01 Nov 2026 00:00:00 +0000", itemOf("0.3.0")));
    const auto manager = make();
    EXPECT_EQ(check(*manager), State::Available);
    serve(datedFeedOf("Mon, 02 Nov 2026 00:00:00 +0000", itemOf("0.2.0")));
    EXPECT_EQ(check(*manager), State::Available);
    EXPECT_EQ(manager->availableVersion(), "0.2.0");
}

TEST_F(UpdateManagerTest, aFeedFromTheFutureDoesNotShutOutTheOnesToCome) {
    serve(datedFeedOf("Sun, 01 Nov 2099 00:00:00 +0000", itemOf("0.2.0")));
    const auto manager = make();
    EXPECT_EQ(check(*manager), State::Available);
    EXPECT_EQ(defaults_.integerForKey("updateFeedDate"), 1'800'000'000);
    now_ += std::chrono::hours(1);
    serve(datedFeedOf("Fri, 15 Jan 2027 08:30:00 +0000", itemOf("0.3.0")));  // half an hour after the check
    EXPECT_EQ(check(*manager), State::Available);
    EXPECT_EQ(manager->availableVersion(), "0.3.0");
}

TEST_F(UpdateManagerTest, whatFailedOrWasCancelledIsNoCheckThatWasMade) {
    server_.answer("/feed.xml.sig", {.body = "nonsense"});
    EXPECT_EQ(check(*make()), State::Failed);
    EXPECT_EQ(make()->summary(), "Not checked yet.") << "in the program's next run";
    const auto manager = make();
    manager->checkForUpdates();
    manager->cancelCheck();
    EXPECT_EQ(manager->summary(), "Not checked yet.");
    serve(feedOf(itemOf("0.1.0")));
    EXPECT_EQ(check(*manager), State::UpToDate);
    const QString made = make()->summary();
    EXPECT_TRUE(made.startsWith("Last checked on ")) << made.toStdString();
    now_ += 30 * kDay;
    server_.answer("/feed.xml.sig", {.body = "nonsense"});
    EXPECT_EQ(check(*manager), State::Failed);
    EXPECT_NE(manager->summary(), made);
    EXPECT_EQ(make()->summary(), made) << "the last that came to an answer";
}

TEST_F(UpdateManagerTest, aPageThatDoesNotOpenIsToldWithItsAddress) {
    serve(feedOf(itemOf("0.2.0",
                        "<link>https://example.org/get</link>"
                        "<sparkle:releaseNotesLink>https://example.org/notes</sparkle:releaseNotesLink>")));
    const auto manager = make();
    ASSERT_EQ(check(*manager), State::Available);
    opens_ = false;
    manager->openNotesPage();
    EXPECT_EQ(manager->pageProblem(),
              "The page could not be opened. Its address is https://example.org/notes");
    opens_ = true;
    manager->openPage();
    EXPECT_EQ(manager->pageProblem(), "");
}

TEST_F(UpdateManagerTest, aDueCheckDoesNotTakeAwayWhatIsBeingRead) {
    serve(feedOf(itemOf("0.2.0")));
    const auto manager = make();
    ASSERT_EQ(check(*manager), State::Available);
    manager->setAutomaticallyChecksForUpdates(true);
    now_ += 2 * kDay;
    manager->checkIfDue();
    EXPECT_EQ(manager->state(), State::Available);
    manager->setShowsCheck(false);
    manager->checkIfDue();
    EXPECT_EQ(manager->state(), State::Checking);
    EXPECT_TRUE(settle(*manager));
}

TEST_F(UpdateManagerTest, anUnsignedFeedIsNotEvenLoaded) {
    server_.answer("/feed.xml", {.body = QByteArray::fromStdString(feedOf(itemOf("0.2.0")))});
    expectFailure(*make(), UpdateError::Case::unsignedFeed);
    ASSERT_EQ(server_.requests().size(), 1);
    EXPECT_TRUE(server_.requests().first().startsWith("GET /feed.xml.sig "));
}

TEST_F(UpdateManagerTest, aFeedSignedBySomebodyElseOrForSomethingElseIsNotBelieved) {
    const std::string feed = feedOf(itemOf("0.2.0"));
    for (const std::string& signature :
         {SigningKey().signatureOf(feed), makers_.signatureOf(feedOf(itemOf("0.3.0"))), std::string(),
          std::string("<html>Not here</html>")}) {
        serve(feed, signature);
        expectFailure(*make(), UpdateError::Case::wrongSignature);
    }
    serve(feed);
    EXPECT_EQ(check(*make()), State::Available);
}

TEST_F(UpdateManagerTest, aCutOffFeedIsNotBelieved) {
    const std::string feed = feedOf(itemOf("0.2.0"));
    serve(feed);
    server_.answer("/feed.xml", {.body = QByteArray::fromStdString(feed), .way = Way::cutOff});
    expectFailure(*make(), UpdateError::Case::cutOff);
    serve(feed.substr(0, feed.size() / 2), makers_.signatureOf(feed));
    expectFailure(*make(), UpdateError::Case::wrongSignature);
}

TEST_F(UpdateManagerTest, anEndlessFeedIsCutOffAtItsLimit) {
    serve(feedOf(itemOf("0.2.0")));
    server_.answer("/feed.xml", {.way = Way::endless});
    expectFailure(*make(), UpdateError::Case::tooLarge);
    // What a connection holds on its way comes on top of the limit, and no more than that.
    EXPECT_GT(server_.bytesSent(), static_cast<qint64>(Appcast::largestFeed));
    EXPECT_LT(server_.bytesSent(), 16 << 20);
}

TEST_F(UpdateManagerTest, anEndlessSignatureIsCutOffToo) {
    server_.answer("/feed.xml.sig", {.way = Way::endless});
    expectFailure(*make(), UpdateError::Case::tooLarge);
    EXPECT_EQ(server_.requests().size(), 1);
}

TEST_F(UpdateManagerTest, aFeedOfExactlyTheLimitIsReadAndOneByteMoreIsNot) {
    std::string feed = feedOf(itemOf("0.2.0"));
    feed.append(Appcast::largestFeed - feed.size(), ' ');
    serve(feed);
    EXPECT_EQ(check(*make()), State::Available);
    serve(feed + " ");
    expectFailure(*make(), UpdateError::Case::tooLarge);
}

TEST_F(UpdateManagerTest, aServerThatDripsOrIsSilentIsGivenUp) {
    for (const Way way : {Way::dripping, Way::silent}) {
        serve(feedOf(itemOf("0.2.0")));
        server_.answer("/feed.xml", {.way = way});
        expectFailure(*make(server_.address("/feed.xml"), std::chrono::milliseconds(400)),
                      UpdateError::Case::tooSlow);
    }
}

TEST_F(UpdateManagerTest, aProxyThatIsNeverFoundHoldsUpNothing) {
    const auto isOver = std::make_shared<std::atomic<bool>>(false);
    proxyFor_ = [isOver](const QUrl&) {
        isOver->wait(false);
        return QNetworkProxy(QNetworkProxy::NoProxy);
    };
    serve(feedOf(itemOf("0.2.0")));
    const auto manager = make(server_.address("/feed.xml"), std::chrono::milliseconds(400));
    expectFailure(*manager, UpdateError::Case::tooSlow);
    EXPECT_TRUE(server_.requests().isEmpty());
    *isOver = true;
    isOver->notify_all();
}

TEST_F(UpdateManagerTest, theProxyOfTheSystemIsAsked) {
    QTcpServer proxy;
    ASSERT_TRUE(proxy.listen(QHostAddress::LocalHost));
    QByteArray request;
    QObject::connect(&proxy, &QTcpServer::newConnection, &proxy, [&] {
        QTcpSocket* connection = proxy.nextPendingConnection();
        QObject::connect(connection, &QTcpSocket::readyRead, connection, [&request, connection] {
            request += connection->readAll();
            connection->write("HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\n\r\n");
            connection->disconnectFromHost();
        });
    });
    proxyFor_ = [port = proxy.serverPort()](const QUrl&) {
        return QNetworkProxy(QNetworkProxy::HttpProxy, "localhost", port);
    };
    const auto manager = make();
    EXPECT_EQ(check(*manager), State::Failed);
    EXPECT_TRUE(request.startsWith("CONNECT localhost:")) << request.constData();
    EXPECT_TRUE(server_.requests().isEmpty());
}

TEST_F(UpdateManagerTest, otherAnswersAreNoFeed) {
    const std::string feed = feedOf(itemOf("0.2.0"));
    for (const int status : {204, 206, 403, 404, 500, 503}) {
        serve(feed);
        server_.answer("/feed.xml", {.body = QByteArray::fromStdString(feed), .status = status});
        expectFailure(*make(), UpdateError::Case::refused);
    }
    serve("<html>Sign in</html>");
    expectFailure(*make(), UpdateError::Case::unreadable);
}

TEST_F(UpdateManagerTest, aCompressedFeedIsWhatWasSent) {
    const std::string feed = feedOf(itemOf("0.2.0"));
    serve(feed);
    server_.answer("/feed.xml",
                   {.body = QByteArray::fromStdString(feed), .headers = "Content-Encoding: gzip\r\n"});
    EXPECT_EQ(check(*make()), State::Available) << "nothing is unpacked, whatever the server says";
}

TEST_F(UpdateManagerTest, aServerThatLeadsToAnotherSecurePlaceIsFollowed) {
    const std::string feed = feedOf(itemOf("0.2.0"));
    server_.answer("/new.xml", {.body = QByteArray::fromStdString(feed)});
    server_.answer("/new.sig", {.body = QByteArray::fromStdString(makers_.signatureOf(feed))});
    const auto lead = [](const QByteArray& to) {
        return Answer{.status = 302, .headers = "Location: " + to + "\r\n"};
    };
    server_.answer("/feed.xml", lead("/new.xml"));
    server_.answer("/feed.xml.sig", lead("/new.sig"));
    EXPECT_EQ(check(*make()), State::Available);
    server_.answer("/feed.xml", lead("/feed.xml"));
    expectFailure(*make(), UpdateError::Case::refused);
}

TEST_F(UpdateManagerTest, aServerThatLeadsToAnOpenPlaceIsNotFollowed) {
    QTcpServer open;
    ASSERT_TRUE(open.listen(QHostAddress::LocalHost));
    QSignalSpy connected(&open, &QTcpServer::newConnection);
    serve(feedOf(itemOf("0.2.0")));
    server_.answer(
        "/feed.xml",
        {.status = 301,
         .headers = "Location: http://localhost:" + QByteArray::number(open.serverPort()) + "/feed.xml\r\n"});
    expectFailure(*make(), UpdateError::Case::insecure);
    EXPECT_EQ(connected.count(), 0);
}

TEST_F(UpdateManagerTest, aServerThatCannotProveItselfIsTalkedToNoFurther) {
    const CertificateAuthority others;
    struct Wrong {
        const char* what;
        ServerIdentity identity;
    };
    const Wrong wrongs[] = {
        {"unknown authority", others.identityFor("DNS:localhost")},
        {"another name", authority_.identityFor("DNS:example.org")},
        {"expired", authority_.identityFor("DNS:localhost", std::chrono::hours(-24))},
    };
    for (const Wrong& wrong : wrongs) {
        UpdateServer server(wrong.identity);
        const std::string feed = feedOf(itemOf("0.2.0"));
        server.answer("/feed.xml", {.body = QByteArray::fromStdString(feed)});
        server.answer("/feed.xml.sig", {.body = QByteArray::fromStdString(makers_.signatureOf(feed))});
        SCOPED_TRACE(wrong.what);
        expectFailure(*make(server.address("/feed.xml")), UpdateError::Case::insecure);
        EXPECT_TRUE(server.requests().isEmpty());
    }
}

TEST_F(UpdateManagerTest, aServerThatDoesNotSpeakTLSIsNotReadFrom) {
    QTcpServer open;
    ASSERT_TRUE(open.listen(QHostAddress::LocalHost));
    QObject::connect(&open, &QTcpServer::newConnection, &open, [&open] {
        open.nextPendingConnection()->write("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    });
    const auto manager = make("https://localhost:" + std::to_string(open.serverPort()) + "/feed.xml");
    EXPECT_EQ(check(*manager), State::Failed);
    EXPECT_TRUE(manager->availableVersion().isEmpty());
}

TEST_F(UpdateManagerTest, nobodyThereIsSaidPlainly) {
    QTcpServer gone;
    ASSERT_TRUE(gone.listen(QHostAddress::LocalHost));
    const std::string address = "https://localhost:" + std::to_string(gone.serverPort()) + "/feed.xml";
    gone.close();
    expectFailure(*make(address), UpdateError::Case::unreachable);
}

TEST_F(UpdateManagerTest, aRequestTellsNothingButTheProgramsName) {
    serve(feedOf(itemOf("0.1.0")));
    server_.answer("/feed.xml.sig",
                   {.body = QByteArray::fromStdString(makers_.signatureOf(feedOf(itemOf("0.1.0")))),
                    .headers = "Set-Cookie: id=1234; Path=/\r\nETag: \"1234\"\r\n"});
    const auto manager = make();
    EXPECT_EQ(check(*manager), State::UpToDate);
    EXPECT_EQ(check(*manager), State::UpToDate);
    ASSERT_EQ(server_.requests().size(), 4);
    const QByteArray host = "localhost:" + QByteArray::number(server_.port());
    for (const QByteArray& request : server_.requests()) {
        QByteArrayList lines = request.split('\n');
        const QByteArray first = lines.takeFirst().trimmed();
        EXPECT_TRUE(first == "GET /feed.xml HTTP/1.1" || first == "GET /feed.xml.sig HTTP/1.1")
            << first.constData();
        QStringList headers;
        for (const QByteArray& line : lines) {
            if (!line.trimmed().isEmpty()) {
                headers << QString::fromLatin1(line.trimmed()).toLower();
            }
        }
        headers.sort();
        EXPECT_EQ(headers.join(" | ").toStdString(),
                  "accept-encoding: identity | accept-language: en | cache-control: no-cache | connection: "
                  "keep-alive | "
                  "host: " +
                      host.toStdString() + " | pragma: no-cache | user-agent: larkfold")
            << request.constData();
    }
}

TEST_F(UpdateManagerTest, withoutAFeedNothingIsChecked) {
    for (const char* address : {"", "http://localhost/feed.xml"}) {
        const auto manager = make(address);
        EXPECT_FALSE(manager->isEnabled());
        EXPECT_FALSE(manager->canCheckForUpdates());
        manager->setAutomaticallyChecksForUpdates(true);
        EXPECT_FALSE(manager->automaticallyChecksForUpdates());
        manager->checkForUpdates();
        manager->checkIfDue();
        EXPECT_EQ(manager->state(), State::Idle);
        EXPECT_FALSE(manager->showsCheck());
        EXPECT_FALSE(manager->summary().isEmpty());
        EXPECT_TRUE(manager->disclosure().isEmpty());
    }
}

TEST_F(UpdateManagerTest, automaticChecksAreOffUntilTheUserAsksForThem) {
    serve(feedOf(itemOf("0.2.0")));
    const auto manager = make();
    EXPECT_FALSE(manager->automaticallyChecksForUpdates());
    manager->checkIfDue();
    QCoreApplication::processEvents();
    EXPECT_EQ(manager->state(), State::Idle);

    QSignalSpy changed(manager.get(), &UpdateManager::automaticallyChecksForUpdatesChanged);
    manager->setAutomaticallyChecksForUpdates(true);
    manager->setAutomaticallyChecksForUpdates(true);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(defaults_.boolForKey("automaticallyChecksForUpdates"), true);
    ASSERT_TRUE(settle(*manager));
    EXPECT_EQ(manager->state(), State::Available);
    EXPECT_FALSE(manager->showsCheck()) << "it disturbs nobody";
    EXPECT_EQ(manager->availableVersion(), "0.2.0");
}

TEST_F(UpdateManagerTest, oneThatIsDueBeginsWithTheProgramAndOnceADay) {
    serve(feedOf(itemOf("0.1.0")));
    defaults_.setBool("automaticallyChecksForUpdates", true);
    const auto requestsAfterAStart = [this] {
        const auto manager = make();
        QCoreApplication::processEvents();
        EXPECT_TRUE(settle(*manager));
        return server_.requests().size();
    };
    EXPECT_EQ(requestsAfterAStart(), 2);
    EXPECT_EQ(requestsAfterAStart(), 2);
    now_ += kDay - std::chrono::seconds(1);
    EXPECT_EQ(requestsAfterAStart(), 2);
    now_ += std::chrono::seconds(1);
    EXPECT_EQ(requestsAfterAStart(), 4);
    now_ -= 100 * kDay;
    EXPECT_EQ(requestsAfterAStart(), 6) << "the clock was set back: the last check is none that will come";
}

TEST_F(UpdateManagerTest, aProgramThatStaysOpenLooksAgainTheNextDay) {
    serve(feedOf(itemOf("0.1.0")));
    defaults_.setBool("automaticallyChecksForUpdates", true);
    const auto manager = make();
    manager->checkIfDue();
    ASSERT_TRUE(settle(*manager));
    manager->checkIfDue();
    EXPECT_EQ(manager->state(), State::UpToDate);
    now_ += kDay;
    manager->checkIfDue();
    EXPECT_EQ(manager->state(), State::Checking);
    ASSERT_TRUE(settle(*manager));
    EXPECT_EQ(server_.requests().size(), 4);
}

TEST_F(UpdateManagerTest, nonsenseInTheSettingsCountsAsMissing) {
    defaults_.setString("automaticallyChecksForUpdates", "yes");
    defaults_.setString("lastUpdateCheck", "yesterday");
    defaults_.setInteger("updateFeedDate", INT64_MAX);
    serve(datedFeedOf("Sun, 01 Nov 2026 00:00:00 +0000", itemOf("0.2.0")));
    const auto manager = make();
    EXPECT_FALSE(manager->automaticallyChecksForUpdates());
    EXPECT_EQ(manager->summary(), "Not checked yet.");
    EXPECT_EQ(check(*manager), State::Available);
}

TEST_F(UpdateManagerTest, closingTheWindowOfACheckEndsIt) {
    server_.answer("/feed.xml.sig", {.way = Way::silent});
    const auto manager = make();
    manager->checkForUpdates();
    ASSERT_TRUE(QTest::qWaitFor([this] { return server_.requests().size() == 1; }, 60'000));
    manager->setShowsCheck(false);
    EXPECT_EQ(manager->state(), State::Idle);
    EXPECT_TRUE(manager->canCheckForUpdates());
    serve(feedOf(itemOf("0.2.0")));
    EXPECT_EQ(check(*manager), State::Available) << "and another one may follow";
}

TEST_F(UpdateManagerTest, aManagerThatGoesDuringACheckLeavesNothingBehind) {
    server_.answer("/feed.xml.sig", {.way = Way::silent});
    auto manager = make();
    manager->checkForUpdates();
    ASSERT_TRUE(QTest::qWaitFor([this] { return server_.requests().size() == 1; }, 60'000));
    manager.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
}

TEST_F(UpdateManagerTest, whatWasFetchedIsProvedAndReadBesideTheMainThread) {
    std::atomic<int> readings = 0;
    std::atomic<bool> isBeside = true;
    read_ = [&, main = std::this_thread::get_id()](
                const UpdateSource& source, const UpdateFetcher::Files& files, const std::stop_token& stop) {
        ++readings;
        isBeside = isBeside && std::this_thread::get_id() != main;
        return source.read(files.feed, files.signature, stop);
    };
    serve(feedOf(itemOf("0.2.0")));
    EXPECT_EQ(check(*make()), State::Available);
    serve(feedOf(itemOf("0.3.0")), SigningKey().signatureOf(feedOf(itemOf("0.3.0"))));
    expectFailure(*make(), UpdateError::Case::wrongSignature);
    serve("<!DOCTYPE rss>" + feedOf(itemOf("0.3.0")));
    expectFailure(*make(), UpdateError::Case::documentType);
    EXPECT_EQ(readings, 3);
    EXPECT_TRUE(isBeside);
}

TEST_F(UpdateManagerTest, aReadingThatIsCancelledTellsNothing) {
    // Whatever it comes to: nobody asks any more.
    const std::function<Appcast()> ends[] = {
        [] { return Appcast::parse(feedOf(itemOf("0.2.0"))); },
        []() -> Appcast { throw CancellationError(); },
        []() -> Appcast { throw UpdateError(UpdateError::Case::unreadable); }};
    for (const auto& end : ends) {
        isReading_ = false;
        hasRead_ = false;
        holdReading(end);
        const auto manager = makeReading();
        manager->cancelCheck();
        EXPECT_EQ(manager->state(), State::Idle);
        EXPECT_TRUE(manager->canCheckForUpdates());
        ASSERT_TRUE(QTest::qWaitFor([this] { return hasRead_.load(); }, 60'000));
        QCoreApplication::processEvents();
        EXPECT_EQ(manager->state(), State::Idle);
        EXPECT_TRUE(manager->availableVersion().isEmpty());
        EXPECT_EQ(manager->summary(), "Not checked yet.");
    }
}

TEST_F(UpdateManagerTest, aCheckAfterOneWhoseReadingWasCancelledIsJudgedByItself) {
    read_ = [this](const UpdateSource& source, const UpdateFetcher::Files& files,
                   const std::stop_token& stop) {
        if (!isReading_.exchange(true)) {
            std::atomic<bool> isAsked = false;
            const std::stop_callback ask(stop, [&isAsked] {
                isAsked = true;
                isAsked.notify_all();
            });
            isAsked.wait(false);
        }
        return source.read(files.feed, files.signature, {});
    };
    const auto manager = makeReading();
    manager->setShowsCheck(false);  // the window closes
    EXPECT_EQ(manager->state(), State::Idle);
    serve(feedOf(itemOf("0.3.0")));
    EXPECT_EQ(check(*manager), State::Available);
    EXPECT_EQ(manager->availableVersion(), "0.3.0");
}

TEST_F(UpdateManagerTest, aManagerThatGoesDuringTheReadingEndsIt) {
    holdReading([]() -> Appcast { throw CancellationError(); });
    auto manager = makeReading();
    QSignalSpy changed(manager.get(), &UpdateManager::stateChanged);
    manager.reset();
    EXPECT_TRUE(hasRead_) << "nothing of it runs on";
    QCoreApplication::processEvents();
    EXPECT_EQ(changed.count(), 0);
}

TEST_F(UpdateManagerTest, aReadingThatFailsOtherwiseIsAFailedCheck) {
    read_ = [](const UpdateSource&, const UpdateFetcher::Files&, const std::stop_token&) -> Appcast {
        throw std::bad_alloc();
    };
    serve(feedOf(itemOf("0.2.0")));
    const auto manager = make();
    EXPECT_EQ(check(*manager), State::Failed);
    EXPECT_EQ(manager->text(),
              "The list of releases could not be read. Try again later. Nothing was changed on this "
              "computer.");
    EXPECT_TRUE(manager->canCheckForUpdates());
}

TEST_F(UpdateManagerTest, whatIsKnownIsShownAlsoAfterACheckThatFailed) {
    serve(feedOf(itemOf("0.2.0")));
    const auto manager = make();
    EXPECT_EQ(check(*manager), State::Available);
    server_.answer("/feed.xml.sig", {.status = 500});
    EXPECT_EQ(check(*manager), State::Failed);
    manager->setShowsCheck(false);
    manager->showAvailable();
    EXPECT_TRUE(manager->showsCheck());
    EXPECT_EQ(manager->title(), "Larkfold 0.2.0 is available");
}

TEST_F(UpdateManagerTest, whoKeepsTheProgramUpToDateIsNamed) {
    const auto hintOf = [this](Installation installation) {
        const UpdateManager manager(events_.queue(), defaults_, {.installation = installation});
        return manager.installationHint() + " / " + manager.installationCommand();
    };
    EXPECT_EQ(hintOf(Installation::unmanaged), " / ");
    EXPECT_TRUE(
        hintOf(Installation::systemPackage).startsWith("Your system’s package manager installed Larkfold"));
    EXPECT_TRUE(hintOf(Installation::flatpak).endsWith(" / flatpak update com.ostenbrook.larkfold"));
    EXPECT_TRUE(hintOf(Installation::snap).endsWith(" / sudo snap refresh larkfold"));
}

}  // namespace
}  // namespace larkfold::test
