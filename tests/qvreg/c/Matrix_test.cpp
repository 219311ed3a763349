#include <array>
#include <cstddef>
#include <cstdint>

#include <gtest/gtest.h>

#include "qvreg/c/QvCMatrix.h"

namespace {

double ElementOf(std::size_t i, std::size_t j) { return static_cast<double>(10 * i + j); }

TEST(CMatrix, RowsStandAStrideApart) {
  std::array<double, 5> buffer{-1, -1, -1, -1, -1};
  std::size_t count = 0;
  QvCCopyMatrix(2, 3, buffer.data(), buffer.size(), &count, ElementOf);
  EXPECT_EQ(count, 5U);
  EXPECT_EQ(buffer, (std::array<double, 5>{0, 1, -1, 10, 11}));
}

TEST(CMatrix, AStrideThatNoMemoryHoldsIsRefusedBeforeAnythingIsWritten) {
  std::array<double, 4> buffer{-1, -1, -1, -1};
  for (const std::size_t stride : {SIZE_MAX, SIZE_MAX / 2, SIZE_MAX / 8, std::size_t{1} << 62}) {
    std::size_t count = 7;
    EXPECT_THROW(QvCCopyMatrix(5, stride, buffer.data(), 1, &count, ElementOf), QvCRefusal);
    EXPECT_EQ(count, 7U);
  }
  EXPECT_EQ(buffer, (std::array<double, 4>{-1, -1, -1, -1}));
}

TEST(CMatrix, AStrideBelowARowIsRefused) {
  std::array<double, 4> buffer{};
  EXPECT_THROW(QvCCopyMatrix(2, 1, buffer.data(), 4, nullptr, ElementOf), QvCRefusal);
}

}  // namespace
