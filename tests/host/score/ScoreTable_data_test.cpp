// New data to be scored: what they may lack, how they may be typed, and what is refused.
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/score/ScoreTableTest.h"

namespace qvhost {
namespace {

using Strings = std::vector<std::string>;

/// y is 10 + x for g = 'a', 20 + x for 'b'; z is numbers that are text, c booleans.
constexpr const char* kRows =
    "y,x,g,zip,c,year\n"
    "11,1,a,01067,yes,2001\n"
    "12,2,a,04109,no,2002\n"
    "21,1,b,01067,yes,2001\n"
    "23,3,b,04109,no,2003\n"
    "13,3,a,01067,no,2003\n"
    "22,2,b,04109,yes,2002\n";

class ScoreData : public ScoreTableTest {
 protected:
  [[nodiscard]] SavedModel Model(const std::string& formula) const {
    WriteText("in.csv", kRows);
    return FitToSave(OptionsOf("in.csv", formula));
  }

  /// The rounded predictions for a CSV file.
  [[nodiscard]] std::string Predicted(const SavedModel& saved, const std::string& csv) {
    WriteText("new.csv", csv);
    result_ = Scored(saved, Data("new.csv"));
    return Scores("round(TRY_CAST(predicted AS DOUBLE), 6)");
  }

  [[nodiscard]] std::string RefusalOfCsv(const SavedModel& saved, const std::string& csv) const {
    WriteText("new.csv", csv);
    ScoreOptions options = Data("new.csv");
    options.source.data = "new.csv";
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder_);
    const std::string text = RefusalText(saved, options);
    std::filesystem::current_path(before);
    return text;
  }

