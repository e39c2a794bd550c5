// The desktop's services, played by this very process under their own names on a bus of the test's own.
#include "platform/qt/Desktop.h"

#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QPalette>
#include <QUrl>
#include <functional>
#include <optional>

#include "platform/qt/TurnUntil.h"

namespace larkfold {
namespace {

using test::turnUntil;

// The connection of the services: another one than the program's, so that every call goes over the bus.
QDBusConnection serviceBus() {
    static const QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, "services");
    return bus;
}

// Answers every call by a function, and keeps the last one.
class FakeService : public QDBusVirtualObject {
public:
    explicit FakeService(const QString& path) {
        serviceBus().registerVirtualObject(path, this);
        path_ = path;
    }
    ~FakeService() override { serviceBus().unregisterObject(path_); }

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override {
        last = message;
        ++calls;
        if (answer) {
            bus.send(answer(message));
        }
        return true;
    }

    std::function<QDBusMessage(const QDBusMessage&)> answer = [](const QDBusMessage& call) {
        return call.createReply();
    };
    QDBusMessage last;
    int calls = 0;

private:
    QString path_;
};

class Name {
public:
    explicit Name(const char* name) : name_(QString::fromLatin1(name)) {
        EXPECT_TRUE(serviceBus().registerService(name_));
    }
    ~Name() { serviceBus().unregisterService(name_); }
    Name(const Name&) = delete;
    Name& operator=(const Name&) = delete;

private:
    QString name_;
};

// Catches what would be opened by the desktop.
class OpenedURLs : public QObject {
    Q_OBJECT

public:
    OpenedURLs() { QDesktopServices::setUrlHandler("file", this, "open"); }
    ~OpenedURLs() override { QDesktopServices::unsetUrlHandler("file"); }
    QList<QUrl> urls;

public slots:
    void open(const QUrl& url) { urls.append(url); }
};

class DesktopTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(QDBusConnection::sessionBus().isConnected()) << "run under dbus-run-session";
    }
};

TEST_F(DesktopTest, revealAsksTheFileManagerForThePathsBytes) {
    const Name name("org.freedesktop.FileManager1");
    FakeService manager("/org/freedesktop/FileManager1");
    Desktop desktop;
    std::optional<bool> result;
    desktop.reveal({"/tmp/a b\xFF", "/tmp/ä"}, [&](bool worked) { result = worked; });
    EXPECT_FALSE(result) << "the call does not wait for its answer";
    ASSERT_TRUE(turnUntil([&] { return result.has_value(); }));
    EXPECT_TRUE(*result);
    EXPECT_EQ(manager.last.member(), "ShowItems");
    EXPECT_EQ(manager.last.signature(), "ass");
    EXPECT_EQ(manager.last.arguments().at(0).toStringList(),
              (QStringList{"file:///tmp/a%20b%FF", "file:///tmp/%C3%A4"}));
}

TEST_F(DesktopTest, withoutAFileManagerTheFolderOfTheFirstIsOpened) {
    OpenedURLs opened;
    Desktop desktop;
    std::optional<bool> result;
    desktop.reveal({"/tmp/\xFF/file", "/var/other"}, [&](bool worked) { result = worked; });
    ASSERT_TRUE(turnUntil([&] { return result.has_value(); }));
    EXPECT_TRUE(*result);
    ASSERT_EQ(opened.urls.size(), 1);
    EXPECT_EQ(opened.urls[0].toEncoded(), "file:///tmp/%FF");
}

TEST_F(DesktopTest, revealingNothingDoesNotWork) {
    Desktop desktop;
    std::optional<bool> result;
    desktop.reveal({}, [&](bool worked) { result = worked; });
    EXPECT_EQ(result, false);
}

