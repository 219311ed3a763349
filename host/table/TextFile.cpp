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
#include "host/table/QueryError.h"
#include "host/table/ScalarFunctions.h"

namespace qvhost {
namespace {

/// DuckDB tells the types of a file's columns from so many rows.
constexpr std::int64_t kSampleRows = 20480;

using Rows = std::vector<std::vector<std::optional<std::string>>>;

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

Rows Described(Connection& connection, const std::string& relation) {
  return connection.Rows(
      fmt::format("SELECT column_name, column_type FROM (DESCRIBE SELECT * FROM {})", relation));
}

/// `name: type` for each column, as an SQL struct.
std::string TypesOf(const std::vector<RawColumn>& columns) {
  std::string list;
  for (const RawColumn& column : columns) {
    const std::string read = column.ComesAsDouble() ? "DOUBLE" : column.type;
    list += fmt::format("{}{}: {}", list.empty() ? "" : ", ", QuoteText(column.name),
                        QuoteText(column.isText ? "VARCHAR" : read));
  }
  return "{" + list + "}";
}

/// A call of a function that reads files, from its beginning up to the types.
TypedView::Relation Reader(std::string call) {
  return [call = std::move(call)](const std::vector<RawColumn>& columns,
                                  const std::string& fileColumn) {
    return call + TypesOf(columns) +
           (fileColumn.empty() ? ")" : fmt::format(", filename = {})", QuoteText(fileColumn)));
  };
}

/// How the first of the files is written, as far as the missing strings tell more than DuckDB
/// would see by itself, and its formats of dates.
struct Dialect {
  std::string types;    ///< Options in SQL for learning the types,
  std::string options;  ///< and for every further reading.
  std::string dateFormat;
  std::string timestampFormat;
  bool hasHeader = true;
  bool isSemicolon = false;
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

/// What DuckDB tells of how one file is written: whether it sees comments, and the columns.
std::vector<std::optional<std::string>> Sniffed(Connection& connection, const std::string& call) {
  return connection
      .Rows(fmt::format("SELECT Comment NOT IN ('', '(empty)'), CAST(Columns AS VARCHAR) FROM {}",
                        call))
      .front();
}

/// A row that begins with #N/A is no comment: without comments the file has the same columns. One
/// with comments has not, as they are not written in columns.
bool HasNoComments(Connection& connection, const std::string& file, const std::string& sniffing) {
  const auto any = Sniffed(connection, fmt::format("sniff_csv({}, {})", file, sniffing));
  if (any[0] != "true") return true;
  try {
    return any[1] ==
           Sniffed(connection, fmt::format("sniff_csv({}, {}, comment = '')", file, sniffing))[1];
  } catch (const QueryError&) {
    return false;
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
  if (HasNoComments(connection, QuoteText(names.front()), sniffing)) {
    dialect.types += ", comment = ''";
    dialect.options += ", comment = ''";
    sniffing += ", comment = ''";
  }
  const auto row =
      connection
          .Rows(fmt::format("SELECT HasHeader, Delimiter, DateFormat, TimestampFormat, "
                            "Quote IN ('', '(empty)'), SkipRows "
                            "FROM sniff_csv({}, {})",
                            QuoteText(names.front()), sniffing))
          .front();
  dialect.hasHeader = row[0] != "false";
  dialect.skippedRows = std::stoll(row[5].value_or("0"));
  dialect.isSemicolon = row[1] == ";";
  if (!given.header) dialect.options += fmt::format(", header = {}", dialect.hasHeader);
  // Files of one pattern may differ in it.
  const bool isOne = names.size() == 1;
  if (isOne && row[1] && given.delimiter.empty()) {
    dialect.options += ", delim = " + QuoteText(*row[1]);
  }
  // DuckDB takes quotes for letters after a beginning without any.
  if (isOne && row[4] == "true") dialect.options += R"(, quote = '"', escape = '"')";
  dialect.dateFormat = FormatOf(row[2]);
  dialect.timestampFormat = FormatOf(row[3]);
  return dialect;
}

/// What the user says of a column; null for nothing.
const ColumnType* GivenType(const ReadingOptions& given, const std::string& column) {
  const auto found = std::ranges::find_if(
      given.types, [&](const ColumnType& type) { return SameWord(type.column, column); });
  return found == given.types.end() ? nullptr : &*found;
}

std::vector<ColumnInfo> InfosOf(const std::vector<RawColumn>& columns) {
  std::vector<ColumnInfo> infos;
  infos.reserve(columns.size());
  for (const RawColumn& column : columns) infos.push_back({column.name, ColumnKind::kOther, ""});
  return infos;
}

RawColumn DelimitedColumn(const std::string& name, const std::string& type, const Dialect& dialect,
                          bool mayBeNumbers, const ReadingOptions& given) {
  const bool isNumber = type == "BIGINT" || type == "DOUBLE";
  RawColumn column;
  column.name = name;
  column.type = type;
  column.isOpen = type == "VARCHAR";
  column.takesFormat = true;
  if (const ColumnType* declared = GivenType(given, name)) {
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
  Rows columns;
  ShortRows shortRows = ShortRows::kRefuse;
};

/// Gives columns the names that the header has: one that reads as a missing string, such as NA, is
/// lost while types are learnt.
void RestoreNames(Connection& connection, const TextFiles& files, Learned& learned) {
  const auto isMadeUp = [](const auto& row) { return row[0].value_or("").starts_with("column"); };
  if (!learned.dialect.hasHeader || std::ranges::none_of(learned.columns, isMadeUp)) return;
  const Rows named = Described(connection, fmt::format("read_csv({}{}, all_varchar = true)",
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

/// What seems to separate the columns in a header that was taken for one name; nothing for none.
std::string SeparatorIn(const std::string& header) {
  std::string separator;
  std::ptrdiff_t most = 0;
  for (const char c : {',', ';', '\t', '|'}) {
    const std::ptrdiff_t count = std::ranges::count(header, c);
    if (count > most) separator = std::string(1, c);
    most = std::max(most, count);
  }
  return separator;
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

TextLayout LayoutOf(const Learned& learned, const std::vector<RawColumn>& columns) {
  TextLayout layout;
  layout.hasHeader = learned.dialect.hasHeader;
  layout.skippedRows = learned.dialect.skippedRows;
  layout.hasShortRows = learned.shortRows == ShortRows::kPad;
  for (const RawColumn& column : columns) {
    if (!column.dateFormat.empty()) layout.dates.push_back({column.name, column.dateFormat});
  }
  return layout;
}

TextView ShowDelimited(Connection& connection, MissingFunction& missing,
                       const MissingStrings& strings, const std::string& view,
                       const TextFiles& files, const ReadingOptions& given) {
  const std::string nullStrings = NullStrings(strings);
  const bool mayBeNumbers = !AnyIsNumber(connection, strings);
  const Learned learned = LearnPadding(connection, files, nullStrings, given);
  const Dialect& dialect = learned.dialect;
  CheckLongRows(connection, files, learned);
  std::vector<RawColumn> columns;
  for (const auto& row : learned.columns) {
    columns.push_back(
        DelimitedColumn(row[0].value_or(""), row[1].value_or(""), dialect, mayBeNumbers, given));
  }
  CheckTypes(files.name, given.types, InfosOf(columns));
  TextLayout layout = LayoutOf(learned, columns);
  auto typed = std::make_unique<TypedView>(
      connection, missing, view,
      Reader(fmt::format("read_csv({}{}, types = ", files.sql, dialect.options)),
      std::move(columns));
  typed->Learn(kSampleRows);
  // Where decimals have commas, a semicolon stands between the columns.
  if (dialect.isSemicolon && given.Numbers().IsPlain()) {
    for (auto& [column, example] : typed->GroupedColumns(kSampleRows)) {
      layout.grouped.push_back({column, example});
    }
  }
  return {std::move(typed), std::move(layout)};
}

/// Columns in which objects or lists stand among the values that DuckDB finds no common type for.
std::vector<bool> AreNested(Connection& connection, const std::string& relation,
                            const std::vector<std::string>& names) {
  if (names.empty()) return {};
  std::string list;
  for (const std::string& name : names) {
    list += fmt::format(
        "{}coalesce(bool_or(left(ltrim(CAST({} AS VARCHAR)), 1) IN ('{{', '[')), false)",
        list.empty() ? "" : ", ", QuoteName(name));
  }
  const auto row = connection
                       .Rows(fmt::format("SELECT {} FROM (SELECT * FROM {} LIMIT {})", list,
                                         relation, kSampleRows))
                       .front();
  std::vector<bool> nested;
  for (const auto& answer : row) nested.push_back(answer == "true");
  return nested;
}

/// Numbers and texts; and what JSON calls a column in which both occur.
RawColumn JsonColumn(const std::string& name, const std::string& type) {
  constexpr std::array<std::string_view, 5> kAsText = {"BIGINT", "UBIGINT", "DOUBLE", "BOOLEAN",
                                                       "VARCHAR"};
  RawColumn column;
  column.name = name;
  column.type = type;
  column.isText = std::ranges::find(kAsText, type) != kAsText.end();
  return column;
}

TextView ShowJson(Connection& connection, MissingFunction& missing, const std::string& view,
                  const TextFiles& files, const ReadingOptions& given) {
  const std::string unionByName = files.areSeveral ? ", union_by_name = true" : "";
  const std::string relation = fmt::format("read_json({}{})", files.sql, unionByName);
  std::vector<RawColumn> columns;
  std::vector<std::string> mixed;
  for (const auto& row : Described(connection, relation)) {
    columns.push_back(JsonColumn(row[0].value_or(""), row[1].value_or("")));
    RawColumn& column = columns.back();
    if (const ColumnType* declared = GivenType(given, column.name)) {
      column.type = declared->type;
      column.isText = true;
      column.isFormatted = true;
      column.isDeclared = true;
      column.signs = NumberSigns::kDropped;
    } else if (column.type == "JSON") {
      mixed.push_back(column.name);
    }
  }
  CheckTypes(files.name, given.types, InfosOf(columns));
  const std::vector<bool> nested = AreNested(connection, relation, mixed);
  for (RawColumn& column : columns) {
    const auto place = std::ranges::find(mixed, column.name);
    if (place == mixed.end() || nested[static_cast<std::size_t>(place - mixed.begin())]) continue;
    column.type = "VARCHAR";
    column.isText = true;
    column.isOpen = true;
    column.isChosen = false;
  }
  auto typed = std::make_unique<TypedView>(
      connection, missing, view,
      Reader(fmt::format("read_json({}{}, columns = ", files.sql, unionByName)),
      std::move(columns));
  typed->Learn(kSampleRows);
  return {std::move(typed), {}};
}

}  // namespace

void CheckTypes(const std::string& source, const std::vector<ColumnType>& types,
                const std::vector<ColumnInfo>& columns) {
  std::vector<std::string> names;
  names.reserve(columns.size());
  for (const ColumnInfo& column : columns) names.push_back(column.name);
  for (const ColumnType& type : types) {
    const auto isThis = [&](const std::string& name) { return SameWord(name, type.column); };
    if (std::ranges::any_of(names, isThis)) continue;
    throw Error(ExitCode::kBadInput,
                fmt::format("--types: there is no column '{}' in {}.{}", type.column, source,
                            DidYouMean(type.column, names)));
  }
}

TextView ShowTextFile(Connection& connection, MissingFunction& missing,
                      const MissingStrings& strings, const std::string& view,
                      const TextFiles& files, const ReadingOptions& options) {
  NumberFunction::Register(connection, options.Numbers());
  missing.SetNumberFormat(options.Numbers());
  TextView text = files.format == FileFormat::kJson
                      ? ShowJson(connection, missing, view, files, options)
                      : ShowDelimited(connection, missing, strings, view, files, options);
  text.view->Create();
  return text;
}

}  // namespace qvhost
