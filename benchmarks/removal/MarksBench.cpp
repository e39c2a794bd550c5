// How the window bears many marks: what marking them one by one costs, and for how long the main loop stands
// still while they are marked, shown in the review, confirmed, and taken out of the map.
//
//   larkfold_marks_bench FOLDER COUNT
//
// FOLDER is one of the benchmark's own and must not exist; COUNT empty folders are made in it, scanned in the
// real window (offscreen), and marked. The gate is one that says of every item that it went, so nothing is
// removed. Told are the marks per second, and the longest gap between two turns of the main loop for each
// step, as JSON. Turns are asked for without a pause by a timer.
#include <sys/stat.h>

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QTest>
#include <QTimer>
#include <QtQml/QQmlExtensionPlugin>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/UserDefaults.h"
#include "platform/qt/EventLoopQueue.h"
#include "shell/app/Appearance.h"
#include "shell/app/LarkfoldApp.h"

Q_IMPORT_QML_PLUGIN(Larkfold_ShellPlugin)

namespace {

using larkfold::CleanupOperation;
using larkfold::FileDeleter;
using larkfold::FileNode;

// The gate that says yes.
FileDeleter::DeletionResult allWent(const FileDeleter::Request& request,
                                    const FileDeleter::Progress& progress, const std::stop_token&) {
    FileDeleter::DeletionResult result;
    result.operation.id = larkfold::UUID::make();
    result.operation.source = request.source;
    const auto total = static_cast<std::int64_t>(request.urls.size());
    for (const std::string& url : request.urls) {
        CleanupOperation::Item item;
        item.originalPath = url;
        item.logicalBytes = 0;
        result.operation.items.push_back(std::move(item));
        result.successfulDeletions.push_back(url);
        progress(static_cast<std::int64_t>(result.successfulDeletions.size()), total);
    }
    return result;
}

// The longest time between two turns of the main loop.
class Gaps {
public:
    Gaps() {
        QObject::connect(&timer_, &QTimer::timeout, [this] {
            longest_ = std::max(longest_, sinceTurn_.nsecsElapsed());
            sinceTurn_.restart();
        });
        timer_.start(0);
        sinceTurn_.start();
    }
    double takeMilliseconds() {
        const auto longest = std::max(longest_, sinceTurn_.nsecsElapsed());
        longest_ = 0;
        sinceTurn_.restart();
        return static_cast<double>(longest) / 1e6;
    }

private:
    QTimer timer_;
    QElapsedTimer sinceTurn_;
    qint64 longest_ = 0;
};

void require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "%s\n", what);
        std::exit(1);
    }
}

