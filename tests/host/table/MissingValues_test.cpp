// Missing strings in tables of every kind, wherever they stand.

#include <string>
#include <vector>

#include "host/table/TableSource.h"
#include "qvreg/common/Constants.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

using Texts = std::vector<std::string>;

constexpr int kRows = 200;
/// More than DuckDB looks at to tell the types.
constexpr int kManyRows = 60000;
constexpr int kLateRow = 50000;

class MissingValues : public TableTest {
 protected:
  /// A file of one column of numbers, with `text` in place of that of row `at`.
  std::string Numbers(const std::string& name, const std::string& text, int at = 3,
                      int rows = kRows) const {
    std::string lines = "x\n";
    for (int i = 0; i < rows; ++i) lines += (i == at ? text : std::to_string(i) + ".25") + "\n";
    return WriteText(name, lines);
  }

  static CodedTable Code(const std::string& data, const Texts& na = {},
                         const std::string& column = "x", const std::string& sql = "") {
    TableSource source({data, "", sql, na});
    source.SettleTypes({column});
    return CodeTable(source, {Ask(column)});
  }

  /// `x: NA 1, x: ? 2`
  static std::string Counted(const CodedTable& table) {
    std::string text;
    for (const MissingString& string : table.MissingStrings()) {
      text += (text.empty() ? "" : ", ") + string.column + ": " + string.text + " " +
              std::to_string(string.count);
    }
    return text;
  }

  static void ExpectNumbers(const CodedTable& table, const std::string& counted, int at = 3) {
    ASSERT_EQ(table.Columns()[0].kind, CodedColumn::Kind::kNumber) << counted;
    EXPECT_EQ(table.Columns()[0].missing, 1) << counted;
    EXPECT_EQ(Values(table)[static_cast<std::size_t>(at)], QvMV::gMissingValue) << counted;
    EXPECT_EQ(Counted(table), counted);
  }
};

TEST_F(MissingValues, InTheFirstRowsOfNumbers) {
  for (const std::string& text : MissingStrings::Default()) {
    ExpectNumbers(Code(Numbers("a.csv", text)), "x: " + text + " 1");
  }
  ExpectNumbers(Code(Numbers("a.csv", "\"\"")), "");
}

TEST_F(MissingValues, AfterTheRowsThatTellTheTypes) {
  for (const std::string& text : MissingStrings::Default()) {
    ExpectNumbers(Code(Numbers("a.csv", text, kLateRow, kManyRows)), "x: " + text + " 1", kLateRow);
  }
  ExpectNumbers(Code(Numbers("a.csv", "\" \"", kLateRow, kManyRows)), "", kLateRow);
}

TEST_F(MissingValues, QuotedAndPadded) {
  for (const char* text : {"\"NA\"", " NA", "NA  ", "\" NA \"", "\tNA"}) {
    ExpectNumbers(Code(Numbers("a.csv", text)), "x: NA 1");
    ExpectNumbers(Code(Numbers("a.csv", text, kLateRow, kManyRows)), "x: NA 1", kLateRow);
  }
}

TEST_F(MissingValues, NotANumberInAnExpressionIsMissingToo) {
  const std::string file = Numbers("a.csv", "nan", kLateRow, kManyRows);
  const CodedTable table = Code(file, {}, "CASE WHEN x > -1 THEN 1 ELSE 2 END");
  EXPECT_EQ(Values(table)[kLateRow], 2.0);
  EXPECT_EQ(Counted(table), "x: nan 1");
}

TEST_F(MissingValues, InAFactorTheyAreNoLevels) {
  std::string lines = "g\n";
  for (const std::string& text : MissingStrings::Default()) lines += text + "\na\n  b\n";
  const CodedTable table = Code(WriteText("g.csv", lines), {}, "g");
  EXPECT_EQ(table.Columns()[0].levels, (Texts{"  b", "a"}));
  EXPECT_EQ(table.Columns()[0].missing, 12);
  EXPECT_EQ(table.MissingStrings().size(), 12U);
  EXPECT_EQ(Values(table)[0], -1.0);
}

TEST_F(MissingValues, InBooleansAndDates) {
  std::string lines = "b,d\nNA,?\n";
  for (int i = 0; i < 30; ++i) lines += i % 2 == 0 ? "true,2020-01-02\n" : "false,2020-01-01\n";
  TableSource source({WriteText("b.csv", lines), "", ""});
  EXPECT_EQ(source.Matches("b").at(0)->kind, ColumnKind::kBoolean);
  EXPECT_EQ(source.Matches("d").at(0)->kind, ColumnKind::kDateTime);
  const CodedTable table = CodeTable(source, {Ask("b"), Ask("d", Coding::kFactor)});
  EXPECT_EQ(table.Columns()[0].levels, (Texts{"false", "true"}));
  EXPECT_EQ(table.Columns()[1].levels, (Texts{"2020-01-01", "2020-01-02"}));
  EXPECT_EQ(Counted(table), "b: NA 1, d: ? 1");
}