  ScoreResult result_;
};

TEST_F(ScoreData, NeedNoDependentAndColumnsInNoOrder) {
  EXPECT_EQ(Predicted(Model("y ~ g + x"), "G,id,X\nb,7,5\na,8,4\n"), "25.0 14.0");
  EXPECT_EQ(result_.rows, 2);
  EXPECT_EQ(result_.scored, 2);
  EXPECT_TRUE(result_.columns.empty());
  EXPECT_TRUE(result_.warnings.empty());
}

TEST_F(ScoreData, MissingValuesAndUnknownLevelsAreNullAndCounted) {
  EXPECT_EQ(Predicted(Model("y ~ g + x"), "g,x\na,1\nc,1\n,1\nb,\nd,NA\nb,4\n"),
            "11.0 - - - - 24.0");
  EXPECT_EQ(result_.scored, 2);
  EXPECT_EQ(result_.incomplete, 4);
  ASSERT_EQ(result_.columns.size(), 2U);
  EXPECT_EQ(result_.columns[0].name, "g");
  EXPECT_EQ(result_.columns[0].missing, 1);
  EXPECT_EQ(result_.columns[0].unknown, 2);
  EXPECT_EQ(result_.columns[0].example, "c");
  EXPECT_EQ(result_.columns[1].name, "x");
  EXPECT_EQ(result_.columns[1].missing, 2);
  EXPECT_EQ(result_.columns[1].unknown, 0);
}

TEST_F(ScoreData, CombinationsOfLevelsThatTheFitDidNotHaveAreCountedApart) {
  EXPECT_EQ(Predicted(Model("y ~ g:C(year)"), "g,year\na,2001\nb,2001\na,2003\n"),
            "11.0 21.0 13.0");
  WriteText("in.csv", "y,g,h\n1,a,p\n2,a,q\n3,b,p\n");
  EXPECT_EQ(Predicted(FitToSave(OptionsOf("in.csv", "y ~ g:h")), "g,h\nb,p\nb,q\n"), "3.0 -");
  EXPECT_EQ(result_.unseen, 1);
  EXPECT_EQ(result_.incomplete, 0);
}

TEST_F(ScoreData, NoRowKnownIsNoted) {
  EXPECT_EQ(Predicted(Model("y ~ g"), "g\nz\nzz\n"), "- -");
  EXPECT_EQ(result_.scored, 0);
  ASSERT_EQ(result_.warnings.size(), 1U);
  EXPECT_TRUE(result_.warnings.front().starts_with("No row could be scored;"));
}

TEST_F(ScoreData, AFileOfNamesAloneGivesNamesAlone) {
  EXPECT_EQ(Predicted(Model("y ~ g + log(x) + C(year)"), "g,x,year\n"), "");
  EXPECT_EQ(qvtest::ReadFile(Path("scores.csv")), "predicted\n");
  EXPECT_EQ(result_.rows, 0);
  ASSERT_FALSE(result_.warnings.empty());
  EXPECT_TRUE(result_.warnings.front().starts_with("The data hold no row;"));
}

TEST_F(ScoreData, AConditionMayLeaveNothing) {
  const SavedModel saved = Model("y ~ g + x");
  ScoreOptions options = Data("in.csv");
  options.where = "x > 100";
  const ScoreResult result = Scored(saved, options);
  EXPECT_EQ(result.rows, 0);
  EXPECT_EQ(result.leftOut, 6);
  EXPECT_EQ(result.warnings, Strings{"The condition of --where is true for none of the 6 rows."});
  options.where = "g = 'a' and x > 1";
  EXPECT_EQ(Scored(saved, options).rows, 2);
  EXPECT_EQ(Scores("round(TRY_CAST(predicted AS DOUBLE), 6)"), "12.0 13.0");
}

TEST_F(ScoreData, ColumnsWithoutAnyValueAreMissing) {
  EXPECT_EQ(Predicted(Model("y ~ g + log(x) + C(year)"), "g,x,year\na,,\nb,NA,\n"), "- -");
  EXPECT_EQ(result_.incomplete, 2);
  WriteTable("none.parquet", "SELECT NULL::VARCHAR AS x, NULL::VARCHAR AS g FROM range(3)");
  const ScoreResult result = Scored(Model("y ~ g + x"), Data("none.parquet"));
  EXPECT_EQ(result.incomplete, 3);
}

TEST_F(ScoreData, TextsOfTheFitAreReadAsTexts) {
  const SavedModel saved = Model("y ~ zip");
  ASSERT_EQ(saved.variables[1].levels, (Strings{"01067", "04109"}));
  EXPECT_EQ(Predicted(saved, "zip\n04109\n01067\n"), "19.0 15.0");
  // DuckDB takes these for numbers, and what stands in the fit's data is 01067.
  EXPECT_EQ(Predicted(saved, "zip\n4109\n1067\n"), "- -");
  ASSERT_EQ(result_.columns.size(), 1U);
  EXPECT_EQ(result_.columns.front().unknown, 2);
  // In a table of numbers nothing else can be meant.
  WriteTable("new.parquet", "SELECT unnest([4109, 1067, 3]) AS zip");
  static_cast<void>(Scored(saved, Data("new.parquet")));
  EXPECT_EQ(Scores("round(TRY_CAST(predicted AS DOUBLE), 6)"), "19.0 15.0 -");
}

TEST_F(ScoreData, NumbersMayBeOfAnyType) {
  const SavedModel saved = Model("y ~ C(year) + x");
  std::string expected;
  for (const std::string type :
       {"INTEGER", "DOUBLE", "FLOAT", "DECIMAL(9,2)", "VARCHAR", "HUGEINT"}) {
    WriteTable("new.parquet", "SELECT unnest([2002, 2003, 2009, 2001])::" + type +
                                  " AS year, unnest([2, 3, 1, 1])::TINYINT AS x");
    EXPECT_EQ(Scored(saved, Data("new.parquet")).scored, 3) << type;
    if (expected.empty()) expected = Scores("predicted");
    EXPECT_EQ(Scores("predicted"), expected) << type;
  }
}

TEST_F(ScoreData, BooleansMayBeWrittenOtherwise) {
  const SavedModel saved = Model("y ~ c");
  ASSERT_EQ(saved.variables[1].levels, (Strings{"no", "yes"}));
  const std::string expected = "18.0 16.0";
  EXPECT_EQ(Predicted(saved, "c\nyes\nno\n"), expected);
  EXPECT_EQ(Predicted(saved, "c\ntrue\nfalse\n"), expected);
  EXPECT_EQ(Predicted(saved, "c\n1\n0\n"), expected);
  EXPECT_EQ(Predicted(saved, "c\nYes\nNo\nmaybe\n"), expected + " -");
  WriteTable("new.parquet", "SELECT unnest([true, false]) AS c");
  static_cast<void>(Scored(saved, Data("new.parquet")));
  EXPECT_EQ(Scores("round(TRY_CAST(predicted AS DOUBLE), 6)"), expected);
}

TEST_F(ScoreData, TheReadingOfTheFitCounts) {
  WriteText("comma.csv", "y;x;g\n1;1,5;a\n2;2,5;a\n3;3,5;b\n4;-9;b\n9;8,5;NA\n");
  FitOptions fit = OptionsOf("comma.csv", "y ~ x + g");
  fit.source.reading.decimal = ',';
  fit.source.na = {"-9"};
  const SavedModel saved = FitToSave(fit);
  ASSERT_EQ(saved.reading.na, Strings{"-9"});
  WriteText("new.csv", "x;g\n2,5;a\n-9;a\n8,5;NA\n");
  ScoreOptions options = Data("new.csv");
  EXPECT_EQ(Scored(saved, options).scored, 2) << "NA is a level, -9 missing";
  EXPECT_EQ(Scores("coalesce(predicted::VARCHAR, '') = ''"), "false true false");
  options.source.reading.decimal = '.';
  EXPECT_EQ(RefusalText(saved, options).find("'x' is text"), 0U);
  WriteTable("new.parquet", "SELECT 2.5 AS x, 'a' AS g");
  EXPECT_EQ(Scored(saved, Data("new.parquet")).scored, 1) << "has no decimal comma";
}

TEST_F(ScoreData, OfAnotherTableAreRefused) {
  EXPECT_EQ(RefusalOfCsv(Model("y ~ g + sqrt(year)"), "g,yeer\na,1\n"),
            "There is no column 'year' in new.csv, which the model in 'model.pmml' needs for "
            "'sqrt(year)'; did you mean 'yeer'?");
  const SavedModel saved = Model("y ~ g + log(x)");
  EXPECT_EQ(RefusalOfCsv(saved, "group,x\na,1\n"),
            "There is no column 'g' in new.csv, which the model in 'model.pmml' needs.");
  const std::string text = RefusalOfCsv(saved, "g,x\na,one\n");
  EXPECT_EQ(text.find("'log(x)' of the model in 'model.pmml' cannot be read: "), 0U) << text;
  EXPECT_EQ(RefusalOfCsv(Model("y ~ x"), "x\none\ntwo\n"),
            "'x' is text (VARCHAR) in new.csv, but a number in the model in 'model.pmml'; make one "
            "of the other with --sql, or name other data.");
}

TEST_F(ScoreData, LevelsThatCannotBeNumbersAreNotNumbers) {
  const SavedModel saved = Model("y ~ g");
  WriteTable("new.parquet", "SELECT 1 AS g");
  EXPECT_NE(RefusalText(saved, Data("new.parquet"))
                .find("but a factor of levels such as 'a' in the model in 'model.pmml'"),
            std::string::npos);
  WriteTable("new.parquet", "SELECT DATE '2020-01-01' AS g");
  EXPECT_NE(RefusalText(saved, Data("new.parquet")).find("'g' is a date or time (DATE)"),
            std::string::npos);
}

TEST_F(ScoreData, TheOutputReplacesNeitherDataNorModel) {
  const SavedModel saved = Model("y ~ g");
  ScoreOptions options = Data("in.csv");
  options.out = options.source.data;
  EXPECT_NE(RefusalText(saved, options).find("would replace the input"), std::string::npos);
  options = Data("in.csv");
  options.model = options.out = WriteText("model.csv", "a model");
  EXPECT_NE(RefusalText(saved, options).find("would replace the input"), std::string::npos);
}

TEST_F(ScoreData, ADamagedModelIsRefused) {
  SavedModel saved = Model("y ~ g");
  saved.variables[1].levels.emplace_back("c");
  EXPECT_NE(RefusalText(saved, Data("in.csv")).find("do not belong together"), std::string::npos);
  saved.component[saved.component.size() / 2] ^= 1U;
  EXPECT_NE(RefusalText(saved, Data("in.csv")).find("The saved model is damaged"),
            std::string::npos);
}

TEST_F(ScoreData, KeptColumnsStandBefore) {
  const SavedModel saved = Model("y ~ g + x");
  ScoreOptions options = Data("in.csv");
  options.keep = {"zip", "y"};
  static_cast<void>(Scored(saved, options));
  EXPECT_TRUE(qvtest::ReadFile(Path("scores.csv")).starts_with("zip,y,predicted\n01067,11,"));
  options.keepAll = true;
  options.out = Path("scores.parquet");
  static_cast<void>(Scored(saved, options));
  EXPECT_EQ(Scores("string_agg(zip || x || g, ' ')", "scores.parquet"),
            "010671a 041092a 010671b 041093b 010673a 041092b");
}

TEST_F(ScoreData, RowsOfAnyNumberKeepTheirOrder) {
  WriteTable("line.parquet", "SELECT i AS x, 3.0 * i + 1 AS y FROM range(9) t(i)");
  const SavedModel saved = FitToSave(OptionsOf("line.parquet", "y ~ x"));
  WriteTable("many.parquet", "SELECT i AS id, i % 1000 AS x FROM range(300000) t(i)");
  for (const int threads : {1, 3}) {
    ScoreOptions options = Data("many.parquet");
    options.keep = {"id", "x"};
    options.threads = threads;
    EXPECT_EQ(Scored(saved, options).scored, 300000);
    EXPECT_EQ(Connection().Rows(
                  "SELECT count(*), count(*) FILTER (id <> place OR abs(predicted - 3 * x - 1) > "
                  "1e-9) FROM (SELECT *, row_number() OVER () - 1 AS place FROM " +
                  QuoteText(options.out) + ")"),
              (std::vector<std::vector<std::optional<std::string>>>{{"300000", "0"}}));
  }
}

}  // namespace
}  // namespace qvhost
