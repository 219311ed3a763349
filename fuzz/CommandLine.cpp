#include "fuzz/CommandLine.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <span>
#include <string_view>
#include <utility>

namespace qvfuzz {
namespace {

using Words = std::vector<std::string>;
using Texts = std::span<const char* const>;

constexpr auto kTables = std::to_array<const char*>(
    {"rows.csv",  "rows.csv",     "rows.csv",    "rows.csv",    "rows.tsv",
     "rows.json", "rows.parquet", "rows.sqlite", "rows.duckdb", "more.csv",
     "*.csv",     "r*.csv",       "-",           "ragged.csv",  "empty.csv",
     "head.csv",  "latin.csv",    "nowhere.csv", "no*.csv",     "tmp",
     ".",         "linear.pmml"});
constexpr auto kModels = std::to_array<const char*>(
    {"linear.pmml", "logistic.pmml", "linear.pmml", "logistic.pmml", "linear.json", "logistic.json",
     "levels.json", "rows.csv", "empty.csv", "nowhere.pmml", "tmp", "-"});
constexpr auto kLevels = std::to_array<const char*>(
    {"levels.json", "levels.json", "linear.json", "rows.json", "rows.csv", "nowhere.json", "tmp"});
constexpr auto kWritten = std::to_array<const char*>(
    {"out1", "out2", "out3", "rows", "more", "tmp/out", "nowhere/out", "odd name"});
constexpr auto kOtherEndings =
    std::to_array<const char*>({"csv", "tsv", "parquet", "json", "html", "pmml", "xml", "sql",
                                "records", "txt", "CSV", "csv.gz", ""});
constexpr auto kFolders = std::to_array<const char*>({"tmp", ".", "tmp", "nowhere", "rows.csv"});
constexpr auto kNumbers = std::to_array<const char*>({"0",          "1",
                                                      "2",          "3",
                                                      "5",          "7",
                                                      "17",         "100",
                                                      "0.5",        "0.2",
                                                      "0.95",       "0.05",
                                                      "1e-8",       "1e-14",
                                                      "-1",         "1.5",
                                                      "95",         "18",
                                                      "1025",       "2147483647",
                                                      "4294967296", "99999999999999999999",
                                                      "1e309",      "-1e309",
                                                      "nan",        "inf",
                                                      "0x10",       "1_000",
                                                      "0,5",        "1e-400",
                                                      "+2",         " 3",
                                                      "3 ",         "1e",
                                                      "."});
constexpr auto kColumns = std::to_array<const char*>(
    {"y",    "x",    "z",    "g",        "h",          "b",  "d",       "c",      "w",
     "n",    "part", "id",   "odd name", "`odd name`", "G",  "nowhere", "y,x",    "g,h",
     "x, z", "all",  "g,,h", ",",        "`g`",        "`g", "x,x",     "column0"});
constexpr auto kLevelTexts = std::to_array<const char*>({"g=a",
                                                         "g=b",
                                                         "g=zz",
                                                         "h=q",
                                                         "b=true",
                                                         "c=1",
                                                         "first",
                                                         "g=b,a",
                                                         "g=\"b\",c",
                                                         "g=",
                                                         "=a",
                                                         "g",
                                                         "d=2020-01-02",
                                                         "x=1",
                                                         "part=train",
                                                         "y=1",
                                                         "`odd name`=v w",
                                                         "nowhere=a",
                                                         "g=a,a",
                                                         "last"});
constexpr auto kFactors =
    std::to_array<const char*>({"g", "h", "b", "c", "g:h", "g:b", "h:g", "g:g", "x", "y", "g:x",
                                "d", ":", "g:", "`odd name`"});
constexpr auto kContrasts = std::to_array<const char*>(
    {"g=a - g=b", "x=1 - x=0", "2*g=a - g=b - g=c", "g=a & h=p - g=b & h=q", "b=true - b=false",
     "g='a' - g=\"b\"", "g=a", "g=a -", "- g=a", "g=zz - g=a", "x=nan - x=1", "1e400*g=a - g=b",
     "y=1 - y=0", "g=a & g=b - g=c", "0*g=a - 0*g=b", "d=2020-01-02 - d=2020-01-05"});
constexpr auto kTypes = std::to_array<const char*>(
    {"x=double", "g=varchar", "c=varchar", "c=integer", "d=date", "d=varchar", "x=integer",
     "x=decimal(10,2)", "b=boolean", "n=varchar,w=varchar", "g=double", "x=", "=double",
     "x=double(", "nowhere=double", "x=double,x=double", "`odd name`=varchar", "y=varchar"});
constexpr auto kConditions = std::to_array<const char*>({"x > 1",
                                                         "g = 'a'",
                                                         "g in ('a', 'b')",
                                                         "x is null",
                                                         "x is not null",
                                                         "b",
                                                         "not b",
                                                         "c = 1",
                                                         "x > 1000",
                                                         "x > 'a'",
                                                         "g like '%a%'",
                                                         "d > '2020-01-03'",
                                                         "y / 0 > 1",
                                                         "x between 0 and 2",
                                                         "nowhere = 1",
                                                         "x >",
                                                         "x",
                                                         "1 = 1",
                                                         "ln(x - 100) > 0",
                                                         "cast(g as double) > 1",
                                                         "`odd name` = 'v w'",
                                                         "x = 1 or",
                                                         "regexp_matches(g, '(')"});
constexpr auto kQueries = std::to_array<const char*>({"SELECT * FROM data",
                                                      "SELECT * FROM 'rows.csv'",
                                                      "SELECT * FROM rows",
                                                      "SELECT y, x, g FROM data",
                                                      "SELECT * FROM 'rows.parquet' WHERE x > 1",
                                                      "SELECT y, x, x AS X FROM data",
                                                      "SELECT 1 AS y, 2 AS x",
                                                      "SELECT * FROM data LIMIT 0",
                                                      "SELECT 1; SELECT 2",
                                                      "SELEKT",
                                                      "SELECT * FROM nowhere",
                                                      "SELECT error('x') AS y",
                                                      "FROM data",
                                                      "VALUES (1, 2)",
                                                      "CREATE TABLE t AS SELECT 1",
                                                      "COPY (SELECT 1) TO 'out4.csv'",
                                                      "ATTACH 'out5.duckdb'",
                                                      "SELECT [1, 2] AS y, {'a': 1} AS x",
                                                      "SELECT y, x::INT / 0 AS x FROM data",
                                                      "SELECT CAST(g AS INT) AS y, x FROM data",
                                                      ";",
                                                      "-- nothing",
                                                      "SELECT"});
constexpr auto kFormulas = std::to_array<const char*>({"y ~ x",
                                                       "y ~ x + g",
                                                       "y ~ g*h + x",
                                                       "y ~ g/h",
                                                       "c ~ x + g",
                                                       "g ~ x + z",
                                                       "b ~ x",
                                                       "h ~ x*z",
                                                       "y ~ .",
                                                       "y ~ poly(x, 2) + scale(z)",
                                                       "log(y) ~ I(x^2) + b",
                                                       "y ~ C(c)*x",
                                                       "y ~ d + `odd name`",
                                                       "y ~ 0 + g",
                                                       "y ~ 1",
                                                       "y ~ C(g, Treatment('a'))",
                                                       "y ~ x + I(x > 1)",
                                                       "part ~ x",
                                                       "y ~ y",
                                                       "x ~ c + n + w"});
constexpr auto kTokens = std::to_array<const char*>({"y",       "x",
                                                     "z",       "g",
                                                     "h",       "b",
                                                     "d",       "c",
                                                     "n",       "part",
                                                     "id",      "`odd name`",
                                                     "nowhere", ".",
                                                     "0",       "1",
                                                     "2",       "~",
                                                     "+",       "-",
                                                     "*",       ":",
                                                     "/",       "^",
                                                     "(",       ")",
                                                     "^2",      "I(",
                                                     "C(",      "log(",
                                                     "sqrt(",   "poly(x, 2)",
                                                     "scale(",  "center(",
                                                     "'a'",     ",",
                                                     ">",       "=",
                                                     "and",     "upper(",
                                                     "year(",   "cast(",
                                                     " as ",    "double",
                                                     "null",    "case when b then x else z end",
                                                     "length(", "Treatment("});
constexpr auto kAbsurd = std::to_array<const char*>(
    {"",      "-",        "--",           "=",    "-1",    "-d",   "--data", "--help",
     "-h",    "\xff\xfe", "\xc3\xa9",     "`",    "'",     "\"",   "a b",    "a\nb",
     "a\tb",  "{}",       "{0}",          "%s%n", "~",     "..",   "*",      "[",
     "$HOME", "\x1b[31m", "\xe2\x80\xae", "data", "qvreg", "NULL", "true"});
constexpr auto kCommands =
    std::to_array<const char*>({"help", "predict", "fti", "", "-", "--version", "--help", "-h",
                                "--data", "rows.csv", "y ~ x", "version", "anova"});

/// Draws from the input.
class Draw {
 public:
  Draw(FuzzedDataProvider& data, const std::vector<VerbRow>& table) : data_(data), table_(table) {}

