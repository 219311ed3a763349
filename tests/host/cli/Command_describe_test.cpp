// `qvreg describe`: columns against R (tests/reference/describe tells how), every reader, warnings.

#include <cmath>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "host/Text.h"
#include "host/TextLayout.h"
#include "tests/host/cli/CommandRun.h"
#include "tests/host/table/SqliteMaker.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

using Json = nlohmann::json;
using Strings = std::vector<std::string>;

constexpr int kBadInput = 2;

std::string Example(const std::string& name) {
  return (std::filesystem::path(QVREG_EXAMPLE_DATA) / name).string();
}

CommandResult Describe(Strings arguments) {
  arguments.insert(arguments.begin(), "describe");
  return RunQvreg(arguments);
}

Json DescribeJson(Strings arguments) {
  arguments.insert(arguments.end(), {"--json", "-"});
  const CommandResult result = Describe(arguments);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.err, "");
  return Json::parse(result.out);
}

Json OfQuery(const std::string& sql, Strings options = {}) {
  options.insert(options.begin(), {"--sql", sql});
  return DescribeJson(options);
}

const Json& ColumnOf(const Json& table, const std::string& name) {
  for (const Json& column : table.at("columns")) {
    if (column.at("name") == name) return column;
  }
  throw std::runtime_error("no column " + name);
}

/// The warnings of the only column of a query.
Strings WarningsOf(const std::string& sql) {
  return OfQuery(sql).at("columns").at(0).at("warnings");
}

TEST(CommandDescribe, NumbersAreThoseOfR) {
  int numbers = 0;
  for (const char* name : {"penguins", "cars"}) {
    const Json expected = Json::parse(std::ifstream(std::filesystem::path(QVREG_TEST_DATA) /
                                                    "describe" / (std::string(name) + ".json")));
    const Json table = DescribeJson({"-d", Example(std::string(name) + ".csv")});
    EXPECT_EQ(table.at("columns").size(), expected.size());
    for (const auto& [column, wanted] : expected.items()) {
      const Json& found = ColumnOf(table, column);
      EXPECT_EQ(found.at("missing"), wanted.at("missing")) << column;
      EXPECT_EQ(found.at("distinct"), wanted.at("distinct")) << column;
      if (!wanted.contains("mean")) {
        EXPECT_EQ(found.at("levels").at(0).at("level"), wanted.at("level")) << column;
        EXPECT_EQ(found.at("levels").at(0).at("count"), wanted.at("count")) << column;
        continue;
      }
      for (const char* key : {"minimum", "maximum", "mean", "std_deviation"}) {
        const double value = wanted.at(key);
        EXPECT_NEAR(found.at("numbers").at(key).get<double>(), value, 1e-13 * std::abs(value))
            << column << key;
        ++numbers;
      }
      for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(found.at("numbers").at("quartiles").at(i).get<double>(),
                    wanted.at("quartiles").at(i).get<double>(), 1e-12)
            << column;
      }
    }
  }
  EXPECT_EQ(numbers, 44);
}

TEST(CommandDescribe, RolesAreThoseOfAFit) {
  const Json table = OfQuery(
      "SELECT 1 AS n, 'a' AS t, true AS b, 'x'::ENUM('x', 'y') AS e, DATE '2024-02-29' AS d, "
      "[1] AS l, 1.5::DECIMAL(30,2) AS w");
  const auto role = [&](const char* name) { return ColumnOf(table, name).at("role"); };
  EXPECT_EQ(role("n"), "covariate");
  EXPECT_EQ(role("w"), "covariate");
  for (const char* name : {"t", "b", "e"}) EXPECT_EQ(role(name), "factor") << name;
  for (const char* name : {"d", "l"}) EXPECT_TRUE(role(name).is_null()) << name;
  EXPECT_EQ(ColumnOf(table, "d").at("range").at("last"), "2024-02-29");
  EXPECT_EQ(table.at("warnings").at(0).get<std::string>().substr(0, 44),
            "'.' leaves out d (DATE), l (LIST), as dates,");
}

