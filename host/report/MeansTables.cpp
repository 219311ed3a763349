#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/Text.h"
#include "host/report/ReportTables.h"
#include "host/report/ShownRows.h"
#include "host/report/TextTable.h"

namespace qvhost {
namespace {

using Texts = std::vector<std::string>;

constexpr int kDigits = 5;
constexpr const char* kPart = "Means and contrasts";

/// A table of estimates: each row under a name, in one format for all.
class EstimateRows {
 public:
  void Add(std::string name, const MeanEstimate& mean) {
    names_.push_back(std::move(name));
    estimates_.push_back(mean.estimate);
    errors_.push_back(mean.statistics.stdError);
    limits_.push_back(mean.statistics.confLow);
    limits_.push_back(mean.statistics.confHigh);
    means_.push_back(&mean);
  }

  /// `adjusted`: p values of their own, none where the table has none; empty for no tests.
  [[nodiscard]] ReportTable Table(const std::string& caption, const std::string& heading,
                                  const FitResult& fit, bool hasTests,
                                  const std::vector<std::optional<double>>& adjusted,
                                  const ReportDetail& detail) const {
    const std::string percent = fmt::format("{:g}%", 100.0 * fit.confidence);
    ReportTable table{caption, {heading, "Estimate", "Std. error"}};
    Texts& headings = table.headings;
    if (hasTests) headings.insert(headings.end(), {fit.logistic ? "z" : "t", "p"});
    if (!adjusted.empty()) headings.emplace_back("p (Holm)");
    headings.insert(headings.end(), {percent + " low", percent + " high"});
    const int digits = detail.DigitsOf(kDigits);
    const Texts estimates = ColumnText(estimates_, digits);
    const Texts errors = ColumnText(errors_, digits);
    const Texts limits = ColumnText(limits_, digits);
    table.groups = {1, headings.size() - 2};
    const Shown shown(names_.size(), detail.rows);
    table.Omit(shown, "rows");
    for (std::size_t i = 0; i < names_.size(); ++i) {
      if (!shown.Contains(i)) continue;
      const bool isEstimable = means_[i]->isEstimable;
      Texts row = {names_[i], isEstimable ? estimates[i] : "not estimable", errors[i]};
      if (hasTests) {
        row.push_back(StatisticText(means_[i]->statistics.statistic));
        row.push_back(ProbabilityText(means_[i]->statistics.pValue));
      }
      if (!adjusted.empty()) row.push_back(ProbabilityText(adjusted[i]));
      row.push_back(limits[2 * i]);
      row.push_back(limits[2 * i + 1]);
      table.rows.push_back(std::move(row));
    }
    return table;
  }

 private:
  Texts names_;
  std::vector<std::optional<double>> estimates_;
  std::vector<std::optional<double>> errors_;
  std::vector<std::optional<double>> limits_;  ///< Both of each row.
  std::vector<const MeanEstimate*> means_;
};

/// `, probability of late`; nothing for a linear model.
std::string ScaleText(MeanScale scale, const std::string& level, const FitResult& fit) {
  if (scale == MeanScale::kProbability) return ", probability of " + Printable(level);
  if (scale == MeanScale::kResponse) return {};
  return fmt::format(", link of {} against {}", Printable(level),
                     Printable(fit.logistic->levels.back().level));
}

std::string LevelsText(const MeanTable::Row& row) {
  return Printable(fmt::format("{}", fmt::join(row.levels, ":")));
}

ReportSection TableSection(const MeanTable& part, const FitResult& fit,
                           const ReportDetail& detail) {
  const std::string factors = Printable(fmt::format("{}", fmt::join(part.factors, ":")));
  const std::string of = factors + ScaleText(part.scale, part.level, fit);
  EstimateRows means;
  for (const MeanTable::Row& row : part.rows) means.Add(LevelsText(row), row.estimate);
  ReportSection section{kPart, "Means of " + of};
  section.blocks.emplace_back(means.Table(section.title, factors, fit, false, {}, detail));
  if (part.differences.empty()) return section;
  EstimateRows differences;
  std::vector<std::optional<double>> adjusted;
  for (const MeanDifference& difference : part.differences) {
    differences.Add(fmt::format("{} - {}", LevelsText(part.rows[difference.first]),
                                LevelsText(part.rows[difference.second])),
                    difference.estimate);
    adjusted.push_back(difference.adjustedP);
  }
  section.blocks.emplace_back(differences.Table("Differences of means of " + of, "Difference", fit,
                                                true, adjusted, detail));
  return section;
}

/// Contrasts of one scale and level.
ReportSection ContrastSection(const std::vector<const ContrastResult*>& contrasts,
                              const FitResult& fit, const ReportDetail& detail) {
  const ContrastResult& first = *contrasts.front();
  EstimateRows rows;
  for (const ContrastResult* contrast : contrasts) {
    rows.Add(Printable(contrast->label), contrast->estimate);
  }
  const std::string title = "Contrasts" + ScaleText(first.scale, first.level, fit);
  return {kPart, title, {rows.Table(title, "Contrast", fit, true, {}, detail)}};
}

/// Of two levels, the probabilities of one tell those of the other.
bool IsShown(MeanScale scale, const std::string& level, const FitResult& fit) {
  if (scale != MeanScale::kProbability || fit.logistic->levels.size() > 2) return true;
  return level != fit.logistic->levels.back().level;
}

std::string GridText(const GridResult& grid) {
  std::string text = fmt::format("Means are over a grid of {} row{}", CountText(grid.rows),
                                 grid.rows == 1 ? "" : "s");
  for (const GridResult::Covariate& covariate : grid.covariates) {
    text += fmt::format(", {} at ", Printable(covariate.name));
    for (std::size_t i = 0; i < covariate.values.size(); ++i) {
      text += (i == 0 ? "" : " and ") + NumberText(covariate.values[i]);
    }
  }
  for (const GridResult::Nested& nested : grid.nested) {
    text += fmt::format(", {} within {}", Printable(nested.factor),
                        Printable(fmt::format("{}", fmt::join(nested.within, ", "))));
  }
  return text + ".";
}

}  // namespace

ReportSections MeansSections(const FitResult& fit, const ReportDetail& detail) {
  if (!fit.means) return {};
  ReportSections sections;
  const std::vector<ContrastResult>& contrasts = fit.means->contrasts;
  for (std::size_t i = 0; i < contrasts.size(); ++i) {
    const auto isSame = [&](const ContrastResult& other) {
      return other.scale == contrasts[i].scale && other.level == contrasts[i].level;
    };
    std::vector<const ContrastResult*> same;
    bool isFirst = true;
    for (std::size_t j = 0; j < contrasts.size(); ++j) {
      if (!isSame(contrasts[j])) continue;
      isFirst = isFirst && j >= i;
      same.push_back(&contrasts[j]);
    }
    isFirst = isFirst && IsShown(contrasts[i].scale, contrasts[i].level, fit);
    if (isFirst) sections.push_back(ContrastSection(same, fit, detail));
  }
  for (const MeanTable& table : fit.means->tables) {
    if (IsShown(table.scale, table.level, fit)) {
      sections.push_back(TableSection(table, fit, detail));
    }
  }
  sections.push_back({kPart, "", {GridText(fit.means->grid)}});
  return sections;
}

}  // namespace qvhost
