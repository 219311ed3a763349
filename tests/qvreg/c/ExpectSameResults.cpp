#include "tests/qvreg/c/ExpectSameResults.h"

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/design/QvFactorCounts.h"
#include "qvreg/glm/QvGLMOutputStats.h"
#include "qvreg/logistic/QvLogOutputStats.h"

namespace qvtest {
namespace {

void ExpectSameParameter(const qvreg_parameters* parameters, std::size_t index,
                         const QvRegrParameter& expected) {
  const ParameterParts parts = ParameterOf(parameters, index);
  EXPECT_EQ(parts.info.n_factors, expected.GetNFactors());
  EXPECT_EQ(parts.info.n_covariates, expected.GetNCovariates());
  EXPECT_EQ(parts.info.covariate_multiplicity, expected.GetNCovariateMult());
  EXPECT_EQ(parts.info.is_intercept != 0, expected.IsIntercept());
  EXPECT_EQ(parts.info.effect_index, expected.GetEffectIndex());
  EXPECT_EQ(parts.info.target_category, expected.GetTargetCategory());
  EXPECT_EQ(parts.factors, expected.GetFactors());
  EXPECT_EQ(parts.categories, expected.GetCategories());
  EXPECT_EQ(parts.levels, expected.GetFactorNestLevels());
  EXPECT_EQ(parts.covariates, expected.GetCovariates());
  EXPECT_EQ(parts.multiplicities, expected.GetCovariateMultiplicities());
}

void ExpectSameParameters(const CResults& results, const IQvRegOutputStats& expected) {
  const CParameters parameters = Made<CParameters>([&](qvreg_parameters** made, qvreg_error* e) {
    return qvreg_results_get_parameters(results.get(), made, e);
  });
  std::size_t count = 0;
  Require([&](qvreg_error* e) { return qvreg_parameters_get_count(parameters.get(), &count, e); });
  ASSERT_EQ(count, expected.GetParameters().size());
  for (std::size_t i = 0; i < count; ++i) {
    ExpectSameParameter(parameters.get(), i, expected.GetParameters()[i]);
  }
}

void ExpectSameLists(const CResults& results, const IQvRegOutputStats& expected) {
  EXPECT_EQ(ListOf<double>(
                [&](auto... rest) { return qvreg_results_get_estimates(results.get(), rest...); }),
            expected.GetParamEstimates());
  EXPECT_EQ(
      ListOf<double>([&](auto... rest) { return qvreg_results_get_means(results.get(), rest...); }),
      expected.GetMeanValues());
  const auto redundant = ListOf<std::int32_t>(
      [&](auto... rest) { return qvreg_results_get_redundant(results.get(), rest...); });
  ASSERT_EQ(redundant.size(), expected.GetParameters().size());
  for (std::size_t i = 0; i < redundant.size(); ++i) {
    EXPECT_EQ(redundant[i] == 0, expected.GetRedundancyIndicators().IsIn(static_cast<int>(i)));
  }
}

const QvCommon::QvBitSet& NonFiniteOf(const IQvRegOutputStats& stats) {
  if (const auto* linear = dynamic_cast<const QvGLMOutputStats*>(&stats)) {
    return linear->GetNonFiniteParameters();
  }
  return dynamic_cast<const QvLogOutputStats&>(stats).GetNonFiniteParameters();
}

void ExpectSameFiniteness(const CResults& results, const IQvRegOutputStats& expected) {
  const auto nonFinite = ListOf<std::int32_t>(
      [&](auto... rest) { return qvreg_results_get_non_finite(results.get(), rest...); });
  ASSERT_EQ(nonFinite.size(), expected.GetParameters().size());
  for (std::size_t i = 0; i < nonFinite.size(); ++i) {
    EXPECT_EQ(nonFinite[i] == 1, NonFiniteOf(expected).IsIn(static_cast<int>(i))) << i;
  }
  std::int32_t isFinite = -1;
  Require([&](qvreg_error* e) {
    return qvreg_results_is_dependent_finite(results.get(), &isFinite, e);
  });
  const auto* linear = dynamic_cast<const QvGLMOutputStats*>(&expected);
  EXPECT_EQ(isFinite, linear == nullptr || linear->IsDependentFinite() ? 1 : 0);
}

void ExpectSameCovariance(const CResults& results, const IQvRegOutputStats& expected) {
  const QvCommon::QvSymMatrixData* matrix = expected.GetCovarianceMatrix();
  if (matrix == nullptr) {
    const qvreg_error error = ErrorOf([&](qvreg_error* e) {
      return qvreg_results_get_covariance_packed(results.get(), nullptr, 0, nullptr, e);
    });
    EXPECT_EQ(error.code, QVREG_NOT_SERVED);
    return;
  }
  const auto n = static_cast<std::size_t>(matrix->GetOrder());
  const auto packed = ListOf<double>(
      [&](auto... rest) { return qvreg_results_get_covariance_packed(results.get(), rest...); });
  ASSERT_EQ(packed.size(), n * (n + 1) / 2);
  const std::size_t stride = n + 3;
  const auto full =
      ListOf<double>([&](double* buffer, std::size_t capacity, std::size_t* count, qvreg_error* e) {
        return qvreg_results_get_covariance_full(results.get(), buffer, stride, capacity, count, e);
      });
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) {
      const double element = matrix->GetElem(static_cast<int>(i), static_cast<int>(j));
      EXPECT_EQ(full[i * stride + j], element);
      if (j <= i) {
        EXPECT_EQ(packed[i * (i + 1) / 2 + j], element);
      }
      double one = 0.0;
      Require([&](qvreg_error* e) {
        return qvreg_results_get_covariance(results.get(), i, j, &one, e);
      });
      EXPECT_EQ(one, element);
    }
  }
}

