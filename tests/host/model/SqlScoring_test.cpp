// The printed SQL against what the component predicts, in DuckDB and in SQLite.
#include "host/model/SqlScoring.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/formula/FormulaError.h"
#include "tests/host/model/Saving.h"
#include "tests/host/table/SqliteMaker.h"
#include "tests/host/table/SqliteReader.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

using Row = std::vector<std::optional<std::string>>;
using Rows = std::vector<Row>;

/// 600 rows with every kind of column: missing numbers, NaN, odd names and levels. In every 17th
/// row the dependent is missing and one of the factors has a level that occurs nowhere else.
constexpr const char* kMixed = R"sql(
SELECT i AS id,
  CASE WHEN i % 17 = 0 THEN NULL ELSE 20 + sin(i) + i % 3 + 0.01 * (i % 50) END AS y,
  CASE WHEN i % 17 = 0 THEN NULL ELSE ['no', 'yes'][1 + (i * 7919) % 1009 % 2] END AS two,
  CASE WHEN i % 17 = 0 THEN NULL
    ELSE ['it''s', 'b "c"', 'no'][1 + (i * 7919) % 1009 % 3] END AS three,
  CASE WHEN i % 17 = 0 THEN NULL
    ELSE 'level ' || ((i * 7919) % 1009 % 30)::VARCHAR END AS thirty,
  CASE WHEN i % 41 = 0 THEN NULL WHEN i % 43 = 0 THEN 'nan'::DOUBLE
    ELSE (i * 37 % 101) / 10.0 + 0.25 END AS x,
  CASE WHEN i % 47 = 0 THEN NULL ELSE (i * 53 % 97)::BIGINT + 1 END AS n,
  CASE WHEN i % 17 = 0 AND i % 2 = 0 THEN 'never' WHEN i % 53 = 0 THEN NULL
    ELSE ['it''s', 'say "hi"', 'ü', ' 1'][1 + i % 4] END AS g,
  CASE WHEN i % 17 = 0 AND i % 2 = 1 THEN '3' ELSE ['1', '2', '10'][1 + i // 2 % 3] END AS h,
  i // 5 % 3 AS k,
  ((i // 3 % 4) / 4.0)::DECIMAL(6, 2) AS dec,
  [0.1, 0.2, 1e-3][1 + i // 7 % 3]::FLOAT AS single,
  [0.1, -2.5, 1e21][1 + i // 11 % 3]::DOUBLE AS big,
  CASE WHEN i % 59 = 0 THEN NULL ELSE i // 4 % 3 = 0 END AS flag,
  DATE '2020-01-30' + (i // 6 % 4)::INTEGER AS day,
  ['low', 'mid', 'top'][1 + i // 13 % 3] AS "odd ""name"""
FROM range(1, 601) t(i))sql";

/// A SQLite literal of a value that DuckDB has.
std::string LiteralSql(const ColumnInfo& column, const std::optional<std::string>& value) {
  if (!value || *value == "nan") return "NULL";
  if (column.kind == ColumnKind::kBoolean) return *value == "true" ? "1" : "0";
  return column.kind == ColumnKind::kNumber ? *value : QuoteText(*value);
}

std::string SqliteType(const ColumnInfo& column) {
  if (column.kind == ColumnKind::kBoolean) return "BOOLEAN";
  if (column.kind != ColumnKind::kNumber) return "TEXT";
  return column.type == "BIGINT" ? "INTEGER" : "REAL";
}

/// A query without what ends it, for one around it.
std::string Inner(const std::string& query) { return query.substr(0, query.rfind(';')); }

class SqlScoringTest : public TableTest {
 protected:
  /// Fits to the result of a query, and keeps what the component predicts for all of its rows.
  void Fit(const std::string& sql, const std::string& formula, FitOptions options = {}) {
    options.source.sql = sql;
    options.formula = formula;
    options.predictions = Path("predictions.parquet");
    options.keep = {"id"};
    model_ = FitToSave(options);
    duckDb_.Execute("CREATE OR REPLACE TABLE data AS " + sql);
    CopyToSqlite();
    const std::string file = "(FROM " + QuoteText(options.predictions) + ")";
    for (const ColumnInfo& column : duckDb_.Describe("FROM " + file)) {
      const std::string& name = column.name;
      const bool isScore = name == "predicted" || name.starts_with("p_");
      if (isScore) scores_.push_back(QuoteName(name));
    }
    list_ = fmt::format("{}", fmt::join(scores_, ", "));
    expected_ = duckDb_.Rows("SELECT " + list_ + " FROM " + file + " ORDER BY id");
  }

  void CopyToSqlite() {
    sqlite_ = Path("data.sqlite");
    std::filesystem::remove(sqlite_);
    const std::vector<ColumnInfo> columns = duckDb_.Describe("FROM data");
    std::vector<std::string> heads;
    for (const ColumnInfo& column : columns) {
      heads.push_back(QuoteName(column.name) + " " + SqliteType(column));
    }
    std::string text = fmt::format("BEGIN; CREATE TABLE data ({});\n", fmt::join(heads, ", "));
    for (const Row& row : duckDb_.Rows("FROM data")) {
      std::vector<std::string> values;
      for (std::size_t i = 0; i < row.size(); ++i) values.push_back(LiteralSql(columns[i], row[i]));
      text += fmt::format("INSERT INTO data VALUES ({});\n", fmt::join(values, ", "));
    }
    WriteSqlite(sqlite_, text + "COMMIT");
  }

  /// The same rows of scores from both databases, with all columns of the table and with one.
  void ExpectAllAlike() {
    for (const bool keepsAll : {true, false}) {
      SqlOptions options;
      options.keepAll = keepsAll;
      options.keep = {"id"};
      const std::string query = Inner(ScoringSql(model_, options));
      const std::string select = "SELECT " + list_ + " FROM (" + query + ") ORDER BY id";
      ExpectAlike(duckDb_.Rows(select), keepsAll ? "DuckDB, all" : "DuckDB");
      ExpectAlike(SqliteRows(sqlite_, select), keepsAll ? "SQLite, all" : "SQLite");
    }
    RecordProperty("LargestDifference", fmt::format("{:.3g}", largest_));
    EXPECT_LE(largest_, 1e-12);
    EXPECT_GT(scored_, 0U);
  }

  void ExpectAlike(const Rows& found, const std::string& where) {
    SCOPED_TRACE(where);
    ASSERT_EQ(found.size(), expected_.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
      for (std::size_t j = 0; j < found[i].size(); ++j) {
        ASSERT_EQ(found[i][j].has_value(), expected_[i][j].has_value())
            << "row " << i << ", " << scores_[j];
        if (!found[i][j]) continue;
        ++scored_;
        const bool isText = j == 0 && model_.fit.logistic.has_value();
        if (!isText) Compare(*found[i][j], *expected_[i][j]);
        ASSERT_TRUE(!isText || found[i][j] == expected_[i][j]) << "row " << i;
      }
    }
  }

  void Compare(const std::string& found, const std::string& expected) {
    const double value = std::atof(expected.c_str());
    largest_ = std::max(largest_, std::abs(std::atof(found.c_str()) - value) / std::abs(value));
  }

  /// The scores of one row, given as SQL, by either database.
  Row Score(const std::string& row) {
    SqlOptions options;
    options.table = "one";
    duckDb_.Execute("CREATE OR REPLACE TABLE one AS SELECT * REPLACE (" + row +
                    ") FROM data WHERE id = 1");
    const std::string select =
        "SELECT " + list_ + " FROM (" + Inner(ScoringSql(model_, options)) + ")";
    const Row found = duckDb_.Rows(select).at(0);
    WriteSqlite(sqlite_,
                "DROP TABLE IF EXISTS one; CREATE TABLE one AS SELECT * FROM data WHERE "
                "id = 1; UPDATE one SET " +
                    Assignment(row));
    const Row same = SqliteRows(sqlite_, select).at(0);
    for (std::size_t i = 0; i < found.size(); ++i)
      EXPECT_EQ(found[i].has_value(), same[i].has_value());
    return found;
  }

  /// `value AS name` as `name = value`.
  static std::string Assignment(const std::string& row) {
    const std::size_t as = row.rfind(" AS ");
    return row.substr(as + 4) + " = " + row.substr(0, as);
  }

  SavedModel model_;
  Connection duckDb_;
  std::string sqlite_;
  std::vector<std::string> scores_;  ///< Names of columns, in quotes.
  std::string list_;
  Rows expected_;
  double largest_ = 0.0;  ///< Relative difference of all numbers so far.
  std::size_t scored_ = 0;
};

class SqlFormulas : public SqlScoringTest, public testing::WithParamInterface<const char*> {};

TEST_P(SqlFormulas, PredictWhatTheComponentDoes) {
  Fit(kMixed, GetParam());
  ExpectAllAlike();
}

INSTANTIATE_TEST_SUITE_P(
    , SqlFormulas,
    testing::Values(
        "y ~ 1", "y ~ x", "y ~ x*n + poly(x, 3) + I(n^6)", "y ~ g", "y ~ 0 + g + h",
        "y ~ g*h + k:x", "y ~ g/h + x:g", "y ~ g:h:flag + C(k):x",
        "y ~ C(k) + C(dec) + C(single) + C(big)", "y ~ flag + C(day) + flag:C(day)",
        "y ~ `odd \"name\"`*g + x + I(2 * x)", "y ~ scale(x) + center(n) + I(scale(n)^2)",
        "log(y) ~ log(x) + exp(-x) + sqrt(n) + abs(x - 5)",
        "scale(y) ~ I(x * n) + if(x > 5, n, x) + if(x > 5, x, nullif(n, 7))",
        "y ~ if(flag, 1, 0) + I(g = 'ü') + I(x > 5 or n < 20) + C(n % 4)",
        "y ~ I(case when g in ('it''s', 'ü') then 'a' else h end) + greatest(x, 5) + log1p(n)",
        "two ~ 1", "two ~ x + g", "two ~ g*h + flag:x", "two ~ scale(x) + C(day) + log(n)",
        "three ~ x + n", "three ~ g*h + x", "three ~ C(k)/x + flag + log(n)", "thirty ~ x",
        "thirty ~ C(k) + x", "C(k) ~ x + g", "flag ~ x + n"),
    [](const auto& test) { return "Formula" + std::to_string(test.index); });

TEST_F(SqlScoringTest, ATieGoesToTheLevelWithMoreRecords) {
  FitOptions options;
  options.binding.freqWeight = "w";
  Fit("SELECT i AS id, ['a', 'b', 'b', 'c', 'c', 'c'][i] AS y, [6, 3, 3, 1, 1, 4][i] AS w, 1 AS x "
      "FROM range(1, 7) t(i)",
      "y ~ 1", options);
  EXPECT_EQ(expected_[0][0], "c");
  ExpectAllAlike();
}

TEST_F(SqlScoringTest, ALevelThatTheModelDoesNotKnowHasNoScore) {
  Fit(kMixed, "three ~ g*flag + C(day) + C(k) + x");
  EXPECT_TRUE(Score("1.5 AS x")[0]);
  EXPECT_TRUE(Score("'ü' AS g")[0]);
  EXPECT_FALSE(Score("'Ü' AS g")[0]);
  EXPECT_FALSE(Score("'' AS g")[0]);
  EXPECT_FALSE(Score("nullif(g, g) AS g")[1]);
  EXPECT_FALSE(Score("7 AS k")[2]);
  EXPECT_FALSE(Score("nullif(x, x) AS x")[3]);
  EXPECT_FALSE(Score("nullif(flag, flag) AS flag")[0]);
  EXPECT_FALSE(Score("1e999 AS x")[0]);
  EXPECT_TRUE(Score("'2020-02-01' AS day")[0]);
  EXPECT_FALSE(Score("'2021-02-01' AS day")[0]);
}

TEST_F(SqlScoringTest, BooleansMayBeWordsOrNumbers) {
  Fit(kMixed, "y ~ flag + I(if(flag, 2, 1) * x)");
  const Row yes = Score("'Yes' AS flag");
  EXPECT_TRUE(yes[0]);
  EXPECT_EQ(Score("1 AS flag"), yes);
  EXPECT_EQ(Score("'TRUE' AS flag"), yes);
  EXPECT_NE(Score("0 AS flag"), yes);
  EXPECT_EQ(Score("'n' AS flag"), Score("0 AS flag"));
  EXPECT_FALSE(Score("'maybe' AS flag")[0]);
}

TEST_F(SqlScoringTest, ProbabilitiesDoNotOverflow) {
  Fit(kMixed, "three ~ x + n");
  const Row far = Score("1e6 AS n");
  ASSERT_TRUE(far[0]);
  double sum = 0.0;
  for (std::size_t i = 1; i < far.size(); ++i) sum += std::atof(far[i]->c_str());
  EXPECT_EQ(sum, 1.0);
}

TEST_F(SqlScoringTest, LongSumsAndManyLevelsStayShallow) {
  std::string columns;
  std::string formula = "y ~ g";
  for (int i = 0; i < 300; ++i) {
    columns += fmt::format(", sin(i * {0}) AS a{0}", i + 1);
    formula += fmt::format(" + a{}", i + 1);
  }
  Fit("SELECT i AS id, 100 + cos(i) + i % 7 AS y, 'level ' || (i % 500)::VARCHAR AS g" + columns +
          " FROM range(2500) t(i)",
      formula);
  ExpectAllAlike();
}

TEST_F(SqlScoringTest, TheTextGrowsWithTheLevels) {
  const auto lengthOf = [this](int levels) {
    Fit(fmt::format("SELECT i AS id, cos(i) AS y, 'level ' || (i % {0})::VARCHAR AS g, i % 3 AS k "
                    "FROM range(4 * {0}) t(i)",
                    levels),
        "C(k) ~ g + g:y");
    return ScoringSql(model_, {}).size();
  };
  EXPECT_LT(lengthOf(100), 11 * lengthOf(10));
}

TEST_F(SqlScoringTest, NamesTheTableAndTheColumns) {
  Fit("SELECT i AS id, i * 2.0 + sin(i) AS y, i AS x, i AS predicted FROM range(9) t(i)", "y ~ x");
  duckDb_.Execute("CREATE SCHEMA s; CREATE TABLE s.\"a \"\"b\" AS FROM data");
  SqlOptions options;
  options.table = "s.a \"b";
  options.keepAll = false;
  options.keep = {"predicted", "id"};
  const std::string query = ScoringSql(model_, options);
  std::vector<std::string> names;
  for (const ColumnInfo& column : duckDb_.Describe(Inner(query))) names.push_back(column.name);
  EXPECT_EQ(names, (std::vector<std::string>{"predicted_data", "id", "predicted"}));
  EXPECT_EQ(duckDb_.Rows(Inner(query)).size(), 9U);
  // A table may be called as a step.
  duckDb_.Execute("CREATE TABLE qvreg_rows AS FROM data");
  options.table = "qvreg_rows";
  EXPECT_EQ(duckDb_.Rows(Inner(ScoringSql(model_, options))).size(), 9U);
  options.keepAll = true;
  EXPECT_EQ(duckDb_.Describe(Inner(ScoringSql(model_, options))).size(), 5U);
  options.keepAll = false;
  options.keep.clear();
  EXPECT_EQ(duckDb_.Describe(Inner(ScoringSql(model_, options))).size(), 1U);
}

TEST_F(SqlScoringTest, NamesWhatDatabasesDoNotShare) {
  const std::vector<std::pair<std::string, std::string>> wrong = {
      {"y ~ round(x, 1)", "'round'"},
      {"y ~ month(day)", "a date or time"},
      {"y ~ I(h like '1%')", "'LIKE'"}};
  for (const auto& [formula, named] : wrong) {
    Fit(kMixed, formula);
    const Refusal refusal = RefusalOf([this] { static_cast<void>(ScoringSql(model_, {})); });
    EXPECT_EQ(refusal.code, ExitCode::kBadInput);
    EXPECT_NE(refusal.text.find(named), std::string::npos) << refusal.text;
    EXPECT_NE(refusal.text.find("that all SQL databases share"), std::string::npos);
  }
}

TEST_F(SqlScoringTest, RefusesAModelThatIsNone) {
  SavedModel model;
  model.component = {1, 2, 3};
  EXPECT_EQ(RefusalOf([&] { static_cast<void>(ScoringSql(model, {})); }).code, ExitCode::kBadInput);
}

}  // namespace
}  // namespace qvhost
