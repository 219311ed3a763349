#include "host/fit/RowShuffle.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/Text.h"
#include "host/table/Connection.h"

namespace qvhost {
namespace {

std::vector<std::int64_t> Places(std::int64_t rows, std::uint64_t seed) {
  const RowShuffle shuffle(rows, seed);
  std::vector<std::int64_t> places;
  for (std::int64_t row = 0; row < rows; ++row) places.push_back(shuffle.PlaceOf(row));
  return places;
}

TEST(RowShuffle, GivesEachPlaceOnce) {
  for (const std::int64_t rows : {1, 2, 3, 4, 5, 16, 17, 100, 4097}) {
    for (const std::uint64_t seed : {std::uint64_t{0}, std::uint64_t{1}, ~std::uint64_t{0}}) {
      std::vector<std::int64_t> places = Places(rows, seed);
      std::ranges::sort(places);
      for (std::int64_t place = 0; place < rows; ++place) {
        ASSERT_EQ(places[static_cast<std::size_t>(place)], place) << rows << " " << seed;
      }
    }
  }
}

TEST(RowShuffle, IsTheOneOfItsDefinition) {
  Connection connection;
  const auto parts = connection.Rows(
      "SELECT holdout, fold, place_of_5_seed_3 FROM " +
      QuoteText((std::filesystem::path(QVREG_TEST_DATA) / "validation" / "parts.csv").string()));
  const auto rows = static_cast<std::int64_t>(parts.size());
  ASSERT_EQ(rows, 292);
  const std::vector<std::int64_t> first = Places(rows, 1);
  const std::vector<std::int64_t> fifth = Places(rows, 5);
  const std::vector<std::int64_t> few = Places(5, 3);
  for (std::size_t row = 0; row < parts.size(); ++row) {
    EXPECT_EQ(parts[row][0], first[row] < 73 ? "1" : "0") << row;
    EXPECT_EQ(parts[row][1], std::to_string(fifth[row] * 4 / rows + 1)) << row;
    if (row < few.size()) {
      EXPECT_EQ(parts[row][2], std::to_string(few[row])) << row;
    }
  }
}

TEST(RowShuffle, AnotherSeedGivesAnotherOrder) {
  EXPECT_EQ(Places(1000, 1), Places(1000, 1));
  const std::vector<std::int64_t> one = Places(1000, 1);
  const std::vector<std::int64_t> other = Places(1000, 2);
  int same = 0;
  for (std::size_t row = 0; row < one.size(); ++row) same += one[row] == other[row] ? 1 : 0;
  EXPECT_LT(same, 10);
}

}  // namespace
}  // namespace qvhost
