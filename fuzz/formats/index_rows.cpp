// The scan index as rows that the library of the database accepts, whatever their types and however little
// sense they make. The bytes are a list of statements in short, not a file of the program: each line is one
// row, its fields stand between tabs.
#include <sqlite3.h>

#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "IndexReading.h"
#include "StoredFormat.h"
#include "disk/ScanIndexDatabase.h"
#include "platform/Error.h"
#include "support/TemporaryTree.h"

namespace larkfold::fuzz {

namespace {

// Fields by their first letter: i integer, f floating, n NULL, x bytes; everything else is text.
void bind(sqlite3_stmt* row, int position, std::string_view field) {
    const char type = field.empty() ? 't' : field.front();
    const std::string value(field.substr(field.empty() ? 0 : 1));
    switch (type) {
        case 'i':
            sqlite3_bind_int64(row, position, std::strtoll(value.c_str(), nullptr, 10));
            break;
        case 'f':
            sqlite3_bind_double(row, position, std::strtod(value.c_str(), nullptr));
            break;
        case 'n':
            sqlite3_bind_null(row, position);
            break;
        case 'x':
            sqlite3_bind_blob(row, position, value.data(), static_cast<int>(value.size()), SQLITE_TRANSIENT);
            break;
        default:
            sqlite3_bind_text(row, position, field.data(), static_cast<int>(field.size()), SQLITE_TRANSIENT);
    }
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (std::size_t end = text.find(separator); end != std::string_view::npos; end = text.find(separator)) {
        parts.push_back(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    parts.push_back(text);
    return parts;
}

constexpr std::size_t nodeFields = 7;
constexpr std::size_t metaFields = 2;

}  // namespace

void writeSeeds(const std::string& folder) {
    writeBytes(folder + "/sound",
               "root\t/r\ndate\t1.5\nerrors\t3\n"
               "/r\t/\tr\ti1\ti30\ti0\tn\n"
               "/r/a\t/r\ta\ti1\ti10\ti0\tn\n"
               "/r/a/b\t/r/a\tb\ti0\ti10\ti9\tf1.25\n"
               "/r/c\t/r\tc\ti0\ti20\ti19\tf-3\n");
    writeBytes(
        folder + "/circle",
        "root\t/r\n/r\t/r/a\tr\ti1\ti1\ti0\tn\n/r/a\t/r/b\ta\ti1\ti1\ti0\tn\n/r/b\t/r/a\tb\ti1\ti1\ti0\tn\n"
        "/r/f\t/r/x\tf\ti0\ti9223372036854775807\ti-1\tf1e300\n/r/g\t/"
        "r\tg\ti0\ti9223372036854775807\ti0\tn\n");
    writeBytes(folder + "/other types",
               "root\t/\n/\t/\t/\ti1\tf1e18\tt\tx1\n/r\t/\tnothing\ti2\ti-5\tx\tt\nn\tn\tn\ti1\tn\tn\tn\nx/"
               "\t/\tx\ti0\ti1\n");
    writeBytes(folder + "/file as root", "root\t/r\n/r\t/\tr\ti0\ti7\ti7\tf0\n");
}

void read(std::string_view bytes) {
    static const test::TemporaryTree place;
    static const std::string file = place.path("index.sqlite");
    static const std::string empty = [] {
        const std::string path = place.path("empty.sqlite");
        ScanIndexDatabase(path, true).finish("/", true, 0);
        return test::contentOf(path);
    }();
    writeBytes(file, empty);

    sqlite3* db = nullptr;
    require(sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK);
    sqlite3_exec(db, "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; BEGIN; DELETE FROM meta", nullptr,
                 nullptr, nullptr);
    sqlite3_stmt* node = nullptr;
    sqlite3_stmt* meta = nullptr;
    sqlite3_prepare_v2(db, "INSERT OR REPLACE INTO nodes VALUES(?,?,?,?,?,?,?)", -1, &node, nullptr);
    sqlite3_prepare_v2(db, "INSERT OR REPLACE INTO meta VALUES(?,?)", -1, &meta, nullptr);
    for (const std::string_view line : split(bytes, '\n')) {
        const std::vector<std::string_view> fields = split(line, '\t');
        sqlite3_stmt* row = fields.size() == metaFields ? meta : node;
        sqlite3_reset(row);
        sqlite3_clear_bindings(row);
        for (std::size_t index = 0; index < std::min(fields.size(), nodeFields); ++index) {
            bind(row, static_cast<int>(index) + 1, fields[index]);
        }
        sqlite3_step(row);
    }
    sqlite3_finalize(node);
    sqlite3_finalize(meta);
    require(sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK);
    require(sqlite3_close(db) == SQLITE_OK);

    tryIndex(file, bytes.size());
    test::removeTree(file);
}

}  // namespace larkfold::fuzz
