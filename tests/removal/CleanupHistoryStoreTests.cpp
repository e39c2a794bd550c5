#include "removal/CleanupHistoryStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <limits>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/Error.h"
#include "platform/FileLock.h"
#include "platform/OwnFiles.h"
#include "platform/StandardFolders.h"
#include "support/Places.h"
#include "support/TemporaryTree.h"
#include "support/UnprivilegedUser.h"

namespace larkfold::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr const char* firstID = "4B1E36E2-0A1C-4B2E-9E52-6C0F5D6D2F01";
constexpr const char* secondID = "D2A1F0C4-3B5E-4D6F-8A7B-9C0D1E2F3A4B";

void write(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
    ASSERT_EQ(contentOf(path), bytes);
}

unsigned permissionsOf(const std::string& path) {
    struct stat values{};
    EXPECT_EQ(stat(path.c_str(), &values), 0);
    return values.st_mode & 07777U;
}

CleanupOperation operation(const UUID& id = UUID::make()) {
    return {.id = id,
            .startedAt = dateFromSecondsSince1970(1'764'000'000.25),
            .finishedAt = dateFromSecondsSince1970(1'764'000'001.5),
            .source = "Map",
            .permanent = false,
            .items = {{.originalPath = "/home/ada/film.mkv",
                       .trashPath = "/home/ada/.local/share/Trash/files/film.mkv",
                       .logicalBytes = 4'096,
                       .error = {}}},
            .volumes = {{.path = "/", .before = 1'000, .after = 2'000}}};
}

// One of everything that a record may hold.
std::vector<CleanupOperation> everyKind() {
    CleanupOperation trashed = operation(*UUID::parse(firstID));
    trashed.items.push_back({.originalPath = "/home/ada/\"quoted\"\nnäme",
                             .trashPath = {},
                             .logicalBytes = {},
                             .error = "“näme” could not be removed: you do not have permission."});
    trashed.items.push_back({.originalPath = "/home/ada/\xFF\xFE raw",
                             .trashPath = "/home/ada/.local/share/Trash/files/\xFF\xFE raw",
                             .logicalBytes = 0,
                             .error = {}});
    trashed.volumes.push_back({.path = "/mnt/\xC3", .before = {}, .after = 5});
    CleanupOperation permanent{.id = *UUID::parse(secondID),
                               .startedAt = dateFromSecondsSince1970(978'307'200),
                               .finishedAt = dateFromSecondsSince1970(978'307'200 + 1.0 / 1024),
                               .source = "",
                               .permanent = true,
                               .items = {{.originalPath = "/home/ada/cache",
                                          .trashPath = {},
                                          .logicalBytes = std::numeric_limits<std::int64_t>::max(),
                                          .error = {}}},
                               .volumes = {}};
    return {trashed, permanent};
}

class CleanupHistoryStoreTest : public testing::Test {
protected:
    // The file with `bytes` as they are.
    void put(const std::string& bytes) {
        tree.folder("Larkfold");
        write(file, bytes);
    }

    void appendAndExpectUntouched() {
        const std::string before = contentOf(file);
        EXPECT_THROW(store.append(operation()), Error);
        EXPECT_EQ(contentOf(file), before);
    }

    TemporaryTree tree;
    std::string file = tree.path("Larkfold/cleanup-history.json");
    int changes = 0;
    CleanupHistoryStore store{file, [this] { ++changes; }};
};

TEST_F(CleanupHistoryStoreTest, withoutAPlace_liesAmongTheUsersApplicationData) {
    EXPECT_EQ(CleanupHistoryStore().url(), applicationSupportDirectory() + "/Larkfold/cleanup-history.json");
}

TEST_F(CleanupHistoryStoreTest, aMissingFile_isAnEmptyHistoryAndMakesNothing) {
    EXPECT_THAT(store.load(), IsEmpty());
    EXPECT_FALSE(own_files::exists(tree.path("Larkfold")));
    EXPECT_EQ(changes, 0);
}

TEST_F(CleanupHistoryStoreTest, theFirstAppend_makesTheFolderAndTheFile) {
    const CleanupOperation first = operation();
    store.append(first);
    EXPECT_THAT(store.load(), ElementsAre(first));
    EXPECT_EQ(permissionsOf(file), 0600U);
    EXPECT_EQ(changes, 1);
}

TEST_F(CleanupHistoryStoreTest, theNewestComesFirst) {
    const CleanupOperation first = operation();
    const CleanupOperation second = operation();
    store.append(first);
    store.append(second);
    EXPECT_THAT(store.load(), ElementsAre(second, first));
}

TEST_F(CleanupHistoryStoreTest, the101stAppend_dropsTheOldest) {
    std::vector<CleanupOperation> operations;
    for (int number = 0; number < 101; ++number) {
        operations.push_back(operation());
        store.append(operations.back());
    }
    const std::vector<CleanupOperation> kept = store.load();
    ASSERT_THAT(kept, SizeIs(100));
    EXPECT_TRUE(std::equal(kept.begin(), kept.end(), operations.rbegin()));
}

TEST_F(CleanupHistoryStoreTest, theForm_isThatOfTheGoldenFile) {
    const std::vector<CleanupOperation> operations = everyKind();
    store.append(operations[1]);
    store.append(operations[0]);
    // The golden file ends in a line break, as a text file does; the history itself has none.
    const std::string golden = contentOf(sourceFile("tests/removal/golden/cleanup-history.json"));
    EXPECT_EQ(contentOf(file) + "\n", golden);
    put(golden);
    EXPECT_EQ(store.load(), operations);
}

TEST_F(CleanupHistoryStoreTest, whatIsAbsent_isLeftOut) {
    store.append(everyKind()[1]);
    EXPECT_THAT(contentOf(file), Not(HasSubstr("trashPath")));
    EXPECT_THAT(contentOf(file), Not(HasSubstr("null")));
    EXPECT_THAT(contentOf(file), Not(HasSubstr("Bytes\":\"")));
}

TEST_F(CleanupHistoryStoreTest, dates_surviveExactly) {
    CleanupOperation exact = operation();
    for (const double seconds : {1'764'000'000.0, 978'307'200.0, 978'307'201.1, 1'764'123'456.789012,
                                 std::nextafter(2'000'000'000.0, 0.0), 4'102'444'800.123}) {
        exact.startedAt = exact.finishedAt = dateFromSecondsSince1970(seconds);
        store.append(exact);
        store.append(operation());  // read and written once more
        EXPECT_EQ(secondsSince1970(store.load()[1].startedAt), seconds);
    }
    exact.startedAt = exact.finishedAt = now();
    store.append(exact);
    EXPECT_EQ(store.load()[0], exact);
}

TEST_F(CleanupHistoryStoreTest, aDateThatIsNoNumber_isRefusedBeforeAnythingIsWritten) {
    store.append(operation());
    CleanupOperation odd = operation();
    odd.finishedAt = dateFromSecondsSince1970(std::numeric_limits<double>::infinity());
    const std::string before = contentOf(file);
    EXPECT_THROW(store.append(odd), Error);
    EXPECT_EQ(contentOf(file), before);
}

TEST_F(CleanupHistoryStoreTest, namesOfAnyBytes_comeBackByteForByte) {
    CleanupOperation names = operation();
    names.items.clear();
    for (int byte = 1; byte < 256; ++byte) {
        const std::string name(1, static_cast<char>(byte));
        names.items.push_back({.originalPath = "/" + name + name,
                               .trashPath = "/Trash/" + name,
                               .logicalBytes = byte,
                               .error = {}});
        names.volumes.push_back({.path = "/mnt/" + name, .before = -byte, .after = byte});
    }
    store.append(names);
    EXPECT_THAT(store.load(), ElementsAre(names));
}

TEST_F(CleanupHistoryStoreTest, sizes_reachToTheEndsOfTheirType) {
    CleanupOperation sizes = operation();
    sizes.items[0].logicalBytes = std::numeric_limits<std::int64_t>::min();
    sizes.volumes[0].before = std::numeric_limits<std::int64_t>::max();
    store.append(sizes);
    EXPECT_THAT(store.load(), ElementsAre(sizes));
}

TEST_F(CleanupHistoryStoreTest, clear_leavesAnEmptyHistory) {
    store.append(operation());
    store.clear();
    EXPECT_EQ(contentOf(file), "[]");
    EXPECT_THAT(store.load(), IsEmpty());
    EXPECT_EQ(permissionsOf(file), 0600U);
    EXPECT_EQ(changes, 2);
}

TEST_F(CleanupHistoryStoreTest, permissions_areTheUsersAloneAfterEachWrite) {
    store.append(operation());
    ASSERT_EQ(chmod(file.c_str(), 0644), 0);
    store.append(operation());
    EXPECT_EQ(permissionsOf(file), 0600U);
    const mode_t before = umask(0777);
    store.clear();
    umask(before);
    EXPECT_EQ(permissionsOf(file), 0600U);
}

TEST_F(CleanupHistoryStoreTest, aDamagedFirstByte_makesAppendThrowAndOnlyClearMendsIt) {
    store.append(operation());
    std::string damaged = contentOf(file);
    damaged[0] = 'x';
    put(damaged);
    changes = 0;
    try {
        store.append(operation());
        FAIL() << "it was taken for a history";
    } catch (const Error& error) {
        EXPECT_THAT(error.description(), HasSubstr("cleanup-history.json” is damaged"));
    }
    EXPECT_THROW(store.load(), Error);
    EXPECT_EQ(contentOf(file), damaged);
    EXPECT_EQ(changes, 0);
    store.clear();
    EXPECT_THAT(store.load(), IsEmpty());
    EXPECT_EQ(changes, 1);
}

// As it is written, and without what may be missing.
std::string smallest(const std::string& more = {}) {
    return std::string(R"([{"id":")") + firstID +
           R"(","startedAt":1,"finishedAt":2.5,"source":"Map","permanent":false,)" + more +
           R"("items":[{"originalPath":"/a"}],"volumes":[{"path":"/"}]}])";
}

TEST_F(CleanupHistoryStoreTest, unknownKeys_areLeftAside) {
    for (const std::string more : {R"("new":1,)", R"("new":{"items":[1,{"id":null}],"id":3},)", R"("":[],)",
                                   R"("itemsBytes":7,)", R"("new":"\u0000\"",)"}) {
        put(smallest(more));
        const std::vector<CleanupOperation> read = store.load();
        ASSERT_THAT(read, SizeIs(1)) << more;
        EXPECT_EQ(read[0].id.text(), firstID);
        EXPECT_EQ(secondsSince1970(read[0].startedAt), 978'307'201);
        EXPECT_EQ(secondsSince1970(read[0].finishedAt), 978'307'202.5);
        EXPECT_THAT(read[0].items, SizeIs(1));
    }
}

TEST_F(CleanupHistoryStoreTest, keysInAnotherOrderAndWithBlanks_areRead) {
    put(std::string("\n[ { \"volumes\" : [ ] ,\t\"items\":[], \"permanent\":true, \"source\":\"\\u004dap\","
                    "\"finishedAt\":-1e3,\"startedAt\":0, \"id\":\"") +
        firstID + "\" } ]\n");
    const std::vector<CleanupOperation> read = store.load();
    ASSERT_THAT(read, SizeIs(1));
    EXPECT_EQ(read[0].source, "Map");
    EXPECT_TRUE(read[0].permanent);
}

TEST_F(CleanupHistoryStoreTest, nullForWhatMayBeAbsent_isAbsent) {
    put(std::string(R"([{"id":")") + firstID +
        R"(","startedAt":1,"finishedAt":2,"source":"","permanent":false,)"
        R"("items":[{"originalPath":"/a","trashPath":null,"logicalBytes":null,"error":null}],)"
        R"("volumes":[{"path":"/","before":null,"after":null}]}])");
    const std::vector<CleanupOperation> read = store.load();
    ASSERT_THAT(read, SizeIs(1));
    EXPECT_THAT(read[0].items, ElementsAre(CleanupOperation::Item{
                                   .originalPath = "/a", .trashPath = {}, .logicalBytes = {}, .error = {}}));
    EXPECT_THAT(read[0].volumes,
                ElementsAre(CleanupOperation::VolumeChange{.path = "/", .before = {}, .after = {}}));
}

TEST_F(CleanupHistoryStoreTest, eachRequiredKey_isRequired) {
    put(smallest());
    ASSERT_THAT(store.load(), SizeIs(1));
    for (const std::string key : {"id", "startedAt", "finishedAt", "source", "permanent", "items", "volumes",
                                  "originalPath", "path"}) {
        std::string json = smallest();
        const std::size_t at = json.find("\"" + key + "\"");
        ASSERT_NE(at, std::string::npos);
        json.insert(at + 1, "not-");
        put(json);
        EXPECT_THROW(store.load(), Error) << key;
        appendAndExpectUntouched();
    }
}

TEST_F(CleanupHistoryStoreTest, valuesOfAnotherType_areDamage) {
    const std::pair<std::string, std::string> damages[] = {
        {R"("startedAt":1)", R"("startedAt":"1")"},
        {R"("startedAt":1)", R"("startedAt":1e999)"},
        {R"("startedAt":1)", R"("startedAt":null)"},
        {R"("source":"Map")", R"("source":1)"},
        {R"("source":"Map")", R"("source":"\ud800")"},
        {R"("source":"Map")", "\"source\":\"M\xFF\""},
        {R"("permanent":false)", R"("permanent":0)"},
        {R"("permanent":false)", R"("permanent":falsey)"},
        {R"("originalPath":"/a")", R"("originalPath":null)"},
        {R"("originalPath":"/a")", R"("originalPath":"/a","logicalBytes":1.5)"},
        {R"("originalPath":"/a")", R"("originalPath":"/a","logicalBytes":9223372036854775808)"},
        {R"("originalPath":"/a")", R"("originalPath":"/a","logicalBytes":-9223372036854775809)"},
        {R"("originalPath":"/a")", R"("originalPath":"/a","logicalBytes":nul1)"},
        {R"("originalPath":"/a")", R"("originalPath":"/a","originalPathBytes":"L2")"},
        {R"("originalPath":"/a")", R"("originalPathBytes":"L2E=")"},
        {R"("volumes":[{"path":"/"}])", R"("volumes":[1])"},
        {R"("volumes":[{"path":"/"}])", R"("volumes":{})"},
        {firstID, "4B1E36E2"},
    };
    for (const auto& [good, bad] : damages) {
        std::string json = smallest();
        const std::size_t at = json.find(good);
        ASSERT_NE(at, std::string::npos) << good;
        put(json.replace(at, good.size(), bad));
        EXPECT_THROW(store.load(), Error) << bad;
        appendAndExpectUntouched();
    }
}

TEST_F(CleanupHistoryStoreTest, whatIsNoHistory_isDamage) {
    for (const std::string json : {"", " ", "{}", "null", "1", "\"\"", "[1]", "[[]]", "[null]", "[{}]", "[]]",
                                   "[] []", "[],", "[,]", "[", "]"}) {
        put(json);
        EXPECT_THROW(store.load(), Error) << json;
        appendAndExpectUntouched();
    }
}

TEST_F(CleanupHistoryStoreTest, bytesWinOverText) {
    std::string json = smallest();
    const std::string good = R"("originalPath":"/a")";
    put(json.replace(json.find(good), good.size(), R"("originalPathBytes":"L/8=","originalPath":"/?")"));
    const std::vector<CleanupOperation> read = store.load();
    ASSERT_THAT(read, SizeIs(1));
    EXPECT_EQ(read[0].items[0].originalPath, "/\xFF");
}

TEST_F(CleanupHistoryStoreTest, aFileCutShortAnywhere_isDamage) {
    for (const CleanupOperation& one : everyKind()) {
        store.append(one);
    }
    const std::string whole = contentOf(file);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        put(whole.substr(0, length));
        EXPECT_THROW(store.load(), Error) << length;
        appendAndExpectUntouched();
    }
}

