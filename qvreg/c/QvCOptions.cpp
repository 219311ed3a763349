#include <array>
#include <cmath>
#include <cstdio>
#include <new>
#include <string>
#include <vector>

#include "qvreg/c/QvCSettings.h"
#include "qvreg/c/qvreg_c.h"

using QvCCheck::NotNull;
using QvCCheck::Valid;

namespace {

/// Throws the refusal of a field's value unless it is taken; `rule` says which values are.
void Require(bool isTaken, const char* field, double value, const char* rule) {
  if (isTaken) return;
  std::array<char, QVREG_MESSAGE_SIZE> text{};
  std::snprintf(text.data(), text.size(), "The settings do not take %s = %.15g; it must be %s.",
                field, value, rule);
  throw QvCRefusal(QVREG_SETTING_REFUSED, text.data());
}

void RequireTakenDF(const QvRegSettings& settings, double df) {
  Require(!std::isnan(df), "degrees_of_freedom", df, "a number");
  Require(df > 0.0 || !(settings.GetDF() > 0.0), "degrees_of_freedom", df,
          "above 0 once it was imposed");
}

void Read(const QvRegSettings& settings, qvreg_options& options) {
  options.tolerance = settings.GetTolerance();
  options.confidence_level = settings.GetConfidenceLevel();
  options.degrees_of_freedom = settings.GetDF();
  options.use_intercept = settings.GetInterceptUse() ? 1 : 0;
  options.refine_estimates = settings.GetRefineEstimates() ? 1 : 0;
  options.test_type = settings.GetTestType();
  options.p_adjustment = settings.GetPAdjustment();
  options.covariance_type = settings.GetCovbType();
  options.max_refinements = settings.GetMaxRefinements();
}

void Write(const qvreg_options& options, QvRegSettings& settings) {
  Require(options.confidence_level >= 0.0 && options.confidence_level < 1.0, "confidence_level",
          options.confidence_level, "0 or more and below 1");
  RequireTakenDF(settings, options.degrees_of_freedom);
  Require(options.test_type == QvConst::QvTestDefault, "test_type", options.test_type, "0");
  Require(options.p_adjustment == QvConst::QvPAdjustDefault, "p_adjustment", options.p_adjustment,
          "0");
  Require(options.covariance_type == QvConst::QvCovbDefault, "covariance_type",
          options.covariance_type, "0");
  Require(settings.SetMaxRefinements(options.max_refinements), "max_refinements",
          options.max_refinements, "0 or more");
  settings.SetTolerance(options.tolerance);
  settings.SetConfidenceLevel(options.confidence_level);
  settings.SetDF(options.degrees_of_freedom);
  settings.SetInterceptUse(options.use_intercept != 0);
  settings.SetRefineEstimates(options.refine_estimates != 0 && options.max_refinements > 0);
  settings.SetTestType(QvConst::QvTestDefault);
  settings.SetPAdjustment(QvConst::QvPAdjustDefault);
  settings.SetCovbType(QvConst::QvCovbDefault);
}

void Read(const QvLogRegSettings& settings, qvreg_logistic_options& options) {
  options.n_categories = settings.GetDependentNCategs();
  options.reference_category = settings.GetDependentRefCateg();
  options.ll_criterion = settings.GetLLConCriterion();
  options.param_criterion = settings.GetParamEstConCriterion();
  options.is_ll_change_absolute = settings.GetLLFuncChange() ? 1 : 0;
  options.is_param_change_absolute = settings.GetParamEstChange() ? 1 : 0;
  options.max_iterations = settings.GetMaxIterations();
  options.max_step_halvings = settings.GetMaxStepHalvingValue();
  options.starting_iteration = settings.GetStartingIteration();
  options.iteration_frequency = settings.GetIterationFrequency();
  options.use_pattern_tabulator = settings.GetUsePatternTabulator() ? 1 : 0;
}

void Write(const qvreg_logistic_options& options, QvLogRegSettings& settings) {
  // Each setter says itself what it takes: they are tried on a copy.
  QvLogRegSettings tried = settings;
  Require(options.n_categories >= 2, "n_categories", options.n_categories, "2 or more");
  Require(options.n_categories <= QVREG_MAX_CATEGORIES, "n_categories", options.n_categories,
          "16777216 or less");
  static_assert(QVREG_MAX_CATEGORIES == 16777216);
  Require(tried.SetDependentRefCat(options.reference_category, options.n_categories),
          "reference_category", options.reference_category,
          "a code below n_categories, QVREG_LAST_OBSERVED or QVREG_FIRST_OBSERVED");
  Require(tried.SetLLConCriterion(options.ll_criterion), "ll_criterion", options.ll_criterion,
          "0 or more");
  Require(tried.SetParamEstConCriterion(options.param_criterion), "param_criterion",
          options.param_criterion, "0 or more");
  Require(tried.SetMaxIterations(options.max_iterations), "max_iterations", options.max_iterations,
          "0 or more");
  Require(tried.SetMaxStepHalvingValue(options.max_step_halvings), "max_step_halvings",
          options.max_step_halvings, "1 or more");
  Require(tried.SetStartingIteration(options.starting_iteration), "starting_iteration",
          options.starting_iteration, "0 or more");
  Require(tried.SetIterationFrequency(options.iteration_frequency), "iteration_frequency",
          options.iteration_frequency, "1 or more");
  tried.SetLLFuncChange(options.is_ll_change_absolute != 0);
  tried.SetParamEstChange(options.is_param_change_absolute != 0);
  tried.SetUsePatternTabulator(options.use_pattern_tabulator != 0);
  settings = tried;
}

}  // namespace

