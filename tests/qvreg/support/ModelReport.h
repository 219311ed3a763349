#pragma once

#include <bit>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/glm/QvGLMOutputStats.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "tests/qvreg/support/RandomModels.h"

/// \file
/// All that a built component says of its model.

namespace qvtest {

/// What WriteModel writes.
inline std::vector<unsigned char> BytesOf(IQvRegComponent& component) {
  std::vector<unsigned char> bytes;
  EXPECT_EQ(component.WriteModel(bytes).GetCode(), QvStatusCode::kOK);
  return bytes;
}

inline const IQvRegOutputStats& StatsOf(IQvRegComponent& component) {
  IQvRegOutputStats* stats = nullptr;
  EXPECT_EQ(component.GetOutputStats(stats).GetCode(), QvStatusCode::kOK);
  return *stats;
}

inline void Append(std::vector<double>& numbers, const std::vector<double>& more) {
  numbers.insert(numbers.end(), more.begin(), more.end());
}

inline void Append(std::vector<double>& numbers, const std::vector<int>& more) {
  numbers.insert(numbers.end(), more.begin(), more.end());
}

inline void Append(std::vector<double>& numbers, const QvCommon::QvBitSet& bits) {
  for (int i = 0; i < bits.Size(); ++i) numbers.push_back(bits.IsIn(i) ? 1.0 : 0.0);
}

inline void Append(std::vector<double>& numbers, const QvCommon::QvSymMatrixData& matrix) {
  for (int i = 0; i < matrix.GetOrder(); ++i) {
    for (int j = 0; j <= i; ++j) numbers.push_back(matrix.GetElem(i, j));
  }
}

inline void Append(std::vector<double>& numbers, const QvRecordCounts& counts) {
  for (const long long count : {counts.fRead, counts.fUsed, counts.fMissing, counts.fBadWeight,
                                counts.fOutOfRange, counts.fUsedLater}) {
    numbers.push_back(static_cast<double>(count));
  }
}

inline void AppendLinear(std::vector<double>& numbers, const QvGLMOutputStats& stats) {
  Append(numbers, stats.GetRecordCounts());
  Append(numbers, stats.GetNonFiniteParameters());
  Append(numbers, stats.GetParameterExponents());
  Append(numbers, stats.GetScaledEstimates());
  Append(numbers, *stats.GetScaledCovarianceMatrix());
  for (const double number :
       {stats.IsDependentFinite() ? 1.0 : 0.0, static_cast<double>(stats.GetDependentExponent()),
        stats.GetScaledRootMeanSquareError(), stats.GetScaledRootMeanSquareTotal()}) {
    numbers.push_back(number);
  }
}

inline void AppendLogistic(std::vector<double>& numbers, const QvLogOutputStats& stats) {
  Append(numbers, stats.GetRecordCounts());
  Append(numbers, stats.GetNonFiniteParameters());
  Append(numbers, stats.GetParameterExponents());
  Append(numbers, stats.GetScaledEstimates());
  Append(numbers, *stats.GetScaledCovarianceMatrix());
  Append(numbers, stats.GetDependCategories());
  Append(numbers, stats.GetDependCategoryWeights());
  for (const double number :
       {static_cast<double>(stats.GetIterations()), static_cast<double>(stats.GetStepHalvings()),
        static_cast<double>(stats.GetOutcome()), stats.GetInitialLL(), stats.GetFinalLL(),
        stats.GetLLChange(), stats.GetParameterChange()}) {
    numbers.push_back(number);
  }
}

/// The bits of everything that results report in numbers.
inline std::vector<std::uint64_t> ReportOf(IQvRegComponent& component) {
  const IQvRegOutputStats& stats = StatsOf(component);
  std::vector<double> numbers = NumbersOf(stats);
  Append(numbers, stats.GetMeanValues());
  Append(numbers, stats.GetRedundancyIndicators());
  for (const double number :
       {stats.GetTotalFreqWeight(), stats.GetTotalRegrWeight(), stats.GetNDegFreedom()}) {
    numbers.push_back(number);
  }
  std::vector<double> combination;
  for (int i = 0; i < static_cast<int>(stats.GetParameters().size()); ++i) {
    if (stats.GetRedundantCombination(i, combination)) Append(numbers, combination);
  }
  if (const auto* linear = dynamic_cast<const QvGLMOutputStats*>(&stats)) {
    AppendLinear(numbers, *linear);
  } else {
    AppendLogistic(numbers, dynamic_cast<const QvLogOutputStats&>(stats));
  }
  std::vector<std::uint64_t> bits;
  bits.reserve(numbers.size());
  for (const double number : numbers) bits.push_back(std::bit_cast<std::uint64_t>(number));
  return bits;
}

}  // namespace qvtest
