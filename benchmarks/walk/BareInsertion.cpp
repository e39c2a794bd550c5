#include "benchmarks/walk/BareInsertion.h"

#include <sqlite3.h>

#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

namespace larkfold::benchmarks {

namespace {

void check(int code, int expected, sqlite3* db) {
    if (code != expected) {
        throw std::runtime_error(sqlite3_errmsg(db));
    }
}

struct Row {
    std::size_t path, parent, name;  // offsets into the bytes
    std::int64_t directory, size, logical;
    double modified;
    bool hasModified;
};

}  // namespace

BareInsertionResult insertBare(const std::string& source, const std::string& target) {
    sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    sqlite3_config(SQLITE_CONFIG_MULTITHREAD);

    std::vector<Row> rows;
    std::vector<char> bytes;
    sqlite3* db = nullptr;
    check(sqlite3_open_v2(source.c_str(), &db, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK, db);
    sqlite3_stmt* select = nullptr;
    check(sqlite3_prepare_v2(db, "SELECT * FROM nodes ORDER BY rowid", -1, &select, nullptr), SQLITE_OK, db);
    const auto keep = [&](int column) {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(select, column));
        const auto length = static_cast<std::size_t>(sqlite3_column_bytes(select, column));
        const std::size_t at = bytes.size();
        bytes.insert(bytes.end(), text, text + length + 1);
        return at;
    };
    while (sqlite3_step(select) == SQLITE_ROW) {
        Row row{};
        row.path = keep(0);
        row.parent = keep(1);
        row.name = keep(2);
        row.directory = sqlite3_column_int64(select, 3);
        row.size = sqlite3_column_int64(select, 4);
        row.logical = sqlite3_column_int64(select, 5);
        row.hasModified = sqlite3_column_type(select, 6) != SQLITE_NULL;
        row.modified = sqlite3_column_double(select, 6);
        rows.push_back(row);
    }
    sqlite3_finalize(select);
    sqlite3_close(db);

    std::remove(target.c_str());
    const auto started = std::chrono::steady_clock::now();
    check(sqlite3_open_v2(target.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr),
          SQLITE_OK, db);
    check(sqlite3_exec(
              db,
              "CREATE TABLE IF NOT EXISTS nodes(path TEXT PRIMARY KEY,parent TEXT,name TEXT,directory "
              "INTEGER,size INTEGER,logical INTEGER,modified REAL); CREATE INDEX IF NOT EXISTS nodes_parent "
              "ON nodes(parent); CREATE TABLE IF NOT EXISTS meta(key TEXT PRIMARY KEY,value TEXT); BEGIN "
              "IMMEDIATE;",
              nullptr, nullptr, nullptr),
          SQLITE_OK, db);
    sqlite3_stmt* insert = nullptr;
    check(sqlite3_prepare_v2(db, "INSERT OR REPLACE INTO nodes VALUES(?,?,?,?,?,?,?)", -1, &insert, nullptr),
          SQLITE_OK, db);
    const sqlite3_destructor_type transient = SQLITE_TRANSIENT;  // NOLINT
    for (const Row& row : rows) {
        sqlite3_reset(insert);
        sqlite3_clear_bindings(insert);
        sqlite3_bind_text(insert, 1, bytes.data() + row.path, -1, transient);
        sqlite3_bind_text(insert, 2, bytes.data() + row.parent, -1, transient);
        sqlite3_bind_text(insert, 3, bytes.data() + row.name, -1, transient);
        sqlite3_bind_int64(insert, 4, row.directory);
        sqlite3_bind_int64(insert, 5, row.size);
        sqlite3_bind_int64(insert, 6, row.logical);
        if (row.hasModified) {
            sqlite3_bind_double(insert, 7, row.modified);
        } else {
            sqlite3_bind_null(insert, 7);
        }
        check(sqlite3_step(insert), SQLITE_DONE, db);
    }
    sqlite3_finalize(insert);
    check(sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK, db);
    sqlite3_close(db);
    return {.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count(),
            .rows = static_cast<std::int64_t>(rows.size())};
}

}  // namespace larkfold::benchmarks
