#include "host/table/TypedView.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/table/NumberFormat.h"
#include "host/table/QueryError.h"
#include "host/table/ScalarFunctions.h"

namespace qvhost {
namespace {

constexpr const char* kText = "VARCHAR";
constexpr const char* kWhole = "BIGINT";
constexpr const char* kNumber = "DOUBLE";
constexpr const char* kBoolean = "BOOLEAN";
/// What a query fails with at a number that the text of a missing value was read as.
constexpr const char* kNaNText = "NaN is to be read as a missing value";
/// What it fails with at a number that is not whole, or so large that a double may have rounded it,
/// in a column of whole numbers that comes as doubles: DuckDB rounds what it reads as such.
constexpr const char* kFractionText = "a whole number is to be read as text";
/// And at a time of day in a column of dates, which DuckDB drops.
constexpr const char* kTimeText = "a date has a time of day";
constexpr std::size_t kLongestValue = 40;
/// What a text must not begin with to be taken for a number in a format of its own: 01234 is a
/// code.
constexpr const char* kLeadingZero = "'[+-]?0[0-9].*'";
/// A whole number with points between thousands.
constexpr const char* kGrouped = "'[+-]?[1-9][0-9]{0,2}([.][0-9]{3})+'";
/// A name that no column has.
constexpr const char* kFileColumn = "file of the row";

bool IsTrue(const std::optional<std::string>& value) { return value == "true"; }

/// Whether a text is a whole number, in SQL; NULL for NULL.
std::string IsWhole(const std::string& text) {
  return fmt::format("regexp_full_match(trim({}, ' \t'), '[+-]?[0-9]+')", text);
}

/// Whether a value is no whole number, of the SQL that tells whether it is unreadable as one and
/// whether it is missing.
std::string IsNotWhole(const std::string& isUnreadable, const std::string& isMissing,
                       const std::string& text) {
  return fmt::format("({} OR coalesce(NOT {} AND NOT {}, false))", isUnreadable, isMissing,
                     IsWhole(text));
}

}  // namespace

TypedView::TypedView(Connection& connection, MissingFunction& missing, std::string name,
                     Relation relation, std::vector<RawColumn> columns)
    : connection_(connection),
      missing_(missing),
      name_(std::move(name)),
      relation_(std::move(relation)),
      columns_(std::move(columns)) {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const std::size_t number = missing_.AddColumn(columns_[i].name);
    if (i == 0) first_ = number;
    missing_.SetWholeNumbers(number, columns_[i].type == kWhole);
  }
}

std::string TypedView::TextOf(std::size_t column) const {
  return QuoteName(columns_[column].Source());
}

std::string TypedView::NumberOf(std::size_t column) const {
  const RawColumn& raw = columns_[column];
  return raw.isFormatted ? NumberFunction::Call(TextOf(column), raw.signs) : TextOf(column);
}

std::string TypedView::CastText(std::size_t column, const std::string& type) const {
  const RawColumn& raw = columns_[column];
  if (!raw.dateFormat.empty()) return TextOf(column);
  const bool isNumber = type == kWhole || type == kNumber;
  return isNumber ? NumberOf(column) : TextOf(column);
}

std::string TypedView::IsMissing(std::size_t column) const {
  return MissingFunction::Call(TextOf(column), first_ + column);
}

std::string TypedView::Value(std::size_t column) const {
  const RawColumn& raw = columns_[column];
  std::string text = TextOf(column);
  if (raw.mayBeNumbers && !raw.isText && raw.type == kNumber && missing_.HasNaN()) {
    return fmt::format("CASE WHEN isnan({0}) THEN CAST(error({1}) AS DOUBLE) ELSE {0} END", text,
                       QuoteText(kNaNText));
  }
  if (raw.ComesAsDouble()) {
    // No OR: it would hide from DuckDB's hash which column it is about, and of thousands of columns
    // each would be compared with all others.
    return fmt::format(
        "CASE WHEN {0} <> trunc({0}) THEN CAST(error({2}) AS BIGINT) "
        "WHEN abs({0}) >= {1} THEN CAST(error({2}) AS BIGINT) ELSE CAST({0} AS BIGINT) END",
        text, kLeastInexact, QuoteText(kFractionText));
  }
  if (!raw.isText) return text;
  std::string value = CastText(column, raw.type);
  if (!raw.dateFormat.empty())
    value = fmt::format("strptime({}, {})", text, QuoteText(raw.dateFormat));
  if (raw.type != kText) value = fmt::format("CAST({} AS {})", value, raw.type);
  if (const auto hasTime = HasTimeOfDay(column)) {
    value = fmt::format("CASE WHEN {} THEN CAST(error({}) AS DATE) ELSE {} END", *hasTime,
                        QuoteText(kTimeText), value);
  }
  return fmt::format("CASE WHEN {} THEN NULL ELSE {} END", IsMissing(column), value);
}

