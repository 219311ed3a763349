#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/report/ReportTables.h"
#include "host/report/ShownRows.h"
#include "host/report/TextTable.h"

namespace qvhost {
namespace {

using Margins = std::vector<const MarginResult*>;

constexpr int kDigits = 5;
constexpr const char* kPart = "Marginal effects";

/// An empty text would not show.
std::string LevelText(const std::string& level) { return level.empty() ? "''" : Printable(level); }

/// `x`, or `sex: male - female`.
std::string NameOf(const MarginResult& margin) {
  if (!margin.level) return Printable(margin.variable);
  return fmt::format("{}: {} - {}", Printable(margin.variable), LevelText(*margin.level),
                     LevelText(margin.base.value_or("")));
}

/// Effects of several variables differ too much in size for one format.
std::string Own(const std::optional<double>& value, int digits) {
  return value ? NumberText(value, digits) : "";
}

ReportSection Section(const std::string& of, const Margins& margins, const FitResult& fit,
                      const ReportDetail& detail) {
  const std::string title = "Average marginal effects on " + of;
  const int digits = detail.DigitsOf(kDigits);
  const auto percent = fmt::format("{:g}%", 100.0 * fit.confidence);
  ReportTable table{title,
                    {"Variable", "Effect", "Std. error", fit.logistic ? "z" : "t", "p",
                     percent + " low", percent + " high"}};
  constexpr std::size_t kLimits = 5;
  table.groups = {1, kLimits};
  const Shown shown(margins.size(), detail.rows);
  table.Omit(shown, "effects");
  for (std::size_t i = 0; i < margins.size(); ++i) {
    if (!shown.Contains(i)) continue;
    const MarginResult& margin = *margins[i];
    const CoefficientStatistics& statistics = margin.statistics;
    table.rows.push_back({NameOf(margin),
                          margin.effect ? Own(margin.effect, digits) : "not estimable",
                          Own(statistics.stdError, digits), StatisticText(statistics.statistic),
                          ProbabilityText(statistics.pValue), Own(statistics.confLow, digits),
                          Own(statistics.confHigh, digits)});
  }
  return {kPart, title, {std::move(table)}};
}

/// The levels whose probabilities have a table: of two the second's effects are those of the first
/// with the other sign.
std::vector<std::string> Categories(const LogisticFit& fit) {
  std::vector<std::string> categories;
  for (const DependentLevel& level : fit.levels) categories.push_back(level.level);
  if (categories.size() == 2) categories.pop_back();
  return categories;
}

}  // namespace

ReportSections MarginSections(const FitResult& fit, const ReportDetail& detail) {
  const std::string dependent = Printable(fit.dependent);
  Margins all;
  for (const MarginResult& margin : *fit.margins) all.push_back(&margin);
  if (!fit.logistic) return {Section(dependent, all, fit, detail)};
  const std::vector<std::string> categories = Categories(*fit.logistic);
  const Shown shown(categories.size(), detail.tables);
  ReportSections sections;
  for (std::size_t k = 0; k < categories.size(); ++k) {
    if (k == shown.BeforeOmitted() && shown.Omitted() > 0) {
      sections.push_back({kPart, "", {ReportOmission{shown.Omitted(), "levels"}}});
    }
    if (!shown.Contains(k)) continue;
    Margins own;
    for (const MarginResult* margin : all) {
      if (margin->category == categories[k]) own.push_back(margin);
    }
    sections.push_back(
        Section(fmt::format("the probability of {} = {}", dependent, LevelText(categories[k])), own,
                fit, detail));
  }
  return sections;
}

}  // namespace qvhost
