// A list of 50,000 sections, and one section of 50,000 items: what a view asks for while it scrolls, and what
// a press on a header costs. A view asks for some dozens of rows in each frame, several roles of each.
//
// Beside each stands the same with a plain list of the sections' first rows, which is searched as fast but
// has to be counted anew after each press.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "shell/kit/SectionRows.h"

namespace larkfold {
namespace {

constexpr int many = 50'000;

using Section = SectionRows::Section;

std::vector<Section> manySections() {
    std::vector<Section> sections(many, {.items = 3});
    for (std::size_t section = 0; section < sections.size(); section += 3) {
        sections[section].isOpen = true;
    }
    return sections;
}

std::vector<int> firstRows(const std::vector<Section>& sections) {
    std::vector<int> rows;
    rows.reserve(sections.size() + 1);
    int row = 0;
    for (const Section& section : sections) {
        rows.push_back(row);
        row += 1 + (section.isOpen ? section.items : 0);
    }
    rows.push_back(row);
    return rows;
}

std::vector<int> someRows(int rowCount) {
    std::mt19937 random(20'261'122);
    std::vector<int> rows(4096);
    for (int& row : rows) {
        row = static_cast<int>(random() % static_cast<unsigned>(rowCount));
    }
    return rows;
}

void findARow(benchmark::State& state, const SectionRows& rows) {
    const std::vector<int> wanted = someRows(rows.rowCount());
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(rows.placeOf(wanted[next++ % wanted.size()]));
    }
}

void findARowAmongManySections(benchmark::State& state) {
    findARow(state, SectionRows(manySections()));
}

void findARowInOneLargeSection(benchmark::State& state) {
    findARow(state, SectionRows({{.items = 1}, {.items = many, .isOpen = true}, {.items = 1}}));
}

void findARowInThePlainList(benchmark::State& state) {
    const std::vector<int> rows = firstRows(manySections());
    const std::vector<int> wanted = someRows(rows.back());
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::upper_bound(rows.begin(), rows.end(), wanted[next++ % wanted.size()]));
    }
}

void pressAHeaderAmongManySections(benchmark::State& state) {
    SectionRows rows(manySections());
    std::mt19937 random(1);
    for (auto _ : state) {
        const int section = static_cast<int>(random() % many);
        benchmark::DoNotOptimize(rows.itemRows(section));
        rows.setOpen(section, !rows.section(section).isOpen);
    }
}

void pressTheHeaderOfOneLargeSection(benchmark::State& state) {
    SectionRows rows({{.items = 1}, {.items = many}, {.items = 1}});
    for (auto _ : state) {
        benchmark::DoNotOptimize(rows.itemRows(1));
        rows.setOpen(1, !rows.section(1).isOpen);
    }
}

void pressAHeaderOfThePlainList(benchmark::State& state) {
    std::vector<Section> sections = manySections();
    std::mt19937 random(1);
    for (auto _ : state) {
        Section& section = sections[random() % many];
        section.isOpen = !section.isOpen;
        benchmark::DoNotOptimize(firstRows(sections));
    }
}

void takeManySections(benchmark::State& state) {
    const std::vector<Section> sections = manySections();
    for (auto _ : state) {
        benchmark::DoNotOptimize(SectionRows(sections));
    }
}

BENCHMARK(findARowAmongManySections);
BENCHMARK(findARowInOneLargeSection);
BENCHMARK(findARowInThePlainList);
BENCHMARK(pressAHeaderAmongManySections);
BENCHMARK(pressTheHeaderOfOneLargeSection);
BENCHMARK(pressAHeaderOfThePlainList);
BENCHMARK(takeManySections)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace larkfold

BENCHMARK_MAIN();
