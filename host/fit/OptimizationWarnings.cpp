#include "host/fit/OptimizationWarnings.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

#include <fmt/format.h>

#include "qvreg/logistic/QvIterationReporter.h"

namespace qvhost {

namespace {

constexpr std::size_t kMostDrivers = 4;
// An estimate that grows by a smaller share of the largest growth is not a cause.
constexpr double kLeastGrowth = 1e-3;
// An estimate that grows without bound does so ever more slowly, but its standard error rapidly.
constexpr double kStalledStatistic = 0.5;
// Of log odds: an uncertainty by a factor of 20,000 is not one of a usual estimate.
constexpr double kHugeStdError = 10.0;

std::string DriverText(const ParameterResult& parameter) {
  if (parameter.growth != 0.0) {
    return fmt::format("'{}: {}' ({:.3g}, by {:.2g} an iteration)", parameter.category.value_or(""),
                       parameter.label, parameter.estimate.value_or(0.0), parameter.growth);
  }
  return fmt::format("'{}: {}' ({:.3g}, {})", parameter.category.value_or(""), parameter.label,
                     parameter.estimate.value_or(0.0),
                     parameter.statistics.stdError
                         ? fmt::format("standard error {:.2g}", *parameter.statistics.stdError)
                         : "no standard error");
}

}  // namespace

double OptimizationWarnings::LogGrowthOf(const ParameterResult& parameter) const {
  return std::log(std::abs(parameter.growth)) + LogUnitOf(parameter);
}

double OptimizationWarnings::LargestLogGrowth() const {
  double largest = -std::numeric_limits<double>::infinity();
  for (const ParameterResult& parameter : result_.parameters) {
    largest = std::max(largest, LogGrowthOf(parameter));
  }
  return largest;
}

bool OptimizationWarnings::IsDriver(const ParameterResult& parameter) const {
  if (parameter.redundant || parameter.IsIntercept()) return false;
  if (std::isfinite(largestLogGrowth_)) {
    return LogGrowthOf(parameter) >= std::log(kLeastGrowth) + largestLogGrowth_;
  }
  if (parameter.estimate.value_or(0.0) == 0.0) return false;
  if (!parameter.statistics.stdError) return true;
  const double size = std::abs(parameter.statistics.statistic.value_or(0.0));
  const double error = std::log(parameter.statistics.stdError.value()) + LogUnitOf(parameter);
  return size < kStalledStatistic && error > std::log(kHugeStdError);
}

double OptimizationWarnings::LogUnitOf(const ParameterResult& parameter) const {
  double size = 0.0;
  for (const CovariatePower& covariate : parameter.covariates) {
    const auto found = std::ranges::find(covariates_, covariate.covariate);
    if (found == covariates_.end()) continue;
    const double span = spans_.at(static_cast<std::size_t>(found - covariates_.begin()));
    if (span > 0.0) size += covariate.power * std::log(span);
  }
  return size;
}

std::string OptimizationWarnings::Drivers() const {
  std::vector<const ParameterResult*> drivers;
  for (const ParameterResult& parameter : result_.parameters) {
    if (IsDriver(parameter)) drivers.push_back(&parameter);
  }
  if (drivers.empty()) return {};
  std::ranges::stable_sort(drivers, std::ranges::greater(), [this](const ParameterResult* driver) {
    return std::log(std::abs(driver->estimate.value_or(0.0))) + LogUnitOf(*driver);
  });
  const std::size_t listed = std::min(drivers.size(), kMostDrivers);
  const bool isSingle = drivers.size() == 1;
  std::string text = isSingle ? " The estimate that drives it is "
                              : " The largest estimates with huge standard errors are ";
  if (std::isfinite(largestLogGrowth_)) {
    text =
        isSingle ? " The estimate that keeps growing is " : " The estimates that keep growing are ";
  }
  for (std::size_t i = 0; i < listed; ++i) {
    text += (i == 0 ? "" : ", ") + DriverText(*drivers[i]);
  }
  return text + (listed < drivers.size() ? ", …." : ".");
}

std::string OptimizationWarnings::SeparatedBase() const {
  constexpr double kShare = 0.05;  // Growths of the same size differ by less.
  double intercept = 0.0;
  std::string factor;
  bool isBase = false;
  for (const ParameterResult& parameter : result_.parameters) {
    if (parameter.IsIntercept()) intercept = parameter.growth;
    const bool isMain = parameter.levels.size() == 1 && parameter.covariates.empty();
    if (!isMain) {
      factor.clear();
      continue;
    }
    const FactorLevel& level = parameter.levels.front();
    if (std::exchange(factor, level.factor) != level.factor) isBase = intercept != 0.0;
    if (!parameter.redundant) {
      // What the intercept takes from all records, the other levels give back.
      const double sum = parameter.growth + intercept;
      isBase = isBase && std::abs(sum) <= kShare * std::abs(intercept);
    } else if (isBase) {
      return fmt::format(" It is the base '{}' of '{}' that is separated; choose another --base.",
                         level.level, level.factor);
    }
  }
  return {};
}

bool OptimizationWarnings::IsNearlySeparated() const {
  constexpr double kNearlyOne = 0.9;
  constexpr double kSignificant = 2.0;
  const auto isSignificant = [](const ParameterResult& parameter) {
    return !parameter.redundant && !parameter.IsIntercept() &&
           std::abs(parameter.statistics.statistic.value_or(0.0)) > kSignificant;
  };
  return result_.logistic.value().mcFadden.value_or(0.0) >= kNearlyOne &&
         std::ranges::none_of(result_.parameters, isSignificant);
}

std::vector<std::string> OptimizationWarnings::Find() const {
  const LogisticFit& fit = result_.logistic.value();
  switch (static_cast<QvOptimizationOutcome>(fit.outcomeCode)) {
    case kOptCompleteSeparation:
      return {fmt::format(
          "The levels of '{}' are completely separated: the terms tell them apart without an "
          "error. No estimates are the best, as larger ones always fit better, and standard "
          "errors and tests mean nothing.{} Leave out such a term, merge levels, or add records "
          "in which they overlap.",
          result_.dependent, Drivers())};
    case kOptQuasiSeparation:
      return {fmt::format(
          "Levels of '{}' are quasi-completely separated: for part of the records the terms tell "
          "them apart without an error. Some estimates would grow for ever, and their standard "
          "errors and tests mean nothing; the fitted probabilities and the other estimates can be "
          "used.{}{} Leave out such a term, merge levels, or add records in which they overlap.",
          result_.dependent, Drivers(), SeparatedBase())};
    case kOptHessianSingular:
      return {fmt::format(
          "The information matrix is singular, so the estimates are not determined by the data "
          "and standard errors are not to be trusted.{} Leave out terms, merge levels, or centre "
          "and rescale covariates.",
          Drivers())};
    case kOptStepHalvingFailed:
      return {fmt::format(
          "Iteration {} found no step of use in up to {} step-halvings, so the estimates may not "
          "be "
          "the best. Merge rare levels, centre and rescale covariates, or allow more with "
          "--max-step-halving.",
          fit.iterations, options_.maxStepHalving)};
    case kOptMaxIterations:
      return {fmt::format(
          "The estimates had not settled after {} iterations, the most allowed: they still "
          "changed by {:.2g}. Allow more with --max-iterations.{}",
          fit.iterations, fit.parameterChange.value_or(0.0), Drivers())};
    case kOptNoIterations:
      if (fit.converged) return {};
      return {
          "No iteration was allowed, so the estimates are nothing but the starting values. Allow "
          "some with --max-iterations."};
    default:
      if (!IsNearlySeparated()) return {};
      return {fmt::format(
          "The terms tell the levels of '{}' apart almost without an error (McFadden {:.3f}), and "
          "no "
          "parameter is significant by itself. So close to separation, standard errors are far too "
          "large and tests of single parameters say little (Hauck and Donner, 1977); --anova tests "
          "each term by the likelihoods.",
          result_.dependent, fit.mcFadden.value_or(0.0))};
  }
}

}  // namespace qvhost