TEST(CommandDescribe, EveryReaderGivesTheSame) {
  const qvtest::TempFolder folder;
  const std::string csv = QuoteText(Example("penguins.csv"));
  const std::string query = "SELECT * FROM read_csv(" + csv + ", nullstr = ['NA', ''])";
  const std::string parquet = folder.File("p.parquet");
  const std::string database = folder.File("p.duckdb");
  RunSql("COPY (" + query + ") TO " + QuoteText(parquet));
  RunSql("ATTACH " + QuoteText(database) + " AS made; CREATE TABLE made.birds AS " + query);
  const std::string sqlite = folder.File("p.sqlite");
  WriteSqlite(sqlite,
              "CREATE TABLE t (x REAL, g TEXT); INSERT INTO t VALUES (1.5, 'a'), (2, 'b'), "
              "(NULL, 'a');");
  const Json small = DescribeJson({"-d", sqlite});
  EXPECT_EQ(ColumnOf(small, "x").at("missing"), 1);
  EXPECT_EQ(ColumnOf(small, "x").at("numbers").at("mean"), 1.75);
  EXPECT_EQ(ColumnOf(small, "g").at("levels").at(0).at("count"), 2);
  const Json expected = DescribeJson({"-d", Example("penguins.csv")}).at("columns");
  const auto values = [](Json columns) {
    for (Json& column : columns) column.erase("missing_strings");
    return columns;
  };
  EXPECT_EQ(values(DescribeJson({"-d", parquet}).at("columns")), values(expected));
  EXPECT_EQ(values(DescribeJson({"-d", database, "--table", "birds"}).at("columns")),
            values(expected));
  // Several files, one after another.
  const Json twice = DescribeJson({"-d", parquet, "-d", parquet});
  EXPECT_EQ(twice.at("rows"), 688);
  EXPECT_EQ(ColumnOf(twice, "sex").at("missing"), 22);
}

TEST(CommandDescribe, ReadsAsTheOptionsSay) {
  const qvtest::TempFolder folder;
  const std::string file = folder.Write("x.csv", "zip;x\n01;1,5\n02;-999\n03;NA\n");
  const Json table =
      DescribeJson({"-d", file, "--delim", ";", "--decimal", ",", "--na", "-999", "--na", "NA",
                    "--types", "zip=varchar", "--where", "zip > '01'"});
  EXPECT_EQ(table.at("rows"), 2);
  EXPECT_EQ(table.at("left_out"), 1);
  EXPECT_EQ(ColumnOf(table, "zip").at("kind"), "text");
  const Json& x = ColumnOf(table, "x");
  EXPECT_EQ(x.at("missing"), 2);
  EXPECT_EQ(x.at("missing_strings").size(), 2U);
  EXPECT_TRUE(x.at("numbers").is_null());
}

TEST(CommandDescribe, AValueBeyondTheSampleMendsTheType) {
  const qvtest::TempFolder folder;
  std::string text = "x\n";
  for (int i = 0; i < 60000; ++i) text += fmt::format("{}\n", i % 7);
  const std::string file = folder.Write("late.csv", text + "2.5\n");
  const Json column = DescribeJson({"-d", file}).at("columns").at(0);
  EXPECT_EQ(column.at("type"), "DOUBLE");
  EXPECT_EQ(column.at("distinct"), 8);
}

TEST(CommandDescribe, DoesNotDependOnThreads) {
  const std::string sql =
      "SELECT hash(i) % 100003 / 7.0 AS x, 'v' || (hash(i) % 90001) AS t FROM range(300000) r(i)";
  const Json one = OfQuery(sql, {"--threads", "1"});
  EXPECT_EQ(one, OfQuery(sql, {"--threads", "4"}));
  EXPECT_FALSE(ColumnOf(one, "x").at("numbers").at("quartiles_exact"));
  EXPECT_FALSE(ColumnOf(one, "t").at("levels_exact"));
  EXPECT_NEAR(ColumnOf(one, "t").at("distinct").get<double>(), 86800.0, 2000.0);
}

TEST(CommandDescribe, LargeWholeNumbersAreToldApart) {
  const Json table = OfQuery("SELECT 9007199254740992 + i AS x FROM range(100) r(i)");
  EXPECT_EQ(ColumnOf(table, "x").at("distinct"), 100);
}

