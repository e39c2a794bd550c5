// The desktop's service for choosing files, played by this very process on a bus of the test's own.
#include "platform/qt/DesktopOpenPanel.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QEventLoop>
#include <QTimer>
#include <QVariantMap>
#include <functional>
#include <optional>

namespace larkfold {
namespace {

using Answer = DesktopOpenPanel::Answer;

bool turnUntil(const std::function<bool()>& isDone) {
    QTimer limit;
    limit.setSingleShot(true);
    limit.start(std::chrono::seconds(60));
    while (!isDone() && limit.isActive()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return isDone();
}

// Offers the interface in a version, and answers each question by a response and its results.
class FakePortal : public QDBusVirtualObject {
public:
    explicit FakePortal(uint version) : version_(version) {
        EXPECT_TRUE(bus_.registerVirtualObject(path, this, QDBusConnection::SubPath));
        EXPECT_TRUE(bus_.registerService("org.freedesktop.portal.Desktop"));
    }
    ~FakePortal() override {
        bus_.unregisterService("org.freedesktop.portal.Desktop");
        bus_.unregisterObject(path);
    }

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override {
        if (message.member() == "Get") {
            bus.send(message.createReply(QVariant::fromValue(QDBusVariant(version_))));
        } else if (message.member() == "OpenFile") {
            question = message;
            options = qdbus_cast<QVariantMap>(message.arguments().at(2));
            if (refuses) {
                bus.send(message.createErrorReply("org.freedesktop.portal.Error.Failed", "No dialog."));
                return true;
            }
            const QString sender = message.service().mid(1).replace('.', '_');
            request = QString("%1/request/%2/%3").arg(path, sender, options.value("handle_token").toString());
            bus.send(message.createReply(QVariant::fromValue(QDBusObjectPath(request))));
            if (!urls.isEmpty() || response) {
                respond();
            }
        } else if (message.member() == "Close") {
            closed = message.path();
            bus.send(message.createReply());
        }
        return true;
    }
    void respond() {
        QDBusMessage signal =
            QDBusMessage::createSignal(request, "org.freedesktop.portal.Request", "Response");
        signal << response.value_or(0) << QVariantMap{{"uris", urls}};
        bus_.send(signal);
    }

    QDBusMessage question;
    QVariantMap options;
    QString request;
    QString closed;
    QStringList urls;
    std::optional<uint> response;
    bool refuses = false;

private:
    static constexpr const char* path = "/org/freedesktop/portal/desktop";
    uint version_;
    // Another connection than the program's, so that every call goes over the bus.
    QDBusConnection bus_ = QDBusConnection::connectToBus(QDBusConnection::SessionBus, "portal");
};

struct Result {
    Answer answer;
    std::string path;
};

class DesktopOpenPanelTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(QDBusConnection::sessionBus().isConnected()) << "run under dbus-run-session";
    }
    void ask(const std::string& startFolder = "/home/anna") {
        dialog_.ask("Select a folder to scan", startFolder, nullptr,
                    [this](Answer answer, const std::string& path) { result_ = {answer, path}; });
    }
    bool isAnswered() {
        return turnUntil([this] { return result_.has_value(); });
    }

    DesktopOpenPanel dialog_;
    std::optional<Result> result_;
};

TEST_F(DesktopOpenPanelTest, withoutAServiceThereIsNoDialog) {
    ask();
    EXPECT_FALSE(result_) << "the call does not wait for its answer";
    ASSERT_TRUE(isAnswered());
    EXPECT_EQ(result_->answer, Answer::unavailable);
}

TEST_F(DesktopOpenPanelTest, aServiceThatCannotChooseFoldersIsNotAsked) {
    FakePortal portal(2);
    ask();
    ASSERT_TRUE(isAnswered());
    EXPECT_EQ(result_->answer, Answer::unavailable);
    EXPECT_EQ(portal.question.member(), QString());
}

TEST_F(DesktopOpenPanelTest, theChosenFolderIsItsBytes) {
    FakePortal portal(3);
    portal.urls = {"file:///home/anna/caf%E9%20a"};
    ask("/home/\xFF");
    ASSERT_TRUE(isAnswered());
    EXPECT_EQ(result_->answer, Answer::chosen);
    EXPECT_EQ(result_->path, "/home/anna/caf\xE9 a");
    EXPECT_EQ(portal.question.arguments().at(1).toString(), "Select a folder to scan");
    EXPECT_EQ(portal.options.value("directory"), QVariant(true));
    EXPECT_EQ(portal.options.value("current_folder").toByteArray(), QByteArray("/home/\xFF\0", 8));
}

TEST_F(DesktopOpenPanelTest, turningBackIsAnAnswer) {
    FakePortal portal(3);
    portal.response = 1;
    ask();
    ASSERT_TRUE(isAnswered());
    EXPECT_EQ(result_->answer, Answer::turnedBack);
    EXPECT_EQ(result_->path, "");
}

TEST_F(DesktopOpenPanelTest, aPlaceThatIsNoFolderOfThisMachineCountsAsTurningBack) {
    FakePortal portal(3);
    portal.urls = {"sftp://example.org/home"};
    ask();
    ASSERT_TRUE(isAnswered());
    EXPECT_EQ(result_->answer, Answer::turnedBack);
}

TEST_F(DesktopOpenPanelTest, aDialogThatFailsCountsAsNone) {
    FakePortal refusing(3);
    refusing.refuses = true;
    ask();
    ASSERT_TRUE(isAnswered());
    EXPECT_EQ(result_->answer, Answer::unavailable);

    result_.reset();
    refusing.refuses = false;
    refusing.response = 2;  // ended in another way
    ask();
    ASSERT_TRUE(isAnswered());
    EXPECT_EQ(result_->answer, Answer::unavailable);
}

TEST_F(DesktopOpenPanelTest, aNewQuestionClosesTheOneThatIsOpen) {
    FakePortal portal(3);
    ask();
    ASSERT_TRUE(turnUntil([&] { return !portal.request.isEmpty(); }));
    const QString first = portal.request;
    std::optional<Result> second;
    dialog_.ask("Another", "/", nullptr,
                [&](Answer answer, const std::string& path) { second = {answer, path}; });
    ASSERT_TRUE(turnUntil([&] { return portal.request != first; }));
    EXPECT_EQ(portal.closed, first);
    portal.urls = {"file:///second"};
    portal.respond();
    ASSERT_TRUE(turnUntil([&] { return second.has_value(); }));
    EXPECT_EQ(second->path, "/second");
    EXPECT_FALSE(result_) << "the first question is not answered any more";
}

}  // namespace
}  // namespace larkfold
