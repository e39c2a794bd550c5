#include "platform/UserDefaults.h"

#include <cerrno>

#include "platform/Base64.h"
#include "platform/Error.h"
#include "platform/OwnFiles.h"
#include "platform/Path.h"
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

}  // namespace

struct UserDefaults::Impl {
    std::string file;
    nlohmann::json values = nlohmann::json::object();
    // The file could not be read or understood: it is set aside before something else takes its place.
    bool isDamaged = false;

    void read() {
        try {
            if (!own_files::exists(file)) {
                return;
            }
            auto object = stored_json::parsed(own_files::readFile(file, largestFile), deepestNesting);
            if (object && object->is_object()) {
                values = std::move(*object);
                return;
            }
        } catch (const SystemError&) {
            // Counts as empty, like the rest that cannot be understood.
        }
        isDamaged = true;
    }

    void setDamagedAside() {
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

    void save() {
        if (isDamaged) {
            setDamagedAside();
            isDamaged = false;
        }
        own_files::writeFile(file, values.dump(2) + "\n");
    }

    const nlohmann::json* find(std::string_view key) const {
        const auto value = values.find(std::string(key));
        return value == values.end() ? nullptr : &*value;
    }

    template <typename Value>
    void set(std::string_view key, Value value) {
        values[utf8::repaired(key)] = std::move(value);
        save();
    }
};

UserDefaults::UserDefaults(std::string file) : impl_(std::make_unique<Impl>()) {
    impl_->file = std::move(file);
    impl_->read();
}

UserDefaults::~UserDefaults() = default;

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
    impl_->set(key, value);
}

void UserDefaults::setInteger(std::string_view key, std::int64_t value) {
    impl_->set(key, value);
}

void UserDefaults::setString(std::string_view key, std::string_view value) {
    impl_->set(key, utf8::repaired(value));
}

void UserDefaults::setData(std::string_view key, std::string_view bytes) {
    impl_->set(key, base64Encoded(bytes));
}

void UserDefaults::remove(std::string_view key) {
    if (impl_->values.erase(std::string(key)) > 0) {
        impl_->save();
    }
}

}  // namespace larkfold