TEST_F(CleanupHistoryStoreTest, whatIsNestedDeep_endsWithoutRecursion) {
    const std::string deep(1'000'000, '[');
    put(deep);
    EXPECT_THROW(store.load(), Error);
    put(smallest("\"new\":" + deep + std::string(1'000'000, ']') + ","));
    try {
        EXPECT_THAT(store.load(), SizeIs(1));
    } catch (const Error& error) {
        EXPECT_THAT(error.description(), HasSubstr("damaged"));  // deeper than the reader goes
    }
}

// Whatever a single bit does: a history that cannot be read stays as it is, and one that can be read is kept.
TEST_F(CleanupHistoryStoreTest, everyFlippedBit_neitherCrashesNorLosesTheFile) {
    for (const CleanupOperation& one : everyKind()) {
        store.append(one);
    }
    const std::string whole = contentOf(file);
    const CleanupOperation added = operation();
    int refused = 0;
    int kept = 0;
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        std::string flipped = whole;
        flipped[bit / 8] =
            static_cast<char>(static_cast<unsigned char>(flipped[bit / 8]) ^ (1U << (bit % 8)));
        put(flipped);
        std::vector<CleanupOperation> before;
        try {
            before = store.load();
        } catch (const Error&) {
            EXPECT_THROW(store.append(added), Error) << bit;
            EXPECT_EQ(contentOf(file), flipped) << bit;
            ++refused;
            continue;
        }
        store.append(added);
        before.insert(before.begin(), added);
        EXPECT_EQ(store.load(), before) << bit;
        ++kept;
    }
    EXPECT_GT(refused, 1'000);
    EXPECT_GT(kept, 1'000);
}

TEST_F(CleanupHistoryStoreTest, aFolderOrAPipeInItsPlace_isRefusedAndStays) {
    tree.folder("Larkfold/cleanup-history.json");
    EXPECT_THROW(store.load(), Error);
    EXPECT_THROW(store.append(operation()), Error);
    const std::string pipe = tree.fifo("pipe");
    EXPECT_THROW(CleanupHistoryStore(pipe).load(), Error);
    EXPECT_THROW(CleanupHistoryStore(pipe).append(operation()), Error);
    struct stat values{};
    ASSERT_EQ(lstat(pipe.c_str(), &values), 0);
    EXPECT_TRUE(S_ISFIFO(values.st_mode));
}

TEST_F(CleanupHistoryStoreTest, aFolderThatMayNotBeWritten_isToldAndTheHistoryStays) {
    asUnprivilegedUser([](const std::string& home) {
        int told = 0;
        CleanupHistoryStore kept(home + "/Larkfold/cleanup-history.json", [&told] { ++told; });
        const CleanupOperation first = operation();
        kept.append(first);
        ASSERT_EQ(chmod((home + "/Larkfold").c_str(), 0500), 0);
        EXPECT_THROW(kept.append(operation()), SystemError);
        EXPECT_THROW(kept.clear(), SystemError);
        EXPECT_THAT(kept.load(), ElementsAre(first));
        ASSERT_EQ(chmod(kept.url().c_str(), 0), 0);
        EXPECT_THROW(kept.load(), SystemError);
        EXPECT_EQ(told, 1);
        ASSERT_EQ(chmod((home + "/Larkfold").c_str(), 0700), 0);
        EXPECT_THROW(kept.append(operation()),
                     SystemError);  // not readable: perhaps something can be rescued
        kept.clear();
        EXPECT_THAT(kept.load(), IsEmpty());
    });
}

TEST_F(CleanupHistoryStoreTest, whoIsTold_mayUseTheStoreAtOnce) {
    std::vector<std::size_t> counts;
    CleanupHistoryStore told(file, [&] {
        counts.push_back(CleanupHistoryStore(file).load().size());
        if (counts.size() == 1) {
            CleanupHistoryStore(file).clear();
        }
    });
    told.append(operation());
    told.append(operation());
    EXPECT_THAT(counts, ElementsAre(1U, 1U));
}

// Two instances of the program.

// Runs `work` in so many processes at once; each gets its number.
void inProcesses(int count, const std::function<void(int number)>& work) {
    int start[2];
    ASSERT_EQ(pipe(start), 0);
    std::vector<pid_t> children;
    for (int number = 0; number < count; ++number) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            close(start[1]);
            char byte;
            if (read(start[0], &byte, 1) != 0) {  // until all of them are there
                _exit(2);
            }
            try {
                work(number);
            } catch (const std::exception& error) {
                std::fprintf(stderr, "%s\n", error.what());
                _exit(1);
            }
            _exit(0);
        }
        children.push_back(child);
    }
    close(start[0]);
    close(start[1]);
    for (const pid_t child : children) {
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
}

