#include "host/fit/MarginalMeans.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/Threads.h"
#include "host/fit/ContrastText.h"
#include "host/fit/GridMean.h"
#include "host/fit/RecordFit.h"
#include "host/fit/ScaledEstimates.h"
#include "host/inference/DeltaMethod.h"
#include "qvreg/logistic/QvLogOutputStats.h"

namespace qvhost {
namespace {

/// Makes numbers of sums of rows. Immutable; any number of threads may use one.
class Estimator {
 public:
  explicit Estimator(const MeansModel& model)
      : covariance_(ScaledCovarianceOf(model.output, model.degreesOfFreedom, model.robust)),
        exponent_(ScaledEstimatesOf(model.output).dependentExponent),
        inference_(1.0, covariance_.DegreesOfFreedom(), model.confidence) {}

  [[nodiscard]] double DegreesOfFreedom() const { return covariance_.DegreesOfFreedom(); }

  /// Of a linear function.
  [[nodiscard]] MeanEstimate Of(const Gradient& gradient) const {
    const auto combination = covariance_.Combine(gradient.parameters, gradient.weights);
    return Of(combination.value, combination.stdError);
  }
  /// Of any function with this value and gradient.
  [[nodiscard]] MeanEstimate Of(double value, const Gradient& gradient) const {
    return Of(Finite(value), StdErrorOf(covariance_, gradient));
  }

 private:
  [[nodiscard]] MeanEstimate Of(std::optional<double> value, std::optional<double> error) const {
    MeanEstimate estimate;
    if (value) estimate.estimate = TimesPowerOf2(*value, exponent_);
    if (value && error) estimate.statistics = inference_.OfError(*value, *error, exponent_);
    return estimate;
  }

  CoefficientCovariance covariance_;
  int exponent_;  ///< Of the dependent: estimates are in units of 2 to its power.
  CoefficientInference inference_;
};

/// A scale on which means are taken, and of what level of the dependent.
struct Scale {
  MeanScale scale = MeanScale::kResponse;
  std::size_t category = 0;  ///< By its place in the library's order.
  std::string level;
};

std::vector<Scale> ScalesOf(const MeansModel& model) {
  const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&model.output);
  if (logistic == nullptr) return {{}};
  std::vector<Scale> scales;
  const std::vector<int>& codes = logistic->GetDependCategories();
  const auto add = [&](MeanScale scale, std::size_t count) {
    for (std::size_t k = 0; k < count; ++k) {
      scales.push_back({scale, k, model.dependentLevels.at(static_cast<std::size_t>(codes[k]))});
    }
  };
  add(MeanScale::kLink, codes.size() - 1);
  add(MeanScale::kProbability, codes.size());
  return scales;
}

/// The estimate of a mean or a combination of means on a scale.
MeanEstimate EstimateOf(const GridMean& mean, const Scale& scale, const Estimator& estimator) {
  if (scale.scale == MeanScale::kProbability) {
    if (!mean.HasProbabilities()) return {.isEstimable = false};
    return estimator.Of(mean.Probability(scale.category), mean.ProbabilityGradient(scale.category));
  }
  if (!mean.IsEstimable()) return {.isEstimable = false};
  return estimator.Of(mean.PredictorGradient(scale.category));
}

/// The means of many places of the grid, each by one of so many threads.
std::vector<GridMean> MeansOf(const std::vector<ReferenceGrid::Fixed>& places,
                              const ReferenceGrid& grid, const Estimability& estimability,
                              const MeansModel& model, const Interrupt& interrupt) {
  std::vector<GridMean> means(places.size());
  const std::size_t workers =
      std::min(static_cast<std::size_t>(std::max(model.threads, 1)), places.size());
  ForEachOnThreads(model.threads, workers, [&](std::size_t worker) {
    GridMeanMaker maker(grid, estimability, model.output, model.scoring);
    for (std::size_t i = worker; i < places.size(); i += workers) {
      if (interrupt.Requested()) throw Cancelled();
      means[i] = maker.Of(places[i]);
    }
  });
  return means;
}

std::vector<MeanDifference> DifferencesOf(const std::vector<GridMean>& means, const Scale& scale,
                                          const Estimator& estimator, int threads,
                                          const Interrupt& interrupt) {
  std::vector<MeanDifference> differences;
  for (std::size_t i = 0; i < means.size(); ++i) {
    for (std::size_t j = i + 1; j < means.size(); ++j)
      differences.push_back({.first = i, .second = j});
  }
  constexpr std::size_t kAtOnce = 64;
  const std::size_t batches = (differences.size() + kAtOnce - 1) / kAtOnce;
  ForEachOnThreads(threads, batches, [&](std::size_t batch) {
    if (interrupt.Requested()) throw Cancelled();
    const std::size_t end = std::min((batch + 1) * kAtOnce, differences.size());
    for (std::size_t i = batch * kAtOnce; i < end; ++i) {
      MeanDifference& difference = differences[i];
      difference.estimate = EstimateOf(
          GridMean::Combined(means[difference.first], 1.0, means[difference.second], -1.0), scale,
          estimator);
    }
  });
  std::vector<std::optional<double>> pValues;
  pValues.reserve(differences.size());
  for (const MeanDifference& difference : differences) {
    pValues.push_back(difference.estimate.statistics.pValue);
  }
  const std::vector<std::optional<double>> adjusted = HolmAdjusted(pValues);
  for (std::size_t i = 0; i < differences.size(); ++i) differences[i].adjustedP = adjusted[i];
  return differences;
}

std::string LeftOutText(const MeanTable& table, std::size_t pairs) {
  return fmt::format(
      "The {} differences of the means of {} are left out, as they are more than {}; --contrast "
      "gives single ones.",
      pairs, fmt::join(table.factors, ":"), MarginalMeans::kMostDifferences);
}

}  // namespace

