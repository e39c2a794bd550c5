// An item that is held, without the gate around it: what it tells of itself, and what becomes of a note that
// was prepared for it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/OwnFiles.h"
#include "platform/UserFiles.h"
#include "support/TemporaryTree.h"

namespace larkfold::user_files {
namespace {

namespace fs = std::filesystem;
using test::contentOf;
using test::TemporaryTree;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* itemsNote = "item.trashinfo";

// Which names came into a folder, however shortly they stood there.
class Arrivals {
public:
    explicit Arrivals(const std::string& folder) : descriptor_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        EXPECT_GE(inotify_add_watch(descriptor_, folder.c_str(), IN_CREATE), 0);
    }
    ~Arrivals() { close(descriptor_); }
    Arrivals(const Arrivals&) = delete;
    Arrivals& operator=(const Arrivals&) = delete;

    std::vector<std::string> names() const {
        std::vector<std::string> found;
        alignas(inotify_event) std::array<char, 4096> bytes;
        for (ssize_t count; (count = read(descriptor_, bytes.data(), bytes.size())) > 0;) {
            for (std::size_t at = 0; at < static_cast<std::size_t>(count);) {
                inotify_event event{};
                std::memcpy(&event, bytes.data() + at, sizeof event);
                found.emplace_back(bytes.data() + at + sizeof event);
                at += sizeof event + event.len;
            }
        }
        return found;
    }

private:
    int descriptor_;
};

// With a home folder of its own, whose Trash is there already.
class HeldItemTest : public testing::Test {
protected:
    void SetUp() override {
        for (const char* name : {"HOME", "XDG_DATA_HOME"}) {
            const char* value = std::getenv(name);
            old_[name] = value == nullptr ? "" : value;
        }
        setenv("HOME", home.c_str(), 1);
        unsetenv("XDG_DATA_HOME");
        files = tree.folder("home/.local/share/Trash/files");
        info = tree.folder("home/.local/share/Trash/info");
    }
    void TearDown() override {
        for (const auto& [name, value] : old_) {
            value.empty() ? unsetenv(name.c_str()) : setenv(name.c_str(), value.c_str(), 1);
        }
    }

    Session session() const {
        return Session({{.path = tree.root(), .identity = DurableIdentity::ofFolder(tree.root())}});
    }
    static HeldItem hold(Session& session, const std::string& path) {
        return HeldItem::hold(session, path, [](const std::string&) { return true; });
    }
    std::vector<std::string> notes() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(info)) {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }

    TemporaryTree tree;
    std::string home = tree.folder("home");
    std::string files;
    std::string info;

private:
    std::map<std::string, std::string> old_;
};

// --- The note that is prepared

TEST_F(HeldItemTest, letGoWithANotePrepared_takesItAwayAndNothingElse) {
    const std::string item = tree.folder("home/item");
    tree.file("home/item/inside", "precious");
    tree.file("home/.local/share/Trash/info/other.trashinfo", "theirs");
    const Arrivals arrivals(info);
    {
        Session run = session();
        HeldItem held = hold(run, item);
        held.prepareTrash();
    }
    EXPECT_THAT(arrivals.names(), testing::Contains(itemsNote)) << "it was written";
    EXPECT_THAT(notes(), ElementsAre("other.trashinfo"));
    EXPECT_EQ(contentOf(tree.path("home/item/inside")), "precious");
    EXPECT_TRUE(fs::is_empty(files));
}

TEST_F(HeldItemTest, preparedTwice_goesWithOneNote) {
    const std::string item = tree.folder("home/item");
    tree.file("home/item/inside", "content");
    const Arrivals arrivals(info);
    {
        Session run = session();
        HeldItem held = hold(run, item);
        held.prepareTrash();
        held.prepareTrash();
        EXPECT_EQ(held.putIntoTrash(held.measure({}), {}, {}), files + "/item");
    }
    EXPECT_THAT(arrivals.names(), ElementsAre(itemsNote));
    EXPECT_THAT(notes(), ElementsAre(itemsNote));
    EXPECT_EQ(contentOf(files + "/item/inside"), "content");
    EXPECT_FALSE(own_files::exists(item));
}

TEST_F(HeldItemTest, whosePreparedNameIsTaken_goesUnderAnother) {
    const std::string item = tree.folder("home/item");
    tree.file("home/item/inside", "content");
    tree.file(std::string("home/.local/share/Trash/info/") + itemsNote, "another's");
    std::string went;
    {
        Session run = session();
        HeldItem held = hold(run, item);
        held.prepareTrash();
        went = held.putIntoTrash(held.measure({}), {}, {});
    }
    EXPECT_NE(went, files + "/item");
    EXPECT_EQ(contentOf(went + "/inside"), "content");
    EXPECT_EQ(contentOf(info + "/" + itemsNote), "another's");
    EXPECT_TRUE(own_files::exists(info + went.substr(files.size()) + ".trashinfo"));
    EXPECT_EQ(notes().size(), 2U);
}

