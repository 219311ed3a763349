#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "qvreg/common/QvSymBlockMatrix.h"
#include "qvreg/common/QvTiles.h"

/// The information of a multinomial logit of many categories and few columns: for all pairs of
/// categories at once, the sums over rows of x_a x_b w p_i p_j are a product of matrices.
///
/// Rows wait until there are 64 different ones; one that equals a row that waits adds its weight to
/// it, so that records of few different rows cost no more than those. Used from one thread at a
/// time.
class QvPairSums {
 public:
  /// Whether rows of p values with K categories are summed faster so.
  static bool Suits(std::size_t p, std::size_t K) {
    return p >= 1 && p <= kMostValues && K > kFewestBlocks;
  }

  /// For rows of p values; K categories, the last one the reference. May throw std::bad_alloc.
  void SetUp(std::size_t p, std::size_t K);
  [[nodiscard]] bool IsSetUp() const { return fNBlocks > 0; }
  /// How many bytes SetUp takes for rows of p values and K categories.
  static std::size_t GetSize(std::size_t p, std::size_t K);
  /// Adds a row; its probabilities are a `stride` apart. REQUIRES: all rows between two calls of
  /// AddTo or Clear have the same probabilities where they have the same values.
  void Add(const double* values, double weight, const double* probabilities, std::size_t stride);
  /// Adds all sums to K - 1 rows of p x p blocks, and starts again.
  void AddTo(QvCommon::QvSymBlockMatrix& information);
  /// Starts again.
  void Clear();

 private:
  static constexpr std::size_t kRows = 64;
  static constexpr std::size_t kMostValues = 8;
  static constexpr std::size_t kFewestBlocks = 16;

  [[nodiscard]] std::size_t FindRow(const double* values) const;
  void MultiplyRows();
  void AddDiagonals(const double* weights, double* sums) const;
  void AddStrip(std::size_t strip, const double* weights, double* sums);
  /// A probability of the rows that wait.
  [[nodiscard]] double Probability(std::size_t category, std::size_t row) const {
    constexpr std::size_t kColumns = QvCommon::QvTiles::kColumns;
    return fProbabilities[(category / kColumns * kRows + row) * kColumns + category % kColumns];
  }

  std::size_t fNValues = 0;
  std::size_t fNBlocks = 0;  ///< K - 1.
  std::size_t fCount = 0;    ///< Of the rows that wait.
  bool fbAnySums = false;
  std::vector<double> fRows;
  std::array<double, kRows> fWeights{};
  std::vector<double> fProbabilities;  ///< By strips of eight categories.
  std::vector<std::size_t> fStrips;    ///< Where each four rows of the sums start.
  std::size_t fSize = 0;               ///< Of the sums of one product of values.
  /// For each product of two values: the sums by category, then those of all pairs.
  std::vector<double> fDiagonals;
  std::vector<double> fSums;
};
