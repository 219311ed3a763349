// Every set of kernels that this machine can run, against plain loops and each other.

#include "qvreg/common/QvKernels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
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
  Doubles all;
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

/// The same of the loops over columns, of some rows and of all.
Doubles ComputeColumns(const QvColumnKernels& kernels, std::size_t nRows, std::size_t K) {
  constexpr std::size_t kColumns = 11;
  constexpr std::size_t kPadded = 16;
  constexpr std::size_t kStep = QvColumnKernels::kRows;
  const Doubles numbers = MakeNumbers(kStep * kPadded, 13);
  std::vector<const double*> columns;
  for (std::size_t j = 0; j < kPadded; ++j) columns.push_back(&numbers[j * kStep]);
  const Doubles coefficients = MakeNumbers(kColumns, 14);
  Doubles weights = MakeNumbers(kStep, 15);
  for (double& weight : weights) weight += 3.5;
  Doubles categories(kStep);
  for (std::size_t r = 0; r < kStep; ++r) categories[r] = static_cast<double>(r * r % K);

  Doubles all{kernels.fSumMagnitudes(nRows, kColumns, columns.data())};
  const auto keep = [&](const Doubles& more) { all.insert(all.end(), more.begin(), more.end()); };
  Doubles predictors((K - 1) * kStep);
  for (std::size_t c = 0; c + 1 < K; ++c) {
    kernels.fMultiply(nRows, kColumns, columns.data() + c, coefficients.data(),
                      &predictors[c * kStep]);
  }
  keep(predictors);
  for (std::size_t nLeft = 1; nLeft <= QvColumnKernels::kMostLeft; ++nLeft) {
    Doubles sums(nLeft * kPadded, 1.0);
    std::vector<double*> rows;
    for (std::size_t i = 0; i < nLeft; ++i) rows.push_back(&sums[i * kPadded]);
    kernels.fAddPairs(nRows, nLeft, numbers.data(), kColumns, columns.data(), rows.data());
    for (double* row : rows) keep(Doubles(row, row + kColumns));
  }
  Doubles probabilities(K * kStep);
  Doubles largest(kStep);
  all.push_back(kernels.fShift(nRows, K, predictors.data(), probabilities.data(), largest.data()));
  for (double& number : probabilities) number = std::exp(number);
  Doubles sums(kStep, 1.0);
  kernels.fDivide(nRows, K, predictors.data(), probabilities.data(), sums.data());
  Doubles observed(kStep);
  Doubles rests(kStep);
  Doubles shifted(kStep);
  kernels.fObserve(nRows, K, categories.data(), predictors.data(), largest.data(),
                   probabilities.data(), observed.data(), rests.data(), shifted.data());
  for (const Doubles& numbersOfRows : {largest, probabilities, sums, observed, rests, shifted}) {
    keep(numbersOfRows);
  }
  double least = 0.0;
  double most = 0.0;
  kernels.fFindRange(nRows - 3, observed.data(), &least, &most);
  keep({least, most});
  const std::size_t nLogs = std::min(nRows, QvColumnKernels::kMostLogs);
  const QvColumnKernels::Logs logs =
      kernels.fSumLogs(nLogs, weights.data(), shifted.data(), rests.data(), sums.data());
  keep({logs.fShifted, std::log(logs.fProduct)});
  Doubles residuals((K - 1) * kStep);
  kernels.fFindResiduals(nRows, K, categories.data(), weights.data(), rests.data(),
                         probabilities.data(), residuals.data());
  keep(residuals);
  Doubles byCategory(K);
  kernels.fSumByCategory(nRows, K, categories.data(), weights.data(), byCategory.data());
  keep(byCategory);
  Doubles products(kStep);
  kernels.fWeigh(nRows, weights.data(), numbers.data(), products.data());
  keep(products);
  for (const double* second : {columns[1], static_cast<const double*>(nullptr)}) {
    kernels.fWeighPair(nRows, weights.data(), numbers.data(), second, products.data());
    keep(products);
  }
  return all;
}

TEST_P(QvKernelsTest, LoopsOverColumnsOfOneArithmeticAgree) {
  for (const std::size_t nRows : {std::size_t{8}, std::size_t{72}, QvColumnKernels::kRows}) {
    for (const std::size_t K : {2U, 3U, 7U}) {
      const Doubles mine = ComputeColumns(kernels_.fColumns, nRows, K);
      for (const QvKernels* other : QvKernels::GetAll()) {
        const Doubles others = ComputeColumns(other->fColumns, nRows, K);
        if (other->fbFused == kernels_.fbFused) {
          EXPECT_EQ(mine, others) << other->fName << ' ' << nRows << ' ' << K;
          continue;
        }
        for (std::size_t i = 0; i < mine.size(); ++i) {
          EXPECT_NEAR(mine[i], others[i], 1e-11 * (1.0 + std::fabs(mine[i]))) << i;
        }
      }
    }
  }
}

