// Sums over panels of rows, against sums of whole numbers, which are exact in any order.

#include "qvreg/common/QvPanel.h"

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
    EXPECT_EQ(Doubles(panel_.GetRow(r), panel_.GetRow(r) + n_), rows_[r]) << r;
  }
}

TEST_P(QvPanelTest, MultipliesRowsByCoefficients) {
  const Doubles coefficients = MakeRows(1, n_)[0];
  QvPanel::Numbers products{};
  panel_.MultiplyBy(coefficients.data(), products);
  for (std::size_t r = 0; r < nRows_; ++r) {
    double expected = 0.0;
    for (std::size_t j = 0; j < n_; ++j) expected += coefficients[j] * rows_[r][j];
    EXPECT_EQ(products[r], expected) << r;
  }
}

TEST_P(QvPanelTest, AddsWeightedRows) {
  const QvPanel::Numbers weights = MakeWeights();
  Doubles expected(n_, 5.0);
  Doubles sums = expected;
  panel_.AddWeightedRows(weights, sums.data());
  for (std::size_t r = 0; r < nRows_; ++r) {
    for (std::size_t j = 0; j < n_; ++j) expected[j] += weights[r] * rows_[r][j];
  }
  EXPECT_EQ(sums, expected);
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
  panel_.AddWeightedRows(MakeWeights(), sums.data());
  EXPECT_EQ(sums, Doubles(n_, 1.0));
  panel_.Append(rows_[0].data());
  panel_.AddWeightedRows(QvPanel::Numbers{2.0}, sums.data());
  for (std::size_t j = 0; j < n_; ++j) EXPECT_EQ(sums[j], 1.0 + 2.0 * rows_[0][j]);
}

INSTANTIATE_TEST_SUITE_P(Shapes, QvPanelTest,
                         ::testing::Values(std::pair{64U, 1U}, std::pair{64U, 4U},
                                           std::pair{3U, 5U}, std::pair{63U, 8U},
                                           std::pair{64U, 9U}, std::pair{1U, 11U},
                                           std::pair{64U, 31U}, std::pair{40U, 64U},
                                           std::pair{64U, 101U}));

}  // namespace
}  // namespace QvCommon
