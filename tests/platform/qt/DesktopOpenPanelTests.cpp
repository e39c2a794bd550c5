// The desktop's service for choosing files, played by this very process on a bus of the test's own.
#include "platform/qt/DesktopOpenPanel.h"

#include <gtest/gtest.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QVariantMap>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/qt/TurnUntil.h"

namespace larkfold {
namespace {

using test::turnUntil;
using Answer = DesktopOpenPanel::Answer;

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

// The filters as they came: the name of each, then its patterns.
QStringList filtersOf(const QVariantMap& options) {
    QStringList told;
    const auto argument = options.value("filters").value<QDBusArgument>();
    argument.beginArray();
    while (!argument.atEnd()) {
        QString name;
        argument.beginStructure();
        argument >> name;
        told << name;
        argument.beginArray();
        while (!argument.atEnd()) {
            uint kind = 9;
            QString pattern;
            argument.beginStructure();
            argument >> kind >> pattern;
            argument.endStructure();
            EXPECT_EQ(kind, 0U) << "a pattern for names";
            told << pattern;
        }
        argument.endArray();
        argument.endStructure();
    }
    argument.endArray();
    return told;
}

struct Result {
    Answer answer;
    std::vector<std::string> paths;
};

class DesktopOpenPanelTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(QDBusConnection::sessionBus().isConnected()) << "run under dbus-run-session";
    }
    void ask(const std::string& startFolder = "/home/anna") {
        panel_.ask(
            question_, startFolder, nullptr,
            [this](Answer answer, const std::vector<std::string>& paths) { result_ = {answer, paths}; });
    }
    bool isAnswered() {
        return turnUntil([this] { return result_.has_value(); });
    }

    OpenPanel::Question question_{
        .title = {}, .message = "Select a folder to scan", .button = {}, .fileType = {}};
    DesktopOpenPanel panel_;
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
    EXPECT_EQ(result_->paths, std::vector<std::string>{"/home/anna/caf\xE9 a"});
    EXPECT_EQ(portal.question.arguments().at(1).toString(), "Select a folder to scan");
    EXPECT_EQ(portal.options.value("directory"), QVariant(true));
    EXPECT_EQ(portal.options.value("multiple"), QVariant(false));
    EXPECT_FALSE(portal.options.contains("accept_label"));
    EXPECT_FALSE(portal.options.contains("filters"));
    EXPECT_EQ(portal.options.value("current_folder").toByteArray(), QByteArray("/home/\xFF\0", 8));
}

TEST_F(DesktopOpenPanelTest, severalFoldersAreAskedForAndAnsweredInOneGo) {
    FakePortal portal(3);
    portal.urls = {"file:///home/anna/b%FF", "sftp://example.org/far", "file:///home/anna/a"};
    question_ = {.title = "Choose Folders to Watch",
                 .message = "Their sizes are watched.",
                 .button = "Watch Folders",
                 .kind = OpenPanel::Kind::folders,
                 .fileType = {}};
    ask();
    ASSERT_TRUE(isAnswered());
    EXPECT_EQ(result_->answer, Answer::chosen);
    EXPECT_EQ(result_->paths, (std::vector<std::string>{"/home/anna/b\xFF", "/home/anna/a"}));
    EXPECT_EQ(portal.question.arguments().at(1).toString(), "Choose Folders to Watch");
    EXPECT_EQ(portal.options.value("multiple"), QVariant(true));
    EXPECT_EQ(portal.options.value("directory"), QVariant(true));
    EXPECT_EQ(portal.options.value("accept_label").toString(), "Watch Folders");
}

TEST_F(DesktopOpenPanelTest, whereOneIsAskedForNoMoreThanOneIsTaken) {
    FakePortal portal(3);
    portal.urls = {"file:///a", "file:///b"};
    ask();
    ASSERT_TRUE(isAnswered());
    EXPECT_EQ(result_->paths, std::vector<std::string>{"/a"});
}

TEST_F(DesktopOpenPanelTest, aFileIsAskedForByTheEndingsOfItsName) {
    FakePortal portal(1);  // older than the choice of folders
    portal.urls = {"file:///archive/Manifest.json"};
    question_ = {.title = {},
                 .message = "Choose a manifest",
                 .button = {},
                 .kind = OpenPanel::Kind::file,
                 .fileType = {.name = "JSON files", .extensions = {"json", "7z"}}};
    ask();
    ASSERT_TRUE(isAnswered());
    EXPECT_EQ(result_->paths, std::vector<std::string>{"/archive/Manifest.json"});
    EXPECT_EQ(portal.options.value("directory"), QVariant(false));
    EXPECT_EQ(filtersOf(portal.options), (QStringList{"JSON files", "*.[jJ][sS][oO][nN]", "*.7[zZ]"}));
}

TEST_F(DesktopOpenPanelTest, anyFileIsAskedForWithoutAFilter) {
    FakePortal portal(3);
    portal.response = 1;
    question_.kind = OpenPanel::Kind::file;
    ask();
    ASSERT_TRUE(isAnswered());
    EXPECT_EQ(result_->answer, Answer::turnedBack);
    EXPECT_FALSE(portal.options.contains("filters"));
}

TEST_F(DesktopOpenPanelTest, turningBackIsAnAnswer) {
    FakePortal portal(3);
    portal.response = 1;
    ask();
    ASSERT_TRUE(isAnswered());
    EXPECT_EQ(result_->answer, Answer::turnedBack);
    EXPECT_TRUE(result_->paths.empty());
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
    panel_.ask(question_, "/", nullptr,
               [&](Answer answer, const std::vector<std::string>& paths) { second = {answer, paths}; });
    ASSERT_TRUE(turnUntil([&] { return portal.request != first; }));
    EXPECT_EQ(portal.closed, first);
    portal.urls = {"file:///second"};
    portal.respond();
    ASSERT_TRUE(turnUntil([&] { return second.has_value(); }));
    EXPECT_EQ(second->paths, std::vector<std::string>{"/second"});
    EXPECT_FALSE(result_) << "the first question is not answered any more";
}

}  // namespace
}  // namespace larkfold
