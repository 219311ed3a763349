#include "qvreg/common/QvAlignedDoubles.h"

#include <cstddef>
#include <cstdint>
#include <utility>

#include <gtest/gtest.h>

namespace {

using QvCommon::QvAlignedDoubles;

bool BeginsALine(const QvAlignedDoubles& numbers) {
  constexpr std::uintptr_t kLine = 64;
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the address is what is tested.
  return reinterpret_cast<std::uintptr_t>(numbers.data()) % kLine == 0;
}

TEST(QvAlignedDoubles, BeginALineAsTheyGrow) {
  QvAlignedDoubles numbers;
  for (std::size_t i = 0; i < 100000; ++i) {
    numbers.push_back(static_cast<double>(i));
    ASSERT_TRUE(BeginsALine(numbers)) << i;
  }
  EXPECT_EQ(numbers[77777], 77777.0);
}

TEST(QvAlignedDoubles, BeginALineWhereTheyAreCopiedAndMoved) {
  QvAlignedDoubles numbers(1003, 2.5);
  const QvAlignedDoubles copy = numbers;
  EXPECT_TRUE(BeginsALine(copy));
  EXPECT_EQ(copy, numbers);
  const double* const place = numbers.data();
  const QvAlignedDoubles moved = std::move(numbers);
  EXPECT_EQ(moved.data(), place);
}

}  // namespace
