// Sums over panels of rows, against sums of whole numbers, which are exact in any order.

#include "qvreg/common/QvPanel.h"

#include <algorithm>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace QvCommon {
namespace {

using Doubles = std::vector<double>;

/// Rows of small whole numbers, some of them zeros.
std::vector<Doubles> MakeRows(std::size_t nRows, std::size_t n) {
  std::mt19937 random(static_cast<unsigned>(17 * nRows + n));
  std::vector<Doubles> rows(nRows, Doubles(n));
  for (Doubles& row : rows) {
    for (double& value : row) value = static_cast<double>(random() % 19) - 9.0;
  }
  return rows;
}

QvPanel::Numbers MakeWeights() {
  QvPanel::Numbers weights{};
  for (std::size_t r = 0; r < weights.size(); ++r) weights[r] = static_cast<double>(r % 7) - 2.0;
  return weights;
}

/// Every shape of tiles: below, at and above a tile's rows and lanes, with few rows and all.
class QvPanelTest : public ::testing::TestWithParam<std::pair<std::size_t, std::size_t>> {
 protected:
  QvPanelTest() {
    panel_.SetWidth(n_);
    for (const Doubles& row : rows_) panel_.Append(row.data());
  }

  std::size_t nRows_ = GetParam().first;
  std::size_t n_ = GetParam().second;
  std::vector<Doubles> rows_ = MakeRows(nRows_, n_);
  QvPanel panel_;
};

TEST_P(QvPanelTest, KeepsItsRows) {
  ASSERT_EQ(panel_.GetCount(), nRows_);
  EXPECT_EQ(panel_.GetWidth(), n_);
  for (std::size_t r = 0; r < nRows_; ++r) {
    Doubles row(n_);
    panel_.CopyRow(r, row.data());
    EXPECT_EQ(row, rows_[r]) << r;
  }
}

TEST_P(QvPanelTest, MultipliesRowsByCoefficients) {
  const Doubles coefficients = MakeRows(1, n_)[0];
  QvPanel::Numbers products{};
  panel_.MultiplyBy(coefficients.data(), products.data());
  for (std::size_t r = 0; r < nRows_; ++r) {
    double expected = 0.0;
    for (std::size_t j = 0; j < n_; ++j) expected += coefficients[j] * rows_[r][j];
    EXPECT_EQ(products[r], expected) << r;
  }
}

TEST_P(QvPanelTest, AddsWeightedRows) {
  // As many sums as a tile has, one less, and more.
  for (const std::size_t nSums : {1U, 2U, 3U, 4U, 9U}) {
    Doubles weights;
    for (std::size_t k = 0; k < nSums; ++k) {
      for (const double weight : MakeWeights()) weights.push_back(weight + 3.0 * double(k));
    }
    Doubles expected(nSums * n_ + 1, 5.0);
    Doubles sums = expected;
    panel_.AddWeightedRows(nSums, weights.data(), sums.data());
    for (std::size_t k = 0; k < nSums; ++k) {
      for (std::size_t r = 0; r < nRows_; ++r) {
        const double weight = weights[k * QvPanel::kRows + r];
        for (std::size_t j = 0; j < n_; ++j) expected[k * n_ + j] += weight * rows_[r][j];
      }
    }
    EXPECT_EQ(sums, expected) << nSums;
  }
}

TEST_P(QvPanelTest, AddsWeightedProducts) {
  const QvPanel::Numbers weights = MakeWeights();
  const auto order = static_cast<int>(n_);
  QvSymMatrix expected(order);
  for (int i = 0; i < order; ++i) expected.SetElem(i, 0, 3.0);
  QvSymMatrix sum = expected;
  panel_.AddWeightedProducts(weights, sum);
  for (std::size_t r = 0; r < nRows_; ++r) ASSERT_TRUE(expected.UpdateXX(rows_[r], weights[r]));
  for (int i = 0; i < order; ++i) {
    for (int j = 0; j <= i; ++j) {
      EXPECT_EQ(sum.GetElem(i, j), expected.GetElem(i, j)) << i << ' ' << j;
    }
  }
}

TEST_P(QvPanelTest, ForgetsItsRows) {
  panel_.Clear();
  EXPECT_EQ(panel_.GetCount(), 0U);
  Doubles sums(n_, 1.0);
  panel_.AddWeightedRows(1, MakeWeights().data(), sums.data());
  EXPECT_EQ(sums, Doubles(n_, 1.0));
  EXPECT_EQ(panel_.SumMagnitudes(), 0.0);
  panel_.Append(rows_[0].data());
  panel_.AddWeightedRows(1, QvPanel::Numbers{2.0}.data(), sums.data());
  for (std::size_t j = 0; j < n_; ++j) EXPECT_EQ(sums[j], 1.0 + 2.0 * rows_[0][j]);
}

TEST_P(QvPanelTest, TakesColumnsAsItsOwn) {
  Doubles numbers(QvPanel::kRows * n_, 0.0);
  std::vector<const double*> columns;
  for (std::size_t j = 0; j < n_; ++j) {
    columns.push_back(&numbers[j * QvPanel::kRows]);
    for (std::size_t r = 0; r < nRows_; ++r) numbers[j * QvPanel::kRows + r] = rows_[r][j];
  }
  QvPanel borrowing;
  borrowing.SetWidth(n_);
  borrowing.Borrow(nRows_, columns.data());
  EXPECT_EQ(borrowing.GetCount(), nRows_);
  EXPECT_EQ(borrowing.SumMagnitudes(), panel_.SumMagnitudes());
  QvSymMatrix expected(static_cast<int>(n_));
  QvSymMatrix sum = expected;
  QvPanel::Numbers weights = MakeWeights();
  std::fill(weights.begin() + static_cast<std::ptrdiff_t>(nRows_), weights.end(), 0.0);
  panel_.AddWeightedProducts(weights, expected);
  borrowing.AddWeightedProducts(weights, sum);
  for (int i = 0; i < static_cast<int>(n_); ++i) {
    for (int j = 0; j <= i; ++j) EXPECT_EQ(sum.GetElem(i, j), expected.GetElem(i, j));
  }
  borrowing.Clear();
  EXPECT_EQ(borrowing.SumMagnitudes(), 0.0);
}

INSTANTIATE_TEST_SUITE_P(Shapes, QvPanelTest,
                         ::testing::Values(std::pair{64U, 1U}, std::pair{64U, 4U},
                                           std::pair{3U, 5U}, std::pair{63U, 8U},
                                           std::pair{64U, 9U}, std::pair{1U, 11U},
                                           std::pair{64U, 31U}, std::pair{40U, 64U},
                                           std::pair{64U, 101U}));

}  // namespace
}  // namespace QvCommon
