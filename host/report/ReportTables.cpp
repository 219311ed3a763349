#include "host/report/ReportTables.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/TextLayout.h"
#include "host/inference/Inference.h"
#include "host/report/ShownRows.h"
#include "host/report/TextTable.h"

namespace qvhost {
namespace {

using Parameters = std::span<const ParameterResult>;
using Texts = std::vector<std::string>;

constexpr Shown::Limits kTables = {12, 8, 2};

/// One entry of every parameter, in one format.
template <typename Entry>
Texts Column(Parameters parameters, int digits, Entry entry) {
  std::vector<std::optional<double>> values;
  for (const ParameterResult& parameter : parameters) {
    values.push_back(parameter.redundant ? std::nullopt : entry(parameter));
  }
  return ColumnText(values, digits);
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
std::pair<Texts, Texts> LimitColumns(Parameters parameters, int digits) {
  std::vector<std::optional<double>> values;
  for (const ParameterResult& parameter : parameters) {
    values.push_back(parameter.statistics.confLow);
    values.push_back(parameter.statistics.confHigh);
  }
  return Split(ColumnText(values, digits));
}

std::optional<double> Exp(const std::optional<double>& value) {
  return value ? Finite(std::exp(*value)) : std::nullopt;
}

/// An odds ratio in a format of its own: odds ratios differ too much in size for one.
std::string OddsText(const std::optional<double>& logarithm, int digits) {
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

/// Where the columns of estimates and tests, of limits, and of odds ratios begin.
constexpr std::array<std::size_t, 3> kGroups = {1, 5, 7};

/// A wider table of levels by levels is of no use on a terminal.
constexpr std::size_t kMostColumns = 10;
/// Of what continues a line.
constexpr std::size_t kIndent = 2;
constexpr int kDigits = 6;
constexpr int kEstimateDigits = 5;
constexpr int kOddsDigits = 4;
constexpr int kLogLikelihoodDigits = 10;

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

/// Text of its own, continued below its beginning.
std::string Paragraph(std::string_view text, const TextStyle& style) {
  return Wrap(text, style.width, 0, kIndent) + "\n";
}

std::string LogLikelihoodLine(const LogisticFit& fit, const TextStyle& style) {
  const int digits = style.DigitsOf(kLogLikelihoodDigits);
  return Paragraph(fmt::format("Log-likelihood {}, of the starting values {}",
                               NumberText(fit.logLikelihood, digits),
                               NumberText(fit.initialLogLikelihood, digits)),
                   style);
}

std::string ChiSquareLine(const LogisticFit& fit, const TextStyle& style) {
  if (!fit.chiSquareP) return {};
  return Paragraph(
      fmt::format("Likelihood-ratio chi-square {} on {} degree{} of freedom, p {}",
                  NumberText(fit.chiSquare, style.DigitsOf(kDigits)), fit.chiSquareDegrees,
                  fit.chiSquareDegrees == 1 ? "" : "s", ProbabilityText(fit.chiSquareP)),
      style);
}

}  // namespace

std::string ParameterTable(Parameters parameters, ModelKind kind, double confidence,
                           const TextStyle& style) {
  const Texts headings = Headings(kind, confidence);
  TextTable table(headings);
  for (const std::size_t first : kGroups) {
    if (first < headings.size()) table.StartGroup(first);
  }
  const Shown shown(parameters.size(), kShownRows, style);
  std::vector<ParameterResult> printed;
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    if (shown.Contains(i)) printed.push_back(parameters[i]);
  }
  const int digits = style.digits.value_or(kEstimateDigits);
  const int oddsDigits = style.digits.value_or(kOddsDigits);
  const auto estimates = Column(printed, digits, [](const auto& p) { return p.estimate; });
  const auto errors = Column(printed, digits, [](const auto& p) { return p.statistics.stdError; });
  const auto [lows, highs] = LimitColumns(printed, digits);
  const std::size_t hidden = parameters.size() - printed.size();
  for (std::size_t i = 0; i < printed.size(); ++i) {
    if (shown.HasNoteBefore(i + hidden)) table.AddLine(shown.Note("parameters"));
    const ParameterResult& parameter = printed[i];
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
             OddsText(parameter.estimate, oddsDigits),
             OddsText(statistics.confLow, oddsDigits),
             OddsText(statistics.confHigh, oddsDigits)};
    }
    row.resize(headings.size());
    table.AddRow(std::move(row));
  }
  return table.Render(style);
}

