#include "removal/RemovalJournalContent.h"

#include <array>
#include <charconv>
#include <cmath>
#include <utility>

#include "platform/StoredJson.h"
#include "platform/UTF8.h"

namespace larkfold {

namespace {

using Object = nlohmann::ordered_json;
using Content = RemovalJournalContent;
using Damaged = RemovalJournalContent::Damaged;
using stored_json::addBytes;

constexpr std::int64_t formatVersion = 1;
constexpr std::size_t checksumDigits = 8;
// An object with objects in a list.
constexpr int deepestNesting = 4;

// --- A line

// CRC-32 as in ISO 3309: it tells each change of up to 32 bits in a row.
constexpr std::array<std::uint32_t, 256> checksumTable = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t index = 0; index < table.size(); ++index) {
        std::uint32_t value = index;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value & 1U) != 0 ? (value >> 1U) ^ 0xEDB88320U : value >> 1U;
        }
        table[index] = value;
    }
    return table;
}();

std::uint32_t checksum(std::string_view bytes) {
    std::uint32_t sum = 0xFFFFFFFFU;
    for (const char byte : bytes) {
        sum = checksumTable[(sum ^ static_cast<unsigned char>(byte)) & 0xFFU] ^ (sum >> 8U);
    }
    return ~sum;
}

std::string digitsOf(std::uint32_t sum) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text(checksumDigits, '0');
    for (auto digit = text.rbegin(); digit != text.rend(); ++digit, sum >>= 4U) {
        *digit = digits[sum & 15U];
    }
    return text;
}

std::string line(const Object& object) {
    const std::string json = stored_json::encoded(object);
    return digitsOf(checksum(json)) + " " + json + "\n";
}

nlohmann::json objectOf(std::string_view line) {
    if (line.size() < checksumDigits + 1 || line[checksumDigits] != ' ') {
        throw Damaged();
    }
    const std::string_view json = line.substr(checksumDigits + 1);
    if (line.substr(0, checksumDigits) != digitsOf(checksum(json))) {
        throw Damaged();
    }
    auto object = stored_json::parsed(json, deepestNesting);
    if (!object || !object->is_object()) {
        throw Damaged();
    }
    return std::move(*object);
}

// --- Writing

void addIdentity(Object& object, const DurableIdentity& identity) {
    object["volume"] = identity.volume;
    object["file"] = identity.file;
    if (identity.madeAt) {
        object["madeAt"] = *identity.madeAt;
    }
}

void addDate(Object& object, const char* key, Date date) {
    object[key] = stored_json::secondsSince2001(date);
}

// --- Reading

template <typename Value>
Value required(std::optional<Value> found) {
    if (!found) {
        throw Damaged();
    }
    return std::move(*found);
}

std::string textOf(const nlohmann::json& object, const char* key) {
    return required(stored_json::textAt(object, key));
}

std::string bytesOf(const nlohmann::json& object, const char* key) {
    return required(stored_json::bytesAt(object, key));
}

Date dateOf(const nlohmann::json& object, const char* key) {
    return stored_json::dateFromSecondsSince2001(required(stored_json::numberAt(object, key)));
}

std::uint64_t numberOf(const nlohmann::json& object, const char* key) {
    const auto value = object.find(key);
    if (value == object.end() || !value->is_number_unsigned()) {
        throw Damaged();
    }
    return value->get<std::uint64_t>();
}

// A path that the system would take for what it says.
std::string pathOf(const nlohmann::json& object, const char* key) {
    std::string path = bytesOf(object, key);
    if (!path.starts_with('/') || path.find('\0') != std::string::npos) {
        throw Damaged();
    }
    return path;
}

// A name of the gate's making: what has another one is not looked into.
std::string stagingOf(const nlohmann::json& object) {
    std::string name = textOf(object, "staging");
    if (!name.starts_with(".larkfold-removing-") || name.find('/') != std::string::npos ||
        name.find('\0') != std::string::npos) {
        throw Damaged();
    }
    return name;
}

// An absent value is left out; one of another form is damage.
std::optional<std::int64_t> integerOf(const nlohmann::json& object, const char* key) {
    return object.contains(key) ? std::optional(required(stored_json::integerAt(object, key))) : std::nullopt;
}

std::optional<std::string> optionalBytesOf(const nlohmann::json& object, const char* key) {
    return object.contains(key) ? std::optional(bytesOf(object, key)) : std::nullopt;
}

DurableIdentity identityOf(const nlohmann::json& object) {
    return {.volume = numberOf(object, "volume"),
            .file = numberOf(object, "file"),
            .madeAt = integerOf(object, "madeAt")};
}

const nlohmann::json& listOf(const nlohmann::json& object, const char* key) {
    const auto value = object.find(key);
    if (value == object.end() || !value->is_array()) {
        throw Damaged();
    }
    return *value;
}

void requireObject(const nlohmann::json& value) {
    if (!value.is_object()) {
        throw Damaged();
    }
}

