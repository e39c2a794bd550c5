#include "removal/BoundedProcess.h"

#include <algorithm>
#include <chrono>

#include "platform/ChildProcess.h"
#include "platform/UTF8.h"

namespace larkfold {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds pollingInterval{25};
constexpr std::chrono::milliseconds politeWait{200};
constexpr std::chrono::milliseconds killWait{200};
constexpr double shortestTime = 0.01;  // seconds
constexpr double longestTime = 1.0e8;  // three years: what is longer does not fit into the clock

void stopTool(ChildProcess& process) {
    process.terminate();
    if (!process.waitForEnd(politeWait)) {
        process.kill();
        // Whether it has ended by then changes nothing: the reason for stopping is what is told.
        process.waitForEnd(killWait);
    }
}

}  // namespace

std::string BoundedProcess::Failure::description() const {
    switch (which_) {
        case Case::exit:
            return "The command exited with status " + std::to_string(status_) + ".";
        case Case::timedOut:
            return "The command exceeded its time limit.";
        case Case::outputLimit:
            break;
    }
    return "The command produced more output than allowed.";
}

std::string BoundedProcess::run(const std::string& executablePath, const std::vector<std::string>& arguments,
                                std::int64_t maximumOutputBytes, double timeLimit, std::stop_token stop) {
    if (stop.stop_requested()) {
        throw CancellationError();
    }
    const CommandOutput output;
    ChildProcess process(executablePath, arguments, output);
    // The comparison is false for what is no number.
    const double seconds = timeLimit > shortestTime ? std::min(timeLimit, longestTime) : shortestTime;
    const auto deadline =
        Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    while (!process.waitForEnd(pollingInterval)) {
        if (stop.stop_requested()) {
            stopTool(process);
            throw CancellationError();
        }
        if (deadline <= Clock::now()) {
            stopTool(process);
            throw Failure(Failure::Case::timedOut);
        }
        if (output.size() > maximumOutputBytes) {
            stopTool(process);
            throw Failure(Failure::Case::outputLimit);
        }
    }
    if (stop.stop_requested()) {
        throw CancellationError();
    }
    if (process.terminationStatus() != 0) {
        throw Failure(Failure::Case::exit, process.terminationStatus());
    }
    // One byte more than allowed tells whether there is more; what was written since
    // the last look is seen here.
    const auto most = static_cast<std::size_t>(std::max<std::int64_t>(0, maximumOutputBytes)) + 1;
    const std::string bytes = output.read(most);
    if (static_cast<std::int64_t>(bytes.size()) > maximumOutputBytes) {
        throw Failure(Failure::Case::outputLimit);
    }
    return utf8::repaired(bytes);
}

}  // namespace larkfold
