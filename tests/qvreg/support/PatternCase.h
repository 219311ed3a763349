#pragma once

#include <cmath>
#include <cstddef>
#include <random>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/design/QvDesignRow.h"
#include "qvreg/design/QvFactorTables.h"
#include "qvreg/settings/QvRegrParameter.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace qvtest {

/// Records of two factors of so many levels and so many covariates, of the effects intercept, A, B,
/// each covariate, and B times the first one, with weights and dependents. Every combination of
/// levels that occurs has `repeats` records, one behind the other.
class PatternCase {
 public:
  PatternCase(std::size_t nRecords, int levels, int nCovariates, std::size_t repeats = 1)
      : tables({0, 1}, {levels, levels}, -1, -1, 0, 0, -1, 0.0, QvConst::QvOffsetNone) {
    std::vector<QvRegrParameter> effects(3);
    std::vector<std::vector<int>> factors{{}, {0}, {1}};
    std::vector<int> covariates;
    for (int k = 0; k < nCovariates; ++k) {
      covariates.push_back(2 + k);
      effects.push_back(Slope(2 + k));
      factors.emplace_back();
    }
    effects.push_back(Slope(2));
    factors.push_back({1});
    tables.SetModelEffectFactors(factors, {0, 1});
    tables.SetCovariates(covariates);
    tables.SetEffectCovariates(effects);
    MakeRecords(nRecords, levels, nCovariates, repeats);
    nParameters = static_cast<std::size_t>(tables.CreateParameterIndices());
    row.Setup(tables, effects, covariates, covariates);
  }

  [[nodiscard]] std::vector<const double*> Pointers() const {
    std::vector<const double*> pointers;
    for (const std::vector<double>& record : records) pointers.push_back(record.data());
    return pointers;
  }

  QvFactorTables tables;
  QvDesignRow row;
  std::size_t nParameters = 0;
  std::vector<std::vector<double>> records;
  std::vector<double> weights;
  std::vector<double> dependents;

 private:
  static QvRegrParameter Slope(int variable) {
    QvRegrParameter parameter;
    EXPECT_GT(parameter.AddCovariate(variable, 1), 0);
    return parameter;
  }
  /// Three quarters of all covariates but the first two are zeros.
  void MakeRecords(std::size_t n, int levels, int nCovariates, std::size_t repeats) {
    std::mt19937 random(static_cast<unsigned>(n));
    std::uniform_real_distribution<double> uniform(-2.0, 2.0);
    for (std::size_t i = 0; i < n; ++i) {
      const std::size_t pattern = i / repeats;
      const auto count = static_cast<std::size_t>(levels);
      std::vector<double> record{static_cast<double>(pattern % count),
                                 static_cast<double>(pattern / count % count)};
      for (int k = 0; k < nCovariates; ++k) {
        const double value = uniform(random);
        record.push_back(k < 2 || random() % 4 == 0 ? value : 0.0);
      }
      tables.UpdateAll(MakeRecord(record));
      records.push_back(std::move(record));
      weights.push_back(std::fabs(uniform(random)));
      dependents.push_back(uniform(random));
    }
  }
};

}  // namespace qvtest