// Tells how many items follow.
std::uint64_t readHead(const nlohmann::json& object, Content& content) {
    if (numberOf(object, "version") != static_cast<std::uint64_t>(formatVersion)) {
        throw Damaged();
    }
    content.id = required(UUID::parse(textOf(object, "id")));
    content.startedAt = dateOf(object, "startedAt");
    content.lastChange = content.startedAt;
    content.source = textOf(object, "source");
    const auto permanent = object.find("permanent");
    if (permanent == object.end() || !permanent->is_boolean()) {
        throw Damaged();
    }
    content.permanent = permanent->get<bool>();
    for (const nlohmann::json& volume : listOf(object, "volumes")) {
        requireObject(volume);
        content.volumes.push_back(
            {.path = bytesOf(volume, "path"), .before = integerOf(volume, "before"), .after = std::nullopt});
    }
    for (const nlohmann::json& trash : listOf(object, "trashes")) {
        requireObject(trash);
        content.trashes.push_back(pathOf(trash, "path"));
    }
    return numberOf(object, "items");
}

Content::Item readItem(const nlohmann::json& object) {
    Content::Item item;
    item.path = pathOf(object, "path");
    if (object.contains("file")) {
        item.identity = identityOf(object);
    }
    if (object.contains("staging")) {
        item.stagingName = stagingOf(object);
    }
    return item;
}

void readEvent(const nlohmann::json& object, Content& content) {
    const std::string what = textOf(object, "event");
    content.lastChange = dateOf(object, "when");
    if (what == "recorded") {
        content.isRecorded = true;
        return;
    }
    const std::uint64_t number = numberOf(object, "item");
    if (number >= content.items.size()) {
        throw Damaged();
    }
    Content::Item& item = content.items[number];
    if (what == "move") {
        item.moves.push_back({.realPath = pathOf(object, "from"),
                              .identity = identityOf(object),
                              .logicalBytes = integerOf(object, "logicalBytes"),
                              .place = pathOf(object, "to")});
    } else if (what == "remove") {
        item.isBeingRemoved = true;
    } else if (what == "end") {
        item.outcome = {
            .originalPath = item.path,
            .trashPath = optionalBytesOf(object, "trashPath"),
            .logicalBytes = integerOf(object, "logicalBytes"),
            .error = object.contains("error") ? std::optional(textOf(object, "error")) : std::nullopt};
    } else {
        throw Damaged();
    }
}

Object event(const char* what, Date when) {
    Object object = Object::object();
    object["event"] = what;
    addDate(object, "when", when);
    return object;
}

}  // namespace

std::string RemovalJournalContent::Damaged::description() const {
    return "The journal of a removal is damaged.";
}

std::string RemovalJournalContent::plan() const {
    Object head = Object::object();
    head["version"] = formatVersion;
    head["id"] = id.text();
    addDate(head, "startedAt", startedAt);
    head["source"] = utf8::repaired(source);
    head["permanent"] = permanent;
    head["volumes"] = Object::array();
    for (const CleanupOperation::VolumeChange& volume : volumes) {
        Object object = Object::object();
        addBytes(object, "path", volume.path);
        if (volume.before) {
            object["before"] = *volume.before;
        }
        head["volumes"].push_back(std::move(object));
    }
    head["trashes"] = Object::array();
    for (const std::string& trash : trashes) {
        Object object = Object::object();
        addBytes(object, "path", trash);
        head["trashes"].push_back(std::move(object));
    }
    head["items"] = items.size();
    std::string text = line(head);
    for (const Item& item : items) {
        Object object = Object::object();
        addBytes(object, "path", item.path);
        if (item.identity) {
            addIdentity(object, *item.identity);
        }
        if (!item.stagingName.empty()) {
            object["staging"] = item.stagingName;
        }
        text += line(object);
    }
    return text;
}

std::string RemovalJournalContent::lineOfMove(std::size_t item, const Move& move, Date when) {
    Object object = event("move", when);
    object["item"] = item;
    addBytes(object, "from", move.realPath);
    addIdentity(object, move.identity);
    if (move.logicalBytes) {
        object["logicalBytes"] = *move.logicalBytes;
    }
    addBytes(object, "to", move.place);
    return line(object);
}

std::string RemovalJournalContent::lineOfRemoval(std::size_t item, Date when) {
    Object object = event("remove", when);
    object["item"] = item;
    return line(object);
}

std::string RemovalJournalContent::lineOfOutcome(std::size_t item, const CleanupOperation::Item& outcome,
                                                 Date when) {
    Object object = event("end", when);
    object["item"] = item;
    if (outcome.trashPath) {
        addBytes(object, "trashPath", *outcome.trashPath);
    }
    if (outcome.logicalBytes) {
        object["logicalBytes"] = *outcome.logicalBytes;
    }
    if (outcome.error) {
        object["error"] = utf8::repaired(*outcome.error);
    }
    return line(object);
}

std::string RemovalJournalContent::lineOfRecord(Date when) {
    return line(event("recorded", when));
}

std::optional<RemovalJournalContent> RemovalJournalContent::read(std::string_view bytes) {
    std::optional<RemovalJournalContent> content;
    std::uint64_t planned = 0;
    for (std::size_t end = bytes.find('\n'); end != std::string_view::npos; end = bytes.find('\n')) {
        const nlohmann::json object = objectOf(bytes.substr(0, end));
        bytes.remove_prefix(end + 1);
        if (!content) {
            content.emplace();
            planned = readHead(object, *content);
        } else if (content->items.size() < planned) {
            content->items.push_back(readItem(object));
        } else {
            readEvent(object, *content);
        }
    }
    return content && content->items.size() == planned ? std::move(content) : std::nullopt;
}

std::size_t RemovalJournalContent::wholeLength(std::string_view bytes) {
    const std::size_t end = bytes.rfind('\n');
    return end == std::string_view::npos ? 0 : end + 1;
}

}  // namespace larkfold