TEST_P(QvKernelsTest, SumsLogarithmsOfRowsThatAreThere) {
  const QvColumnKernels& kernels = kernels_.fColumns;
  const Doubles sums{2.0, 3.0, 5.0, 7.0, 11.0, 13.0, 17.0, 19.0};
  const Doubles shifted{-1.0, -2.0, -3.0, -4.0, -5.0, -6.0, -7.0, -8.0};
  Doubles rests(8, 0.5);
  Doubles weights{2.0, 2.0, 2.0, 2.0, 2.0, 0.0, 0.0, 0.0};
  const auto sum = [&] {
    return kernels.fSumLogs(8, weights.data(), shifted.data(), rests.data(), sums.data());
  };
  EXPECT_EQ(sum().fShifted, -30.0);
  EXPECT_EQ(sum().fProduct, 2310.0);
  EXPECT_TRUE(sum().fbAlikeWeights);
  EXPECT_FALSE(sum().fbAnySmallRest);
  rests[7] = 1e-9;
  EXPECT_FALSE(sum().fbAnySmallRest);
  rests[1] = 1e-9;
  EXPECT_TRUE(sum().fbAnySmallRest);
  EXPECT_EQ(sum().fShifted, -26.0);
  EXPECT_EQ(sum().fProduct, 770.0);
  weights[4] = 3.0;
  EXPECT_FALSE(sum().fbAlikeWeights);
  EXPECT_EQ(sum().fShifted, -31.0);
}

TEST(QvKernels, AMachineHasEverySetBelowItsBest) {
  std::vector<std::string> names{"baseline", "v3", "v4"};
  const auto sets = QvKernels::GetAll();
  ASSERT_LE(sets.size(), names.size());
  for (std::size_t i = 0; i < sets.size(); ++i) EXPECT_EQ(sets[i]->fName, names[i]);
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

TEST_P(QvKernelsTest, ProductsOfRowsAddToSumsOfTheirOwn) {
  constexpr std::size_t kUsed = 3;
  const Doubles weights = MakeNumbers(kUsed, 17);
  for (const std::size_t width : {1U, 2U, 5U, 8U, 9U, 12U}) {
    SCOPED_TRACE(width);
    const std::size_t lanes = (width + 7) / 8 * 8;
    const std::size_t stride = (width / 2 + lanes + 7) / 8 * 8;
    const std::size_t nBehind = width / 2 + 1;
    Doubles rows = MakeNumbers(kUsed * stride, 18);
    for (std::size_t r = 0; r < kUsed; ++r) {
      for (std::size_t k = 0; k < width / 2; ++k)
        rows[r * stride + width + k] = rows[r * stride + k];
    }
    // The first and the last row have the same sums.
    Doubles mine(2 * nBehind * lanes, 1.0);
    Doubles others(2 * nBehind * lanes, 0.0);
    const std::array<double*, kUsed> sums{mine.data(), others.data(), mine.data()};
    kernels_.fAddRowProducts(kUsed, stride, width, weights.data(), rows.data(), sums.data());
    for (std::size_t d = 0; d < nBehind; ++d) {
      for (std::size_t k = 0; k < width; ++k) {
        QvDoubleDouble expected{1.0, 1.0};
        for (const std::size_t r : {0U, 2U}) {
          const double* row = &rows[r * stride];
          expected.Add(QvDoubleDouble::Product(weights[r], row[k]).Times(row[(k + d) % width]));
        }
        const std::size_t place = d * lanes + k;
        EXPECT_LT(std::fabs(Difference({mine[place], mine[nBehind * lanes + place]}, expected)),
                  1e-30);
      }
    }
    EXPECT_EQ(others[0], weights[1] * rows[stride] * rows[stride]);
  }
}

TEST_P(QvKernelsTest, ProductsWithCoefficientsOfEachRowAreTakenOff) {
  constexpr std::size_t kColumns = 3;
  const Doubles columns = MakeNumbers(kRows * kColumns, 19);
  const Doubles coefficients = MakeNumbers(kRows * kColumns, 20);
  Doubles coefficientLows = MakeNumbers(kRows * kColumns, 21);
  for (double& low : coefficientLows) low *= 0x1p-54;
  Doubles high = MakeNumbers(kRows, 22);
  Doubles low(kRows, 0x1p-60);
  const Doubles start = high;
  kernels_.fSubtractRowProducts(kColumns, columns.data(), coefficients.data(),
                                coefficientLows.data(), high.data(), low.data());
  for (std::size_t r = 0; r < kRows; ++r) {
    QvDoubleDouble expected{start[r], 0x1p-60};
    for (std::size_t j = 0; j < kColumns; ++j) {
      const std::size_t place = j * kRows + r;
      expected.Add(
          QvDoubleDouble{-coefficients[place], -coefficientLows[place]}.Times(columns[place]));
    }
    EXPECT_LT(std::fabs(Difference({high[r], low[r]}, expected)), 1e-30);
  }
}

TEST_P(QvKernelsTest, WeightedRowsAddToSumsOfTheirOwn) {
  constexpr std::size_t kUsed = 3;
  constexpr std::size_t kStride = 16;
  const Doubles rows = MakeNumbers(kUsed * kStride, 23);
  const Doubles weights = MakeNumbers(kUsed, 24);
  const Doubles lows{0x1p-55, -0x1p-54, 0x1p-56};
  Doubles mine(2 * kStride, 1.0);
  Doubles others(2 * kStride, 0.0);
  const std::array<double*, kUsed> sums{mine.data(), others.data(), mine.data()};
  kernels_.fAddWeightedRows(kUsed, kStride, weights.data(), lows.data(), rows.data(), sums.data());
  for (std::size_t k = 0; k < kStride; ++k) {
    QvDoubleDouble expected{1.0, 1.0};
    for (const std::size_t r : {0U, 2U}) {
      expected.Add(QvDoubleDouble{weights[r], lows[r]}.Times(rows[r * kStride + k]));
    }
    EXPECT_LT(std::fabs(Difference({mine[k], mine[kStride + k]}, expected)), 1e-30);
    EXPECT_EQ(others[k], weights[1] * rows[kStride + k]);
  }
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

}  // namespace
}  // namespace QvCommon
