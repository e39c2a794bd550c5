// The negative control: a reader of bookmarks that is broken on purpose, as such readers are. It takes the
// path for short. Where the search does not find that out, it finds nothing.
#include <array>
#include <cstring>

#include "StoredFormat.h"
#include "platform/Bookmark.h"

namespace larkfold::fuzz {

void writeSeeds(const std::string& folder) {
    writeBytes(folder + "/root", makeBookmark("/"));
}

void read(std::string_view bytes) {
    constexpr std::string_view key = "\"path\":\"";
    const std::size_t at = bytes.find(key);
    if (at == std::string_view::npos) {
        return;
    }
    const std::string_view path =
        bytes.substr(at + key.size(), bytes.find('"', at + key.size()) - at - key.size());
    std::array<char, 24> kept{};
    std::memcpy(kept.data(), path.data(), path.size());
    require(kept.front() != '\1');
}

}  // namespace larkfold::fuzz
