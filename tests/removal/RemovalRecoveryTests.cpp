#include "removal/RemovalRecovery.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "platform/ItemIdentities.h"
#include "platform/Path.h"
#include "removal/CleanupHistoryStore.h"
#include "removal/CleanupTexts.h"
#include "removal/FileDeleter.h"
#include "removal/RemovalJournal.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* staging = ".larkfold-removing-0123";

DurableIdentity identityOf(const std::string& path) {
    return itemIdentities({path}).front().value();
}

void write(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
    ASSERT_EQ(contentOf(path), bytes);
}

class RemovalRecoveryTest : public testing::Test {
protected:
    void SetUp() override {
        const char* value = std::getenv("HOME");
        oldHome = value == nullptr ? "" : value;
        home = tree.folder("home");
        setenv("HOME", home.c_str(), 1);
        unsetenv("XDG_DATA_HOME");
        tree.folder("home/.local/share/Trash/files");
        tree.folder("home/.local/share/Trash/info");
        tree.folder("data");
    }
    void TearDown() override { setenv("HOME", oldHome.c_str(), 1); }

    static RemovalJournalContent planOf(const std::vector<std::string>& paths, bool permanent) {
        RemovalJournalContent plan;
        plan.id = UUID::make();
        plan.startedAt = plan.lastChange = dateFromSecondsSince1970(1'764'000'000);
        plan.source = "Disk analysis";
        plan.permanent = permanent;
        plan.volumes = {{.path = "/", .before = 7, .after = {}}};
        plan.trashes = user_files::trashFolders({"/"});
        plan.items.resize(paths.size());
        for (std::size_t index = 0; index < paths.size(); ++index) {
            plan.items[index].path = paths[index];
            plan.items[index].identity = itemIdentities({paths[index]}).front();
            plan.items[index].stagingName = permanent ? staging : "";
        }
        return plan;
    }
    static RemovalJournalContent::Move moveOf(const std::string& path, const std::string& place) {
        return {.realPath = path, .identity = identityOf(path), .logicalBytes = 4, .place = place};
    }
    std::string journal(const std::string& bytes, const std::string& name = "1") {
        const std::string path = tree.path("data/cleanup-journal-" + name + ".jsonl");
        write(path, bytes);
        return path;
    }
    // A removal of `path` for good that ended after the item had been put aside.
    RemovalJournalContent putAside(const std::string& path, bool isBeingRemoved = false) {
        auto plan = planOf({path}, true);
        const std::string folder = joinedPath(std::string(parentPath(path)), staging);
        const std::string place = joinedPath(folder, lastPathComponent(path));
        const Date when = plan.lastChange + Seconds(3);
        std::string bytes = plan.plan() + RemovalJournalContent::lineOfMove(0, moveOf(path, place), when);
        if (isBeingRemoved) {
            bytes += RemovalJournalContent::lineOfRemoval(0, when);
        }
        fs::create_directory(folder);
        chmod(folder.c_str(), 0700);
        fs::rename(path, place);
        journal(bytes);
        return plan;
    }
    std::string aside(const std::string& name) const {
        return tree.path("files/" + std::string(staging) + "/" + name);
    }
    RemovalRecovery::Report recover() { return RemovalRecovery(history).recover({}); }
    CleanupOperation::Item onlyItem() const { return history.load().at(0).items.at(0); }
    std::vector<std::string> journals() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(tree.path("data"))) {
            if (entry.path().extension() == ".jsonl") {
                names.push_back(entry.path().filename().string());
            }
        }
        return names;
    }

    TemporaryTree tree;
    std::string home;
    std::string oldHome;
    CleanupHistoryStore history{tree.path("data/cleanup-history.json")};
};

// --- What is told

TEST_F(RemovalRecoveryTest, withoutAJournal_nothingIsRecordedAndNothingMade) {
    const auto report = recover();
    EXPECT_THAT(report.problems, IsEmpty());
    EXPECT_THAT(report.leftovers, IsEmpty());
    EXPECT_FALSE(fs::exists(history.url()));
}