std::optional<std::string> TypedView::HasTimeOfDay(std::size_t column) const {
  const RawColumn& raw = columns_[column];
  if (raw.type != "DATE" || !raw.dateFormat.empty()) return std::nullopt;
  return fmt::format("coalesce(TRY_CAST({0} AS TIMESTAMP) <> TRY_CAST({0} AS DATE), false)",
                     TextOf(column));
}

void TypedView::Create() const {
  std::string list;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    list +=
        fmt::format("{}{} AS {}", list.empty() ? "" : ", ", Value(i), QuoteName(columns_[i].name));
  }
  for (const std::size_t i : written_) {
    list += fmt::format(", {} AS {}", TextOf(i), QuoteName(WrittenName(i)));
  }
  connection_.Execute(
      fmt::format("CREATE OR REPLACE TEMP VIEW {} AS SELECT {} FROM {}", name_, list, From()));
}

std::string TypedView::WrittenName(std::size_t column) const {
  std::string name = columns_[column].name + " as written";
  const auto isTaken = [&name](const RawColumn& other) { return SameWord(other.name, name); };
  while (std::ranges::any_of(columns_, isTaken)) name += " in the file";
  return name;
}

std::vector<std::string> TypedView::ShowWritten(const std::vector<std::string>& names) {
  written_.clear();
  std::vector<std::string> shown;
  for (const std::string& name : names) {
    const auto place = std::ranges::find(columns_, name, &RawColumn::name);
    const auto column = static_cast<std::size_t>(place - columns_.begin());
    columns_.at(column).isText = true;
    written_.push_back(column);
    shown.push_back(WrittenName(column));
  }
  return shown;
}

void TypedView::TakeAsText(const std::string& name) {
  const auto place = std::ranges::find(columns_, name, &RawColumn::name);
  const auto column = static_cast<std::size_t>(place - columns_.begin());
  RawColumn& raw = columns_.at(column);
  raw.isText = true;
  raw.mayBeNumbers = false;
  raw.isFormatted = false;
  raw.dateFormat.clear();
  SetType(column, kText);
}

void TypedView::SetType(std::size_t column, const std::string& type) {
  columns_[column].type = type;
  columns_[column].isOpen = false;
  missing_.SetWholeNumbers(first_ + column, type == kWhole);
}

bool TypedView::Decide(const std::vector<std::size_t>& columns, const std::string& relation) {
  if (columns.empty()) return false;
  std::string list;
  for (const std::size_t i : columns) {
    const std::string text = NumberOf(i);
    const std::string missing = IsMissing(i);
    const std::string isCode =
        fmt::format("regexp_full_match(trim({}, ' \t'), {})", TextOf(i), kLeadingZero);
    // Any missing, any value, all values numbers, all values whole.
    list += fmt::format(
        "{0}coalesce(bool_or({1}), false), coalesce(bool_or({2} IS NOT NULL AND NOT {1}), false), "
        "coalesce(bool_and({2} IS NULL OR {1} OR (NOT {4} AND TRY_CAST({2} AS DOUBLE) IS NOT "
        "NULL)), "
        "true), "
        "coalesce(bool_and({2} IS NULL OR {1} OR ({3} AND TRY_CAST({2} AS BIGINT) IS NOT NULL)), "
        "true)",
        list.empty() ? "" : ", ", missing, text, IsWhole(text), isCode);
  }
  const auto row = connection_.Rows(fmt::format("SELECT {} FROM {}", list, relation)).front();
  bool changed = false;
  for (std::size_t k = 0; k < columns.size(); ++k) {
    const auto* const answers = &row[4 * k];
    const bool anyValue = IsTrue(answers[1]);
    if (!anyValue) continue;
    const bool mayChange = IsTrue(answers[0]) || !columns_[columns[k]].isChosen;
    const bool isNumber = mayChange && IsTrue(answers[2]);
    SetType(columns[k], !isNumber ? kText : IsTrue(answers[3]) ? kWhole : kNumber);
    changed = changed || isNumber;
  }
  return changed;
}

void TypedView::Learn(std::int64_t rows) {
  std::vector<std::size_t> open;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (columns_[i].isOpen) open.push_back(i);
  }
  const std::string sample = fmt::format("(SELECT * FROM {} LIMIT {})", From(), rows);
  Decide(open, sample);
  TakeNumbers(sample);
  for (RawColumn& column : columns_) column.isChosen = column.isChosen && !column.isOpen;
}

