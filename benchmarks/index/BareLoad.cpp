#include "BareLoad.h"

#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <functional>

#include "disk/ScanIndexDatabase.h"

namespace larkfold::benchmarks {

namespace {

std::uint64_t sink = 0;  // what is read has to go somewhere

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "bare load: %s\n", what);
    std::exit(1);
}

}  // namespace

void loadBare(const std::string& url, const std::string& root, std::int64_t limit) {
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(url.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
        fail(sqlite3_errmsg(db));
    }
    const std::string below = subtreePredicate(root);
    const auto stepOver = [&](const std::string& sql, const std::function<void(sqlite3_stmt*)>& read) {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
            fail(sqlite3_errmsg(db));
        }
        while (sqlite3_step(statement) == SQLITE_ROW) {
            read(statement);
        }
        sqlite3_finalize(statement);
    };
    const auto readText = [](sqlite3_stmt* row, int column) {
        sink += static_cast<std::uint64_t>(sqlite3_column_text(row, column)[0]);
        sink += static_cast<std::uint64_t>(sqlite3_column_bytes(row, column));
    };
    stepOver("SELECT * FROM nodes WHERE " + below +
                 " AND directory=1 UNION ALL SELECT * FROM (SELECT * FROM nodes WHERE " + below +
                 " AND directory=0 ORDER BY size DESC LIMIT " + std::to_string(limit) + ")",
             [&](sqlite3_stmt* row) {
                 for (const int column : {0, 1, 2}) {
                     readText(row, column);
                 }
                 for (const int column : {3, 4, 5}) {
                     sink += static_cast<std::uint64_t>(sqlite3_column_int64(row, column));
                 }
                 sink += static_cast<std::uint64_t>(sqlite3_column_double(row, 6) > 0);
             });
    stepOver(
        "SELECT parent,COUNT(*),SUM(size) FROM nodes WHERE " + below + " AND directory=0 GROUP BY parent",
        [&](sqlite3_stmt* row) {
            readText(row, 0);
            sink += static_cast<std::uint64_t>(sqlite3_column_int64(row, 1));
            sink += static_cast<std::uint64_t>(sqlite3_column_int64(row, 2));
        });
    sqlite3_close(db);
}

}  // namespace larkfold::benchmarks
