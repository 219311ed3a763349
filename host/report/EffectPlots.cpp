#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <iterator>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/report/IntervalPlot.h"
#include "host/report/ReportPlot.h"

namespace qvhost {

namespace {

constexpr std::size_t kMostRows = 60;

/// An empty text would not show.
std::string LevelText(const std::string& level) { return level.empty() ? "''" : Printable(level); }

/// What plots of rows on one scale share.
struct PanelText {
  std::string title;
  std::string quantity;
  std::string aid;
  std::string more;  ///< Follows what a plot shows.
  bool isLogarithmic = false;
};

std::optional<IntervalRow> RowOf(std::string name, const std::optional<double>& estimate,
                                 const CoefficientStatistics& statistics) {
  if (!estimate || !statistics.confLow || !statistics.confHigh) return std::nullopt;
  const double strength = std::abs(statistics.statistic.value_or(0.0));
  return IntervalRow{std::move(name), *estimate, *statistics.confLow, *statistics.confHigh,
                     strength};
}

/// The parameters of one linear predictor that a plot may show.
std::vector<IntervalRow> RowsOf(std::span<const ParameterResult> parameters) {
  std::vector<IntervalRow> rows;
  for (const ParameterResult& parameter : parameters) {
    if (parameter.redundant || parameter.IsIntercept()) continue;
    auto row = RowOf(Printable(parameter.label), parameter.estimate, parameter.statistics);
    if (!row) continue;
    row->isPerUnit = !parameter.covariates.empty();
    rows.push_back(std::move(*row));
  }
  return rows;
}

/// Takes what `isLeft` says out of the rows; answers what that was.
template <typename Predicate>
std::vector<IntervalRow> TakeOut(std::vector<IntervalRow>& rows, Predicate isLeft) {
  const auto left = std::stable_partition(rows.begin(), rows.end(),
                                          [&](const IntervalRow& row) { return !isLeft(row); });
  std::vector<IntervalRow> taken(std::make_move_iterator(left),
                                 std::make_move_iterator(rows.end()));
  rows.erase(left, rows.end());
  return taken;
}

/// Odds ratios in place of their logarithms. Says which are left out, since the data tell next to
/// nothing of them, as of levels that are separated.
std::string MakeOdds(std::vector<IntervalRow>& rows) {
  constexpr double kWidest = 1e6;
  constexpr std::size_t kMostNames = 5;
  const std::vector<IntervalRow> wide = TakeOut(rows, [](const IntervalRow& row) {
    return !(row.high - row.low <= std::log(kWidest)) || !std::isfinite(std::exp(row.high)) ||
           !(std::exp(row.low) > 0.0);
  });
  for (IntervalRow& row : rows) {
    row.estimate = std::exp(row.estimate);
    row.low = std::exp(row.low);
    row.high = std::exp(row.high);
  }
  if (wide.empty()) return "";
  std::string names;
  for (std::size_t i = 0; i < std::min(wide.size(), kMostNames); ++i) {
    names += (i == 0 ? "" : ", ") + wide[i].name;
  }
  if (wide.size() > kMostNames) names += fmt::format(" and {} more", wide.size() - kMostNames);
  return fmt::format(" Not drawn, of intervals that span more than a factor of 1,000,000: {}.",
                     names);
}

/// The least strength of the rows that are drawn: of many the strongest.
double LeastStrength(const std::vector<double>& strengths) {
  if (strengths.size() <= kMostRows) return 0.0;
  std::vector<double> sorted = strengths;
  std::ranges::sort(sorted, std::greater());
  return sorted[kMostRows - 1];
}

/// Keeps the strongest rows, of equal ones the first, up to `room`, which shrinks.
void KeepStrongest(std::vector<IntervalRow>& rows, double least, std::size_t& room) {
  std::vector<IntervalRow> kept;
  for (IntervalRow& row : rows) {
    if (row.strength < least || room == 0) continue;
    --room;
    kept.push_back(std::move(row));
  }
  rows = std::move(kept);
}

std::string ChoiceText(std::size_t count, const char* things, const FitResult& fit) {
  if (count <= kMostRows) return "";
  return fmt::format(" Of {} {} the {} with the largest |{}| are drawn.", count, things, kMostRows,
                     fit.logistic ? "z" : "t");
}

void AddPlot(ReportPlots& plots, std::vector<IntervalRow> rows, const PanelText& text,
             const char* kind) {
  const IntervalPlot plot{std::move(rows), text.quantity, text.isLogarithmic};
  const bool isFirst =
      std::ranges::all_of(plots, [](const ReportPlot& other) { return other.spec.is_null(); });
  plots.push_back({text.title + kind, isFirst ? text.aid : "To be read as the plot above.",
                   plot.Facts() + text.more, plot.Spec(), plot.Columns()});
}

/// Effects of levels and effects per unit have scales of their own.
void AddPanels(ReportPlots& plots, std::vector<IntervalRow> rows, const PanelText& text,
               std::size_t fewest) {
  const std::vector<IntervalRow> perUnit =
      TakeOut(rows, [](const IntervalRow& row) { return row.isPerUnit; });
  if (rows.empty() && perUnit.empty() && !text.more.empty()) {
    // Not the blank before it.
    plots.push_back({text.title, "", text.more.substr(1), nullptr});
    return;
  }
  const bool areBoth = !rows.empty() && !perUnit.empty();
  if (rows.size() >= fewest) AddPlot(plots, std::move(rows), text, areBoth ? ": levels" : "");
  if (perUnit.size() >= fewest) AddPlot(plots, perUnit, text, areBoth ? ": per unit" : "");
}

/// What the parameters of a level of the dependent, or of a linear model, say.
PanelText ForestText(const FitResult& fit, std::size_t level) {
  const std::string percent = fmt::format("{:g}%", 100.0 * fit.confidence);
  if (!fit.logistic) {
    return {"Estimates with " + percent + " intervals", "Estimate",
            "A point is an estimate and the line its interval; one that crosses the dashed line at "
            "0 is compatible with no effect. The intercept is left out.",
            "", false};
  }
  const std::vector<DependentLevel>& levels = fit.logistic->levels;
  return {
      fmt::format("Odds ratios of {} = {} against {}, with {} intervals", Printable(fit.dependent),
                  LevelText(levels[level].level), LevelText(levels.back().level), percent),
      "Odds ratio (logarithmic scale)",
      "A point is exp(estimate) and the line its interval; one that crosses the dashed line at "
      "1 is compatible with no effect. The intercept is left out.",
      "", true};
}

/// The levels whose probabilities a plot shows: of two the first alone. None of a linear model.
std::vector<std::string> CategoriesOf(const FitResult& fit) {
  std::vector<std::string> categories;
  if (!fit.logistic) return categories;
  for (const DependentLevel& level : fit.logistic->levels) categories.push_back(level.level);
  if (categories.size() == 2) categories.pop_back();
  return categories;
}

/// Effects on the probabilities of several levels lie side by side.
std::vector<IntervalRow> MarginRows(const FitResult& fit,
                                    const std::vector<std::string>& categories) {
  std::vector<const MarginResult*> margins;
  for (const MarginResult& margin : *fit.margins) {
    const bool isShown =
        !margin.category || std::ranges::find(categories, *margin.category) != categories.end();
    if (isShown) margins.push_back(&margin);
  }
  const auto place = [&](const MarginResult* margin) {
    const auto isSame = [margin](const MarginResult* other) {
      return other->variable == margin->variable && other->level == margin->level;
    };
    return std::ranges::find_if(margins, isSame) - margins.begin();
  };
  std::vector<std::pair<std::ptrdiff_t, const MarginResult*>> ordered;
  ordered.reserve(margins.size());
  for (const MarginResult* margin : margins) ordered.emplace_back(place(margin), margin);
  std::ranges::stable_sort(ordered, {}, &std::pair<std::ptrdiff_t, const MarginResult*>::first);
  std::vector<IntervalRow> rows;
  for (const auto& [_, margin] : ordered) {
    std::string name = Printable(margin->variable);
    if (margin->level) {
      name +=
          fmt::format(": {} - {}", LevelText(*margin->level), LevelText(margin->base.value_or("")));
    }
    if (categories.size() > 1) name += fmt::format(" ({})", LevelText(*margin->category));
    auto row = RowOf(std::move(name), margin->effect, margin->statistics);
    if (!row) continue;
    row->isPerUnit = !margin->level;
    rows.push_back(std::move(*row));
  }
  return rows;
}

}  // namespace

ReportPlots ForestPlots(const FitResult& fit) {
  const std::size_t count = fit.logistic ? fit.logistic->levels.size() - 1 : 1;
  const std::size_t size = fit.parameters.size() / count;
  std::vector<std::vector<IntervalRow>> blocks;
  std::vector<PanelText> texts;
  std::vector<double> strengths;
  for (std::size_t k = 0; k < count; ++k) {
    texts.push_back(ForestText(fit, k));
    blocks.push_back(RowsOf(std::span(fit.parameters).subspan(k * size, size)));
    if (fit.logistic) texts.back().more = MakeOdds(blocks.back());
    for (const IntervalRow& row : blocks.back()) strengths.push_back(row.strength);
  }
  const double least = LeastStrength(strengths);
  std::size_t room = kMostRows;
  ReportPlots plots;
  for (std::size_t k = 0; k < count; ++k) {
    texts[k].more += ChoiceText(strengths.size(), "parameters", fit);
    KeepStrongest(blocks[k], least, room);
    AddPanels(plots, std::move(blocks[k]), texts[k], 1);
  }
  return plots;
}

ReportPlots MarginPlots(const FitResult& fit) {
  if (!fit.margins || fit.margins->empty()) return {};
  const std::vector<std::string> categories = CategoriesOf(fit);
  std::vector<IntervalRow> rows = MarginRows(fit, categories);
  std::vector<double> strengths;
  strengths.reserve(rows.size());
  for (const IntervalRow& row : rows) strengths.push_back(row.strength);
  const std::string dependent = Printable(fit.dependent);
  PanelText text{"Average marginal effects on ", "Average effect",
                 "How much the prediction changes, on average over the records: per unit of a "
                 "number, or from one level to the other; the dashed line is no change.",
                 ChoiceText(rows.size(), "effects", fit), false};
  if (categories.empty()) {
    text.title += dependent;
  } else if (categories.size() == 1) {
    text.title += fmt::format("the probability of {} = {}", dependent, LevelText(categories[0]));
  } else {
    text.title += "the probabilities of " + dependent;
    text.aid += " In parentheses stands the level whose probability changes.";
  }
  std::size_t room = kMostRows;
  KeepStrongest(rows, LeastStrength(strengths), room);
  // A single point tells no more than its table.
  constexpr std::size_t kFewest = 2;
  ReportPlots plots;
  AddPanels(plots, std::move(rows), text, kFewest);
  return plots;
}

}  // namespace qvhost