/// What the statistics of either model tell of numbers of extreme size.
template <typename Stats>
void ExpectSameScaled(const CResults& results, const Stats& expected, int dependentExponent,
                      double rmse) {
  auto summary = Sized<qvreg_scaled_summary>();
  Require([&](qvreg_error* e) { return qvreg_scaled_get_summary(results.get(), &summary, e); });
  EXPECT_EQ(summary.dependent_exponent, dependentExponent);
  EXPECT_EQ(summary.rmse, rmse);
  EXPECT_EQ(ListOf<std::int32_t>(
                [&](auto... rest) { return qvreg_scaled_get_exponents(results.get(), rest...); }),
            expected.GetParameterExponents());
  EXPECT_EQ(ListOf<double>(
                [&](auto... rest) { return qvreg_scaled_get_estimates(results.get(), rest...); }),
            expected.GetScaledEstimates());
  for (std::size_t i = 0; i < expected.GetParameters().size(); ++i) {
    std::vector<double> combination;
    if (!expected.GetRedundantCombination(static_cast<int>(i), combination)) {
      combination.assign(expected.GetParameters().size(), 0.0);
    }
    EXPECT_EQ(ListOf<double>([&](auto... rest) {
                return qvreg_scaled_get_redundant_combination(results.get(), i, rest...);
              }),
              combination);
  }
  const QvCommon::QvSymMatrixData* matrix = expected.GetScaledCovarianceMatrix();
  if (matrix == nullptr) return;
  const auto packed = ListOf<double>(
      [&](auto... rest) { return qvreg_scaled_get_covariance_packed(results.get(), rest...); });
  std::vector<double> elements;
  for (int i = 0; i < matrix->GetOrder(); ++i) {
    for (int j = 0; j <= i; ++j) elements.push_back(matrix->GetElem(i, j));
  }
  EXPECT_EQ(packed, elements);
}

/// `call(weighted, unweighted, capacity, count, error)`.
template <typename Call>
void ExpectSamePairs(const QvFactorCounts::Counts& expected, Call&& call) {
  std::size_t count = 0;
  double* const none = nullptr;
  Require([&](qvreg_error* e) { return call(none, none, std::size_t{0}, &count, e); });
  ASSERT_EQ(count, expected.size());
  std::vector<double> weighted(count);
  std::vector<double> unweighted(count);
  Require(
      [&](qvreg_error* e) { return call(weighted.data(), unweighted.data(), count, &count, e); });
  for (std::size_t i = 0; i < count; ++i) {
    EXPECT_EQ(weighted[i], expected[i].first);
    EXPECT_EQ(unweighted[i], expected[i].second);
  }
}

void ExpectSameFactorCounts(const CResults& results, const QvFactorCounts& expected) {
  for (int factor = 0; factor < expected.GetNFactors(); ++factor) {
    ExpectSamePairs(*expected.GetCountsPtr(factor), [&](auto... rest) {
      return qvreg_results_get_factor_counts(results.get(), factor, rest...);
    });
  }
  if (expected.GetDependCountsPtr() == nullptr) {
    const qvreg_error error = ErrorOf([&](qvreg_error* e) {
      return qvreg_results_get_dependent_counts(results.get(), nullptr, nullptr, 0, nullptr, e);
    });
    EXPECT_EQ(error.code, QVREG_NOT_SERVED);
    return;
  }
  ExpectSamePairs(*expected.GetDependCountsPtr(), [&](auto... rest) {
    return qvreg_results_get_dependent_counts(results.get(), rest...);
  });
}