void TypedView::TakeNumbers(const std::string& relation) {
  std::vector<std::size_t> numbers;
  std::string list;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (!columns_[i].mayBeNumbers) continue;
    numbers.push_back(i);
    // A fraction here, where DuckDB saw none, is met again by the query that reads it.
    missing_.SetWholeNumbers(first_ + i, false);
    list += fmt::format("{}coalesce(bool_or({}), false)", list.empty() ? "" : ", ", IsMissing(i));
  }
  if (numbers.empty()) return;
  const auto row = connection_.Rows(fmt::format("SELECT {} FROM {}", list, relation)).front();
  for (std::size_t k = 0; k < numbers.size(); ++k) {
    RawColumn& column = columns_[numbers[k]];
    column.isText = IsTrue(row[k]);
    missing_.SetWholeNumbers(first_ + numbers[k], column.type == kWhole);
  }
}

std::vector<std::pair<std::string, std::string>> TypedView::GroupedColumns(
    std::int64_t rows) const {
  std::vector<RawColumn> asText = columns_;
  std::vector<std::size_t> decimals;
  std::string list;
  for (std::size_t i = 0; i < asText.size(); ++i) {
    asText[i].isText = true;
    if (columns_[i].type != kNumber || columns_[i].isFormatted) continue;
    decimals.push_back(i);
    const std::string text = fmt::format("trim({}, ' \t')", TextOf(i));
    list += fmt::format(
        "{0}CASE WHEN bool_and({1} IS NULL OR NOT contains({1}, '.') OR {3} OR "
        "regexp_full_match({1}, {2})) THEN any_value({1}) FILTER (regexp_full_match({1}, {2})) END",
        list.empty() ? "" : ", ", text, kGrouped, IsMissing(i));
  }
  if (decimals.empty()) return {};
  const auto row = connection_
                       .Rows(fmt::format("SELECT {} FROM (SELECT * FROM {} LIMIT {})", list,
                                         relation_(asText, ""), rows))
                       .front();
  std::vector<std::pair<std::string, std::string>> grouped;
  for (std::size_t k = 0; k < decimals.size(); ++k) {
    if (row[k]) grouped.emplace_back(columns_[decimals[k]].name, *row[k]);
  }
  return grouped;
}

BooleanTexts TypedView::BooleansOf(const std::string& name, std::int64_t rows) const {
  const auto column = std::ranges::find(columns_, name, &RawColumn::name);
  if (column == columns_.end() || !column->isText || column->type != kBoolean) return {};
  const auto found = connection_.Rows(
      fmt::format("SELECT value, CAST(count(*) AS VARCHAR) FROM (SELECT {} AS value FROM {} LIMIT "
                  "{}) WHERE value IS NOT NULL GROUP BY value",
                  QuoteName(column->Source()), From(), rows));
  std::vector<std::pair<std::string, std::int64_t>> counts;
  counts.reserve(found.size());
  for (const auto& row : found) counts.emplace_back(*row[0], std::stoll(*row[1]));
  return UsualSpelling(counts);
}

bool TypedView::ReadAsText() {
  bool changed = false;
  for (RawColumn& column : columns_) {
    if (!column.mayBeNumbers || column.isText) continue;
    column.isText = true;
    changed = true;
  }
  return changed;
}

bool TypedView::Settle(const std::vector<std::string>& names) {
  std::vector<std::size_t> open;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const auto isThis = [&](const std::string& name) { return SameWord(name, columns_[i].name); };
    if (columns_[i].isOpen && std::ranges::any_of(names, isThis)) open.push_back(i);
  }
  return Decide(open, From());
}

bool TypedView::SettleAll() {
  std::vector<std::string> names;
  for (const RawColumn& column : columns_) names.push_back(column.name);
  return Settle(names);
}

std::string TypedView::IsUnreadable(std::size_t column, const std::string& type) const {
  const RawColumn& raw = columns_[column];
  const std::string text = TextOf(column);
  const std::string value =
      raw.dateFormat.empty() ? CastText(column, type)
                             : fmt::format("try_strptime({}, {})", text, QuoteText(raw.dateFormat));
  return fmt::format("({} IS NOT NULL AND NOT {} AND (TRY_CAST({} AS {}) IS NULL OR {}))", text,
                     IsMissing(column), value, type, HasTimeOfDay(column).value_or("false"));
}

std::vector<std::size_t> TypedView::TypedColumnsRead() const {
  std::vector<std::size_t> columns;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const bool isTyped = columns_[i].isText && columns_[i].type != kText;
    if (isTyped && missing_.WasRead(first_ + i)) columns.push_back(i);
  }
  return columns;
}

