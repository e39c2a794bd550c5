// The window's own folder chooser as a person uses it, for the questions that no page of the window asks yet:
// for several folders, and for a file of a kind.
#include <gtest/gtest.h>

#include <QAccessible>
#include <QtQml/QQmlExtensionPlugin>
#include <optional>
#include <string>
#include <vector>

#include "platform/qt/PathText.h"
#include "shell/app/WindowFixture.h"

Q_IMPORT_QML_PLUGIN(Larkfold_ShellPlugin)

namespace larkfold::test {
namespace {

class FolderChooserWindowTest : public WindowFixture {
protected:
    void ask(const OpenPanel::Question& question) {
        startAfterFirstRun();
        ASSERT_TRUE(eventually([this] { return window_->activeFocusItem() != nullptr; }));
        before_ = window_->activeFocusItem();
        chooser().ask(question, [this](std::vector<std::string> paths) { chosen_ = std::move(paths); });
        ASSERT_TRUE(eventually([this] { return chooser().isOpen(); }));
        model().beginTypingPath();
        model().setTypedPath(displayString(tree_.root()));
        model().submitPath();
        ASSERT_TRUE(eventually([this] { return model().folder() == tree_.root() && !model().isListing(); }));
        ASSERT_TRUE(eventually([this] { return list() != nullptr && list()->hasActiveFocus(); }));
        ASSERT_TRUE(eventually([this] { return isShown("Cancel"); }));
    }
    void askForSeveral() {
        ask({.title = "Add Vibe Project Folders",
             .message = "Choose a folder that contains projects.",
             .button = "Add Folders",
             .kind = OpenPanel::Kind::folders,
             .fileType = {}});
    }
    QmlFolderChooser& chooser() { return *view().folderChooser(); }
    FolderChooserModel& model() { return *chooser().model(); }
    QQuickItem* list() { return named(window_->contentItem(), "chooserList"); }
    // The row of that name, or null.
    QQuickItem* row(const QString& name) {
        for (QQuickItem* item : list()->property("contentItem").value<QQuickItem*>()->childItems()) {
            if (item->isVisible() && item->property("name").toString() == name) {
                return item;
            }
        }
        return nullptr;
    }
    void clickRow(const QString& name, Qt::KeyboardModifiers modifiers, double x = 0.5) {
        ASSERT_NE(row(name), nullptr) << name.toStdString();
        QTest::mouseClick(
            window_, Qt::LeftButton, modifiers,
            row(name)->mapToScene(QPointF(row(name)->width() * x, row(name)->height() / 2)).toPoint());
    }
    bool isSpokenAsChecked(const QString& name) {
        const QAccessible::State state = QAccessible::queryAccessibleInterface(row(name))->state();
        EXPECT_TRUE(state.checkable) << name.toStdString();
        return state.checked;
    }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        QTest::keyClick(window_, key, modifiers);
    }

