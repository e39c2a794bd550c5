#include "shell/kit/SectionRows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <vector>

namespace larkfold {
namespace {

using Section = SectionRows::Section;
using Place = SectionRows::Place;
using Rows = SectionRows::Rows;

// The same rows one by one, as whoever has never heard of sums would write them down.
std::vector<Place> listed(const std::vector<Section>& sections) {
    std::vector<Place> places;
    for (int section = 0; section < static_cast<int>(sections.size()); ++section) {
        const Section& each = sections[static_cast<std::size_t>(section)];
        places.push_back({.section = section});
        for (int item = 0; each.isOpen && item < each.items; ++item) {
            places.push_back({.section = section, .item = item});
        }
    }
    return places;
}

void expectSame(const SectionRows& rows, const std::vector<Section>& sections) {
    const std::vector<Place> places = listed(sections);
    ASSERT_EQ(rows.rowCount(), static_cast<int>(places.size()));
    ASSERT_EQ(rows.sectionCount(), static_cast<int>(sections.size()));
    for (int row = 0; row < rows.rowCount(); ++row) {
        const Place& place = places[static_cast<std::size_t>(row)];
        ASSERT_EQ(rows.placeOf(row), place) << "row " << row;
        ASSERT_EQ(rows.rowOf(place), row);
        if (!place.item) {
            ASSERT_EQ(rows.headerRow(place.section), row);
            const int items = sections[static_cast<std::size_t>(place.section)].items;
            ASSERT_EQ(rows.itemRows(place.section), (Rows{.first = row + 1, .count = items}));
        }
    }
    EXPECT_EQ(rows.placeOf(-1), std::nullopt);
    EXPECT_EQ(rows.placeOf(rows.rowCount()), std::nullopt);
}

TEST(SectionRowsTest, withoutSectionsThereAreNoRows) {
    const SectionRows rows;
    EXPECT_EQ(rows.rowCount(), 0);
    EXPECT_EQ(rows.placeOf(0), std::nullopt);
    EXPECT_EQ(rows.rowOf({.section = 0}), std::nullopt);
}

TEST(SectionRowsTest, anItemHasARowOnlyWhileItsSectionIsOpen) {
    SectionRows rows({{.items = 2}, {.items = 3, .isOpen = true}});
    EXPECT_EQ(rows.rowOf({.section = 0, .item = 1}), std::nullopt);
    EXPECT_EQ(rows.rowOf({.section = 1, .item = 2}), 4);
    EXPECT_EQ(rows.rowOf({.section = 1, .item = 3}), std::nullopt);
    EXPECT_EQ(rows.rowOf({.section = 1, .item = -1}), std::nullopt);
    EXPECT_EQ(rows.rowOf({.section = 2}), std::nullopt);
    rows.setOpen(0, true);
    EXPECT_EQ(rows.rowOf({.section = 0, .item = 1}), 2);
    EXPECT_EQ(rows.rowOf({.section = 1, .item = 2}), 6);
}

TEST(SectionRowsTest, aSectionWithoutItemsOpensToNothing) {
    SectionRows rows({{.items = 0}, {.items = 1}});
    rows.setOpen(0, true);
    EXPECT_EQ(rows.rowCount(), 2);
    EXPECT_TRUE(rows.section(0).isOpen);
    EXPECT_EQ(rows.itemRows(0), (Rows{.first = 1, .count = 0}));
}

// Opening, closing, growing and removing at random, compared with the plain list after each step.
TEST(SectionRowsTest, whateverIsDoneTheRowsAreThoseOfThePlainList) {
    for (unsigned seed = 1; seed <= 40; ++seed) {
        std::mt19937 random(seed);
        const auto below = [&](int limit) {
            return static_cast<int>(random() % static_cast<unsigned>(limit));
        };
        const auto some = [&](int most) {
            std::vector<Section> made(static_cast<std::size_t>(below(most + 1)));
            for (Section& each : made) {
                each = {.items = below(6), .isOpen = below(2) == 0};
            }
            return made;
        };
        std::vector<Section> sections = some(40);
        SectionRows rows(sections);
        expectSame(rows, sections);
        for (int step = 0; step < 60; ++step) {
            const int count = static_cast<int>(sections.size());
            if (count == 0) {
                break;
            }
            const int action = below(3);
            if (action == 0) {
                const int section = below(count);
                const bool isOpen = below(2) == 0;
                sections[static_cast<std::size_t>(section)].isOpen = isOpen;
                rows.setOpen(section, isOpen);
            } else if (action == 1) {
                const int section = below(count);
                const int items = below(9);
                sections[static_cast<std::size_t>(section)].items = items;
                rows.setItemCount(section, items);
            } else {
                const int first = below(count);
                const int gone = below(std::min(count - first, 2) + 1);
                const std::size_t before = listed(sections).size();
                const Rows range = rows.rowsOf(first, gone);
                sections.erase(sections.begin() + first, sections.begin() + first + gone);
                rows.removeSections(first, gone);
                ASSERT_EQ(before - listed(sections).size(), static_cast<std::size_t>(range.count));
            }
            expectSame(rows, sections);
            if (HasFatalFailure()) {
                FAIL() << "seed " << seed << ", step " << step;
            }
        }
    }
}

TEST(SectionRowsTest, fiftyThousandSectionsAndOneOfFiftyThousandItemsAreExact) {
    constexpr int many = 50'000;
    SectionRows sections(std::vector<Section>(many, {.items = 3}));
    for (int section = 0; section < many; section += 2) {
        sections.setOpen(section, true);
    }
    EXPECT_EQ(sections.rowCount(), many + many / 2 * 3);
    EXPECT_EQ(sections.placeOf(sections.rowCount() - 1), (Place{.section = many - 1}));
    EXPECT_EQ(sections.placeOf(sections.rowCount() - 2), (Place{.section = many - 2, .item = 2}));
    EXPECT_EQ(sections.headerRow(many - 1), sections.rowCount() - 1);

    SectionRows one({{.items = 1}, {.items = many}, {.items = 1}});
    one.setOpen(1, true);
    EXPECT_EQ(one.itemRows(1), (Rows{.first = 2, .count = many}));
    EXPECT_EQ(one.placeOf(1 + many), (Place{.section = 1, .item = many - 1}));
    EXPECT_EQ(one.placeOf(2 + many), (Place{.section = 2}));
}

}  // namespace
}  // namespace larkfold
