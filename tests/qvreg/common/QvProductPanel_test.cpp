// Weighted products of panels of rows against exact ones, formed in integers of 128 bits.

#include "qvreg/common/QvProductPanel.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <tuple>
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
      ASSERT_TRUE(panel.Add(row.data(), static_cast<double>(weights[r])));
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
  EXPECT_LT(LargestError(cases, rounded, rests), bits <= 23 && weightBits == 0 ? 1e-40 : 0x1p-73);
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
                                         Shape{130, 12, 30, 40}, Shape{64, 24, 52, 3})),
    NameOf);

TEST(QvProductPanel, TakesNoUnusualNumbers) {
  QvProductPanel panel;
  panel.SetWidth(2);
  const Doubles usual{1.0, -0x1p+299};
  EXPECT_TRUE(panel.Add(usual.data(), 0.0));
  for (const double unusual : {0x1p+300, std::numeric_limits<double>::infinity(),
                               std::numeric_limits<double>::quiet_NaN()}) {
    const Doubles row{1.0, unusual};
    EXPECT_FALSE(panel.Add(row.data(), 1.0)) << unusual;
    EXPECT_FALSE(panel.Add(usual.data(), unusual)) << unusual;
  }
  EXPECT_FALSE(panel.Add(usual.data(), 0x1p-301));
  EXPECT_EQ(panel.GetCount(), 1U);
}

}  // namespace
}  // namespace QvCommon
