#include "disk/ScanHistoryEntry.h"

#include <cmath>
#include <utility>

#include "platform/Base64.h"
#include "platform/Error.h"
#include "platform/StoredJson.h"

namespace larkfold {

namespace {

// Twenty paths of the longest kind with their bookmarks stay below half of it. Larger bytes were not written
// by this program, and reading them would only cost the user time.
constexpr std::size_t largestList = 4u << 20;
// A list of flat objects has two.
constexpr int deepestNesting = 8;

class ScanHistoryError final : public Error {
public:
    explicit ScanHistoryError(std::string description) : description_(std::move(description)) {}
    std::string description() const override { return description_; }

private:
    std::string description_;
};

std::string encoded(const ScanHistoryEntry& entry) {
    const double date = stored_json::secondsSince2001(entry.scanDate);
    if (!std::isfinite(date) || !std::isfinite(entry.scanDuration)) {
        throw ScanHistoryError("The date or the duration of a scan is not a number.");
    }
    nlohmann::ordered_json object;
    object["id"] = entry.id.text();
    stored_json::addBytes(object, "rootPath", entry.rootPath);
    stored_json::addBytes(object, "rootName", entry.rootName);
    object["scanDate"] = date;
    object["totalSize"] = entry.totalSize;
    object["totalFiles"] = entry.totalFiles;
    object["totalDirectories"] = entry.totalDirectories;
    object["scanDuration"] = entry.scanDuration;
    if (entry.bookmarkData) {
        object["bookmarkData"] = base64Encoded(*entry.bookmarkData);
    }
    return stored_json::encoded(object);
}

// What a required key gives; throws where it is missing or of another kind.
template <typename Value>
Value required(std::optional<Value> found, const char* key) {
    if (!found) {
        throw ScanHistoryError(std::string("The list is damaged: an entry has no valid “") + key + "”.");
    }
    return std::move(*found);
}

// The path of a folder; nothing where nothing can stand there.
std::optional<std::string> pathAt(const nlohmann::json& object, const char* key) {
    std::optional<std::string> path = stored_json::bytesAt(object, key);
    return path && path->starts_with('/') && !path->contains('\0') ? std::move(path) : std::nullopt;
}

std::optional<std::string> bookmarkIn(const nlohmann::json& object) {
    const auto value = object.find("bookmarkData");
    if (value == object.end() || value->is_null()) {
        return std::nullopt;
    }
    const auto text = stored_json::textAt(object, "bookmarkData");
    return required(text ? base64Decoded(*text) : std::nullopt, "bookmarkData");
}

ScanHistoryEntry entry(const nlohmann::json& object) {
    const auto id = stored_json::textAt(object, "id");
    return {
        .id = required(id ? UUID::parse(*id) : std::nullopt, "id"),
        .rootPath = required(pathAt(object, "rootPath"), "rootPath"),
        .rootName = required(stored_json::bytesAt(object, "rootName"), "rootName"),
        .scanDate = stored_json::dateFromSecondsSince2001(
            required(stored_json::numberAt(object, "scanDate"), "scanDate")),
        .totalSize = required(stored_json::integerAt(object, "totalSize"), "totalSize"),
        .totalFiles = required(stored_json::integerAt(object, "totalFiles"), "totalFiles"),
        .totalDirectories = required(stored_json::integerAt(object, "totalDirectories"), "totalDirectories"),
        .scanDuration = required(stored_json::numberAt(object, "scanDuration"), "scanDuration"),
        .bookmarkData = bookmarkIn(object)};
}

}  // namespace

std::string encodedScanHistory(const std::vector<ScanHistoryEntry>& entries) {
    std::string json = "[";
    for (const ScanHistoryEntry& each : entries) {
        const std::string next = encoded(each);
        if (json.size() + next.size() + 2 > largestList) {
            break;
        }
        json += (json.size() > 1 ? "," : "") + next;
    }
    return json + "]";
}

std::vector<ScanHistoryEntry> decodedScanHistory(std::string_view json) {
    if (json.size() > largestList) {
        throw ScanHistoryError("The list is larger than any that Larkfold writes.");
    }
    const auto list = stored_json::parsed(json, deepestNesting);
    if (!list || !list->is_array()) {
        throw ScanHistoryError("The list is damaged: it has another form.");
    }
    std::vector<ScanHistoryEntry> entries;
    for (const nlohmann::json& object : *list) {
        if (!object.is_object()) {
            throw ScanHistoryError("The list is damaged: an entry has another form.");
        }
        entries.push_back(entry(object));
    }
    return entries;
}

}  // namespace larkfold