TEST_F(MissingValues, DatesOfAnotherOrder) {
  std::string lines = "d\n";
  for (int i = 0; i < 30; ++i) lines += i == 7 ? "NA\n" : std::to_string(i % 3 + 14) + "/02/2003\n";
  const CodedTable table =
      CodeTable(TableSource({WriteText("d.csv", lines), "", ""}), {Ask("d", Coding::kFactor)});
  EXPECT_EQ(table.Columns()[0].missing, 1);
  EXPECT_EQ(table.Columns()[0].levels.size(), 3U);
}

TEST_F(MissingValues, InFilesOfOtherKinds) {
  std::string tabs = "x\tz\n";
  std::string array = "[";
  std::string objects;
  for (int i = 0; i < kRows; ++i) {
    const std::string number = std::to_string(i) + ".5";
    tabs += (i == 3 ? "N/A" : number) + "\t1\n";
    const std::string object = "{\"x\": " + (i == 3 ? "\"N/A\"" : number) + "}";
    array += (i == 0 ? "" : ",") + object;
    objects += object + "\n";
  }
  ExpectNumbers(Code(WriteText("a.tsv", tabs)), "x: N/A 1");
  ExpectNumbers(Code(WriteText("a.json", array + "]")), "x: N/A 1");
  ExpectNumbers(Code(WriteText("a.ndjson", objects)), "x: N/A 1");
  const std::string query =
      "SELECT CASE range WHEN 3 THEN 'N/A' ELSE range::VARCHAR END AS x FROM range(200)";
  ExpectNumbers(Code(WriteTable("a.csv.gz", query)), "x: N/A 1");
}

TEST_F(MissingValues, LateInJson) {
  std::string objects;
  for (int i = 0; i < kManyRows; ++i) {
    objects += "{\"x\": " + (i == kLateRow ? "\"NA\"" : std::to_string(i)) + "}\n";
  }
  ExpectNumbers(Code(WriteText("a.ndjson", objects)), "x: NA 1", kLateRow);
}

TEST_F(MissingValues, TextsOfDigitsInJsonStayText) {
  const std::string file = WriteText("a.json", R"([{"x": "01"}, {"x": "NA"}, {"x": "02"}])");
  EXPECT_EQ(Code(file).Columns()[0].levels, (Texts{"01", "02"}));
}

TEST_F(MissingValues, InOneFileOfAPattern) {
  Numbers("p1.csv", "7");
  Numbers("p2.csv", "NA");
  WriteText("p3.csv", "x\n1\n2\n");
  ExpectNumbers(Code(Path("p*.csv")), "x: NA 1", kRows + 3);
}

TEST_F(MissingValues, ARowThatBeginsWithOneIsNoComment) {
  const CodedTable table = Code(WriteText("a.csv", "x,y\n1,2\n#N/A,3\n3,4\n"));
  EXPECT_EQ(Values(table), (std::vector<double>{1, QvMV::gMissingValue, 3}));
  EXPECT_EQ(Counted(table), "x: #N/A 1");
  EXPECT_EQ(Values(Code(WriteText("b.csv", "x,y\n1,2\n# a note\n3,4\n"))),
            (std::vector<double>{1, 3}));
}

TEST_F(MissingValues, AFileWithoutAHeadingKeepsItsFirstRow) {
  TableSource source({WriteText("a.csv", "1,NA\n2,3\n4,5\n"), "", ""});
  ASSERT_EQ(source.Columns().size(), 2U);
  const CodedTable table = CodeTable(source, {Ask("column0"), Ask("column1")});
  EXPECT_EQ(Values(table, 0), (std::vector<double>{1, 2, 4}));
  EXPECT_EQ(Values(table, 1), (std::vector<double>{QvMV::gMissingValue, 3, 5}));
}

TEST_F(MissingValues, AColumnWithoutAValueInTheFirstRowsIsANumber) {
  for (const char* text : {"NA", "\"\"", "\" \""}) {
    std::string lines = "x,z\n";
    for (int i = 0; i < kManyRows; ++i) {
      lines += (i < kLateRow ? text : std::to_string(i)) + std::string(",1\n");
    }
    const CodedTable table = Code(WriteText("a.csv", lines));
    ASSERT_EQ(table.Columns()[0].kind, CodedColumn::Kind::kNumber) << text;
    EXPECT_EQ(table.Columns()[0].missing, kLateRow) << text;
    EXPECT_EQ(Values(table)[kLateRow], kLateRow) << text;
  }
}

