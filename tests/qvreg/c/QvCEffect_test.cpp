#include <climits>
#include <limits>

#include <gtest/gtest.h>

#include "tests/qvreg/c/CHost.h"

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

TEST(CEffect, StartsEmpty) { EXPECT_EQ(EffectOf(Empty()), (EffectParts{})); }

TEST(CEffect, IsReadBack) {
  const EffectParts parts = EffectOf(Full());
  EXPECT_EQ(parts.factors, (Ints{4, 6}));
  EXPECT_EQ(parts.levels, (Ints{0, 1}));
  EXPECT_EQ(parts.covariates, (Ints{2}));
  EXPECT_EQ(parts.multiplicities, (Ints{2}));
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

TEST(CEffect, AListOfAnImpossibleLengthIsNotRead) {
  constexpr std::size_t kNoSize = std::numeric_limits<std::size_t>::max();
  const std::int32_t variables[2] = {1, 2};
  qvreg_effect* made = nullptr;
  EXPECT_EQ(qvreg_effect_create(variables, kNoSize, nullptr, 0, &made, nullptr),
            QVREG_BAD_ARGUMENT);
  EXPECT_EQ(qvreg_effect_create(nullptr, 0, variables, kNoSize, &made, nullptr),
            QVREG_BAD_ARGUMENT);
  EXPECT_EQ(qvreg_effect_create(variables, INT_MAX, variables, 1, &made, nullptr),
            QVREG_BAD_ARGUMENT);
  EXPECT_EQ(made, nullptr);
}

TEST(CEffect, SaysHowLongABufferMustBe) {
  const CEffect effect = Full();
  Ints buffer(1, 77);
  std::size_t count = 0;
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_effect_get_factors(effect.get(), buffer.data(), nullptr, 1, &count, &error),
            QVREG_BUFFER_TOO_SMALL);
  EXPECT_EQ(count, 2U);
  EXPECT_EQ(error.has_discrete[0], 1);
  EXPECT_EQ(error.discrete[0], 2);
  EXPECT_EQ(buffer, Ints(1, 77));
}

TEST(CEffect, IsResetAndFilledAgain) {
  const CEffect effect = Full();
  EXPECT_EQ(qvreg_effect_reset(effect.get(), nullptr), QVREG_OK);
  EXPECT_EQ(EffectOf(effect), (EffectParts{}));
  EXPECT_EQ(qvreg_effect_add_factor(effect.get(), 4, 0, nullptr), QVREG_OK);
  EXPECT_EQ(EffectOf(effect).factors, (Ints{4}));
}

TEST(CEffect, OfSettingsIsACopyOverTheSameVariables) {
  const CSettings settings = Made<CSettings>([](qvreg_settings** made, qvreg_error* e) {
    return qvreg_settings_create(QVREG_MODEL_LINEAR, made, e);
  });
  // The originals are gone before their copies are read.
  for (const bool isFull : {true, false}) {
    const CEffect effect = isFull ? Full() : Empty();
    ASSERT_EQ(qvreg_settings_add_effect(settings.get(), effect.get(), nullptr), QVREG_OK);
  }
  for (const std::int32_t index : {0, 1}) {
    const CEffect copy = Made<CEffect>([&](qvreg_effect** made, qvreg_error* e) {
      return qvreg_settings_get_effect(settings.get(), index, made, e);
    });
    EXPECT_EQ(EffectOf(copy), index == 0 ? EffectOf(Full()) : EffectParts{});
    EXPECT_EQ(qvreg_effect_add_covariate(copy.get(), 1, nullptr, nullptr), QVREG_OK);
    EXPECT_EQ(EffectOf(copy).covariates, index == 0 ? (Ints{1, 2}) : (Ints{1}));
    EXPECT_EQ(qvreg_effect_add_covariate(copy.get(), 4, nullptr, nullptr), QVREG_BAD_ARGUMENT);
  }
}

}  // namespace
}  // namespace qvtest
