#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/TextLayout.h"
#include "host/report/ReportTables.h"
#include "host/report/ShownRows.h"
#include "host/report/TextTable.h"

namespace qvhost {
namespace {

using Margins = std::vector<const MarginResult*>;

constexpr int kDigits = 5;
constexpr Shown::Limits kTables = {12, 8, 2};

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

std::string Table(const Margins& margins, const FitResult& fit, const TextStyle& style) {
  const int digits = style.DigitsOf(kDigits);
  const auto percent = fmt::format("{:g}%", 100.0 * fit.confidence);
  TextTable table({"Variable", "Effect", "Std. error", fit.logistic ? "z" : "t", "p",
                   percent + " low", percent + " high"});
  table.StartGroup(1);
  constexpr std::size_t kLimits = 5;
  table.StartGroup(kLimits);
  const Shown shown(margins.size(), kShownRows, style);
  for (std::size_t i = 0; i < margins.size(); ++i) {
    if (!shown.Contains(i)) continue;
    if (shown.HasNoteBefore(i)) table.AddLine(shown.Note("effects"));
    const MarginResult& margin = *margins[i];
    const CoefficientStatistics& statistics = margin.statistics;
    table.AddRow({NameOf(margin), margin.effect ? Own(margin.effect, digits) : "not estimable",
                  Own(statistics.stdError, digits), StatisticText(statistics.statistic),
                  ProbabilityText(statistics.pValue), Own(statistics.confLow, digits),
                  Own(statistics.confHigh, digits)});
  }
  return table.Render(style);
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

std::string MarginTables(const FitResult& fit, const TextStyle& style) {
  const auto heading = [&](const std::string& text) {
    return style.Heading(Wrap(text, style.width, 0, 2)) + "\n\n";
  };
  Margins all;
  for (const MarginResult& margin : *fit.margins) all.push_back(&margin);
  if (!fit.logistic) {
    return heading("Average marginal effects on " + Printable(fit.dependent)) +
           Table(all, fit, style);
  }
  const std::vector<std::string> categories = Categories(*fit.logistic);
  const Shown shown(categories.size(), kTables, style);
  std::string text;
  for (std::size_t k = 0; k < categories.size(); ++k) {
    if (!shown.Contains(k)) continue;
    if (shown.HasNoteBefore(k)) text += "\n" + shown.Note("levels") + "\n";
    Margins own;
    for (const MarginResult* margin : all) {
      if (margin->category == categories[k]) own.push_back(margin);
    }
    text += (text.empty() ? "" : "\n") +
            heading(fmt::format("Average marginal effects on the probability of {} = {}",
                                Printable(fit.dependent), LevelText(categories[k]))) +
            Table(own, fit, style);
  }
  return text;
}

}  // namespace qvhost
