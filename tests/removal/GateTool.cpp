// The gate on the command line, for tests that look at it from outside and for measurements:
//
//   larkfold_gate_tool trash|remove ROOT < PATHS
//
// PATHS, each ended by a NUL byte, go through the gate in one run, with ROOT as the only allowed root. For
// each the tool prints, each ended by a NUL byte, its path and what became of it: "trashed", "removed" or
// "stayed", and where it is in Trash or why it stayed.
#include <cstdio>
#include <string>
#include <string_view>

#include "removal/FileDeleter.h"

namespace {

void tell(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fputc('\0', stdout);
}

}  // namespace

int main(int count, char** arguments) {
    const std::string_view mode = count == 3 ? arguments[1] : "";
    if (mode != "trash" && mode != "remove") {
        std::fputs("usage: larkfold_gate_tool trash|remove ROOT < PATHS\n", stderr);
        return 2;
    }
    larkfold::FileDeleter::Request request;
    request.permanently = mode == "remove";
    request.allowedRoots = {larkfold::FileDeleter::AllowedRoot::at(arguments[2])};
    request.source = "larkfold_gate_tool";
    std::string path;
    for (int byte = std::getchar(); byte != EOF; byte = std::getchar()) {
        if (byte != 0) {
            path += static_cast<char>(byte);
        } else {
            request.urls.push_back(std::move(path));
            path.clear();
        }
    }
    larkfold::FileDeleter gate(nullptr);
    const auto result = gate.deleteItems(request, nullptr, {});
    for (const auto& item : result.operation.items) {
        tell(item.originalPath);
        tell(item.error ? "stayed" : request.permanently ? "removed" : "trashed");
        tell(item.error ? *item.error : item.trashPath.value_or(""));
    }
    return result.failedDeletions.empty() ? 0 : 1;
}
