#include "host/report/CompareReport.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/TextLayout.h"
#include "host/report/HeadingLines.h"
#include "host/report/ShownRows.h"
#include "host/report/TextTable.h"

namespace qvhost {

namespace {

using Json = nlohmann::ordered_json;

constexpr int kDigits = 6;
constexpr int kLikelihoodDigits = 10;
constexpr int kDegreesDigits = 12;

/// A parameter of any of the fits, and where each of them has it; null where it has not.
struct ComparedParameter {
  std::string category;
  std::string label;
  std::vector<const SavedParameter*> of;
};

/// The parameters of all fits: those of the first in their order, each of another fit behind the
/// one that stands before it there.
std::vector<ComparedParameter> ParametersOf(const FitComparison& comparison) {
  const std::vector<SavedFit>& fits = comparison.fits;
  std::vector<ComparedParameter> rows;
  for (std::size_t i = 0; i < fits.size(); ++i) {
    std::map<std::pair<std::string, std::string>, std::size_t> places;
    for (std::size_t k = 0; k < rows.size(); ++k) {
      places.emplace(std::pair(rows[k].category, rows[k].label), k);
    }
    // What comes behind each row, so that all are put in at once.
    std::vector<std::vector<ComparedParameter>> behind(rows.size() + 1);
    std::size_t last = 0;
    for (const SavedParameter& parameter : fits[i].parameters) {
      const auto found = places.find({parameter.category, parameter.label});
      if (found != places.end()) {
        rows[found->second].of[i] = &parameter;
        last = found->second + 1;
        continue;
      }
      ComparedParameter row{parameter.category, parameter.label,
                            std::vector<const SavedParameter*>(fits.size(), nullptr)};
      row.of[i] = &parameter;
      behind[last].push_back(std::move(row));
    }
    std::vector<ComparedParameter> all = std::move(behind.front());
    for (std::size_t k = 0; k < rows.size(); ++k) {
      all.push_back(std::move(rows[k]));
      for (ComparedParameter& row : behind[k + 1]) all.push_back(std::move(row));
    }
    rows = std::move(all);
  }
  return rows;
}

/// The categories of a logistic model, each once; one empty text of a linear one.
std::vector<std::string> CategoriesOf(const std::vector<ComparedParameter>& rows) {
  std::vector<std::string> categories;
  for (const ComparedParameter& row : rows) {
    if (std::ranges::find(categories, row.category) == categories.end()) {
      categories.push_back(row.category);
    }
  }
  return categories;
}

/// Two columns of a fit: estimates and their errors.
void AddColumns(const std::vector<const ComparedParameter*>& rows, std::size_t fit,
                const TextStyle& style, std::vector<std::vector<std::string>>& cells) {
  constexpr int kUsual = 5;
  std::vector<std::optional<double>> estimates;
  std::vector<std::optional<double>> errors;
  for (const ComparedParameter* row : rows) {
    const SavedParameter* const parameter = row->of[fit];
    const bool isFitted = parameter != nullptr && !parameter->redundant;
    estimates.push_back(isFitted ? std::optional(parameter->estimate) : std::nullopt);
    errors.push_back(isFitted ? parameter->stdError : std::nullopt);
  }
  const std::vector<std::string> estimateTexts =
      ColumnText(estimates, style.digits.value_or(kUsual));
  const std::vector<std::string> errorTexts = ColumnText(errors, style.digits.value_or(kUsual));
  for (std::size_t k = 0; k < rows.size(); ++k) {
    const SavedParameter* const parameter = rows[k]->of[fit];
    const bool isRedundant = parameter != nullptr && parameter->redundant;
    cells[k].push_back(isRedundant ? "0" : estimateTexts[k]);
    cells[k].push_back(isRedundant ? "redundant" : errorTexts[k]);
  }
}

std::string ParameterTable(const std::vector<const ComparedParameter*>& rows, std::size_t fits,
                           const TextStyle& style) {
  std::vector<std::string> headings = {"Parameter"};
  std::vector<std::vector<std::string>> cells;
  cells.reserve(rows.size());
  for (const ComparedParameter* row : rows) cells.push_back({Printable(row->label)});
  for (std::size_t fit = 0; fit < fits; ++fit) {
    headings.push_back(fmt::format("({})", fit + 1));
    headings.emplace_back("Std. error");
    AddColumns(rows, fit, style, cells);
  }
  TextTable table(headings);
  for (std::size_t fit = 1; fit < fits; ++fit) table.StartGroup(1 + 2 * fit);
  const Shown shown = ShownRows(rows.size(), style.all);
  for (std::size_t k = 0; k < rows.size(); ++k) {
    if (!shown.Contains(k)) continue;
    if (shown.HasNoteBefore(k)) table.AddLine(shown.Note("parameters"));
    table.AddRow(std::move(cells[k]));
  }
  return table.Render(style);
}

std::string Parameters(const FitComparison& comparison, const TextStyle& style) {
  const std::vector<ComparedParameter> rows = ParametersOf(comparison);
  std::string text;
  for (const std::string& category : CategoriesOf(rows)) {
    std::vector<const ComparedParameter*> own;
    for (const ComparedParameter& row : rows) {
      if (row.category == category) own.push_back(&row);
    }
    if (comparison.fits.front().isLogistic) {
      text +=
          style.Heading(Wrap(fmt::format("{} = {}", Printable(comparison.fits.front().dependent),
                                         Printable(category)),
                             style.width, 0, 2)) +
          "\n\n";
    }
    text += ParameterTable(own, comparison.fits.size(), style) + "\n";
  }
  return text;
}

/// What a statistic is called, by its key.
struct StatisticTitle {
  std::string_view key;
  std::string_view title;
};

constexpr auto kTitles = std::to_array<StatisticTitle>({
    {"r_square", "R square"},
    {"adjusted_r_square", "Adjusted R square"},
    {"residual_std_error", "Residual std. error"},
    {"log_likelihood", "Log-likelihood"},
    {"loglik", "Log-likelihood"},
    {"mcfadden", "McFadden"},
    {"cox_snell", "Cox and Snell"},
    {"nagelkerke", "Nagelkerke"},
    {"aic", "AIC"},
    {"bic", "BIC"},
});

std::string Title(const std::string& key) {
  const auto* const found = std::ranges::find(kTitles, key, &StatisticTitle::key);
  return std::string(found == kTitles.end() ? std::string_view(key) : found->title);
}

std::string StatisticTable(const FitComparison& comparison, const TextStyle& style) {
  const std::vector<SavedFit>& fits = comparison.fits;
  std::vector<std::string> headings = {"Fit"};
  for (std::size_t i = 0; i < fits.size(); ++i) headings.push_back(fmt::format("({})", i + 1));
  TextTable table(headings);
  const auto add = [&](const std::string& title, const auto& text) {
    std::vector<std::string> row = {title};
    for (const SavedFit& fit : fits) row.push_back(text(fit));
    table.AddRow(std::move(row));
  };
  add("Records used", [](const SavedFit& fit) { return CountText(fit.used); });
  add("Parameters", [](const SavedFit& fit) { return CountText(fit.Kept()); });
  add("Degrees of freedom",
      [](const SavedFit& fit) { return NumberText(fit.degreesOfFreedom, kDegreesDigits); });
  for (const SavedStatistic& statistic : fits.front().statistics) {
    const std::string& key = statistic.key;
    const bool isLikelihood = key == "loglik" || key == "log_likelihood";
    const int digits = style.DigitsOf(isLikelihood ? kLikelihoodDigits : kDigits);
    add(Title(key), [&](const SavedFit& fit) { return NumberText(fit.Statistic(key), digits); });
  }
  const auto isRobust = [](const SavedFit& fit) { return fit.covariance != "model"; };
  if (std::ranges::any_of(fits, isRobust)) {
    add("Standard errors", [](const SavedFit& fit) { return fit.covariance; });
  }
  return table.Render(style);
}

std::string TestTable(const FitComparison& comparison, const TextStyle& style) {
  if (comparison.tests.empty()) return {};
  const bool isLogistic = comparison.fits.front().isLogistic;
  std::vector<std::string> headings = {"Test", "df"};
  if (!isLogistic) {
    headings.emplace_back("df resid.");
    headings.emplace_back("Sum of squares");
  }
  headings.emplace_back(isLogistic ? "Chi-square" : "F");
  headings.emplace_back("p");
  TextTable table(headings);
  for (const NestedTest& test : comparison.tests) {
    std::vector<std::string> row = {
        fmt::format("({}) against ({})", test.fit + 1, test.against + 1),
        fmt::format("{}", test.degrees)};
    if (!isLogistic) {
      row.push_back(NumberText(test.residualDegrees, kDegreesDigits));
      row.push_back(NumberText(test.sumOfSquares, style.DigitsOf(kDigits)));
    }
    row.push_back(StatisticText(test.statistic));
    row.push_back(ProbabilityText(test.pValue));
    table.AddRow(std::move(row));
  }
  return "\n" + table.Render(style);
}

template <typename Member>
bool IsShared(const std::vector<SavedFit>& fits, Member member) {
  return std::ranges::all_of(
      fits, [&](const SavedFit& fit) { return fit.*member == fits.front().*member; });
}

std::string Heading(const FitComparison& comparison, const TextStyle& style) {
  const std::vector<SavedFit>& fits = comparison.fits;
  const SavedFit& first = fits.front();
  HeadingLines lines(style);
  lines.Add("Dependent", Printable(first.dependent));
  const bool isSameData = IsShared(fits, &SavedFit::data);
  const bool isSameWhere = IsShared(fits, &SavedFit::where);
  const bool isSameReference = IsShared(fits, &SavedFit::reference);
  if (isSameData) lines.Add("Data", Printable(first.data));
  if (isSameWhere && !first.where.empty()) lines.Add("Where", Printable(first.where));
  if (isSameReference && first.isLogistic) lines.Add("Reference", Printable(first.reference));
  for (std::size_t i = 0; i < fits.size(); ++i) {
    const SavedFit& fit = fits[i];
    lines.Add(fmt::format("({})", i + 1),
              fmt::format("{}: {}", Printable(fit.file), Printable(fit.formula)));
    if (!isSameData) lines.Add("", "data " + Printable(fit.data));
    if (!isSameWhere && !fit.where.empty()) lines.Add("", "where " + Printable(fit.where));
    if (!isSameReference) lines.Add("", "reference " + Printable(fit.reference));
  }
  return lines.Text();
}

Json Number(const std::optional<double>& value) { return value ? Json(*value) : Json(nullptr); }

Json FitJson(const SavedFit& fit) {
  Json statistics = Json::object();
  for (const SavedStatistic& statistic : fit.statistics) {
    statistics[statistic.key] = Number(statistic.value);
  }
  return {{"file", fit.file},
          {"formula", fit.formula},
          {"data", fit.data},
          {"where", fit.where.empty() ? Json() : Json(fit.where)},
          {"reference", fit.isLogistic ? Json(fit.reference) : Json()},
          {"used", fit.used},
          {"digest", fit.digest},
          {"parameters", fit.Kept()},
          {"degrees_of_freedom", Number(fit.degreesOfFreedom)},
          {"covariance", fit.covariance},
          {"fit", std::move(statistics)}};
}

Json ParameterJson(const ComparedParameter& row, bool isLogistic) {
  Json fits = Json::array();
  for (const SavedParameter* parameter : row.of) {
    fits.push_back(parameter == nullptr ? Json()
                                        : Json{{"estimate", parameter->estimate},
                                               {"std_error", Number(parameter->stdError)},
                                               {"redundant", parameter->redundant}});
  }
  Json json = Json::object();
  if (isLogistic) json["category"] = row.category;
  json["label"] = row.label;
  json["fits"] = std::move(fits);
  return json;
}

}  // namespace

std::string TextReport(const FitComparison& comparison, const TextStyle& style) {
  std::string text = Heading(comparison, style) + "\n" + Parameters(comparison, style) +
                     StatisticTable(comparison, style) + TestTable(comparison, style);
  if (comparison.notes.empty()) return text;
  text += "\n" + style.Heading("Notes") + "\n";
  for (const std::string& note : comparison.notes) {
    text += style.Warning(NoteText(Printable(note), style)) + "\n";
  }
  return text;
}

std::string JsonReport(const FitComparison& comparison) {
  const bool isLogistic = comparison.fits.front().isLogistic;
  Json fits = Json::array();
  for (const SavedFit& fit : comparison.fits) fits.push_back(FitJson(fit));
  Json parameters = Json::array();
  for (const ComparedParameter& row : ParametersOf(comparison)) {
    parameters.push_back(ParameterJson(row, isLogistic));
  }
  Json tests = Json::array();
  for (const NestedTest& test : comparison.tests) {
    tests.push_back({{"fit", test.fit + 1},
                     {"against", test.against + 1},
                     {"df", test.degrees},
                     {"df_residual", Number(test.residualDegrees)},
                     {"statistic", Number(test.statistic)},
                     {"p_value", Number(test.pValue)},
                     {"sum_of_squares", Number(test.sumOfSquares)}});
  }
  const Json report = {{"model", isLogistic ? "logistic" : "linear"},
                       {"dependent", comparison.fits.front().dependent},
                       {"fits", std::move(fits)},
                       {"parameters", std::move(parameters)},
                       {"tests", std::move(tests)},
                       {"warnings", comparison.notes}};
  constexpr int kIndent = 2;
  return report.dump(kIndent, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace qvhost
