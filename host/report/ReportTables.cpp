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
#include "host/inference/Inference.h"
#include "host/report/ShownRows.h"
#include "host/report/TextTable.h"

namespace qvhost {
namespace {

using Parameters = std::span<const ParameterResult>;
using Texts = std::vector<std::string>;

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

std::string ChiSquareSentence(const LogisticFit& fit, const ReportDetail& detail) {
  return fmt::format("Likelihood-ratio chi-square {} on {} degree{} of freedom, p {}",
                     NumberText(fit.chiSquare, detail.DigitsOf(kDigits)), fit.chiSquareDegrees,
                     fit.chiSquareDegrees == 1 ? "" : "s", ProbabilityText(fit.chiSquareP));
}

/// How the iterations ended.
std::string EndingSentence(const LogisticFit& fit) {
  std::string ending = Printable(fit.ending);
  if (fit.stepHalvings > 0) {
    ending +=
        fmt::format(" {} step-halving{}.", fit.stepHalvings, fit.stepHalvings == 1 ? "" : "s");
  }
  if (fit.inMemory) {
    ending += " The records were kept in memory.";
  } else if (fit.iterations > 0) {
    ending += " The records were read anew for each.";
  }
  return ending;
}

/// `y = a against b`
std::string ComparisonText(const FitResult& fit, std::size_t level) {
  const std::vector<DependentLevel>& levels = fit.logistic->levels;
  return fmt::format("{} = {} against {}", Printable(fit.dependent), LevelText(levels[level]),
                     LevelText(levels.back()));
}

}  // namespace

ReportTable ParameterTable(Parameters parameters, ModelKind kind, double confidence,
                           const ReportDetail& detail) {
  ReportTable table{"Estimates, tests and limits", Headings(kind, confidence)};
  for (const std::size_t first : kGroups) {
    if (first < table.headings.size()) table.groups.push_back(first);
  }
  const Shown shown(parameters.size(), detail.rows);
  table.Omit(shown, "parameters");
  std::vector<ParameterResult> printed;
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    if (shown.Contains(i)) printed.push_back(parameters[i]);
  }
  const int digits = detail.digits.value_or(kEstimateDigits);
  const int oddsDigits = detail.digits.value_or(kOddsDigits);
  const auto estimates = Column(printed, digits, [](const auto& p) { return p.estimate; });
  const auto errors = Column(printed, digits, [](const auto& p) { return p.statistics.stdError; });
  const auto [lows, highs] = LimitColumns(printed, digits);
  for (std::size_t i = 0; i < printed.size(); ++i) {
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
    row.resize(table.headings.size());
    table.rows.push_back(std::move(row));
  }
  return table;
}

ReportSections InfluentialSections(const FitResult& fit) {
  constexpr int kFewDigits = 4;
  ReportSection section{"Influential records", "Most influential records"};
  section.isTight = true;
  if (fit.influential->empty()) {
    section.blocks.emplace_back("None has a Cook's distance.");
    return {section};
  }
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
  ReportTable table{section.title + "; Row counts the rows of the data from 1",
                    {"Row", "Cook's distance", "Leverage",
                     fit.logistic ? "Deviance residual" : "Studentized residual"}};
  for (std::size_t i = 0; i < distances.size(); ++i) {
    table.rows.push_back({CountText(fit.influential->at(i).row), distanceTexts[i], leverageTexts[i],
                          StatisticText(residuals[i])});
  }
  section.blocks.emplace_back(std::move(table));
  return {section};
}

ReportSections LevelSections(const FitResult& fit, const ReportDetail& detail) {
  const std::vector<DependentLevel>& levels = fit.logistic->levels;
  double total = 0.0;
  for (const DependentLevel& level : levels) total += level.weight;
  const std::string dependent = Printable(fit.dependent);
  ReportTable table{"Levels of " + dependent,
                    {dependent, fit.freqWeight.empty() ? "Records" : "Weight", "Percent", ""}};
  const Shown shown(levels.size(), detail.rows);
  table.Omit(shown, "levels");
  for (std::size_t i = 0; i < levels.size(); ++i) {
    if (!shown.Contains(i)) continue;
    const DependentLevel& level = levels[i];
    const bool isReference = i + 1 == levels.size();
    table.rows.push_back({LevelText(level), Weight(level.weight), Percent(level.weight, total),
                          isReference ? "reference" : ""});
  }
  return {{"Dependent", "", {std::move(table)}}};
}

