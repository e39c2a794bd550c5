#include "shell/app/PermissionManager.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTest>
#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>

#include "platform/qt/EventLoopQueue.h"

namespace larkfold {
namespace {

struct Probe {
    std::atomic<bool> answer{false};
    std::atomic<bool> fails{false};
    std::atomic<int> calls{0};
    std::atomic<std::thread::id> thread;
};

class PermissionManagerTest : public testing::Test {
protected:
    std::unique_ptr<PermissionManager> make(Confinement confinement = Confinement::none) {
        auto probe = probe_;
        return std::make_unique<PermissionManager>(
            events_.queue(),
            PermissionManager::Dependencies{.probe =
                                                [probe] {
                                                    ++probe->calls;
                                                    probe->thread = std::this_thread::get_id();
                                                    if (probe->fails) {
                                                        throw std::runtime_error("probe");
                                                    }
                                                    return probe->answer.load();
                                                },
                                            .confinement = [confinement] { return confinement; }});
    }

    static bool settle(PermissionManager& manager) {
        return QTest::qWaitFor([&manager] { return !manager.isChecking(); }, 60'000);
    }

    std::shared_ptr<Probe> probe_ = std::make_shared<Probe>();
    EventLoopQueue events_;
};

TEST_F(PermissionManagerTest, probesOnceAtItsCreationAndOffTheMainThread) {
    probe_->answer = true;
    const auto manager = make();
    EXPECT_TRUE(manager->isChecking());
    EXPECT_FALSE(manager->hasFullDiskAccess());
    ASSERT_TRUE(settle(*manager));
    EXPECT_TRUE(manager->hasFullDiskAccess());
    EXPECT_EQ(probe_->calls, 1);
    EXPECT_NE(probe_->thread.load(), std::this_thread::get_id());
}

TEST_F(PermissionManagerTest, nobodyIsToldOfLimitsBeforeTheFirstAnswer) {
    const auto manager = make();
    EXPECT_FALSE(manager->isLimited());
    ASSERT_TRUE(settle(*manager));
    EXPECT_TRUE(manager->isLimited());
}

TEST_F(PermissionManagerTest, accessThatIsRevokedIsSeenAtTheNextCheck) {
    probe_->answer = true;
    const auto manager = make();
    ASSERT_TRUE(settle(*manager));
    probe_->answer = false;
    QSignalSpy changed(manager.get(), &PermissionManager::hasFullDiskAccessChanged);
    manager->checkFullDiskAccess();
    ASSERT_TRUE(settle(*manager));
    EXPECT_FALSE(manager->hasFullDiskAccess());
    EXPECT_EQ(changed.count(), 1);
}

TEST_F(PermissionManagerTest, aProbeThatFailsCountsAsNoAccess) {
    probe_->answer = true;
    const auto manager = make();
    ASSERT_TRUE(settle(*manager));
    ASSERT_TRUE(manager->hasFullDiskAccess());
    probe_->fails = true;
    manager->checkFullDiskAccess();
    ASSERT_TRUE(settle(*manager));
    EXPECT_FALSE(manager->hasFullDiskAccess());
}

TEST_F(PermissionManagerTest, aCheckDuringACheckAsksOnlyOnce) {
    const auto manager = make();
    manager->checkFullDiskAccess();
    manager->checkFullDiskAccess();
    ASSERT_TRUE(settle(*manager));
    EXPECT_EQ(probe_->calls, 1);
}

TEST_F(PermissionManagerTest, theSettingsButtonShowsTheGuideAndProbesNothing) {
    const auto manager = make();
    ASSERT_TRUE(settle(*manager));
    manager->openFullDiskAccessSettings();
    EXPECT_TRUE(manager->showSettingsGuide());
    EXPECT_FALSE(manager->isChecking());
    EXPECT_EQ(probe_->calls, 1);
}

TEST_F(PermissionManagerTest, theGuideNamesTheCommandOfTheConfinementFound) {
    const auto flatpak = make(Confinement::flatpak);
    EXPECT_TRUE(flatpak->settingsGuide().contains("Flatpak"));
    EXPECT_TRUE(flatpak->settingsCommand().startsWith("flatpak override --user --filesystem=home "));
    ASSERT_TRUE(settle(*flatpak));
    const auto snap = make(Confinement::snap);
    EXPECT_TRUE(snap->settingsGuide().contains("Snap"));
    EXPECT_EQ(snap->settingsCommand(), "sudo snap connect larkfold:home");
    ASSERT_TRUE(settle(*snap));
}

TEST_F(PermissionManagerTest, withoutConfinementTheGuideDependsOnWhetherTheHomeFolderCanBeListed) {
    const auto manager = make();
    ASSERT_TRUE(settle(*manager));
    EXPECT_EQ(manager->settingsCommand(), "chmod u+rwx \"$HOME\"");
    probe_->answer = true;
    manager->checkFullDiskAccess();
    ASSERT_TRUE(settle(*manager));
    EXPECT_TRUE(manager->settingsCommand().isEmpty());
    EXPECT_FALSE(manager->settingsGuide().isEmpty());
}

}  // namespace
}  // namespace larkfold
