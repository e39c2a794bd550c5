// The map in a real (offscreen) window over a scanned folder: pointer, keyboard, what is said, and
// what is drawn.
#include <gtest/gtest.h>

#include <QtQml/qqmlextensionplugin.h>
#include <QAccessible>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTest>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <numbers>
#include <utility>

#include "disk/DiskScannerViewModel.h"
#include "platform/UserDefaults.h"
#include "platform/qt/EventLoopQueue.h"
#include "shell/disk/map/SunburstInteractionLayer.h"
#include "shell/disk/map/SunburstItem.h"
#include "support/TemporaryTree.h"

Q_IMPORT_QML_PLUGIN(Larkfold_ShellPlugin)

namespace larkfold {
namespace {

constexpr std::int64_t mib = 1 << 20;

class SunburstViewTest : public testing::Test {
protected:
    SunburstViewTest()
        : defaults_(surroundings_.path("settings.json"), queue_.queue()),
          driver_({.mainQueue = queue_.queue(),
                   .defaults = defaults_,
                   .indexFileURL = surroundings_.path("index/latest-scan.sqlite")}) {
        tree_.fileOfSize("big/deep/core.bin", 3 * mib);
        tree_.fileOfSize("big/side.bin", 1 * mib);
        tree_.fileOfSize("middle.bin", 2 * mib);
        tree_.fileOfSize("small/a.bin", 1 * mib);
        tree_.folder("void");
    }

