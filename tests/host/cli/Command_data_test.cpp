// The options that say how data are read, and what the command says of data that are easily
// misread.

#include <filesystem>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/cli/CommandRun.h"
#include "tests/host/table/SqliteMaker.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

using nlohmann::json;
using Strings = std::vector<std::string>;

/// 40 rows of a dependent `y` and another column, whose value in row i `value(i)` is.
template <typename Value>
std::string RowsOf(const std::string& header, const std::string& separator, Value value) {
  std::string rows = header + "\n";
  for (int i = 0; i < 40; ++i) {
    rows += std::to_string(i * 7 % 31) + separator + value(i) + "\n";
  }
  return rows;
}

class CommandData : public ::testing::Test {
 protected:
  /// The notes of a fit, all of them in one text.
  [[nodiscard]] std::string Notes(const std::string& rows, const Strings& options,
                                  const std::string& formula = "y ~ x") const {
    Strings arguments = {"--data", folder_.Write("rows.csv", rows), "--formula", formula};
    arguments.insert(arguments.end(), options.begin(), options.end());
    std::string notes;
    const json fit = FitJson(arguments);
    for (const json& note : fit["warnings"]) notes += note.get<std::string>() + "\n";
    return notes;
  }

  /// The sentence that the command is refused with.
  [[nodiscard]] std::string Refused(const Strings& options) const {
    Strings arguments = {"fit", "--formula", "y ~ x"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const CommandResult result = CommandRun(arguments).In(folder_.Path()).Run();
    EXPECT_EQ(result.exitCode, 2) << result.err;
    EXPECT_EQ(result.out, "");
    return result.err.substr(0, result.err.find('\n'));
  }

  static void ExpectHas(const std::string& text, const std::string& part) {
    EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
  }

  qvtest::TempFolder folder_;
};

TEST_F(CommandData, AGermanExport) {
  const std::string file = QVREG_TEST_DATA "/../host/table/data/german.csv";
  const Strings read = {
      "--data", file,          "--encoding", "windows-1252", "--decimal",
      ",",      "--thousands", ".",          "--types",      "Kosten (€)=double,Anteil=double"};
  Strings arguments = read;
  arguments.insert(arguments.end(), {"--formula", "Umsatz ~ `Kosten (€)` + Anteil + `Stück`"});
  const json fit = FitJson(arguments);
  EXPECT_EQ(fit["records"]["used"], 60);
  // lm() of R 4.2.2.
  EXPECT_NEAR(ParameterOf(fit, "Kosten (€)")["estimate"].get<double>(), 2.9810792892084268, 1e-12);
  EXPECT_NEAR(ParameterOf(fit, "Stück")["estimate"].get<double>(), 0.9090777664082033, 1e-11);
}

TEST_F(CommandData, TextThatReadsAsNumbersIsNamed) {
  const auto value = [](int i) { return std::to_string(i % 9) + "," + std::to_string(i % 10); };
  const std::string rows = RowsOf("y;x", ";", value);
  ExpectHas(Notes(rows, {}),
            "'x' is text and so a factor, but 100 % of its values read as numbers "
            "with a decimal comma, such as '0,0': add --decimal , to read them as "
            "such.\n");
  EXPECT_EQ(Notes(rows, {"--decimal", ","}), "");
  ExpectHas(Notes(RowsOf("y,x", ",", [](int i) { return "$" + std::to_string(i % 9); }), {}),
            "numbers with a sign of currency, such as '$0': add --types x=double");
}

TEST_F(CommandData, ADependentThatReadsAsNumbersIsRefusedWithTheOption) {
  std::string rows = "y;x\n";
  for (int i = 0; i < 60; ++i)
    rows += std::to_string(i) + ",5;" + std::to_string(i * 7 % 31) + "\n";
  folder_.Write("rows.csv", rows);
  ExpectHas(
      Refused({"--data", "rows.csv"}),
      "The dependent 'y' is text, but 100 % of its values read as numbers with a decimal comma, "
      "such as '0,5': add --decimal , to read them as such.");
  folder_.Write("weights.csv", RowsOf("y;x", ";", [](int i) { return std::to_string(i) + ",5"; }));
  ExpectHas(Refused({"--data", "weights.csv", "--freq-weight", "x"}),
            "'x' must be a number, but it is text (VARCHAR), such as '0,5'. 100 % of its values");
}

TEST_F(CommandData, InAQueryTextThatReadsAsNumbersNeedsAnExpression) {
  const json fit =
      FitJson({"--sql", "SELECT range % 7 AS y, (range % 5) || ',5' AS x FROM range(40)",
               "--formula", "y ~ x"});
  ExpectHas(fit["warnings"].dump(),
            R"(make numbers of them in --sql, such as CAST(replace(regexp_replace(replace(\"x\")");
}

TEST_F(CommandData, AnInfiniteValueIsRefusedWhereverItStands) {
  for (const std::string word : {"Inf", "inf", "-Inf", "Infinity"}) {
    folder_.Write("first.csv",
                  RowsOf("y,x", ",", [&](int i) { return i == 0 ? word : std::to_string(i); }));
    folder_.Write("later.csv", RowsOf("y,x", ",", [&](int i) {
                    return i == 1 ? word : std::to_string(i) + ".5";
                  }));
    ExpectHas(Refused({"--data", "first.csv"}), "The value of 'x' in row 1 is infinite");
    ExpectHas(Refused({"--data", "later.csv"}), "The value of 'x' in row 2 is infinite");
    ExpectHas(Refused({"--data", "first.csv", "--types", "x=double"}), "in row 1 is infinite");
  }
  folder_.Write("plain.csv", RowsOf("y,x", ",", [](int i) { return std::to_string(i) + ".5"; }));
  ExpectHas(Refused({"--data", "plain.csv", "first.csv"}), "in row 41 is infinite");
}

TEST_F(CommandData, ANumberInAnotherFormatIsNamedWithItsOption) {
  folder_.Write("rows.csv",
                RowsOf("y;x", ";", [](int i) { return std::to_string(i) + ",514.60"; }));
  ExpectHas(Refused({"--data", "rows.csv", "--types", "x=double"}),
            "the value '0,514.60' of 'x' in row 1 is not a number, as --types demands. Add "
            "--thousands , to read it as one.");
}

TEST_F(CommandData, JsonTakesNoFormatOfNumbers) {
  std::string rows;
  for (int i = 0; i < 40; ++i) {
    rows +=
        "{\"y\": " + std::to_string(i * 7 % 31) + ", \"x\": \"" + std::to_string(i) + ",250.5\"}\n";
  }
  const std::string file = folder_.Write("rows.json", rows);
  const std::string notes = FitJson({"--data", file, "--formula", "y ~ x"})["warnings"].dump();
  ExpectHas(notes, "make numbers of them in --sql, such as CAST(");
  EXPECT_EQ(notes.find("--thousands"), std::string::npos) << notes;
}

TEST_F(CommandData, CodesDatesAndThousandsAreNamed) {
  const auto zip = [](int i) { return std::string(i % 2 == 0 ? "01234" : "10115"); };
  ExpectHas(Notes(RowsOf("y,x", ",", zip), {}),
            "'x' is taken as codes and so as a factor, since values such as '01234' begin with a "
            "zero. For numbers, add --types x=integer.\n");
  EXPECT_EQ(Notes(RowsOf("y,x", ",", zip), {"--types", "x=integer"}), "");
  const auto date = [](int i) { return "0" + std::to_string(1 + i % 9) + "/02/2024"; };
  ExpectHas(Notes(RowsOf("y,d", ",", date), {}, "y ~ day(d)"), "The dates of 'd' are read as ");
  // A word of SQL is no bare name.
  ExpectHas(Notes(RowsOf("y,when", ",", date), {}, "y ~ day(`when`)"),
            "write strptime(`when`, ...) in the formula.\n");
  const auto grouped = [](int i) { return std::to_string(1 + i % 9) + ".000"; };
  ExpectHas(Notes(RowsOf("y;x", ";", grouped), {}),
            "The values of 'x', such as '1.000', are read with a decimal point. If points separate "
            "thousands in them, add --decimal , --thousands .\n");
}

TEST_F(CommandData, TheFormOfTheFileIsNamed) {
  const auto number = [](int i) { return std::to_string(i); };
  ExpectHas(Notes(RowsOf("1", ",", number).substr(2), {}, "column0 ~ column1"),
            "The data have no header, so their columns are called column0 and so on.");
  ExpectHas(Notes("made by me\n\n" + RowsOf("y,x", ",", number), {}),
            "The first 2 lines of the data were skipped");
  ExpectHas(Notes(RowsOf("y,x", ",", number) + "5\n", {}), "have fewer values than the header");
}

TEST_F(CommandData, CodesWithAMissingOneAmongThemAreCodes) {
  const std::string notes = Notes(
      RowsOf("y,zip", ",", [](int i) { return i == 3       ? "NA"
                                              : i % 2 == 0 ? "01067"
                                                           : "04109"; }),
      {}, "y ~ zip");
  EXPECT_NE(notes.find("'zip' is taken as codes"), std::string::npos) << notes;
}

/// Rows of y and x, where x is `first` up to the row numbered `change` and then `later`.
std::string ChangingRows(int change, const std::string& first, const std::string& later) {
  std::string rows = "y,x\n";
  for (int i = 0; i < change + 500; ++i) {
    rows +=
        std::to_string(i % 7 + (i < change ? 0 : 5)) + "," + (i < change ? first : later) + "\n";
  }
  return rows;
}

TEST_F(CommandData, AFractionBehindManyWholeNumbersIsNotRounded) {
  for (const int change : {20478, 20479, 20480, 30000}) {
    const std::string file = folder_.Write("in.csv", ChangingRows(change, "0", "0.25"));
    const json plain = FitJson({"--data", file, "--formula", "y ~ x"});
    const json typed = FitJson({"--data", file, "--formula", "y ~ x", "--types", "x=double"});
    EXPECT_EQ(plain["parameters"], typed["parameters"]) << change;
    EXPECT_FALSE(plain["parameters"][1]["redundant"]) << change;
    const json levels = FitJson({"--data", file, "--formula", "y ~ C(x)"});
    EXPECT_EQ(levels["parameters"][2]["label"], "x=0.25") << change;
  }
}

TEST_F(CommandData, AFieldOfObjectsIsInEveryFile) {
  std::string rows;
  for (int i = 0; i < 40; ++i) {
    rows += R"({"y":)" + std::to_string(i % 5) + R"(,"u":{"age":)" + std::to_string(i % 7) + "}}\n";
  }
  const json fit = FitJson({"--data", folder_.Write("a.jsonl", rows),
                            folder_.Write("b.jsonl", rows), "--formula", "y ~ u.age"});
  EXPECT_EQ(fit["records"]["used"], 80);
  EXPECT_EQ(fit["warnings"], json::array());
}

TEST_F(CommandData, AColumnWithoutNameThatTheDotTakesIsNoted) {
  std::string rows = ",y,x\n";
  for (int i = 0; i < 40; ++i) {
    rows += std::to_string(i) + "," + std::to_string(i % 5) + "," + std::to_string(i % 7) + "\n";
  }
  ExpectHas(
      Notes(rows, {}, "y ~ ."),
      "'.' stands for column0, too, which has no name in the header, as the row numbers that R "
      "and pandas write; take it out with '. - column0'.");
  EXPECT_EQ(Notes(rows, {}, "y ~ . - column0"), "");
  EXPECT_EQ(Notes(rows, {}, "y ~ x + column0"), "");
}

TEST_F(CommandData, WholeNumbersLargerThanADoubleHoldsStayApart) {
  std::string rows = "y,id\n";
  for (int i = 0; i < 40; ++i) {
    rows += std::to_string(i % 5) + ",90071992547409" + (i % 2 == 0 ? "92" : "93") + "\n";
  }
  const json fit = FitJson({"--data", folder_.Write("in.csv", rows), "--formula", "y ~ C(id)"});
  EXPECT_EQ(fit["parameters"][1]["label"], "id=9007199254740992");
  EXPECT_EQ(fit["parameters"][2]["label"], "id=9007199254740993");
}

TEST_F(CommandData, ATimeOfDayBehindManyDatesIsNotDropped) {
  folder_.Write("in.csv", ChangingRows(25000, "2024-01-01", "2024-01-01 13:00:00"));
  const CommandResult result =
      CommandRun({"fit", "--data", "in.csv", "--formula", "y ~ C(x)"}).In(folder_.Path()).Run();
  EXPECT_EQ(result.exitCode, 2);
  ExpectHas(result.err,
            "the value '2024-01-01 13:00:00' of 'x' in row 25001 is not of the type DATE, as those "
            "before it are. If it stands for a missing value, name it with --na '2024-01-01 "
            "13:00:00'; else read the column with --types x=timestamp or as text with --types "
            "x=varchar.");
  const json fit = FitJson(
      {"--data", folder_.File("in.csv"), "--formula", "y ~ C(x)", "--types", "x=timestamp"});
  EXPECT_EQ(fit["parameters"][2]["label"], "x=2024-01-01 13:00:00");
  folder_.Write("in.csv", ChangingRows(25000, "2024-01-01", "soon"));
  ExpectHas(
      CommandRun({"fit", "--data", "in.csv", "--formula", "y ~ C(x)"}).In(folder_.Path()).Run().err,
      "'soon'; else read the column as text with --types x=varchar.");
}

TEST_F(CommandData, YesAndNoAreCalledSo) {
  const std::string rows =
      RowsOf("y,answer,flag", ",", [](int i) { return i % 2 == 0 ? "Yes,TRUE" : "No,FALSE"; });
  const json fit =
      FitJson({"--data", folder_.Write("in.csv", rows), "--formula", "y ~ answer + flag"});
  EXPECT_EQ(fit["parameters"][1]["label"], "answer=No");
  EXPECT_EQ(fit["parameters"][2]["label"], "answer=Yes");
  EXPECT_EQ(fit["parameters"][3]["label"], "flag=FALSE");
}

TEST_F(CommandData, AColumnThatAFileLacksIsNamed) {
  folder_.Write("a.csv", RowsOf("y,x", ",", [](int i) { return std::to_string(i); }));
  folder_.Write("b.csv", "y\n1\n2\n");
  for (const Strings& data :
       {Strings{"--data", folder_.File("a.csv"), folder_.File("b.csv")},
        Strings{"--data", folder_.File("a.csv"), "--data", folder_.File("b.csv")},
        Strings{"--data", folder_.File("[ab].csv")}}) {
    Strings arguments = data;
    arguments.insert(arguments.end(), {"--formula", "y ~ x"});
    const json fit = FitJson(arguments);
    EXPECT_EQ(fit["records"]["used"], 40);
    EXPECT_EQ(fit["warnings"][0],
              "'x' is no column of '" + folder_.File("b.csv") + "' and missing in all its rows.");
  }
}

TEST_F(CommandData, StandardInput) {
  const std::string rows =
      folder_.Write("rows.csv", RowsOf("y,x", ",", [](int i) { return std::to_string(i); }));
  for (const char* name : {"-", "/dev/stdin"}) {
    const CommandResult result =
        CommandRun({"fit", "--data", name, "--formula", "y ~ x"}).InputFrom(rows).Run();
    EXPECT_EQ(result.exitCode, 0) << result.err;
    ExpectHas(result.out, "Data       standard input\n");
    ExpectHas(result.out, "40 read, 40 used");
  }
  const CommandResult empty =
      CommandRun({"fit", "--data", "-", "--formula", "y ~ x"}).InputFrom("/dev/null").Run();
  EXPECT_EQ(empty.exitCode, 2);
  EXPECT_EQ(empty.err, "qvreg: Standard input is empty.\n");
  EXPECT_EQ(CommandRun({"fit", "--data", "-", "-", "--formula", "y ~ x"}).InputFrom(rows).Run().err,
            "qvreg: --data names standard input twice; name it once.\n");
}

TEST_F(CommandData, StandardInputThatIsTooLongForTheDisk) {
  std::string rows = "y,x\n";
  for (int i = 0; i < 5000; ++i) rows += std::to_string(i * 7 % 31) + ",1\n";
  const CommandResult result =
      CommandRun({"fit", "--data", "-", "--formula", "y ~ x", "--spool-dir", folder_.File("")})
          .InputFrom(folder_.Write("rows.csv", rows))
          .FileSizeLimit(1000)
          .Run();
  EXPECT_EQ(result.exitCode, 1);
  ExpectHas(result.err, "cannot be written (File too large); name a folder with more room with");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.Path()), {}), 1);
}

