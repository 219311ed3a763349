#include <cmath>
#include <cstddef>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/c/CEveryKind.h"
#include "tests/qvreg/support/CapturedOutput.h"

namespace qvtest {
namespace {

CSettings Make(std::int32_t model) {
  return Made<CSettings>([&](qvreg_settings** settings, qvreg_error* e) {
    return qvreg_settings_create(model, settings, e);
  });
}

qvreg_roles RolesOf(const qvreg_settings* settings) {
  auto roles = Sized<qvreg_roles>();
  Require([&](qvreg_error* e) { return qvreg_settings_get_roles(settings, &roles, e); });
  return roles;
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

TEST(CSettings, AreOfAModel) {
  for (const std::int32_t model : {QVREG_MODEL_LINEAR, QVREG_MODEL_LOGISTIC}) {
    std::int32_t got = -1;
    EXPECT_EQ(qvreg_settings_get_model(Make(model).get(), &got, nullptr), QVREG_OK);
    EXPECT_EQ(got, model);
  }
}

TEST(CSettings, OfAnUnknownModelAreNotMade) {
  qvreg_settings* settings = nullptr;
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_settings_create(2, &settings, &error), QVREG_BAD_ARGUMENT);
  EXPECT_EQ(settings, nullptr);
  EXPECT_STREQ(error.message,
               "There is no model 2; pass QVREG_MODEL_LINEAR or QVREG_MODEL_LOGISTIC.");
}

TEST(CSettings, TellTheirRoles) {
  const CSettings settings = Make(QVREG_MODEL_LINEAR);
  qvreg_settings* s = settings.get();
  const qvreg_roles none = RolesOf(s);
  EXPECT_EQ(none.dependent, -1);
  EXPECT_EQ(none.frequency_weight, -1);
  EXPECT_EQ(none.regression_weight, -1);
  EXPECT_EQ(none.n_variables, 0);
  EXPECT_EQ(none.are_complete, 0);
  EXPECT_EQ(qvreg_settings_set_dependent(s, 1, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_settings_add_factor(s, 5, 3, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_settings_add_factor(s, 3, 2, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_settings_add_covariate(s, 0, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_settings_set_frequency_weight(s, 2, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_settings_set_regression_weight(s, 4, nullptr), QVREG_OK);
  const qvreg_roles roles = RolesOf(s);
  EXPECT_EQ(roles.dependent, 1);
  EXPECT_EQ(roles.frequency_weight, 2);
  EXPECT_EQ(roles.regression_weight, 4);
  EXPECT_EQ(roles.n_factors, 2);
  EXPECT_EQ(roles.n_covariates, 1);
  EXPECT_EQ(roles.n_effects, 0);
  EXPECT_EQ(roles.n_variables, 6);
  EXPECT_EQ(roles.are_complete, 1);

  std::vector<std::int32_t> variables(2);
  std::vector<std::int32_t> sizes(2);
  std::size_t count = 0;
  EXPECT_EQ(qvreg_settings_get_factors(s, variables.data(), sizes.data(), 2, &count, nullptr),
            QVREG_OK);
  EXPECT_EQ(count, 2U);
  EXPECT_EQ(variables, (std::vector<std::int32_t>{5, 3}));
  EXPECT_EQ(sizes, (std::vector<std::int32_t>{3, 2}));
  EXPECT_EQ(
      ListOf<std::int32_t>([&](auto... rest) { return qvreg_settings_get_covariates(s, rest...); }),
      (std::vector<std::int32_t>{0}));
  EXPECT_EQ(
      ListOf<std::int32_t>(
          [&](auto... rest) { return qvreg_settings_get_variable_roles(s, rest...); }),
      (std::vector<std::int32_t>{QVREG_ROLE_COVARIATE, QVREG_ROLE_DEPENDENT, QVREG_ROLE_FREQ_WEIGHT,
                                 QVREG_ROLE_FACTOR, QVREG_ROLE_REGR_WEIGHT, QVREG_ROLE_FACTOR}));
}

TEST(CSettings, RefuseASecondRole) {
  const CSettings settings = Make(QVREG_MODEL_LINEAR);
  qvreg_settings* s = settings.get();
  ASSERT_EQ(qvreg_settings_add_covariate(s, 0, nullptr), QVREG_OK);
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_settings_set_dependent(s, 0, &error), QVREG_SETTING_REFUSED);
  EXPECT_STREQ(error.message,
               "Variable 0 cannot be the dependent: it has a role already; a variable has one.");
  EXPECT_EQ(qvreg_settings_add_factor(s, 0, 2, nullptr), QVREG_SETTING_REFUSED);
  EXPECT_EQ(qvreg_settings_add_covariate(s, 0, nullptr), QVREG_SETTING_REFUSED);
  EXPECT_EQ(qvreg_settings_set_frequency_weight(s, 0, nullptr), QVREG_SETTING_REFUSED);
  EXPECT_EQ(qvreg_settings_set_regression_weight(s, 0, nullptr), QVREG_SETTING_REFUSED);
}

TEST(CSettings, RefuseNegativeVariablesAndNoCategories) {
  const CSettings settings = Make(QVREG_MODEL_LINEAR);
  qvreg_settings* s = settings.get();
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_settings_set_dependent(s, -1, &error), QVREG_SETTING_REFUSED);
  EXPECT_STREQ(
      error.message,
      "Variable -1 cannot be the dependent; a variable is a position in a record, 0 or more.");
  EXPECT_EQ(qvreg_settings_add_covariate(s, -1, nullptr), QVREG_SETTING_REFUSED);
  EXPECT_EQ(qvreg_settings_add_factor(s, 1, 0, &error), QVREG_SETTING_REFUSED);
  EXPECT_STREQ(error.message, "Variable 1 cannot be a factor of 0 categories; it has 1 or more.");
}

TEST(CSettings, KeepTheirDependent) {
  const CSettings settings = Make(QVREG_MODEL_LINEAR);
  ASSERT_EQ(qvreg_settings_set_dependent(settings.get(), 3, nullptr), QVREG_OK);
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_settings_set_dependent(settings.get(), 4, &error), QVREG_SETTING_REFUSED);
  EXPECT_STREQ(error.message,
               "The settings have a dependent, variable 3, and it cannot be replaced; make new "
               "settings.");
  EXPECT_EQ(RolesOf(settings.get()).dependent, 3);
}

TEST(CSettings, SayWhyTheyAreNotValid) {
  const CSettings settings = Make(QVREG_MODEL_LOGISTIC);
  qvreg_settings* s = settings.get();
  EXPECT_EQ(qvreg_settings_validate(s, nullptr), QVREG_NO_DEPENDENT);
  ASSERT_EQ(qvreg_settings_set_dependent(s, 0, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_settings_validate(s, nullptr), QVREG_OK);
  qvreg_options options = OptionsOf(s);
  options.use_intercept = 0;
  ASSERT_EQ(qvreg_settings_set_options(s, &options, nullptr), QVREG_OK);
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_settings_validate(s, &error), QVREG_EMPTY_MODEL);
  EXPECT_STREQ(error.message, qvreg_code_text(QVREG_EMPTY_MODEL));
  qvreg_component* component = nullptr;
  EXPECT_EQ(qvreg_component_create(s, &component, nullptr), QVREG_EMPTY_MODEL);
  EXPECT_EQ(component, nullptr);
}

TEST(CSettings, TakeOptions) {
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

TEST(CSettings, RefineOnlyWhereBothOptionsSayIt) {
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

TEST(CSettings, OfAnOlderHostKeepTheMostRefinements) {
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

TEST(CSettings, RefuseOptionsAndKeepTheOldOnes) {
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

TEST(CSettings, KeepImposedDegreesOfFreedom) {
  const CSettings settings = Make(QVREG_MODEL_LINEAR);
  qvreg_options options = OptionsOf(settings.get());
  options.degrees_of_freedom = 4.0;
  ASSERT_EQ(qvreg_settings_set_options(settings.get(), &options, nullptr), QVREG_OK);
  options.degrees_of_freedom = 0.0;
  EXPECT_EQ(qvreg_settings_set_options(settings.get(), &options, nullptr), QVREG_SETTING_REFUSED);
  EXPECT_EQ(OptionsOf(settings.get()).degrees_of_freedom, 4.0);
}

TEST(CSettings, OfALinearModelHaveNoLogisticOptions) {
  const CSettings settings = Make(QVREG_MODEL_LINEAR);
  auto options = Sized<qvreg_logistic_options>();
  EXPECT_EQ(qvreg_settings_get_logistic_options(settings.get(), &options, nullptr),
            QVREG_WRONG_MODEL);
  EXPECT_EQ(qvreg_settings_set_logistic_options(settings.get(), &options, nullptr),
            QVREG_WRONG_MODEL);
}

TEST(CSettings, TakeLogisticOptions) {
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

TEST(CSettings, RefuseLogisticOptionsByName) {
  using Options = qvreg_logistic_options;
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

std::vector<double> StartingValuesOf(const qvreg_settings* settings) {
  return ListOf<double>(
      [&](auto... rest) { return qvreg_settings_get_starting_values(settings, rest...); });
}

TEST(CSettings, TakeStartingValues) {
  const CSettings settings = Make(QVREG_MODEL_LOGISTIC);
  qvreg_settings* s = settings.get();
  EXPECT_EQ(StartingValuesOf(s), std::vector<double>{});
  const std::vector<double> values{0.5, -2.0, 0.0};
  EXPECT_EQ(qvreg_settings_set_starting_values(s, values.data(), values.size(), nullptr), QVREG_OK);
  EXPECT_EQ(StartingValuesOf(s), values);
  EXPECT_EQ(qvreg_settings_set_starting_values(s, nullptr, 0, nullptr), QVREG_OK);
  EXPECT_EQ(StartingValuesOf(s), std::vector<double>{});
}

TEST(CSettings, RefuseStartingValuesAndKeepTheOldOnes) {
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
  EXPECT_EQ(StartingValuesOf(s), values);
  const CSettings linear = Make(QVREG_MODEL_LINEAR);
  EXPECT_EQ(qvreg_settings_set_starting_values(linear.get(), values.data(), 3, nullptr),
            QVREG_WRONG_MODEL);
}

void Progress(void* /*user*/, const qvreg_progress* /*progress*/) {}
std::int32_t Cancel(void* /*user*/) { return 0; }

TEST(CSettings, TellTheirCallbacks) {
  const CSettings settings = Make(QVREG_MODEL_LOGISTIC);
  qvreg_settings* s = settings.get();
  qvreg_progress_callback progress = &Progress;
  qvreg_cancel_callback cancel = &Cancel;
  int here = 0;
  void* user = &here;
  EXPECT_EQ(qvreg_settings_get_progress(s, &progress, &user, nullptr), QVREG_OK);
  EXPECT_EQ(progress, nullptr);
  EXPECT_EQ(user, nullptr);
  EXPECT_EQ(qvreg_settings_get_cancel(s, &cancel, nullptr, nullptr), QVREG_OK);
  EXPECT_EQ(cancel, nullptr);
  EXPECT_EQ(qvreg_settings_set_progress(s, &Progress, &here, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_settings_set_cancel(s, &Cancel, &here, nullptr), QVREG_OK);
  const CSettings copy = Made<CSettings>(
      [&](qvreg_settings** made, qvreg_error* e) { return qvreg_settings_clone(s, made, e); });
  EXPECT_EQ(qvreg_settings_set_progress(s, nullptr, &here, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_settings_get_progress(s, &progress, nullptr, nullptr), QVREG_OK);
  EXPECT_EQ(progress, nullptr);
  EXPECT_EQ(qvreg_settings_get_progress(copy.get(), &progress, &user, nullptr), QVREG_OK);
  EXPECT_EQ(progress, &Progress);
  EXPECT_EQ(user, &here);
  EXPECT_EQ(qvreg_settings_get_cancel(copy.get(), &cancel, &user, nullptr), QVREG_OK);
  EXPECT_EQ(cancel, &Cancel);
  EXPECT_EQ(user, &here);
}

TEST(CSettings, HandOutTheirEffects) {
  CEveryKind of(false);
  EXPECT_EQ(RolesOf(of.settings.get()).n_effects, 2);
  const CEffect second = Made<CEffect>([&](qvreg_effect** effect, qvreg_error* e) {
    return qvreg_settings_get_effect(of.settings.get(), 1, effect, e);
  });
  std::int32_t isEqual = 0;
  EXPECT_EQ(qvreg_effect_equals(second.get(), of.effect.get(), &isEqual, nullptr), QVREG_OK);
  EXPECT_EQ(isEqual, 1);
  for (const std::int32_t index : {-1, 2}) {
    qvreg_effect* none = nullptr;
    EXPECT_EQ(qvreg_settings_get_effect(of.settings.get(), index, &none, nullptr), QVREG_BAD_INDEX);
    EXPECT_EQ(none, nullptr);
  }
}

TEST(CSettings, OutliveTheirOriginalAndItsEffects) {
  CEveryKind of(false);
  const CSettings copy = Made<CSettings>([&](qvreg_settings** made, qvreg_error* e) {
    return qvreg_component_get_settings(of.component.get(), made, e);
  });
  of.settings.reset();
  of.effect.reset();
  of.component.reset();
  const CFit fit = CFitOf(copy, of.source);
  auto again = Sized<qvreg_summary>();
  EXPECT_EQ(qvreg_results_get_summary(fit.results.get(), &again, nullptr), QVREG_OK);
  EXPECT_EQ(again.n_parameters, 5);
}

TEST(CSettings, ArePrinted) {
  const CEveryKind of(false);
  const std::string text =
      OutputOf([&] { EXPECT_EQ(qvreg_settings_display(of.settings.get(), nullptr), QVREG_OK); });
  EXPECT_NE(text.find("QvRegSettings display end"), std::string::npos);
}

}  // namespace
}  // namespace qvtest
