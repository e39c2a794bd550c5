// The file list in a real window: everything is done by the user's mouse and keys, and read from the items on
// screen.
#include <gtest/gtest.h>

#include <QAccessible>
#include <QClipboard>
#include <QGuiApplication>
#include <QQmlEngine>
#include <QQmlExtensionPlugin>
#include <QQuickItem>
#include <QQuickView>
#include <QSignalSpy>
#include <QTest>
#include <memory>

#include "disk/MarkTexts.h"
#include "shell/disk/FileListSession.h"
#include "shell/disk/FileListTexts.h"

Q_IMPORT_QML_PLUGIN(Larkfold_ShellPlugin)

namespace larkfold {
namespace {

using test::FileListTest;
using test::namesOf;
using test::rowNamed;
using test::textOf;

using Names = std::vector<std::string>;

class FileListViewTest : public FileListTest {
protected:
    void SetUp() override {
        tree.fileOfSize("notes.txt", 10'000);
        ASSERT_TRUE(session.scan(tree.root()));
        open(QSize(720, 560));
    }

    void open(QSize size) {
        view = std::make_unique<QQuickView>();
        view->engine()->addImportPath("qrc:/qt/qml");
        view->setResizeMode(QQuickView::SizeRootObjectToView);
        view->setInitialProperties({{"driver", QVariant::fromValue(&session.driver)}});
        view->setSource(QUrl("qrc:/qt/qml/Larkfold/Shell/FileListView.qml"));
        ASSERT_EQ(view->status(), QQuickView::Ready);
        view->resize(size);
        view->show();
        view->requestActivate();
        ASSERT_TRUE(QTest::qWaitForWindowActive(view.get(), 60'000));
        model = view->rootObject()->findChild<FileListModel*>();
        ASSERT_NE(model, nullptr);
        ASSERT_TRUE(QTest::qWaitFor([&] { return itemOfRow(0) != nullptr || model->count() == 0; }, 60'000));
    }

    // Items made by a view belong to their place in the window and not to the object tree.
    static QQuickItem* descendant(QQuickItem* item, const QString& name) {
        if (item->objectName() == name && item->isVisible()) {
            return item;
        }
        for (QQuickItem* child : item->childItems()) {
            if (QQuickItem* found = descendant(child, name)) {
                return found;
            }
        }
        return nullptr;
    }

    QQuickItem* find(const QString& name) const { return descendant(view->contentItem(), name); }

    QQuickItem* itemOfRow(int row) const {
        QQuickItem* item = nullptr;
        QMetaObject::invokeMethod(list(), "itemAtIndex", Q_RETURN_ARG(QQuickItem*, item), Q_ARG(int, row));
        return item;
    }

    QQuickItem* list() const { return find("fileList"); }

    static QPoint middle(const QQuickItem* item) {
        return item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint();
    }

    void click(const QString& name) {
        QQuickItem* item = find(name);
        ASSERT_NE(item, nullptr) << name.toStdString();
        QTest::mouseClick(view.get(), Qt::LeftButton, {}, middle(item));
    }

    void clickRow(std::string_view name, Qt::MouseButton button = Qt::LeftButton,
                  Qt::KeyboardModifiers keys = {}) {
        QQuickItem* item = itemOfRow(rowNamed(*model, name));
        ASSERT_NE(item, nullptr) << name;
        QTest::mouseClick(view.get(), button, keys, middle(item));
    }

    void type(const QString& text) {
        for (const QChar letter : text) {
            QTest::keyClick(view.get(), letter.toLatin1());
        }
    }

    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        QTest::keyClick(view.get(), key, modifiers);
    }

    QString currentName() const {
        const FileNode::Pointer node = model->node(model->currentRow());
        return node ? QString::fromUtf8(node->name().data(), static_cast<qsizetype>(node->name().size()))
                    : QString();
    }

    std::unique_ptr<QQuickView> view;
    FileListModel* model = nullptr;
};

TEST_F(FileListViewTest, everyRow_isOnScreen_withItsTexts) {
    ASSERT_EQ(model->count(), 4);
    for (int row = 0; row < model->count(); ++row) {
        ASSERT_NE(itemOfRow(row), nullptr);
    }
    EXPECT_EQ(itemOfRow(0)->property("name"), "film.mov");
    EXPECT_EQ(itemOfRow(1)->property("typeText"), "Folder");
    EXPECT_TRUE(itemOfRow(1)->property("spokenText").toString().contains("2 items"));
}

TEST_F(FileListViewTest, typingIntoTheSearch_narrowsTheRows_andResetKeepsIt) {
    click("searchField");
    type("letter");
    EXPECT_EQ(namesOf(*model), Names{"letter.pdf"});
    click("extensionField");
    type("jpg");
    EXPECT_EQ(model->count(), 0);
    EXPECT_EQ(find("emptyTitle")->property("text").toString(), file_list_texts::nothingMatchesTitle);
    click("resetButton");
    EXPECT_EQ(namesOf(*model), Names{"letter.pdf"});
    EXPECT_EQ(find("searchField")->property("text"), "letter");
    EXPECT_EQ(find("extensionField")->property("text"), "");
}

TEST_F(FileListViewTest, theEmptyStatesButton_bringsTheRowsBack) {
    click("searchField");
    type("nowhere");
    ASSERT_EQ(model->count(), 0);
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return find("emptyAction") && find("emptyAction")->width() > 0; }, 60'000));
    click("emptyAction");
    EXPECT_EQ(model->count(), 4);
    EXPECT_TRUE(list()->hasActiveFocus()) << "the button that had the keyboard is gone";
    EXPECT_EQ(find("searchField")->property("text"), "");
}

TEST_F(FileListViewTest, whereNothingLoadedMatches_moreIsLoadedByKeys_andTheKeyboardIsInTheList) {
    const FileNode::Pointer root = session.driver.scanResult()->rootNode;
    root->removeChild(*model->node(rowNamed(*model, "letter.pdf")));
    session.addSummary(20'480, 1);
    click("searchField");
    type("letter");
    ASSERT_EQ(model->count(), 0);
    ASSERT_NE(find("loadMore"), nullptr);
    EXPECT_EQ(find("emptyTitle")->property("text").toString(), file_list_texts::nothingLoadedMatchesTitle);
    find("loadMore")->forceActiveFocus(Qt::TabFocusReason);
    key(Qt::Key_Return);
    ASSERT_TRUE(QTest::qWaitFor([&] { return model->count() == 1; }, 60'000));
    EXPECT_EQ(namesOf(*model), Names{"letter.pdf"});
    EXPECT_EQ(find("loadMore"), nullptr);
    EXPECT_TRUE(list()->hasActiveFocus());
}

TEST_F(FileListViewTest, theSizeChoice_isMadeByKeys) {
    QQuickItem* box = find("minimumSizeBox");
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->property("displayText"), "Any size");
    box->forceActiveFocus(Qt::TabFocusReason);
    key(Qt::Key_Down);
    EXPECT_EQ(model->minimumSize(), 10'485'760);
    EXPECT_EQ(model->count(), 0);
    click("resetButton");
    EXPECT_EQ(box->property("displayText"), "Any size");
    EXPECT_EQ(model->count(), 4);
}

TEST_F(FileListViewTest, includeSubfolders_isAToggle) {
    click("subfoldersBox");
    EXPECT_TRUE(model->searchSubfolders());
    EXPECT_EQ(model->count(), 7);
    click("resetButton");
    EXPECT_EQ(find("subfoldersBox")->property("checked"), false);
    EXPECT_EQ(model->count(), 4);
}

TEST_F(FileListViewTest, theHeader_sortsByClickAndByKey) {
    click("headerName");
    EXPECT_EQ(namesOf(*model), (Names{"film.mov", "letter.pdf", "notes.txt", "photos"}));
    click("headerName");
    EXPECT_EQ(namesOf(*model), (Names{"photos", "notes.txt", "letter.pdf", "film.mov"}));
    find("headerType")->forceActiveFocus(Qt::TabFocusReason);
    key(Qt::Key_Return);
    EXPECT_EQ(namesOf(*model), (Names{"notes.txt", "letter.pdf", "photos", "film.mov"}));
}

TEST_F(FileListViewTest, aClickSelects_aDoubleClickOpens_andBackspaceGoesBack) {
    clickRow("photos");
    EXPECT_EQ(session.driver.selectedNode()->name(), "photos");
    EXPECT_TRUE(session.driver.navigationStack().empty());
    QTest::mouseDClick(view.get(), Qt::LeftButton, {}, middle(itemOfRow(rowNamed(*model, "photos"))));
    ASSERT_EQ(session.driver.navigationStack().size(), 1u);
    EXPECT_EQ(namesOf(*model), (Names{"one.jpg", "deep"}));
    key(Qt::Key_Backspace);
    EXPECT_TRUE(session.driver.navigationStack().empty());
    EXPECT_EQ(currentName(), "photos");
}

TEST_F(FileListViewTest, theKeyboardMoves_opens_andGoesBack) {
    clickRow("film.mov");
    key(Qt::Key_Down);
    EXPECT_EQ(currentName(), "photos");
    key(Qt::Key_End);
    EXPECT_EQ(currentName(), "notes.txt");
    key(Qt::Key_Home);
    EXPECT_EQ(currentName(), "film.mov");
    key(Qt::Key_PageDown);
    EXPECT_EQ(currentName(), "notes.txt");
    key(Qt::Key_PageUp);
    EXPECT_EQ(currentName(), "film.mov");
    key(Qt::Key_Up);
    EXPECT_EQ(currentName(), "film.mov") << "there is nothing above";
    key(Qt::Key_Down);
    key(Qt::Key_Return);
    EXPECT_EQ(namesOf(*model), (Names{"one.jpg", "deep"}));
    key(Qt::Key_Down);
    EXPECT_EQ(currentName(), "one.jpg");
    key(Qt::Key_Left, Qt::AltModifier);
    EXPECT_EQ(model->count(), 4);
}

TEST_F(FileListViewTest, typingAName_movesToIt_andASpaceThenBelongsToTheName) {
    clickRow("film.mov");
    type("no");
    EXPECT_EQ(currentName(), "notes.txt");
    key(Qt::Key_Space);
    EXPECT_TRUE(session.driver.selectedForDeletion().empty());
}

TEST_F(FileListViewTest, spaceAndControlClick_mark_andDeleteAsksForTheReview) {
    QSignalSpy reviews(view->rootObject(), SIGNAL(reviewRequested()));
    clickRow("film.mov");
    key(Qt::Key_Space);
    EXPECT_TRUE(session.driver.selectedForDeletion().contains(model->node(0)->id()));
    EXPECT_TRUE(itemOfRow(0)->property("isMarked").toBool());
    clickRow("photos", Qt::LeftButton, Qt::ControlModifier);
    EXPECT_EQ(session.driver.selectedForDeletion().size(), 2u);
    EXPECT_TRUE(session.driver.navigationStack().empty());
    clickRow("film.mov", Qt::LeftButton, Qt::ControlModifier);
    EXPECT_EQ(session.driver.selectedForDeletion().size(), 1u);
    EXPECT_EQ(reviews.count(), 0);
    key(Qt::Key_Delete);
    EXPECT_EQ(reviews.count(), 1);
    EXPECT_EQ(session.driver.selectedForDeletion().size(), 1u)
        << "asking for the review marks and removes nothing";
}

TEST_F(FileListViewTest, aSummary_saysWhyItIsNotMarked) {
    session.addSummary(1'000, 18'204);
    EXPECT_NE(find("summaryNote"), nullptr);
    ASSERT_TRUE(QTest::qWaitFor([&] { return itemOfRow(model->count() - 1) != nullptr; }, 60'000));
    clickRow("Other scanned files (18,204)", Qt::LeftButton, Qt::ControlModifier);
    EXPECT_TRUE(session.driver.selectedForDeletion().empty());
    ASSERT_NE(find("listNotice"), nullptr);
    EXPECT_EQ(find("listNotice")->property("text").toString(),
              QString::fromStdString(mark_texts::aggregateCannotBeMarked));
}

TEST_F(FileListViewTest, theMenuOfASummary_saysWhyItIsNotMarked) {
    session.addSummary(1'000, 18'204);
    ASSERT_TRUE(QTest::qWaitFor([&] { return itemOfRow(model->count() - 1) != nullptr; }, 60'000));
    clickRow("photos", Qt::RightButton);
    ASSERT_TRUE(QTest::qWaitFor([&] { return find("menuMark") != nullptr; }, 60'000));
    EXPECT_TRUE(find("menuMark")->isEnabled());
    EXPECT_EQ(find("menuReason"), nullptr);
    key(Qt::Key_Escape);
    ASSERT_TRUE(QTest::qWaitFor([&] { return find("menuMark") == nullptr; }, 60'000));
    clickRow("Other scanned files (18,204)", Qt::RightButton);
    ASSERT_TRUE(QTest::qWaitFor([&] { return find("menuMark") != nullptr; }, 60'000));
    QQuickItem* mark = find("menuMark");
    EXPECT_EQ(mark->property("text"), "Add to Deletion Queue");
    EXPECT_FALSE(mark->isEnabled());
    const QString reason = QString::fromStdString(mark_texts::aggregateCannotBeMarked);
    ASSERT_NE(find("menuReason"), nullptr);
    EXPECT_EQ(find("menuReason")->property("text"), reason);
    QAccessibleInterface* told = QAccessible::queryAccessibleInterface(mark);
    ASSERT_NE(told, nullptr);
    EXPECT_EQ(told->text(QAccessible::Description), "Not available. " + reason);
    // What the reason needs is there, and it stays within the menu.
    QQuickItem* text = find("menuReason");
    EXPECT_TRUE(QTest::qWaitFor(
        [&] {
            return text->mapRectToItem(mark, QRectF(0, 0, text->width(), text->height())).bottom() <=
                   mark->height();
        },
        60'000));
    EXPECT_LE(text->property("contentWidth").toDouble(), text->width() + 0.5);
}

TEST_F(FileListViewTest, aSummaryThatIsOpenedByKeys_leavesTheKeyboardInTheList) {
    ASSERT_TRUE(QTest::qWaitFor([&] { return session.driver.hasSavedIndex(); }, 60'000));
    session.addSummary(900'000, 18'204);
    ASSERT_TRUE(QTest::qWaitFor([&] { return itemOfRow(0) != nullptr; }, 60'000));
    list()->forceActiveFocus(Qt::TabFocusReason);
    key(Qt::Key_Home);
    ASSERT_TRUE(model->isAggregate(model->currentRow()));
    key(Qt::Key_Return);
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return rowNamed(*model, "Other scanned files (18,204)") < 0; }, 60'000));
    EXPECT_EQ(model->currentRow(), 0);
    EXPECT_TRUE(list()->hasActiveFocus());
    EXPECT_EQ(session.driver.selectedNode(), nullptr);
    key(Qt::Key_Down);
    EXPECT_EQ(model->currentRow(), 1);
}

TEST_F(FileListViewTest, withoutSummaries_thereIsNoNote) {
    EXPECT_EQ(find("summaryNote"), nullptr);
}

TEST_F(FileListViewTest, thePointer_lightsTheArc_andTheMapLightsTheRow) {
    QTest::mouseMove(view.get(), middle(itemOfRow(1)));
    ASSERT_TRUE(QTest::qWaitFor([&] { return session.driver.hoveredNode() == model->node(1); }, 60'000));
    QTest::mouseMove(view.get(), middle(itemOfRow(2)));
    ASSERT_TRUE(QTest::qWaitFor([&] { return session.driver.hoveredNode() == model->node(2); }, 60'000));
    QTest::mouseMove(view.get(), middle(find("searchField")));
    ASSERT_TRUE(QTest::qWaitFor([&] { return session.driver.hoveredNode() == nullptr; }, 60'000));
    session.driver.setHoveredNode(model->node(3));
    EXPECT_TRUE(itemOfRow(3)->property("isHovered").toBool());
    EXPECT_FALSE(itemOfRow(2)->property("isHovered").toBool());
}

TEST_F(FileListViewTest, thePointerOnAShare_saysOfWhichFolderItIsAShare_andTheRowStaysLit) {
    clickRow("photos");
    key(Qt::Key_Return);
    const int row = rowNamed(*model, "one.jpg");
    ASSERT_TRUE(QTest::qWaitFor([&] { return itemOfRow(row) != nullptr; }, 60'000));
    QQuickItem* const figure = itemOfRow(row)->findChild<QQuickItem*>("shareFigure");
    ASSERT_NE(figure, nullptr);
    ASSERT_EQ(figure->property("text"), "60.0%");
    ASSERT_TRUE(QTest::qWaitFor([&] { return figure->width() > 0; }, 60'000));
    QTest::mouseMove(view.get(), middle(find("searchField")));
    QTest::mouseMove(view.get(), middle(figure));
    const auto toolTip = [&] { return itemOfRow(row)->findChild<QObject*>("rowToolTip"); };
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return toolTip() != nullptr && toolTip()->property("opened").toBool(); }, 60'000));
    EXPECT_EQ(toolTip()->property("text").toString(), "60.0% of “photos”");
    EXPECT_EQ(session.driver.hoveredNode(), model->node(row));
    QTest::mouseMove(view.get(), middle(find("searchField")));
    EXPECT_TRUE(QTest::qWaitFor([&] { return toolTip() == nullptr; }, 60'000));
}

TEST_F(FileListViewTest, theMenu_marksAndUnmarks) {
    clickRow("photos", Qt::RightButton);
    ASSERT_TRUE(QTest::qWaitFor([&] { return find("menuMark") != nullptr; }, 60'000));
    EXPECT_EQ(find("menuMark")->property("text"), "Add to Deletion Queue");
    EXPECT_EQ(find("menuQuickLook")->property("text"), "Quick Look");
    EXPECT_EQ(find("menuReveal")->property("text"), "Show in File Manager");
    click("menuMark");
    EXPECT_EQ(session.driver.selectedForDeletion().size(), 1u);
    ASSERT_TRUE(QTest::qWaitFor([&] { return find("menuMark") == nullptr; }, 60'000));
    key(Qt::Key_Menu);
    ASSERT_TRUE(QTest::qWaitFor([&] { return find("menuMark") != nullptr; }, 60'000));
    EXPECT_EQ(find("menuMark")->property("text"), "Remove from Queue");
    key(Qt::Key_Down);
    key(Qt::Key_Return);
    EXPECT_TRUE(session.driver.selectedForDeletion().empty());
}

TEST_F(FileListViewTest, theMenu_revealsAndCopies) {
    std::string shown;
    model->setRevealer([&](const std::string& path, const std::function<void(bool)>&) { shown = path; });
    clickRow("film.mov", Qt::RightButton);
    ASSERT_TRUE(QTest::qWaitFor([&] { return find("menuReveal") != nullptr; }, 60'000));
    click("menuReveal");
    EXPECT_EQ(shown, tree.path("film.mov"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return find("menuReveal") == nullptr; }, 60'000));
    key(Qt::Key_F10, Qt::ShiftModifier);
    ASSERT_TRUE(QTest::qWaitFor([&] { return find("menuCopyPath") != nullptr; }, 60'000));
    click("menuCopyPath");
    EXPECT_EQ(QGuiApplication::clipboard()->text().toStdString(), tree.path("film.mov"));
}

TEST_F(FileListViewTest, quickLook_showsTheBeginningOfAText_andEscapeOrSpaceCloseIt) {
    tree.file("notes.txt", "to whom it may concern");
    for (const Qt::Key closing : {Qt::Key_Escape, Qt::Key_Space}) {
        clickRow("notes.txt");
        key(Qt::Key_Y, Qt::ControlModifier);
        ASSERT_TRUE(QTest::qWaitFor([&] { return find("previewText") != nullptr; }, 60'000));
        EXPECT_EQ(find("previewText")->property("text"), "to whom it may concern");
        EXPECT_EQ(find("previewPath")->property("text").toString().toStdString(), tree.path("notes.txt"));
        ASSERT_TRUE(QTest::qWaitFor([&] { return find("previewText")->hasActiveFocus(); }, 60'000));
        key(closing);
        ASSERT_TRUE(QTest::qWaitFor([&] { return find("previewText") == nullptr; }, 60'000));
    }
    EXPECT_TRUE(session.driver.selectedForDeletion().empty())
        << "the space closed the panel and marked nothing";
}

TEST_F(FileListViewTest, whereItIsNarrow_itemsAndTypeGiveWay_andNothingStandsOut) {
    const auto widthsFit = [&] {
        for (const char* name : {"searchField", "minimumSizeBox", "ageBox", "extensionField", "locationField",
                                 "subfoldersBox", "resetButton", "headerName", "headerSize"}) {
            QQuickItem* item = find(name);
            EXPECT_NE(item, nullptr) << name;
            if (item) {
                const QRectF box = item->mapRectToScene(item->boundingRect());
                EXPECT_GE(box.left(), 0) << name;
                EXPECT_LE(box.right(), view->width()) << name << " at " << view->width();
            }
        }
    };
    widthsFit();
    EXPECT_NE(find("headerType"), nullptr);
    EXPECT_EQ(find("hiddenColumns"), nullptr);
    view->resize(450, 560);
    ASSERT_TRUE(QTest::qWaitFor([&] { return find("headerType") == nullptr; }, 60'000));
    EXPECT_NE(find("headerItems"), nullptr);
    EXPECT_NE(find("hiddenColumns"), nullptr);
    widthsFit();
    view->resize(340, 560);
    ASSERT_TRUE(QTest::qWaitFor([&] { return find("headerItems") == nullptr; }, 60'000));
    widthsFit();
}

TEST_F(FileListViewTest, whatIsHiddenWhereItIsNarrow_isSortedByAndReadByKeys) {
    open(QSize(340, 560));
    ASSERT_TRUE(QTest::qWaitFor([&] { return find("headerItems") == nullptr; }, 60'000));
    list()->forceActiveFocus(Qt::TabFocusReason);
    key(Qt::Key_Home);
    ASSERT_EQ(currentName(), "film.mov");
    EXPECT_EQ(find("listDetails")->property("text").toString(),
              "Video · " + textOf(*model, 0, FileListModel::ShareOfRole));
    key(Qt::Key_Down);
    ASSERT_EQ(currentName(), "photos");
    EXPECT_EQ(find("listDetails")->property("text").toString(),
              "Folder · 2 items · " + textOf(*model, 1, FileListModel::ShareOfRole));

    find("hiddenColumns")->forceActiveFocus(Qt::TabFocusReason);
    key(Qt::Key_Return);
    ASSERT_TRUE(QTest::qWaitFor([&] { return find("sortByType") != nullptr; }, 60'000));
    EXPECT_NE(find("sortByItems"), nullptr);
    key(Qt::Key_Down);
    key(Qt::Key_Down);
    key(Qt::Key_Return);
    EXPECT_EQ(model->sortColumn(), FileListModel::Type);
    ASSERT_TRUE(QTest::qWaitFor([&] { return find("sortByType") == nullptr; }, 60'000));
    EXPECT_TRUE(find("hiddenColumns")->hasActiveFocus());

    // Where there is room for it the column is there, and its menu item and the line are gone.
    view->resize(450, 560);
    ASSERT_TRUE(QTest::qWaitFor([&] { return find("headerItems") != nullptr; }, 60'000));
    click("hiddenColumns");
    ASSERT_TRUE(QTest::qWaitFor([&] { return find("sortByType") != nullptr; }, 60'000));
    EXPECT_EQ(find("sortByItems"), nullptr);
    key(Qt::Key_Escape);
    view->resize(720, 560);
    ASSERT_TRUE(QTest::qWaitFor([&] { return find("headerType") != nullptr; }, 60'000));
    EXPECT_EQ(find("hiddenColumns"), nullptr);
    EXPECT_EQ(find("listDetails"), nullptr);
}

TEST_F(FileListViewTest, thePointer_readsWhatIsHidden) {
    open(QSize(340, 560));
    const int photos = rowNamed(*model, "photos");
    QTest::mouseMove(view.get(), middle(find("searchField")));
    QTest::mouseMove(view.get(), itemOfRow(photos)->mapToScene(QPointF(60, 10)).toPoint());
    const auto toolTip = [&] { return itemOfRow(photos)->findChild<QObject*>("rowToolTip"); };
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return toolTip() != nullptr && toolTip()->property("opened").toBool(); }, 60'000));
    EXPECT_EQ(toolTip()->property("text").toString(),
              "Folder · 2 items · " + textOf(*model, photos, FileListModel::ShareOfRole));
}

TEST_F(FileListViewTest, whereItIsLow_theFiltersFoldAway_andComeOnDemand) {
    open(QSize(340, 360));
    EXPECT_EQ(find("extensionField"), nullptr);
    EXPECT_NE(itemOfRow(3), nullptr);
    click("filterToggle");
    ASSERT_TRUE(QTest::qWaitFor([&] { return find("extensionField") != nullptr; }, 60'000));
    EXPECT_NE(itemOfRow(0), nullptr);
}

TEST_F(FileListViewTest, fiftyThousandRows_makeItemsForTheVisibleOnesAlone) {
    const FileNode::Pointer root = session.driver.scanResult()->rootNode;
    for (int index = 0; index < 50'000; ++index) {
        root->appendChild(FileNode::makeFile("f" + std::to_string(index), 1, 1, std::nullopt));
    }
    emit session.driver.scanResultChanged();
    ASSERT_EQ(model->count(), 50'004);
    list()->forceActiveFocus(Qt::TabFocusReason);
    key(Qt::Key_End);
    EXPECT_EQ(model->currentRow(), 50'003);
    ASSERT_TRUE(QTest::qWaitFor([&] { return itemOfRow(50'003) != nullptr; }, 60'000));
    EXPECT_EQ(itemOfRow(0), nullptr);
    int items = 0;
    for (int row = 0; row < model->count(); row += 1) {
        items += itemOfRow(row) ? 1 : 0;
    }
    EXPECT_LT(items, 60);
}

}  // namespace
}  // namespace larkfold
