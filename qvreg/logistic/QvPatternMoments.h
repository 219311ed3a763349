#pragma once

#include <cstddef>
#include <vector>

#include "qvreg/common/QvSymBlockMatrix.h"
#include "qvreg/logistic/QvLogitPanel.h"

/// Scores and information of the rows of one pattern of a multinomial logit, over the few values
/// that the non-zeros of its design rows have: the columns that share a value share its sums, and
/// their estimates add up. Borrows the pattern's columns. Used from one thread at a time.
class QvPatternMoments {
 public:
  /// Makes room for rows of so many values and for K categories, unless there is. May throw
  /// std::bad_alloc.
  void SetUp(std::size_t nValues, std::size_t K);
  /// Begins a pattern whose design rows have non-zeros in `columns`, each with the row's value that
  /// `places` says; `estimates` are K - 1 blocks of p. REQUIRES: MoveTo since the last one.
  void Begin(const std::vector<int>& columns, const std::vector<int>& places,
             const std::vector<double>& estimates, std::size_t p);
  [[nodiscard]] const std::vector<int>& GetColumns() const { return *fpColumns; }
  /// The estimates of the values.
  [[nodiscard]] const std::vector<double>& GetEstimates() const { return fEstimates; }
  /// The non-zeros of the design row of a row of the panel; valid until the next call.
  const std::vector<double>& ExpandRow(std::size_t row);

  /// For rows of the values, and what they are summed in.
  [[nodiscard]] QvLogitPanel& GetPanel() { return fPanel; }
  [[nodiscard]] std::vector<double>& GetScores() { return fScores; }
  [[nodiscard]] QvCommon::QvSymBlockMatrix& GetInformation() { return fInformation; }
  /// Adds the sums to those of all columns, and makes them zeros.
  void MoveTo(std::vector<double>& scores, QvCommon::QvSymBlockMatrix& information);

 private:
  std::size_t fNValues = 0;
  std::size_t fNOthers = 0;   ///< K - 1.
  std::size_t fNColumns = 0;  ///< p.
  const std::vector<int>* fpColumns = nullptr;
  const std::vector<int>* fpPlaces = nullptr;
  std::vector<double> fEstimates;
  QvLogitPanel fPanel;
  std::vector<double> fScores;
  QvCommon::QvSymBlockMatrix fInformation;
  /// Scratch of a row.
  std::vector<double> fValues;
  std::vector<double> fRow;
};
