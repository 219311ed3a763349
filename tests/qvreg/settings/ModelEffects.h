#pragma once

#include <vector>

#include <gtest/gtest.h>

#include "qvreg/settings/QvModelEffect.h"

namespace qvtest {

/// Record indices of a model's variables: three factors, two covariates.
namespace effects {
inline constexpr int kA = 4;
inline constexpr int kB = 2;
inline constexpr int kC = 9;
inline constexpr int kX = 1;
inline constexpr int kY = 7;
inline const std::vector<int> kVariables = {kA, kB, kC, kX, kY};
}  // namespace effects

/// An intercept over these variables.
[[nodiscard]] inline QvModelEffect EmptyEffect() { return {3, 2, &effects::kVariables}; }

/// The crossing of factors and covariates.
[[nodiscard]] inline QvModelEffect EffectOf(const std::vector<int>& factors,
                                            const std::vector<int>& covariates) {
  QvModelEffect effect = EmptyEffect();
  for (const int factor : factors) EXPECT_TRUE(effect.AddNewFactor(factor, false));
  for (const int covariate : covariates) EXPECT_GT(effect.AddCovariate(covariate), 0);
  return effect;
}

}  // namespace qvtest
