#pragma once

#include <vector>

#include "host/formula/Terms.h"

namespace qvhost {

/// Whether `larger` contains `smaller`: it has every variable of it, with the same power or a
/// higher one, and is not the same: `a:b` contains `a`, `I(x^2)` contains `x`, `x:a` contains both.
/// How factors are nested does not count.
[[nodiscard]] bool Contains(const Term& larger, const Term& smaller);

/// Whether `larger` has the covariates of `smaller`, with the same powers, and all of its factors
/// beside others: `a:b` has more factors than `a`, `a:x` more than `x`. `isFactor` tells for each
/// of Formula::variables whether it is a factor.
[[nodiscard]] bool HasMoreFactors(const Term& larger, const Term& smaller,
                                  const std::vector<bool>& isFactor);

}  // namespace qvhost
