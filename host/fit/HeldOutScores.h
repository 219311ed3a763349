#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/fit/CompensatedSum.h"
#include "host/fit/RecordFit.h"
#include "host/fit/RecordWalk.h"
#include "host/fit/ScoreSorter.h"
#include "host/table/CodedTable.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/data/QvRegRecordValidator.h"

namespace qvhost {

/// Mean and squared deviations of weighted numbers, of neighbours merged (Chan, Golub and LeVeque,
/// Updating formulae and a pairwise algorithm for computing sample variances, COMPSTAT 1982).
class WeightedMoments {
 public:
  void Add(double value, double weight) { Merge({weight, value, 0.0}); }
  void Merge(const WeightedMoments& next);
  /// The sum of weighted squares of deviations from the mean.
  [[nodiscard]] double Squares() const { return squares_; }
  /// The same from 0.
  [[nodiscard]] double SquaresFromZero() const { return squares_ + weight_ * mean_ * mean_; }

  WeightedMoments() = default;

 private:
  WeightedMoments(double weight, double mean, double squares)
      : weight_(weight), mean_(mean), squares_(squares) {}

  double weight_ = 0.0;
  double mean_ = 0.0;
  double squares_ = 0.0;
};

/// What is summed over records that were held out. A plain value; all sums are those of records in
/// the table's order, merged along a fixed tree.
struct HeldOutScores {
  /// For a dependent with so many codes and levels of the fit, and factors with so many codes.
  HeldOutScores(std::size_t codes, std::size_t levels, const std::vector<std::size_t>& factorSizes);
  void Merge(const HeldOutScores& next);

  long long heldOut = 0;  ///< Records.
  long long missing = 0;
  long long badWeight = 0;
  long long unscorable = 0;
  long long unseenCombinations = 0;
  std::vector<long long> unseen;                ///< By factors: records with an unseen level.
  std::vector<std::vector<bool>> unseenLevels;  ///< By factors and codes.
  std::vector<long long> unknown;               ///< By codes of the dependent.
  long long scored = 0;
  CompensatedSum weight;   ///< Frequency weights.
  CompensatedSum squares;  ///< Of errors of a linear model,
  CompensatedSum sizes;
  WeightedMoments dependent;
  CompensatedSum lossWeight;  ///< and of a logistic one.
  CompensatedSum loss;
  CompensatedSum brier;
  std::vector<std::vector<double>> classification;  ///< By own and predicted level.
};

/// What records are scored by, and where the probabilities go. Without a position of the part all
/// records that can be used are scored, as if they were held out. Borrows everything.
struct HeldOutScoring {
  const CodedTable& table;
  const IQvRegOutputStats& output;
  const std::vector<unsigned char>& scoring;  ///< What QvScorer opens.
  const QvRegRecordValidator& validator;      ///< Of all parts.
  int part;                                   ///< Positions in the table's records; -1 for none.
  int freqWeight;
  int regressionWeight;
  int count;                    ///< Of the number of records that one stands for.
  int factors;                  ///< They stand behind the dependent.
  std::vector<int> categories;  ///< Codes of the levels, the reference last; empty: a linear model.
  std::vector<std::size_t> ranked;  ///< Places of those whose probabilities go to the sorters.
  std::vector<ScoreSorter*> sorters;
};

/// Scores the records that are held out, in so many parts. Throws as WalkRecords and ScoreSorter
/// do.
[[nodiscard]] std::unique_ptr<HeldOutScores> ScoreHeldOut(const HeldOutScoring& scoring, int parts,
                                                          const WalkOptions& walk);

}  // namespace qvhost
