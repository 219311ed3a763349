#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include "host/fit/CompensatedSum.h"
#include "host/fit/FitPlots.h"
#include "host/fit/RocPoints.h"
#include "host/fit/ScoreSorter.h"

namespace qvhost {

/// How the probabilities of the levels of a dependent rank the records that have them: areas under
/// receiver operating characteristics, and calibration by tenths.
///
/// Takes entries as ScoreSorter gives them. One thread at a time.
class ScoreRanking {
 public:
  static constexpr std::size_t kGroups = 10;

  /// Records of one tenth.
  struct Group {
    CompensatedSum weight;
    CompensatedSum predicted;  ///< Weights times probabilities.
    CompensatedSum observed;   ///< Weights of those that have the level.
  };
  using Groups = std::array<Group, kGroups>;

  /// For `levels` levels; `total` is the weight of all records, of which each has one entry for
  /// each level that is asked about.
  ScoreRanking(std::size_t levels, double total);

  /// Before the first entry: keeps points of the level's receiver operating characteristic. There
  /// are records of so much weight with the level, but for rounding.
  void KeepCurve(std::size_t level, double having);

  void Add(const ScoreEntry& entry);
  /// After the last entry.
  void End();

  /// After End. The probability that a record with the level `i` has a higher probability of it
  /// than one with the level `j`, half of those that have the same; none without records of both.
  [[nodiscard]] std::optional<double> Auc(std::size_t i, std::size_t j) const;
  /// The same of records with the level and of all others.
  [[nodiscard]] std::optional<double> Auc(std::size_t level) const;
  /// The mean of Auc(i, j) over all pairs of levels that occur (Hand and Till, A simple
  /// generalisation of the area under the ROC curve for multiple class classification problems,
  /// Machine Learning 45, 2001). REQUIRES: entries for every level.
  [[nodiscard]] std::optional<double> MeanAuc() const;
  /// The mean of Auc(i) over the levels, by their weights. REQUIRES: as MeanAuc.
  [[nodiscard]] std::optional<double> WeightedAuc() const;

  /// After End: the points of the curve, of a level for which they were kept; see RocCurve.
  [[nodiscard]] std::vector<RocCurve::Point> CurveOf(std::size_t level) const;

  /// After End: tenths of the records in the order of the level's probability. Records of the same
  /// probability stay together, in the tenth in which the middle of them lies.
  [[nodiscard]] const Groups& GroupsOf(std::size_t level) const { return sums_[level].groups; }

 private:
  struct LevelSums {
    std::vector<CompensatedSum> weights;  ///< By the own level.
    std::vector<CompensatedSum> above;    ///< Products of weights: of records that it ranks higher
                                          ///< than those that have the level, half of ties.
    Groups groups;
    std::optional<RocPoints> curve;
  };

  void EndTie();

  const double total_;
  std::vector<LevelSums> sums_;
  ScoreEntry tie_;                                    ///< Level and score of those that wait.
  std::vector<std::pair<std::size_t, double>> tied_;  ///< Weights by own levels, in order.
  CompensatedSum before_;                             ///< Weight below the tie.
};

}  // namespace qvhost
