#include "platform/UserDefaults.h"

#include <cerrno>
#include <exception>
#include <map>
#include <set>
#include <stop_token>
#include <utility>

#include "platform/Base64.h"
#include "platform/Error.h"
#include "platform/OwnFiles.h"
#include "platform/Path.h"
#include "platform/SerialContext.h"
#include "platform/StandardFolders.h"
#include "platform/StoredJson.h"
#include "platform/UTF8.h"

namespace larkfold {

namespace {

// The stores in it are bounded far below; what is larger was not written by this program.
constexpr std::size_t largestFile = 64u << 20;
// Writing a value goes down its nesting by recursion. Everything that is stored is much flatter.
constexpr int deepestNesting = 100;
// So many damaged files are kept beside each other before saving fails: somebody should have looked by then.
constexpr int mostDamagedFiles = 100;
// So often `flush` saves what observers of its own saves change.
constexpr int mostFinalAttempts = 10;

constexpr std::string_view saved = "saved";
constexpr std::string_view changed = "changed";

// Keys and what they are set to; nothing: the key is removed.
using Changes = std::map<std::string, std::optional<nlohmann::json>>;

void applyChanges(const Changes& changes, nlohmann::json& values) {
    for (const auto& [key, value] : changes) {
        if (value) {
            values[key] = *value;
        } else {
            values.erase(key);
        }
    }
}

// --- The file

struct Content {
    // `damaged`: it was read and not understood. It is set aside before something else takes its place.
    enum class State { missing, whole, damaged, unreadable };
    State state = State::missing;
    nlohmann::json values = nlohmann::json::object();
    std::optional<SystemError> problem = std::nullopt;  // why it is unreadable
};

Content read(const std::string& file) {
    try {
        if (!own_files::exists(file)) {
            return {};
        }
        auto object = stored_json::parsed(own_files::readFile(file, largestFile), deepestNesting);
        if (object && object->is_object()) {
            return {.state = Content::State::whole, .values = std::move(*object)};
        }
    } catch (const SystemError& error) {
        return {.state = Content::State::unreadable, .problem = error};
    }
    return {.state = Content::State::damaged};
}

void setDamagedAside(const std::string& file) {
    for (int number = 1;; ++number) {
        const std::string place = file + ".damaged" + (number == 1 ? "" : "-" + std::to_string(number));
        try {
            own_files::moveAside(file, place);
            return;
        } catch (const SystemError& error) {
            if (error.code() == ENOENT) {
                return;  // it has gone by itself
            }
            if (error.code() != EEXIST || number == mostDamagedFiles) {
                throw;
            }
        }
    }
}

// What one attempt to save has to do, and what came of it. The thread that makes the attempt has it for
// itself until it has ended.
struct Attempt {
    std::string file;
    std::chrono::milliseconds longestWait;
    nlohmann::json known;  // all that holds here
    Changes changes;       // what of it was changed here
    std::vector<std::string> newKeys;
    // It could not be read from the beginning, so nobody here knows what is in it.
    bool replacesUnreadable = false;

    bool hasEnded = false;
    std::optional<nlohmann::json> inFile;  // all that the file holds then
    std::optional<std::string> problem;

    void make(const std::stop_token& stop) {
        try {
            inFile = save(stop);
            hasEnded = true;
        } catch (const CancellationError&) {
            // The wait for the lock was broken off: `flush` makes the next attempt.
        } catch (const std::exception& error) {
            fail(error.what());
        }
    }
    void fail(std::string why) {
        problem = std::move(why);
        hasEnded = true;
    }

private:
    std::optional<own_files::FileLock> lock(const std::stop_token& stop) const {
        try {
            return std::optional<own_files::FileLock>(std::in_place, file, longestWait, stop);
        } catch (const SystemError& error) {
            if (!own_files::FileLock::isUnsupported(error.code())) {
                throw;
            }
            return std::nullopt;
        }
    }

