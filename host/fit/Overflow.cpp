#include "host/fit/Overflow.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <set>

#include <fmt/format.h>

#include "host/Error.h"

namespace qvhost {

namespace {

/// Fourth root of the largest number: smaller ones overflow only together with larger ones, or in
/// high powers.
constexpr double kSuspectSize = 1e77;

/// Finds the columns that made sums overflow. Borrows everything it is made of.
class OverflowSearch {
 public:
  OverflowSearch(const FitResult& fit, const ModelBinding& binding, const CodedTable& table,
                 double totalWeight)
      : fit_(fit), binding_(binding), columns_(table.Columns()), weight_(totalWeight) {
    if (binding.regressionWeight >= 0) weight_ *= SizeAt(binding.regressionWeight);
  }

  /// In the order of the records' positions; empty when no estimate was lost.
  [[nodiscard]] std::vector<CodedColumn> Find() const {
    std::set<int> positions;
    bool isLost = false;
    for (const ParameterResult& parameter : fit_.parameters) {
      if (!IsLost(parameter)) continue;
      isLost = true;
      AddPositions(parameter, positions);
    }
    if (!isLost) return {};
    for (const int position : {binding_.freqWeight, binding_.regressionWeight}) {
      if (position >= 0) positions.insert(position);
    }
    return Named(positions);
  }

 private:
  [[nodiscard]] const CodedColumn& At(int position) const {
    return columns_[static_cast<std::size_t>(position)];
  }
  [[nodiscard]] double SizeAt(int position) const { return LargestSize(At(position)); }

  [[nodiscard]] bool IsLost(const ParameterResult& parameter) const {
    if (!parameter.redundant) return !parameter.estimate;
    const double size = SizeOf(parameter);
    return !std::isfinite(size * std::max(size, SizeAt(ModelBinding::kDependent)) * weight_);
  }

  /// A bound of the design's column.
  [[nodiscard]] double SizeOf(const ParameterResult& parameter) const {
    double size = 1.0;
    for (const CovariatePower& factor : parameter.covariates) {
      size *= std::pow(SizeAt(PositionOf(factor.covariate)), factor.power);
    }
    return size;
  }

  [[nodiscard]] int PositionOf(const std::string& covariate) const {
    int position = ModelBinding::kDependent + 1 + binding_.factorCount;
    const int end = position + binding_.covariateCount;
    while (position + 1 < end && At(position).label != covariate) ++position;
    return position;
  }

  /// What the sums of a parameter are made of, weights apart.
  void AddPositions(const ParameterResult& parameter, std::set<int>& positions) const {
    for (const CovariatePower& factor : parameter.covariates) {
      positions.insert(PositionOf(factor.covariate));
    }
    const double dependent = SizeAt(ModelBinding::kDependent);
    const double product = std::max(dependent, SizeOf(parameter)) * dependent * weight_;
    if (!std::isfinite(product)) positions.insert(ModelBinding::kDependent);
  }

  /// The large ones among these columns, or all when none is.
  [[nodiscard]] std::vector<CodedColumn> Named(const std::set<int>& positions) const {
    const auto isLarge = [this](int position) { return SizeAt(position) > kSuspectSize; };
    const bool any = std::ranges::any_of(positions, isLarge);
    std::vector<CodedColumn> named;
    for (const int position : positions) {
      if (!any || isLarge(position)) named.push_back(At(position));
    }
    return named.empty() ? columns_ : named;
  }

  const FitResult& fit_;
  const ModelBinding& binding_;
  const std::vector<CodedColumn>& columns_;
  double weight_;
};

}  // namespace

double LargestSize(const CodedColumn& column) {
  if (column.kind == CodedColumn::Kind::kFactor || column.lowest > column.highest) return 0.0;
  return std::max(std::abs(column.lowest), std::abs(column.highest));
}

std::string OverflowText(const std::vector<CodedColumn>& columns) {
  std::string names;
  for (const CodedColumn& column : columns) {
    names += fmt::format("{}'{}' (up to {:.3g})", names.empty() ? "" : ", ", column.label,
                         LargestSize(column));
  }
  return fmt::format(
      "The numbers are so large that sums of their squares and products overflow, and the model "
      "cannot be fitted: {}. Rescale {}.",
      names, columns.size() == 1 ? "this column" : "these columns");
}

void RefuseOverflow(const FitResult& fit, const ModelBinding& binding, const CodedTable& table,
                    double totalWeight) {
  const std::vector<CodedColumn> columns = OverflowSearch(fit, binding, table, totalWeight).Find();
  if (!columns.empty()) throw Error(ExitCode::kRunFailed, OverflowText(columns));
}

}  // namespace qvhost
