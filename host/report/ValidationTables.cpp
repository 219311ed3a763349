#include <algorithm>
#include <array>
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

constexpr int kDigits = 6;
constexpr int kWeightDigits = 12;

/// A number of a score, as the table of folds calls it.
struct Named {
  const char* name;
  std::optional<double> ValidationScore::*number;
};

constexpr std::array<Named, 3> kLinear = {
    {{"R square", &ValidationScore::rSquare},
     {"RMSE", &ValidationScore::rmse},
     {"Mean abs. error", &ValidationScore::meanAbsoluteError}}};
constexpr std::array<Named, 4> kLogistic = {{{"Log-loss", &ValidationScore::logLoss},
                                             {"Brier", &ValidationScore::brier},
                                             {"Accuracy", &ValidationScore::accuracy},
                                             {"AUC", &ValidationScore::auc}}};

std::vector<Named> NumbersOf(ModelKind kind) {
  if (kind == ModelKind::kLinear) return {kLinear.begin(), kLinear.end()};
  return {kLogistic.begin(), kLogistic.end()};
}

std::string Title(const ValidationResult& validation) {
  const ValidationOptions& options = validation.options;
  const std::string held = CountText(validation.use.heldOut);
  switch (options.kind) {
    case ValidationKind::kSplit:
      return fmt::format("Validation: records held out by {}", Printable(options.column));
    case ValidationKind::kHoldout:
      return fmt::format("Validation: {} rows held out, seed {}", held, options.seed);
    default:
      return fmt::format("Validation: {} folds, seed {}", options.folds, options.seed);
  }
}

/// Which records were fitted and which were scored.
std::string UseText(const ValidationResult& validation) {
  const HeldOutUse& use = validation.use;
  std::string text =
      validation.options.kind == ValidationKind::kFolds
          ? fmt::format(
                "The model above is that of all records; each fold is predicted by a fit of "
                "the others, of {} records or more.",
                CountText(validation.training))
          : fmt::format("The model above is that of the {} records not held out.",
                        CountText(validation.training));
  text +=
      fmt::format(" {} of {} scored", CountText(validation.score.records), CountText(use.heldOut));
  if (use.missing > 0) text += fmt::format(", {} with a missing value", CountText(use.missing));
  if (use.badWeight > 0) text += fmt::format(", {} with a bad weight", CountText(use.badWeight));
  long long without = use.unscorable;
  for (const HeldOutUse::UnknownCategory& unknown : use.unknownCategories) {
    without += unknown.records;
  }
  if (without > 0) text += fmt::format(", {} with levels not fitted", CountText(without));
  return text + ".";
}

std::string ScoreText(const FitResult& fit, const ReportDetail& detail) {
  const ValidationScore& score = fit.validation->score;
  const auto number = [&](const std::optional<double>& value) {
    return NumberText(value, detail.DigitsOf(kDigits));
  };
  if (fit.kind == ModelKind::kLinear) {
    const bool hasIntercept = !fit.parameters.empty() && fit.parameters.front().IsIntercept();
    return fmt::format("R square {}{}, root mean square error {}, mean absolute error {}",
                       number(score.rSquare), hasIntercept ? "" : " (about 0: no intercept)",
                       number(score.rmse), number(score.meanAbsoluteError));
  }
  const std::string area = fit.validation->levels.size() == 2
                               ? fmt::format("AUC {}", number(score.auc))
                               : fmt::format("AUC {} (Hand and Till; weighted by levels {})",
                                             number(score.auc), number(score.aucWeighted));
  return fmt::format("Log-loss {}, Brier score {}, accuracy {}, {}", number(score.logLoss),
                     number(score.brier), number(score.accuracy), area);
}

