#include "faults/IndexOracle.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>

#include "disk/DiskScanner.h"

namespace larkfold::test {

namespace {

using Connection = std::unique_ptr<sqlite3, decltype(&sqlite3_close)>;

Connection open(const std::string& file) {
    sqlite3* handle = nullptr;
    const int outcome = sqlite3_open_v2(file.c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr);
    Connection connection(handle, &sqlite3_close);
    if (outcome != SQLITE_OK) {
        throw std::runtime_error("cannot be opened");
    }
    return connection;
}

void run(sqlite3* connection, const std::string& sql) {
    if (sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw std::runtime_error(sqlite3_errmsg(connection));
    }
}

// All values of all rows, each followed by a bar.
std::string query(sqlite3* connection, const char* sql) {
    sqlite3_stmt* statement = nullptr;
    std::string values;
    if (sqlite3_prepare_v2(connection, sql, -1, &statement, nullptr) == SQLITE_OK) {
        int outcome;
        while ((outcome = sqlite3_step(statement)) == SQLITE_ROW) {
            for (int column = 0; column < sqlite3_column_count(statement); ++column) {
                const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
                values.append(text == nullptr ? "NULL" : text).append("|");
            }
        }
        sqlite3_finalize(statement);
        if (outcome == SQLITE_DONE) {
            return values;
        }
    }
    throw std::runtime_error(sqlite3_errmsg(connection));
}

std::uint64_t digestOf(const std::string& text) {
    std::uint64_t digest = 0xcbf29ce484222325;
    for (const char c : text) {
        digest = (digest ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    }
    return digest;
}

// Runs statements in a process of its own that ends as by kill -9, the connection still open.
void runAndGetKilled(const std::string& file, const std::string& sql) {
    const pid_t child = fork();
    if (child == 0) {
        try {
            const Connection connection = open(file);
            run(connection.get(), sql);
            kill(getpid(), SIGKILL);
        } catch (const std::exception& error) {
            std::fprintf(stderr, "the interrupted writer failed: %s\n", error.what());
        }
        _exit(1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
}

}  // namespace

std::string describeIndex(const std::string& file) {
    try {
        const Connection connection = open(file);
        const std::string integrity = query(connection.get(), "PRAGMA integrity_check");
        if (integrity != "ok|") {
            return "damaged: " + integrity;
        }
        const std::string root = query(connection.get(), "SELECT value FROM meta WHERE key='root'");
        const std::string errors = query(connection.get(), "SELECT value FROM meta WHERE key='errors'");
        const std::string rows = query(connection.get(), "SELECT COUNT(*) FROM nodes");
        const std::string total = query(connection.get(), "SELECT SUM(size) FROM nodes WHERE directory=0");
        const std::string atRoot =
            query(connection.get(), "SELECT size FROM nodes,meta WHERE key='root' AND path=value");
        if (root.empty() || (total != atRoot && total != "NULL|")) {
            return "incomplete: root " + root + " total " + total + " at root " + atRoot;
        }
        const std::string all = query(connection.get(), "SELECT * FROM nodes ORDER BY path");
        return "whole: root " + root + " errors " + errors + " rows " + rows + " total " + total +
               " digest " + std::to_string(digestOf(all));
    } catch (const std::runtime_error& error) {
        return std::string("unusable: ") + error.what();
    }
}

bool isWhole(const std::string& description) {
    return description.starts_with("whole: ");
}

std::string readBytes(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    EXPECT_TRUE(stream) << file;
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void writeBytes(const std::string& file, const std::string& bytes) {
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    EXPECT_TRUE(stream) << file;
}

bool stands(const std::string& path) {
    struct stat values{};
    return lstat(path.c_str(), &values) == 0;
}

std::map<std::string, std::string> filesWithPrefix(const std::string& folder, const std::string& prefix) {
    std::map<std::string, std::string> found;
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(opendir(folder.c_str()), &closedir);
    EXPECT_TRUE(stream) << folder;
    while (const dirent* entry = stream ? readdir(stream.get()) : nullptr) {
        const std::string name = entry->d_name;
        if (name != "." && name != ".." && name.starts_with(prefix)) {
            found[name] = folder + "/" + name;
        }
    }
    return found;
}

DiskScanOptions everything() {
    return {.skipHiddenFiles = false,
            .excludedPathPrefixes = {},
            .skipSymbolicLinks = true,
            .maximumRetainedFiles = std::nullopt};
}

void makeIndex(const std::string& root, const std::string& file) {
    DiskScanner(file).scan(root, everything(), {});
}

InterruptedIndex interruptChange(const std::string& index) {
    const TemporaryTree place;
    const std::string copy = place.path("interrupted.sqlite");
    writeBytes(copy, readBytes(index));
    // With room for two pages in memory, the change goes to the file before it is committed.
    runAndGetKilled(
        copy,
        "PRAGMA cache_size=2; BEGIN IMMEDIATE; UPDATE nodes SET size=size+1000003, "
        "name=name||'-half-way'; INSERT INTO nodes SELECT path||'/more',path,'more',0,1,1,0 FROM nodes;");
    return {.database = readBytes(copy), .journal = readBytes(copy + "-journal")};
}

LoggedDatabase leaveWriteAheadLog(const std::string& index) {
    const TemporaryTree place;
    const std::string copy = place.path("logged.sqlite");
    writeBytes(copy, readBytes(index));
    runAndGetKilled(
        copy,
        "PRAGMA journal_mode=WAL; PRAGMA wal_autocheckpoint=0; CREATE TABLE more(text TEXT); "
        "INSERT INTO more SELECT path FROM nodes; UPDATE nodes SET size=4711, name='from the log'; "
        "UPDATE meta SET value=value||'/from-the-log';");
    return {.database = readBytes(copy), .log = readBytes(copy + "-wal")};
}

QuickFolder::QuickFolder() {
    const char* present = std::getenv("TMPDIR");  // NOLINT(concurrency-mt-unsafe): tests of one thread
    before_ = present == nullptr ? "" : present;
    if (access("/dev/shm", W_OK | X_OK) == 0) {
        setenv("TMPDIR", "/dev/shm", 1);  // NOLINT(concurrency-mt-unsafe)
    }
}

QuickFolder::~QuickFolder() {
    if (before_.empty()) {
        unsetenv("TMPDIR");  // NOLINT(concurrency-mt-unsafe)
    } else {
        setenv("TMPDIR", before_.c_str(), 1);  // NOLINT(concurrency-mt-unsafe)
    }
}

}  // namespace larkfold::test