TEST_F(DesktopTest, previewWorksOnlyWhereAPreviewerAnswers) {
    Desktop desktop;
    std::optional<bool> result;
    desktop.preview("/tmp/a", [&](bool worked) { result = worked; });
    ASSERT_TRUE(turnUntil([&] { return result.has_value(); }));
    EXPECT_FALSE(*result);

    const Name name("org.gnome.NautilusPreviewer");
    FakeService previewer("/org/gnome/NautilusPreviewer");
    result.reset();
    desktop.preview("/tmp/a\xFF", [&](bool worked) { result = worked; });
    ASSERT_TRUE(turnUntil([&] { return result.has_value(); }));
    EXPECT_TRUE(*result);
    EXPECT_EQ(previewer.last.member(), "ShowFile");
    EXPECT_EQ(previewer.last.arguments(), (QVariantList{"file:///tmp/a%FF", "", false}));
}

TEST_F(DesktopTest, aDesktopThatGoesWhileItsQuestionIsOpenHearsNothing) {
    const Name name("org.gnome.NautilusPreviewer");
    FakeService previewer("/org/gnome/NautilusPreviewer");
    previewer.answer = nullptr;
    bool isAnswered = false;
    {
        Desktop desktop;
        desktop.preview("/tmp/a", [&](bool) { isAnswered = true; });
        ASSERT_TRUE(turnUntil([&] { return previewer.calls == 1; }));
    }
    serviceBus().send(previewer.last.createReply());
    QCoreApplication::processEvents();
    EXPECT_FALSE(isAnswered);
}

TEST_F(DesktopTest, theWishesForColourAndMotionAreReadAndFollowed) {
    const Name name("org.freedesktop.portal.Desktop");
    FakeService portal("/org/freedesktop/portal/desktop");
    portal.answer = [](const QDBusMessage& call) {
        // The portal wraps what it reads twice.
        const bool isScheme = call.arguments().value(1).toString() == "color-scheme";
        const QVariant value = isScheme ? QVariant(1u) : QVariant(false);
        return call.createReply(QVariant::fromValue(QDBusVariant(QVariant::fromValue(QDBusVariant(value)))));
    };
    Desktop desktop;
    EXPECT_FALSE(desktop.reducesMotion()) << "until the desktop tells otherwise";
    ASSERT_TRUE(turnUntil([&] { return desktop.prefersDark() && desktop.reducesMotion(); }));

    int changes = 0;
    QObject::connect(&desktop, &Desktop::prefersDarkChanged, &desktop, [&] { ++changes; });
    const auto tell = [](const char* group, const char* key, const QVariant& value) {
        QDBusMessage signal = QDBusMessage::createSignal("/org/freedesktop/portal/desktop",
                                                         "org.freedesktop.portal.Settings", "SettingChanged");
        signal << QString(group) << QString(key) << QVariant::fromValue(QDBusVariant(value));
        serviceBus().send(signal);
    };
    tell("org.freedesktop.appearance", "color-scheme", 2u);
    ASSERT_TRUE(turnUntil([&] { return !desktop.prefersDark(); }));
    tell("org.gnome.desktop.interface", "enable-animations", true);
    ASSERT_TRUE(turnUntil([&] { return !desktop.reducesMotion(); }));
    EXPECT_EQ(changes, 1);
}

TEST_F(DesktopTest, withoutAPortalThePaletteDecidesAndIsFollowed) {
    const QPalette old = QGuiApplication::palette();
    Desktop desktop;
    QPalette dark = old;
    dark.setColor(QPalette::Window, Qt::black);
    dark.setColor(QPalette::WindowText, Qt::white);
    QGuiApplication::setPalette(dark);
    EXPECT_TRUE(turnUntil([&] { return desktop.prefersDark(); }));
    QPalette light = old;
    light.setColor(QPalette::Window, Qt::white);
    light.setColor(QPalette::WindowText, Qt::black);
    QGuiApplication::setPalette(light);
    EXPECT_TRUE(turnUntil([&] { return !desktop.prefersDark(); }));
    QGuiApplication::setPalette(old);
}

}  // namespace
}  // namespace larkfold

#include "DesktopTests.moc"
