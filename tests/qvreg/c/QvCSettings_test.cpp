#include <climits>
#include <functional>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/c/CHost.h"
#include "tests/qvreg/support/AllocationHooks.h"

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

TEST(CSettings, TakeARecordCountOnce) {
  const CSettings settings = Make(QVREG_MODEL_LOGISTIC);
  qvreg_settings* s = settings.get();
  std::int32_t variable = 0;
  EXPECT_EQ(qvreg_settings_get_record_count(s, &variable, nullptr), QVREG_OK);
  EXPECT_EQ(variable, -1);
  EXPECT_EQ(qvreg_settings_set_record_count(s, 4, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_settings_get_record_count(s, &variable, nullptr), QVREG_OK);
  EXPECT_EQ(variable, 4);
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_settings_set_record_count(s, 5, &error), QVREG_SETTING_REFUSED);
  EXPECT_STREQ(error.message,
               "The settings have a record count, variable 4, and it cannot be replaced; make new "
               "settings.");
  const CSettings other = Make(QVREG_MODEL_LINEAR);
  ASSERT_EQ(qvreg_settings_add_covariate(other.get(), 0, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_settings_set_record_count(other.get(), 0, &error), QVREG_SETTING_REFUSED);
  EXPECT_STREQ(error.message,
               "Variable 0 cannot be the record count: it has a role already; a variable has one.");
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
  auto options = Sized<qvreg_options>();
  ASSERT_EQ(qvreg_settings_get_options(s, &options, nullptr), QVREG_OK);
  options.use_intercept = 0;
  ASSERT_EQ(qvreg_settings_set_options(s, &options, nullptr), QVREG_OK);
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_settings_validate(s, &error), QVREG_EMPTY_MODEL);
  EXPECT_STREQ(error.message, qvreg_code_text(QVREG_EMPTY_MODEL));
  qvreg_component* component = nullptr;
  EXPECT_EQ(qvreg_component_create(s, &component, nullptr), QVREG_EMPTY_MODEL);
  EXPECT_EQ(component, nullptr);
}

