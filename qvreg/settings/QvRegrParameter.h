#pragma once

#include <array>
#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/common/Constants.h"

class QvModelEffect;

/// One column of the design: its effect, the factor categories that select it, the covariates that
/// multiply it and, for a logistic model, the category of the dependent whose equation it is in.
/// Without factors and covariates it is the intercept. A value; used from one thread at a time.
class QVREG_EXPORT QvRegrParameter {
 public:
  /// An intercept without an effect index.
  QvRegrParameter() = default;

  /// Adds a factor behind those of its nesting level or less. False for a negative `var` or
  /// `nestLevel` and for a factor already present; the category is not checked. May throw
  /// std::bad_alloc, with nothing changed.
  [[nodiscard]] bool AddFactor(int var, int category, int nestLevel);
  /// The category of factor `var`, or `notFound` when it is not among the factors.
  [[nodiscard]] int ContainsFactor(int var, int notFound) const;
  /// Adds `multiplicity` to that of covariate `var` and returns the total; 0, and nothing
  /// changed, for a negative `var` or a multiplicity below 1. May throw std::bad_alloc, with
  /// nothing changed.
  [[nodiscard]] int AddCovariate(int var, int multiplicity);
  /// The multiplicity of covariate `var`; 0 when it is not a covariate of the parameter.
  [[nodiscard]] int GetCovariateMult(int var) const;
  /// The sum of all multiplicities.
  [[nodiscard]] int GetNCovariateMult() const;

  /// The number of factors.
  [[nodiscard]] int GetNFactors() const { return static_cast<int>(fFactors.size()); }
  /// The number of distinct covariates.
  [[nodiscard]] int GetNCovariates() const { return static_cast<int>(fCovariates.size()); }
  /// Record indices of the factors, in the order of their nesting levels.
  [[nodiscard]] const std::vector<int>& GetFactors() const { return fFactors; }
  /// The category of each factor.
  [[nodiscard]] const std::vector<int>& GetCategories() const { return fCategories; }
  /// The same, to be written in place.
  [[nodiscard]] std::vector<int>& GetCategories() { return fCategories; }
  /// The nesting level of each factor, never decreasing.
  [[nodiscard]] const std::vector<int>& GetFactorNestLevels() const { return fFactorNestLevels; }
  /// Record indices of the covariates, in the order added.
  [[nodiscard]] const std::vector<int>& GetCovariates() const { return fCovariates; }
  /// The power of each covariate.
  [[nodiscard]] const std::vector<int>& GetCovariateMultiplicities() const {
    return fCovariateMultiplicities;
  }
  /// True without factors and covariates.
  [[nodiscard]] bool IsIntercept() const { return fFactors.empty() && fCovariates.empty(); }

  /// `effectIndex` is the position of the parameter's effect, the intercept being effect 0 when the
  /// model has one; a negative index is ignored.
  void SetEffectIndex(int effectIndex);
  /// The position of the parameter's effect; -1 when it was not set.
  [[nodiscard]] int GetEffectIndex() const { return fEffectIndex; }
  /// Logistic model: `category` is the code whose equation the parameter is in.
  void SetTargetCategory(int category) { fTargetCategory = category; }
  /// The code of the dependent's category; -1 for none, as in a linear model.
  [[nodiscard]] int GetTargetCategory() const { return fTargetCategory; }

  /// Becomes a parameter of `effect` at position `effectIndex`: its factors, each with `category`,
  /// and its covariates. False, and nothing changed, for an intercept effect or a negative index.
  /// May throw std::bad_alloc, with nothing changed.
  [[nodiscard]] bool SetupFromEffect(const QvModelEffect& effect, int effectIndex, int category);

  /// True when `other` stands for the same column: all fields agree.
  [[nodiscard]] bool operator==(const QvRegrParameter& other) const = default;

  /// Prints the parameter to standard output, for diagnostics.
  void Display() const;

 private:
  std::vector<int> fFactors;
  std::vector<int> fCategories;
  std::vector<int> fFactorNestLevels;
  std::vector<int> fCovariates;
  std::vector<int> fCovariateMultiplicities;
  int fEffectIndex = -1;
  int fTargetCategory = -1;
};

/// What the output statistics report of one parameter: a plain record, in the parameters' order.
/// The library fills the parameter index, the estimate, the redundant flag and the effect index;
/// the other fields are not used here, and are there for hosts to fill.
struct QVREG_EXPORT QvRegrParameterStats {
  /// Position among the parameters, from 0; -1 before it is filled.
  int fParameterIndex = -1;
  /// The estimate; 0 for a redundant parameter.
  double fEstimate = QvMV::gMissingValue;
  /// True for a parameter that depends on earlier ones and was dropped.
  bool fbRedundant = true;
  /// The host's: four statistics.
  std::array<double, 4> fStatistics{QvMV::gMissingValue, QvMV::gMissingValue, QvMV::gMissingValue,
                                    QvMV::gMissingValue};
  /// The host's: a count or a sum.
  double fCount = 0.0;
  /// The host's: a statistic.
  double fStatistic = QvMV::gMissingValue;
  /// The host's: the design effect, a ratio of variances.
  double fDesignEffect = QvMV::gMissingValue;
  /// Position of the parameter's effect, as QvRegrParameter::GetEffectIndex.
  int fEffectIndex = -1;
  /// The host's: one more statistic.
  double fLastStatistic = QvMV::gMissingValue;

  /// The square root of the design effect; the missing value when that is missing or negative.
  [[nodiscard]] double GetSqrtDeff() const;
};
