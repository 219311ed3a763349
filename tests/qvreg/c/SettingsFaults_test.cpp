#include <climits>
#include <cmath>
#include <functional>
#include <limits>

#include <gtest/gtest.h>

#include "qvreg/c/QvCRefusal.h"
#include "qvreg/c/QvCRun.h"
#include "tests/qvreg/c/CEveryKind.h"
#include "tests/qvreg/support/AllocationHooks.h"

namespace qvtest {
namespace {

constexpr std::size_t kNoSize = std::numeric_limits<std::size_t>::max();

/// All that settings tell of their roles and effects.
struct Roles {
  explicit Roles(const qvreg_settings* settings) : counts(Sized<qvreg_roles>()) {
    Require([&](qvreg_error* e) { return qvreg_settings_get_roles(settings, &counts, e); });
    roles = ListOf<std::int32_t>(
        [&](auto... buffer) { return qvreg_settings_get_variable_roles(settings, buffer...); });
    covariates = ListOf<std::int32_t>(
        [&](auto... buffer) { return qvreg_settings_get_covariates(settings, buffer...); });
    factors = ListOf<std::int32_t>(
        [&](auto... buffer) { return qvreg_settings_get_factors(settings, nullptr, buffer...); });
  }
  void ExpectSameAs(const Roles& other) const {
    EXPECT_EQ(roles, other.roles);
    EXPECT_EQ(covariates, other.covariates);
    EXPECT_EQ(factors, other.factors);
    EXPECT_EQ(counts.dependent, other.counts.dependent);
    EXPECT_EQ(counts.frequency_weight, other.counts.frequency_weight);
    EXPECT_EQ(counts.regression_weight, other.counts.regression_weight);
    EXPECT_EQ(counts.n_effects, other.counts.n_effects);
    EXPECT_EQ(counts.are_complete, other.counts.are_complete);
  }

  qvreg_roles counts;
  std::vector<std::int32_t> roles;
  std::vector<std::int32_t> covariates;
  std::vector<std::int32_t> factors;
};

TEST(CSettingsFaults, StayAsTheyWereWhenMemoryRunsOut) {
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

TEST(CSettingsFaults, ThatAreNotCompleteMakeNoComponent) {
  QvCSettings settings(QVREG_MODEL_LINEAR);
  ASSERT_TRUE(settings.Get().SetDependent(0));
  {
    // Past the setter of the interface, so that the role is lost.
    const AllocationFault fault(1, AllocationFault::Extent::kEverAfter);
    ASSERT_EQ(settings.Get().AddCovariate(5000), -1);
  }
  ASSERT_FALSE(settings.Get().AreRolesComplete());
  try {
    const QvCRun run(settings);
    ADD_FAILURE() << "a component was made";
  } catch (const QvCRefusal& refusal) {
    EXPECT_EQ(refusal.Report().Code(), QVREG_SETTING_REFUSED);
    EXPECT_NE(std::string(refusal.Report().Message()).find("not complete"), std::string::npos);
  }
}

TEST(CSettingsFaults, RefuseTheHighestNumberAsAVariable) {
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
  EXPECT_STREQ(error.message,
               "Variable 2147483647 cannot be a covariate; 2147483646 is the highest.");
  Roles(settings).ExpectSameAs(before);
}

TEST(CSettingsFaults, RefuseDegreesOfFreedomThatAreNoNumber) {
  const CEveryKind of(false);
  auto options = Sized<qvreg_options>();
  Require(
      [&](qvreg_error* e) { return qvreg_settings_get_options(of.settings.get(), &options, e); });
  options.degrees_of_freedom = std::nan("");
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_settings_set_options(of.settings.get(), &options, &error), QVREG_SETTING_REFUSED);
  EXPECT_NE(std::string(error.message).find("degrees_of_freedom"), std::string::npos);
}

TEST(CSettingsFaults, AMultiplicityDoesNotOverflow) {
  const CParameters parameters = Made<CParameters>(
      [](qvreg_parameters** made, qvreg_error* e) { return qvreg_parameters_create(made, e); });
  qvreg_parameters* p = parameters.get();
  ASSERT_EQ(qvreg_parameters_append(p, nullptr, nullptr), QVREG_OK);
  ASSERT_EQ(qvreg_parameters_add_covariate(p, 0, 3, INT_MAX - 1, nullptr), QVREG_OK);
  for (const std::int32_t variable : {3, 4}) {
    qvreg_error error = QVREG_ERROR_INIT;
    EXPECT_EQ(qvreg_parameters_add_covariate(p, 0, variable, 2, &error), QVREG_BAD_ARGUMENT);
    EXPECT_NE(std::string(error.message).find("takes 1 more at most"), std::string::npos);
  }
  auto info = Sized<qvreg_parameter_info>();
  ASSERT_EQ(qvreg_parameters_get_info(p, 0, &info, nullptr), QVREG_OK);
  EXPECT_EQ(info.covariate_multiplicity, INT_MAX - 1);
  EXPECT_EQ(info.n_covariates, 1);
  EXPECT_EQ(qvreg_parameters_add_covariate(p, 0, 3, 1, nullptr), QVREG_OK);
}

TEST(CSettingsFaults, AListOfAnImpossibleLengthIsNotRead) {
  const CEveryKind of(false);
  const std::int32_t variables[2] = {1, 2};
  const qvreg_effect* effects[1] = {of.effect.get()};
  qvreg_effect* made = nullptr;
  std::size_t count = 0;
  EXPECT_EQ(qvreg_effect_create(variables, kNoSize, nullptr, 0, &made, nullptr),
            QVREG_BAD_ARGUMENT);
  EXPECT_EQ(qvreg_effect_create(nullptr, 0, variables, kNoSize, &made, nullptr),
            QVREG_BAD_ARGUMENT);
  EXPECT_EQ(qvreg_effect_create(variables, INT_MAX, variables, 1, &made, nullptr),
            QVREG_BAD_ARGUMENT);
  EXPECT_EQ(made, nullptr);
  EXPECT_EQ(qvreg_effect_set_model_variables(of.effect.get(), variables, kNoSize, nullptr),
            QVREG_BAD_ARGUMENT);
  EXPECT_EQ(qvreg_effect_set_model_variables(of.effect.get(), variables, 3, nullptr),
            QVREG_BAD_ARGUMENT);
  EXPECT_EQ(qvreg_effects_get_use(effects, kNoSize, nullptr, 0, &count, nullptr),
            QVREG_BAD_ARGUMENT);
}

}  // namespace
}  // namespace qvtest
