// Every set of kernels that this machine can run, against plain loops and each other.

#include "qvreg/common/QvKernels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvDoubleDouble.h"

namespace QvCommon {
namespace {

using Doubles = std::vector<double>;

constexpr std::size_t kRows = QvKernels::kRows;

Doubles MakeNumbers(std::size_t n, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> uniform(-3.0, 3.0);
  Doubles numbers(n);
  for (double& number : numbers) number = uniform(random);
  return numbers;
}

class QvKernelsTest : public ::testing::TestWithParam<const QvKernels*> {
 protected:
  const QvKernels& kernels_ = *GetParam();
};

/// What a set computes of these numbers; sets of the same arithmetic must agree to the last bit.
Doubles ComputeAll(const QvKernels& kernels) {
  constexpr std::size_t kColumns = 24;
  constexpr std::size_t kUsed = 41;
  const Doubles numbers = MakeNumbers(kRows * kColumns, 3);
  const Doubles others = MakeNumbers(kRows * kColumns, 4);
  Doubles all(kRows);
  kernels.fMultiplyColumns(kColumns, numbers.data(), others.data(), all.data());
  Doubles sums(kColumns);
  kernels.fSumWeightedRows(kUsed, kColumns, kColumns, others.data(), numbers.data(), sums.data());
  all.insert(all.end(), sums.begin(), sums.end());
  Doubles strip(8 * kColumns);
  kernels.fMultiplyStrip(kUsed, kColumns, 7, kColumns, others.data(), numbers.data(), strip.data());
  all.insert(all.end(), strip.begin(), strip.begin() + 7 * kColumns);
  Doubles low(strip.size());
  const Doubles bounds(kColumns, 4.0);
  const Doubles leftBounds(kColumns, QvExactStrip::kStart * 4.0);
  kernels.fMultiplyStripExactly({kUsed, kColumns, kColumns, others.data(), nullptr,
                                 leftBounds.data(), numbers.data(), bounds.data(), strip.data(),
                                 low.data()});
  all.insert(all.end(), strip.begin(), strip.end());
  all.insert(all.end(), low.begin(), low.end());
  return all;
}

TEST(QvKernels, TheLastIsUsed) {
  const auto sets = QvKernels::GetAll();
  ASSERT_FALSE(sets.empty());
  EXPECT_STREQ(sets.front()->fName, "baseline");
  if (std::getenv("QVREG_ARITHMETIC") == nullptr) {
    EXPECT_EQ(&QvKernels::Get(), sets.back());
  }
}

TEST_P(QvKernelsTest, SetsOfOneArithmeticAgree) {
  const Doubles mine = ComputeAll(kernels_);
  for (const QvKernels* other : QvKernels::GetAll()) {
    const Doubles others = ComputeAll(*other);
    if (other->fbFused == kernels_.fbFused) {
      EXPECT_EQ(mine, others) << other->fName;
      continue;
    }
    // High parts of exact sums, and with them low ones, may be apart by a unit of their grid.
    for (std::size_t i = 0; i < mine.size(); ++i) EXPECT_NEAR(mine[i], others[i], 1e-12) << i;
  }
}

TEST_P(QvKernelsTest, SolvesEachOfTheSystemsAsPlainLoopsDo) {
  constexpr std::size_t kLanes = QvKernels::kLanes;
  const Doubles sums = MakeNumbers(kLanes * kLanes, 5);
  const Doubles given = MakeNumbers(kLanes * kLanes, 6);
  Doubles triangle = MakeNumbers(kLanes * kLanes, 7);
  for (std::size_t j = 0; j < kLanes; ++j) triangle[j * (kLanes + 1)] = 1.0 + std::fabs(sums[j]);
  triangle[3 * (kLanes + 1)] = 0.0;
  triangle[5 * (kLanes + 1)] = std::nan("");
  for (std::size_t n = 1; n <= kLanes; ++n) {
    Doubles columns = given;
    kernels_.fSolveColumns(n, triangle.data(), sums.data(), columns.data());
    Doubles expected = given;
    for (std::size_t i = 0; i < n * kLanes; ++i) {
      const std::size_t j = i / kLanes;
      double sum = sums[i];
      for (std::size_t k = 0; k < j; ++k) {
        sum += triangle[j * kLanes + k] * expected[k * kLanes + i % kLanes];
      }
      const double pivot = triangle[j * (kLanes + 1)];
      expected[i] = pivot > 0.0 ? (given[i] - sum) / pivot : 0.0;
    }
    EXPECT_EQ(columns, expected) << n;
  }
}

/// The product of the leading number of a column on the left, plus its rest, and all on the right,
/// with the first `nRows` of the rows that a strip of 8 columns has.
QvDoubleDouble SumOfProducts(const Doubles& left, const Doubles& rest, const Doubles& right,
                             std::size_t nRows, std::size_t i, std::size_t j) {
  QvDoubleDouble sum;
  for (std::size_t r = 0; r < nRows; ++r) {
    QvDoubleDouble term = QvDoubleDouble::Product(left[r * 8 + i], right[r * 8 + j]);
    if (!rest.empty()) term.fLow += rest[r * 8 + i] * right[r * 8 + j];
    sum.Add(term);
  }
  return sum;
}

TEST_P(QvKernelsTest, MultipliesStripsExactly) {
  constexpr std::size_t kMost = 128;
  const Doubles left = MakeNumbers(kMost * 8, 5);
  Doubles right = MakeNumbers(kMost * 8, 6);
  for (std::size_t i = 0; i < right.size(); ++i) {
    right[i] = std::ldexp(right[i], static_cast<int>(i / 8 % 40) - 40);
  }
  Doubles rest(left.size());
  for (std::size_t i = 0; i < rest.size(); ++i) rest[i] = std::ldexp(right[i], -52);
  const Doubles bounds(8, 4.0);
  const Doubles leftBounds(8, QvExactStrip::kStart * 4.0);
  Doubles high(64);
  Doubles low(64);
  for (const std::size_t nRows : {std::size_t{1}, std::size_t{77}, kMost}) {
    for (const Doubles& used : {Doubles{}, rest}) {
      kernels_.fMultiplyStripExactly({nRows, 8, 8, left.data(),
                                      used.empty() ? nullptr : used.data(), leftBounds.data(),
                                      right.data(), bounds.data(), high.data(), low.data()});
      for (std::size_t place = 0; place < high.size(); ++place) {
        QvDoubleDouble off = SumOfProducts(left, used, right, nRows, place / 8, place % 8);
        off.Add({-high[place], -low[place]});
        EXPECT_LT(std::fabs(off.Value()), 9.0 * 0x1p-82) << nRows << " rows, " << place;
      }
    }
  }
}

TEST_P(QvKernelsTest, WeighsRowsExactly) {
  const Doubles rows = MakeNumbers(16, 7);
  const Doubles weights = MakeNumbers(2, 8);
  Doubles high(16);
  Doubles low(16);
  kernels_.fWeighRows(2, 8, weights.data(), rows.data(), high.data(), low.data());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const QvDoubleDouble expected = QvDoubleDouble::Product(weights[i / 8], rows[i]);
    EXPECT_EQ(high[i], expected.fHigh) << i;
    EXPECT_EQ(low[i], expected.fLow) << i;
  }
}

TEST_P(QvKernelsTest, SubtractsProductsInDoubleDouble) {
  constexpr std::size_t kColumns = 9;
  const Doubles columns = MakeNumbers(kRows * kColumns, 9);
  const Doubles coefficients = MakeNumbers(kColumns, 10);
  Doubles high = MakeNumbers(kRows, 11);
  Doubles low(kRows, 0x1p-70);
  const Doubles before = high;
  kernels_.fSubtractProducts(kColumns, columns.data(), coefficients.data(), high.data(),
                             low.data());
  for (std::size_t r = 0; r < kRows; ++r) {
    QvDoubleDouble expected{before[r], 0x1p-70};
    for (std::size_t j = 0; j < kColumns; ++j) {
      expected.Add(QvDoubleDouble::Product(-coefficients[j], columns[j * kRows + r]));
    }
    EXPECT_EQ(high[r], expected.fHigh) << r;
    EXPECT_EQ(low[r], expected.fLow) << r;
  }
}

/// The difference of two double-double numbers.
double Difference(const QvDoubleDouble& a, const QvDoubleDouble& b) {
  QvDoubleDouble difference = a;
  difference.Add({-b.fHigh, -b.fLow});
  return difference.Value();
}

TEST_P(QvKernelsTest, AddsWeightedColumnsInDoubleDouble) {
  constexpr std::size_t kColumns = 5;
  const Doubles columns = MakeNumbers(kRows * kColumns, 12);
  const Doubles weights = MakeNumbers(kRows, 13);
  Doubles lows(kRows);
  for (std::size_t r = 0; r < kRows; ++r) lows[r] = std::ldexp(weights[r], -54);
  Doubles high(kColumns, 0.5);
  Doubles low(kColumns, 0x1p-60);
  kernels_.fAddWeightedColumns(kColumns, columns.data(), weights.data(), lows.data(), high.data(),
                               low.data());
  for (std::size_t j = 0; j < kColumns; ++j) {
    QvDoubleDouble expected{0.5, 0x1p-60};
    for (std::size_t r = 0; r < kRows; ++r) {
      const double number = columns[j * kRows + r];
      QvDoubleDouble term = QvDoubleDouble::Product(weights[r], number);
      term.fLow += lows[r] * number;
      expected.Add(term);
    }
    EXPECT_LT(std::fabs(Difference({high[j], low[j]}, expected)), 1e-29) << j;
  }
}

TEST_P(QvKernelsTest, AddsMomentsInDoubleDouble) {
  const Doubles weights = MakeNumbers(kRows, 14);
  const Doubles numbers = MakeNumbers(kRows, 15);
  std::array<double, 2> first{1.0, 0.0};
  std::array<double, 2> second{2.0, 0.0};
  kernels_.fAddMoments(weights.data(), numbers.data(), first.data(), second.data());
  QvDoubleDouble expectedFirst{1.0, 0.0};
  QvDoubleDouble expectedSecond{2.0, 0.0};
  for (std::size_t r = 0; r < kRows; ++r) {
    const QvDoubleDouble weighted = QvDoubleDouble::Product(weights[r], numbers[r]);
    expectedFirst.Add(weighted);
    expectedSecond.Add(weighted.Times(numbers[r]));
  }
  EXPECT_LT(std::fabs(Difference({first[0], first[1]}, expectedFirst)), 1e-29);
  EXPECT_LT(std::fabs(Difference({second[0], second[1]}, expectedSecond)), 1e-28);
}

TEST_P(QvKernelsTest, MovesMeans) {
  constexpr std::size_t kMoved = 41;
  for (const std::size_t width : {8U, 9U, 11U, 16U, 31U, 101U}) {
    const Doubles numbers = MakeNumbers(kMoved * width, 19);
    Doubles weights = MakeNumbers(kMoved, 20);
    Doubles totals(kMoved);
    double total = 2.0;
    for (std::size_t r = 0; r < kMoved; ++r) {
      weights[r] = std::fabs(weights[r]);
      totals[r] = total += weights[r];
    }
    std::vector<const double*> rows(kMoved);
    for (std::size_t r = 0; r < kMoved; ++r) rows[r] = &numbers[r * width];
    const Doubles means = MakeNumbers(width, 21);
    const Doubles sizes(width, 2.5);
    Doubles moved(width);
    Doubles largest(width);
    const std::array<const double*, 2> before{means.data(), sizes.data()};
    const std::array<double*, 2> after{moved.data(), largest.data()};
    const auto move = [&](const std::vector<const double*>& used) {
      return kernels_.fMoveMeans(kMoved, used.data(), width, weights.data(), totals.data(),
                                 before.data(), after.data());
    };
    EXPECT_TRUE(move(rows));
    for (std::size_t j = 0; j < width; ++j) {
      double mean = means[j];
      double size = sizes[j];
      for (std::size_t r = 0; r < kMoved; ++r) {
        mean += (rows[r][j] - mean) / totals[r] * weights[r];
        size = std::max(size, std::fabs(rows[r][j]));
      }
      EXPECT_EQ(moved[j], mean) << j;
      EXPECT_EQ(largest[j], size) << j;
    }
  }
}

TEST_P(QvKernelsTest, RefusesMeansThatCancelOrAreNotFinite) {
  for (const std::size_t width : {8U, 11U, 40U}) {
    const Doubles ones(width, 1.0);
    Doubles moved(width);
    Doubles largest(width);
    const std::array<const double*, 2> before{ones.data(), ones.data()};
    const std::array<double*, 2> after{moved.data(), largest.data()};
    // With a weight of 1 in 2, a mean of 1 becomes (1 + number) / 2.
    const auto moves = [&](std::size_t column, double number) {
      Doubles numbers = ones;
      numbers[column] = number;
      const std::array<const double*, 3> rows{ones.data(), numbers.data(), ones.data()};
      const Doubles weights{0.0, 1.0, 1.0};
      const Doubles totals{1.0, 2.0, 3.0};
      return kernels_.fMoveMeans(rows.size(), rows.data(), width, weights.data(), totals.data(),
                                 before.data(), after.data());
    };
    for (std::size_t column = 0; column < width; ++column) {
      EXPECT_TRUE(moves(column, -1.0)) << "0";
      EXPECT_TRUE(moves(column, -1.0 + 0x1p-50)) << "two roundings";
      EXPECT_FALSE(moves(column, -1.0 + 0x1p-51)) << "one rounding";
      EXPECT_FALSE(moves(column, std::numeric_limits<double>::infinity()));
      EXPECT_FALSE(moves(column, std::numeric_limits<double>::quiet_NaN()));
    }
  }
}

TEST_P(QvKernelsTest, FindsTheLeast) {
  for (const std::size_t n : {0U, 1U, 31U, 32U, 77U}) {
    Doubles numbers = MakeNumbers(n, 22);
    for (double& number : numbers) number = std::fabs(number);
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

TEST_P(QvKernelsTest, ExponentialsAreThoseOfEverySet) {
  Doubles x = MakeNumbers(1000, 16);
  for (double& number : x) number = -236.0 * std::fabs(number);
  Doubles mine(x.size());
  kernels_.fExps(x.size(), x.data(), mine.data());
  Doubles baseline(x.size());
  QvKernels::GetAll().front()->fExps(x.size(), x.data(), baseline.data());
  EXPECT_EQ(mine, baseline);
  for (std::size_t i = 0; i < x.size(); ++i) EXPECT_NEAR(mine[i] / std::exp(x[i]), 1.0, 3e-16);
}

INSTANTIATE_TEST_SUITE_P(Sets, QvKernelsTest, ::testing::ValuesIn(QvKernels::GetAll()),
                         [](const auto& tested) { return std::string(tested.param->fName); });

TEST(QvKernels, UsualNumbersAreNeitherTooLargeNorNoNumbers) {
  Doubles numbers = MakeNumbers(13, 17);
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

TEST_P(QvKernelsTest, SizesOfUnusualNumbersAreRefused) {
  Doubles rows = MakeNumbers(3 * 16, 18);
  Doubles sizes(16);
  EXPECT_TRUE(kernels_.fFindSizes(3, 16, rows.data(), sizes.data()));
  for (const double unusual : {0x1p+300, -std::numeric_limits<double>::infinity(),
                               std::numeric_limits<double>::quiet_NaN()}) {
    rows[21] = unusual;
    EXPECT_FALSE(kernels_.fFindSizes(3, 16, rows.data(), sizes.data())) << unusual;
  }
}

TEST_P(QvKernelsTest, CountsLeadingColumnsOfShortNumbers) {
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

}  // namespace
}  // namespace QvCommon
