#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "host/fit/DesignTerms.h"
#include "qvreg/common/Record.h"
#include "qvreg/data/QvRegRecordValidator.h"

/// \file
/// The sums over records of which average effects and their gradients are made. Weights are the
/// frequency weights alone; numbers are in the units of the estimation.

namespace qvhost {

/// A variable, or some levels of a factor, as the sums take it. A plain value.
struct MarginTarget {
  /// A covariate of a term that changes with the variable.
  struct Slope {
    std::size_t covariate = 0;  ///< Of the term.
    int position = -1;    ///< In the records, of the covariate's derivative; -1 where it is 1.
    double factor = 1.0;  ///< The derivative is multiplied by this, too.
  };
  struct TermSlopes {
    std::size_t term = 0;
    std::vector<Slope> slopes;
  };
  /// A term that has the factor.
  struct FactorTerm {
    std::size_t term = 0;
    std::int64_t stride = 0;
  };

  std::vector<TermSlopes> slopes;   ///< Of a column of covariates.
  int factor = -1;                  ///< Position of a factor in the records; -1 for covariates.
  std::vector<FactorTerm> terms;    ///< Of a factor,
  std::vector<std::size_t> others;  ///< and the terms without it.
  std::vector<int> levels;          ///< Codes that records are set to, the base among them.

  /// How many means there are: one for each level.
  [[nodiscard]] std::size_t Cells() const { return factor < 0 ? 1 : levels.size(); }
};

/// What all sums of a pass share. Borrows everything.
struct MarginTask {
  const DesignTerms& terms;
  const std::vector<double>& estimates;  ///< In the units of the estimation, block by block.
  std::size_t order = 1;                 ///< Blocks: categories but the reference; 1 if linear.
  const QvRegRecordValidator& validator;
  int freqWeight = -1;  ///< Position in the records; -1 for none.
  const std::vector<MarginTarget>& targets;
};

/// An average over records, and its derivatives by all parameters.
struct AverageEffect {
  bool exists = true;  ///< False where a record has no prediction, or no derivative.
  double value = 0.0;
  std::vector<double> gradient;
  std::vector<double> sizes;  ///< Of the largest number that each element is a difference of.
};

/// One record after the other as the terms have it.
class MarginRow {
 public:
  explicit MarginRow(const MarginTask& task);

  /// False for a record that is not used.
  bool Read(const QvCommon::Record& record);

  double weight = 1.0;
  std::vector<std::int64_t> keys;   ///< Per term,
  std::vector<std::size_t> places;  ///< its parameter,
  std::vector<double> values;       ///< and its value there.

 private:
  const MarginTask& task_;
};

/// The average effects of a pass.
class MarginMeans {
 public:
  virtual ~MarginMeans() = default;

  /// The derivative by a variable, `cell` and `base` being 0, or the difference between a level and
  /// the base, of the category numbered `category`.
  [[nodiscard]] virtual AverageEffect Of(std::size_t target, std::size_t cell, std::size_t base,
                                         std::size_t category) const = 0;
};

/// Those of a linear model, whose average effects are those of average rows: what a factor's level
/// changes is summed by the levels of the other factors, whatever their number.
class LinearMarginSums final : public MarginMeans {
 public:
  explicit LinearMarginSums(const MarginTask& task);

  bool Add(const QvCommon::Record& record, std::int64_t number);
  void EndPart() {}
  void Merge(const LinearMarginSums& next);

  [[nodiscard]] AverageEffect Of(std::size_t target, std::size_t cell, std::size_t base,
                                 std::size_t category) const override;

 private:
  struct TargetSums {
    bool exists = true;
    std::vector<double> row;  ///< Of covariates: the derivative of the design row.
    /// Of a factor: for each of its terms the sum of values by the levels of the other factors.
    std::vector<std::unordered_map<std::int64_t, double>> values;
  };

  void AddLevel(const MarginTarget& target, const TargetSums& sums, std::size_t cell, double sign,
                AverageEffect& effect) const;

  const MarginTask& task_;
  MarginRow row_;
  double weight_ = 0.0;
  std::vector<TargetSums> sums_;
};

/// Those of a logistic model: sums of probabilities, or their derivatives, and of the derivatives
/// of these by the parameters. Since those by the parameters of the category m, of the probability
/// of the category k, are symmetric in m and k, and those of all k add up to 0, only pairs without
/// the reference are summed.
class LogisticMarginSums final : public MarginMeans {
 public:
  explicit LogisticMarginSums(const MarginTask& task);

  bool Add(const QvCommon::Record& record, std::int64_t number);
  void EndPart() {}
  void Merge(const LogisticMarginSums& next);

  [[nodiscard]] AverageEffect Of(std::size_t target, std::size_t cell, std::size_t base,
                                 std::size_t category) const override;

  /// What the sums of one cell take, in bytes.
  [[nodiscard]] static std::size_t BytesOfCell(const MarginTask& task);

 private:
  struct TargetSums {
    std::vector<unsigned char> exists;  ///< Per cell, 1 or 0.
    std::vector<double> values;         ///< Category after category, each cell after cell.
    std::vector<double> gradients;      ///< Pair after pair, parameter after parameter, cells.
  };

  [[nodiscard]] std::size_t PairOf(std::size_t k, std::size_t m) const;
  /// Adds the value and gradient of a cell for a category that is not the reference.
  void AddCell(std::size_t target, std::size_t cell, std::size_t category, double sign,
               AverageEffect& effect) const;
  void Predict();
  void AddSlope(const QvCommon::Record& record, const MarginTarget& target, TargetSums& sums);
  void AddLevels(const QvCommon::Record& record, const MarginTarget& target, TargetSums& sums);
  void FindLevels(const QvCommon::Record& record, const MarginTarget& target, TargetSums& sums);
  void MakeProbabilities(std::size_t cells);

  const MarginTask& task_;
  MarginRow row_;
  double weight_ = 0.0;
  std::vector<TargetSums> sums_;

  // Scratch.
  std::vector<double> predictors_;     ///< Of the record, per category but the reference.
  std::vector<double> probabilities_;  ///< Per category, category after category for levels.
  std::vector<double> termSlopes_;
  std::vector<double> slopes_;    ///< Of the predictors, the reference's 0 last.
  std::vector<double> relative_;  ///< Those less their mean.
  std::vector<double> shares_;    ///< Derivatives of a probability by the predictors.
  std::vector<int> parameters_;   ///< Of levels: term after term, each cell after cell.
  std::vector<double> weights_;
};

}  // namespace qvhost