TEST_F(RemovalRecoveryTest, aJournal_becomesTheOperationOfItsRun) {
    const std::string file = tree.file("files/a", "0123");
    const auto plan = planOf({file}, false);
    journal(plan.plan());
    EXPECT_EQ(recover().recordedCount, 1U);
    ASSERT_THAT(history.load(), SizeIs(1));
    const CleanupOperation operation = history.load().front();
    EXPECT_EQ(operation.id, plan.id);
    EXPECT_EQ(operation.startedAt, plan.startedAt);
    EXPECT_EQ(operation.finishedAt, plan.startedAt);
    EXPECT_EQ(operation.source, plan.source);
    EXPECT_FALSE(operation.permanent);
    EXPECT_THAT(operation.volumes, ElementsAre(plan.volumes.front()));
    EXPECT_EQ(onlyItem().error, cleanup_texts::interruptedInPlace());
    EXPECT_THAT(journals(), IsEmpty());
    EXPECT_EQ(contentOf(file), "0123");
}

TEST_F(RemovalRecoveryTest, aRunThatTheHistoryHas_isNotRecordedTwice) {
    const auto plan = planOf({tree.file("files/a")}, false);
    CleanupOperation operation;
    operation.id = plan.id;
    operation.source = "its own";
    operation.items = {{.originalPath = "/x", .trashPath = {}, .logicalBytes = {}, .error = {}}};
    history.append(operation);
    journal(plan.plan());
    recover();
    EXPECT_THAT(history.load(), ElementsAre(operation));
    EXPECT_THAT(journals(), IsEmpty());
}

TEST_F(RemovalRecoveryTest, anotherFileOfItsName_isNotTheItem) {
    const std::string file = tree.file("files/a", "0123");
    journal(planOf({file}, false).plan());
    fs::rename(file, tree.path("files/kept"));
    tree.file("files/a", "another");
    recover();
    EXPECT_EQ(onlyItem().error, cleanup_texts::interruptedNotFound());
}

// What a machine that failed left of the journal is the plan alone.
TEST_F(RemovalRecoveryTest, withoutAMove_theItemIsFoundInTrashByWhatItIsAndItsNote) {
    const std::string file = tree.file("files/a b", "0123");
    journal(planOf({file}, false).plan());
    const std::string place = tree.path("home/.local/share/Trash/files/a b.2");
    fs::rename(file, place);
    tree.file("home/.local/share/Trash/files/a b", "another");
    std::string encoded = file;
    encoded.replace(encoded.find(' '), 1, "%20");
    tree.file("home/.local/share/Trash/info/a b.2.trashinfo",
              "[Trash Info]\nPath=" + encoded + "\nDeletionDate=2026-01-01T00:00:00\n");
    recover();
    EXPECT_EQ(onlyItem().trashPath, place);
    EXPECT_FALSE(onlyItem().error);
}

TEST_F(RemovalRecoveryTest, withANoteOfSomethingElse_itIsNotToldAsTrashed) {
    const std::string file = tree.file("files/a", "0123");
    journal(planOf({file}, false).plan());
    const std::string place = tree.path("home/.local/share/Trash/files/a");
    fs::rename(file, place);
    tree.file("home/.local/share/Trash/info/a.trashinfo",
              "[Trash Info]\nPath=" + file + "x\nDeletionDate=2026-01-01T00:00:00\n");
    recover();
    EXPECT_EQ(onlyItem().error, cleanup_texts::interruptedWithoutNote(place));
    EXPECT_FALSE(onlyItem().trashPath);
}

TEST_F(RemovalRecoveryTest, whatIsNowhere_isToldAsGoneOnlyWhereItWasAboutToGo) {
    const std::string file = tree.file("files/a", "0123");
    putAside(file);
    fs::remove(aside("a"));
    recover();
    EXPECT_EQ(onlyItem().error, cleanup_texts::interruptedNotFound());
    history.clear();
    const std::string other = tree.file("files/a", "0123");
    putAside(other, true);
    fs::remove(aside("a"));
    recover();
    EXPECT_FALSE(onlyItem().error);
    EXPECT_EQ(onlyItem().logicalBytes, 4);
    // The private folder, which was empty, went.
    EXPECT_FALSE(fs::exists(tree.path("files/" + std::string(staging))));
}

