#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/fit/FitResult.h"
#include "host/fit/Interrupt.h"
#include "host/fit/ReferenceGrid.h"
#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/component/IQvRegOutputStats.h"

namespace qvhost {

/// A model that was built, as means need it. Borrows statistics and matrix.
struct MeansModel {
  const IQvRegOutputStats& output;
  std::vector<unsigned char> scoring;               ///< What QvScorer opens.
  const QvCommon::QvSymMatrixData* robust;          ///< See CoefficientCovarianceOf.
  std::optional<double> degreesOfFreedom;           ///< Those of --df.
  const std::vector<std::string>& dependentLevels;  ///< Texts of the dependent's codes.
  double confidence = 0.95;
  int threads = 1;
};

/// Means over a grid that options ask for, and combinations of them: read before a model is fitted,
/// computed of its estimates then.
///
/// A mean is that of the linear predictors of the rows of the grid (see ReferenceGrid) that have
/// given values, a function of the estimates that is linear, so that it has an exact standard
/// error; of a logistic model also that of the probabilities of these rows, with standard errors by
/// the delta method. One that the data cannot estimate has no numbers.
class MarginalMeans {
 public:
  /// Reads `contrasts` and `means`, as written for the options (see ReadContrast, ReadMeans).
  /// Throws Error (kBadInput) for one that cannot be read or names what there is not. The grid is
  /// borrowed and gets the values that contrasts name.
  MarginalMeans(const std::vector<std::string>& contrasts, const std::vector<std::string>& means,
                ReferenceGrid& grid);

  /// Computes them. `notes` receives sentences on what is left out. REQUIRES: the grid's Evaluate
  /// and Learn. Throws Cancelled, and Error (kRunFailed) as OpenScorer.
  [[nodiscard]] MeansResult Compute(const MeansModel& model, const Interrupt& interrupt,
                                    std::vector<std::string>& notes) const;

  /// Tables with more differences have none.
  static constexpr std::size_t kMostDifferences = 100000;

 private:
  struct Cell {
    double weight = 1.0;
    ReferenceGrid::Fixed values;
  };
  struct Contrast {
    std::string label;
    std::vector<Cell> cells;
  };

  void ReadCells(const std::string& text);
  void ReadTable(const std::string& text);
  /// A table without estimates, and the places of its rows.
  [[nodiscard]] MeanTable RowsOf(const std::vector<std::size_t>& axes,
                                 std::vector<ReferenceGrid::Fixed>& places) const;

  ReferenceGrid& grid_;
  std::vector<Contrast> contrasts_;
  std::vector<std::vector<std::size_t>> tables_;  ///< The axes of each.
};

/// The p values of Holm (A simple sequentially rejective multiple test procedure, Scandinavian
/// Journal of Statistics 6, 1979) for as many tests as there are values, those without one among
/// them.
[[nodiscard]] std::vector<std::optional<double>> HolmAdjusted(
    const std::vector<std::optional<double>>& pValues);

}  // namespace qvhost