std::vector<std::optional<double>> HolmAdjusted(const std::vector<std::optional<double>>& pValues) {
  std::vector<std::size_t> order(pValues.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::erase_if(order, [&](std::size_t i) { return !pValues[i]; });
  std::ranges::stable_sort(order, {}, [&](std::size_t i) { return *pValues[i]; });
  std::vector<std::optional<double>> adjusted(pValues.size());
  double largest = 0.0;
  for (std::size_t rank = 0; rank < order.size(); ++rank) {
    const auto left = static_cast<double>(pValues.size() - rank);
    largest = std::max(largest, left * *pValues[order[rank]]);
    adjusted[order[rank]] = std::min(largest, 1.0);
  }
  return adjusted;
}

MarginalMeans::MarginalMeans(const std::vector<std::string>& contrasts,
                             const std::vector<std::string>& means, ReferenceGrid& grid)
    : grid_(grid) {
  for (const std::string& text : contrasts) ReadCells(text);
  for (const std::string& text : means) ReadTable(text);
}

void MarginalMeans::ReadCells(const std::string& text) {
  const std::string option = fmt::format("--contrast '{}'", text);
  Contrast& contrast = contrasts_.emplace_back();
  contrast.label = std::string(WithoutBlanks(text));
  for (const WrittenCell& written : ReadContrast(text, grid_.Names())) {
    Cell& cell = contrast.cells.emplace_back();
    cell.weight = written.weight;
    cell.values = grid_.Nothing();
    for (const WrittenCondition& condition : written.conditions) {
      const std::size_t axis = grid_.Find(condition.name, option);
      if (cell.values[axis]) {
        throw Error(ExitCode::kBadInput,
                    fmt::format("{}: '{}' has two values in one term.", option, grid_.Name(axis)));
      }
      cell.values[axis] = grid_.FindValue(axis, condition.value, option);
    }
  }
}

void MarginalMeans::ReadTable(const std::string& text) {
  const std::string option = fmt::format("--means '{}'", text);
  std::vector<std::size_t> axes;
  for (const std::string& name : ReadMeans(text, grid_.Names())) {
    const std::size_t axis = grid_.Find(name, option);
    if (!grid_.HasLevels(axis)) {
      throw Error(ExitCode::kBadInput,
                  fmt::format("{}: '{}' is a number at its mean and has no levels; ask for its "
                              "effect with --contrast \"{}=1 - {}=0\".",
                              option, grid_.Name(axis), grid_.Name(axis), grid_.Name(axis)));
    }
    if (std::ranges::find(axes, axis) != axes.end()) {
      throw Error(ExitCode::kBadInput,
                  fmt::format("{}: '{}' is named twice.", option, grid_.Name(axis)));
    }
    axes.push_back(axis);
  }
  // A level that is in others is told apart with theirs.
  for (std::size_t i = 0; i < axes.size(); ++i) {
    for (const std::size_t other : grid_.Within(axes[i])) {
      if (std::ranges::find(axes, other) == axes.end()) axes.push_back(other);
    }
  }
  tables_.push_back(std::move(axes));
}

MeanTable MarginalMeans::RowsOf(const std::vector<std::size_t>& axes,
                                std::vector<ReferenceGrid::Fixed>& places) const {
  MeanTable table;
  for (const std::size_t axis : axes) table.factors.push_back(grid_.Name(axis));
  grid_.ForEachCombination(axes, [&](const ReferenceGrid::Fixed& values) {
    places.push_back(values);
    MeanTable::Row& row = table.rows.emplace_back();
    for (const std::size_t axis : axes) {
      row.levels.push_back(grid_.ValueText(axis, *values[axis]));
    }
  });
  return table;
}

MeansResult MarginalMeans::Compute(const MeansModel& model, const Interrupt& interrupt,
                                   std::vector<std::string>& notes) const {
  const Estimability estimability(model.output);
  const Estimator estimator(model);
  const std::vector<Scale> scales = ScalesOf(model);
  MeansResult result;
  result.grid = grid_.Result();
  result.degreesOfFreedom = estimator.DegreesOfFreedom();
  for (const Contrast& contrast : contrasts_) {
    std::vector<ReferenceGrid::Fixed> places;
    places.reserve(contrast.cells.size());
    for (const Cell& cell : contrast.cells) places.push_back(cell.values);
    const std::vector<GridMean> means = MeansOf(places, grid_, estimability, model, interrupt);
    GridMean sum = GridMean::Combined(means[0], contrast.cells[0].weight, means[0], 0.0);
    for (std::size_t i = 1; i < means.size(); ++i) {
      sum = GridMean::Combined(sum, 1.0, means[i], contrast.cells[i].weight);
    }
    for (const Scale& scale : scales) {
      result.contrasts.push_back(
          {contrast.label, scale.scale, scale.level, EstimateOf(sum, scale, estimator)});
    }
  }
  for (const std::vector<std::size_t>& axes : tables_) {
    std::vector<ReferenceGrid::Fixed> places;
    const MeanTable table = RowsOf(axes, places);
    const std::vector<GridMean> means = MeansOf(places, grid_, estimability, model, interrupt);
    const std::size_t pairs = means.size() * (means.size() + 1) / 2 - means.size();
    if (pairs > kMostDifferences) notes.push_back(LeftOutText(table, pairs));
    for (const Scale& scale : scales) {
      MeanTable& part = result.tables.emplace_back(table);
      part.scale = scale.scale;
      part.level = scale.level;
      for (std::size_t i = 0; i < means.size(); ++i) {
        part.rows[i].estimate = EstimateOf(means[i], scale, estimator);
      }
      if (pairs > kMostDifferences) continue;
      part.differences = DifferencesOf(means, scale, estimator, model.threads, interrupt);
    }
  }
  return result;
}

}  // namespace qvhost
