#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "qvreg/common/Record.h"
#include "qvreg/settings/QvRegSettings.h"

/// \file
/// Models and records made of a fuzzer's bytes.

namespace qvfuzz {

using Records = std::vector<QvCommon::Record>;

/// A term: factors, crossed or each nested in those before it, and covariates, which may repeat.
struct FuzzedEffect {
  std::vector<int> factors;  ///< Positions in records, as the covariates.
  bool isNested = false;
  std::vector<int> covariates;
};

/// A model described. Records have the dependent first, then factors, covariates, the frequency
/// weight, the regression weight and the record count, whether the model uses these or not.
struct FuzzedModel {
  bool isLogistic = false;
  int nCategories = 2;
  std::vector<int> factorSizes;
  int nCovariates = 0;
  std::vector<FuzzedEffect> effects;
  bool hasIntercept = true;
  bool hasFrequency = false;
  bool hasRegression = false;
  bool hasCount = false;
  bool isRefined = false;
  bool isInMemory = false;
  int reference = -1;
  int maxIterations = 40;
  int startingIteration = 20;
  double tolerance = 1e-12;

  [[nodiscard]] int FirstFactor() const { return 1; }
  [[nodiscard]] int FirstCovariate() const { return 1 + static_cast<int>(factorSizes.size()); }
  [[nodiscard]] int Frequency() const { return FirstCovariate() + nCovariates; }
  [[nodiscard]] int Regression() const { return Frequency() + 1; }
  [[nodiscard]] int Count() const { return Frequency() + 2; }
  [[nodiscard]] int RecordSize() const { return Frequency() + 3; }
};

/// A model of few factors and covariates.
[[nodiscard]] FuzzedModel TakeModel(FuzzedDataProvider& data);

/// The library's settings for it. A setting that is refused is a finding.
[[nodiscard]] std::unique_ptr<QvRegSettings> SettingsOf(const FuzzedModel& model);

/// Records whose numbers are small and whole, all of which a fit uses: sums and products of them
/// are exact, so that what differs between two fits of one model is what solving them rounds.
[[nodiscard]] Records TakeWholeRecords(FuzzedDataProvider& data, const FuzzedModel& model);

/// Records of any numbers: missing, infinite, none, of every size, and codes of no category.
[[nodiscard]] Records TakeWildRecords(FuzzedDataProvider& data, const FuzzedModel& model);

}  // namespace qvfuzz