TEST(CommandDescribe, WarnsOfColumnsThatSayNothing) {
  EXPECT_EQ(WarningsOf("SELECT NULL::DOUBLE AS x FROM range(3)"),
            Strings{"'x' has no value: a formula that names it leaves out every row."});
  EXPECT_EQ(WarningsOf("SELECT 7 AS x FROM range(3)"),
            Strings{"'x' is '7' in every row: in a model it says nothing that the intercept does "
                    "not."});
  EXPECT_EQ(WarningsOf("SELECT CASE WHEN i > 7 THEN i / 3.0 END AS x FROM range(10) r(i)"),
            Strings{"'x' is missing in 8 of 10 rows, which a formula that names it leaves out."});
  EXPECT_EQ(WarningsOf("SELECT i / 0.0 AS x FROM range(1, 2) r(i) UNION ALL SELECT 1 UNION ALL "
                       "SELECT 2.5"),
            Strings{"'x' is infinite in 1 row, which no model can be fitted to: leave them out "
                    "with --where or --sql."});
}

TEST(CommandDescribe, WarnsOfIdentifiers) {
  EXPECT_EQ(WarningsOf("SELECT 'k' || i AS x FROM range(50) r(i)"),
            Strings{"'x' has another value in every row, as an identifier has, and would be a "
                    "factor of 50 levels."});
  const Strings numbered = {"'x' numbers the rows, 11 to 60, as an identifier does."};
  EXPECT_EQ(WarningsOf("SELECT i AS x FROM range(11, 61) r(i)"), numbered);
  EXPECT_EQ(WarningsOf("SELECT i AS x FROM range(11, 61) r(i) ORDER BY hash(i)"), numbered);
  EXPECT_EQ(WarningsOf("SELECT i * i AS x FROM range(50) r(i)"), Strings{});
}

TEST(CommandDescribe, WarnsOfManyLevelsAndCodes) {
  EXPECT_EQ(WarningsOf("SELECT 'k' || i % 1001 AS x FROM range(5005) r(i)"),
            Strings{"'x' would be a factor of 1001 levels, each with a parameter of its own."});
  EXPECT_EQ(WarningsOf("SELECT 'k' || i % 1000 AS x FROM range(5000) r(i)"), Strings{});
  EXPECT_EQ(WarningsOf("SELECT i % 4 AS \"a b\" FROM range(40) r(i)"),
            Strings{"'a b' has only 4 values, all whole numbers: if they are codes of categories, "
                    "write C(`a b`) in the formula."});
  EXPECT_EQ(WarningsOf("SELECT i % 2 AS x FROM range(40) r(i)"), Strings{});
}

TEST(CommandDescribe, WarnsOfNumbersInDisguise) {
  const qvtest::TempFolder folder;
  std::string text = "price,size\n";
  for (int i = 0; i < 40; ++i)
    text +=
        fmt::format("\"{},{}5\",{}\n", i, i % 10, i == 3 ? "unknown" : fmt::format("{}", i % 9));
  const Json table = DescribeJson({"-d", folder.Write("p.csv", text)});
  EXPECT_EQ(ColumnOf(table, "price").at("warnings").at(0),
            "'price' is text, but 100 % of its values read as numbers with a decimal comma, such "
            "as '0,05': add --decimal , to read them as such.");
  EXPECT_EQ(ColumnOf(table, "size").at("warnings").at(0),
            "'size' is text, but 97 % of its values read as numbers, though not 'unknown': if that "
            "stands for a missing value, add --na 'unknown' --types size=double, and the column is "
            "a number.");
}

TEST(CommandDescribe, WarnsOfNumbersInDisguiseAmongManyValues) {
  const Json column = OfQuery("SELECT i || ',5' AS x FROM range(100000) r(i)").at("columns").at(0);
  EXPECT_EQ(column.at("levels"), Json::array());
  EXPECT_EQ(column.at("warnings").at(0).get<std::string>().substr(0, 79),
            "'x' is text, but 100 % of its values read as numbers with a decimal comma, such");
}

TEST(CommandDescribe, BooleansAreCalledAsTheFileHasThem) {
  const qvtest::TempFolder folder;
  const Json table = DescribeJson({"-d", folder.Write("b.csv", "a,b\nyes,no\nno,no\nno,no\n")});
  EXPECT_EQ(ColumnOf(table, "a").at("levels").at(0).at("level"), "no");
  EXPECT_EQ(ColumnOf(table, "b").at("warnings").at(0).get<std::string>().substr(0, 23),
            "'b' is 'no' in every ro");
}

