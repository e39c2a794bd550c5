// Runs a tool of the system so that it can neither hang its caller nor flood the memory: every run has a
// limit of time and one of output, and leaves nothing behind, neither processes nor files.
//
// The call blocks its thread, so it belongs on a serial context. Any number of runs may proceed at
// once on different threads.
#pragma once

#include <cstdint>
#include <stop_token>
#include <string>
#include <vector>

#include "platform/Error.h"

namespace larkfold {

class BoundedProcess {
public:
    class Failure final : public Error {
    public:
        enum class Case {
            exit,        // it ended with another status than 0
            timedOut,    // the time passed before it ended
            outputLimit  // it wrote more than allowed
        };

        // `status`: of an exit; the number of the signal where one ended the tool.
        explicit Failure(Case which, std::int32_t status = 0) : which_(which), status_(status) {}

        Case which() const { return which_; }
        std::int32_t status() const { return status_; }
        std::string description() const override;

    private:
        Case which_;
        std::int32_t status_;
    };

    BoundedProcess() = delete;

    // The tool's standard output as text, with replacement characters for what is not UTF-8.
    //
    // `executablePath` is absolute. At most `maximumOutputBytes` are taken, in at most `timeLimit` seconds
    // (and never less than a hundredth). Throws `Failure`; CancellationError when `stop` was requested;
    // SystemError where the tool could not be started. It answers to a limit or a request within 25 ms, and
    // where the tool does not end when asked, some 0.2 s later.
    static std::string run(const std::string& executablePath, const std::vector<std::string>& arguments,
                           std::int64_t maximumOutputBytes, double timeLimit, std::stop_token stop = {});
};

}  // namespace larkfold