  Words Line() {
    const VerbRow* const verb = Verb();
    if (verb == nullptr) return AnyWords();
    Words line = {verb->name};
    std::vector<Words> groups = Needs(*verb);
    const int n = static_cast<int>(Below(6));
    for (int i = 0; i < n && !verb->options.empty(); ++i) {
      const std::size_t place = Below(groups.size() + 1);
      groups.insert(groups.begin() + static_cast<std::ptrdiff_t>(place),
                    OptionOf(verb->options[Below(verb->options.size())]));
    }
    for (Words& group : groups) {
      for (std::string& word : group) line.push_back(std::move(word));
    }
    return line;
  }

 private:
  std::size_t Below(std::size_t bound) {
    return data_.ConsumeIntegralInRange<std::size_t>(0, bound - 1);
  }
  bool Rarely() { return data_.ConsumeIntegral<unsigned char>() % 16 == 15; }
  std::string One(Texts texts) { return texts[Below(texts.size())]; }

  /// Null for no command of the table. Most are fits.
  const VerbRow* Verb() {
    const std::size_t kind = Below(32);
    if (kind == 31) return nullptr;
    const char* const usual = kind < 14 ? "fit" : kind < 18 ? "score" : kind < 22 ? "spool" : "";
    for (const VerbRow& verb : table_) {
      if (verb.name == usual) return &verb;
    }
    return &table_[Below(table_.size())];
  }

