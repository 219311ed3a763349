#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/fit/FitResult.h"

namespace qvhost {

/// A plot of a page. A plain value.
struct ReportPlot {
  std::string title;
  std::string aid;    ///< How it is to be read, in a sentence.
  std::string facts;  ///< What it shows, in words.
  /// Vega-Lite's, but for the data `rows`; null where there is nothing to draw.
  nlohmann::json spec;
  /// Those data: arrays of one length, by name.
  nlohmann::json columns = nlohmann::json::object();
};

using ReportPlots = std::vector<ReportPlot>;

/// Estimates with their intervals, without intercepts and what has no interval; of a logistic model
/// as odds ratios on a logarithmic scale, a plot for each level. Effects of levels and effects per
/// unit of a covariate have plots of their own. At most 60 parameters in all, those with the
/// largest test statistics.
[[nodiscard]] ReportPlots ForestPlots(const FitResult& fit);

/// Average marginal effects with their intervals; none where the fit has none, or a single one.
[[nodiscard]] ReportPlots MarginPlots(const FitResult& fit);

/// How a linear model meets its assumptions. REQUIRES: `fit.plots->linear` is there.
[[nodiscard]] ReportPlots LinearPlotsOf(const FitResult& fit);

/// How the iterations went. REQUIRES: `fit.plots->logistic` is there.
[[nodiscard]] ReportPlots IterationPlots(const FitResult& fit);

/// How levels are told apart, and whether probabilities are right. REQUIRES: `fit.plots->logistic`
/// is there.
[[nodiscard]] ReportPlots PredictionPlots(const FitResult& fit);

/// Observed and predicted levels of the records fitted and of those held out; none of more than 30
/// levels.
[[nodiscard]] ReportPlots ClassificationPlots(const FitResult& fit);

}  // namespace qvhost
