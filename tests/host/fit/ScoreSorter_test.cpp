#include "host/fit/ScoreSorter.h"

#include <algorithm>
#include <random>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

using Fields = std::tuple<double, double, double, double>;

std::vector<ScoreEntry> Entries(std::size_t count) {
  std::mt19937 bits(1);  // NOLINT(*-msc51-cpp,*-msc32-c): the same in every run
  std::vector<ScoreEntry> entries;
  for (std::size_t i = 0; i < count; ++i) {
    entries.push_back({static_cast<double>(bits() % 3), static_cast<double>(bits() % 50) / 50.0,
                       static_cast<double>(bits() % 3), static_cast<double>(bits() % 4) / 4.0});
  }
  return entries;
}

std::vector<Fields> Sorted(ScoreSorter& sorter, const std::vector<ScoreEntry>& entries,
                           std::size_t atOnce) {
  for (std::size_t i = 0; i < entries.size(); i += atOnce) {
    sorter.Add(std::span(entries).subspan(i, std::min(atOnce, entries.size() - i)));
  }
  std::vector<Fields> sorted;
  sorter.Visit([&](const ScoreEntry& entry) {
    sorted.emplace_back(entry.level, entry.score, entry.own, entry.weight);
  });
  return sorted;
}

TEST(ScoreSorter, SortsInMemoryAndInRuns) {
  const qvtest::TempFolder folder;
  std::vector<ScoreEntry> entries = Entries(5000);
  std::vector<Fields> expected;
  for (const ScoreEntry& e : entries) expected.emplace_back(e.level, e.score, e.own, e.weight);
  std::ranges::sort(expected);
  for (const std::size_t most :
       {std::size_t{10000}, std::size_t{5000}, std::size_t{700}, std::size_t{64}}) {
    ScoreSorter sorter(folder.Path().string(), most);
    EXPECT_EQ(Sorted(sorter, entries, 50), expected) << most;
    // It may be used again.
    EXPECT_EQ(Sorted(sorter, entries, 33), expected) << most;
    std::ranges::reverse(entries);
  }
  EXPECT_TRUE(folder.IsEmpty());
}

TEST(ScoreSorter, HasNothingToVisitWithoutEntries) {
  const qvtest::TempFolder folder;
  ScoreSorter sorter(folder.Path().string());
  EXPECT_TRUE(Sorted(sorter, {}, 1).empty());
}

}  // namespace
}  // namespace qvhost