    QQuickItem* before_ = nullptr;
    std::optional<std::vector<std::string>> chosen_;

private:
    static QQuickItem* named(QQuickItem* item, const QString& name) {
        for (QQuickItem* child : item->childItems()) {
            if (child->isVisible() && child->objectName() == name) {
                return child;
            }
            if (QQuickItem* found = child->isVisible() ? named(child, name) : nullptr) {
                return found;
            }
        }
        return nullptr;
    }
};

TEST_F(FolderChooserWindowTest, severalFoldersAreCheckedByThePointerAndChosenInOneGo) {
    for (const char* folder : {"a", "b", "c", "d", "e"}) {
        tree_.folder(folder);
    }
    askForSeveral();
    EXPECT_TRUE(isShown("Add Vibe Project Folders"));
    EXPECT_TRUE(isShown("Choose a folder that contains projects."));
    clickRow("a", Qt::ControlModifier);
    clickRow("c", Qt::NoModifier, 0.02);  // the box
    clickRow("e", Qt::ShiftModifier);
    EXPECT_EQ(model().choices(),
              (std::vector{tree_.path("a"), tree_.path("c"), tree_.path("d"), tree_.path("e")}));
    clickRow("b", Qt::NoModifier);
    EXPECT_EQ(model().checkedCount(), 4) << "a plain click highlights";
    EXPECT_TRUE(isSpokenAsChecked("c"));
    EXPECT_FALSE(isSpokenAsChecked("b"));
    EXPECT_TRUE(isShown("4 folders chosen: " + displayString(tree_.path("a")) + ", " +
                        displayString(tree_.path("c")) + ", " + displayString(tree_.path("d")) + ", " +
                        displayString(tree_.path("e"))));
    clickRow("d", Qt::ControlModifier);
    click("Add Folders");
    EXPECT_FALSE(chooser().isOpen());
    ASSERT_TRUE(chosen_);
    EXPECT_EQ(*chosen_, (std::vector{tree_.path("a"), tree_.path("c"), tree_.path("e")}));
}

TEST_F(FolderChooserWindowTest, severalFoldersAreCheckedByKeysInFoldersApart) {
    for (const char* folder : {"a/inner", "b", "c", "d"}) {
        tree_.folder(folder);
    }
    askForSeveral();
    press(Qt::Key_Down);
    press(Qt::Key_Down);
    press(Qt::Key_Space);
    EXPECT_EQ(model().choices(), std::vector{tree_.path("b")});
    press(Qt::Key_Down, Qt::ShiftModifier);
    press(Qt::Key_Down, Qt::ShiftModifier);
    EXPECT_EQ(model().checkedCount(), 3);
    press(Qt::Key_Space);
    EXPECT_EQ(model().choices(), (std::vector{tree_.path("b"), tree_.path("c")}));
    press(Qt::Key_Home);
    EXPECT_EQ(model().checkedCount(), 2) << "moving alone checks nothing";
    press(Qt::Key_Return);
    ASSERT_TRUE(eventually([this] { return model().folder() == tree_.path("a") && !model().isListing(); }));
    press(Qt::Key_A, Qt::ControlModifier);
    EXPECT_TRUE(isSpokenAsChecked("inner"));
    press(Qt::Key_Return, Qt::ControlModifier);
    ASSERT_TRUE(chosen_);
    EXPECT_EQ(*chosen_, (std::vector{tree_.path("a/inner"), tree_.path("b"), tree_.path("c")}));
    EXPECT_TRUE(eventually([this] { return window_->activeFocusItem() == before_; }));
}

TEST_F(FolderChooserWindowTest, clearingTheChoiceKeepsTheKeyboardAndLeavesNothingChecked) {
    tree_.folder("a");
    askForSeveral();
    ASSERT_NE(find("Clear Choice"), nullptr);
    EXPECT_FALSE(find("Clear Choice")->isEnabled()) << "nothing is checked";
    clickRow("a", Qt::ControlModifier);
    EXPECT_TRUE(find("Clear Choice")->isEnabled());
    find("Clear Choice")->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_Space);
    EXPECT_EQ(model().checkedCount(), 0);
    EXPECT_FALSE(isSpokenAsChecked("a"));
    EXPECT_TRUE(list()->hasActiveFocus());
    press(Qt::Key_Escape);
    ASSERT_TRUE(chosen_);
    EXPECT_TRUE(chosen_->empty());
}

TEST_F(FolderChooserWindowTest, assistiveTechnologyChecksARow) {
    tree_.folder("a");
    askForSeveral();
    QAccessible::queryAccessibleInterface(row("a"))->actionInterface()->doAction(
        QAccessibleActionInterface::toggleAction());
    EXPECT_TRUE(isSpokenAsChecked("a"));
}

TEST_F(FolderChooserWindowTest, whereOneFolderIsAskedForNothingCanBeChecked) {
    tree_.folder("a");
    tree_.folder("b");
    ask({.title = {}, .message = "Select a folder to scan", .button = {}, .fileType = {}});
    clickRow("a", Qt::ControlModifier);
    press(Qt::Key_Down, Qt::ShiftModifier);
    press(Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(model().checkedCount(), 0);
    EXPECT_FALSE(QAccessible::queryAccessibleInterface(row("a"))->state().checkable);
    EXPECT_FALSE(isShown("Clear Choice"));
    click("Open");
    ASSERT_TRUE(chosen_);
    EXPECT_EQ(*chosen_, std::vector{tree_.path("b")});
}

TEST_F(FolderChooserWindowTest, aFileOfAKindIsChosenAndTheButtonWaitsForIt) {
    tree_.folder("folder");
    tree_.file("Manifest.json");
    tree_.file("notes.txt");
    ask({.title = {},
         .message = "Choose the manifest",
         .button = "Verify",
         .kind = OpenPanel::Kind::file,
         .fileType = {.name = "JSON files", .extensions = {"json"}}});
    EXPECT_EQ(row("notes.txt"), nullptr);
    EXPECT_TRUE(isShown("Of the files, only JSON files are listed."));
    EXPECT_TRUE(isShown("No file chosen"));
    EXPECT_FALSE(find("Verify")->isEnabled());
    clickRow("folder", Qt::NoModifier);
    EXPECT_FALSE(find("Verify")->isEnabled());
    clickRow("Manifest.json", Qt::NoModifier);
    EXPECT_TRUE(find("Verify")->isEnabled());
    list()->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_Return);
    ASSERT_TRUE(chosen_);
    EXPECT_EQ(*chosen_, std::vector{tree_.path("Manifest.json")});
}

}  // namespace
}  // namespace larkfold::test
