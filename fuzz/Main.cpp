// Every search: `fuzz_FORMAT --write-seeds=FOLDER` writes the seeds and ends; everything else is told by the
// library of the search (-help=1).
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string_view>

#include "StoredFormat.h"

namespace larkfold::fuzz {

void require(bool condition, std::source_location place) {
    if (!condition) {
        std::fprintf(stderr, "What has to hold at %s:%u does not.\n", place.file_name(), place.line());
        std::abort();
    }
}

void writeBytes(const std::string& file, std::string_view bytes) {
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    require(stream.good());
}

}  // namespace larkfold::fuzz

// The names are those that the library of the search calls.
extern "C" int LLVMFuzzerInitialize(const int* count, char*** arguments) {
    constexpr std::string_view option = "--write-seeds=";
    for (int index = 1; index < *count; ++index) {
        const std::string_view argument = (*arguments)[index];
        if (argument.starts_with(option)) {
            larkfold::fuzz::writeSeeds(std::string(argument.substr(option.size())));
            std::exit(EXIT_SUCCESS);
        }
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    larkfold::fuzz::read({reinterpret_cast<const char*>(bytes), size});
    return 0;
}
