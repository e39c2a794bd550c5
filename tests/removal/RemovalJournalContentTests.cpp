#include "removal/RemovalJournalContent.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "support/Places.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {
namespace {

// One of everything that a journal may hold.
RemovalJournalContent everything() {
    RemovalJournalContent content;
    content.id = *UUID::parse("4B1E36E2-0A1C-4B2E-9E52-6C0F5D6D2F01");
    content.startedAt = dateFromSecondsSince1970(1'764'000'000.25);
    content.source = "Disk analysis";
    content.permanent = true;
    content.volumes = {{.path = "/", .before = 1'000, .after = {}},
                       {.path = "/mnt/\xC3", .before = {}, .after = {}}};
    content.trashes = {"/home/ada/.local/share/Trash", "/mnt/\xC3/.Trash-1000"};
    content.items.resize(4);
    content.items[0].path = "/home/ada/film.mkv";
    content.items[0].identity = DurableIdentity{.volume = 2'049, .file = ~std::uint64_t{0}, .madeAt = -5};
    content.items[0].stagingName = ".larkfold-removing-1";
    content.items[0].moves = {{.realPath = "/data/ada/film.mkv",
                               .identity = {.volume = 2'049, .file = 77, .madeAt = 1'764'000'000'123'456'789},
                               .logicalBytes = 4'096,
                               .place = "/data/ada/.larkfold-removing-1/film.mkv"}};
    content.items[0].isBeingRemoved = true;
    content.items[0].outcome = {
        .originalPath = "/home/ada/film.mkv", .trashPath = {}, .logicalBytes = 4'096, .error = {}};
    content.items[1].path = "/home/ada/\xFF\xFE raw";
    content.items[1].moves = {{.realPath = "/home/ada/\xFF\xFE raw",
                               .identity = {.volume = 1, .file = 2, .madeAt = {}},
                               .logicalBytes = {},
                               .place = "/home/ada/.local/share/Trash/files/\xFF\xFE raw"}};
    content.items[1].outcome = {.originalPath = "/home/ada/\xFF\xFE raw",
                                .trashPath = "/home/ada/.local/share/Trash/files/\xFF\xFE raw",
                                .logicalBytes = {},
                                .error = {}};
    content.items[2].path = "/home/ada/a line\nbreak";
    content.items[2].outcome = {.originalPath = "/home/ada/a line\nbreak",
                                .trashPath = {},
                                .logicalBytes = {},
                                .error = "This path is protected."};
    content.items[3].path = "/home/ada/not reached";
    content.lastChange = dateFromSecondsSince1970(1'764'000'002.5);
    return content;
}

std::string written(const RemovalJournalContent& content) {
    std::string bytes = content.plan();
    for (std::size_t index = 0; index < content.items.size(); ++index) {
        const RemovalJournalContent::Item& item = content.items[index];
        for (const RemovalJournalContent::Move& move : item.moves) {
            bytes += RemovalJournalContent::lineOfMove(index, move, content.lastChange);
        }
        if (item.isBeingRemoved) {
            bytes += RemovalJournalContent::lineOfRemoval(index, content.lastChange);
        }
        if (item.outcome) {
            bytes += RemovalJournalContent::lineOfOutcome(index, *item.outcome, content.lastChange);
        }
    }
    return bytes;
}

TEST(RemovalJournalContentTest, whatIsWritten_isReadAgain) {
    RemovalJournalContent content = everything();
    std::string bytes = written(content);
    EXPECT_EQ(RemovalJournalContent::read(bytes), content);
    bytes += RemovalJournalContent::lineOfRecord(content.lastChange);
    content.isRecorded = true;
    EXPECT_EQ(RemovalJournalContent::read(bytes), content);
}

TEST(RemovalJournalContentTest, theGoldenFile_isReadAndWrittenAsItStands) {
    const std::string golden = contentOf(sourceFile("tests/removal/golden/cleanup-journal.jsonl"));
    EXPECT_EQ(written(everything()), golden);
    EXPECT_EQ(RemovalJournalContent::read(golden), everything());
}

// Where a journal breaks off, what stands whole before that counts, and nothing else.
TEST(RemovalJournalContentTest, cutShortAnywhere_tellsTheLinesThatAreWhole) {
    const RemovalJournalContent content = everything();
    const std::string bytes = written(content);
    const std::size_t plan = content.plan().size();
    for (std::size_t length = 0; length <= bytes.size(); ++length) {
        const std::string part = bytes.substr(0, length);
        const auto read = RemovalJournalContent::read(part);
        ASSERT_EQ(read.has_value(), length >= plan) << length;
        const std::size_t whole = RemovalJournalContent::wholeLength(part);
        ASSERT_TRUE(whole <= length && (whole == 0 || part[whole - 1] == '\n'));
        ASSERT_EQ(read, RemovalJournalContent::read(part.substr(0, whole))) << length;
    }
}

// A disk may leave zeros behind what was written last.
TEST(RemovalJournalContentTest, zerosAtTheEnd_countAsALineThatWasNotFinished) {
    const std::string bytes = written(everything());
    EXPECT_EQ(RemovalJournalContent::read(bytes + std::string(4'000, '\0')), everything());
}

// Whether everything that is read stands in the content that was written.
bool isInventedIn(const RemovalJournalContent& read, const RemovalJournalContent& content) {
    if (read.id != content.id || read.items.size() != content.items.size() ||
        read.permanent != content.permanent || read.source != content.source ||
        read.volumes != content.volumes || read.trashes != content.trashes) {
        return true;
    }
    for (std::size_t index = 0; index < read.items.size(); ++index) {
        const RemovalJournalContent::Item& item = read.items[index];
        const RemovalJournalContent::Item& real = content.items[index];
        if (item.path != real.path || item.identity != real.identity ||
            item.stagingName != real.stagingName || item.moves.size() > real.moves.size() ||
            (item.outcome && item.outcome != real.outcome) || item.isBeingRemoved > real.isBeingRemoved) {
            return true;
        }
        for (std::size_t move = 0; move < item.moves.size(); ++move) {
            if (item.moves[move] != real.moves[move]) {
                return true;
            }
        }
    }
    return false;
}

TEST(RemovalJournalContentTest, everyBitFlipped_isDamageOrALineLess_neverAnotherItem) {
    const RemovalJournalContent content = everything();
    const std::string bytes = written(content);
    int damaged = 0;
    for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit) {
        std::string flipped = bytes;
        flipped[bit / 8] =
            static_cast<char>(static_cast<unsigned char>(flipped[bit / 8]) ^ (1U << (bit % 8)));
        try {
            const auto read = RemovalJournalContent::read(flipped);
            ASSERT_TRUE(read && !isInventedIn(*read, content)) << "bit " << bit;
        } catch (const RemovalJournalContent::Damaged&) {
            ++damaged;
        }
    }
    // All but those in the end of the last line.
    EXPECT_EQ(static_cast<std::size_t>(damaged), bytes.size() * 8 - 8);
}

TEST(RemovalJournalContentTest, linesThatDoNotFollowOneAnother_areDamage) {
    const RemovalJournalContent content = everything();
    const std::string plan = content.plan();
    const std::string head = plan.substr(0, plan.find('\n') + 1);
    const Date when = content.lastChange;
    for (const std::string& bytes :
         {plan + head, plan + RemovalJournalContent::lineOfRemoval(4, when), plan + "\n",
          head + RemovalJournalContent::lineOfRemoval(0, when) + plan.substr(head.size()),
          plan.substr(head.size()), std::string("\n")}) {
        EXPECT_THROW(RemovalJournalContent::read(bytes), RemovalJournalContent::Damaged) << bytes;
    }
    for (const char* name : {"..", ".larkfold-removing-1/../..", "", "documents"}) {
        RemovalJournalContent strange = content;
        strange.items[0].stagingName = name;
        if (*name != '\0') {
            EXPECT_THROW(RemovalJournalContent::read(strange.plan()), RemovalJournalContent::Damaged) << name;
        }
        strange = content;
        strange.items[0].path = name;
        EXPECT_THROW(RemovalJournalContent::read(strange.plan()), RemovalJournalContent::Damaged) << name;
    }
    EXPECT_FALSE(RemovalJournalContent::read(""));
    EXPECT_FALSE(RemovalJournalContent::read(head));
}

}  // namespace
}  // namespace larkfold::test
