#include <cmath>
#include <cstddef>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/c/QvCSettings.h"
#include "tests/qvreg/c/CHost.h"

namespace qvtest {
namespace {

CSettings Make(std::int32_t model) {
  return Made<CSettings>([&](qvreg_settings** settings, qvreg_error* e) {
    return qvreg_settings_create(model, settings, e);
  });
}

qvreg_options OptionsOf(const qvreg_settings* settings) {
  auto options = Sized<qvreg_options>();
  Require([&](qvreg_error* e) { return qvreg_settings_get_options(settings, &options, e); });
  return options;
}

qvreg_logistic_options LogisticOptionsOf(const qvreg_settings* settings) {
  auto options = Sized<qvreg_logistic_options>();
  Require(
      [&](qvreg_error* e) { return qvreg_settings_get_logistic_options(settings, &options, e); });
  return options;
}

TEST(COptions, TakeOptions) {
  const CSettings settings = Make(QVREG_MODEL_LINEAR);
  qvreg_options options = OptionsOf(settings.get());
  EXPECT_EQ(options.tolerance, 1e-12);
  EXPECT_EQ(options.confidence_level, 0.95);
  EXPECT_LE(options.degrees_of_freedom, 0.0);
  EXPECT_EQ(options.use_intercept, 1);
  EXPECT_EQ(options.refine_estimates, 0);
  EXPECT_EQ(options.max_refinements, 1);
  options.tolerance = 1e-9;
  options.confidence_level = 0.5;
  options.degrees_of_freedom = 7.5;
  options.use_intercept = 0;
  options.refine_estimates = 3;
  options.max_refinements = 4;
  ASSERT_EQ(qvreg_settings_set_options(settings.get(), &options, nullptr), QVREG_OK);
  const qvreg_options now = OptionsOf(settings.get());
  EXPECT_EQ(now.tolerance, 1e-9);
  EXPECT_EQ(now.confidence_level, 0.5);
  EXPECT_EQ(now.degrees_of_freedom, 7.5);
  EXPECT_EQ(now.use_intercept, 0);
  EXPECT_EQ(now.refine_estimates, 1);
  EXPECT_EQ(now.max_refinements, 4);
}

TEST(COptions, RefineOnlyWhereBothOptionsSayIt) {
  const CSettings settings = Make(QVREG_MODEL_LINEAR);
  qvreg_options options = OptionsOf(settings.get());
  options.max_refinements = 4;
  ASSERT_EQ(qvreg_settings_set_options(settings.get(), &options, nullptr), QVREG_OK);
  EXPECT_EQ(OptionsOf(settings.get()).refine_estimates, 0);
  EXPECT_EQ(OptionsOf(settings.get()).max_refinements, 4);
  options.refine_estimates = 1;
  options.max_refinements = 0;
  ASSERT_EQ(qvreg_settings_set_options(settings.get(), &options, nullptr), QVREG_OK);
  EXPECT_EQ(OptionsOf(settings.get()).refine_estimates, 0);
  EXPECT_EQ(OptionsOf(settings.get()).max_refinements, 0);
}

TEST(COptions, OfAnOlderHostKeepTheMostRefinements) {
  const CSettings settings = Make(QVREG_MODEL_LINEAR);
  qvreg_options options = OptionsOf(settings.get());
  options.max_refinements = 4;
  ASSERT_EQ(qvreg_settings_set_options(settings.get(), &options, nullptr), QVREG_OK);
  options.struct_size = offsetof(qvreg_options, max_refinements);
  options.refine_estimates = 1;
  options.max_refinements = -7;  // To that host, somebody else's.
  ASSERT_EQ(qvreg_settings_set_options(settings.get(), &options, nullptr), QVREG_OK);
  EXPECT_EQ(OptionsOf(settings.get()).refine_estimates, 1);
  EXPECT_EQ(OptionsOf(settings.get()).max_refinements, 4);
}

TEST(COptions, RefuseOptionsAndKeepTheOldOnes) {
  const CSettings settings = Make(QVREG_MODEL_LINEAR);
  qvreg_options options = OptionsOf(settings.get());
  options.tolerance = 0.25;
  options.confidence_level = 1.0;
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_settings_set_options(settings.get(), &options, &error), QVREG_SETTING_REFUSED);
  EXPECT_STREQ(error.message,
               "The settings do not take confidence_level = 1; it must be 0 or more and below 1.");
  EXPECT_EQ(OptionsOf(settings.get()).tolerance, 1e-12);
  for (std::int32_t qvreg_options::*field :
       {&qvreg_options::test_type, &qvreg_options::p_adjustment, &qvreg_options::covariance_type}) {
    qvreg_options other = OptionsOf(settings.get());
    other.*field = 1;
    EXPECT_EQ(qvreg_settings_set_options(settings.get(), &other, nullptr), QVREG_SETTING_REFUSED);
  }
  qvreg_options negative = OptionsOf(settings.get());
  negative.tolerance = 0.25;
  negative.max_refinements = -1;
  EXPECT_EQ(qvreg_settings_set_options(settings.get(), &negative, &error), QVREG_SETTING_REFUSED);
  EXPECT_STREQ(error.message,
               "The settings do not take max_refinements = -1; it must be 0 or more.");
  EXPECT_EQ(OptionsOf(settings.get()).tolerance, 1e-12);
  EXPECT_EQ(OptionsOf(settings.get()).max_refinements, 1);
}

TEST(COptions, KeepImposedDegreesOfFreedom) {
  const CSettings settings = Make(QVREG_MODEL_LINEAR);
  qvreg_options options = OptionsOf(settings.get());
  options.degrees_of_freedom = 4.0;
  ASSERT_EQ(qvreg_settings_set_options(settings.get(), &options, nullptr), QVREG_OK);
  options.degrees_of_freedom = 0.0;
  EXPECT_EQ(qvreg_settings_set_options(settings.get(), &options, nullptr), QVREG_SETTING_REFUSED);
  EXPECT_EQ(OptionsOf(settings.get()).degrees_of_freedom, 4.0);
}

TEST(COptions, RefuseDegreesOfFreedomThatAreNoNumber) {
  const CEveryKind of(false);
  auto options = Sized<qvreg_options>();
  Require(
      [&](qvreg_error* e) { return qvreg_settings_get_options(of.settings.get(), &options, e); });
  options.degrees_of_freedom = std::nan("");
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_settings_set_options(of.settings.get(), &options, &error), QVREG_SETTING_REFUSED);
  EXPECT_NE(std::string(error.message).find("degrees_of_freedom"), std::string::npos);
}

