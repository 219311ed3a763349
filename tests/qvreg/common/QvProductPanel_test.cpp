// Weighted products of panels of rows against exact ones, formed in integers of 128 bits.

#include "qvreg/common/QvProductPanel.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvBytes.h"

namespace QvCommon {
namespace {

using Doubles = std::vector<double>;
__extension__ using Wide = __int128;

/// Rows of whole numbers of `bits` bits, each column of its own size, and their whole weights.
struct Cases {
  Cases(std::size_t nRows, std::size_t width, int bits, int weightBits) : n(width) {
    std::mt19937_64 random(nRows * 31 + width);
    const auto whole = [&random](int size) {
      return static_cast<std::int64_t>(random() >> (64 - size)) - (std::int64_t{1} << (size - 1));
    };
    for (std::size_t r = 0; r < nRows; ++r) {
      std::vector<std::int64_t>& row = rows.emplace_back();
      for (std::size_t j = 0; j < n; ++j) row.push_back(whole(bits - static_cast<int>(j % 3)));
      weights.push_back(weightBits == 0 ? 1 : std::abs(whole(weightBits)) + 1);
    }
  }

  [[nodiscard]] Wide Product(std::size_t i, std::size_t j) const {
    Wide sum = 0;
    for (std::size_t r = 0; r < rows.size(); ++r) {
      sum += static_cast<Wide>(weights[r]) * rows[r][i] * rows[r][j];
    }
    return sum;
  }

  void AddTo(QvProductPanel& panel, QvSymMatrix& sum) const {
    panel.SetWidth(n);
    for (std::size_t r = 0; r < rows.size(); ++r) {
      const Doubles row(rows[r].begin(), rows[r].end());
      std::copy_n(row.data(), n, panel.Append(static_cast<double>(weights[r])));
      if (panel.IsFull()) panel.AddTo(sum);
    }
    panel.AddTo(sum);
    EXPECT_EQ(panel.GetCount(), 0U);
  }