TEST_F(RemovalRecoveryTest, aFolderThatIsNotThere_isNotTakenForAnAnswer) {
    const std::string file = tree.file("files/a", "0123");
    putAside(file, true);
    fs::rename(tree.path("files"), tree.path("unplugged"));
    EXPECT_THAT(recover().leftovers, IsEmpty());
    EXPECT_EQ(onlyItem().error, cleanup_texts::interruptedUnreachable());
    // When it is back, what lies there is offered, and nothing is told a second time.
    fs::rename(tree.path("unplugged"), tree.path("files"));
    EXPECT_THAT(recover().leftovers, SizeIs(1));
    EXPECT_THAT(history.load(), SizeIs(1));
}

TEST_F(RemovalRecoveryTest, withoutAnIdentity_nothingIsClaimed) {
    const std::string file = tree.file("files/a", "0123");
    auto plan = planOf({file}, false);
    plan.items[0].identity.reset();
    journal(plan.plan());
    recover();
    EXPECT_EQ(onlyItem().error, cleanup_texts::interruptedUnknown());
}

TEST_F(RemovalRecoveryTest, throughALinkToItsFolder_theItemIsFound) {
    tree.file("real/a", "0123");
    tree.link("files", "real");
    journal(planOf({tree.path("files/a")}, false).plan());
    recover();
    EXPECT_EQ(onlyItem().error, cleanup_texts::interruptedInPlace());
}

// --- Journals

TEST_F(RemovalRecoveryTest, aJournalThatSomebodyHolds_isLeftAlone) {
    const std::string path = journal(planOf({tree.file("files/a")}, false).plan());
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(file, LOCK_EX | LOCK_NB), 0);
    EXPECT_EQ(recover().recordedCount, 0U);
    RemovalRecovery(history).forget();
    EXPECT_THAT(journals(), SizeIs(1));
    EXPECT_THAT(history.load(), IsEmpty());
    close(file);
    EXPECT_EQ(recover().recordedCount, 1U);
    EXPECT_THAT(journals(), IsEmpty());
}

TEST_F(RemovalRecoveryTest, aPlanThatIsNotWhole_goesWithoutARecord) {
    const std::string plan = planOf({tree.file("files/a")}, false).plan();
    journal(plan.substr(0, plan.size() - 1), "1");
    journal("", "2");
    EXPECT_EQ(recover().recordedCount, 0U);
    EXPECT_THAT(journals(), IsEmpty());
    EXPECT_THAT(history.load(), IsEmpty());
}

TEST_F(RemovalRecoveryTest, aDamagedJournal_isToldAndLeft_untilTheHistoryIsCleared) {
    std::string bytes = planOf({tree.file("files/a")}, false).plan();
    bytes[bytes.size() / 2] ^= 1;
    const std::string path = journal(bytes);
    EXPECT_THAT(recover().problems, ElementsAre(cleanup_texts::journalDamaged(path)));
    EXPECT_EQ(contentOf(path), bytes);
    EXPECT_THAT(history.load(), IsEmpty());
    RemovalRecovery(history).forget();
    EXPECT_THAT(journals(), IsEmpty());
}

TEST_F(RemovalRecoveryTest, besideADamagedHistory_theJournalWaits) {
    journal(planOf({tree.file("files/a")}, false).plan());
    tree.file("data/cleanup-history.json", "damaged");
    EXPECT_THAT(recover().problems, ElementsAre(HasSubstr("could not be added to the history")));
    EXPECT_THAT(journals(), SizeIs(1));
    EXPECT_EQ(contentOf(history.url()), "damaged");
    history.clear();
    EXPECT_EQ(recover().recordedCount, 1U);
}

// --- What lies aside