TEST(COptions, OfALinearModelHaveNoLogisticOptions) {
  const CSettings settings = Make(QVREG_MODEL_LINEAR);
  auto options = Sized<qvreg_logistic_options>();
  EXPECT_EQ(qvreg_settings_get_logistic_options(settings.get(), &options, nullptr),
            QVREG_WRONG_MODEL);
  EXPECT_EQ(qvreg_settings_set_logistic_options(settings.get(), &options, nullptr),
            QVREG_WRONG_MODEL);
}

TEST(COptions, TakeLogisticOptions) {
  const CSettings settings = Make(QVREG_MODEL_LOGISTIC);
  qvreg_logistic_options options = LogisticOptionsOf(settings.get());
  EXPECT_EQ(options.n_categories, 2);
  EXPECT_EQ(options.reference_category, QVREG_LAST_OBSERVED);
  EXPECT_EQ(options.ll_criterion, 0.0);
  EXPECT_EQ(options.param_criterion, 1e-6);
  EXPECT_EQ(options.max_iterations, 100);
  EXPECT_EQ(options.max_step_halvings, 5);
  EXPECT_EQ(options.starting_iteration, 20);
  EXPECT_EQ(options.iteration_frequency, 1);
  EXPECT_EQ(options.use_pattern_tabulator, 0);
  options = {sizeof options, 4, QVREG_FIRST_OBSERVED, 1e-3, 1e-4, 1, 1, 11, 12, 13, 14, 1, 0};
  ASSERT_EQ(qvreg_settings_set_logistic_options(settings.get(), &options, nullptr), QVREG_OK);
  const qvreg_logistic_options now = LogisticOptionsOf(settings.get());
  EXPECT_EQ(now.n_categories, 4);
  EXPECT_EQ(now.reference_category, QVREG_FIRST_OBSERVED);
  EXPECT_EQ(now.ll_criterion, 1e-3);
  EXPECT_EQ(now.param_criterion, 1e-4);
  EXPECT_EQ(now.is_ll_change_absolute, 1);
  EXPECT_EQ(now.is_param_change_absolute, 1);
  EXPECT_EQ(now.max_iterations, 11);
  EXPECT_EQ(now.max_step_halvings, 12);
  EXPECT_EQ(now.starting_iteration, 13);
  EXPECT_EQ(now.iteration_frequency, 14);
  EXPECT_EQ(now.use_pattern_tabulator, 1);
}

