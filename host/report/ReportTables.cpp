#include "host/report/ReportTables.h"

#include <cmath>
#include <cstddef>
#include <numeric>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/inference/Inference.h"
#include "host/report/TextTable.h"

namespace qvhost {
namespace {

using Parameters = std::span<const ParameterResult>;
using Texts = std::vector<std::string>;

/// One entry of every parameter, in one format.
template <typename Entry>
Texts Column(Parameters parameters, Entry entry) {
  std::vector<std::optional<double>> values;
  for (const ParameterResult& parameter : parameters) {
    values.push_back(parameter.redundant ? std::nullopt : entry(parameter));
  }
  return ColumnText(values);
}

/// The texts of two columns in one format, one after the other for each row.
std::pair<Texts, Texts> Split(const Texts& texts) {
  std::pair<Texts, Texts> columns;
  for (std::size_t i = 0; i < texts.size(); i += 2) {
    columns.first.push_back(texts[i]);
    columns.second.push_back(texts[i + 1]);
  }
  return columns;
}

/// Both limits, in one format.
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

/// An odds ratio in a format of its own: odds ratios differ too much in size for one.
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

/// A wider table of levels by levels is of no use on a terminal.
constexpr std::size_t kMostColumns = 10;
constexpr int kDigits = 6;

/// An empty text would not show.
std::string LevelText(const DependentLevel& level) {
  return level.level.empty() ? "''" : Printable(level.level);
}

double Sum(const std::vector<double>& values) {
  return std::accumulate(values.begin(), values.end(), 0.0);
}

std::string Percent(double part, double whole) {
  return whole > 0.0 ? fmt::format("{:.1f}%", 100.0 * part / whole) : "";
}

std::string Weight(double weight) { return NumberText(weight, 12); }

std::string LogLikelihoodLine(const LogisticFit& fit) {
  return fmt::format("Log-likelihood {}, of the starting values {}\n",
                     NumberText(fit.logLikelihood, 10), NumberText(fit.initialLogLikelihood, 10));
}

std::string ChiSquareLine(const LogisticFit& fit) {
  if (!fit.chiSquareP) return {};
  return fmt::format("Likelihood-ratio chi-square {} on {} degree{} of freedom, p {}\n",
                     NumberText(fit.chiSquare), fit.chiSquareDegrees,
                     fit.chiSquareDegrees == 1 ? "" : "s", ProbabilityText(fit.chiSquareP));
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

std::string LevelTable(const FitResult& fit) {
  const std::vector<DependentLevel>& levels = fit.logistic->levels;
  double total = 0.0;
  for (const DependentLevel& level : levels) total += level.weight;
  TextTable table(
      {Printable(fit.dependent), fit.freqWeight.empty() ? "Records" : "Weight", "Percent", ""});
  for (const DependentLevel& level : levels) {
    const bool isReference = &level == &levels.back();
    table.AddRow({LevelText(level), Weight(level.weight), Percent(level.weight, total),
                  isReference ? "reference" : ""});
  }
  return table.Render();
}

std::string LevelParameters(const FitResult& fit) {
  const std::vector<DependentLevel>& levels = fit.logistic->levels;
  const std::size_t blockSize = fit.parameters.size() / (levels.size() - 1);
  std::string text;
  for (std::size_t block = 0; block + 1 < levels.size(); ++block) {
    const std::span parameters = std::span(fit.parameters).subspan(block * blockSize, blockSize);
    text +=
        fmt::format("{}{} = {} against {}\n\n", text.empty() ? "" : "\n", Printable(fit.dependent),
                    LevelText(levels[block]), LevelText(levels.back()));
    text += ParameterTable(parameters, fit.kind, fit.confidence);
  }
  return text;
}

std::string LikelihoodText(const FitResult& fit) {
  const LogisticFit& logistic = *fit.logistic;
  std::string text = LogLikelihoodLine(logistic) + ChiSquareLine(logistic);
  text += fmt::format("Pseudo R square: Cox and Snell {}, Nagelkerke {}, McFadden {}\n",
                      NumberText(logistic.coxSnell), NumberText(logistic.nagelkerke),
                      NumberText(logistic.mcFadden));
  text += fmt::format("AIC {}, BIC {}\n", NumberText(logistic.aic, kDigits),
                      NumberText(logistic.bic, kDigits));
  text += logistic.ending;
  if (logistic.stepHalvings > 0) {
    text += fmt::format(" {} step-halving{}.", logistic.stepHalvings,
                        logistic.stepHalvings == 1 ? "" : "s");
  }
  if (logistic.inMemory) {
    text += " The records were kept in memory.";
  } else if (logistic.iterations > 0) {
    text += " The records were read anew for each.";
  }
  text += "\n";
  return text;
}

std::string ClassificationText(const FitResult& fit) {
  const LogisticFit& logistic = *fit.logistic;
  const std::size_t size = logistic.levels.size();
  if (logistic.classification.size() != size) return {};
  const bool showsAll = size <= kMostColumns;
  std::vector<std::string> headings = {"Observed"};
  if (showsAll) {
    for (const DependentLevel& level : logistic.levels) headings.push_back(LevelText(level));
  }
  headings.emplace_back("Correct");
  TextTable table(headings);

  std::vector<double> predicted(size, 0.0);
  double correct = 0.0;
  for (std::size_t i = 0; i < size; ++i) {
    const std::vector<double>& counts = logistic.classification[i];
    std::vector<std::string> row = {LevelText(logistic.levels[i])};
    for (std::size_t k = 0; k < size; ++k) {
      predicted[k] += counts[k];
      if (showsAll) row.push_back(Weight(counts[k]));
    }
    correct += counts[i];
    row.push_back(Percent(counts[i], Sum(counts)));
    table.AddRow(std::move(row));
  }
  const double total = Sum(predicted);
  std::vector<std::string> last = {"Overall"};
  if (showsAll) {
    for (const double share : predicted) last.push_back(Percent(share, total));
  }
  last.push_back(Percent(correct, total));
  table.AddRow(std::move(last));
  return (showsAll ? "Classification: rows observed, columns predicted\n\n"
                   : "Classification\n\n") +
         table.Render();
}

}  // namespace qvhost
