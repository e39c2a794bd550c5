// Which row of a flat list belongs to which section: a header for each section, and below each open
// one its items.
//
// A sum over the sections by powers of two stands behind it, so a row is found, and a section opened or
// closed, in a time that grows with the logarithm of the sections and not at all with the items. There is no
// object for a row. Removing sections goes once over all of them. All rows together fit into an `int`, as a
// view's do. Plain C++; one thread at a time.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

namespace larkfold {

class SectionRows {
public:
    struct Section {
        int items = 0;
        bool isOpen = false;
        bool operator==(const Section&) const = default;
    };
    // Where a row belongs; without an item it is the section's header.
    struct Place {
        int section = 0;
        std::optional<int> item = std::nullopt;
        bool operator==(const Place&) const = default;
    };
    // `count` rows from `first` on.
    struct Rows {
        int first = 0;
        int count = 0;
        bool operator==(const Rows&) const = default;
    };

    explicit SectionRows(std::vector<Section> sections = {});

    int rowCount() const { return rowCount_; }
    int sectionCount() const { return static_cast<int>(sections_.size()); }
    // Of a section that there is.
    const Section& section(int section) const { return sections_[static_cast<std::size_t>(section)]; }
    int headerRow(int section) const;
    // The rows that its items have, or would have if it were open.
    Rows itemRows(int section) const;
    // The rows of this section and of those behind it, `sections` of them together.
    Rows rowsOf(int section, int sections) const;

    // Nothing for a row out of range.
    std::optional<Place> placeOf(int row) const;
    // Nothing where there is no such section or item, and for an item of a closed section.
    std::optional<int> rowOf(const Place& place) const;

    void setOpen(int section, bool isOpen);
    void setItemCount(int section, int items);
    void removeSections(int first, int count);

private:
    int rowsOfOne(int section) const;
    void sumUp();
    void change(int section, const Section& wanted);

    std::vector<Section> sections_;
    // Entry i (from 1 on) holds the rows of as many sections up to the i-th as the lowest bit of i says.
    std::vector<int> sums_;
    int rowCount_ = 0;
    std::size_t highestPower_ =
        0;  // the largest power of two that is not above the number of sections; 0: none
};

}  // namespace larkfold