TEST_F(RemovalRecoveryTest, whatLiesAside_isOfferedAtEachStart_andToldOnce) {
    const std::string file = tree.file("files/a", "0123");
    const auto plan = putAside(file);
    for (int start = 0; start < 3; ++start) {
        const auto report = recover();
        ASSERT_THAT(report.leftovers, SizeIs(1));
        EXPECT_EQ(report.leftovers.front().item.originalPath, file);
        EXPECT_EQ(report.leftovers.front().item.path, aside("a"));
        EXPECT_FALSE(report.leftovers.front().maybePart);
        EXPECT_EQ(report.recordedCount, start == 0 ? 1U : 0U);
    }
    ASSERT_THAT(history.load(), SizeIs(1));
    EXPECT_EQ(history.load().front().finishedAt, plan.startedAt + Seconds(3));
    EXPECT_EQ(onlyItem().error, cleanup_texts::interruptedRestsAt(aside("a"), false));
    EXPECT_EQ(contentOf(aside("a")), "0123");
}

TEST_F(RemovalRecoveryTest, whatIsRestored_isInItsPlace_andNothingIsLeft) {
    const std::string folder = tree.folder("files/tree");
    tree.file("files/tree/inner/a", "0123");
    tree.file("files/beside", "beside");
    putAside(folder, true);
    const auto report = recover();
    ASSERT_THAT(report.leftovers, SizeIs(1));
    EXPECT_TRUE(report.leftovers.front().maybePart);
    EXPECT_EQ(RemovalRecovery(history).restore(report.leftovers.front()), std::nullopt);
    EXPECT_EQ(contentOf(tree.path("files/tree/inner/a")), "0123");
    EXPECT_EQ(contentOf(tree.path("files/beside")), "beside");
    EXPECT_FALSE(fs::exists(tree.path("files/" + std::string(staging))));
    EXPECT_THAT(journals(), IsEmpty());
}

TEST_F(RemovalRecoveryTest, whereTheNameIsTaken_nothingIsReplaced) {
    const std::string file = tree.file("files/a", "0123");
    putAside(file);
    const auto report = recover();
    tree.file("files/a", "new");
    EXPECT_EQ(RemovalRecovery(history).restore(report.leftovers.at(0)),
              cleanup_texts::asideNameTaken(file, aside("a")));
    EXPECT_EQ(contentOf(file), "new");
    EXPECT_EQ(contentOf(aside("a")), "0123");
    EXPECT_THAT(journals(), SizeIs(1));
}

TEST_F(RemovalRecoveryTest, whatIsAnotherItemByNow_isNotMoved) {
    putAside(tree.file("files/a", "0123"));
    const auto report = recover();
    fs::rename(aside("a"), tree.path("files/kept"));
    tree.file("files/" + std::string(staging) + "/a", "another");
    EXPECT_EQ(RemovalRecovery(history).restore(report.leftovers.at(0)), cleanup_texts::asideChanged());
    EXPECT_FALSE(fs::exists(tree.path("files/a")));
    EXPECT_EQ(contentOf(aside("a")), "another");
}

TEST_F(RemovalRecoveryTest, aFolderThatOthersMayEnter_orALinkToOne_isNoPrivateFolder) {
    const std::string file = tree.file("files/a", "0123");
    putAside(file);
    const std::string folder = tree.path("files/" + std::string(staging));
    chmod(folder.c_str(), 0750);
    EXPECT_THAT(recover().leftovers, IsEmpty());
    chmod(folder.c_str(), 0700);
    fs::rename(folder, tree.path("elsewhere"));
    tree.link("files/" + std::string(staging), "../elsewhere");
    putAside(tree.file("other/a", "x"));  // the journal anew, beside another folder
    EXPECT_THAT(recover().leftovers, SizeIs(1));
    EXPECT_EQ(contentOf(tree.path("elsewhere/a")), "0123");
}

TEST_F(RemovalRecoveryTest, aPrivateFolderWithSomethingElseInIt_stays) {
    const std::string file = tree.file("files/a", "0123");
    putAside(file, true);
    fs::rename(aside("a"), aside("another name"));
    recover();
    EXPECT_EQ(contentOf(aside("another name")), "0123");
}

