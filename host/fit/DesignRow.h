#pragma once

#include <span>
#include <vector>

#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/common/Record.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/parallel/QvScorer.h"

namespace qvhost {

/// The design row of one record after the other, in the units of the estimation (see
/// ScaledEstimates), as a rule without the parameters that are redundant: a column without an
/// estimate may hold anything. Of a logistic model it is that of one category, the same for each.
///
/// Borrows statistics and scorer. One thread at a time; several with scorers of their own are
/// independent.
class DesignRow {
 public:
  /// Which parameters the row has.
  enum class Columns { kKept, kAll };

  /// The `scorer` is open for the model of the `output`.
  DesignRow(const IQvRegOutputStats& output, QvScorer& scorer, Columns columns = Columns::kKept);

  /// False for a record that cannot be scored, as one with a level combination that has no
  /// parameter: where that alone is why, the row is that of all other effects.
  bool Expand(const QvCommon::Record& record);

  /// Parameters of one category: all of a linear model.
  [[nodiscard]] int BlockSize() const { return static_cast<int>(isKept_.size()); }

  /// Of the row expanded last: the non-zeros' parameters, ascending, and their values.
  [[nodiscard]] const std::vector<int>& Places() const { return places_; }
  [[nodiscard]] const std::vector<double>& Values() const { return values_; }

  /// x' M x for the row x and a block of a matrix, that of the categories numbered `i` and `j`.
  /// Costs the square of the non-zeros.
  [[nodiscard]] double Form(const QvCommon::QvSymMatrixData& matrix, int i = 0, int j = 0) const;

 private:
  [[nodiscard]] double SquareForm(const QvCommon::QvSymMatrixData& matrix, int first) const;

  QvScorer& scorer_;
  std::vector<bool> isKept_;    ///< For each parameter of one category, or true.
  std::vector<int> exponents_;  ///< That the scorer's values are still to be divided by.
  std::vector<int> places_;
  std::vector<double> values_;
};

}  // namespace qvhost