std::set<std::string> sources(const CleanupHistoryStore& store) {
    std::set<std::string> found;
    for (const CleanupOperation& one : store.load()) {
        found.insert(one.source);
    }
    return found;
}

std::string sourceOf(int process, int number) {
    return std::to_string(process) + "-" + std::to_string(number);
}

TEST_F(CleanupHistoryStoreTest, twoProcessesThatAppendAtOnce_loseNothing) {
    for (int round = 0; round < 2; ++round) {
        inProcesses(2, [&](int process) {
            for (int number = 0; number < 50; ++number) {
                CleanupOperation one = operation();
                one.source = sourceOf(process, number);
                CleanupHistoryStore(file).append(one);
            }
        });
        EXPECT_EQ(sources(store).size(), 100U);
        EXPECT_TRUE(sources(store).contains(sourceOf(0, 0)));
        EXPECT_TRUE(sources(store).contains(sourceOf(1, 49)));
        store.clear();
    }
}

TEST_F(CleanupHistoryStoreTest, fourThreadsThatAppendAtOnce_loseNothing) {
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < 4; ++thread) {
            threads.emplace_back([this, thread] {
                CleanupHistoryStore own(file);
                for (int number = 0; number < 25; ++number) {
                    CleanupOperation one = operation();
                    one.source = sourceOf(thread, number);
                    own.append(one);
                }
            });
        }
    }
    EXPECT_EQ(sources(store).size(), 100U);
}

// Negative control: the same decision finds out who reads, changes and writes back without the lock.
TEST_F(CleanupHistoryStoreTest, control_withoutTheLockOperationsAreLost) {
    std::size_t fewest = 100;
    for (int round = 0; round < 20 && fewest == 100; ++round) {
        own_files::createFolders(tree.path("Larkfold"));
        put("[]");
        inProcesses(2, [&](int process) {
            for (int number = 0; number < 50; ++number) {
                CleanupOperation one = operation();
                one.source = sourceOf(process, number);
                // The store's own writing, on a copy that nobody else locks.
                const std::string copy = file + "." + std::to_string(process);
                own_files::writeFile(copy, own_files::readFile(file, 1 << 20));
                CleanupHistoryStore(copy).append(one);
                own_files::writeFile(file, own_files::readFile(copy, 1 << 20));
            }
        });
        fewest = std::min(fewest, sources(store).size());
    }
    EXPECT_LT(fewest, 100U);
}

TEST_F(CleanupHistoryStoreTest, whileAnotherHoldsTheLock_aReaderNeedNotWait) {
    store.append(operation());
    const own_files::FileLock held(file);
    EXPECT_THAT(store.load(), SizeIs(1));
}

}  // namespace
}  // namespace larkfold::test