TEST_F(CommandData, ASqliteDatabase) {
  WriteSqlite(
      folder_.File("shop.sqlite"),
      "CREATE TABLE t(y REAL, x INT); INSERT INTO t VALUES (1, 2), (2, 3), (2.5, 4), (4, 5); "
      "CREATE TABLE u(z)");
  EXPECT_EQ(Refused({"--data", "shop.sqlite"}),
            "qvreg: The database 'shop.sqlite' has 2 tables; choose one with --table: t, u.");
  const json fit = FitJson({"--data", folder_.File("shop.sqlite"), "--table", "t", "--where",
                            "x < 5", "--formula", "y ~ x"});
  EXPECT_EQ(fit["records"]["used"], 3);
  EXPECT_EQ(ParameterOf(fit, "x")["estimate"], 0.75);
}

TEST_F(CommandData, WrongOptions) {
  folder_.Write("r.csv", "y,x\n1,2\n");
  struct Case {
    Strings options;
    std::string sentence;
  };
  for (const Case& wrong : std::vector<Case>{
           {{"--encoding", "ebcdic"},
            "--encoding 'ebcdic' is not known; it may be utf-8, latin-1, windows-1252 or utf-16."},
           {{"--delim", ";;"}, "--delim takes one character, or tab; ';;' has 2."},
           {{"--header", "maybe"}, "--header is yes or no, not 'maybe'."},
           {{"--decimal", "x"}, "--decimal is a comma or a point, not 'x'."},
           {{"--thousands", ".."},
            "--thousands takes one character that is no digit or sign, such as . or a blank, not "
            "'..'."},
           {{"--thousands", "."},
            "--thousands '.' is the decimal separator, too; name another one with --decimal ,."},
           {{"--format", "xlsx"},
            "--format 'xlsx' is none of csv, tsv, json, parquet, sqlite and duckdb."},
           {{"--types", "z=double"}, "--types: there is no column 'z' in r.csv."},
           {{"--types", "x"},
            "--types is a list such as zip=varchar,price=double; 'x' is none of it."},
           {{"--types", "x=quux"},
            "--types: 'quux' of 'x' is no type; there are double, float, decimal(width, scale), "
            "integer, bigint, text, boolean, date, time and timestamp."},
           {{"--types", "x=double,X=date"}, "--types names 'X' twice; give it one type."},
           {{"--delim", ""}, "--delim has no value; write --delim CHARACTER."}}) {
    Strings options = {"--data", "r.csv"};
    options.insert(options.end(), wrong.options.begin(), wrong.options.end());
    EXPECT_EQ(Refused(options), "qvreg: " + wrong.sentence);
  }
  EXPECT_EQ(Refused({"--data", "r.csv", "."}),
            "qvreg: '.' is a folder; name a file in it, or a pattern such as './*.csv'.");
}

