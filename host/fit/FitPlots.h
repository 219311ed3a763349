#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/fit/ValidationResult.h"

namespace qvhost {

/// Records in a plane. Up to kMostPoints records are points; more are counted in rectangles of one
/// size. Records that lack one of the two numbers are left out; of none there are no cells. A plain
/// value.
///
/// Rectangles span the whole range of a number, or, where that is more than twice as wide, what
/// holds all but kShareOutside of the records at either end: a few far away would press all others
/// into a line.
struct ScatterPlot {
  struct Cell {
    double x = 0.0;  ///< Of the record; of a rectangle its lower ends. See isLogarithmic.
    double y = 0.0;
    double weight = 1.0;  ///< Sum of the frequency weights.
  };
  std::optional<std::array<double, 2>> size = std::nullopt;  ///< Of a rectangle; none: points.
  std::vector<Cell> cells = {};                              ///< By x, then by y.
  double outside = 0.0;        ///< Weight of records beyond the rectangles, which are not counted.
  bool isLogarithmic = false;  ///< Of rectangles x, and their width, are decimal logarithms.

  static constexpr long long kMostPoints = 5000;
  static constexpr double kShareOutside = 0.0005;
};

/// A residual beside the one that a normal distribution would have in its place: the quantile of
/// (i - 1/2) / n for the i-th of n records (Hazen, Storage to Be Provided in Impounding Reservoirs
/// for Municipal Water Supply, Transactions of the ASCE 77, 1914), each counted as often as its
/// frequency weight says and placed in the middle of these. R's qqnorm does so above ten records.
struct QuantilePoint {
  double normal = 0.0;
  double residual = 0.0;  ///< Standardized.
};

/// What a report draws of a linear model, over the records used, in the units of the dependent.
struct LinearPlots {
  ScatterPlot residuals;  ///< x: fitted, y: residual.
  ScatterPlot observed;   ///< x: fitted, y: observed.
  /// x: leverage, y: standardized residual. Rectangles hold every leverage, on a logarithmic scale
  /// where the largest is more than 100 times the smallest.
  ScatterPlot leverage;
  std::vector<QuantilePoint> quantiles;  ///< Ascending; of many records some.
};

/// How well the probability of a level tells the records that have it from all others. Of two
/// levels there is that of the first alone. Without records of both kinds there is no area and no
/// point.
struct RocCurve {
  struct Point {
    double falsePositive = 0.0;
    double truePositive = 0.0;
  };
  std::string level;
  std::optional<double> area;  ///< Of all records, whatever points are kept.
  std::vector<Point> points;   ///< From (0, 0) to (1, 1), up to kMostPoints; neither falls.

  static constexpr std::size_t kMostPoints = 200;
};

/// An iteration of a logistic estimation.
struct IterationPoint {
  int iteration = 0;  ///< 0 for the start.
  double logLikelihood = 0.0;
  int halvings = 0;
};

/// What a report draws of a logistic model.
struct LogisticPlots {
  std::vector<IterationPoint> iterations;
  /// Of the most frequent levels, up to kMostLevels, in the fit's order. Empty, as the calibration,
  /// where the probabilities are too many to be sorted.
  std::vector<RocCurve> curves;
  std::vector<CalibrationGroup> calibration;  ///< Of the same levels.
  bool heldOut = false;  ///< Curves and calibration are over records that the fit did not see.

  static constexpr std::size_t kMostLevels = 8;
};

/// What `--report` draws beside the tables. A plain value; one of the two is there.
struct FitPlots {
  std::optional<LinearPlots> linear = std::nullopt;
  std::optional<LogisticPlots> logistic = std::nullopt;
};

}  // namespace qvhost
