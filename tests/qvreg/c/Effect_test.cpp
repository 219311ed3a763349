#include <gtest/gtest.h>

#include "tests/qvreg/c/CHandles.h"
#include "tests/qvreg/support/CapturedOutput.h"

namespace qvtest {
namespace {

using Ints = std::vector<std::int32_t>;

CEffect Make(const Ints& factors, const Ints& covariates) {
  return Made<CEffect>([&](qvreg_effect** effect, qvreg_error* e) {
    return qvreg_effect_create(factors.data(), factors.size(), covariates.data(), covariates.size(),
                               effect, e);
  });
}

/// Over factors 4 and 6 and covariates 1 and 2.
CEffect Empty() { return Make({4, 6}, {1, 2}); }

qvreg_effect_info InfoOf(const CEffect& effect) {
  auto info = Sized<qvreg_effect_info>();
  Require([&](qvreg_error* e) { return qvreg_effect_get_info(effect.get(), &info, e); });
  return info;
}

Ints MainVectorOf(const CEffect& effect) {
  return ListOf<std::int32_t>(
      [&](auto... rest) { return qvreg_effect_get_main_vector(effect.get(), rest...); });
}

Ints VariablesOf(const CEffect& effect) {
  return ListOf<std::int32_t>(
      [&](auto... rest) { return qvreg_effect_get_model_variables(effect.get(), rest...); });
}

/// Factor 4 nested in 6, times the square of covariate 2.
CEffect Full() {
  CEffect effect = Empty();
  qvreg_effect* e = effect.get();
  EXPECT_EQ(qvreg_effect_add_factor(e, 6, 0, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_effect_add_factor(e, 4, 1, nullptr), QVREG_OK);
  std::int32_t power = 0;
  EXPECT_EQ(qvreg_effect_add_covariate(e, 2, &power, nullptr), QVREG_OK);
  EXPECT_EQ(power, 1);
  EXPECT_EQ(qvreg_effect_add_covariate(e, 2, &power, nullptr), QVREG_OK);
  EXPECT_EQ(power, 2);
  return effect;
}

TEST(CEffect, StartsEmpty) {
  const qvreg_effect_info info = InfoOf(Empty());
  EXPECT_EQ(info.is_intercept, 1);
  EXPECT_EQ(info.n_factors, 0);
  EXPECT_EQ(info.n_covariates, 0);
  EXPECT_EQ(info.n_levels, 0);
  EXPECT_EQ(info.n_model_factors, 2);
  EXPECT_EQ(info.n_model_covariates, 2);
  EXPECT_EQ(MainVectorOf(Empty()), (Ints{-1, -1, 0, 0}));
  EXPECT_EQ(VariablesOf(Empty()), (Ints{4, 6, 1, 2}));
}

TEST(CEffect, TellsWhatItHolds) {
  const CEffect effect = Full();
  const qvreg_effect_info info = InfoOf(effect);
  EXPECT_EQ(info.is_intercept, 0);
  EXPECT_EQ(info.n_factors, 2);
  EXPECT_EQ(info.n_covariates, 1);
  EXPECT_EQ(info.n_levels, 2);
  EXPECT_EQ(info.covariate_multiplicity, 2);
  EXPECT_EQ(info.factors_in_parens, 0);
  EXPECT_EQ(MainVectorOf(effect), (Ints{0, 1, 0, 2}));
  Ints variables(2);
  Ints levels(2);
  EXPECT_EQ(
      qvreg_effect_get_factors(effect.get(), variables.data(), levels.data(), 2, nullptr, nullptr),
      QVREG_OK);
  EXPECT_EQ(variables, (Ints{4, 6}));
  EXPECT_EQ(levels, (Ints{0, 1}));
  std::size_t count = 0;
  EXPECT_EQ(qvreg_effect_get_covariates(effect.get(), variables.data(), levels.data(), 2, &count,
                                        nullptr),
            QVREG_OK);
  EXPECT_EQ(count, 1U);
  EXPECT_EQ(variables[0], 2);
  EXPECT_EQ(levels[0], 2);
  std::int32_t number = -9;
  EXPECT_EQ(qvreg_effect_get_factor_level(effect.get(), 6, &number, nullptr), QVREG_OK);
  EXPECT_EQ(number, 1);
  EXPECT_EQ(qvreg_effect_get_factor_level(effect.get(), 99, &number, nullptr), QVREG_OK);
  EXPECT_EQ(number, -1);
  EXPECT_EQ(qvreg_effect_get_covariate_multiplicity(effect.get(), 2, &number, nullptr), QVREG_OK);
  EXPECT_EQ(number, 2);
  EXPECT_EQ(qvreg_effect_get_covariate_multiplicity(effect.get(), 99, &number, nullptr), QVREG_OK);
  EXPECT_EQ(number, -1);
}

TEST(CEffect, RefusesVariablesThatAreNotItsModels) {
  const CEffect effect = Full();
  EXPECT_EQ(qvreg_effect_add_factor(effect.get(), 1, 0, nullptr), QVREG_BAD_ARGUMENT);
  EXPECT_EQ(qvreg_effect_add_factor(effect.get(), 6, 0, nullptr), QVREG_BAD_ARGUMENT);
  EXPECT_EQ(qvreg_effect_add_covariate(effect.get(), 4, nullptr, nullptr), QVREG_BAD_ARGUMENT);
  qvreg_effect* none = nullptr;
  const std::int32_t negative = -1;
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_effect_create(nullptr, 0, &negative, 1, &none, &error), QVREG_BAD_ARGUMENT);
  EXPECT_STREQ(error.message,
               "Element 0 of covariates is -1; a variable is a position in a record, 0 or more.");
  EXPECT_EQ(none, nullptr);
}

TEST(CEffect, SaysHowLongABufferMustBe) {
  const CEffect effect = Full();
  Ints slots(3, 77);
  std::size_t count = 0;
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_effect_get_main_vector(effect.get(), slots.data(), 3, &count, &error),
            QVREG_BUFFER_TOO_SMALL);
  EXPECT_EQ(count, 4U);
  EXPECT_EQ(error.has_discrete[0], 1);
  EXPECT_EQ(error.discrete[0], 4);
  EXPECT_EQ(slots, Ints(3, 77));
}

TEST(CEffect, IsResetAndSetUpAgain) {
  const CEffect effect = Full();
  EXPECT_EQ(qvreg_effect_set_factors_in_parens(effect.get(), nullptr), QVREG_OK);
  EXPECT_EQ(InfoOf(effect).factors_in_parens, 1);
  EXPECT_EQ(qvreg_effect_reset(effect.get(), nullptr), QVREG_OK);
  EXPECT_EQ(InfoOf(effect).factors_in_parens, 0);
  EXPECT_EQ(InfoOf(effect).is_intercept, 1);
  const Ints factors{8};
  EXPECT_EQ(qvreg_effect_setup(effect.get(), factors.data(), 1, nullptr, 0, nullptr), QVREG_OK);
  EXPECT_EQ(VariablesOf(effect), factors);
  EXPECT_EQ(qvreg_effect_add_factor(effect.get(), 8, 0, nullptr), QVREG_OK);
}

TEST(CEffect, IsComparedOverEqualLists) {
  std::int32_t answer = -1;
  const CEffect effect = Full();
  EXPECT_EQ(qvreg_effect_equals(effect.get(), Full().get(), &answer, nullptr), QVREG_OK);
  EXPECT_EQ(answer, 1);
  EXPECT_EQ(qvreg_effect_equals(effect.get(), Empty().get(), &answer, nullptr), QVREG_OK);
  EXPECT_EQ(answer, 0);
  EXPECT_EQ(qvreg_effect_equals(Empty().get(), Make({4, 6}, {2, 1}).get(), &answer, nullptr),
            QVREG_OK);
  EXPECT_EQ(answer, 0);

  CEffect inner = Empty();
  ASSERT_EQ(qvreg_effect_add_factor(inner.get(), 6, 0, nullptr), QVREG_OK);
  CEffect outer = Empty();
  ASSERT_EQ(qvreg_effect_add_factor(outer.get(), 6, 0, nullptr), QVREG_OK);
  ASSERT_EQ(qvreg_effect_add_factor(outer.get(), 4, 0, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_effect_is_contained_in(inner.get(), outer.get(), &answer, nullptr), QVREG_OK);
  EXPECT_EQ(answer, 1);
  EXPECT_EQ(qvreg_effect_is_contained_in(outer.get(), inner.get(), &answer, nullptr), QVREG_OK);
  EXPECT_EQ(answer, 0);
}

TEST(CEffect, IsMaskedAndTakesAnotherList) {
  const CEffect effect = Full();
  const Ints keep{1, 1, 0, 1};
  std::int32_t wasUnused = -1;
  EXPECT_EQ(qvreg_effect_apply_mask(effect.get(), keep.data(), 3, &wasUnused, nullptr),
            QVREG_BAD_ARGUMENT);
  EXPECT_EQ(qvreg_effect_apply_mask(effect.get(), keep.data(), 4, &wasUnused, nullptr), QVREG_OK);
  EXPECT_EQ(wasUnused, 1);
  EXPECT_EQ(MainVectorOf(effect), (Ints{0, 1, 2}));
  EXPECT_EQ(VariablesOf(effect), (Ints{4, 6, 1, 2}));

  const CSettings settings = Made<CSettings>([](qvreg_settings** made, qvreg_error* e) {
    return qvreg_settings_create(QVREG_MODEL_LINEAR, made, e);
  });
  EXPECT_EQ(qvreg_settings_add_effect(settings.get(), effect.get(), nullptr), QVREG_BAD_ARGUMENT);
  const Ints list{4, 6, 2};
  EXPECT_EQ(qvreg_effect_set_model_variables(effect.get(), list.data(), 2, nullptr),
            QVREG_BAD_ARGUMENT);
  EXPECT_EQ(qvreg_effect_set_model_variables(effect.get(), list.data(), 3, nullptr), QVREG_OK);
  EXPECT_EQ(VariablesOf(effect), list);
  EXPECT_EQ(qvreg_settings_add_effect(settings.get(), effect.get(), nullptr), QVREG_OK);
  std::int32_t power = 0;
  EXPECT_EQ(qvreg_effect_get_covariate_multiplicity(effect.get(), 2, &power, nullptr), QVREG_OK);
  EXPECT_EQ(power, 2);
}

TEST(CEffect, TellsWhichVariablesAreUsed) {
  const CEffect full = Full();
  const CEffect empty = Empty();
  const std::vector<const qvreg_effect*> effects{full.get(), empty.get(), full.get()};
  EXPECT_EQ(ListOf<std::int32_t>(
                [&](auto... rest) { return qvreg_effects_get_use(effects.data(), 3, rest...); }),
            (Ints{1, 1, 0, 1}));
  EXPECT_EQ(ListOf<std::int32_t>([&](auto... rest) {
              return qvreg_effects_get_factors(effects.data(), 3, rest...);
            }),
            (Ints{4, 6}));
  EXPECT_EQ(ListOf<std::int32_t>([&](auto... rest) {
              return qvreg_effects_get_covariates(effects.data(), 3, rest...);
            }),
            (Ints{2, 2}));
}

TEST(CEffect, RefusesEffectsOfDifferentModels) {
  const CEffect first = Empty();
  const CEffect second = Make({4}, {6, 1, 2});
  const std::vector<const qvreg_effect*> effects{first.get(), second.get(), nullptr};
  std::size_t count = 0;
  EXPECT_EQ(qvreg_effects_get_use(effects.data(), 2, nullptr, 0, &count, nullptr),
            QVREG_BAD_ARGUMENT);
  EXPECT_EQ(qvreg_effects_get_factors(effects.data(), 0, nullptr, 0, &count, nullptr),
            QVREG_BAD_ARGUMENT);
  EXPECT_EQ(qvreg_effects_get_covariates(effects.data() + 2, 1, nullptr, 0, &count, nullptr),
            QVREG_NULL_HANDLE);
}

TEST(CEffect, IsPrinted) {
  const CEffect effect = Full();
  const std::string text =
      OutputOf([&] { EXPECT_EQ(qvreg_effect_display(effect.get(), nullptr), QVREG_OK); });
  EXPECT_NE(text.find("QvModelEffect"), std::string::npos);
}

}  // namespace
}  // namespace qvtest