ReportSections LevelParameterSections(const FitResult& fit, const ReportDetail& detail) {
  constexpr const char* kPart = "Parameters";
  const std::size_t count = fit.logistic->levels.size() - 1;
  const std::size_t blockSize = fit.parameters.size() / count;
  const Shown shown(count, detail.tables);
  ReportSections sections;
  for (std::size_t block = 0; block < count; ++block) {
    if (block == shown.BeforeOmitted() && shown.Omitted() > 0) {
      sections.push_back({kPart, "", {ReportOmission{shown.Omitted(), "tables"}}});
    }
    if (!shown.Contains(block)) continue;
    const std::span parameters = std::span(fit.parameters).subspan(block * blockSize, blockSize);
    const std::string title = ComparisonText(fit, block);
    ReportTable table = ParameterTable(parameters, fit.kind, fit.confidence, detail);
    table.caption += ": " + title;
    sections.push_back({kPart, title, {std::move(table)}});
  }
  return sections;
}

ReportSections LikelihoodSections(const FitResult& fit, const ReportDetail& detail) {
  const LogisticFit& logistic = *fit.logistic;
  const auto number = [&](const std::optional<double>& value) {
    return NumberText(value, detail.DigitsOf(kDigits));
  };
  const int digits = detail.DigitsOf(kLogLikelihoodDigits);
  ReportSection section{"Fit", ""};
  section.blocks.emplace_back(fmt::format("Log-likelihood {}, of the starting values {}",
                                          NumberText(logistic.logLikelihood, digits),
                                          NumberText(logistic.initialLogLikelihood, digits)));
  if (logistic.chiSquareP) section.blocks.emplace_back(ChiSquareSentence(logistic, detail));
  section.blocks.emplace_back(fmt::format(
      "Pseudo R square: Cox and Snell {}, Nagelkerke {}, McFadden {}", number(logistic.coxSnell),
      number(logistic.nagelkerke), number(logistic.mcFadden)));
  section.blocks.emplace_back(
      fmt::format("AIC {}, BIC {}", number(logistic.aic), number(logistic.bic)));
  section.blocks.emplace_back(EndingSentence(logistic));
  return {section};
}

ReportSections ClassificationSections(const FitResult& fit, const ReportDetail& detail) {
  const LogisticFit& logistic = *fit.logistic;
  const std::size_t size = logistic.levels.size();
  if (logistic.classification.size() != size) return {};
  const bool showsAll = size <= kMostColumns;
  const std::string title =
      showsAll ? "Classification: rows observed, columns predicted" : "Classification";
  ReportTable table{title + ", of the records fitted", {"Observed"}};
  if (showsAll) {
    for (const DependentLevel& level : logistic.levels) table.headings.push_back(LevelText(level));
  }
  table.headings.emplace_back("Correct");
  for (std::size_t column = 1; column < table.headings.size(); ++column) {
    table.groups.push_back(column);
  }

  const Shown shown(size, detail.rows);
  table.Omit(shown, "levels");
  std::vector<double> predicted(size, 0.0);
  double correct = 0.0;
  for (std::size_t i = 0; i < size; ++i) {
    const std::vector<double>& counts = logistic.classification[i];
    Texts row = {LevelText(logistic.levels[i])};
    for (std::size_t k = 0; k < size; ++k) {
      predicted[k] += counts[k];
      if (showsAll) row.push_back(Weight(counts[k]));
    }
    correct += counts[i];
    row.push_back(Percent(counts[i], Sum(counts)));
    if (shown.Contains(i)) table.rows.push_back(std::move(row));
  }
  const double total = Sum(predicted);
  Texts last = {"Overall"};
  if (showsAll) {
    for (const double share : predicted) last.push_back(Percent(share, total));
  }
  last.push_back(Percent(correct, total));
  table.rows.push_back(std::move(last));
  table.totals = 1;
  return {{"Classification", title, {std::move(table)}}};
}

}  // namespace qvhost