int32_t qvreg_settings_get_options(const qvreg_settings* settings, qvreg_options* options,
                                   qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvRegSettings& from = Valid(settings).fSettings.Get();
    QvCStruct::Fill(options, "options", [&](qvreg_options& to) { Read(from, to); });
  });
}

int32_t qvreg_settings_set_options(qvreg_settings* settings, const qvreg_options* options,
                                   qvreg_error* error) {
  return QvCCall(error, [&] {
    QvRegSettings& to = Valid(settings).fSettings.Get();
    qvreg_options present{};
    Read(to, present);
    Write(QvCStruct::Take(options, "options", present), to);
  });
}

int32_t qvreg_settings_get_logistic_options(const qvreg_settings* settings,
                                            qvreg_logistic_options* options, qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvLogRegSettings& from = Valid(settings).fSettings.GetLogistic();
    QvCStruct::Fill(options, "options", [&](qvreg_logistic_options& to) { Read(from, to); });
  });
}

int32_t qvreg_settings_set_logistic_options(qvreg_settings* settings,
                                            const qvreg_logistic_options* options,
                                            qvreg_error* error) {
  return QvCCall(error, [&] {
    QvLogRegSettings& to = Valid(settings).fSettings.GetLogistic();
    qvreg_logistic_options present{};
    Read(to, present);
    Write(QvCStruct::Take(options, "options", present), to);
  });
}

int32_t qvreg_settings_set_starting_values(qvreg_settings* settings, const double* values,
                                           size_t count, qvreg_error* error) {
  return QvCCall(error, [&] {
    QvLogRegSettings& to = Valid(settings).fSettings.GetLogistic();
    std::vector<double> given;
    if (QvCCheck::Size(count, "count") > 0) {
      given.assign(&NotNull(values, "values"), values + count);
    }
    for (size_t i = 0; i < count; ++i) {
      if (std::isfinite(given[i])) continue;
      throw QvCRefusal(QVREG_SETTING_REFUSED, "The starting value of index " + std::to_string(i) +
                                                  " is not finite; pass finite numbers.");
    }
    if (!to.SetStartingValues(given)) throw std::bad_alloc();
  });
}
