// Loops of QvKernels that move rows or look at them, and round nothing.

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvKernels.h"

namespace QvCommon {
namespace {

using Doubles = std::vector<double>;

constexpr std::size_t kRows = QvKernels::kRows;

class QvKernelsRowsTest : public ::testing::TestWithParam<const QvKernels*> {
 protected:
  const QvKernels& kernels_ = *GetParam();
};

TEST_P(QvKernelsRowsTest, FillsColumns) {
  constexpr std::size_t kStride = 24;
  Doubles rows(kRows * kStride);
  for (std::size_t place = 0; place < rows.size(); ++place) {
    rows[place] = static_cast<double>(place);
  }
  for (const std::size_t n : {std::size_t{1}, std::size_t{37}, kRows}) {
    Doubles columns(rows.size(), -1.0);
    kernels_.fFillColumns(n, kStride, rows.data(), columns.data());
    for (std::size_t place = 0; place < columns.size(); ++place) {
      const std::size_t r = place % kRows;
      const std::size_t column = place / kRows;
      const bool isWritten = r < QvKernels::WholeLanes(n);
      EXPECT_EQ(columns[place], isWritten ? rows[r * kStride + column] : -1.0)
          << n << " rows, row " << r << ", column " << column;
    }
  }
}

TEST_P(QvKernelsRowsTest, FindsTheLeast) {
  for (const std::size_t n : {0U, 1U, 31U, 32U, 77U}) {
    Doubles numbers(n, 1.5);
    EXPECT_EQ(kernels_.fFindLeast(n, numbers.data()), 0.0);
    for (std::size_t i = 0; i < n; ++i) {
      const double before = numbers[i];
      numbers[i] = std::numeric_limits<double>::quiet_NaN();
      EXPECT_EQ(kernels_.fFindLeast(n, numbers.data()), 0.0) << i;
      numbers[i] = std::numeric_limits<double>::lowest();
      EXPECT_EQ(kernels_.fFindLeast(n, numbers.data()), numbers[i]) << i;
      numbers[i] = before;
    }
  }
}

TEST_P(QvKernelsRowsTest, SizesOfUnusualNumbersAreRefused) {
  Doubles rows(std::size_t{3} * 16, -1.5);
  Doubles sizes(16);
  EXPECT_TRUE(kernels_.fFindSizes(3, 16, rows.data(), sizes.data()));
  for (const double unusual : {0x1p+300, -std::numeric_limits<double>::infinity(),
                               std::numeric_limits<double>::quiet_NaN()}) {
    rows[21] = unusual;
    EXPECT_FALSE(kernels_.fFindSizes(3, 16, rows.data(), sizes.data())) << unusual;
  }
}

TEST_P(QvKernelsRowsTest, CountsLeadingColumnsOfShortNumbers) {
  Doubles rows(20 * 24, 3.0);
  Doubles sizes(24);
  const auto count = [&] {
    kernels_.fFindSizes(20, 24, rows.data(), sizes.data());
    return kernels_.fCountShort(20, 24, sizes.data(), rows.data());
  };
  EXPECT_EQ(count(), 24U);
  rows[4 * 24 + 17] = 0x1p+23 - 1.0;
  EXPECT_EQ(count(), 24U) << "23 bits";
  rows[19 * 24 + 17] = 0.5;
  EXPECT_EQ(count(), 16U) << "24 bits";
  rows[3] = 0.1;
  EXPECT_EQ(count(), 0U);
}

TEST(QvKernels, UsualNumbersAreNeitherTooLargeNorNoNumbers) {
  Doubles numbers(13, -1.5);
  numbers[4] = 0.0;
  numbers[5] = -0x1p+299;
  EXPECT_TRUE(QvKernels::AreUsual(numbers.size(), numbers.data()));
  for (const double unusual : {0x1p+300, -0x1p+300, std::numeric_limits<double>::infinity(),
                               std::numeric_limits<double>::quiet_NaN()}) {
    numbers[12] = unusual;
    EXPECT_FALSE(QvKernels::AreUsual(numbers.size(), numbers.data())) << unusual;
    EXPECT_FALSE(QvKernels::IsUsualWeight(unusual)) << unusual;
  }
  EXPECT_TRUE(QvKernels::IsUsualWeight(0.0));
  EXPECT_TRUE(QvKernels::IsUsualWeight(0x1p-299));
  EXPECT_FALSE(QvKernels::IsUsualWeight(0x1p-301));
}

INSTANTIATE_TEST_SUITE_P(Sets, QvKernelsRowsTest, ::testing::ValuesIn(QvKernels::GetAll()),
                         [](const auto& tested) { return std::string(tested.param->fName); });

}  // namespace
}  // namespace QvCommon
