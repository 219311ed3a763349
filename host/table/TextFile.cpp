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

#include "host/Text.h"
#include "host/table/QueryError.h"

namespace qvhost {
namespace {

/// DuckDB tells the types of a file's columns from so many rows.
constexpr std::int64_t kSampleRows = 20480;

using Rows = std::vector<std::vector<std::optional<std::string>>>;

std::string LowerName(const std::string& name) {
  std::string data = Lower(name);
  for (const std::string_view packed : {".gz", ".zst"}) {
    if (data.ends_with(packed)) data.resize(data.size() - packed.size());
  }
  return data;
}

template <std::size_t Size>
bool EndsWithOne(const std::string& data, const std::array<std::string_view, Size>& endings) {
  const std::string name = LowerName(data);
  return std::ranges::any_of(endings, [&](std::string_view end) { return name.ends_with(end); });
}

bool IsDelimited(const std::string& data) {
  return EndsWithOne(data, std::array<std::string_view, 2>{".csv", ".tsv"});
}

bool IsJson(const std::string& data) {
  return EndsWithOne(data, std::array<std::string_view, 3>{".json", ".jsonl", ".ndjson"});
}

/// The files' names as patterns that match just them.
std::vector<std::string> FilesOf(Connection& connection, const std::string& files) {
  std::vector<std::string> names;
  for (const auto& row : connection.Rows(fmt::format(
           "SELECT regexp_replace(file, '([*?[])', '[\\1]', 'g') FROM glob({}) LIMIT 2", files))) {
    names.push_back(row.front().value_or(""));
  }
  return names;
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
    list += fmt::format("{}{}: {}", list.empty() ? "" : ", ", QuoteText(column.name),
                        QuoteText(column.isText ? "VARCHAR" : column.type));
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
};

/// What DuckDB tells of how one file is written: whether it sees comments, and the columns.
std::vector<std::optional<std::string>> Sniffed(Connection& connection, const std::string& call) {
  return connection
      .Rows(fmt::format("SELECT Comment NOT IN ('', '(empty)'), CAST(Columns AS VARCHAR) FROM {}",
                        call))
      .front();
}

/// A row that begins with #N/A is no comment: without comments the file has the same columns. One
/// with comments has not, as they are not written in columns.
bool HasNoComments(Connection& connection, const std::string& file,
                   const std::string& nullStrings) {
  const auto any = Sniffed(connection, fmt::format("sniff_csv({}, {})", file, nullStrings));
  if (any[0] != "true") return true;
  try {
    return any[1] == Sniffed(connection,
                             fmt::format("sniff_csv({}, {}, comment = '')", file, nullStrings))[1];
  } catch (const QueryError&) {
    return false;
  }
}

/// ISO dates are read without a format.
std::string FormatOf(const std::optional<std::string>& format) {
  return format && !format->starts_with("%Y-%m-%d") ? *format : "";
}

Dialect DialectOf(Connection& connection, const std::string& files,
                  const std::string& nullStrings) {
  const std::vector<std::string> names = FilesOf(connection, files);
  if (names.empty()) return {};
  std::string sniffing = nullStrings;
  Dialect dialect;
  if (HasNoComments(connection, QuoteText(names.front()), nullStrings)) {
    dialect.options = ", comment = ''";
    sniffing += dialect.options;
  }
  const auto row =
      connection
          .Rows(fmt::format("SELECT HasHeader, Delimiter, DateFormat, TimestampFormat, "
                            "Quote IN ('', '(empty)') "
                            "FROM sniff_csv({}, {})",
                            QuoteText(names.front()), sniffing))
          .front();
  dialect.types = dialect.options;
  dialect.options += ", header = " + row[0].value_or("true");
  // Files of one pattern may differ in it.
  const bool isOne = names.size() == 1;
  if (isOne && row[1]) dialect.options += ", delim = " + QuoteText(*row[1]);
  // DuckDB takes quotes for letters after a beginning without any.
  if (isOne && row[4] == "true") dialect.options += R"(, quote = '"', escape = '"')";
  dialect.dateFormat = FormatOf(row[2]);
  dialect.timestampFormat = FormatOf(row[3]);
  return dialect;
}

RawColumn DelimitedColumn(const std::string& name, const std::string& type, const Dialect& dialect,
                          bool mayBeNumbers) {
  RawColumn column;
  column.name = name;
  column.type = type;
  column.mayBeNumbers = mayBeNumbers && (type == "BIGINT" || type == "DOUBLE");
  column.isOpen = type == "VARCHAR";
  if (type == "DATE") column.dateFormat = dialect.dateFormat;
  if (type == "TIMESTAMP") column.dateFormat = dialect.timestampFormat;
  return column;
}

std::unique_ptr<TypedView> ShowDelimited(Connection& connection, MissingFunction& missing,
                                         const MissingStrings& strings, const std::string& view,
                                         const std::string& files) {
  const std::string nullStrings = NullStrings(strings);
  const bool mayBeNumbers = !AnyIsNumber(connection, strings);
  const Dialect dialect = DialectOf(connection, files, nullStrings);
  const Rows described =
      Described(connection, fmt::format("read_csv({}, {}{})", files, nullStrings, dialect.types));
  std::vector<RawColumn> columns;
  for (const auto& row : described) {
    columns.push_back(
        DelimitedColumn(row[0].value_or(""), row[1].value_or(""), dialect, mayBeNumbers));
  }
  return std::make_unique<TypedView>(
      connection, missing, view,
      Reader(fmt::format("read_csv({}{}, types = ", files, dialect.options)), std::move(columns));
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

std::unique_ptr<TypedView> ShowJson(Connection& connection, MissingFunction& missing,
                                    const std::string& view, const std::string& files) {
  const std::string relation = fmt::format("read_json({})", files);
  std::vector<RawColumn> columns;
  std::vector<std::string> mixed;
  for (const auto& row : Described(connection, relation)) {
    columns.push_back(JsonColumn(row[0].value_or(""), row[1].value_or("")));
    if (columns.back().type == "JSON") mixed.push_back(columns.back().name);
  }
  const std::vector<bool> nested = AreNested(connection, relation, mixed);
  for (RawColumn& column : columns) {
    const auto place = std::ranges::find(mixed, column.name);
    if (place == mixed.end() || nested[static_cast<std::size_t>(place - mixed.begin())]) continue;
    column.type = "VARCHAR";
    column.isText = true;
    column.isOpen = true;
    column.isChosen = false;
  }
  return std::make_unique<TypedView>(connection, missing, view,
                                     Reader(fmt::format("read_json({}, columns = ", files)),
                                     std::move(columns));
}

}  // namespace

bool IsTextFile(const std::string& data) { return IsDelimited(data) || IsJson(data); }

std::unique_ptr<TypedView> ShowTextFile(Connection& connection, MissingFunction& missing,
                                        const MissingStrings& strings, const std::string& view,
                                        const std::string& data, const std::string& files) {
  std::unique_ptr<TypedView> typed = IsJson(data)
                                         ? ShowJson(connection, missing, view, files)
                                         : ShowDelimited(connection, missing, strings, view, files);
  typed->Learn(kSampleRows);
  typed->Create();
  return typed;
}

}  // namespace qvhost
