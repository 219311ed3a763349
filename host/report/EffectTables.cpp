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
constexpr int kDegreesDigits = 12;

/// A number in a format of its own; empty where it does not exist.
std::string Own(const std::optional<double>& value, int digits) {
  return value ? NumberText(value, digits) : "";
}

std::string EffectHeading(const FitResult& fit) {
  constexpr std::array<const char*, 3> kMeanings = {"each term after those before it",
                                                    "each term after all that do not contain it",
                                                    "each term after all others"};
  const auto type = static_cast<std::size_t>(fit.effects->type);
  return fmt::format("Tests of effects, type {}: {}", type, kMeanings.at(type - 1));
}

}  // namespace

ReportSections EffectSections(const FitResult& fit, const ReportDetail& detail) {
  if (!fit.effects || fit.effects->tests.empty()) return {};
  const std::vector<EffectTest>& tests = fit.effects->tests;
  const auto isSingle = [](const EffectTest& test) { return test.degrees <= 1; };
  if (!fit.effects->isAsked && std::ranges::all_of(tests, isSingle)) return {};
  const bool isLinear = fit.kind == ModelKind::kLinear;
  const int digits = detail.DigitsOf(kDigits);
  const std::string title = EffectHeading(fit);
  ReportTable table{title, {"Term", "df"}};
  std::vector<std::string>& headings = table.headings;
  if (isLinear) headings.emplace_back("Sum of squares");
  headings.emplace_back(isLinear ? "F" : "Chi-square");
  headings.emplace_back("p");
  const Shown shown(tests.size(), detail.rows);
  table.Omit(shown, "terms");
  for (std::size_t i = 0; i < tests.size(); ++i) {
    if (!shown.Contains(i)) continue;
    const EffectTest& test = tests[i];
    std::vector<std::string> row = {Printable(test.term), fmt::format("{}", test.degrees)};
    if (isLinear) row.push_back(Own(test.sumOfSquares, digits));
    row.push_back(StatisticText(test.statistic));
    row.push_back(ProbabilityText(test.pValue));
    table.rows.push_back(std::move(row));
  }
  if (isLinear) {
    std::optional<double> residual;
    if (fit.residualStdError) {
      residual = Finite(*fit.residualStdError * *fit.residualStdError * fit.degreesOfFreedom);
    }
    table.rows.push_back({"Residuals", NumberText(fit.degreesOfFreedom, kDegreesDigits),
                          Own(residual, digits), "", ""});
    table.totals = 1;
  }
  return {{"Tests of effects", title, {std::move(table)}}};
}

ReportSections CollinearitySections(const FitResult& fit, const ReportDetail& detail) {
  if (!fit.collinearity) return {};
  const int digits = detail.DigitsOf(kDigits);
  const std::string title = "Inflation of variances";
  ReportTable table{title, {"Term", "df", "GVIF", "GVIF^(1/(2 df))"}};
  const std::vector<TermInflation>& terms = fit.collinearity->terms;
  const Shown shown(terms.size(), detail.rows);
  table.Omit(shown, "terms");
  for (std::size_t i = 0; i < terms.size(); ++i) {
    if (!shown.Contains(i)) continue;
    const TermInflation& term = terms[i];
    table.rows.push_back({Printable(term.term), fmt::format("{}", term.degrees),
                          Own(term.factor, digits), Own(term.errorPerParameter, digits)});
  }
  return {{"Collinearity",
           title,
           {std::move(table), fmt::format("Condition number {}",
                                          NumberText(fit.collinearity->conditionNumber, digits))}}};
}

}  // namespace qvhost
