#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "qvreg/common/QvKernels.h"

class QvLogModel;

/// The predicted categories of up to 256 rows of one pattern at a time, from the values that their
/// columns have. A category is predicted where its predictor is above all others by more than their
/// rounding may change; other rows are left to QvLogModel, so that each has the prediction that it
/// has alone. Used from one thread at a time.
class QvPanelPredictions {
 public:
  static constexpr std::size_t kRows = QvCommon::QvColumnKernels::kRows;

  /// For rows of so many values; takes the model's estimates. May throw std::bad_alloc.
  void SetUp(const QvLogModel& model, std::size_t nValues);
  /// Begins a pattern, whose columns are those with the `columns` numbers of kept parameters, each
  /// with the row's value that `places` says.
  void BeginPattern(const std::vector<int>& columns, const std::vector<int>& places);
  /// Predicts for a panel: nValues columns of 256 numbers.
  void Predict(const double* const* columns);
  /// The predicted local category of a row; -1 for one that is to be predicted by itself.
  [[nodiscard]] int GetCategory(std::size_t row) const { return fCategories[row]; }

 private:
  std::size_t fNValues = 0;
  std::size_t fNKept = 0;    ///< Parameters of a category.
  std::size_t fNOthers = 0;  ///< Categories but the reference.
  std::vector<double> fEstimates;
  /// By category the sum of the estimates of the columns with each value.
  std::vector<double> fCoefficients;
  double fSizeOfCoefficients = 0.0;
  std::vector<double> fPredictors;
  std::array<int, kRows> fCategories{};
};
