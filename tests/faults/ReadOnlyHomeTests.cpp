// A home folder that cannot be written, as an ordinary user and through the driver: what the window would
// say.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "disk/DiskScannerViewModel.h"
#include "faults/IndexOracle.h"
#include "platform/UserDefaults.h"
#include "support/TemporaryTree.h"
#include "support/TestMainLoop.h"
#include "support/UnprivilegedUser.h"

namespace larkfold::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

struct Window {
    explicit Window(const std::string& home) : defaults(home + "/settings.json", loop.queue()) {}

    // Scans to the end and returns what `error` says.
    std::string scan(const std::string& folder) {
        driver.scanFolder(folder);
        EXPECT_TRUE(loop.runUntil([this] { return !driver.isScanning(); }));
        return driver.error().value_or("");
    }

    TestMainLoop loop;
    UserDefaults defaults;
    DiskScannerViewModel driver{
        {.mainQueue = loop.queue(), .defaults = defaults, .folderChooser = nullptr, .indexFileURL = {}}};
};

TEST(ReadOnlyHome, whereTheIndexesFolderCannotBeMade_theDriverSaysWhatAndWhy) {
    asUnprivilegedUser([](const std::string& home) {
        TemporaryTree tree;
        tree.file("root/file", "x");
        ASSERT_EQ(chmod(home.c_str(), 0500), 0);
        Window window(home);
        const std::string error = window.scan(tree.path("root"));
        EXPECT_THAT(error,
                    AllOf(StartsWith("“"), HasSubstr("could not be created: you do not have permission."),
                          HasSubstr(home)));
        EXPECT_TRUE(window.driver.isAccessProblem());
        EXPECT_FALSE(window.driver.hasScanResult());

        // And when it can be written again, the same window scans.
        ASSERT_EQ(chmod(home.c_str(), 0700), 0);
        EXPECT_EQ(window.scan(tree.path("root")), "");
        EXPECT_TRUE(window.driver.hasScanResult());
        EXPECT_TRUE(stands(DiskScannerViewModel::indexFileURL()));
    });
}

TEST(ReadOnlyHome, whereTheIndexCannotBeWritten_theDriverSaysSoAndTheEarlierOneStands) {
    asUnprivilegedUser([](const std::string& home) {
        TemporaryTree tree;
        tree.file("root/file", "x");
        Window window(home);
        ASSERT_EQ(window.scan(tree.path("root")), "");
        const std::string index = DiskScannerViewModel::indexFileURL();
        const std::string before = readBytes(index);
        const std::string folder = index.substr(0, index.rfind('/'));
        ASSERT_EQ(chmod(folder.c_str(), 0500), 0);
        tree.file("root/more", "y");
        EXPECT_THAT(window.scan(tree.path("root")), StartsWith("Scan index: "));
        EXPECT_FALSE(window.driver.hasScanResult());
        EXPECT_EQ(readBytes(index), before);
        ASSERT_EQ(chmod(folder.c_str(), 0700), 0);
        EXPECT_EQ(filesWithPrefix(folder, "scan-").size(), 0U);
        EXPECT_EQ(window.scan(tree.path("root")), "");
        EXPECT_NE(readBytes(index), before);
    });
}

}  // namespace
}  // namespace larkfold::test
