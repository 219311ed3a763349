#include "host/report/ParameterTable.h"

#include <cmath>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/inference/Finite.h"
#include "host/report/NumberText.h"
#include "host/report/TextTable.h"

namespace qvhost {

namespace {

using Parameters = std::span<const ParameterResult>;
using Texts = std::vector<std::string>;

/// One entry of every parameter, written alike.
template <typename Entry>
Texts Column(Parameters parameters, Entry entry) {
  std::vector<std::optional<double>> values;
  for (const ParameterResult& parameter : parameters) {
    values.push_back(parameter.redundant ? std::nullopt : entry(parameter));
  }
  return ColumnText(values);
}

/// The texts of two columns that were written alike, one after the other for each row.
std::pair<Texts, Texts> Split(const Texts& texts) {
  std::pair<Texts, Texts> columns;
  for (std::size_t i = 0; i < texts.size(); i += 2) {
    columns.first.push_back(texts[i]);
    columns.second.push_back(texts[i + 1]);
  }
  return columns;
}

/// Both limits, written alike.
std::pair<Texts, Texts> LimitColumns(Parameters parameters) {
  std::vector<std::optional<double>> values;
  for (const ParameterResult& parameter : parameters) {
    values.push_back(parameter.statistics.confLow);
    values.push_back(parameter.statistics.confHigh);
  }
  return Split(ColumnText(values));
}

std::optional<double> Exp(const std::optional<double>& value) {
  return value ? Finite(std::exp(*value)) : std::nullopt;
}

/// A factor of the odds by itself: such factors lie too far apart to be written alike.
std::string OddsText(const std::optional<double>& logarithm) {
  constexpr int digits = 4;
  const std::optional<double> odds = Exp(logarithm);
  return odds ? NumberText(odds, digits) : "";
}

Texts Headings(ModelKind kind, double confidence) {
  const auto percent = fmt::format("{:g}%", 100.0 * confidence);
  const bool isLinear = kind == ModelKind::kLinear;
  Texts headings = {"Parameter", "Estimate",       "Std. error",     isLinear ? "t" : "z",
                    "p",         percent + " low", percent + " high"};
  if (!isLinear) {
    headings.insert(headings.end(), {"exp(est.)", percent + " low", percent + " high"});
  }
  return headings;
}

}  // namespace

std::string ParameterTable(Parameters parameters, ModelKind kind, double confidence) {
  const Texts headings = Headings(kind, confidence);
  TextTable table(headings);
  const auto estimates = Column(parameters, [](const auto& p) { return p.estimate; });
  const auto errors = Column(parameters, [](const auto& p) { return p.statistics.stdError; });
  const auto [lows, highs] = LimitColumns(parameters);
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    const ParameterResult& parameter = parameters[i];
    const CoefficientStatistics& statistics = parameter.statistics;
    Texts row = {Printable(parameter.label), "0", parameter.nonFinite ? "left out" : "redundant"};
    if (!parameter.redundant) {
      row = {row.front(),
             estimates[i],
             errors[i],
             StatisticText(statistics.statistic),
             ProbabilityText(statistics.pValue),
             lows[i],
             highs[i],
             OddsText(parameter.estimate),
             OddsText(statistics.confLow),
             OddsText(statistics.confHigh)};
    }
    row.resize(headings.size());
    table.AddRow(std::move(row));
  }
  return table.Render();
}

}  // namespace qvhost
