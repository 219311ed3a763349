#pragma once

#include <vector>

#include "host/fit/FitResult.h"
#include "host/fit/Interrupt.h"
#include "host/fit/ModelBinding.h"
#include "host/formula/Formula.h"
#include "host/inference/EffectSums.h"
#include "qvreg/component/IQvRegOutputStats.h"

namespace qvhost {

/// Per parameter the number of its term in the formula; -1 for an intercept.
[[nodiscard]] std::vector<int> TermsOfParameters(const IQvRegOutputStats& output);

/// How each redundant column depends on the kept ones; `kept` is KeptParameters of the output.
[[nodiscard]] std::vector<RedundantColumn> RedundantColumnsOf(const IQvRegOutputStats& output,
                                                              const std::vector<bool>& kept);

/// For each term which others a test of the `type` takes to contain it: of type 2 those with all
/// its variables in the same or a higher power, of type 3 those with the same covariates and more
/// factors, of type 1 none.
[[nodiscard]] std::vector<std::vector<bool>> ContainingTerms(const Formula& formula,
                                                             const std::vector<bool>& isFactor,
                                                             int type);

/// What tests of terms are computed from, of a model of either kind. Borrows from the output.
/// REQUIRES: it has a covariance matrix.
[[nodiscard]] EffectSums EffectSumsOf(const IQvRegOutputStats& output, const Interrupt& interrupt);

/// The sum of each term in a test of the `type`; none where it cannot be computed.
[[nodiscard]] std::vector<std::optional<EffectSum>> SumsOfTerms(const EffectSums& sums,
                                                                const Formula& formula,
                                                                const std::vector<bool>& isFactor,
                                                                int type);

/// The F tests of the terms of a linear model whose result has all but these. Without an explicit
/// `type` they are of type 2, and none where they would take more than about a second.
/// Throws Cancelled when interrupted.
[[nodiscard]] std::optional<EffectTests> TestLinearEffects(
    const Formula& formula, const ModelBinding& binding, const IQvRegOutputStats& output,
    std::optional<int> type, const FitResult& result, const Interrupt& interrupt);

/// What to say of tests of type 3 where not all combinations of levels occur, or columns depend on
/// those of other terms; empty elsewhere.
[[nodiscard]] std::vector<std::string> MarginalTestNotes(const Formula& formula,
                                                         const ModelBinding& binding,
                                                         const IQvRegOutputStats& output);

}  // namespace qvhost
