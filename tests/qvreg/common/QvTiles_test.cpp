#include "qvreg/common/QvTiles.h"

#include <array>
#include <cstddef>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace QvCommon {
namespace {

constexpr std::size_t kRows = QvTiles::kRows;
constexpr std::size_t kColumns = QvTiles::kColumns;
constexpr double kUntouched = 42.0;

std::vector<double> RandomNumbers(std::size_t n, unsigned seed) {
  std::mt19937 random(seed);
  std::normal_distribution<double> normal;
  std::vector<double> numbers(n);
  for (double& number : numbers) number = normal(random);
  return numbers;
}

/// The sums of a plain loop, from `start` on.
double Sum(double start, std::size_t n, const double* left, std::size_t leftStride,
           const double* right, std::size_t rightStride) {
  double sum = start;
  for (std::size_t k = 0; k < n; ++k) sum += left[k * leftStride] * right[k * rightStride];
  return sum;
}

TEST(QvTiles, AddsThePlainLoopsTermsInTheirOrder) {
  constexpr std::size_t kLeftStride = 5;
  constexpr std::size_t kRightStride = 11;
  for (const std::size_t n : {std::size_t{0}, std::size_t{1}, std::size_t{7}, std::size_t{100}}) {
    const std::vector<double> left = RandomNumbers(n * kLeftStride + kRows, 1);
    const std::vector<double> right = RandomNumbers(n * kRightStride + kColumns, 2);
    const std::vector<double> start = RandomNumbers(kRows * 9, 3);
    std::vector<double> sums = start;
    QvTiles::AddProducts(n, kLeftStride, left.data(), kRightStride, right.data(),
                         {sums.data(), &sums[9], &sums[18], &sums[27]});
    for (std::size_t i = 0; i < kRows; ++i) {
      for (std::size_t j = 0; j < kColumns; ++j) {
        EXPECT_EQ(sums[i * 9 + j],
                  Sum(start[i * 9 + j], n, &left[i], kLeftStride, &right[j], kRightStride));
      }
      EXPECT_EQ(sums[i * 9 + kColumns], start[i * 9 + kColumns]);
    }
  }
}

TEST(QvTiles, LeavesAloneWhatIsBehindAnEdge) {
  constexpr std::size_t kTerms = 3;
  const std::vector<double> left = RandomNumbers(kTerms * kRows, 4);
  const std::vector<double> right = RandomNumbers(kTerms * kColumns, 5);
  std::array<std::array<double, kColumns>, kRows> sums{};
  for (auto& row : sums) row.fill(kUntouched);
  const QvTiles::Counts counts{8, 5, 1, 0};
  QvTiles::AddProducts(kTerms, left.data(), right.data(),
                       {sums[0].data(), sums[1].data(), sums[2].data(), nullptr}, counts);
  for (std::size_t i = 0; i < kRows; ++i) {
    for (std::size_t j = 0; j < kColumns; ++j) {
      const double whole = Sum(kUntouched, kTerms, &left[i], kRows, &right[j], kColumns);
      EXPECT_EQ(sums.at(i).at(j), j < counts.at(i) ? whole : kUntouched);
    }
  }
}

}  // namespace
}  // namespace QvCommon
