#include "faults/Victim.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <exception>

#include "platform/Error.h"
#include "support/OpenDescriptors.h"

namespace larkfold::test {

void leakDescriptor() {
    static_cast<void>(open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

namespace {

std::optional<VictimWork> workOf(const std::string& subject, const std::vector<std::string>& words) {
    return subject == "scan"      ? scanWork(words)
           : subject == "refresh" ? refreshWork(words)
           : subject == "history" ? historyWork(words)
           : subject == "removal" ? removalWork(words)
                                  : std::nullopt;
}

// The watching begins and ends.
void mark(const VictimWork& work) {
    if (work.isWatched) {
        raise(SIGUSR1);
    }
}

int tell(const VictimWork& work) {
    std::string report;
    int code = 0;
    const DescriptorBalance descriptors;
    mark(work);
    try {
        report = work.run();
    } catch (const CancellationError&) {
        report = "cancelled";
        code = 4;
    } catch (const Error& error) {
        report = "refused " + error.description();
        code = 3;
    } catch (const Refused& error) {
        report = std::string("refused ") + error.what();
        code = 3;
    } catch (const std::exception& error) {
        report = std::string("untyped ") + error.what();
        code = 5;
    }
    mark(work);
    const std::size_t after = descriptors.after();
    std::printf("descriptors %zu %zu\n%s\n", descriptors.before(), after, report.c_str());
    if (after != descriptors.before()) {
        std::printf("%s", namesOfOpenDescriptors().c_str());
    }
    std::fflush(stdout);
    return code;
}

}  // namespace
}  // namespace larkfold::test

int main(int count, char** words) {
    if (count < 2) {
        return 2;
    }
    const auto work = larkfold::test::workOf(words[1], {words + 2, words + count});
    // Not `return`: threads that were given up may still wait for an answer.
    _exit(work ? larkfold::test::tell(*work) : 2);
}
