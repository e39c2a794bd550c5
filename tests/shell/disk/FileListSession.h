// A driver over a real folder for the tests of the file list, with surroundings of its own.
#pragma once

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTest>
#include <memory>
#include <string>
#include <string_view>

#include "disk/DiskScannerViewModel.h"
#include "platform/UserDefaults.h"
#include "platform/qt/EventLoopQueue.h"
#include "shell/disk/FileListModel.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {

class FileListSession {
public:
    FileListSession()
        : defaults_(surroundings_.path("settings.json"), queue_.queue()),
          driver({.mainQueue = queue_.queue(),
                  .defaults = defaults_,
                  .indexFileURL = surroundings_.path("index/latest-scan.sqlite")}) {}

    // Scans and waits for the outcome; false where there is none.
    bool scan(const std::string& path) {
        driver.scanFolder(path);
        return QTest::qWaitFor([this] { return !driver.isScanning(); }, 60'000) && driver.hasScanResult();
    }

    // As if the scan had found more than it keeps: a summary beside the folder's entries.
    void addSummary(std::int64_t bytes, std::int64_t files) {
        const FileNode::Pointer root = driver.scanResult()->rootNode;
        root->appendChild(FileNode::makeAggregate(FileNode::SummaryOrigin::scan, bytes, files));
        root->recalculateSize();
        root->sortChildrenBySize();
        emit driver.scanResultChanged();
    }

private:
    TemporaryTree surroundings_;
    EventLoopQueue queue_;
    UserDefaults defaults_;

public:
    DiskScannerViewModel driver;
};

// What the suites of the list have before each test: a folder that is not scanned yet, so that each can add
// to it.
class FileListTest : public testing::Test {
protected:
    FileListTest() {
        tree.fileOfSize("photos/one.jpg", 60'000);
        tree.fileOfSize("photos/deep/two.jpg", 40'000);
        tree.fileOfSize("film.mov", 200'000);
        tree.fileOfSize("letter.pdf", 20'000);
    }

    TemporaryTree tree;
    FileListSession session;
};

inline int rowNamed(const FileListModel& model, std::string_view name) {
    for (int row = 0; row < model.count(); ++row) {
        if (model.node(row)->name() == name) {
            return row;
        }
    }
    return -1;
}

inline std::vector<std::string> namesOf(const FileListModel& model) {
    std::vector<std::string> names;
    for (int row = 0; row < model.count(); ++row) {
        names.emplace_back(model.node(row)->name());
    }
    return names;
}

inline QString textOf(const FileListModel& model, int row, FileListModel::Role role) {
    return model.data(model.index(row), role).toString();
}

}  // namespace larkfold::test