std::optional<std::size_t> TypedView::FindUnreadable(const std::vector<std::size_t>& columns,
                                                     std::vector<std::size_t>& fractional) {
  std::string list;
  for (const std::size_t i : columns) {
    const bool isWhole = columns_[i].type == kWhole;
    missing_.SetWholeNumbers(first_ + i, false);
    list += fmt::format("{}bool_or({}), {}", list.empty() ? "" : ", ",
                        IsUnreadable(i, isWhole ? kNumber : columns_[i].type),
                        isWhole ? fmt::format("bool_or({})", IsNotWhole(IsUnreadable(i, kWhole),
                                                                        IsMissing(i), NumberOf(i)))
                                : "false");
  }
  const auto row = connection_.Rows(fmt::format("SELECT {} FROM {}", list, From())).front();
  std::optional<std::size_t> unreadable;
  for (std::size_t k = 0; k < columns.size(); ++k) {
    const std::size_t i = columns[k];
    missing_.SetWholeNumbers(first_ + i, columns_[i].type == kWhole);
    if (IsTrue(row[2 * k]) && !unreadable) unreadable = i;
    if (IsTrue(row[2 * k + 1])) fractional.push_back(i);
  }
  return unreadable;
}

void TypedView::RefuseValue(std::size_t column) {
  const RawColumn& raw = columns_[column];
  const bool isWhole = raw.type == kWhole;
  const bool mustBeWhole = isWhole && raw.isDeclared;
  missing_.SetWholeNumbers(first_ + column, false);
  const std::string isRefused =
      mustBeWhole ? IsNotWhole(IsUnreadable(column, kWhole), IsMissing(column), NumberOf(column))
                  : IsUnreadable(column, isWhole ? kNumber : raw.type);
  const std::string numbered =
      fmt::format("(SELECT row_number() OVER () AS qvreg_row, {0} AS qvreg_file, {1} FROM {2})",
                  QuoteName(kFileColumn), TextOf(column), relation_(columns_, kFileColumn));
  const auto found =
      connection_
          .Rows(fmt::format("SELECT qvreg_row, qvreg_file, left({0}, {1}), {4} FROM {2} WHERE {3} "
                            "LIMIT 1",
                            TextOf(column), kLongestValue, numbered, isRefused,
                            HasTimeOfDay(column).value_or("false")))
          .front();
  const std::string& row = *found[0];
  const std::string& file = *found[1];
  const std::string rowInFile =
      *connection_
           .Rows(fmt::format("SELECT count(*) FROM {} WHERE qvreg_row <= {} AND qvreg_file = {}",
                             numbered, row, QuoteText(file)))
           .front()
           .front();
  const bool isNumber = isWhole || raw.type == kNumber;
  const std::string what = mustBeWhole ? "a whole number"
                           : isNumber  ? "a number"
                                       : fmt::format("of the type {}", raw.type);
  const auto reading =
      isNumber && raw.takesFormat ? FindReading({*found[2], *found[2]}) : std::nullopt;
  if (reading && !reading->format.IsPlain()) {
    throw Error(ExitCode::kBadInput,
                fmt::format("{}: the value '{}' of '{}' in row {} is not {}, {}. Add {} to "
                            "read it as one.",
                            file, *found[2], raw.name, rowInFile, what,
                            raw.isDeclared ? "as --types demands" : "as those before it are",
                            ReadingOptionsText(*reading, raw.name)));
  }
  const char* const wider = mustBeWhole ? "double" : IsTrue(found[3]) ? "timestamp" : nullptr;
  throw Error(
      ExitCode::kBadInput,
      fmt::format("{}: the value '{}' of '{}' in row {} is not {}, {}. If it stands for a missing "
                  "value, name it with --na {}; else read the column {}as text with {}.",
                  file, *found[2], raw.name, rowInFile, what,
                  raw.isDeclared ? "as --types demands" : "as those before it are",
                  ShellText(*found[2]),
                  wider == nullptr ? "" : fmt::format("with {} or ", TypesText(raw.name, wider)),
                  TypesText(raw.name, "varchar")));
}

bool TypedView::Mend(const QueryError& error) {
  const std::string_view what = error.what();
  const bool isOurs = std::ranges::any_of(
      std::array{kNaNText, kFractionText, kTimeText},
      [&](const char* text) { return what.find(text) != std::string_view::npos; });
  if (!isOurs && !error.IsConversion() && !missing_.MetFraction()) return false;
  if (ReadAsText()) return true;
  const std::vector<std::size_t> columns = TypedColumnsRead();
  if (columns.empty()) return false;
  std::vector<std::size_t> fractional;
  if (const auto unreadable = FindUnreadable(columns, fractional)) RefuseValue(*unreadable);
  for (const std::size_t column : fractional) {
    if (columns_[column].isDeclared) RefuseValue(column);
    SetType(column, kNumber);
  }
  return !fractional.empty();
}

}  // namespace qvhost