void ExpectSameNumbers(const CResults& results, const IQvRegOutputStats& expected, bool isLinear) {
  auto summary = Sized<qvreg_summary>();
  Require([&](qvreg_error* e) { return qvreg_results_get_summary(results.get(), &summary, e); });
  EXPECT_EQ(summary.model, isLinear ? QVREG_MODEL_LINEAR : QVREG_MODEL_LOGISTIC);
  EXPECT_EQ(summary.n_parameters, static_cast<int>(expected.GetParameters().size()));
  EXPECT_EQ(summary.n_kept, expected.GetRedundancyIndicators().Count());
  EXPECT_EQ(summary.n_factors, expected.GetFactorCounts().GetNFactors());
  EXPECT_EQ(summary.total_frequency_weight, expected.GetTotalFreqWeight());
  EXPECT_EQ(summary.total_regression_weight, expected.GetTotalRegrWeight());
  EXPECT_EQ(summary.degrees_of_freedom, expected.GetNDegFreedom());
  for (int stat = QVREG_FIT_RMSE; stat <= QVREG_FIT_MCFADDEN_R_SQUARE; ++stat) {
    double value = -1.0;
    qvreg_error error = QVREG_ERROR_INIT;
    const std::int32_t code = qvreg_results_get_fit_stat(results.get(), stat, &value, &error);
    const bool isServed = (stat <= QVREG_FIT_R_SQUARE) == isLinear;
    EXPECT_EQ(code, isServed ? QVREG_OK : QVREG_NOT_SERVED);
    if (!isServed) continue;
    EXPECT_EQ(value, expected.GetModelFitStat(static_cast<QvConst::QvModelFitStat>(stat)));
  }
}

void ExpectSameLogistic(const CResults& results, const QvLogOutputStats& expected) {
  auto summary = Sized<qvreg_logistic_summary>();
  Require([&](qvreg_error* e) { return qvreg_logistic_get_summary(results.get(), &summary, e); });
  const auto n = static_cast<std::size_t>(summary.n_categories);
  EXPECT_EQ(summary.outcome, static_cast<int>(expected.GetOutcome()));
  EXPECT_EQ(summary.iterations, expected.GetIterations());
  EXPECT_EQ(summary.step_halvings, expected.GetStepHalvings());
  EXPECT_EQ(summary.initial_log_likelihood, expected.GetInitialLL());
  EXPECT_EQ(summary.final_log_likelihood, expected.GetFinalLL());
  EXPECT_EQ(summary.ll_change, expected.GetLLChange());
  EXPECT_EQ(summary.param_change, expected.GetParameterChange());
  std::vector<int> codes(n);
  std::vector<double> weights(n);
  Require([&](qvreg_error* e) {
    return qvreg_logistic_get_categories(results.get(), codes.data(), weights.data(), n, nullptr,
                                         e);
  });
  EXPECT_EQ(codes, expected.GetDependCategories());
  EXPECT_EQ(weights, expected.GetDependCategoryWeights());
  const QvCommon::QvRectMatrix* table = expected.GetClassificationTable();
  if (table == nullptr) return;
  std::vector<double> elements(n * n);
  Require([&](qvreg_error* e) {
    return qvreg_logistic_get_classification(results.get(), elements.data(), n, n * n, nullptr, e);
  });
  for (std::size_t i = 0; i < n * n; ++i) {
    EXPECT_EQ(elements[i], table->GetElem(static_cast<int>(i / n), static_cast<int>(i % n)));
  }
}

}  // namespace

void ExpectSameCounts(const qvreg_record_counts& counts, const QvRecordCounts& expected) {
  EXPECT_EQ(counts.read, expected.fRead);
  EXPECT_EQ(counts.used, expected.fUsed);
  EXPECT_EQ(counts.missing, expected.fMissing);
  EXPECT_EQ(counts.bad_weight, expected.fBadWeight);
  EXPECT_EQ(counts.out_of_range, expected.fOutOfRange);
}

void ExpectSameResults(const CResults& results, const IQvRegOutputStats& expected) {
  const auto* linear = dynamic_cast<const QvGLMOutputStats*>(&expected);
  const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&expected);
  ASSERT_TRUE(linear != nullptr || logistic != nullptr);
  ExpectSameNumbers(results, expected, linear != nullptr);
  ExpectSameParameters(results, expected);
  ExpectSameLists(results, expected);
  ExpectSameFiniteness(results, expected);
  ExpectSameCovariance(results, expected);
  ExpectSameFactorCounts(results, expected.GetFactorCounts());
  auto counts = Sized<qvreg_record_counts>();
  Require(
      [&](qvreg_error* e) { return qvreg_results_get_record_counts(results.get(), &counts, e); });
  ExpectSameCounts(counts,
                   linear != nullptr ? linear->GetRecordCounts() : logistic->GetRecordCounts());
  if (logistic != nullptr) {
    ExpectSameLogistic(results, *logistic);
    ExpectSameScaled(results, *logistic, 0, QvMV::gMissingValue);
  } else {
    ExpectSameScaled(results, *linear, linear->GetDependentExponent(),
                     linear->GetScaledRootMeanSquareError());
  }
}

}  // namespace qvtest
