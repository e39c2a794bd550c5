// What the suites compare: the index at a place as a later start of the program would find it, in one line of
// text, and the makings of indexes to begin with.
#pragma once

#include <map>
#include <string>

#include "disk/DiskScanOptions.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {

// "whole: root ... rows ... total ... digest ...", or what is wrong: that it cannot be opened, what the
// integrity check says, that the rows do not add up. The date of the scan is left out. Opening rolls back
// what was begun, as it does in the program.
std::string describeIndex(const std::string& file);
bool isWhole(const std::string& description);

std::string readBytes(const std::string& file);  // fails the test where it cannot
void writeBytes(const std::string& file, const std::string& bytes);
bool stands(const std::string& path);

// The names in a folder that begin with `prefix`.
std::map<std::string, std::string> filesWithPrefix(const std::string& folder, const std::string& prefix);

// What the suites scan with: hidden items too, links left out, no limit.
DiskScanOptions everything();

// Scans `root` into a new index at `file`.
void makeIndex(const std::string& root, const std::string& file);

// An index and the rollback journal of a change that a kill interrupted after pages had been written: without
// the journal the index is not what it was.
struct InterruptedIndex {
    std::string database;  // bytes
    std::string journal;   // bytes
};
InterruptedIndex interruptChange(const std::string& index);

// The same with a log beside it that holds a committed change, as another program in write-ahead mode leaves
// it.
struct LoggedDatabase {
    std::string database;
    std::string log;
};
LoggedDatabase leaveWriteAheadLog(const std::string& index);

// A folder for trees on a file system in memory where there is one: thousands of runs sync thousands of
// times.
class QuickFolder {
public:
    QuickFolder();
    ~QuickFolder();
    QuickFolder(const QuickFolder&) = delete;
    QuickFolder& operator=(const QuickFolder&) = delete;

private:
    std::string before_;
};

}  // namespace larkfold::test