// In a folder that hands its group on, the private one does so too, and is closed all the same.
TEST_F(RemovalRecoveryTest, aPrivateFolderThatHandsItsGroupOn_counts) {
    putAside(tree.file("files/a", "0123"));
    ASSERT_EQ(chmod(tree.path("files/" + std::string(staging)).c_str(), 02700), 0);
    EXPECT_THAT(recover().leftovers, SizeIs(1));
}

// The way on a disk that has no room for a folder.
TEST_F(RemovalRecoveryTest, anItemUnderThePrivateName_isOfferedAndRestored) {
    const std::string file = tree.file("files/a", "0123");
    const std::string place = tree.path("files/" + std::string(staging));
    auto plan = planOf({file}, true);
    journal(plan.plan() + RemovalJournalContent::lineOfMove(0, moveOf(file, place), plan.startedAt));
    fs::rename(file, place);
    const auto report = recover();
    ASSERT_THAT(report.leftovers, SizeIs(1));
    EXPECT_EQ(report.leftovers.front().item.path, place);
    EXPECT_EQ(RemovalRecovery(history).restore(report.leftovers.front()), std::nullopt);
    EXPECT_EQ(contentOf(file), "0123");
}

TEST_F(RemovalRecoveryTest, clearingTheHistory_keepsOnlyTheJournalByWhichSomethingIsFound) {
    putAside(tree.file("files/a", "0123"));
    journal(planOf({tree.file("files/b")}, false).plan(), "2");
    RemovalRecovery(history).forget();
    EXPECT_THAT(journals(), ElementsAre("cleanup-journal-1.jsonl"));
    // It is still offered, and does not come into the history that was cleared.
    EXPECT_THAT(recover().leftovers, SizeIs(1));
    EXPECT_THAT(history.load(), IsEmpty());
}

TEST_F(RemovalRecoveryTest, aLineThatWasCutShort_isDroppedBeforeAnotherIsWritten) {
    putAside(tree.file("files/a", "0123"));
    const std::string path = tree.path("data/cleanup-journal-1.jsonl");
    write(path, contentOf(path) + "0123abcd {\"event\":\"end");
    EXPECT_THAT(recover().leftovers, SizeIs(1));
    const auto again = recover();
    EXPECT_THAT(again.problems, IsEmpty());
    EXPECT_THAT(again.leftovers, SizeIs(1));
}

// --- The run

TEST_F(RemovalRecoveryTest, aRun_leavesNoJournal_andOneThatIsRecordedNowhereStays) {
    const auto run = [this](const std::string& file) {
        FileDeleter gate(&history, [] { return std::vector<RunningApplication>(); });
        return gate.deleteItems({.urls = {file},
                                 .permanently = true,
                                 .allowedRoots = {FileDeleter::AllowedRoot::at(tree.path("files"))},
                                 .duplicateVerifications = {},
                                 .source = "Test",
                                 .protectRunningApplications = false},
                                nullptr, {});
    };
    EXPECT_FALSE(run(tree.file("files/a")).historyError);
    EXPECT_THAT(journals(), IsEmpty());
    write(history.url(), "damaged");
    const auto unrecorded = run(tree.file("files/b", "0123"));
    EXPECT_TRUE(unrecorded.historyError);
    EXPECT_THAT(unrecorded.failedDeletions, IsEmpty());
    ASSERT_THAT(journals(), SizeIs(1));
    struct stat values{};
    ASSERT_EQ(stat(tree.path("data/" + journals().front()).c_str(), &values), 0);
    EXPECT_EQ(values.st_mode & 07777U, 0600U);
    history.clear();
    recover();
    ASSERT_THAT(history.load(), SizeIs(1));
    EXPECT_EQ(history.load().front().id, unrecorded.operation.id);
    EXPECT_FALSE(onlyItem().error);
}

}  // namespace
}  // namespace larkfold::test
