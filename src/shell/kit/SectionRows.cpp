#include "shell/kit/SectionRows.h"

#include <bit>
#include <utility>

namespace larkfold {

namespace {

std::size_t lowestBit(std::size_t number) {
    return number & (~number + 1);
}

}  // namespace

SectionRows::SectionRows(std::vector<Section> sections) : sections_(std::move(sections)) {
    sumUp();
}

int SectionRows::rowsOfOne(int number) const {
    const Section& each = section(number);
    return 1 + (each.isOpen ? each.items : 0);
}

void SectionRows::sumUp() {
    sums_.assign(sections_.size() + 1, 0);
    rowCount_ = 0;
    for (std::size_t entry = 1; entry < sums_.size(); ++entry) {
        const int rows = rowsOfOne(static_cast<int>(entry) - 1);
        rowCount_ += rows;
        sums_[entry] += rows;
        const std::size_t next = entry + lowestBit(entry);
        if (next < sums_.size()) {
            sums_[next] += sums_[entry];
        }
    }
    highestPower_ = sections_.empty() ? 0 : std::bit_floor(sections_.size());
}

int SectionRows::headerRow(int section) const {
    int row = 0;
    for (auto entry = static_cast<std::size_t>(section); entry > 0; entry -= lowestBit(entry)) {
        row += sums_[entry];
    }
    return row;
}

SectionRows::Rows SectionRows::itemRows(int number) const {
    return {.first = headerRow(number) + 1, .count = section(number).items};
}

SectionRows::Rows SectionRows::rowsOf(int section, int sections) const {
    const int first = headerRow(section);
    return {.first = first, .count = headerRow(section + sections) - first};
}

std::optional<SectionRows::Place> SectionRows::placeOf(int row) const {
    if (row < 0 || row >= rowCount_) {
        return std::nullopt;
    }
    // The most sections whose rows all lie before this one, found from the largest power of two downwards.
    std::size_t before = 0;
    int left = row;
    for (std::size_t power = highestPower_; power > 0; power /= 2) {
        if (before + power < sums_.size() && sums_[before + power] <= left) {
            before += power;
            left -= sums_[before];
        }
    }
    return Place{.section = static_cast<int>(before),
                 .item = left == 0 ? std::nullopt : std::optional<int>(left - 1)};
}

std::optional<int> SectionRows::rowOf(const Place& place) const {
    if (place.section < 0 || place.section >= sectionCount()) {
        return std::nullopt;
    }
    if (!place.item) {
        return headerRow(place.section);
    }
    const Section& holder = section(place.section);
    if (!holder.isOpen || *place.item < 0 || *place.item >= holder.items) {
        return std::nullopt;
    }
    return headerRow(place.section) + 1 + *place.item;
}

void SectionRows::change(int number, const Section& wanted) {
    const int before = rowsOfOne(number);
    sections_[static_cast<std::size_t>(number)] = wanted;
    const int difference = rowsOfOne(number) - before;
    rowCount_ += difference;
    for (std::size_t entry = static_cast<std::size_t>(number) + 1; difference != 0 && entry < sums_.size();
         entry += lowestBit(entry)) {
        sums_[entry] += difference;
    }
}

void SectionRows::setOpen(int number, bool isOpen) {
    change(number, {.items = section(number).items, .isOpen = isOpen});
}

void SectionRows::setItemCount(int number, int items) {
    change(number, {.items = items, .isOpen = section(number).isOpen});
}

void SectionRows::removeSections(int first, int count) {
    sections_.erase(sections_.begin() + first, sections_.begin() + first + count);
    sumUp();
}

}  // namespace larkfold