/// Expects one bad field to be refused and named, and nothing to change.
template <typename Value>
void ExpectRefused(Value qvreg_logistic_options::*field, Value value, const std::string& message) {
  const CSettings settings = Make(QVREG_MODEL_LOGISTIC);
  qvreg_logistic_options options = LogisticOptionsOf(settings.get());
  options.use_pattern_tabulator = 1;
  options.*field = value;
  const qvreg_error error = ErrorOf([&](qvreg_error* e) {
    return qvreg_settings_set_logistic_options(settings.get(), &options, e);
  });
  EXPECT_EQ(error.code, QVREG_SETTING_REFUSED);
  EXPECT_EQ(error.message, "The settings do not take " + message + ".");
  EXPECT_EQ(LogisticOptionsOf(settings.get()).use_pattern_tabulator, 0);
}

TEST(COptions, RefuseLogisticOptionsByName) {
  using Options = qvreg_logistic_options;
  ExpectRefused(&Options::n_categories, QVREG_MAX_CATEGORIES + 1,
                "n_categories = 16777217; it must be 16777216 or less");
  ExpectRefused(&Options::n_categories, 1, "n_categories = 1; it must be 2 or more");
  ExpectRefused(&Options::reference_category, 2,
                "reference_category = 2; it must be a code below n_categories, "
                "QVREG_LAST_OBSERVED or QVREG_FIRST_OBSERVED");
  ExpectRefused(&Options::ll_criterion, -0.5, "ll_criterion = -0.5; it must be 0 or more");
  ExpectRefused(&Options::param_criterion, -1.0, "param_criterion = -1; it must be 0 or more");
  ExpectRefused(&Options::max_iterations, -1, "max_iterations = -1; it must be 0 or more");
  ExpectRefused(&Options::max_step_halvings, 0, "max_step_halvings = 0; it must be 1 or more");
  ExpectRefused(&Options::starting_iteration, -1, "starting_iteration = -1; it must be 0 or more");
  ExpectRefused(&Options::iteration_frequency, 0, "iteration_frequency = 0; it must be 1 or more");
}

const std::vector<double>& StartingValuesOf(const CSettings& settings) {
  return settings->fSettings.GetLogistic().GetStartingValues();
}

TEST(COptions, TakeStartingValues) {
  const CSettings settings = Make(QVREG_MODEL_LOGISTIC);
  qvreg_settings* s = settings.get();
  EXPECT_EQ(StartingValuesOf(settings), std::vector<double>{});
  const std::vector<double> values{0.5, -2.0, 0.0};
  EXPECT_EQ(qvreg_settings_set_starting_values(s, values.data(), values.size(), nullptr), QVREG_OK);
  EXPECT_EQ(StartingValuesOf(settings), values);
  EXPECT_EQ(qvreg_settings_set_starting_values(s, nullptr, 0, nullptr), QVREG_OK);
  EXPECT_EQ(StartingValuesOf(settings), std::vector<double>{});
}

TEST(COptions, RefuseStartingValuesAndKeepTheOldOnes) {
  const CSettings settings = Make(QVREG_MODEL_LOGISTIC);
  qvreg_settings* s = settings.get();
  const std::vector<double> values{0.5, -2.0, 0.0};
  ASSERT_EQ(qvreg_settings_set_starting_values(s, values.data(), values.size(), nullptr), QVREG_OK);
  const std::vector<double> bad{1.0, std::nan("")};
  const qvreg_error error = ErrorOf(
      [&](qvreg_error* e) { return qvreg_settings_set_starting_values(s, bad.data(), 2, e); });
  EXPECT_EQ(error.code, QVREG_SETTING_REFUSED);
  EXPECT_STREQ(error.message, "The starting value of index 1 is not finite; pass finite numbers.");
  EXPECT_EQ(qvreg_settings_set_starting_values(s, nullptr, 2, nullptr), QVREG_NULL_POINTER);
  EXPECT_EQ(StartingValuesOf(settings), values);
  const CSettings linear = Make(QVREG_MODEL_LINEAR);
  EXPECT_EQ(qvreg_settings_set_starting_values(linear.get(), values.data(), 3, nullptr),
            QVREG_WRONG_MODEL);
}

}  // namespace
}  // namespace qvtest
