// All rows of an index, one line of text each, ordered by path: what two indexes are compared by.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>
#include <vector>

namespace larkfold::test {

inline std::vector<std::string> rowsOf(const std::string& index, const std::string& query) {
    std::vector<std::string> rows;
    sqlite3* db = nullptr;
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(sqlite3_open_v2(index.c_str(), &db, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK) << index;
    EXPECT_EQ(sqlite3_prepare_v2(db, query.c_str(), -1, &statement, nullptr), SQLITE_OK)
        << sqlite3_errmsg(db);
    while (sqlite3_step(statement) == SQLITE_ROW) {
        std::string row;
        for (int column = 0; column < sqlite3_column_count(statement); ++column) {
            const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
            row += column == 0 ? "" : "|";
            row +=
                bytes == nullptr
                    ? std::string("NULL")
                    : std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
        }
        rows.push_back(row);
    }
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return rows;
}

// Every column of every file and folder.
inline std::vector<std::string> rowsOf(const std::string& index) {
    return rowsOf(
        index,
        "SELECT path,parent,name,directory,size,logical,printf('%.9f',modified) FROM nodes ORDER BY "
        "path");
}

// Whether the library finds the file sound, and each folder's size is the sum of what lies in it.
inline testing::AssertionResult isConsistent(const std::string& index) {
    const auto check = rowsOf(index, "PRAGMA integrity_check");
    if (check != std::vector<std::string>{"ok"}) {
        return testing::AssertionFailure() << (check.empty() ? "no answer" : check.front());
    }
    const auto wrong = rowsOf(index,
                              "SELECT path,size,(SELECT COALESCE(SUM(size),0) FROM nodes AS child WHERE "
                              "child.parent=folder.path AND child.path!=folder.path) AS held FROM nodes AS "
                              "folder WHERE directory=1 AND size!=held");
    if (!wrong.empty()) {
        return testing::AssertionFailure() << wrong.front();
    }
    return testing::AssertionSuccess();
}

}  // namespace larkfold::test
