#include "host/table/TextFile.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/table/JsonFile.h"
#include "host/table/QueryError.h"
#include "host/table/ScalarFunctions.h"
#include "host/table/TextColumns.h"
#include "host/table/TextLines.h"
#include "host/table/WrittenNames.h"

namespace qvhost {
namespace {

/// The files' names as patterns that match just them.
std::vector<std::string> FilesOf(Connection& connection, const std::string& files) {
  std::vector<std::string> names;
  for (const auto& row : connection.Rows(fmt::format(
           "SELECT regexp_replace(file, '([*?[])', '[\\1]', 'g') FROM glob({}) LIMIT 2", files))) {
    names.push_back(row.front().value_or(""));
  }
  return names;
}

/// `nullStrings` for learning types, so that an infinite value in the first rows makes no text of
/// numbers: where types are sought, DuckDB takes it for one.
std::string WithInfinity(const std::string& nullStrings) {
  std::string list = nullStrings.substr(0, nullStrings.size() - 1);
  for (const char* word : {"Inf", "inf", "INF", "Infinity", "infinity"}) {
    for (const char* sign : {"", "-", "+"}) list += fmt::format(", '{}{}'", sign, word);
  }
  return list + "]";
}

std::string NullStrings(const MissingStrings& strings) {
  std::string list = "''";
  for (const std::string& text : strings.Strings()) list += ", " + QuoteText(text);
  return fmt::format("nullstr = [{}]", list);
}

/// Whether a missing string could be taken for a number, such as -999. NaN is one of its own: it
/// is noticed when it is met.
bool AnyIsNumber(Connection& connection, const MissingStrings& strings) {
  for (const std::string& text : strings.Strings()) {
    const auto row = connection.Rows(
        fmt::format("SELECT coalesce(NOT isnan(TRY_CAST({} AS DOUBLE)), false)", QuoteText(text)));
    if (row.front().front() == "true") return true;
  }
  return false;
}

/// How the first of the files is written, as far as the missing strings tell more than DuckDB
/// would see by itself, and its formats of dates.
struct Dialect {
  std::string types;    ///< Options in SQL for learning the types,
  std::string options;  ///< for every further reading,
  std::string form;     ///< and of what separates and quotes values.
  std::string delimiter;
  std::string dateFormat;
  std::string timestampFormat;
  bool hasHeader = true;
  std::int64_t skippedRows = 0;
};

/// What to do about rows that have fewer values than the header has names.
enum class ShortRows { kRefuse, kPad };

/// The options that the user gave, in SQL.
std::string GivenOptions(const TextFiles& files, const ReadingOptions& given, ShortRows shortRows) {
  std::string options;
  if (shortRows == ShortRows::kPad) options += ", null_padding = true";
  if (!given.delimiter.empty()) options += ", delim = " + QuoteText(given.delimiter);
  if (given.header) options += fmt::format(", header = {}", *given.header);
  if (files.areSeveral) options += ", union_by_name = true";
  return options;
}

/// What DuckDB tells of how one file is written.
struct Sniffed {
  std::vector<std::optional<std::string>> answers;  ///< See Sniff.
  bool hasComments = false;
};

Sniffed Sniff(Connection& connection, const std::string& file, const std::string& options) {
  Sniffed sniffed;
  sniffed.answers =
      connection
          .Rows(fmt::format("SELECT HasHeader, Delimiter, DateFormat, TimestampFormat, "
                            "Quote IN ('', '(empty)'), SkipRows, Comment NOT IN ('', '(empty)'), "
                            "CAST(Columns AS VARCHAR) FROM sniff_csv({}, {})",
                            file, options))
          .front();
  sniffed.hasComments = sniffed.answers[6] == "true";
  return sniffed;
}

/// The same, once where it can be, as DuckDB takes long for wide files. A row that begins with #N/A
/// is no comment: without comments the file has the same columns. One with comments has not, as
/// they are not written in columns.
Sniffed SniffComments(Connection& connection, const std::string& file, const std::string& options) {
  Sniffed sniffed = Sniff(connection, file, options);
  if (!sniffed.hasComments) return sniffed;
  try {
    Sniffed without = Sniff(connection, file, options + ", comment = ''");
    return without.answers[7] == sniffed.answers[7] ? without : sniffed;
  } catch (const QueryError&) {
    return sniffed;
  }
}

/// ISO dates are read without a format.
std::string FormatOf(const std::optional<std::string>& format) {
  return format && !format->starts_with("%Y-%m-%d") ? *format : "";
}

Dialect DialectOf(Connection& connection, const TextFiles& files, const std::string& nullStrings,
                  const ReadingOptions& given, ShortRows shortRows) {
  const std::vector<std::string> names = FilesOf(connection, files.sql);
  Dialect dialect;
  dialect.types = GivenOptions(files, given, shortRows);
  if (given.decimal) dialect.types += fmt::format(", decimal_separator = '{}'", *given.decimal);
  dialect.options = GivenOptions(files, given, shortRows);
  if (names.empty()) return dialect;
  std::string sniffing = nullStrings;
  if (shortRows == ShortRows::kPad) sniffing += ", null_padding = true";
  if (!given.delimiter.empty()) sniffing += ", delim = " + QuoteText(given.delimiter);
  if (given.header) sniffing += fmt::format(", header = {}", *given.header);
  const Sniffed sniffed = SniffComments(connection, QuoteText(names.front()), sniffing);
  if (!sniffed.hasComments) {
    dialect.types += ", comment = ''";
    dialect.options += ", comment = ''";
  }
  const auto& row = sniffed.answers;
  dialect.hasHeader = row[0] != "false";
  dialect.skippedRows = std::stoll(row[5].value_or("0"));
  dialect.delimiter = row[1].value_or("");
  if (!given.header) dialect.options += fmt::format(", header = {}", dialect.hasHeader);
  // Files of one pattern may differ in it.
  const bool isOne = names.size() == 1;
  dialect.form = shortRows == ShortRows::kPad ? ", null_padding = true" : "";
  if (!given.delimiter.empty()) dialect.form += ", delim = " + QuoteText(given.delimiter);
  if (isOne && row[1] && given.delimiter.empty()) {
    dialect.form += ", delim = " + QuoteText(*row[1]);
    dialect.options += ", delim = " + QuoteText(*row[1]);
  }
  // DuckDB takes quotes for letters after a beginning without any.
  if (isOne && row[4] == "true") dialect.options += R"(, quote = '"', escape = '"')";
  dialect.dateFormat = FormatOf(row[2]);
  dialect.timestampFormat = FormatOf(row[3]);
  return dialect;
}

RawColumn DelimitedColumn(const std::string& type, const Dialect& dialect, bool mayBeNumbers,
                          const ReadingOptions& given, const ColumnType* declared) {
  const bool isNumber = type == "BIGINT" || type == "DOUBLE";
  RawColumn column;
  column.type = type;
  column.isOpen = type == "VARCHAR";
  column.takesFormat = true;
  if (declared != nullptr) {
    column.type = declared->type;
    column.isOpen = false;
    column.isFormatted = true;
    column.isDeclared = true;
    column.signs = NumberSigns::kDropped;
  } else if (given.Numbers().IsPlain()) {
    column.mayBeNumbers = mayBeNumbers && isNumber;
  } else if (isNumber || column.isOpen) {
    // Its values tell, in their format.
    column.isFormatted = true;
    column.isOpen = true;
    column.isChosen = false;
    column.type = "VARCHAR";
  }
  if (column.type == "DATE") column.dateFormat = dialect.dateFormat;
  if (column.type == "TIMESTAMP") column.dateFormat = dialect.timestampFormat;
  return column;
}

/// How delimited files are written, and the names and types of their columns.
struct Learned {
  Dialect dialect;
  TextRows columns;
  ShortRows shortRows = ShortRows::kRefuse;
};

/// Gives columns the names that the header has: one that reads as a missing string, such as NA, is
/// lost while types are learnt.
void RestoreNames(Connection& connection, const TextFiles& files, Learned& learned) {
  const auto isMadeUp = [](const auto& row) { return row[0].value_or("").starts_with("column"); };
  if (!learned.dialect.hasHeader || std::ranges::none_of(learned.columns, isMadeUp)) return;
  const TextRows named = Described(connection, fmt::format("read_csv({}{}, all_varchar = true)",
                                                           files.sql, learned.dialect.options));
  if (named.size() != learned.columns.size()) return;
  for (std::size_t i = 0; i < named.size(); ++i) learned.columns[i][0] = named[i][0];
}

Learned Learn(Connection& connection, const TextFiles& files, const std::string& nullStrings,
              const ReadingOptions& given, ShortRows shortRows) {
  Learned learned{DialectOf(connection, files, nullStrings, given, shortRows), {}, shortRows};
  learned.columns =
      Described(connection, fmt::format("read_csv({}, {}{})", files.sql, WithInfinity(nullStrings),
                                        learned.dialect.types));
  RestoreNames(connection, files, learned);
  return learned;
}

/// Where not all rows have as many values, DuckDB sees no columns: short rows are then padded.
Learned LearnPadding(Connection& connection, const TextFiles& files, const std::string& nullStrings,
                     ReadingOptions given) {
  Learned learned;
  try {
    learned = Learn(connection, files, nullStrings, given, ShortRows::kRefuse);
  } catch (const QueryError& error) {
    if (!error.IsForm()) throw;
    return Learn(connection, files, nullStrings, given, ShortRows::kPad);
  }
  if (learned.columns.size() != 1 || !given.delimiter.empty()) return learned;
  given.delimiter = SeparatorIn(learned.columns.front()[0].value_or(""));
  if (given.delimiter.empty()) return learned;
  try {
    Learned padded = Learn(connection, files, nullStrings, given, ShortRows::kPad);
    return padded.columns.size() > 1 ? padded : learned;
  } catch (const QueryError&) {
    return learned;
  }
}

/// Throws when a row has more values than the header has names: DuckDB then makes up some.
void CheckLongRows(Connection& connection, const TextFiles& files, const Learned& learned) {
  if (learned.shortRows == ShortRows::kRefuse || !learned.dialect.hasHeader) return;
  std::size_t named = learned.columns.size();
  while (named > 1 && learned.columns[named - 1][0] == fmt::format("column{}", named - 1)) --named;
  if (named == learned.columns.size()) return;
  const auto row =
      connection
          .Rows(fmt::format("SELECT min(qvreg_row) FROM (SELECT row_number() OVER () AS qvreg_row, "
                            "{} AS extra FROM read_csv({}{}, all_varchar = true)) "
                            "WHERE extra IS NOT NULL",
                            QuoteName(learned.columns[named][0].value_or("")), files.sql,
                            learned.dialect.options))
          .front();
  if (!row[0]) return;
  throw Error(
      ExitCode::kBadInput,
      fmt::format("{}: row {} has more values than the header has names, which are {}. Mend "
                  "the row, or the header.",
                  files.name, *row[0], named));
}

TextNames NamesOf(Connection& connection, const TextFiles& files, const Learned& learned) {
  const std::vector<std::string> names = FirstOf(learned.columns);
  if (!learned.dialect.hasHeader) return TextNames(names);
  return TextNames(NamesInHeader(
      connection, files.sql,
      fmt::format("{}, skip = {}", learned.dialect.form, learned.dialect.skippedRows), names));
}

TextLayout LayoutOf(const Learned& learned, const std::vector<RawColumn>& columns,
                    const ReadingOptions& given, const std::vector<std::string>& lines) {
  TextLayout layout;
  layout.hasHeader = learned.dialect.hasHeader;
  layout.skippedRows = learned.dialect.skippedRows;
  layout.isHeaderGiven = given.header.has_value();
  layout.otherDelimiter = OtherDelimiter(lines, learned.dialect.delimiter);
  if (!given.delimiter.empty()) layout.otherDelimiter.clear();
  layout.hasShortRows = learned.shortRows == ShortRows::kPad;
  for (const RawColumn& column : columns) {
    if (!column.dateFormat.empty()) layout.dates.push_back({column.name, column.dateFormat});
  }
  return layout;
}

/// Bounds the memory of DuckDB for reading so many columns at once: each stands in some vectors of
/// 32 KB on each thread.
void MakeRoom(Connection& connection, std::size_t columns) {
  constexpr std::size_t kColumnsOfMegabyte = 4;
  connection.Execute(fmt::format("SET memory_limit = '{}MB'", 1024 + columns / kColumnsOfMegabyte));
}

TextView ShowDelimited(Connection& connection, MissingFunction& missing,
                       const MissingStrings& strings, const std::string& view,
                       const TextFiles& files, const ReadingOptions& asked) {
  const std::vector<std::string> lines = FirstLines(connection, files.sql);
  if (asked.delimiter == " ") CheckBlanks(files.name, !files.areSeveral, lines);
  ReadingOptions given = asked;
  // A decimal comma separates no columns.
  if (given.delimiter.empty() && given.decimal == ',') given.delimiter = OtherDelimiter(lines, ",");
  const std::string nullStrings = NullStrings(strings);
  const bool mayBeNumbers = !AnyIsNumber(connection, strings);
  const Learned learned = LearnPadding(connection, files, nullStrings, given);
  const Dialect& dialect = learned.dialect;
  if (!dialect.hasHeader && !given.header && lines.size() == 1) {
    throw Error(ExitCode::kRunFailed, fmt::format("'{}' has a header and no rows.", files.name));
  }
  CheckLongRows(connection, files, learned);
  const TextNames names = NamesOf(connection, files, learned);
  std::vector<RawColumn> columns;
  for (std::size_t i = 0; i < learned.columns.size(); ++i) {
    columns.push_back(DelimitedColumn(learned.columns[i][1].value_or(""), dialect, mayBeNumbers,
                                      given, GivenType(given, names, i)));
    columns.back().name = names.unique[i];
    columns.back().source = learned.columns[i][0].value_or("");
  }
  CheckTypes(files.name, given.types, names);
  TextLayout layout = LayoutOf(learned, columns, given, lines);
  MakeRoom(connection, columns.size());
  auto typed = std::make_unique<TypedView>(
      connection, missing, view,
      Reader(fmt::format("read_csv({}{}, types = ", files.sql, dialect.options)),
      std::move(columns));
  typed->Learn(kSampleRows);
  // Where decimals have commas, a semicolon stands between the columns.
  if (dialect.delimiter == ";" && given.Numbers().IsPlain()) {
    for (auto& [column, example] : typed->GroupedColumns(kSampleRows)) {
      layout.grouped.push_back({column, example});
    }
  }
  return {std::move(typed), std::move(layout), RenamedColumns(names.written)};
}

/// With the usual format of numbers where it counts.
ReadingOptions WithUsualNumbers(ReadingOptions options, FileFormat format) {
  const bool isGiven = options.decimal || !options.thousands.empty();
  if (isGiven || !options.usualNumbers || format != FileFormat::kDelimited) return options;
  options.decimal = options.usualNumbers->decimal;
  options.thousands = options.usualNumbers->thousands;
  return options;
}

}  // namespace

TextView ShowTextFile(Connection& connection, MissingFunction& missing,
                      const MissingStrings& strings, const std::string& view,
                      const TextFiles& files, const ReadingOptions& asked) {
  const ReadingOptions options = WithUsualNumbers(asked, files.format);
  NumberFunction::Register(connection, options.Numbers());
  missing.SetNumberFormat(options.Numbers());
  TextView text = files.format == FileFormat::kJson
                      ? ShowJson(connection, missing, view, files, options)
                      : ShowDelimited(connection, missing, strings, view, files, options);
  text.view->Create();
  return text;
}

}  // namespace qvhost