TEST_F(CommandData, AColumnDeclaredDecimalIsNotRounded) {
  const std::string file = folder_.Write("r.csv", "y,x\n1,1.5\n2,2.5\n3,4.25\n4,5.75\n");
  for (const char* const type : {"decimal(9,0)", "numeric(3, 1)", "decimal"}) {
    const json fit =
        FitJson({"--data", file, "--formula", "x ~ 1", "--types", std::string("x=") + type});
    EXPECT_EQ(fit["parameters"][0]["estimate"], 3.5) << type;
  }
}

TEST_F(CommandData, ADecimalWithoutAWidthKeepsItsDigits) {
  std::string rows = "y,x\n";
  for (int i = 0; i < 20; ++i) {
    rows += std::to_string(i) + ",0.000" + std::to_string(10 + i) + "\n";
  }
  const std::string file = folder_.Write("digits.csv", rows);
  for (const std::string type : {"numeric", "decimal"}) {
    const json declared = FitJson({"--data", file, "--formula", "y ~ x", "--types", "x=" + type});
    EXPECT_NEAR(ParameterOf(declared, "x")["estimate"].get<double>(), 1e5, 1e-4);
    const json cast = FitJson({"--data", file, "--formula", "y ~ cast(x as " + type + ")",
                               "--where", "cast(x as " + type + ") > 0.00012"});
    EXPECT_EQ(cast["records"]["used"], 17);
    EXPECT_NEAR(cast["parameters"][1]["estimate"].get<double>(), 1e5, 1e-4);
  }
}