bool until(const std::function<bool()>& isDone) {
    return QTest::qWaitFor(isDone, 600'000);
}

void makeFolders(const std::string& root, int count) {
    require(mkdir(root.c_str(), 0700) == 0, "the folder could not be made");
    std::string inside;
    for (int number = 0; number < count; ++number) {
        if (number % 1'000 == 0) {
            inside = root + "/" + std::to_string(number / 1'000);
            require(mkdir(inside.c_str(), 0700) == 0, "mkdir");
        }
        require(mkdir((inside + "/folder-" + std::to_string(number)).c_str(), 0700) == 0, "mkdir");
    }
}

std::vector<FileNode::Pointer> lowestFolders(const FileNode& root) {
    std::vector<FileNode::Pointer> folders;
    for (const FileNode::Pointer& group : root.children()) {
        folders.insert(folders.end(), group->children().begin(), group->children().end());
    }
    return folders;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fputs("usage: see the head of benchmarks/removal/MarksBench.cpp\n", stderr);
        return 2;
    }
    const std::string folder = argv[1];
    const int count = std::atoi(argv[2]);
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    setenv("QT_QUICK_BACKEND", "software", 0);
    const QGuiApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QQuickStyle::setStyle(QStringLiteral("Basic"));
    require(mkdir(folder.c_str(), 0700) == 0, "the folder could not be made");
    makeFolders(folder + "/map", count);

    // 1. The window over a scan.
    larkfold::EventLoopQueue events;
    larkfold::UserDefaults defaults(folder + "/settings.json", events.queue());
    defaults.setBool("hasCompletedOnboarding", true);
    larkfold::Appearance appearance;
    appearance.setReducesMotion(true);
    larkfold::LarkfoldApp app(
        {.mainQueue = events.queue(),
         .defaults = defaults,
         .appearance = appearance,
         .permissions = {.probe = [] { return true; },
                         .confinement = [] { return larkfold::Confinement::none; }},
         .updates = larkfold::UpdateManager::Dependencies{.source = std::nullopt},
         .indexFileURL = folder + "/index/latest-scan.sqlite",
         .readCapacity =
             [](const std::string&) { return larkfold::VolumeCapacity{.total = 100, .available = 40}; },
         .cleanupHistoryURL = folder + "/history.json",
         .gate = allWent,
         .reveal = nullptr});
    QQmlApplicationEngine engine;
    engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
    engine.setInitialProperties({{QStringLiteral("app"), QVariant::fromValue(&app)}});
    engine.load(QUrl(QStringLiteral("qrc:/qt/qml/Larkfold/Shell/Main.qml")));
    require(!engine.rootObjects().isEmpty(), "no window");
    auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().first());
    window->resize(1400, 800);
    window->show();
    larkfold::MainView& view = *app.mainView();
    larkfold::DiskScannerViewModel& driver = *view.scannerViewModel();
    driver.scanFolder(folder + "/map");
    require(until([&] { return !driver.isScanning(); }) && driver.hasScanResult(), "no scan");
    QTest::qWait(500);

    // 2. Marks, a thousand for each turn of the loop.
    const auto nodes = lowestFolders(*driver.scanResult()->rootNode);
    Gaps gaps;
    QElapsedTimer time;
    time.start();
    std::size_t marked = 0;
    qint64 spent = 0;
    while (marked < nodes.size()) {
        QElapsedTimer turn;
        turn.start();
        for (int each = 0; each < 1'000 && marked < nodes.size(); ++each) {
            driver.toggleSelection(nodes[marked++]);
        }
        spent += turn.nsecsElapsed();
        QCoreApplication::processEvents();
    }
    const double seconds = static_cast<double>(time.nsecsElapsed()) / 1e9;
    const double inCalls = static_cast<double>(spent) / 1e9;
    require(driver.selectedForDeletion().size() == nodes.size(), "not everything is marked");
    const double markGap = gaps.takeMilliseconds();

    // 3. The review, until the list stands in it.
    time.restart();
    view.diskSpace()->review();
    require(until([&] { return view.removal()->review()->count() == static_cast<int>(nodes.size()); }),
            "no review");
    const double reviewSeconds = static_cast<double>(time.nsecsElapsed()) / 1e9;
    QTest::qWait(500);
    const double reviewGap = gaps.takeMilliseconds();

    // 4. The decision, and 5. the end, told apart by the first word of how far the removal is.
    double confirmGap = 0;
    bool hasEnded = false;
    QObject::connect(driver.removalRun(), &larkfold::RemovalRun::progressChanged, [&] {
        if (confirmGap == 0 && driver.removalRun()->progress().completed > 0) {
            confirmGap = gaps.takeMilliseconds();
        }
    });
    QObject::connect(driver.removalRun(), &larkfold::RemovalRun::finished, [&] { hasEnded = true; });
    view.removal()->review()->confirm();
    require(until([&] { return hasEnded; }), "no end");
    QTest::qWait(1'000);
    const double finishGap = gaps.takeMilliseconds();
    require(driver.selectedForDeletion().empty(), "something stayed marked");

    std::printf(
        "{\"marks\": %zu, \"seconds\": %.3f, \"secondsInCalls\": %.3f, \"marksPerSecond\": %.0f, "
        "\"longestGapMilliseconds\": {\"mark\": %.1f, \"review\": %.1f, \"confirm\": %.1f, \"finish\": "
        "%.1f}, "
        "\"reviewSeconds\": %.3f}\n",
        nodes.size(), seconds, inCalls, static_cast<double>(nodes.size()) / seconds, markGap, reviewGap,
        confirmGap, finishGap, reviewSeconds);
    return 0;
}
