// Numbers by text: open addressing, 8 bytes for each slot, so that the table of all directories stays in the
// processor's cache; a load of the saved scan asks it for the parent of nearly every row. The texts stay with
// the caller. One object belongs to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <utility>
#include <vector>

namespace larkfold {

class PathTable {
public:
    static constexpr std::uint32_t none = UINT32_MAX;

    std::uint32_t find(std::string_view path) const { return slots_[slotOf(path, hashOf(path))].number; }

    // Gives the path the next number, from 0; false where it has one already. `path` must outlive the table.
    bool insert(std::string_view path) {
        if (2 * (paths_.size() + 1) > slots_.size()) {
            grow();
        }
        const std::uint32_t hash = hashOf(path);
        Slot& slot = slots_[slotOf(path, hash)];
        if (slot.number != none) {
            return false;
        }
        slot = {.hash = hash, .number = static_cast<std::uint32_t>(paths_.size())};
        paths_.push_back(path);
        return true;
    }

private:
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t number = none;
    };

    static std::uint32_t hashOf(std::string_view path) {
        const std::size_t hash = std::hash<std::string_view>()(path);
        return static_cast<std::uint32_t>(hash ^ (hash >> 32));
    }

    // Where the path stands, or would.
    std::size_t slotOf(std::string_view path, std::uint32_t hash) const {
        const std::size_t mask = slots_.size() - 1;
        std::size_t at = hash & mask;
        while (slots_[at].number != none && (slots_[at].hash != hash || paths_[slots_[at].number] != path)) {
            at = (at + 1) & mask;
        }
        return at;
    }

    void grow() {
        const std::vector<Slot> old = std::exchange(slots_, std::vector<Slot>(slots_.size() * 2));
        const std::size_t mask = slots_.size() - 1;
        for (const Slot& slot : old) {
            if (slot.number != none) {
                std::size_t at = slot.hash & mask;
                while (slots_[at].number != none) {
                    at = (at + 1) & mask;
                }
                slots_[at] = slot;
            }
        }
    }

    std::vector<Slot> slots_ = std::vector<Slot>(1024);  // a power of two, at most half of them taken
    std::vector<std::string_view> paths_;
};

}  // namespace larkfold