TEST_F(CommandData, AFractionInAColumnDeclaredWholeIsRefused) {
  folder_.Write("r.csv", "y,x\n1,2\n2,0.6\n3,4\n4,7\n");
  EXPECT_EQ(Refused({"--data", "r.csv", "--types", "x=integer"}),
            "qvreg: r.csv: the value '0.6' of 'x' in row 2 is not a whole number, as --types "
            "demands. If it stands for a missing value, name it with --na '0.6'; else read the "
            "column with --types x=double or as text with --types x=varchar.");
}

TEST_F(CommandData, ADependentOfTextThatReadsAsNumbersIsRefused) {
  std::string rows = "y;x\n";
  for (int i = 0; i < 40; ++i) rows += std::to_string(i) + ",5;" + std::to_string(i * i) + "\n";
  folder_.Write("r.csv", rows);
  const std::string sentence = Refused({"--data", "r.csv"});
  ExpectHas(sentence,
            "The dependent 'y' is text, but 100 % of its values read as numbers with a "
            "decimal comma");
  ExpectHas(sentence, "--decimal ,");
}

TEST_F(CommandData, NumbersWithAPlusSignAreNoted) {
  const auto value = [](int i) { return (i % 2 == 0 ? "+" : "-") + std::to_string(i % 7 + 1); };
  const std::string rows = RowsOf("y,x", ",", value);
  ExpectHas(Notes(rows, {}), "numbers with a plus sign, such as '+");
  ExpectHas(Notes(rows, {}), "add --types x=double to read them as such.");
  EXPECT_EQ(Notes(rows, {"--types", "x=double"}), "");
}

TEST_F(CommandData, AHeaderThatLacksTheNameOfRowNamesIsExplained) {
  const std::vector<std::string> separators = {",", " "};
  for (const std::string& separator : separators) {
    std::string rows = "\"y\"" + separator + "\"x\"\n";
    for (int i = 0; i < 40; ++i) {
      rows += "\"" + std::to_string(i + 1) + "\"" + separator + std::to_string(i * 7 % 31) +
              separator + std::to_string(i) + "\n";
    }
    folder_.Write("r.txt", rows);
    ExpectHas(Refused({"--data", "r.txt", "--format", "csv", "--delim", separator}),
              "write the data with row.names = FALSE.");
  }
  ExpectHas(Refused({"--data", "r.txt", "--format", "csv"}), "--delim ' ' for blanks");
}

}  // namespace
}  // namespace qvhost