  /// No command, one that there is not, or `help`.
  Words AnyWords() {
    Words words = {One(kCommands)};
    if (Below(2) == 0) words.push_back(table_[Below(table_.size())].name);
    if (Below(2) == 0) words.push_back(Strange());
    if (Below(8) == 0) words.clear();
    return words;
  }

  /// What a command cannot do without, mostly.
  std::vector<Words> Needs(const VerbRow& verb) {
    std::vector<Words> groups;
    for (const OptionRow& option : verb.options) {
      const bool isNeeded = Has(option, "--data") || Has(option, "--formula") ||
                            Has(option, "--model") || Has(option, "--out") || option.names.empty();
      if (!isNeeded || Rarely()) continue;
      if (Has(option, "--model") && option.type != "FILE") continue;
      if (option.names.empty()) {
        groups.push_back(Own(verb, option));
      } else {
        groups.push_back({option.names[Below(option.names.size())], RightValue(option)});
      }
    }
    return groups;
  }

  /// Words without an option.
  Words Own(const VerbRow& verb, const OptionRow& option) {
    if (verb.name == "man") return {table_[Below(table_.size())].name};
    Words words = {RightValue(option)};
    if (verb.name == "compare") words.push_back(RightValue(option));
    return words;
  }

  static bool Has(const OptionRow& option, std::string_view name) {
    return std::ranges::find(option.names, name) != option.names.end();
  }