TEST(CSettings, HandOutTheirEffects) {
  CEveryKind of(false);
  EXPECT_EQ(RolesOf(of.settings.get()).n_effects, 2);
  const CEffect second = Made<CEffect>([&](qvreg_effect** effect, qvreg_error* e) {
    return qvreg_settings_get_effect(of.settings.get(), 1, effect, e);
  });
  EXPECT_EQ(EffectOf(second), EffectOf(of.effect));
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

/// All that settings tell of their roles and effects.
struct Roles {
  explicit Roles(const qvreg_settings* settings) : counts(Sized<qvreg_roles>()) {
    Require([&](qvreg_error* e) { return qvreg_settings_get_roles(settings, &counts, e); });
    covariates = ListOf<std::int32_t>(
        [&](auto... buffer) { return qvreg_settings_get_covariates(settings, buffer...); });
    factors = ListOf<std::int32_t>(
        [&](auto... buffer) { return qvreg_settings_get_factors(settings, nullptr, buffer...); });
  }
  void ExpectSameAs(const Roles& other) const {
    EXPECT_EQ(covariates, other.covariates);
    EXPECT_EQ(factors, other.factors);
    EXPECT_EQ(counts.dependent, other.counts.dependent);
    EXPECT_EQ(counts.frequency_weight, other.counts.frequency_weight);
    EXPECT_EQ(counts.regression_weight, other.counts.regression_weight);
    EXPECT_EQ(counts.n_variables, other.counts.n_variables);
    EXPECT_EQ(counts.n_effects, other.counts.n_effects);
    EXPECT_EQ(counts.are_complete, other.counts.are_complete);
  }

  qvreg_roles counts;
  std::vector<std::int32_t> covariates;
  std::vector<std::int32_t> factors;
};

TEST(CSettings, StayAsTheyWereWhenMemoryRunsOut) {
  const CEveryKind of(false);
  qvreg_settings* settings = of.settings.get();
  const std::vector<std::function<std::int32_t()>> setters{
      [&] { return qvreg_settings_add_factor(settings, 500, 4, nullptr); },
      [&] { return qvreg_settings_add_covariate(settings, 600, nullptr); },
      [&] { return qvreg_settings_set_frequency_weight(settings, 700, nullptr); },
      [&] { return qvreg_settings_set_regression_weight(settings, 800, nullptr); },
      [&] { return qvreg_settings_add_effect(settings, of.effect.get(), nullptr); }};
  for (const auto& set : setters) {
    const Roles before(settings);
    long long failures = 0;
    for (bool isDone = false; !isDone;) {
      std::int32_t code = -1;
      bool hasStruck = false;
      {
        const AllocationFault fault(failures + 1, AllocationFault::Extent::kOnce);
        code = set();
        hasStruck = fault.HasStruck();
      }
      if (!hasStruck) {
        EXPECT_EQ(code, QVREG_OK);
        isDone = true;
        continue;
      }
      ++failures;
      EXPECT_EQ(code, QVREG_OUT_OF_MEMORY);
      Roles(settings).ExpectSameAs(before);
    }
    EXPECT_GT(failures, 1);
  }
  EXPECT_EQ(Roles(settings).counts.n_effects, 3);
  EXPECT_EQ(Roles(settings).counts.frequency_weight, 700);
}

TEST(CSettings, RefuseMoreCategoriesThanTheyCount) {
  const CSettings settings = Make(QVREG_MODEL_LINEAR);
  qvreg_settings* s = settings.get();
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_settings_add_factor(s, 1, QVREG_MAX_CATEGORIES, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_settings_add_factor(s, 2, QVREG_MAX_CATEGORIES + 1, &error),
            QVREG_SETTING_REFUSED);
  EXPECT_STREQ(error.message,
               "Variable 2 cannot be a factor of 16777217 categories; it has at most 16777216.");
  EXPECT_EQ(qvreg_settings_add_factor(s, 2, INT_MAX, nullptr), QVREG_SETTING_REFUSED);
  EXPECT_EQ(RolesOf(s).n_factors, 1);
}

TEST(CSettings, RefuseVariablesThatNoRecordHas) {
  const CSettings settings = Make(QVREG_MODEL_LINEAR);
  qvreg_settings* s = settings.get();
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_settings_add_covariate(s, QVREG_MAX_RECORD_SIZE, &error), QVREG_SETTING_REFUSED);
  EXPECT_STREQ(error.message, "Variable 1048576 cannot be a covariate; 1048575 is the highest.");
  EXPECT_EQ(qvreg_settings_add_covariate(s, QVREG_MAX_RECORD_SIZE - 1, nullptr), QVREG_OK);
  EXPECT_EQ(RolesOf(s).n_covariates, 1);
}

TEST(CSettings, RefuseTheHighestNumberAsAVariable) {
  const CEveryKind of(false);
  qvreg_settings* settings = of.settings.get();
  const CSettings fresh = Made<CSettings>([](qvreg_settings** made, qvreg_error* e) {
    return qvreg_settings_create(QVREG_MODEL_LINEAR, made, e);
  });
  const Roles before(settings);
  EXPECT_EQ(qvreg_settings_set_dependent(fresh.get(), INT_MAX, nullptr), QVREG_SETTING_REFUSED);
  EXPECT_EQ(qvreg_settings_add_factor(settings, INT_MAX, 2, nullptr), QVREG_SETTING_REFUSED);
  EXPECT_EQ(qvreg_settings_set_frequency_weight(settings, INT_MAX, nullptr), QVREG_SETTING_REFUSED);
  EXPECT_EQ(qvreg_settings_set_regression_weight(settings, INT_MAX, nullptr),
            QVREG_SETTING_REFUSED);
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_settings_add_covariate(settings, INT_MAX, &error), QVREG_SETTING_REFUSED);
  EXPECT_STREQ(error.message, "Variable 2147483647 cannot be a covariate; 1048575 is the highest.");
  Roles(settings).ExpectSameAs(before);
}

}  // namespace
}  // namespace qvtest
