#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/TextLayout.h"
#include "host/report/ReportTables.h"
#include "host/report/ShownRows.h"
#include "host/report/TextTable.h"

namespace qvhost {
namespace {

constexpr int kDigits = 6;
constexpr int kWeightDigits = 12;
constexpr std::size_t kIndent = 2;

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

std::string ScoreText(const FitResult& fit, const TextStyle& style) {
  const ValidationScore& score = fit.validation->score;
  const auto number = [&](const std::optional<double>& value) {
    return NumberText(value, style.DigitsOf(kDigits));
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

std::string FoldTable(const FitResult& fit, const TextStyle& style) {
  const ValidationResult& validation = *fit.validation;
  if (validation.folds.empty()) return {};
  const std::vector<Named> numbers = NumbersOf(fit.kind);
  std::vector<std::string> headings = {"Fold", "Records"};
  for (const Named& named : numbers) headings.emplace_back(named.name);
  const std::size_t count = validation.folds.size();
  std::vector<std::vector<std::string>> columns;
  for (const Named& named : numbers) {
    std::vector<std::optional<double>> values;
    for (const FoldScore& fold : validation.folds) values.push_back(fold.score.*named.number);
    values.push_back((*validation.mean).*named.number);
    std::vector<std::string> texts = ColumnText(values, style.digits.value_or(4));
    const std::optional<double>& deviation = (*validation.standardDeviation).*named.number;
    texts.push_back(deviation ? NumberText(deviation, style.digits.value_or(4)) : "");
    columns.push_back(std::move(texts));
  }
  TextTable table(headings);
  const auto add = [&](const std::string& name, const std::string& records, std::size_t row) {
    std::vector<std::string> cells = {name, records};
    for (const std::vector<std::string>& column : columns) cells.push_back(column[row]);
    table.AddRow(std::move(cells));
  };
  const Shown shown(count, kShownRows, style);
  for (std::size_t i = 0; i < count; ++i) {
    if (!shown.Contains(i)) continue;
    if (shown.HasNoteBefore(i)) table.AddLine(shown.Note("folds"));
    add(fmt::format("{}", i + 1), CountText(validation.folds[i].score.records), i);
  }
  add("Mean", "", count);
  add("Std. deviation", "", count + 1);
  return table.Render(style);
}

/// The levels of the dependent, each with what tells it from the others and what was predicted.
std::string LevelRows(const FitResult& fit, const TextStyle& style) {
  constexpr std::size_t kMostColumns = 6;
  const ValidationResult& validation = *fit.validation;
  const std::size_t size = validation.levels.size();
  const bool showsAll = size <= kMostColumns;
  const auto text = [](const ValidationLevel& level) {
    return level.level.empty() ? "''" : Printable(level.level);
  };
  std::vector<std::string> headings = {"Observed", "Weight", "AUC"};
  if (showsAll) {
    for (const ValidationLevel& level : validation.levels) headings.push_back(text(level));
  }
  headings.emplace_back("Correct");
  TextTable table(headings);
  for (std::size_t column = 1; column < headings.size(); ++column) table.StartGroup(column);
  const Shown shown(size, kShownRows, style);
  for (std::size_t i = 0; i < size; ++i) {
    if (!shown.Contains(i)) continue;
    if (shown.HasNoteBefore(i)) table.AddLine(shown.Note("levels"));
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
    table.AddRow(std::move(row));
  }
  return table.Render(style);
}

std::string CalibrationTable(const FitResult& fit, const TextStyle& style) {
  const std::vector<CalibrationGroup>& groups = fit.validation->calibration;
  if (groups.empty()) return {};
  TextTable table({"Calibration", "Tenth", "Weight", "Mean predicted", "Observed"});
  const Shown shown(groups.size(), kShownRows, style);
  for (std::size_t i = 0; i < groups.size(); ++i) {
    if (!shown.Contains(i)) continue;
    if (shown.HasNoteBefore(i)) table.AddLine(shown.Note("tenths"));
    const CalibrationGroup& group = groups[i];
    table.AddRow({group.level.empty() ? "''" : Printable(group.level),
                  fmt::format("{}", group.group), NumberText(group.weight, kWeightDigits),
                  fmt::format("{:.4f}", group.meanPredicted),
                  fmt::format("{:.4f}", group.observed)});
  }
  return "\n" + table.Render(style);
}

}  // namespace

std::string ValidationText(const FitResult& fit, const TextStyle& style) {
  const ValidationResult& validation = *fit.validation;
  std::string text = style.Heading(Wrap(Title(validation), style.width, 0, kIndent)) + "\n\n";
  text += Wrap(UseText(validation), style.width, 0, kIndent) + "\n";
  text += Wrap(ScoreText(fit, style), style.width, 0, kIndent) + "\n";
  if (const std::string folds = FoldTable(fit, style); !folds.empty()) text += "\n" + folds;
  if (fit.kind == ModelKind::kLinear) return text;
  return text + "\n" + LevelRows(fit, style) + CalibrationTable(fit, style);
}

}  // namespace qvhost