TEST_F(MissingValues, WholeNumbersMayHaveAFractionLater) {
  std::string lines = "x\n";
  for (int i = 0; i < kManyRows; ++i) {
    lines += (i == kLateRow ? "1.5" : i == 9 ? "NA" : std::to_string(i)) + "\n";
  }
  const CodedTable table = Code(WriteText("a.csv", lines));
  EXPECT_EQ(Values(table)[kLateRow], 1.5);
  EXPECT_EQ(Counted(table), "x: NA 1");
  EXPECT_EQ(Values(Code(Path("a.csv"), {}, "x", "SELECT x FROM data"))[kLateRow], 1.5);
}

TEST_F(MissingValues, ALateTextIsAnErrorThatSaysWhere) {
  Numbers("p1.csv", "7");
  Numbers("p2.csv", "abc", kLateRow, kManyRows);
  const Refusal refusal = RefusalOf([&] { (void)Code(Path("p*.csv")); });
  EXPECT_EQ(refusal.code, ExitCode::kBadInput);
  EXPECT_EQ(refusal.text.substr(refusal.text.find("p2.csv")),
            "p2.csv: the value 'abc' of 'x' in row 50001 is not a number, as those before it are. "
            "If it stands for a missing value, name it with --na 'abc'; else read the column as "
            "text with --types x=varchar.");
  ExpectNumbers(Code(Path("p*.csv"), {"abc"}), "x: abc 1", kRows + kLateRow);
}

TEST_F(MissingValues, TheListMayBeReplaced) {
  const std::string file = Numbers("a.csv", "NA");
  EXPECT_EQ(Code(file, {""}).Columns()[0].kind, CodedColumn::Kind::kFactor);
  EXPECT_EQ(Code(file, {"unknown"}).Columns()[0].kind, CodedColumn::Kind::kFactor);
  ExpectNumbers(Code(file, {"unknown", "NA"}), "x: NA 1");
  ExpectNumbers(Code(Numbers("b.csv", "-999"), {"-999"}), "x: -999 1");
  ExpectNumbers(Code(Numbers("b.csv", "-999", kLateRow, kManyRows), {"-999"}), "x: -999 1",
                kLateRow);
}

TEST_F(MissingValues, ThroughAQueryOverTheFile) {
  const std::string file = Numbers("a.csv", "NA");
  const CodedTable table = Code(file, {}, "twice", "SELECT 2 * x AS twice FROM data");
  ExpectNumbers(table, "x: NA 1");
  EXPECT_EQ(Values(table)[4], 8.5);
}

TEST_F(MissingValues, CountsOnlyColumnsThatAreRead) {
  const std::string file = WriteText("a.csv", "x,z,g\n1,NA,NA\n?,2,a\n3,4,b\n");
  EXPECT_EQ(Counted(Code(file)), "x: ? 1");
  EXPECT_EQ(Counted(Code(file, {}, "ln(x) + x + z")), "x: ? 1, z: NA 1");
}

TEST_F(MissingValues, OtherTablesOnlyWhenAsked) {
  const std::string query =
      "SELECT CASE range WHEN 3 THEN 'NA' ELSE range::VARCHAR END AS x, 'NA' AS g FROM range(200)";
  const std::string parquet = WriteTable("a.parquet", query);
  const std::string database = WriteDatabase("a.duckdb", "CREATE TABLE t AS " + query);
  for (const std::string& file : {parquet, database}) {
    EXPECT_EQ(Code(file).Columns()[0].levels.size(), 200U) << file;
    ExpectNumbers(Code(file, {"NA"}), "x: NA 1");
    EXPECT_TRUE(Code(file, {"NA"}, "g").Columns()[0].levels.empty()) << file;
  }
  EXPECT_EQ(Code("", {}, "x", query).Columns()[0].levels.size(), 200U);
  ExpectNumbers(Code("", {"NA"}, "x", query), "x: NA 1");
  // Nobody wrote a missing value: text that somebody made of numbers stays text.
  EXPECT_EQ(Code("", {"?"}, "x", "SELECT range::VARCHAR AS x FROM range(9)").Columns()[0].kind,
            CodedColumn::Kind::kFactor);
}

}  // namespace
}  // namespace qvhost
