#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "qvreg/common/QvAlignedDoubles.h"
#include "qvreg/common/QvPanel.h"
#include "qvreg/common/QvSymBlockMatrix.h"
#include "qvreg/logistic/QvLogLikelihoodSum.h"
#include "qvreg/logistic/QvPairSums.h"

/// The probabilities of up to 256 dense rows of a multinomial logit, whose last of K categories is
/// the reference, computed together. Owns a copy of the estimates. Used from one thread at a time.
class QvLogitPanel {
 public:
  using Numbers = QvCommon::QvPanel::Numbers;
  /// Rows of fewer values are better added one by one: tiles of sums would be nearly empty.
  static constexpr std::size_t kFewestValues = 4;

  /// Whether rows of p values with K categories are better added by panels.
  static bool Suits(std::size_t p, std::size_t K) {
    return p >= kFewestValues || QvPairSums::Suits(p, K);
  }

  /// Makes room for rows of p >= 1 values; K >= 2. May throw std::bad_alloc.
  void SetUp(std::size_t p, std::size_t K);
  [[nodiscard]] bool IsSetUp() const { return fRows.GetWidth() > 0; }
  /// Adds a row of p values with its observed category, below K, and its weight; with the first row
  /// the `estimates`, K - 1 blocks of p, are copied. False, and not added, for a row with which
  /// some predictor may not be finite. REQUIRES: not full.
  bool Add(const double* values, std::size_t category, double weight,
           const std::vector<double>& estimates);
  /// As Add for n rows, row after row in `values`; false, and none of them added, where one may
  /// have to be refused. REQUIRES: room for all, categories below K.
  bool AddRows(std::size_t n, const double* values, const int* categories, const double* weights,
               const std::vector<double>& estimates);
  /// Makes these n rows those of the panel: p columns of 256 numbers, finite ones from row n on,
  /// which must stay until Clear, as must the 256 categories; of the weights there are n. False,
  /// and it is empty, as for AddRows.
  bool AddColumns(std::size_t n, const double* const* columns, const double* categories,
                  const double* weights, const std::vector<double>& estimates);
  [[nodiscard]] std::size_t GetCount() const { return fRows.GetCount(); }
  [[nodiscard]] bool IsFull() const { return GetCount() == QvCommon::QvPanel::kRows; }
  void Clear();

  /// Computes what follows for the rows that were added, of which there is one at least.
  void Compute();
  /// Writes a row's values.
  void CopyRow(std::size_t row, double* values) const { fRows.CopyRow(row, values); }
  [[nodiscard]] std::size_t GetCategory(std::size_t row) const {
    return static_cast<std::size_t>(fpCategories[row]);
  }
  [[nodiscard]] double GetWeight(std::size_t row) const { return fWeights[row]; }
  [[nodiscard]] double GetProbability(std::size_t category, std::size_t row) const {
    return fProbabilities[category * QvCommon::QvPanel::kRows + row];
  }
  /// The sum of the probabilities of the categories that the row does not observe.
  [[nodiscard]] double GetRest(std::size_t row) const { return fRests[row]; }
  /// By how much the observed category's predictor is below the row's largest; not above 0.
  [[nodiscard]] double GetShifted(std::size_t row) const { return fShifted[row]; }
  /// The row's sum of exponentials of what each predictor is below the largest.
  [[nodiscard]] double GetSum(std::size_t row) const { return fSums[row]; }
  /// By row, whether some category's probability is below its of `bounds`.
  [[nodiscard]] std::array<bool, QvCommon::QvPanel::kRows> FindBelow(
      const std::vector<double>& bounds) const;
  /// Whether there is such a row.
  [[nodiscard]] bool IsAnyBelow(const std::vector<double>& bounds) const;

  /// Adds the weights of the rows from `first` on to the K `sums`, by category, and to `total`.
  void AddWeights(std::size_t first, std::vector<double>& sums, double& total) const;
  /// Adds the logarithms of the observed probabilities.
  void AddTo(QvLogLikelihoodSum& sum) const;
  /// Widens the range of the probabilities observed, and that of all at its lower end.
  void Widen(double& minObserved, double& maxObserved, double& minComputed) const;
  /// Adds the rows' scores to the K - 1 blocks of p.
  void AddScores(std::vector<double>& scores);
  /// Adds the rows' information to K - 1 rows of p x p blocks: with AddPairs at the latest.
  void AddInformation(QvCommon::QvSymBlockMatrix& information);
  /// Whether the information waits in sums of its own, which any row costs the same.
  [[nodiscard]] bool HasPairs() const { return fPairs.IsSetUp(); }
  /// Adds what waits of the information. REQUIRED before it is read or the estimates change.
  void AddPairs(QvCommon::QvSymBlockMatrix& information) { fPairs.AddTo(information); }
  /// Forgets what waits of the information.
  void ClearPairs() { fPairs.Clear(); }
  /// Has AddInformation leave a row out. REQUIRES: after AddScores.
  void TakeOut(std::size_t row) { fWeights[row] = 0.0; }

  /// Below it a rest is summed, without the rounding of 1 minus almost 1.
  static constexpr double kSmallRest = QvCommon::QvColumnKernels::kSmallRest;
  /// What the `probabilities` but that of a `category` add to.
  static double RestOf(const std::vector<double>& probabilities, std::size_t category);

 private:
  /// AddTo of n rows from the first on.
  void AddLogs(std::size_t first, std::size_t n, QvLogLikelihoodSum& sum) const;
  void TakeEstimates(const std::vector<double>& estimates);
  /// False for what is not a number as well.
  [[nodiscard]] bool ArePredictorsFinite(double magnitudes) const;
  [[nodiscard]] const double* ProbabilitiesOf(std::size_t category) const {
    return &fProbabilities[category * QvCommon::QvPanel::kRows];
  }

  const QvCommon::QvColumnKernels* fpKernels = &QvCommon::QvKernels::Get().fColumns;
  std::size_t fNCategories = 0;
  QvCommon::QvPanel fRows;
  QvPairSums fPairs;
  Numbers fCategories{};
  const double* fpCategories = nullptr;  ///< Those, or what was borrowed with the columns.
  Numbers fWeights{};                    ///< Zeros from the last row on.
  std::vector<double> fEstimates;
  double fSizeOfEstimates = 0.0;  ///< The sum of their magnitudes.
  /// By category 256 numbers.
  QvCommon::QvAlignedDoubles fPredictors;
  QvCommon::QvAlignedDoubles fProbabilities;
  QvCommon::QvAlignedDoubles fResiduals;
  Numbers fLargest{};
  Numbers fSums{};
  Numbers fObserved{};
  Numbers fRests{};
  Numbers fShifted{};
  std::vector<double> fLeast;                 ///< By category the least probability.
  std::vector<double> fRow;                   ///< Scratch: a row's values.
  mutable std::vector<double> fCategorySums;  ///< Scratch.
};
