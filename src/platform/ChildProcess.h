// A tool of the system that runs as a process of its own, with its output in a file.
//
// Nothing of it is left behind: when the tool has ended, and at the latest with its object, every process
// that came out of it is killed, also one that started a session of its own or whose parent has gone. How,
// and what that costs, stands in docs/decisions/0009-a-supervisor-for-each-tool.md.
//
// One object serves one thread; any number may be in use at once.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace larkfold {

// A new file of mode 0600 for the output of one tool, "Larkfold-command-" and a UUID in the folder for
// temporary files. It goes with its object.
class CommandOutput {
public:
    // Throws SystemError where it cannot be made.
    CommandOutput();
    ~CommandOutput();
    CommandOutput(const CommandOutput&) = delete;
    CommandOutput& operator=(const CommandOutput&) = delete;

    // How many bytes it holds now; 0 where that cannot be told.
    std::int64_t size() const;

    // The first bytes, at most `limit`. Throws SystemError.
    std::string read(std::size_t limit) const;

    int writingDescriptor() const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

class ChildProcess {
public:
    // Starts the program at an absolute path. Its standard output is `output`, its standard error goes
    // nowhere, its standard input and environment are this program's; it has no other descriptor of ours, no
    // signal is blocked or ignored, and it leads a process group of its own. Throws SystemError where it
    // cannot be started.
    ChildProcess(const std::string& executable, const std::vector<std::string>& arguments,
                 const CommandOutput& output);

    // Kills whatever is still running. Returns within half a second.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Waits for the end of the program, so long at most; true when it has ended.
    bool waitForEnd(std::chrono::milliseconds limit);

    // Asks the program and its process group to end, which they may ignore.
    void terminate();

    // Ends the program and everything that came out of it.
    void kill();

    // The exit status, or the number of the signal that ended it. After the end only.
    int terminationStatus() const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace larkfold