TEST_F(HeldItemTest, thatLiesInTrash_getsNoSecondNoteAndStays) {
    const std::string item = tree.folder("home/.local/share/Trash/files/item");
    tree.file("home/.local/share/Trash/files/item/inside", "content");
    tree.file(std::string("home/.local/share/Trash/info/") + itemsNote, "its own");
    const Arrivals arrivals(info);
    {
        Session run = session();
        HeldItem held = hold(run, item);
        held.prepareTrash();
        EXPECT_THROW(held.putIntoTrash({}, {}, {}), Refusal);
    }
    EXPECT_THAT(arrivals.names(), IsEmpty());
    EXPECT_EQ(contentOf(info + "/" + itemsNote), "its own");
    EXPECT_EQ(contentOf(item + "/inside"), "content");
}

// --- What it tells of itself

TEST_F(HeldItemTest, thatWasNotHashed_isNotKnownToBeUnchanged) {
    const std::string item = tree.file("home/item", "content");
    Session run = session();
    HeldItem held = hold(run, item);
    EXPECT_FALSE(held.isUnchangedSinceHash());
    held.sha256({});
    EXPECT_TRUE(held.isUnchangedSinceHash());
}

TEST_F(HeldItemTest, whoseSizeChanged_isNotUnchanged) {
    const std::string item = tree.file("home/item", "content");
    Session run = session();
    HeldItem held = hold(run, item);
    held.sha256({});
    fs::resize_file(item, 3);
    EXPECT_FALSE(held.isUnchangedSinceHash());
    EXPECT_EQ(contentOf(item), "con");
}

// Its content is what it was as far as its own times tell: the system's note of a change is another.
TEST_F(HeldItemTest, whoseRightsChanged_isNotUnchanged) {
    const std::string item = tree.file("home/item", "content");
    Session run = session();
    HeldItem held = hold(run, item);
    held.sha256({});
    struct stat before{};
    ASSERT_EQ(stat(item.c_str(), &before), 0);
    // The clock of a file system moves in steps.
    struct stat now = before;
    while (now.st_ctim.tv_sec == before.st_ctim.tv_sec && now.st_ctim.tv_nsec == before.st_ctim.tv_nsec) {
        ASSERT_EQ(chmod(item.c_str(), 0600), 0);
        ASSERT_EQ(stat(item.c_str(), &now), 0);
    }
    ASSERT_EQ(now.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
    EXPECT_FALSE(held.isUnchangedSinceHash());
}

TEST_F(HeldItemTest, ofWhichNobodyKeepsARecord_goesAllTheSame) {
    const std::string item = tree.file("home/item", "content");
    tree.file("home/other", "stays");
    Session run = session();
    EXPECT_EQ(hold(run, item).putIntoTrash({}, {}, {}), files + "/item");
    EXPECT_EQ(contentOf(files + "/item"), "content");
    EXPECT_THAT(notes(), ElementsAre(itemsNote));
    EXPECT_EQ(contentOf(tree.path("home/other")), "stays");
}

// --- Roots

TEST_F(HeldItemTest, inARootOfWhichNothingWasKnown_isNotHeld) {
    const std::string item = tree.file("home/item", "content");
    Session run({{.path = tree.root(), .identity = std::nullopt}});
    EXPECT_THAT(run.roots(), IsEmpty());
    EXPECT_THROW(hold(run, item), Refusal);
    EXPECT_EQ(contentOf(item), "content");
}

TEST_F(HeldItemTest, inARootThatLeadsNowhereByNow_isNotHeld) {
    const std::string item = tree.file("root/item", "content");
    const Root chosen{.path = tree.path("root"), .identity = DurableIdentity::ofFolder(tree.path("root"))};
    fs::rename(tree.path("root"), tree.path("before"));
    tree.link("root", tree.path("root"));
    Session run({chosen});
    EXPECT_THAT(run.roots(), IsEmpty());
    EXPECT_THROW(hold(run, item), Refusal);
    EXPECT_EQ(contentOf(tree.path("before/item")), "content");
}

TEST_F(HeldItemTest, inARootThatIsAnotherFolderByNow_isNotHeld) {
    tree.file("root/item", "the one that was chosen");
    const Root chosen{.path = tree.path("root"), .identity = DurableIdentity::ofFolder(tree.path("root"))};
    {
        Session run({chosen});
        EXPECT_THAT(run.roots(), ElementsAre(tree.path("root")));
    }
    fs::rename(tree.path("root"), tree.path("before"));
    tree.file("root/item", "another one");
    Session run({chosen});
    EXPECT_THAT(run.roots(), IsEmpty());
    EXPECT_THROW(hold(run, tree.path("root/item")), Refusal);
    EXPECT_EQ(contentOf(tree.path("root/item")), "another one");
    EXPECT_EQ(contentOf(tree.path("before/item")), "the one that was chosen");
}

}  // namespace
}  // namespace larkfold::user_files
