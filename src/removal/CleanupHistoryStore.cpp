#include "removal/CleanupHistoryStore.h"

#include <simdjson.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <utility>

#include "platform/Base64.h"
#include "platform/Error.h"
#include "platform/FileLock.h"
#include "platform/OwnFiles.h"
#include "platform/Path.h"
#include "platform/StandardFolders.h"
#include "platform/StoredJson.h"
#include "platform/UTF8.h"

namespace larkfold {

namespace {

// What is written stays below it, the oldest operations giving way, so that it can be read again. It is far
// beyond what a hundred removals of ten thousand items make.
constexpr std::size_t largestFile = std::size_t{1} << 30;

class DamagedHistory final : public Error {
public:
    explicit DamagedHistory(std::string path) : path_(std::move(path)) {}
    std::string description() const override {
        return "The cleanup history “" + displayText(path_) +
               "” is damaged and cannot be read. It was left as it is; your files were not touched. Clear "
               "the history to begin a new one.";
    }

private:
    std::string path_;
};

// Writing. The library writes the texts and numbers; the lists are put together here, so that a record of a
// million items never stands in memory as a tree.

using Object = nlohmann::ordered_json;
using stored_json::addBytes;
using stored_json::dateFromSecondsSince2001;
using stored_json::secondsSince2001;

template <typename Value>
void addOptional(Object& object, const char* key, const std::optional<Value>& value) {
    if (value) {
        object[key] = *value;
    }
}

Object encoded(const CleanupOperation::Item& item) {
    Object object = Object::object();
    addBytes(object, "originalPath", item.originalPath);
    if (item.trashPath) {
        addBytes(object, "trashPath", *item.trashPath);
    }
    addOptional(object, "logicalBytes", item.logicalBytes);
    if (item.error) {
        object["error"] = utf8::repaired(*item.error);
    }
    return object;
}

Object encoded(const CleanupOperation::VolumeChange& volume) {
    Object object = Object::object();
    addBytes(object, "path", volume.path);
    addOptional(object, "before", volume.before);
    addOptional(object, "after", volume.after);
    return object;
}

template <typename Element>
void appendList(std::string& text, const std::vector<Element>& elements) {
    text += '[';
    for (const Element& element : elements) {
        if (&element != &elements.front()) {
            text += ',';
        }
        text += stored_json::encoded(encoded(element));
    }
    text += ']';
}

std::string encoded(const CleanupOperation& operation) {
    Object object = Object::object();
    object["id"] = operation.id.text();
    object["startedAt"] = secondsSince2001(operation.startedAt);
    object["finishedAt"] = secondsSince2001(operation.finishedAt);
    object["source"] = utf8::repaired(operation.source);
    object["permanent"] = operation.permanent;
    std::string text = stored_json::encoded(object);
    text.pop_back();
    text += ",\"items\":";
    appendList(text, operation.items);
    text += ",\"volumes\":";
    appendList(text, operation.volumes);
    text += '}';
    return text;
}

// Reading. The file may be hostile: the library goes through it in order, nothing recurses, and what is
// nested deep stands only in unknown values, which are stepped over.

using simdjson::ondemand::array;
using simdjson::ondemand::json_type;
using simdjson::ondemand::object;
using simdjson::ondemand::value;

// What a required key gives; throws where it did not come.
template <typename Value>
Value required(std::optional<Value> found) {
    if (!found) {
        throw simdjson::simdjson_error(simdjson::NO_SUCH_FIELD);
    }
    return std::move(*found);
}

std::string text(value from) {
    return std::string(std::string_view(from.get_string()));
}

// An absent value may stand as null, although this program never writes one.
template <typename Read>
auto unlessNull(value from, Read read) -> std::optional<decltype(read(from))> {
    if (from.type() == json_type::null) {
        if (!from.is_null()) {
            throw simdjson::simdjson_error(simdjson::N_ATOM_ERROR);
        }
        return std::nullopt;
    }
    return read(from);
}

std::int64_t size(value from) {
    return from.get_int64();
}

Date date(value from) {
    const double seconds = from.get_double();
    if (!std::isfinite(seconds)) {
        throw simdjson::simdjson_error(simdjson::NUMBER_ERROR);
    }
    return dateFromSecondsSince2001(seconds);
}

std::string bytes(value from) {
    std::optional<std::string> decoded = base64Decoded(text(from));
    if (!decoded) {
        throw simdjson::simdjson_error(simdjson::INCORRECT_TYPE);
    }
    return std::move(*decoded);
}

// Text and, where they stand too, the bytes, which win.
struct PathValue {
    std::optional<std::string> asText;
    std::optional<std::string> asBytes;

