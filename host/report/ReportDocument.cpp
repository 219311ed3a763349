#include "host/report/ReportDocument.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/report/HeadingLines.h"
#include "host/report/ReportTables.h"
#include "host/report/TextTable.h"
#include "host/table/MissingStrings.h"

namespace qvhost {

namespace {

using Lines = std::vector<std::pair<std::string, std::string>>;

constexpr std::size_t kMostColumns = 6;

/// The columns with missing values: ` (g 40, x 60)`; they are counted in all rows, held out or not.
std::string MissingColumns(const RecordUse& records) {
  const std::vector<ColumnMissing>& columns = records.missingByColumn;
  std::string text;
  for (std::size_t i = 0; i < std::min(columns.size(), kMostColumns); ++i) {
    const char* const begin = records.heldOut > 0 ? " (of all rows " : " (";
    text += fmt::format("{}{}{}{}", i == 0 ? begin : ", ", Printable(columns[i].name),
                        HeadingLines::kNoBreak, CountText(columns[i].count));
  }
  if (columns.size() > kMostColumns) {
    text += fmt::format(", {} more columns", columns.size() - kMostColumns);
  }
  return text.empty() ? text : text + ")";
}

/// A line for each: `3 values 'NA' in x read as missing`.
/// Those that may be values come first: NA is hardly one.
void AddMissingStrings(Lines& lines, std::vector<StringMissing> strings) {
  std::stable_partition(strings.begin(), strings.end(),
                        [](const StringMissing& string) { return MayBeLevel(string.text); });
  for (std::size_t i = 0; i < std::min(strings.size(), kMostColumns); ++i) {
    const StringMissing& string = strings[i];
    lines.emplace_back("", fmt::format("{} value{} '{}' in {} read as missing",
                                       CountText(string.count), string.count == 1 ? "" : "s",
                                       Printable(string.text), Printable(string.column)));
  }
  if (strings.size() > kMostColumns) {
    lines.emplace_back("", fmt::format("{} more such strings", strings.size() - kMostColumns));
  }
}

void AddRecords(Lines& lines, const RecordUse& records) {
  lines.emplace_back(
      "Records", fmt::format("{} read, {} used", CountText(records.read), CountText(records.used)));
  if (records.missing > 0) {
    lines.emplace_back("", fmt::format("{} left out for a missing value{}",
                                       CountText(records.missing), MissingColumns(records)));
  }
  if (records.heldOut > 0) {
    lines.emplace_back("", fmt::format("{} held out for validation", CountText(records.heldOut)));
  }
  AddMissingStrings(lines, records.missingStrings);
  if (records.badWeight > 0) {
    lines.emplace_back("", fmt::format("{} left out for a weight that is missing or not above 0",
                                       CountText(records.badWeight)));
  }
}

/// From what the standard errors are computed, where it is not the model.
std::string CovarianceText(const CovarianceResult& covariance) {
  if (!covariance.clusters) return fmt::format("robust, {}", CovarianceName(covariance.kind));
  return fmt::format("robust, {} clusters of {}", CountText(*covariance.clusters),
                     Printable(covariance.column));
}

/// A file with a row for each row of the data, if there is one.
void AddTable(Lines& lines, std::string_view name, const std::string& file, long long rows) {
  if (file.empty()) return;
  lines.emplace_back(
      name, fmt::format("{}, {} row{}", Printable(file), CountText(rows), rows == 1 ? "" : "s"));
}

std::string Title(const FitResult& fit) {
  if (!fit.logistic) return "Linear model";
  return fit.logistic->levels.size() == 2 ? "Binary logistic model" : "Multinomial logistic model";
}

Lines HeadingOf(const FitResult& fit) {
  Lines lines;
  lines.emplace_back("Formula", Printable(fit.formula));
  lines.emplace_back("Data", Printable(fit.data));
  if (!fit.where.empty()) {
    lines.emplace_back(
        "Where", fmt::format("{} ({} row{} left out)", Printable(fit.where),
                             CountText(fit.records.leftOut), fit.records.leftOut == 1 ? "" : "s"));
  }
  lines.emplace_back("Dependent", Printable(fit.dependent));
  std::string weights;
  if (!fit.freqWeight.empty()) weights = "frequency " + Printable(fit.freqWeight);
  if (!fit.regressionWeight.empty()) {
    weights +=
        (weights.empty() ? "regression " : ", regression ") + Printable(fit.regressionWeight);
  }
  if (!weights.empty()) lines.emplace_back("Weights", weights);
  AddRecords(lines, fit.records);
  if (fit.covariance.kind != CovarianceKind::kModel) {
    lines.emplace_back("Std. errors", CovarianceText(fit.covariance));
  }
  AddTable(lines, "Predictions", fit.predictions, fit.rowsPredicted);
  AddTable(lines, "Diagnostics", fit.diagnostics, fit.rowsDiagnosed);
  if (!fit.covarianceFile.empty()) lines.emplace_back("Covariance", Printable(fit.covarianceFile));
  return lines;
}

/// How well a linear model fits.
std::vector<ReportBlock> QualitySentences(const FitResult& fit, const ReportDetail& detail) {
  constexpr int kDigits = 6;
  constexpr int kDegreesDigits = 12;
  constexpr int kLogLikelihoodDigits = 10;
  const auto number = [&](const std::optional<double>& value) {
    return NumberText(value, detail.DigitsOf(kDigits));
  };
  const std::string df = NumberText(fit.degreesOfFreedom, kDegreesDigits);
  const std::string error = fit.residualStdError
                                ? "Residual standard error " + number(fit.residualStdError)
                                : "No residual standard error";
  const std::string imposed =
      fit.residualStdError && fit.imposedDegreesOfFreedom ? " (imposed)" : "";
  const bool hasIntercept = !fit.parameters.empty() && fit.parameters.front().IsIntercept();
  const LinearQuality& quality = fit.quality;
  std::vector<ReportBlock> sentences;
  sentences.emplace_back(
      fmt::format("R square {}{}, root mean square error {}", number(fit.rSquare),
                  hasIntercept ? "" : " (about 0: no intercept)", number(fit.rmse)));
  sentences.emplace_back(fmt::format("{} on {} degree{} of freedom{}", error, df,
                                     fit.degreesOfFreedom == 1.0 ? "" : "s", imposed));
  std::string more;
  if (quality.adjustedRSquare) more = "Adjusted R square " + number(quality.adjustedRSquare);
  if (quality.fP) {
    more += fmt::format("{}F {} on {} and {} degrees of freedom, p {}", more.empty() ? "" : ", ",
                        StatisticText(quality.fStatistic), quality.fDegrees, df,
                        ProbabilityText(quality.fP));
  }
  if (!more.empty()) sentences.emplace_back(more);
  if (quality.logLikelihood) {
    sentences.emplace_back(
        fmt::format("Log-likelihood {}, AIC {}, BIC {}",
                    NumberText(quality.logLikelihood, detail.DigitsOf(kLogLikelihoodDigits)),
                    number(quality.aic), number(quality.bic)));
  }
  return sentences;
}

/// What "redundant" in the table means; empty when there is none.
std::string RedundantNote(const FitResult& fit) {
  const auto redundant = [](const ParameterResult& p) { return p.redundant && !p.nonFinite; };
  const auto factor = [&](const ParameterResult& p) { return redundant(p) && !p.levels.empty(); };
  const auto count = std::ranges::count_if(fit.parameters, redundant);
  if (count == 0) return {};
  std::string note = fmt::format(
      "{} of {} parameters {} redundant and set to 0, because {} on the "
      "columns before.",
      count, fit.parameters.size(), count == 1 ? "is" : "are",
      count == 1 ? "its column depends" : "their columns depend");
  if (std::ranges::any_of(fit.parameters, factor)) {
    note += " The other levels of a factor are compared with its redundant ones.";
  }
  return note;
}

void Append(ReportSections& sections, ReportSections more) {
  std::ranges::move(more, std::back_inserter(sections));
}

}  // namespace

ReportDocument MakeReportDocument(const FitResult& fit, const ReportDetail& detail) {
  ReportDocument document;
  document.title = Title(fit);
  document.lines = HeadingOf(fit);
  ReportSections& sections = document.sections;
  if (!fit.logistic) {
    sections.push_back(
        {"Parameters", "", {ParameterTable(fit.parameters, fit.kind, fit.confidence, detail)}});
    sections.push_back({"Fit", "", QualitySentences(fit, detail)});
  } else {
    Append(sections, LevelSections(fit, detail));
    Append(sections, LevelParameterSections(fit, detail));
    Append(sections, LikelihoodSections(fit, detail));
    Append(sections, ClassificationSections(fit, detail));
  }
  Append(sections, EffectSections(fit, detail));
  Append(sections, CollinearitySections(fit, detail));
  Append(sections, MeansSections(fit, detail));
  if (fit.margins && !fit.margins->empty()) Append(sections, MarginSections(fit, detail));
  if (fit.influential) Append(sections, InfluentialSections(fit));
  if (fit.validation) Append(sections, ValidationSections(fit, detail));
  if (std::string note = RedundantNote(fit); !note.empty()) {
    document.remarks.push_back(std::move(note));
  }
  for (const std::string& warning : fit.warnings) document.warnings.push_back(Printable(warning));
  return document;
}

}  // namespace qvhost
