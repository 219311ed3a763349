#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/report/Report.h"
#include "host/report/ReportTables.h"
#include "host/report/TextTable.h"

namespace qvhost {

namespace {

constexpr std::size_t kNoteWidth = 88;
constexpr std::size_t kMostColumns = 6;

std::string Line(std::string_view name, const std::string& value) {
  return fmt::format("{:<11}{}\n", name, value);
}

/// The columns with missing values: ` (g 40, x 60)`.
std::string MissingColumns(const std::vector<ColumnMissing>& columns) {
  std::string text;
  for (std::size_t i = 0; i < std::min(columns.size(), kMostColumns); ++i) {
    text += fmt::format("{}{} {}", i == 0 ? " (" : ", ", Printable(columns[i].name),
                        CountText(columns[i].count));
  }
  if (columns.size() > kMostColumns) {
    text += fmt::format(", {} more columns", columns.size() - kMostColumns);
  }
  return text.empty() ? text : text + ")";
}

/// A line for each: `3 values 'NA' in x read as missing`.
std::string MissingStringLines(const std::vector<StringMissing>& strings) {
  std::string text;
  for (std::size_t i = 0; i < std::min(strings.size(), kMostColumns); ++i) {
    const StringMissing& string = strings[i];
    text += Line("", fmt::format("{} value{} '{}' in {} read as missing", CountText(string.count),
                                 string.count == 1 ? "" : "s", Printable(string.text),
                                 Printable(string.column)));
  }
  if (strings.size() > kMostColumns) {
    text += Line("", fmt::format("{} more such strings", strings.size() - kMostColumns));
  }
  return text;
}

std::string RecordLines(const RecordUse& records) {
  std::string text = Line(
      "Records", fmt::format("{} read, {} used", CountText(records.read), CountText(records.used)));
  if (records.missing > 0) {
    text += Line("", fmt::format("{} left out for a missing value{}", CountText(records.missing),
                                 MissingColumns(records.missingByColumn)));
  }
  text += MissingStringLines(records.missingStrings);
  if (records.badWeight > 0) {
    text += Line("", fmt::format("{} left out for a weight that is missing or not above 0",
                                 CountText(records.badWeight)));
  }
  return text;
}

std::string Title(const FitResult& fit) {
  if (!fit.logistic) return "Linear model";
  return fit.logistic->levels.size() == 2 ? "Binary logistic model" : "Multinomial logistic model";
}

std::string Heading(const FitResult& fit) {
  std::string text = Title(fit) + "\n\n";
  text += Line("Formula", Printable(fit.formula));
  text += Line("Data", Printable(fit.data));
  if (!fit.where.empty()) {
    text += Line("Where",
                 fmt::format("{} ({} row{} left out)", Printable(fit.where),
                             CountText(fit.records.leftOut), fit.records.leftOut == 1 ? "" : "s"));
  }
  text += Line("Dependent", Printable(fit.dependent));
  std::string weights;
  if (!fit.freqWeight.empty()) weights = "frequency " + Printable(fit.freqWeight);
  if (!fit.regressionWeight.empty()) {
    weights +=
        (weights.empty() ? "regression " : ", regression ") + Printable(fit.regressionWeight);
  }
  if (!weights.empty()) text += Line("Weights", weights);
  return text + RecordLines(fit.records);
}

std::string FitText(const FitResult& fit) {
  std::string text = fmt::format("R square {}, root mean square error {}\n",
                                 NumberText(fit.rSquare), NumberText(fit.rmse));
  const std::string df = fmt::format("{} degree{} of freedom", NumberText(fit.degreesOfFreedom, 12),
                                     fit.degreesOfFreedom == 1.0 ? "" : "s");
  if (!fit.residualStdError) return text + fmt::format("No residual standard error on {}\n", df);
  return text + fmt::format("Residual standard error {} on {}{}\n",
                            NumberText(fit.residualStdError), df,
                            fit.imposedDegreesOfFreedom ? " (imposed)" : "");
}

/// A note as a list item, broken between words.
std::string Note(const std::string& sentence) {
  std::string text;
  std::string line = "-";
  std::string_view rest = sentence;
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find(' '), rest.size());
    const std::string word(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (TextWidth(line) + 1 + TextWidth(word) > kNoteWidth && line.size() > 1) {
      text += line + "\n";
      line = " ";
    }
    line += " " + word;
  }
  return text + line + "\n";
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

std::string Notes(const FitResult& fit) {
  std::string notes;
  if (const std::string redundant = RedundantNote(fit); !redundant.empty()) {
    notes += Note(redundant);
  }
  for (const std::string& warning : fit.warnings) {
    notes += Note(Printable(warning));
  }
  return notes.empty() ? notes : "\nNotes\n" + notes;
}

}  // namespace

std::string TextReport(const FitResult& fit) {
  if (!fit.logistic) {
    return Heading(fit) + "\n" + ParameterTable(fit.parameters, fit.kind, fit.confidence) + "\n" +
           FitText(fit) + Notes(fit);
  }
  return Heading(fit) + "\n" + LevelTable(fit) + "\n" + LevelParameters(fit) + "\n" +
         LikelihoodText(fit) + "\n" + ClassificationText(fit) + Notes(fit);
}

}  // namespace qvhost
