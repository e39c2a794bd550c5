// The real window, offscreen, over surroundings of its own, for tests that use it as a person does.
#pragma once

#include <gtest/gtest.h>

#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>
#include <QUrl>
#include <QVariant>
#include <functional>
#include <memory>
#include <string>

#include "platform/UserDefaults.h"
#include "platform/qt/EventLoopQueue.h"
#include "shell/app/Appearance.h"
#include "shell/app/LarkfoldApp.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {

class WindowFixture : public testing::Test {
protected:
    // Starts the program as it stands then: set the defaults and the answer about access before.
    void start() {
        app_ = std::make_unique<LarkfoldApp>(LarkfoldApp::Dependencies{
            .mainQueue = events_.queue(),
            .defaults = defaults_,
            .appearance = appearance_,
            .permissions = {.probe = [this] { return hasAccess_; },
                            .confinement = [] { return Confinement::none; }},
            .updates = updates_,
            .indexFileURL = surroundings_.path("index/latest-scan.sqlite"),
            .readCapacity = [capacity = capacity_](const std::string&) { return capacity; },
            .cleanupHistoryURL = historyFile(),
            .gate = gate_,
            .reveal = reveal_});
        ASSERT_TRUE(eventually([this] { return !app_->permissionManager()->isChecking(); }));
        engine_ = std::make_unique<QQmlApplicationEngine>();
        QObject::connect(engine_.get(), &QQmlEngine::warnings, engine_.get(),
                         [this](const QList<QQmlError>& errors) {
                             for (const QQmlError& error : errors) {
                                 warnings_ << error.toString();
                             }
                         });
        engine_->addImportPath(QStringLiteral("qrc:/qt/qml"));
        engine_->setInitialProperties({{QStringLiteral("app"), QVariant::fromValue(app_.get())}});
        engine_->load(QUrl(QStringLiteral("qrc:/qt/qml/Larkfold/Shell/Main.qml")));
        ASSERT_FALSE(engine_->rootObjects().isEmpty());
        window_ = qobject_cast<QQuickWindow*>(engine_->rootObjects().first());
        ASSERT_NE(window_, nullptr);
        window_->show();
        window_->requestActivate();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window_, 60'000));
    }

    void startAfterFirstRun() {
        defaults_.setBool("hasCompletedOnboarding", true);
        start();
    }

    void TearDown() override {
        engine_.reset();
        app_.reset();
        EXPECT_TRUE(warnings_.isEmpty()) << warnings_.join('\n').toStdString();
    }

    static bool eventually(const std::function<bool()>& condition) {
        return QTest::qWaitFor(condition, 60'000);
    }

    std::string historyFile() const { return surroundings_.path("cleanup-history.json"); }
    MainView& view() { return *app_->mainView(); }
    DiskScannerViewModel& driver() { return *view().scannerViewModel(); }

    bool scan(const std::string& path) {
        driver().scanFolder(path);
        return eventually([this] { return !driver().isScanning(); }) && driver().hasScanResult();
    }

    // The visible item that says or is called `text`, the topmost first; null where there is none.
    QQuickItem* find(const QString& text) { return findBelow(window_->contentItem(), text); }
    bool isShown(const QString& text) { return find(text) != nullptr; }

    // By its object's name, whoever made it; null where there is none. Pages and sheets are items of the
    // window, but not its objects.
    QQuickItem* named(const QString& name) {
        return namedBelow(window_->contentItem()->parentItem() != nullptr
                              ? window_->contentItem()->parentItem()
                              : window_->contentItem(),
                          name);
    }

    // Presses the button of that title through the window, so that what covers it gets the press.
    void click(const QString& text) {
        ASSERT_TRUE(eventually([&] { return isShown(text); })) << text.toStdString();
        QQuickItem* item = find(text);
        QTest::mouseClick(window_, Qt::LeftButton, {},
                          item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint());
    }

    TemporaryTree surroundings_;
    TemporaryTree tree_;
    EventLoopQueue events_;
    UserDefaults defaults_{surroundings_.path("settings.json"), events_.queue()};
    Appearance appearance_;
    // Of removals; set before the start. Without a gate the real one removes.
    DiskScannerViewModel::Gate gate_;
    std::function<void(const std::string&, std::function<void(bool)>)> reveal_ =
        [](const std::string&, const std::function<void(bool)>& done) { done(false); };
    // Set before the start. Without a feed there are no checks, whatever this build was given.
    UpdateManager::Dependencies updates_{.source = std::nullopt};
    VolumeCapacity capacity_{.total = 100, .available = 40};  // of the startup disk; set before the start
    bool hasAccess_ = true;                                   // set before a check, never during one
    std::unique_ptr<LarkfoldApp> app_;
    std::unique_ptr<QQmlApplicationEngine> engine_;
    QQuickWindow* window_ = nullptr;  // owned by the engine
    QStringList warnings_;

private:
    static QQuickItem* namedBelow(QQuickItem* item, const QString& name) {
        if (item->objectName() == name) {
            return item;
        }
        for (QQuickItem* child : item->childItems()) {
            if (QQuickItem* found = namedBelow(child, name)) {
                return found;
            }
        }
        return nullptr;
    }
    static QQuickItem* findBelow(QQuickItem* item, const QString& text) {
        if (!item->isVisible() || item->opacity() == 0) {
            return nullptr;
        }
        const auto children = item->childItems();
        for (auto child = children.crbegin(); child != children.crend(); ++child) {
            if (QQuickItem* found = findBelow(*child, text)) {
                // The button rather than the words in it.
                return found->inherits("QQuickAbstractButton") || !item->inherits("QQuickAbstractButton") ||
                               item->property("text").toString() != text
                           ? found
                           : item;
            }
        }
        return item->property("text").toString() == text ? item : nullptr;
    }
};

}  // namespace larkfold::test
