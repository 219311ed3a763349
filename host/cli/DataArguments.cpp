#include "host/cli/DataArguments.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/cli/OptionValues.h"
#include "host/formula/ValueKind.h"
#include "host/table/FileKind.h"
#include "host/table/MissingStrings.h"

namespace qvhost {

namespace {

constexpr const char* kGroup = "Data";
constexpr int kMostThreads = 1024;
constexpr const char* kTypesHelp = "--types is a list such as zip=varchar,price=double";

struct NamedFormat {
  std::string_view name;
  FileFormat format;
};

constexpr std::array<NamedFormat, 6> kFormats = {{{"csv", FileFormat::kDelimited},
                                                  {"tsv", FileFormat::kDelimited},
                                                  {"json", FileFormat::kJson},
                                                  {"parquet", FileFormat::kParquet},
                                                  {"sqlite", FileFormat::kSqlite},
                                                  {"duckdb", FileFormat::kDatabase}}};

std::size_t CharacterCount(std::string_view text) {
  std::size_t count = 0;
  for (std::size_t at = 0; at < text.size(); at += DecodeUtf8(text, at).length) ++count;
  return count;
}

/// The SQL type of a type as the user writes it. What counts is whether a number is whole; how wide
/// it is, its values tell.
std::string SqlTypeOf(std::string_view written, std::string_view column) {
  const std::size_t open = written.find('(');
  const CastType* const type = FindCastType(WithoutBlanks(written.substr(0, open)));
  const bool hasWidth = open != std::string_view::npos;
  const bool isClosed = !hasWidth || written.ends_with(')');
  if (type == nullptr || !isClosed || (hasWidth && !type->hasWidth)) {
    RefuseUsage(fmt::format("--types: '{}' of '{}' is no type; there are {}.", written, column,
                            CastTypeList()));
  }
  if (hasWidth &&
      written.substr(open).find_first_not_of("0123456789,() ") != std::string_view::npos) {
    RefuseUsage(
        fmt::format("--types: write the width of '{}' in digits, as in decimal(10,2).", column));
  }
  // DuckDB would round the values to the width.
  if (type->hasWidth) return "DOUBLE";
  constexpr std::array<std::string_view, 5> kWhole = {"INTEGER", "BIGINT", "SMALLINT", "TINYINT",
                                                      "HUGEINT"};
  if (std::ranges::find(kWhole, type->sql) != kWhole.end()) return "BIGINT";
  return type->sql == "FLOAT" ? "DOUBLE" : std::string(type->sql);
}

/// The default missing strings in lines of a help text.
std::string DefaultStrings() {
  constexpr std::size_t kInFirstLine = 5;
  const std::vector<std::string>& strings = MissingStrings::Default();
  const auto rest = strings.begin() + kInFirstLine;
  return fmt::format("{}\n{}; empty ones always are.", fmt::join(strings.begin(), rest, " "),
                     fmt::join(rest, strings.end(), " "));
}

/// One `column=type`.
ColumnType ReadType(std::string_view entry) {
  entry = WithoutBlanks(entry);
  const std::size_t sign = entry.rfind('=');
  if (sign == std::string_view::npos || sign == 0) {
    RefuseUsage(fmt::format("{}; '{}' is none of it.", kTypesHelp, entry));
  }
  std::string_view name = WithoutBlanks(entry.substr(0, sign));
  if (name.size() > 2 && name.front() == '`' && name.back() == '`') {
    name = name.substr(1, name.size() - 2);
  }
  return {std::string(name), SqlTypeOf(WithoutBlanks(entry.substr(sign + 1)), name)};
}

}  // namespace

void RefuseUsage(const std::string& message) { throw UsageError(message); }

std::vector<ColumnType> ReadTypes(const std::string& list) {
  std::vector<ColumnType> types;
  bool isQuoted = false;
  int depth = 0;
  std::size_t start = 0;
  for (std::size_t i = 0; i <= list.size(); ++i) {
    const char c = i < list.size() ? list[i] : ',';
    if (c == '`') isQuoted = !isQuoted;
    if (!isQuoted && c == '(') ++depth;
    if (!isQuoted && c == ')') --depth;
    const bool isEnd = i == list.size() || (c == ',' && !isQuoted && depth == 0);
    if (!isEnd) continue;
    types.push_back(ReadType(std::string_view(list).substr(start, i - start)));
    start = i + 1;
  }
  return types;
}

CLI::Option* DataArguments::AddText(const std::string& name, std::string& text,
                                    const std::string& help) {
  return command_.add_option(name, text, help)->group(kGroup);
}

void DataArguments::Add() {
  command_
      .add_option("-d,--data", data_,
                  "CSV, TSV, Parquet or JSON files, patterns of files, a\n"
                  "DuckDB or SQLite database, or - for standard input.\n"
                  "The columns of several files are matched by name")
      ->type_name("FILE")
      ->group(kGroup);
  AddForm();
  AddNumbers();
  AddText("--where", where_,
          "Keep the rows for which this is true: a comparison as\n"
          "in a formula's I(...), or x is null. A comparison with\n"
          "a missing value is not true")
      ->type_name("CONDITION");
  AddTable();
  AddMissing();
  OfferValues();
}

void DataArguments::OfferValues() {
  OfferFiles(command_.get_option("--data"), KnownEndings());
  std::vector<std::string> formats;
  formats.reserve(kFormats.size());
  for (const NamedFormat& format : kFormats) formats.emplace_back(format.name);
  OfferWords(command_.get_option("--format"), formats);
  OfferWords(command_.get_option("--encoding"), {"utf-8", "latin-1", "windows-1252", "utf-16"});
  OfferWords(command_.get_option("--delim"), {"tab"});
  OfferWords(command_.get_option("--header"), {"yes", "no"});
  OfferWords(command_.get_option("--decimal"), {",", "."});
}

void DataArguments::AddTable() {
  AddText("--table", source_.table, "Table of the database named by --data")->type_name("NAME");
  AddText("--sql", source_.sql,
          "Query whose result is the table; it sees the tables of a\n"
          "database named by --data, or another file as 'data'")
      ->type_name("QUERY");
}

void DataArguments::AddMissing() {
  command_
      .add_option_function<std::string>(
          "--na", [this](const std::string& text) { source_.na.push_back(text); },
          fmt::format("A text that stands for a missing value, such as -999;\n"
                      "again for each. In place of the default for text files\n"
                      "(CSV, TSV, JSON), which is {}\n"
                      "Where NA is a category: with --na '' only empty values\n"
                      "are missing.\n"
                      "Text columns of queries, databases and Parquet have\n"
                      "missing texts only if they are given here",
                      DefaultStrings()))
      ->type_name("STRING")
      ->trigger_on_parse()
      ->group(kGroup);
}

CLI::Option* DataArguments::AddThreads(int& threads) {
  threads_ = &threads;
  return command_
      .add_option("--threads", threads,
                  fmt::format("Threads that read, fit and predict, 0 for one per core, at\n"
                              "most {}; the results do not depend on it",
                              kMostThreads))
      ->type_name("N")
      ->group(kGroup);
}

void DataArguments::AddSpoolDir(std::string& folder, const std::string& help) {
  command_.add_option("--spool-dir", folder, help)->type_name("DIR")->group("Output");
}

void DataArguments::AddForm() {
  AddText("--format", format_,
          "csv, tsv, json, parquet, sqlite or duckdb; by default\n"
          "what the file's name or its first bytes tell")
      ->type_name("FORMAT");
  AddText("--encoding", encoding_,
          "Of text files: utf-8, latin-1, windows-1252 (Excel in\n"
          "western Europe) or utf-16")
      ->type_name("NAME");
  AddText("--delim", delimiter_,
          "Character between the columns of a CSV file; tab for a\n"
          "tabulator")
      ->type_name("CHARACTER");
  AddText("--header", header_,
          "Whether the first row of a CSV file holds the names, yes\n"
          "or no; without it columns are column0, column1, ...")
      ->type_name("yes|no");
}

void DataArguments::AddNumbers() {
  AddText("--decimal", decimal_, "Decimal separator of a CSV file: , or .")->type_name("CHARACTER");
  AddText("--thousands", thousands_, "Character between thousands in the numbers of a CSV file")
      ->type_name("CHARACTER");
  command_
      .add_option("--types", types_,
                  "Types of columns of text files and SQLite databases,\n"
                  "such as zip=varchar,price=double; numbers may have a\n"
                  "sign of currency or percent then")
      ->type_name("COLUMN=TYPE,...")
      ->group(kGroup);
}

void DataArguments::TakeForm() {
  ReadingOptions& reading = source_.reading;
  if (!format_.empty()) {
    const auto* const format = std::ranges::find(kFormats, Lower(format_), &NamedFormat::name);
    if (format == kFormats.end()) {
      RefuseUsage(fmt::format(
          "--format '{}' is none of csv, tsv, json, parquet, sqlite and duckdb.", format_));
    }
    reading.format = format->format;
    if (format->name == "tsv" && delimiter_.empty()) reading.delimiter = "\t";
  }
  if (!encoding_.empty()) {
    reading.encoding = FindEncoding(encoding_);
    if (!reading.encoding) {
      RefuseUsage(
          fmt::format("--encoding '{}' is not known; it may be {}.", encoding_, EncodingList()));
    }
  }
  if (!delimiter_.empty()) {
    const bool isTab = delimiter_ == "\\t" || SameWord(delimiter_, "tab");
    if (!isTab && CharacterCount(delimiter_) != 1) {
      RefuseUsage(fmt::format("--delim takes one character, or tab; '{}' has {}.", delimiter_,
                              CharacterCount(delimiter_)));
    }
    reading.delimiter = isTab ? "\t" : delimiter_;
  }
  if (!header_.empty()) {
    if (!SameWord(header_, "yes") && !SameWord(header_, "no")) {
      RefuseUsage(fmt::format("--header is yes or no, not '{}'.", header_));
    }
    reading.header = SameWord(header_, "yes");
  }
}

void DataArguments::TakeNumbers() {
  ReadingOptions& reading = source_.reading;
  if (!decimal_.empty()) {
    if (decimal_ != "," && decimal_ != ".") {
      RefuseUsage(fmt::format("--decimal is a comma or a point, not '{}'.", decimal_));
    }
    reading.decimal = decimal_.front();
  }
  if (!thousands_.empty()) {
    const bool isDigit = thousands_.find_first_of("0123456789+-") != std::string::npos;
    if (CharacterCount(thousands_) != 1 || isDigit) {
      RefuseUsage(
          fmt::format("--thousands takes one character that is no digit or sign, such as . or "
                      "a blank, not '{}'.",
                      thousands_));
    }
    reading.thousands = thousands_;
  }
  const std::string decimal(1, reading.decimal.value_or('.'));
  if (reading.thousands == decimal) {
    RefuseUsage(
        fmt::format("--thousands '{0}' is the decimal separator, too; name another one with "
                    "--decimal {1}.",
                    decimal, decimal == "." ? "," : "."));
  }
  for (const std::string& list : types_) {
    for (ColumnType& type : ReadTypes(list)) {
      for (const ColumnType& other : reading.types) {
        if (SameWord(other.column, type.column)) {
          RefuseUsage(fmt::format("--types names '{}' twice; give it one type.", type.column));
        }
      }
      reading.types.push_back(std::move(type));
    }
  }
}

void DataArguments::Take() {
  if (!data_.empty()) {
    source_.data = data_.front();
    source_.moreData.assign(data_.begin() + 1, data_.end());
  }
  if (source_.data.empty() && source_.sql.empty()) {
    RefuseUsage("No data are named; give a file with --data or a query with --sql.");
  }
  if (threads_ != nullptr && (*threads_ < 0 || *threads_ > kMostThreads)) {
    RefuseUsage(fmt::format("--threads must be a whole number from 0 to {}; 0 is one per core.",
                            kMostThreads));
  }
  TakeForm();
  TakeNumbers();
}

}  // namespace qvhost