    void SetUp() override {
        driver_.scanFolder(tree_.root());
        ASSERT_TRUE(QTest::qWaitFor([&] { return !driver_.isScanning(); }, 60'000));
        ASSERT_TRUE(driver_.hasScanResult());
        open();
    }

    void open() {
        engine_.addImportPath(QStringLiteral("qrc:/qt/qml"));
        QQmlComponent component(&engine_,
                                QUrl(QStringLiteral("qrc:/qt/qml/Larkfold/Shell/SunburstView.qml")));
        view_.reset(qobject_cast<QQuickItem*>(component.createWithInitialProperties(
            {{QStringLiteral("driver"), QVariant::fromValue(&driver_)}})));
        ASSERT_TRUE(view_) << component.errorString().toStdString();
        window_.setColor(Qt::white);
        window_.resize(500, 400);
        view_->setParentItem(window_.contentItem());
        view_->setSize(QSizeF(400, 400));
        map_ = view_->findChild<SunburstItem*>();
        layer_ = view_->findChild<SunburstInteractionLayer*>();
        ASSERT_TRUE(map_ != nullptr && layer_ != nullptr);
        map_->setOpeningDuration(0);
        window_.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&window_, 60'000));
        window_.requestActivate();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&window_, 60'000));
    }

    FileNode::Pointer find(std::string_view name) const {
        FileNode::Pointer found;
        const FileNode::Pointer root = driver_.scanResult()->rootNode;
        root->forEachNode([&](const FileNode& node) {
            if (node.name() == name) {
                found = root->findNode(node.id());
            }
        });
        return found;
    }

    // The middle of an arc.
    QPoint pointOn(const FileNode& node) const {
        const auto arc = map_->layout().arcOf(node);
        EXPECT_TRUE(arc) << node.name();
        const SunburstLayout::Arc& place = map_->layout().arcs()[arc.value_or(0)];
        const SunburstGeometry geometry = map_->geometry();
        const double radius = geometry.innerRadius(place.depth) + geometry.ringWidth() / 2;
        const double angle = (place.start + place.end) / 2 * std::numbers::pi / 180;
        return {static_cast<int>(geometry.centreX + radius * std::sin(angle)),
                static_cast<int>(geometry.centreY - radius * std::cos(angle))};
    }

    void moveTo(QPoint point) { QTest::mouseMove(&window_, point); }

    void click(QPoint point, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::mouseClick(&window_, Qt::LeftButton, modifiers, point);
    }

    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::keyClick(&window_, key, modifiers);
    }

    QImage grabbed() { return window_.grabWindow().convertToFormat(QImage::Format_RGB32); }

    QQuickItem* item(const char* name) const {
        return view_->findChild<QQuickItem*>(QString::fromLatin1(name));
    }

    QPoint middleOf(const char* name) const {
        return item(name)->mapToScene(QPointF(item(name)->width() / 2, item(name)->height() / 2)).toPoint();
    }

    QString text(const char* name) const { return item(name)->property("text").toString(); }

    test::TemporaryTree tree_;
    test::TemporaryTree surroundings_;
    EventLoopQueue queue_;
    UserDefaults defaults_;
    DiskScannerViewModel driver_;
    QQmlEngine engine_;
    QQuickWindow window_;
    std::unique_ptr<QQuickItem> view_;
    SunburstItem* map_ = nullptr;
    SunburstInteractionLayer* layer_ = nullptr;
};

TEST_F(SunburstViewTest, pointerOverAnArcHoversItsNodeAndLeavingTheMapClearsIt) {
    const FileNode::Pointer big = find("big");
    moveTo(pointOn(*big));
    EXPECT_EQ(driver_.hoveredNode(), big);
    EXPECT_EQ(layer_->hoveredSegment().toStdString(), big->id().text());
    EXPECT_EQ(view_->property("hoveredSegment").toString(), layer_->hoveredSegment());
    moveTo({3, 3});  // within the view, off the circle
    EXPECT_EQ(driver_.hoveredNode(), nullptr);
    EXPECT_EQ(layer_->hoveredSegment(), "");
    moveTo(pointOn(*big));
    moveTo({450, 200});  // beside the view
    EXPECT_EQ(driver_.hoveredNode(), nullptr);
}

TEST_F(SunburstViewTest, hoverBrightensTheArcAndNothingElseAndNeverDrawsTheMapAgain) {
    const FileNode::Pointer big = find("big");
    moveTo({3, 3});
    const QImage before = grabbed();
    const QSignalSpy redrawn(map_, &SunburstItem::pictureChanged);
    moveTo(pointOn(*big));
    const QImage after = grabbed();
    EXPECT_EQ(redrawn.count(), 0);
    EXPECT_NE(after.pixel(pointOn(*big)), before.pixel(pointOn(*big)));
    const FileNode::Pointer middle = find("middle.bin");
    EXPECT_EQ(after.pixel(pointOn(*middle)), before.pixel(pointOn(*middle)));
    moveTo({3, 3});
    EXPECT_EQ(grabbed(), before);
}

TEST_F(SunburstViewTest, nodeHoveredElsewhereLightsItsArc) {
    const FileNode::Pointer side = find("side.bin");
    const QRgb before = grabbed().pixel(pointOn(*side));
    driver_.setHoveredNode(side);
    EXPECT_NE(grabbed().pixel(pointOn(*side)), before);
}

TEST_F(SunburstViewTest, clickOnAFolderGoesIn) {
    const FileNode::Pointer big = find("big");
    click(pointOn(*big));
    EXPECT_EQ(driver_.currentNode(), big);
    EXPECT_TRUE(driver_.selectedForDeletion().empty());
    EXPECT_EQ(map_->layout().root(), big);
}

TEST_F(SunburstViewTest, clickOnAFileInTheThirdRingSelectsItAndStays) {
    const FileNode::Pointer core = find("core.bin");
    ASSERT_EQ(map_->layout().arcs()[*map_->layout().arcOf(*core)].depth, 3);
    const FileNode::Pointer current = driver_.currentNode();
    click(pointOn(*core));
    EXPECT_EQ(driver_.selectedNode(), core);
    EXPECT_EQ(driver_.currentNode(), current);
}

TEST_F(SunburstViewTest, controlClickOnAFolderMarksItAndStays) {
    const FileNode::Pointer big = find("big");
    const FileNode::Pointer current = driver_.currentNode();
    const QRgb before = grabbed().pixel(pointOn(*big));
    click(pointOn(*big), Qt::ControlModifier);
    EXPECT_TRUE(driver_.selectedForDeletion().contains(big->id()));
    EXPECT_EQ(driver_.currentNode(), current);
    const QRgb marked = grabbed().pixel(pointOn(*big));
    EXPECT_NE(marked, before);
    click(pointOn(*big), Qt::ControlModifier);
    EXPECT_TRUE(driver_.selectedForDeletion().empty());
}

// Pixels of an arc, away from its edges.
struct Sample {
    int dark = 0;
    int light = 0;
    int marked = 0;  // red at 0.8 on the background
    int all = 0;
};

Sample sampleOf(const QImage& image, const SunburstItem& map, const FileNode& node, QRgb markedColour) {
    Sample sample;
    const SunburstLayout::Arc& place = map.layout().arcs()[map.layout().arcOf(node).value_or(0)];
    const SunburstGeometry geometry = map.geometry();
    for (int y = 0; y < static_cast<int>(map.height()); ++y) {
        for (int x = 0; x < static_cast<int>(map.width()); ++x) {
            const double radius = std::hypot(x + 0.5 - geometry.centreX, y + 0.5 - geometry.centreY);
            const double angle = geometry.positionOf(x + 0.5, y + 0.5).angle;
            if (radius < geometry.innerRadius(place.depth) + 5 ||
                radius > geometry.outerRadius(place.depth) - 5 || angle < place.start + 5 ||
                angle > place.end - 5) {
                continue;
            }
            const QRgb pixel = image.pixel(x, y);
            ++sample.all;
            sample.dark += qRed(pixel) < 60 && qGreen(pixel) < 60 && qBlue(pixel) < 60;
            sample.light += qRed(pixel) > 220 && qGreen(pixel) > 200 && qBlue(pixel) > 200;
            sample.marked += std::abs(qRed(pixel) - qRed(markedColour)) <= 2 &&
                             std::abs(qGreen(pixel) - qGreen(markedColour)) <= 2 &&
                             std::abs(qBlue(pixel) - qBlue(markedColour)) <= 2;
        }
    }
    return sample;
}

TEST_F(SunburstViewTest, whatIsMarkedIsHatchedOverItsRed_alsoUnderThePointerAndTheKeyboard_inLightAndDark) {
    const FileNode::Pointer big = find("big");
    const FileNode::Pointer deep = find("deep");
    const FileNode::Pointer middle = find("middle.bin");
    // Red at 0.8 on white and on the dark surface.
    for (const auto& [surface, red] :
         {std::pair(QColor(Qt::white), qRgb(255, 51, 51)), std::pair(QColor(30, 33, 40), qRgb(210, 7, 8))}) {
        window_.setColor(surface);
        view_->setProperty("backgroundColor", surface);
        moveTo({3, 3});
        const Sample before = sampleOf(grabbed(), *map_, *big, red);
        ASSERT_GT(before.all, 500);
        EXPECT_EQ(before.dark + before.light, 0);
        driver_.toggleSelection(big);
        QCoreApplication::processEvents();
        const auto expectHatched = [&](const char* when) {
            const QImage image = grabbed();
            const Sample marked = sampleOf(image, *map_, *big, red);
            EXPECT_GT(marked.marked, marked.all / 3) << when << ": the fill is what it was";
            EXPECT_GT(marked.dark, marked.all / 20) << when;
            EXPECT_GT(marked.light, marked.all / 20) << when;
            // What lies below the marked folder goes with it; it keeps its colour.
            const Sample below = sampleOf(image, *map_, *deep, red);
            EXPECT_GT(below.dark, below.all / 20) << when;
            EXPECT_GT(below.light, below.all / 20) << when;
            const Sample other = sampleOf(image, *map_, *middle, red);
            EXPECT_EQ(other.dark + other.light, 0) << when;
        };
        expectHatched("at rest");
        moveTo(pointOn(*big));
        expectHatched("under the pointer");
        moveTo(pointOn(*deep));
        expectHatched("with the pointer on what lies below");
        moveTo({3, 3});
        layer_->forceActiveFocus(Qt::TabFocusReason);
        key(Qt::Key_Home);
        key(Qt::Key_Up);
        ASSERT_EQ(layer_->focusedNode(), big);
        expectHatched("under the keyboard");
        // Within the marked folder all of the map goes with it.
        driver_.navigateInto(big);
        const Sample inside = sampleOf(grabbed(), *map_, *find("side.bin"), red);
        EXPECT_GT(inside.dark, inside.all / 20);
        driver_.navigateBack();
        driver_.toggleSelection(big);
        QCoreApplication::processEvents();
        const Sample after = sampleOf(grabbed(), *map_, *big, red);
        EXPECT_EQ(after.dark + after.light, 0);
        view_->forceActiveFocus(Qt::MouseFocusReason);
        click({3, 3});
    }
}

TEST_F(SunburstViewTest, aPointerMoveDrawsNeitherTheMapNorItsMarksAgain) {
    driver_.toggleSelection(find("small"));
    QCoreApplication::processEvents();
    moveTo({3, 3});
    const QImage before = grabbed();
    const QSignalSpy redrawn(map_, &SunburstItem::pictureChanged);
    moveTo(pointOn(*find("big")));
    EXPECT_NE(grabbed(), before);
    moveTo({3, 3});
    EXPECT_EQ(grabbed(), before);
    EXPECT_EQ(redrawn.count(), 0);
}

TEST_F(SunburstViewTest, leavingTheMapClearsTheHover_butNotOneThatTheListHasSetSince) {
    const FileNode::Pointer big = find("big");
    const FileNode::Pointer side = find("side.bin");
    const int list = 0;  // somebody else
    moveTo(pointOn(*big));
    driver_.setHoveredNode(side, &list);
    moveTo({3, 3});  // off the circle
    EXPECT_EQ(driver_.hoveredNode(), side);
    moveTo(pointOn(*big));
    driver_.setHoveredNode(side, &list);
    moveTo({450, 200});  // beside the view
    EXPECT_EQ(driver_.hoveredNode(), side);
    // The same arc, by both: it is the list's by now.
    moveTo(pointOn(*big));
    driver_.setHoveredNode(big, &list);
    moveTo({450, 200});
    EXPECT_EQ(driver_.hoveredNode(), big);
    driver_.clearHoveredNode(&list);
    EXPECT_EQ(driver_.hoveredNode(), nullptr);
    moveTo(pointOn(*big));
    driver_.clearHoveredNode(&list);
    EXPECT_EQ(driver_.hoveredNode(), big) << "it is the pointer's";
    moveTo({450, 200});
    EXPECT_EQ(driver_.hoveredNode(), nullptr);
}

TEST_F(SunburstViewTest, theKeyboardsHoverGoesWithTheKeyboardAndComesBackWithIt) {
    moveTo({3, 3});
    layer_->forceActiveFocus(Qt::TabFocusReason);
    key(Qt::Key_Up);
    ASSERT_EQ(driver_.hoveredNode(), find("big"));
    item("legendButton")->forceActiveFocus(Qt::TabFocusReason);
    EXPECT_EQ(driver_.hoveredNode(), nullptr);
    layer_->forceActiveFocus(Qt::BacktabFocusReason);
    EXPECT_EQ(driver_.hoveredNode(), find("big"));
}

TEST_F(SunburstViewTest, whereTheDiscIsSmallItsWordsStandAboveTheMap) {
    moveTo({3, 3});
    EXPECT_TRUE(item("centerName")->isVisible());
    EXPECT_FALSE(item("centerCaption")->isVisible());
    view_->setSize(QSizeF(300, 250));
    driver_.setHoveredNode(find("middle.bin"));
    EXPECT_FALSE(item("centerName")->isVisible());
    EXPECT_TRUE(item("centerCaption")->isVisible());
    EXPECT_EQ(text("centerCaption"), "middle.bin");
    EXPECT_EQ(text("centerFigures"), "2.1 MB");
    driver_.setHoveredNode(find("big"));
    EXPECT_EQ(text("centerFigures"), "4.2 MB · 2 items");
    // Nothing of the map lies below the words.
    const QRectF words =
        item("centerCaption")->mapRectToScene(QRectF(0, 0, 1, item("centerCaption")->height()));
    EXPECT_GE(map_->mapToScene(QPointF(0, map_->geometry().centreY - map_->geometry().side / 2)).y(),
              words.bottom());
}

TEST_F(SunburstViewTest, clickOnTheDiscGoesToTheCurrentFolderAgain) {
    const FileNode::Pointer current = driver_.currentNode();
    click({200, 200});
    ASSERT_EQ(driver_.navigationStack().size(), 1u);
    EXPECT_EQ(driver_.currentNode(), current);
}

TEST_F(SunburstViewTest, clickBesideTheCircleDoesNothing) {
    click({4, 4});
    EXPECT_TRUE(driver_.navigationStack().empty());
    EXPECT_EQ(driver_.selectedNode(), nullptr);
}

TEST_F(SunburstViewTest, pressOnOneArcAndReleaseOnAnotherIsNoClick) {
    QTest::mousePress(&window_, Qt::LeftButton, Qt::NoModifier, pointOn(*find("big")));
    QTest::mouseRelease(&window_, Qt::LeftButton, Qt::NoModifier, pointOn(*find("small")));
    EXPECT_TRUE(driver_.navigationStack().empty());
}

TEST_F(SunburstViewTest, keyboardReachesEveryArcAndDoesWhatThePointerDoes) {
    layer_->forceActiveFocus(Qt::TabFocusReason);
    EXPECT_EQ(layer_->focusedNode(), driver_.currentNode());
    key(Qt::Key_Up);
    EXPECT_EQ(layer_->focusedNode(), find("big"));
    EXPECT_EQ(driver_.hoveredNode(), find("big"));
    key(Qt::Key_Right);
    EXPECT_EQ(layer_->focusedNode(), find("middle.bin"));
    key(Qt::Key_Right);
    EXPECT_EQ(layer_->focusedNode(), find("small"));
    key(Qt::Key_Right);  // round the ring
    EXPECT_EQ(layer_->focusedNode(), find("big"));
    key(Qt::Key_Left);
    key(Qt::Key_Left);
    EXPECT_EQ(layer_->focusedNode(), find("middle.bin"));
    key(Qt::Key_Return);
    EXPECT_EQ(driver_.selectedNode(), find("middle.bin"));
    key(Qt::Key_Space);
    EXPECT_TRUE(driver_.selectedForDeletion().contains(find("middle.bin")->id()));
    key(Qt::Key_Down);
    EXPECT_EQ(layer_->focusedNode(), driver_.scanResult()->rootNode);
    key(Qt::Key_Up);
    key(Qt::Key_Return);
    EXPECT_EQ(driver_.currentNode(), find("big"));
    key(Qt::Key_Backspace);
    EXPECT_EQ(driver_.currentNode(), driver_.scanResult()->rootNode);
    driver_.navigateInto(find("small"));
    key(Qt::Key_Left, Qt::AltModifier);
    EXPECT_EQ(driver_.currentNode(), driver_.scanResult()->rootNode);
}

TEST_F(SunburstViewTest, deleteKeyAsksForTheReviewAndRemovesNothing) {
    QSignalSpy asked(view_.get(), SIGNAL(reviewRequested()));
    layer_->forceActiveFocus(Qt::TabFocusReason);
    key(Qt::Key_Delete);
    EXPECT_EQ(asked.count(), 1);
    EXPECT_TRUE(driver_.selectedForDeletion().empty());
}

TEST_F(SunburstViewTest, focusedArcIsOutlinedForTheKeyboardAndNotAfterAClick) {
    moveTo({3, 3});
    const QImage before = grabbed();
    layer_->forceActiveFocus(Qt::TabFocusReason);
    key(Qt::Key_Up);
    EXPECT_TRUE(layer_->showsFocus());
    driver_.setHoveredNode(nullptr);  // what remains is the outline
    EXPECT_NE(grabbed(), before);
    click({4, 4});
    EXPECT_FALSE(layer_->showsFocus());
    moveTo({3, 3});
    EXPECT_EQ(grabbed(), before);
}

TEST_F(SunburstViewTest, centreShowsTheHoveredNodeOrTheCurrentFolder) {
    moveTo({3, 3});
    const FileNode::Pointer root = driver_.currentNode();
    EXPECT_EQ(text("centerName").toStdString(), std::string(root->name()));
    EXPECT_EQ(text("centerItems"), "4 items");
    moveTo(pointOn(*find("middle.bin")));
    EXPECT_EQ(text("centerName"), "middle.bin");
    EXPECT_EQ(text("centerSize"), "2.1 MB");
    EXPECT_EQ(text("centerItems"), "");
    moveTo(pointOn(*find("big")));
    EXPECT_EQ(text("centerItems"), "2 items");
}

TEST_F(SunburstViewTest, legendListsTheFirstChildrenWithTheColoursOfTheFirstRing) {
    EXPECT_FALSE(item("legend")->isVisible());
    click(middleOf("legendButton"));
    EXPECT_TRUE(item("legend")->isVisible());
    EXPECT_TRUE(view_->property("showLegend").toBool());
    const QVariantList rows = map_->legend();
    ASSERT_EQ(rows.size(), 4);
    EXPECT_EQ(rows[0].toMap()["name"].toString(), "big");
    EXPECT_EQ(rows[3].toMap()["name"].toString(), "void");
    const SunburstColour first = SunburstPalette::arc(0, 1);
    const auto color = rows[0].toMap()["color"].value<QColor>();
    EXPECT_NEAR(color.redF(), first.red, 0.01);
    EXPECT_NEAR(color.alphaF(), first.opacity, 0.01);
    EXPECT_EQ(rows[0].toMap()["sizeText"].toString(), "4.2 MB");
    EXPECT_EQ(rows[3].toMap()["sizeText"].toString(), "Zero KB");
    click(middleOf("legendButton"));
    EXPECT_FALSE(item("legend")->isVisible());
}

TEST_F(SunburstViewTest, assistiveTechnologyOpensAndClosesTheLegendByEitherAction) {
    QAccessibleInterface* const button = QAccessible::queryAccessibleInterface(item("legendButton"));
    ASSERT_NE(button, nullptr);
    ASSERT_NE(button->actionInterface(), nullptr);
    for (const QString& action :
         {QAccessibleActionInterface::toggleAction(), QAccessibleActionInterface::pressAction()}) {
        for (const bool isShown : {true, false}) {
            button->actionInterface()->doAction(action);
            EXPECT_EQ(item("legend")->isVisible(), isShown) << action.toStdString();
            EXPECT_EQ(item("legendButton")->property("checked").toBool(), isShown);
        }
    }
}

TEST_F(SunburstViewTest, legendShowsWhatIsMarkedAsTheMapDoes) {
    QSignalSpy changes(map_, &SunburstItem::legendChanged);
    driver_.toggleSelection(find("big"));
    driver_.toggleSelection(find("small"));
    driver_.toggleSelection(find("small"));
    QCoreApplication::processEvents();
    EXPECT_EQ(changes.count(), 1) << "once in a turn of the main loop";
    QVariantMap big = map_->legend()[0].toMap();
    EXPECT_TRUE(big["isMarked"].toBool());
    EXPECT_TRUE(big["isHatched"].toBool());
    EXPECT_EQ(big["color"].value<QColor>().rgba(), qRgba(255, 0, 0, 204));
    EXPECT_EQ(big["spokenText"].toString(), "big, 4.2 MB, selected for deletion");
    QVariantMap middle = map_->legend()[1].toMap();
    EXPECT_FALSE(middle["isHatched"].toBool());
    EXPECT_EQ(middle["spokenText"].toString(), "middle.bin, 2.1 MB");
    // Within the marked folder its children go with it, in their own colours.
    driver_.navigateInto(find("big"));
    const QVariantMap deep = map_->legend()[0].toMap();
    EXPECT_FALSE(deep["isMarked"].toBool());
    EXPECT_TRUE(deep["isHatched"].toBool());
    EXPECT_EQ(deep["spokenText"].toString(), "deep, 3.1 MB, goes with “big”, which is selected for deletion");
}

TEST_F(SunburstViewTest, legendStandsBesideTheMapWhereThereIsRoom) {
    window_.resize(1000, 420);
    const auto circle = [&] {
        const SunburstGeometry geometry = map_->geometry();
        return map_->mapRectToScene(QRectF(geometry.centreX - geometry.side / 2,
                                           geometry.centreY - geometry.side / 2, geometry.side,
                                           geometry.side));
    };
    const auto legend = [&] {
        return item("legend")->mapRectToScene(
            QRectF(0, 0, item("legend")->width(), item("legend")->height()));
    };
    view_->setSize(QSizeF(400, 400));
    view_->setProperty("showLegend", true);
    EXPECT_TRUE(legend().intersects(circle())) << "there is no room";
    for (const double width : {640.0, 960.0}) {
        view_->setProperty("showLegend", false);
        view_->setSize(QSizeF(width, 400));
        const double side = map_->geometry().side;
        const QRectF alone = circle();
        view_->setProperty("showLegend", true);
        grabbed();
        EXPECT_FALSE(legend().intersects(circle())) << width;
        EXPECT_EQ(map_->geometry().side, side) << "the map stays as large as it was";
        EXPECT_LE(circle().right(), width);
        if (width > 900) {
            EXPECT_EQ(circle(), alone) << "the room on one side was wide enough";
        }
        EXPECT_EQ(map_->width(), layer_->width());
    }
}

TEST_F(SunburstViewTest, legendStopsAtEightChildren) {
    const FileNode::Pointer root = driver_.scanResult()->rootNode;
    for (int i = 0; i < 9; ++i) {
        root->appendChild(FileNode::makeFile("extra", 10, 10, std::nullopt));
    }
    emit driver_.scanResultChanged();
    EXPECT_EQ(map_->legend().size(), 8);
}

TEST_F(SunburstViewTest, summaryLeafIsExplainedOnAClickAndCannotBeMarked) {
    const FileNode::Pointer root = driver_.scanResult()->rootNode;
    const FileNode::Pointer summary = FileNode::makeAggregate(FileNode::SummaryOrigin::scan, 5 * mib, 18'204);
    root->appendChild(summary);
    root->recalculateSize();
    root->sortChildrenBySize();
    emit driver_.scanResultChanged();
    EXPECT_FALSE(item("summaryNote")->isVisible());
    click(pointOn(*summary), Qt::ControlModifier);
    EXPECT_TRUE(driver_.selectedForDeletion().empty());
    click(pointOn(*summary));
    EXPECT_EQ(driver_.selectedNode(), summary);
    EXPECT_TRUE(item("summaryNote")->isVisible());
    EXPECT_TRUE(map_->summaryTitle().startsWith("Other scanned files"));
    EXPECT_TRUE(map_->summaryExplanation().startsWith("18,204 files directly in “"))
        << map_->summaryExplanation().toStdString();
    map_->dismissSummary();
    EXPECT_FALSE(item("summaryNote")->isVisible());
}

TEST_F(SunburstViewTest, aSummaryArcThatIsOpenedByKeysLeavesTheKeyboardOnTheFolder) {
    ASSERT_TRUE(QTest::qWaitFor([&] { return driver_.hasSavedIndex(); }, 60'000));
    const FileNode::Pointer root = driver_.scanResult()->rootNode;
    root->appendChild(FileNode::makeAggregate(FileNode::SummaryOrigin::scan, 9 * mib, 18'204));
    root->recalculateSize();
    root->sortChildrenBySize();
    emit driver_.scanResultChanged();
    layer_->forceActiveFocus(Qt::TabFocusReason);
    key(Qt::Key_Up);
    ASSERT_TRUE(layer_->focusedNode()->isAggregate());
    QSignalSpy loaded(&driver_, &DiskScannerViewModel::navigationStackChanged);
    key(Qt::Key_Return);
    ASSERT_TRUE(QTest::qWaitFor([&] { return loaded.count() == 1; }, 60'000));
    EXPECT_EQ(layer_->focusedNode(), root);
    EXPECT_EQ(driver_.selectedNode(), nullptr);
    EXPECT_FALSE(item("summaryNote")->isVisible());
    key(Qt::Key_Up);
    EXPECT_EQ(layer_->focusedNode()->name(), "big");
}

TEST_F(SunburstViewTest, emptyFolderIsADiscAndASentence) {
    EXPECT_FALSE(item("emptyMapText")->isVisible());
    driver_.navigateInto(find("void"));
    EXPECT_TRUE(item("emptyMapText")->isVisible());
    EXPECT_TRUE(map_->layout().arcs().empty());
    const QImage image = grabbed();
    EXPECT_EQ(image.pixel(200 + 70, 200), qRgb(255, 255, 255));
    EXPECT_NE(image.pixel(200, 200 + 40), qRgb(255, 255, 255));
}

TEST_F(SunburstViewTest, treeThatWasGivenUpIsNotKeptAlive) {
    moveTo(pointOn(*find("big")));
    grabbed();
    const std::weak_ptr<FileNode> watched = driver_.scanResult()->rootNode;
    driver_.scanFolder(tree_.root());
    EXPECT_EQ(map_->layout().root(), nullptr);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !driver_.isScanning(); }, 60'000));
    grabbed();
    EXPECT_TRUE(watched.expired());
}

TEST_F(SunburstViewTest, folderOpensFromItsArcAndEndsAtTheSamePictureAsWithoutMotion) {
    view_->setPosition(QPointF(37, 11));
    moveTo({3, 3});
    driver_.navigateInto(find("big"));
    const QImage inside = grabbed();
    driver_.navigateBack();
    const QImage outside = grabbed();
    ASSERT_NE(inside, outside);

    map_->setOpeningDuration(150);
    const QSignalSpy changes(map_, &SunburstItem::isOpeningChanged);
    driver_.navigateInto(find("big"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return changes.count() == 1; }, 60'000));
    EXPECT_TRUE(map_->isOpening());
    const QImage between = grabbed();
    EXPECT_NE(between, inside);
    ASSERT_TRUE(QTest::qWaitFor([&] { return changes.count() == 2; }, 60'000));
    EXPECT_FALSE(map_->isOpening());
    EXPECT_EQ(grabbed(), inside);

    driver_.navigateBack();
    ASSERT_TRUE(QTest::qWaitFor([&] { return changes.count() == 4; }, 60'000));
    EXPECT_EQ(grabbed(), outside);
}

TEST_F(SunburstViewTest, readersHearTheMapAndWhatTheKeyboardIsOn) {
    QAccessibleInterface* const face = QAccessible::queryAccessibleInterface(layer_);
    ASSERT_NE(face, nullptr);
    EXPECT_EQ(face->role(), QAccessible::Chart);
    EXPECT_EQ(face->text(QAccessible::Name), "Disk map");
    layer_->forceActiveFocus(Qt::TabFocusReason);
    key(Qt::Key_Up);
    const QString said = face->text(QAccessible::Description);
    EXPECT_TRUE(said.startsWith("big, 4.2 MB, 57.1% of this folder, 2 items")) << said.toStdString();
    key(Qt::Key_Space);
    EXPECT_TRUE(face->text(QAccessible::Description).endsWith("selected for deletion"));
}

TEST_F(SunburstViewTest, resizedMapFollowsItsArea) {
    view_->setSize(QSizeF(300, 360));
    grabbed();
    const FileNode::Pointer big = find("big");
    moveTo(pointOn(*big));
    EXPECT_EQ(driver_.hoveredNode(), big);
    EXPECT_EQ(map_->geometry().side, 300);
    view_->setSize(QSizeF(0, 0));
    grabbed();  // nothing to draw
    view_->setSize(QSizeF(400, 400));
    moveTo(pointOn(*find("small")));
    EXPECT_EQ(driver_.hoveredNode(), find("small"));
}

}  // namespace
}  // namespace larkfold