TEST(CommandDescribe, TheSummaryFitsTheTerminal) {
  const qvtest::TempFolder folder;
  const std::string file = folder.Write(
      "odd.csv",
      "\"a \"\"q\"\"\",\"a long name that nobody would want to read in a table, 1\",\"a long name "
      "that nobody would want to read in a table, 2\",\"ctl\x1b[31m\",\"rtl \u202e\u05d0\",宽\n"
      "1,x,2.25,\x1b[2J,\u05d0,宽\n2,y,3.5,b,c,窄\n");
  for (const int width : {40, 60, 80, 120}) {
    const CommandResult result =
        CommandRun({"describe", "-d", file}).With("COLUMNS", std::to_string(width)).Run();
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out.find('\x1b'), std::string::npos);
    EXPECT_EQ(result.out.find("\u202e"), std::string::npos);
    std::size_t at = result.out.find("\nColumn");
    for (std::size_t end = at; at < result.out.size(); at = end + 1) {
      end = std::min(result.out.find('\n', at), result.out.size());
      const std::string line = result.out.substr(at, end - at);
      // Words that are wider stand alone.
      if (line.find(' ') == std::string::npos) continue;
      EXPECT_LE(TextWidth(line), static_cast<std::size_t>(width)) << line;
    }
  }
}

TEST(CommandDescribe, OfManyColumnsShowsTheEnds) {
  std::string list;
  for (int i = 0; i < 100; ++i) list += fmt::format("{}{} AS c{}", i == 0 ? "" : ", ", i, i);
  const CommandResult some = Describe({"--sql", "SELECT " + list});
  EXPECT_NE(some.out.find("… 50 more columns; --all prints them"), std::string::npos);
  EXPECT_EQ(some.out.find("\nc45 "), std::string::npos);
  const CommandResult all = Describe({"--sql", "SELECT " + list, "--all"});
  EXPECT_NE(all.out.find("\nc45 "), std::string::npos);
}

TEST(CommandDescribe, RefusesWhatItCannotDo) {
  const qvtest::TempFolder folder;
  const std::string help = "\nTry 'qvreg describe --help'.";
  ExpectFailure(Describe({}), kBadInput,
                "No data are named; give a file with --data or a query with --sql." + help);
  ExpectFailure(Describe({"-d", "x.csv", "--threads", "-2"}), kBadInput,
                "--threads must be a whole number from 0 to 1024; 0 is one per core." + help);
  ExpectFailure(Describe({"-d", "x.csv", "--decimal", ";"}), kBadInput,
                "--decimal is a comma or a point, not ';'." + help);
  ExpectFailure(Describe({"-d", "x.csv", "-f", "y ~ x"}), kBadInput,
                "There is no option -f; the short ones are -h, -d." + help);
  ExpectFailure(Describe({"-d", folder.File("none.csv")}), kBadInput,
                "The file '" + folder.File("none.csv") + "' does not exist.");
  const std::string file = folder.Write("x.csv", "x\n1\n");
  ExpectFailure(Describe({"-d", file, "--json", file}), kBadInput,
                "--json '" + file + "' would replace the input '" + file + "'; name another file.");
  EXPECT_EQ(qvtest::ReadFile(file), "x\n1\n");
}

TEST(CommandDescribe, NotesHowFilesWereRead) {
  const qvtest::TempFolder folder;
  const std::string a = folder.Write("a.csv", "x,when\n1,13.01.2024\n2,14.01.2024\n");
  const std::string b = folder.Write("b.csv", "when\n15.01.2024\n");
  const Json table = DescribeJson({"-d", a, "-d", b});
  EXPECT_EQ(ColumnOf(table, "when").at("range").at("last"), "2024-01-15");
  const std::string notes = table.at("warnings").dump();
  EXPECT_NE(notes.find("The dates of 'when' are read as DD.MM.YYYY."), std::string::npos) << notes;
  EXPECT_NE(notes.find("'x' is no column of '" + b + "' and missing in all its rows."),
            std::string::npos)
      << notes;
}

TEST(CommandDescribe, ATableWithoutRowsHasColumns) {
  const qvtest::TempFolder folder;
  const Json table = DescribeJson({"-d", folder.Write("x.csv", "a,b\n")});
  EXPECT_EQ(table.at("rows"), 0);
  EXPECT_TRUE(ColumnOf(table, "a").at("missing_share").is_null());
}

}  // namespace
}  // namespace qvhost