std::string InfluentialTable(const FitResult& fit, const TextStyle& style) {
  constexpr int kFewDigits = 4;
  const std::string title = style.Heading("Most influential records") + "\n";
  if (fit.influential->empty()) return title + "None has a Cook's distance.\n";
  std::vector<std::optional<double>> distances;
  std::vector<std::optional<double>> leverages;
  std::vector<std::optional<double>> residuals;
  for (const InfluentialRecord& record : *fit.influential) {
    distances.emplace_back(record.cooksDistance);
    leverages.push_back(record.leverage);
    residuals.push_back(record.residual);
  }
  const std::vector<std::string> distanceTexts = ColumnText(distances, kFewDigits);
  const std::vector<std::string> leverageTexts = ColumnText(leverages, kFewDigits);
  TextTable table({"Row", "Cook's distance", "Leverage",
                   fit.logistic ? "Deviance residual" : "Studentized residual"});
  for (std::size_t i = 0; i < distances.size(); ++i) {
    table.AddRow({CountText(fit.influential->at(i).row), distanceTexts[i], leverageTexts[i],
                  StatisticText(residuals[i])});
  }
  return title + table.Render(style);
}

std::string LevelTable(const FitResult& fit, const TextStyle& style) {
  const std::vector<DependentLevel>& levels = fit.logistic->levels;
  double total = 0.0;
  for (const DependentLevel& level : levels) total += level.weight;
  TextTable table(
      {Printable(fit.dependent), fit.freqWeight.empty() ? "Records" : "Weight", "Percent", ""});
  const Shown shown(levels.size(), kShownRows, style);
  for (std::size_t i = 0; i < levels.size(); ++i) {
    if (!shown.Contains(i)) continue;
    if (shown.HasNoteBefore(i)) table.AddLine(shown.Note("levels"));
    const DependentLevel& level = levels[i];
    const bool isReference = i + 1 == levels.size();
    table.AddRow({LevelText(level), Weight(level.weight), Percent(level.weight, total),
                  isReference ? "reference" : ""});
  }
  return table.Render(style);
}

std::string LevelParameters(const FitResult& fit, const TextStyle& style) {
  const std::vector<DependentLevel>& levels = fit.logistic->levels;
  const std::size_t blockSize = fit.parameters.size() / (levels.size() - 1);
  const Shown shown(levels.size() - 1, kTables, style);
  std::string text;
  for (std::size_t block = 0; block + 1 < levels.size(); ++block) {
    if (!shown.Contains(block)) continue;
    if (shown.HasNoteBefore(block)) text += "\n" + Paragraph(shown.Note("tables"), style);
    const std::span parameters = std::span(fit.parameters).subspan(block * blockSize, blockSize);
    const std::string heading = fmt::format("{} = {} against {}", Printable(fit.dependent),
                                            LevelText(levels[block]), LevelText(levels.back()));
    text += text.empty() ? "" : "\n";
    text += style.Heading(Wrap(heading, style.width, 0, kIndent)) + "\n\n";
    text += ParameterTable(parameters, fit.kind, fit.confidence, style);
  }
  return text;
}

std::string LikelihoodText(const FitResult& fit, const TextStyle& style) {
  const LogisticFit& logistic = *fit.logistic;
  const auto number = [&](const std::optional<double>& value) {
    return NumberText(value, style.DigitsOf(kDigits));
  };
  std::string text = LogLikelihoodLine(logistic, style) + ChiSquareLine(logistic, style);
  text += Paragraph(fmt::format("Pseudo R square: Cox and Snell {}, Nagelkerke {}, McFadden {}",
                                number(logistic.coxSnell), number(logistic.nagelkerke),
                                number(logistic.mcFadden)),
                    style);
  text += fmt::format("AIC {}, BIC {}\n", number(logistic.aic), number(logistic.bic));
  std::string ending = Printable(logistic.ending);
  if (logistic.stepHalvings > 0) {
    ending += fmt::format(" {} step-halving{}.", logistic.stepHalvings,
                          logistic.stepHalvings == 1 ? "" : "s");
  }
  if (logistic.inMemory) {
    ending += " The records were kept in memory.";
  } else if (logistic.iterations > 0) {
    ending += " The records were read anew for each.";
  }
  return text + Paragraph(ending, style);
}

std::string ClassificationText(const FitResult& fit, const TextStyle& style) {
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
  for (std::size_t column = 1; column < headings.size(); ++column) table.StartGroup(column);

  const Shown shown(size, kShownRows, style);
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
    if (shown.HasNoteBefore(i)) table.AddLine(shown.Note("levels"));
    if (shown.Contains(i)) table.AddRow(std::move(row));
  }
  const double total = Sum(predicted);
  std::vector<std::string> last = {"Overall"};
  if (showsAll) {
    for (const double share : predicted) last.push_back(Percent(share, total));
  }
  last.push_back(Percent(correct, total));
  table.AddRow(std::move(last));
  const std::string heading =
      showsAll ? "Classification: rows observed, columns predicted" : "Classification";
  return style.Heading(Wrap(heading, style.width, 0, kIndent)) + "\n\n" + table.Render(style);
}

}  // namespace qvhost
