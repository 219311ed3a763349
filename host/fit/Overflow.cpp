#include "host/fit/Overflow.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <set>

#include <fmt/format.h>

#include "host/Error.h"

namespace qvhost {

namespace {

/// Numbers between the fourth root of the largest double and its inverse cannot overflow.
constexpr double kSuspectSize = 1e77;
/// A bound for what the estimation squares.
constexpr double kScaledSquare = 4.0;

bool IsSuspect(const CodedColumn& column) {
  const double size = LargestSize(column);
  return size > kSuspectSize || (size > 0.0 && size < 1.0 / kSuspectSize);
}

std::string NamesOf(const std::vector<CodedColumn>& columns) {
  std::string names;
  for (const CodedColumn& column : columns) {
    names += fmt::format("{}'{}' (up to {:.3g})", names.empty() ? "" : ", ", column.label,
                         LargestSize(column));
  }
  return names;
}

/// A number times 2^power in decimal digits, however large or small.
std::string DecimalText(double number, int power) {
  const double logarithm = std::log10(std::abs(number)) + power * std::log10(2.0);
  const double exponent = std::floor(logarithm);
  return fmt::format("{}{:.2g}e{:+.0f}", number < 0.0 ? "-" : "",
                     std::pow(10.0, logarithm - exponent), exponent);
}

/// Finds what overflowed, and the columns that caused it. Borrows everything it is made of.
class OverflowSearch {
 public:
  OverflowSearch(const FitResult& fit, const ScaledEstimates& scaled, const ModelBinding& binding,
                 const CodedTable& table)
      : fit_(fit), scaled_(scaled), binding_(binding), columns_(table.Columns()) {}

  void RefuseWeights(double totalWeight) const {
    if (binding_.regressionWeight >= 0) totalWeight *= LargestSize(At(binding_.regressionWeight));
    const bool areFinite = std::isfinite(kScaledSquare * totalWeight);
    const auto isLost = [areFinite](const ParameterResult& parameter) {
      return parameter.redundant && !areFinite;
    };
    const auto isNoNumber = [](double estimate) { return !std::isfinite(estimate); };
    if (!std::ranges::any_of(fit_.parameters, isLost) &&
        !std::ranges::any_of(scaled_.estimates, isNoNumber)) {
      return;
    }
    std::set<int> positions;
    for (const int position : {binding_.freqWeight, binding_.regressionWeight}) {
      if (position >= 0) positions.insert(position);
    }
    throw Error(ExitCode::kRunFailed, WeightOverflowText(Suspects(positions)));
  }

  void RefuseUnrepresentable() const {
    for (std::size_t i = 0; i < fit_.parameters.size(); ++i) {
      const ParameterResult& parameter = fit_.parameters[i];
      if (parameter.redundant) continue;
      if (!parameter.estimate) Refuse("estimate", i, scaled_.estimates[i]);
      if (parameter.statistics.statistic && !parameter.statistics.stdError) {
        Refuse("standard error", i, scaled_.estimates[i] / *parameter.statistics.statistic);
      }
    }
  }

 private:
  [[nodiscard]] const CodedColumn& At(int position) const {
    return columns_[static_cast<std::size_t>(position)];
  }

  [[nodiscard]] int PositionOf(const std::string& covariate) const {
    int position = ModelBinding::kDependent + 1 + binding_.factorCount;
    const int end = position + binding_.covariateCount;
    while (position + 1 < end && At(position).label != covariate) ++position;
    return position;
  }

  [[noreturn]] void Refuse(const char* what, std::size_t index, double number) const {
    const ParameterResult& parameter = fit_.parameters[index];
    std::set<int> positions;
    for (const CovariatePower& factor : parameter.covariates) {
      positions.insert(PositionOf(factor.covariate));
    }
    if (fit_.kind == ModelKind::kLinear) positions.insert(ModelBinding::kDependent);
    throw Error(ExitCode::kRunFailed,
                fmt::format("The {} of '{}' is about {}, outside the range of floating-point "
                            "numbers, 4.9e-324 to 1.8e+308. Rescale {}.",
                            what, parameter.label, DecimalText(number, scaled_.PowerOf(index)),
                            NamesOf(Suspects(positions))));
  }

  /// Those of extreme size among these columns, or all when none is.
  [[nodiscard]] std::vector<CodedColumn> Suspects(const std::set<int>& positions) const {
    const auto isSuspect = [this](int position) { return IsSuspect(At(position)); };
    const bool any = std::ranges::any_of(positions, isSuspect);
    std::vector<CodedColumn> suspects;
    for (const int position : positions) {
      if (!any || isSuspect(position)) suspects.push_back(At(position));
    }
    return suspects.empty() ? columns_ : suspects;
  }

  const FitResult& fit_;
  const ScaledEstimates& scaled_;
  const ModelBinding& binding_;
  const std::vector<CodedColumn>& columns_;
};

}  // namespace

double LargestSize(const CodedColumn& column) {
  if (column.kind == CodedColumn::Kind::kFactor || column.lowest > column.highest) return 0.0;
  return std::max(std::abs(column.lowest), std::abs(column.highest));
}

std::string WeightOverflowText(const std::vector<CodedColumn>& columns) {
  return fmt::format(
      "The weights are so large that sums of them overflow, and the model cannot be fitted: {}. "
      "Rescale {}.",
      NamesOf(columns), columns.size() == 1 ? "this column" : "these columns");
}

void RefuseOverflow(const FitResult& fit, const ScaledEstimates& scaled,
                    const ModelBinding& binding, const CodedTable& table, double totalWeight) {
  const OverflowSearch search(fit, scaled, binding, table);
  search.RefuseWeights(totalWeight);
  search.RefuseUnrepresentable();
}

}  // namespace qvhost