ReportTable FoldTable(const FitResult& fit, const ReportDetail& detail) {
  const ValidationResult& validation = *fit.validation;
  const std::vector<Named> numbers = NumbersOf(fit.kind);
  ReportTable table{"Folds", {"Fold", "Records"}};
  for (const Named& named : numbers) table.headings.emplace_back(named.name);
  const std::size_t count = validation.folds.size();
  std::vector<std::vector<std::string>> columns;
  for (const Named& named : numbers) {
    std::vector<std::optional<double>> values;
    for (const FoldScore& fold : validation.folds) values.push_back(fold.score.*named.number);
    values.push_back((*validation.mean).*named.number);
    std::vector<std::string> texts = ColumnText(values, detail.digits.value_or(4));
    const std::optional<double>& deviation = (*validation.standardDeviation).*named.number;
    texts.push_back(deviation ? NumberText(deviation, detail.digits.value_or(4)) : "");
    columns.push_back(std::move(texts));
  }
  const auto add = [&](const std::string& name, const std::string& records, std::size_t row) {
    std::vector<std::string> cells = {name, records};
    for (const std::vector<std::string>& column : columns) cells.push_back(column[row]);
    table.rows.push_back(std::move(cells));
  };
  const Shown shown(count, detail.rows);
  table.Omit(shown, "folds");
  for (std::size_t i = 0; i < count; ++i) {
    if (!shown.Contains(i)) continue;
    add(fmt::format("{}", i + 1), CountText(validation.folds[i].score.records), i);
  }
  add("Mean", "", count);
  add("Std. deviation", "", count + 1);
  table.totals = 2;
  return table;
}

/// The levels of the dependent, each with what tells it from the others and what was predicted.
ReportTable LevelRows(const FitResult& fit, const ReportDetail& detail) {
  constexpr std::size_t kMostColumns = 6;
  const ValidationResult& validation = *fit.validation;
  const std::size_t size = validation.levels.size();
  const bool showsAll = size <= kMostColumns;
  const auto text = [](const ValidationLevel& level) {
    return level.level.empty() ? "''" : Printable(level.level);
  };
  ReportTable table{"Levels of the records held out: rows observed, columns predicted",
                    {"Observed", "Weight", "AUC"}};
  std::vector<std::string>& headings = table.headings;
  if (showsAll) {
    for (const ValidationLevel& level : validation.levels) headings.push_back(text(level));
  }
  headings.emplace_back("Correct");
  for (std::size_t column = 1; column < headings.size(); ++column) table.groups.push_back(column);
  const Shown shown(size, detail.rows);
  table.Omit(shown, "levels");
  for (std::size_t i = 0; i < size; ++i) {
    if (!shown.Contains(i)) continue;
    const ValidationLevel& level = validation.levels[i];
    std::vector<std::string> row = {text(level), NumberText(level.weight, kWeightDigits),
                                    level.auc ? NumberText(level.auc, 4) : ""};
    for (std::size_t j = 0; showsAll && j < size; ++j) {
      row.push_back(NumberText(validation.classification[i][j], kWeightDigits));
    }
    row.push_back(
        level.weight > 0.0
            ? fmt::format("{:.1f}%", 100.0 * validation.classification[i][i] / level.weight)
            : "");
    table.rows.push_back(std::move(row));
  }
  return table;
}

ReportTable CalibrationTable(const FitResult& fit, const ReportDetail& detail) {
  const std::vector<CalibrationGroup>& groups = fit.validation->calibration;
  ReportTable table{"Calibration of the records held out",
                    {"Calibration", "Tenth", "Weight", "Mean predicted", "Observed"}};
  const Shown shown(groups.size(), detail.rows);
  table.Omit(shown, "tenths");
  for (std::size_t i = 0; i < groups.size(); ++i) {
    if (!shown.Contains(i)) continue;
    const CalibrationGroup& group = groups[i];
    table.rows.push_back({group.level.empty() ? "''" : Printable(group.level),
                          fmt::format("{}", group.group), NumberText(group.weight, kWeightDigits),
                          fmt::format("{:.4f}", group.meanPredicted),
                          fmt::format("{:.4f}", group.observed)});
  }
  return table;
}

}  // namespace

ReportSections ValidationSections(const FitResult& fit, const ReportDetail& detail) {
  const ValidationResult& validation = *fit.validation;
  ReportSection section{"Validation", Title(validation)};
  section.blocks.emplace_back(UseText(validation));
  section.blocks.emplace_back(ScoreText(fit, detail));
  if (!validation.folds.empty()) section.blocks.emplace_back(FoldTable(fit, detail));
  if (fit.kind == ModelKind::kLinear) return {section};
  section.blocks.emplace_back(LevelRows(fit, detail));
  if (!validation.calibration.empty()) section.blocks.emplace_back(CalibrationTable(fit, detail));
  return {section};
}

}  // namespace qvhost