    nlohmann::json save(const std::stop_token& stop) const {
        own_files::createFolders(std::string(parentPath(file)));
        const std::optional<own_files::FileLock> held = lock(stop);
        Content content = read(file);
        if (content.problem && !replacesUnreadable) {
            throw SystemError(*content.problem);  // what other windows saved is in it
        }
        nlohmann::json values = content.state == Content::State::whole ? content.values : known;
        applyChanges(changes, values);
        if (content.state == Content::State::whole && values == content.values) {
            return values;  // it stands there already
        }
        if (content.state == Content::State::damaged || content.problem) {
            setDamagedAside(file);
        }
        own_files::writeFile(file, stored_json::encoded(values, 2) + "\n");
        return values;
    }
};

}  // namespace

struct UserDefaults::Impl {
    // Constant after construction.
    std::string file;
    MainQueue& mainQueue;
    std::chrono::milliseconds longestWait;

    nlohmann::json values = nlohmann::json::object();  // as they hold here
    Changes unsaved;                                   // made here, and not known to stand in the file
    std::shared_ptr<Attempt> attempt;                  // under way; null while none is
    std::set<std::string> newKeys;                     // changed since it began, or ever
    bool replacesUnreadable = false;

    NotificationCenter observers;
    Save save;                         // what the observers of saves are told
    std::vector<std::string> foreign;  // what the observers of changes are told

    std::unique_ptr<SerialContext> context;  // made for the first save, and after each `flush`
    Run run;
    bool isFlushing = false;

    Impl(std::string path, MainQueue& queue, std::chrono::milliseconds wait)
        : file(std::move(path)), mainQueue(queue), longestWait(wait) {
        Content content = read(file);
        replacesUnreadable = content.state == Content::State::unreadable;
        values = std::move(content.values);
    }

    const nlohmann::json* find(std::string_view key) const {
        const auto value = values.find(std::string(key));
        return value == values.end() ? nullptr : &*value;
    }

    void change(std::string key, std::optional<nlohmann::json> value) {
        newKeys.insert(key);
        const Changes::iterator place = unsaved.insert_or_assign(std::move(key), std::move(value)).first;
        applyChanges({*place}, values);
        if (!attempt && !isFlushing) {
            begin();
        }
    }

    std::shared_ptr<Attempt> nextAttempt() {
        attempt = std::make_shared<Attempt>();
        attempt->file = file;
        attempt->longestWait = longestWait;
        attempt->known = values;
        attempt->changes = unsaved;
        attempt->newKeys.assign(newKeys.begin(), newKeys.end());
        attempt->replacesUnreadable = replacesUnreadable;
        newKeys.clear();
        return attempt;
    }

    void begin() {
        if (!context) {
            context = std::make_unique<SerialContext>(mainQueue, "user-defaults");
        }
        run = context->run<bool>(
            [next = nextAttempt()](std::stop_token stop) {
                next->make(stop);
                return true;
            },
            [this](Outcome<bool> outcome) {
                try {
                    outcome.get();
                } catch (const std::exception& refusal) {
                    attempt->fail(refusal.what());  // there was no thread for it
                }
                end();
                if (!newKeys.empty() && !attempt) {
                    begin();
                }
            });
    }

    // Takes over what came of the attempt.
    void end() {
        const std::shared_ptr<Attempt> ended = std::exchange(attempt, nullptr);
        foreign.clear();
        if (ended->inFile) {
            std::erase_if(unsaved, [&](const auto& change) {
                const auto done = ended->changes.find(change.first);
                return done != ended->changes.end() && done->second == change.second;
            });
            takeOver(std::move(*ended->inFile));
            replacesUnreadable = false;
        }
        save = {.keys = {}, .newKeys = ended->newKeys, .problem = ended->problem};
        for (const auto& [key, value] : ended->changes) {
            save.keys.push_back(key);
        }
        observers.post(saved);
        if (!foreign.empty()) {
            observers.post(changed);
        }
    }

