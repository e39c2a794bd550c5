// A driver of the disk tab with a store of its own and an event loop, for the suites that try its halves.
#pragma once

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTest>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "disk/DiskScannerViewModel.h"
#include "platform/qt/EventLoopQueue.h"
#include "support/FolderMoments.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {

struct DiskDriver {
    DiskDriver() {
        if (QCoreApplication::instance() == nullptr) {
            static int count = 1;
            static char name[] = "disk_tests";
            static char* arguments[] = {name, nullptr};
            static QCoreApplication application(count, arguments);
        }
        events = std::make_unique<EventLoopQueue>();
        defaults = std::make_unique<UserDefaults>(store.path("settings.json"), events->queue());
    }

    // Where the index of these drivers lies.
    std::string index() const { return store.path("Larkfold/latest-scan.sqlite"); }
    DiskScannerViewModel::Dependencies dependencies() {
        return {.mainQueue = events->queue(), .defaults = *defaults, .indexFileURL = index()};
    }
    void makeDriver(DiskScannerViewModel::Dependencies with) {
        driver = std::make_unique<DiskScannerViewModel>(std::move(with));
    }

    static bool waitFor(const std::function<bool()>& isDone) { return QTest::qWaitFor(isDone, 60'000); }
    // Until the scan, restore or refresh under way has ended.
    void awaitEnd() {
        ASSERT_TRUE(waitFor([this] { return !driver->isScanning(); }));
    }
    void scan(const std::string& path) {
        awaitNextFolderMoment();  // what was made just now is no change since
        driver->scanFolder(path);
        awaitEnd();
        ASSERT_TRUE(driver->hasScanResult()) << driver->error().value_or("no error");
    }

    FileNode::Pointer root() const { return driver->scanResult()->rootNode; }
    static FileNode::Pointer childOf(const FileNode::Pointer& folder, std::string_view name) {
        for (const auto& node : folder->children()) {
            if (node->name() == name) {
                return node;
            }
        }
        return nullptr;
    }
    FileNode::Pointer node(std::string_view name) const { return childOf(root(), name); }

    TemporaryTree tree;
    TemporaryTree store;
    std::unique_ptr<EventLoopQueue> events;
    std::unique_ptr<UserDefaults> defaults;
    std::unique_ptr<DiskScannerViewModel> driver;
};

class DiskDriverFixture : public testing::Test, protected DiskDriver {};

}  // namespace larkfold::test