    // True where the key was one of the two.
    bool take(std::string_view key, std::string_view name, value from) {
        if (key == name) {
            asText = unlessNull(from, text);
            return true;
        }
        if (key.size() == name.size() + 5 && key.starts_with(name) && key.ends_with("Bytes")) {
            asBytes = unlessNull(from, bytes);
            return true;
        }
        return false;
    }
    // Without the text the bytes count for nothing: the text is the key that has to be there.
    std::optional<std::string> path() && {
        return asText && asBytes ? std::move(asBytes) : std::move(asText);
    }
};

CleanupOperation::Item item(object from) {
    CleanupOperation::Item read;
    PathValue original;
    PathValue trash;
    for (auto field : from) {
        const std::string key(std::string_view(field.unescaped_key()));
        value content = field.value();
        if (original.take(key, "originalPath", content) || trash.take(key, "trashPath", content)) {
            continue;
        }
        if (key == "logicalBytes") {
            read.logicalBytes = unlessNull(content, size);
        } else if (key == "error") {
            read.error = unlessNull(content, text);
        }
    }
    read.originalPath = required(std::move(original).path());
    read.trashPath = std::move(trash).path();
    return read;
}

CleanupOperation::VolumeChange volume(object from) {
    CleanupOperation::VolumeChange read;
    PathValue path;
    for (auto field : from) {
        const std::string key(std::string_view(field.unescaped_key()));
        value content = field.value();
        if (path.take(key, "path", content)) {
            continue;
        }
        if (key == "before") {
            read.before = unlessNull(content, size);
        } else if (key == "after") {
            read.after = unlessNull(content, size);
        }
    }
    read.path = required(std::move(path).path());
    return read;
}

template <typename Element>
std::vector<Element> list(array from, Element (*read)(object)) {
    std::vector<Element> elements;
    for (auto element : from) {
        elements.push_back(read(element.get_object()));
    }
    return elements;
}

CleanupOperation operation(object from) {
    std::optional<UUID> id;
    std::optional<Date> startedAt;
    std::optional<Date> finishedAt;
    std::optional<std::string> source;
    std::optional<bool> permanent;
    std::optional<std::vector<CleanupOperation::Item>> items;
    std::optional<std::vector<CleanupOperation::VolumeChange>> volumes;
    for (auto field : from) {
        const std::string key(std::string_view(field.unescaped_key()));
        value content = field.value();
        if (key == "id") {
            id = UUID::parse(std::string_view(content.get_string()));
        } else if (key == "startedAt") {
            startedAt = date(content);
        } else if (key == "finishedAt") {
            finishedAt = date(content);
        } else if (key == "source") {
            source = text(content);
        } else if (key == "permanent") {
            permanent = bool(content.get_bool());
        } else if (key == "items") {
            items = list(content.get_array(), item);
        } else if (key == "volumes") {
            volumes = list(content.get_array(), volume);
        }
    }
    return {.id = required(id),
            .startedAt = required(startedAt),
            .finishedAt = required(finishedAt),
            .source = required(std::move(source)),
            .permanent = required(permanent),
            .items = required(std::move(items)),
            .volumes = required(std::move(volumes))};
}

std::vector<CleanupOperation> decoded(const std::string& json) {
    simdjson::ondemand::parser parser;
    const simdjson::padded_string padded(json);
    simdjson::ondemand::document document = parser.iterate(padded);
    std::vector<CleanupOperation> operations = list(document.get_array(), operation);
    // Behind the list there is no location.
    if (document.current_location().error() == simdjson::SUCCESS) {
        throw simdjson::simdjson_error(simdjson::TRAILING_CONTENT);
    }
    return operations;
}

std::vector<CleanupOperation> readHistory(const std::string& file) {
    if (!own_files::exists(file)) {
        return {};
    }
    const std::string json = own_files::readFile(file, largestFile);
    try {
        return decoded(json);
    } catch (const simdjson::simdjson_error&) {
        throw DamagedHistory(file);
    }
}

// The caller holds the lock.
void writeHistory(const std::string& file, const std::string& json) {
    own_files::writeFile(file, json);
    // Again, now that it stands: where the place itself does not keep permissions, it is told.
    own_files::setPermissions(file, 0600);
}

}  // namespace

CleanupHistoryStore::CleanupHistoryStore(std::optional<std::string> url, std::function<void()> didChange)
    : url_(url ? std::move(*url)
               : joinedPath(applicationSupportDirectory(), "Larkfold/cleanup-history.json")),
      didChange_(std::move(didChange)) {}

std::vector<CleanupOperation> CleanupHistoryStore::load() const {
    return readHistory(url_);
}

void CleanupHistoryStore::append(const CleanupOperation& operation) {
    add(operation, false);
}

void CleanupHistoryStore::appendOnce(const CleanupOperation& operation) {
    add(operation, true);
}

void CleanupHistoryStore::add(const CleanupOperation& operation, bool onlyOnce) {
    if (!std::isfinite(secondsSince1970(operation.startedAt)) ||
        !std::isfinite(secondsSince1970(operation.finishedAt))) {
        // The form has no word for it, and the next reader would refuse the whole file.
        throw SystemError(SystemError::Operation::write, EINVAL, url_);
    }
    own_files::createFolders(std::string(parentPath(standardizedPath(url_))));
    {
        const own_files::FileLock lock(url_);
        const std::vector<CleanupOperation> earlier = readHistory(url_);
        const auto isIt = [&operation](const CleanupOperation& other) { return other.id == operation.id; };
        if (onlyOnce && std::any_of(earlier.begin(), earlier.end(), isIt)) {
            return;
        }
        std::string json = "[" + encoded(operation);
        if (json.size() >= largestFile) {
            throw SystemError(SystemError::Operation::write, EFBIG, url_);
        }
        for (std::size_t index = 0; index < earlier.size() && index + 1 < limit; ++index) {
            const std::string next = encoded(earlier[index]);
            if (json.size() + next.size() + 2 > largestFile) {
                break;
            }
            json += "," + next;
        }
        writeHistory(url_, json + "]");
    }
    if (didChange_) {
        didChange_();
    }
}

void CleanupHistoryStore::clear() {
    own_files::createFolders(std::string(parentPath(standardizedPath(url_))));
    {
        const own_files::FileLock lock(url_);
        writeHistory(url_, "[]");
    }
    if (didChange_) {
        didChange_();
    }
}

}  // namespace larkfold