    // What the file holds holds here too, but for what was changed here since.
    void takeOver(nlohmann::json inFile) {
        applyChanges(unsaved, inFile);
        for (const auto& [key, value] : inFile.items()) {
            if (const nlohmann::json* known = find(key); known == nullptr || *known != value) {
                foreign.push_back(key);
            }
        }
        for (const auto& [key, value] : values.items()) {
            if (!inFile.contains(key)) {
                foreign.push_back(key);
            }
        }
        values = std::move(inFile);
    }

    bool flush() {
        isFlushing = true;  // who is told of an attempt may change something: it is saved here as well
        run.drop();
        context.reset();  // breaks off a wait for the lock, and lets a write end
        if (attempt && attempt->hasEnded) {
            end();
        } else if (attempt) {
            newKeys.insert(attempt->newKeys.begin(), attempt->newKeys.end());
            attempt = nullptr;
        }
        for (int made = 0; !unsaved.empty() && made < mostFinalAttempts; ++made) {
            if (made > 0 && newKeys.empty()) {
                break;  // that could not be saved, and nothing else has changed
            }
            nextAttempt()->make({});
            end();
        }
        isFlushing = false;
        return unsaved.empty();
    }
};

UserDefaults::UserDefaults(std::string file, MainQueue& mainQueue, std::chrono::milliseconds longestWait)
    : impl_(std::make_unique<Impl>(std::move(file), mainQueue, longestWait)) {}

UserDefaults::~UserDefaults() {
    flush();
}

std::string UserDefaults::standardFile() {
    return joinedPath(configurationDirectory(), "Larkfold/settings.json");
}

std::optional<bool> UserDefaults::boolForKey(std::string_view key) const {
    const nlohmann::json* value = impl_->find(key);
    return value != nullptr && value->is_boolean() ? std::optional(value->get<bool>()) : std::nullopt;
}

std::optional<std::int64_t> UserDefaults::integerForKey(std::string_view key) const {
    const nlohmann::json* value = impl_->find(key);
    return value != nullptr ? stored_json::integerOf(*value) : std::nullopt;
}

std::optional<std::string> UserDefaults::stringForKey(std::string_view key) const {
    const nlohmann::json* value = impl_->find(key);
    return value != nullptr && value->is_string() ? std::optional(value->get<std::string>()) : std::nullopt;
}

std::optional<std::string> UserDefaults::dataForKey(std::string_view key) const {
    const std::optional<std::string> text = stringForKey(key);
    return text ? base64Decoded(*text) : std::nullopt;
}

void UserDefaults::setBool(std::string_view key, bool value) {
    impl_->change(utf8::repaired(key), nlohmann::json(value));
}

void UserDefaults::setInteger(std::string_view key, std::int64_t value) {
    impl_->change(utf8::repaired(key), nlohmann::json(value));
}

void UserDefaults::setString(std::string_view key, std::string_view value) {
    impl_->change(utf8::repaired(key), nlohmann::json(utf8::repaired(value)));
}

void UserDefaults::setData(std::string_view key, std::string_view bytes) {
    impl_->change(utf8::repaired(key), nlohmann::json(base64Encoded(bytes)));
}

void UserDefaults::remove(std::string_view key) {
    impl_->change(utf8::repaired(key), std::nullopt);
}

bool UserDefaults::flush() {
    return impl_->flush();
}

UserDefaults::Observation UserDefaults::observeSaves(std::function<void(const Save&)> observer) {
    return impl_->observers.observe(
        std::string(saved), [impl = impl_.get(), observer = std::move(observer)] { observer(impl->save); });
}

UserDefaults::Observation UserDefaults::observeChanges(
    std::function<void(const std::vector<std::string>&)> observer) {
    return impl_->observers.observe(
        std::string(changed),
        [impl = impl_.get(), observer = std::move(observer)] { observer(impl->foreign); });
}

}  // namespace larkfold