  Words OptionOf(const OptionRow& option) {
    if (option.names.empty()) return {Value(option)};
    std::string name = option.names[Below(option.names.size())];
    if (Rarely()) name = Mutated(std::move(name));
    const bool hasValue = option.takesValue != Rarely() && (option.needsValue || Below(2) == 0);
    if (!hasValue) return {name};
    if (Rarely()) return {name + (Below(2) == 0 ? "=" : "") + Value(option)};
    Words words = {name, Value(option)};
    if (option.takesList && Below(2) == 0) words.push_back(Value(option));
    return words;
  }

  std::string Value(const OptionRow& option) {
    switch (Below(24)) {
      case 0:
        return Strange();
      case 1: {
        const VerbRow& verb = table_[Below(table_.size())];
        return RightValue(verb.options[Below(verb.options.size())]);
      }
      case 2:
        return Mutated(RightValue(option));
      default:
        return RightValue(option);
    }
  }

  /// Of the kind that the option takes, though it may not be there, or be out of its range.
  std::string RightValue(const OptionRow& option) {
    using Kind = qvhost::OptionValues::Kind;
    const std::string& type = option.type;
    if (type == "FORMULA") return Below(2) == 0 ? One(kFormulas) : Formula();
    if (type == "CONDITION") return One(kConditions);
    if (type == "QUERY") return One(kQueries);
    if (type == "CONTRAST") return One(kContrasts);
    if (type == "COLUMN=TYPE,...") return One(kTypes);
    if (type.starts_with("FACTOR=") || type.find("=LEVEL") != std::string::npos) {
      return One(kLevelTexts);
    }
    if (type.starts_with("FACTOR")) return One(kFactors);
    if (type.starts_with("COLUMN")) return One(kColumns);
    if (type == "NAME" && Has(option, "--table")) return Below(2) == 0 ? "rows" : One(kColumns);
    if (option.values.kind == Kind::kWords) return One(option.values.words);
    if (option.values.kind == Kind::kFolders) return One(kFolders);
    if (option.values.kind == Kind::kFiles) return File(option);
    return Rarely() || Below(4) == 0 ? One(kNumbers) : One(Texts(kNumbers).first(12));
  }

  std::string One(const Words& words) { return words[Below(words.size())]; }

  std::string File(const OptionRow& option) {
    if (Has(option, "--data")) return One(kTables);
    if (Has(option, "--levels-from")) return One(kLevels);
    const bool isModel = option.names.empty() || Has(option, "--model");
    if (isModel) return One(kModels);
    if (Has(option, "--json") && Below(4) == 0) return "-";
    const Words& endings = option.values.words;
    const bool isUsual = !endings.empty() && !Rarely();
    const std::string ending = isUsual ? One(endings) : One(kOtherEndings);
    return One(kWritten) + (ending.empty() ? "" : "." + ending);
  }

  std::string Formula() {
    std::string text = Below(8) == 0 ? "" : One(Texts(kTokens).first(12)) + " ~ ";
    const std::size_t n = 1 + Below(8);
    for (std::size_t i = 0; i < n; ++i) text += One(kTokens);
    return text;
  }

  std::string Mutated(std::string text) {
    if (text.empty()) return text;
    const std::size_t at = Below(text.size());
    switch (Below(5)) {
      case 0:
        text.erase(at, 1);
        break;
      case 1:
        text.insert(at, 1, text[at]);
        break;
      case 2:
        text.resize(at);
        break;
      case 3:
        text[at] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[at])));
        break;
      default:
        text.insert(at, Strange());
        break;
    }
    return Within(std::move(text));
  }

  std::string Strange() {
    if (Below(8) == 0) return std::string(700, 'x');
    if (Below(2) == 0) return One(kAbsurd);
    return Within(data_.ConsumeRandomLengthString(12));
  }

  /// Without what leads to another folder, and what no word can hold.
  static std::string Within(std::string text) {
    std::erase_if(text, [](char c) { return c == '/' || c == '\0'; });
    return text;
  }

  FuzzedDataProvider& data_;
  const std::vector<VerbRow>& table_;
};

}  // namespace

std::vector<std::string> TakeCommandLine(FuzzedDataProvider& data,
                                         const std::vector<VerbRow>& table) {
  return Draw(data, table).Line();
}

}  // namespace qvfuzz
