#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "host/fit/FitResult.h"
#include "host/report/ShownRows.h"

namespace qvhost {

/// How much of a fit a document holds. A plain value.
struct ReportDetail {
  Shown::Limits rows = kShownRows;    ///< Of one table.
  Shown::Limits tables = {12, 8, 2};  ///< Of one kind, as of the levels of the dependent.
  std::optional<int> digits = {};     ///< Significant, of estimates; none: each kind's own.

  /// Digits of a number that stands alone: the usual ones, more when more are wanted.
  [[nodiscard]] int DigitsOf(int usual) const { return std::max(usual, digits.value_or(usual)); }
};

/// What a renderer tells has been left out: `count` of the `things`.
struct ReportOmission {
  std::size_t count = 0;
  std::string things;  ///< In the plural: `parameters`.
};

/// A table: headings, and rows of as many texts. The first column names the row, the others hold
/// numbers or single words. A plain value; texts hold no control characters.
struct ReportTable {
  std::string caption;  ///< For those who see only the table; plain text does not print it.
  std::vector<std::string> headings;
  std::vector<std::size_t> groups = {};  ///< Where columns that belong together begin.
  std::vector<std::vector<std::string>> rows = {};
  std::size_t totals = 0;       ///< So many rows at the end sum the others up.
  std::size_t omittedAt = 0;    ///< The row before which rows were left out,
  ReportOmission omitted = {};  ///< and how many.

  /// Says which rows are left out.
  void Omit(const Shown& shown, std::string_view things) {
    omittedAt = shown.BeforeOmitted();
    omitted = {shown.Omitted(), std::string(things)};
  }
};

/// What stands below one another in a section: a sentence or more, a table, what was left out.
using ReportBlock = std::variant<std::string, ReportTable, ReportOmission>;

/// Blocks under one title. A plain value.
struct ReportSection {
  std::string part;   ///< What it is about, for a table of contents: `Parameters`.
  std::string title;  ///< Empty for none.
  std::vector<ReportBlock> blocks = {};
  bool isTight = false;  ///< In plain text nothing stands between the title and the rest.
};

using ReportSections = std::vector<ReportSection>;

/// A summary of a fit as a value that renderers turn into text or HTML: no other place decides what
/// is said.
struct ReportDocument {
  std::string title;
  /// Names, and behind each what is said of it; an empty name continues the one before. Holds
  /// HeadingLines::kNoBreak.
  std::vector<std::pair<std::string, std::string>> lines;
  ReportSections sections;
  std::vector<std::string> remarks;   ///< How the tables are to be read.
  std::vector<std::string> warnings;  ///< About anything suspicious.
};

[[nodiscard]] ReportDocument MakeReportDocument(const FitResult& fit, const ReportDetail& detail);

}  // namespace qvhost
