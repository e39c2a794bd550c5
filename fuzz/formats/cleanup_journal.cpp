// The journal of a removal: docs/removal-journal-format.md.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

#include "StoredFormat.h"
#include "platform/Error.h"
#include "removal/RemovalJournalContent.h"

namespace larkfold::fuzz {

namespace {

constexpr std::size_t prefix = 9;  // eight digits and a space

// As the format has it; the search would never find a line whose checksum holds.
std::uint32_t checksum(std::string_view bytes) {
    std::uint32_t sum = ~std::uint32_t{0};
    for (const char byte : bytes) {
        sum ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            sum = (sum & 1U) != 0 ? (sum >> 1U) ^ 0xEDB88320U : sum >> 1U;
        }
    }
    return ~sum;
}

// The same lines, each with the checksum that belongs to it.
std::string withChecksums(std::string_view bytes) {
    std::string text;
    for (std::size_t end = bytes.find('\n'); end != std::string_view::npos; end = bytes.find('\n')) {
        const std::string_view line = bytes.substr(0, end);
        const std::string_view json = line.substr(std::min(prefix, line.size()));
        std::array<char, prefix + 1> sum{};
        std::snprintf(sum.data(), sum.size(), "%08x ", static_cast<unsigned>(checksum(json)));
        text += sum.data();
        text += json;
        text += '\n';
        bytes.remove_prefix(end + 1);
    }
    return text + std::string(bytes);
}

void readOnce(std::string_view bytes) {
    try {
        const auto content = RemovalJournalContent::read(bytes);
        require(RemovalJournalContent::wholeLength(bytes) <= bytes.size());
        if (!content) {
            return;
        }
        // What was read can be written and is read again as the same.
        const auto again = RemovalJournalContent::read(content->plan());
        require(again && again->id == content->id && again->items.size() == content->items.size() &&
                again->trashes == content->trashes && again->volumes == content->volumes);
        for (const RemovalJournalContent::Item& item : content->items) {
            require(!item.outcome || item.outcome->originalPath == item.path);
        }
    } catch (const RemovalJournalContent::Damaged& error) {
        require(!error.description().empty());
    }
}

}  // namespace

void writeSeeds(const std::string& folder) {
    RemovalJournalContent content;
    content.id = UUID::make();
    content.startedAt = dateFromSecondsSince1970(1'790'000'000.25);
    content.source = "Disk Space";
    content.volumes = {{.path = "/", .before = 5, .after = {}}, {.path = "/home", .before = {}, .after = {}}};
    content.trashes = {"/home/anna/.local/share/Trash"};
    writeBytes(folder + "/no items", content.plan());
    content.permanent = true;
    content.items.resize(2);
    content.items[0].path = "/home/anna/film.mov";
    content.items[0].identity = DurableIdentity{.volume = 1, .file = 2, .madeAt = 3};
    content.items[0].stagingName = ".larkfold-removing-1";
    content.items[1].path = "/home/anna/\xff\xfe";
    const Date when = content.startedAt;
    writeBytes(
        folder + "/full",
        content.plan() +
            RemovalJournalContent::lineOfMove(0,
                                              {.realPath = content.items[0].path,
                                               .identity = *content.items[0].identity,
                                               .logicalBytes = 7,
                                               .place = "/home/anna/.larkfold-removing-1/film.mov"},
                                              when) +
            RemovalJournalContent::lineOfRemoval(0, when) +
            RemovalJournalContent::lineOfOutcome(
                0, {.originalPath = {}, .trashPath = "/t", .logicalBytes = 7, .error = "It stays."}, when) +
            RemovalJournalContent::lineOfRecord(when));
}

void read(std::string_view bytes) {
    readOnce(bytes);
    readOnce(withChecksums(bytes));
}

}  // namespace larkfold::fuzz
