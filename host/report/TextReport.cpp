#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/TextLayout.h"
#include "host/report/HeadingLines.h"
#include "host/report/Report.h"
#include "host/report/ReportTables.h"
#include "host/report/TextTable.h"
#include "host/table/MissingStrings.h"

namespace qvhost {

namespace {

constexpr std::size_t kMostColumns = 6;
constexpr std::size_t kIndent = 2;

/// The columns with missing values: ` (g 40, x 60)`.
std::string MissingColumns(const std::vector<ColumnMissing>& columns) {
  std::string text;
  for (std::size_t i = 0; i < std::min(columns.size(), kMostColumns); ++i) {
    text += fmt::format("{}{}{}{}", i == 0 ? " (" : ", ", Printable(columns[i].name),
                        HeadingLines::kNoBreak, CountText(columns[i].count));
  }
  if (columns.size() > kMostColumns) {
    text += fmt::format(", {} more columns", columns.size() - kMostColumns);
  }
  return text.empty() ? text : text + ")";
}

/// A line for each: `3 values 'NA' in x read as missing`.
/// Those that may be values come first: NA is hardly one.
void AddMissingStrings(HeadingLines& lines, std::vector<StringMissing> strings) {
  std::stable_partition(strings.begin(), strings.end(),
                        [](const StringMissing& string) { return MayBeLevel(string.text); });
  for (std::size_t i = 0; i < std::min(strings.size(), kMostColumns); ++i) {
    const StringMissing& string = strings[i];
    lines.Add("", fmt::format("{} value{} '{}' in {} read as missing", CountText(string.count),
                              string.count == 1 ? "" : "s", Printable(string.text),
                              Printable(string.column)));
  }
  if (strings.size() > kMostColumns) {
    lines.Add("", fmt::format("{} more such strings", strings.size() - kMostColumns));
  }
}

void AddRecords(HeadingLines& lines, const RecordUse& records) {
  lines.Add("Records",
            fmt::format("{} read, {} used", CountText(records.read), CountText(records.used)));
  if (records.missing > 0) {
    lines.Add("", fmt::format("{} left out for a missing value{}", CountText(records.missing),
                              MissingColumns(records.missingByColumn)));
  }
  if (records.heldOut > 0) {
    lines.Add("", fmt::format("{} held out for validation", CountText(records.heldOut)));
  }
  AddMissingStrings(lines, records.missingStrings);
  if (records.badWeight > 0) {
    lines.Add("", fmt::format("{} left out for a weight that is missing or not above 0",
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
void AddTable(HeadingLines& lines, std::string_view name, const std::string& file, long long rows) {
  if (file.empty()) return;
  lines.Add(name,
            fmt::format("{}, {} row{}", Printable(file), CountText(rows), rows == 1 ? "" : "s"));
}

std::string Title(const FitResult& fit) {
  if (!fit.logistic) return "Linear model";
  return fit.logistic->levels.size() == 2 ? "Binary logistic model" : "Multinomial logistic model";
}

std::string Heading(const FitResult& fit, const TextStyle& style) {
  HeadingLines lines(style);
  lines.Add("Formula", Printable(fit.formula));
  lines.Add("Data", Printable(fit.data));
  if (!fit.where.empty()) {
    lines.Add("Where",
              fmt::format("{} ({} row{} left out)", Printable(fit.where),
                          CountText(fit.records.leftOut), fit.records.leftOut == 1 ? "" : "s"));
  }
  lines.Add("Dependent", Printable(fit.dependent));
  std::string weights;
  if (!fit.freqWeight.empty()) weights = "frequency " + Printable(fit.freqWeight);
  if (!fit.regressionWeight.empty()) {
    weights +=
        (weights.empty() ? "regression " : ", regression ") + Printable(fit.regressionWeight);
  }
  if (!weights.empty()) lines.Add("Weights", weights);
  AddRecords(lines, fit.records);
  if (fit.covariance.kind != CovarianceKind::kModel) {
    lines.Add("Std. errors", CovarianceText(fit.covariance));
  }
  AddTable(lines, "Predictions", fit.predictions, fit.rowsPredicted);
  AddTable(lines, "Diagnostics", fit.diagnostics, fit.rowsDiagnosed);
  if (!fit.covarianceFile.empty()) lines.Add("Covariance", Printable(fit.covarianceFile));
  return style.Heading(Title(fit)) + "\n\n" + lines.Text();
}

std::string FitText(const FitResult& fit, const TextStyle& style) {
  constexpr int kDigits = 6;
  constexpr int kDegreesDigits = 12;
  const auto number = [&](const std::optional<double>& value) {
    return NumberText(value, style.DigitsOf(kDigits));
  };
  const std::string df = NumberText(fit.degreesOfFreedom, kDegreesDigits);
  const std::string error = fit.residualStdError
                                ? "Residual standard error " + number(fit.residualStdError)
                                : "No residual standard error";
  const std::string imposed =
      fit.residualStdError && fit.imposedDegreesOfFreedom ? " (imposed)" : "";
  const bool hasIntercept = !fit.parameters.empty() && fit.parameters.front().IsIntercept();
  const LinearQuality& quality = fit.quality;
  std::string more;
  if (quality.adjustedRSquare) more = "Adjusted R square " + number(quality.adjustedRSquare);
  if (quality.fP) {
    more += fmt::format("{}F {} on {} and {} degrees of freedom, p {}", more.empty() ? "" : ", ",
                        StatisticText(quality.fStatistic), quality.fDegrees, df,
                        ProbabilityText(quality.fP));
  }
  if (!more.empty()) more = Wrap(more, style.width, 0, kIndent) + "\n";
  if (quality.logLikelihood) {
    constexpr int kLogLikelihoodDigits = 10;
    more +=
        Wrap(fmt::format("Log-likelihood {}, AIC {}, BIC {}",
                         NumberText(quality.logLikelihood, style.DigitsOf(kLogLikelihoodDigits)),
                         number(quality.aic), number(quality.bic)),
             style.width, 0, kIndent) +
        "\n";
  }
  return Wrap(fmt::format("R square {}{}, root mean square error {}", number(fit.rSquare),
                          hasIntercept ? "" : " (about 0: no intercept)", number(fit.rmse)),
              style.width, 0, kIndent) +
         "\n" +
         Wrap(fmt::format("{} on {} degree{} of freedom{}", error, df,
                          fit.degreesOfFreedom == 1.0 ? "" : "s", imposed),
              style.width, 0, kIndent) +
         "\n" + more;
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

std::string Notes(const FitResult& fit, const TextStyle& style) {
  std::string notes;
  if (const std::string redundant = RedundantNote(fit); !redundant.empty()) {
    notes += NoteText(redundant, style) + "\n";
  }
  for (const std::string& warning : fit.warnings) {
    notes += style.Warning(NoteText(Printable(warning), style)) + "\n";
  }
  return notes.empty() ? notes : "\n" + style.Heading("Notes") + "\n" + notes;
}

}  // namespace

std::string TextReport(const FitResult& fit, const TextStyle& style) {
  std::string text = Heading(fit, style) + "\n";
  if (!fit.logistic) {
    text += ParameterTable(fit.parameters, fit.kind, fit.confidence, style) + "\n" +
            FitText(fit, style);
  } else {
    text += LevelTable(fit, style) + "\n" + LevelParameters(fit, style) + "\n" +
            LikelihoodText(fit, style) + "\n" + ClassificationText(fit, style);
  }
  for (const std::string& part :
       {EffectTable(fit, style), CollinearityText(fit, style), MeansText(fit, style)}) {
    if (!part.empty()) text += "\n" + part;
  }
  if (fit.margins && !fit.margins->empty()) text += "\n" + MarginTables(fit, style);
  if (fit.influential) text += "\n" + InfluentialTable(fit, style);
  if (fit.validation) text += "\n" + ValidationText(fit, style);
  return text + Notes(fit, style);
}

}  // namespace qvhost