  std::size_t n;
  std::vector<std::vector<std::int64_t>> rows;
  std::vector<std::int64_t> weights;
};

/// The largest difference of a sum in `products` from the exact one, as a share of the root of the
/// products of its columns with themselves.
double LargestError(const Cases& cases, const QvSymMatrix& rounded, const Doubles& rests) {
  double largest = 0.0;
  std::size_t place = 0;
  for (std::size_t i = 0; i < cases.n; ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      const double high = rounded.GetElem(static_cast<int>(i), static_cast<int>(j));
      const auto rest = static_cast<double>(cases.Product(i, j) - static_cast<Wide>(high));
      const double size = std::sqrt(static_cast<double>(cases.Product(i, i))) *
                          std::sqrt(static_cast<double>(cases.Product(j, j)));
      largest = std::max(largest, std::fabs(rest - rests[place++]) / size);
    }
  }
  return largest;
}

/// Rows, columns, bits of a number, bits of a weight or 0 for weights of 1.
using Shape = std::tuple<std::size_t, std::size_t, int, int>;

class QvProductPanelTest : public ::testing::TestWithParam<std::tuple<const QvKernels*, Shape>> {};

TEST_P(QvProductPanelTest, SumsAreDoubleDouble) {
  const auto& [kernels, shape] = GetParam();
  const auto [nRows, n, bits, weightBits] = shape;
  const Cases cases(nRows, n, bits, weightBits);
  QvSymMatrix sum(static_cast<int>(n));
  ASSERT_TRUE(sum.StartCompensation());
  QvProductPanel panel(*kernels);
  cases.AddTo(panel, sum);

  // Written out, a matrix is its sums, and then what they lack.
  QvByteWriter writer;
  sum.Write(writer);
  const QvBytes bytes = writer.TakeMessage(QvMessageType::kAnswer);
  QvByteReader reader(bytes, QvMessageType::kAnswer);
  Doubles highs(n * (n + 1) / 2);
  Doubles rests(highs.size());
  reader.GetDoublesInto(highs);
  reader.GetDoublesInto(rests);
  QvSymMatrix rounded(static_cast<int>(n));
  std::size_t place = 0;
  for (int i = 0; i < rounded.GetOrder(); ++i) {
    for (int j = 0; j <= i; ++j) rounded.SetElem(i, j, highs[place++]);
  }
  EXPECT_LT(LargestError(cases, rounded, rests),
            bits <= 23 && weightBits == 0 ? 1e-40 : QvProductPanel::kRounding);
}

std::string NameOf(const ::testing::TestParamInfo<QvProductPanelTest::ParamType>& tested) {
  const auto& [kernels, shape] = tested.param;
  const auto [nRows, n, bits, weightBits] = shape;
  return std::string(kernels->fName) + "_" + std::to_string(nRows) + "_by_" + std::to_string(n) +
         "_bits_" + std::to_string(bits) + "_" + std::to_string(weightBits);
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, QvProductPanelTest,
    ::testing::Combine(::testing::ValuesIn(QvKernels::GetAll()),
                       ::testing::Values(Shape{1, 1, 23, 0}, Shape{64, 8, 23, 0},
                                         Shape{65, 9, 22, 0}, Shape{200, 17, 53, 0},
                                         Shape{200, 7, 45, 10}, Shape{3, 33, 53, 0},
                                         Shape{130, 12, 30, 40}, Shape{64, 24, 52, 3},
                                         Shape{257, 33, 23, 0})),
    NameOf);

/// The matrix that a panel of two rows gives, and one to which the rows were added one by one.
std::pair<QvSymMatrix, QvSymMatrix> AddTwoRows(QvProductPanel& panel, const Doubles& second,
                                               double weight) {
  const Doubles first{1.5, -3.0};
  std::pair<QvSymMatrix, QvSymMatrix> sums{QvSymMatrix(2), QvSymMatrix(2)};
  EXPECT_TRUE(sums.first.StartCompensation() && sums.second.StartCompensation());
  panel.SetWidth(2);
  std::copy_n(first.data(), 2, panel.Append(1.0));
  std::copy_n(second.data(), 2, panel.Append(weight));
  panel.AddTo(sums.first);
  sums.first.EndCompensation();
  sums.second.UpdateXX(first, 1.0);
  sums.second.UpdateXX(second, weight);
  sums.second.EndCompensation();
  return sums;
}

TEST(QvProductPanel, UnusualNumbersAreAddedRowByRow) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const std::vector<std::pair<Doubles, double>> unusual = {
      {{0x1p+301, 0.1}, 1.0}, {{0x1p+301, 0.1}, 0.3}, {{kInfinity, 1.0}, 1.0},
      {{1.0, 0.1}, 0x1p+301}, {{1.0, 0.1}, 0x1p-301}, {{1.0, 0.1}, kInfinity}};
  for (const auto& [row, weight] : unusual) {
    QvProductPanel panel;
    const auto [actual, expected] = AddTwoRows(panel, row, weight);
    EXPECT_TRUE(panel.HasUnusual());
    EXPECT_FALSE(panel.HasRounded());
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(std::isnan(actual.GetElem(i, i)), std::isnan(expected.GetElem(i, i))) << i;
      if (std::isnan(expected.GetElem(i, i))) continue;
      EXPECT_EQ(actual.GetElem(i, i), expected.GetElem(i, i)) << i;
    }
  }
}

TEST(QvProductPanel, ItsSizeGrowsWithTheColumns) {
  const std::size_t size = QvProductPanel::GetSize(8);
  EXPECT_EQ(QvProductPanel::GetSize(80), 10 * size);
  EXPECT_GT(size, 3 * QvProductPanel::kRows * 8 * sizeof(double)) << "rows in three forms";
}

TEST(QvProductPanel, SaysWhetherItRounded) {
  QvProductPanel whole;
  AddTwoRows(whole, {7.0, 4.0}, 1.0);
  EXPECT_FALSE(whole.HasRounded());
  QvProductPanel others;
  AddTwoRows(others, {7.0, 0.1}, 1.0);
  EXPECT_TRUE(others.HasRounded());
  EXPECT_FALSE(others.HasUnusual());
}

TEST(QvProductPanel, AWeightThatIsAPowerOfTwoScales) {
  // Short numbers, whose products add up without rounding, and others.
  for (const int bits : {20, 50}) {
    const Cases cases(64, 5, bits, 0);
    QvSymMatrix plain(5);
    QvSymMatrix scaled(5);
    ASSERT_TRUE(plain.StartCompensation() && scaled.StartCompensation());
    QvProductPanel panel;
    cases.AddTo(panel, plain);
    for (const auto& row : cases.rows) {
      const Doubles values(row.begin(), row.end());
      std::copy_n(values.data(), 5, panel.Append(0.125));
    }
    panel.AddTo(scaled);
    plain.EndCompensation();
    scaled.EndCompensation();
    for (int i = 0; i < 5; ++i) {
      for (int j = 0; j <= i; ++j) EXPECT_EQ(8.0 * scaled.GetElem(i, j), plain.GetElem(i, j));
    }
  }
}

}  // namespace
}  // namespace QvCommon
