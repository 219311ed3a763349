// Scores of saved models: the bits of the fit's own predictions, and what new data may be like.
#include "host/score/ScoreTable.h"

#include <cmath>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/Text.h"
#include "host/table/Connection.h"
#include "tests/host/fit/Everything.h"
#include "tests/host/score/ScoreTableTest.h"
#include "tests/host/table/SqliteMaker.h"

namespace qvhost {
namespace {

using Strings = std::vector<std::string>;

/// 600 rows: numbers, texts, booleans, dates, an enumeration, odd names, missing values of each.
constexpr const char* kTable =
    "SELECT i AS id, i * 0.75 + sin(i * 17.0) * 9 AS y, "
    "CASE WHEN i % 41 <> 5 THEN (i * 7 % 11)::DOUBLE + 0.1 END AS x, "
    "CASE WHEN i % 43 <> 6 THEN i % 5 - 2 END AS k, i % 3 + 2000 AS year, "
    "CASE WHEN i % 47 <> 7 THEN chr(97 + (i % 3)::INTEGER) END AS g, "
    "CASE i % 3 WHEN 0 THEN 'u' WHEN 1 THEN 'v' ELSE 'w' END || i % 2 AS h, i % 4 = 1 AS b, "
    "i % 5 * 0.5 + 0.5 AS f, CAST(i % 3 + 1 AS DOUBLE) AS n, "
    "DATE '2020-01-01' + CAST(i % 6 AS INTEGER) AS day, i % 13 + 0.5 AS \"odd name\", "
    "CASE WHEN hash(i) % 5 < 2 + i % 2 THEN 'yes' ELSE 'no' END AS won, "
    "CASE WHEN hash(i + 7) % 7 < 2 THEN 'lo' WHEN hash(i) % 2 = 0 THEN 'mid' ELSE 'hi' END AS rank "
    "FROM range(600) t(i)";

/// A fit whose scores are to be its predictions.
struct Case {
  const char* name;
  const char* formula;
  const char* file = "in.parquet";
  void (*change)(FitOptions& options) = nullptr;
  friend std::ostream& operator<<(std::ostream& out, const Case& one) { return out << one.name; }
};

class ScoreBits : public ScoreTableTest, public testing::WithParamInterface<Case> {
 protected:
  /// Makes the file of the case.
  void WriteFile() const {
    const std::string name = GetParam().file;
    const std::string from = std::string(" FROM (") + kTable + ")";
    if (name == "comma.csv") {
      WriteText(name, Comma());
    } else if (name == "in.sqlite") {
      WriteSqlite(Path(name), SqliteStatements());
    } else if (name == "in.duckdb") {
      WriteDatabase(name, std::string("CREATE TABLE t AS ") + kTable);
    } else if (name == "wide.duckdb") {
      WriteDatabase(name,
                    "CREATE TABLE t AS SELECT y, x::FLOAT AS x, f::FLOAT AS f, "
                    "(f * 3)::DECIMAL(9, 3) AS d, k::HUGEINT AS k, won" +
                        from);
    } else if (name == "fields.json") {
      WriteTable(name, "SELECT y, x, {'weight': k, 'name': g} AS car, won" + from);
    } else if (name == "enum.parquet") {
      WriteTable(name, "SELECT y, x, g::ENUM('c', 'a', 'b') AS g, won" + from);
    } else if (!name.empty()) {
      WriteTable(name, kTable);
    }
  }

  /// Semicolons, decimal commas and points between thousands, and a missing string of its own.
  static std::string Comma() {
    std::string text = "y;x;g;won\n";
    for (int i = 0; i < 300; ++i) {
      text += std::to_string(i % 37 + 1) + "." + std::to_string(100 + i % 7) + "," +
              std::to_string(i % 10) + ";" +
              (i % 29 == 3 ? "-999" : std::to_string(i % 11) + ",5") + ";" + "abc"[i % 3] + ";" +
              (i * i % 7 < 3 ? "yes" : "no") + "\n";
    }
    return text;
  }

  static std::string SqliteStatements() {
    std::string text = "CREATE TABLE t (y REAL, x, g TEXT, k INTEGER, won TEXT);";
    for (int i = 0; i < 200; ++i) {
      text += "INSERT INTO t VALUES (" + std::to_string(i * 3 % 17) + ".25, " +
              (i % 31 == 4 ? "NULL" : std::to_string(i % 11)) + ", '" + "abc"[i % 3] + "', " +
              std::to_string(i % 4) + ", '" + (i * i % 7 < 3 ? "yes" : "no") + "');";
    }
    return text;
  }

  /// Rows in which a column of the two files differs in any bit, as all digits tell.
  [[nodiscard]] std::string Different(const Strings& columns) const {
    std::string condition = "false";
    for (const std::string& column : columns) {
      const std::string name = QuoteName(column);
      condition +=
          " OR CAST(a." + name + " AS VARCHAR) IS DISTINCT FROM CAST(b." + name + " AS VARCHAR)";
    }
    return Connection()
        .Rows("SELECT count(*) FROM (FROM " + QuoteText(Path("fit.parquet")) +
              ") a POSITIONAL JOIN (FROM " + QuoteText(Path("scores.parquet")) + ") b WHERE " +
              condition)[0][0]
        .value();
  }
};

TEST_P(ScoreBits, AreThoseOfTheFit) {
  WriteFile();
  FitOptions fit = OptionsOf(GetParam().file, GetParam().formula);
  if (GetParam().change != nullptr) GetParam().change(fit);
  fit.predictions = Path("fit.parquet");
  const SavedModel saved = FitToSave(fit);
  ScoreOptions options = Data(GetParam().file);
  options.source.table = fit.source.table;
  options.source.sql = fit.source.sql;
  options.source.reading.delimiter = fit.source.reading.delimiter;
  if (!fit.source.sql.empty()) options.source.data.clear();
  options.out = Path("scores.parquet");
  options.where = fit.where;
  options.interval = saved.fit.kind == ModelKind::kLinear;
  options.threads = 2;
  const ScoreResult result = Scored(saved, options);
  EXPECT_EQ(result.rows, saved.fit.rowsPredicted);
  EXPECT_GT(result.scored, 100);
  EXPECT_EQ(result.scored + result.incomplete + result.unseen + result.notFinite, result.rows);
  Strings columns = {"predicted"};
  if (options.interval) columns.emplace_back("std_error");
  if (saved.fit.logistic) {
    for (const DependentLevel& level : saved.fit.logistic->levels) {
      columns.push_back("p_" + level.level);
    }
  }
  EXPECT_EQ(Different(columns), "0");
  EXPECT_EQ(std::to_string(result.scored), Scores("count(predicted)", "fit.parquet"));
}

void Weighted(FitOptions& options) {
  options.binding.freqWeight = "n";
  options.binding.regressionWeight = "f";
}
void WithoutIntercept(FitOptions& options) { options.intercept = false; }
void Split(FitOptions& options) {
  options.binding.validation.kind = ValidationKind::kSplit;
  options.binding.validation.column = "b";
}
void Holdout(FitOptions& options) {
  options.binding.validation.kind = ValidationKind::kHoldout;
  options.binding.validation.share = 0.3;
}
void Uncollapsed(FitOptions& options) { options.logistic.collapse = false; }
void Arranged(FitOptions& options) {
  options.binding.bases = {"g=a"};
  options.binding.levels = {"h=w1,u0"};
}
void Decimal(FitOptions& options) {
  options.source.na = {"-999"};
  options.source.reading.decimal = ',';
  options.source.reading.thousands = ".";
  options.source.reading.delimiter = ";";
}
void Condition(FitOptions& options) { options.where = "x > 2 and g in ('a', 'b')"; }
void Clustered(FitOptions& options) {
  options.covariance = CovarianceKind::kCluster;
  options.binding.cluster = "year";
}
void Means(FitOptions& options) { options.means = {"g"}; }
void Query(FitOptions& options) {
  options.source.data.clear();
  options.source.sql = kTable;
}
void Typed(FitOptions& options) { options.source.reading.types = {{"year", "VARCHAR"}}; }

INSTANTIATE_TEST_SUITE_P(
    Linear, ScoreBits,
    testing::Values(Case{"mean", "y ~ 1"}, Case{"numbers", "y ~ x + k"},
                    Case{"factors", "y ~ g + h + x"}, Case{"crossed", "y ~ g*h*x"},
                    Case{"nested", "y ~ g/h + x %in% g"},
                    Case{"powers", "y ~ poly(x, 4) + I(k^2):x"},
                    Case{"standardized", "scale(y) ~ scale(x) + center(k):g + scale(log(x + 1))"},
                    Case{"levels", "y ~ C(year, Treatment(2001)) + C(k)*g"},
                    Case{"expressions",
                         "log(y + 20) ~ sqrt(x) + I(x * `odd name`) + I(x > 3 and b) + upper(g)"},
                    Case{"dates", "y ~ C(day) + year(day) + I(day - date '2020-01-01')"},
                    Case{"booleans", "y ~ b*x + C(x > 5)"}, Case{"floatFactor", "y ~ C(f)*C(x)"},
                    Case{"weighted", "y ~ g*x + k", "in.parquet", Weighted},
                    Case{"withoutIntercept", "y ~ g + x", "in.parquet", WithoutIntercept},
                    Case{"split", "y ~ g*h + x", "in.parquet", Split},
                    Case{"holdout", "y ~ g*h + x", "in.parquet", Holdout},
                    Case{"arranged", "y ~ g*h + x", "in.parquet", Arranged},
                    Case{"condition", "y ~ g*h + x", "in.parquet", Condition},
                    Case{"clustered", "y ~ g + x", "in.parquet", Clustered},
                    Case{"means", "y ~ g*h + x", "in.parquet", Means},
                    Case{"csv", "y ~ g*h + scale(x) + C(year) + b + C(day)", "in.csv"},
                    Case{"csvTyped", "y ~ year*x", "in.csv", Typed},
                    Case{"decimalComma", "y ~ scale(x) + g", "comma.csv", Decimal},
                    Case{"json", "y ~ g*b + x + C(k)", "in.json"},
                    Case{"fields", "y ~ car.weight*car.name + x", "fields.json"},
                    Case{"enumeration", "y ~ g*x", "enum.parquet"},
                    Case{"database", "y ~ g*b + x", "in.duckdb"},
                    Case{"types", "y ~ C(x) + C(f) + C(d) + C(k) + k + d", "wide.duckdb"},
                    Case{"sqlite", "y ~ g*x + C(k)", "in.sqlite"},
                    Case{"query", "y ~ g*x", "", Query}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Logistic, ScoreBits,
    testing::Values(Case{"mean", "won ~ 1"}, Case{"two", "won ~ g + x"},
                    Case{"three", "rank ~ g*b + scale(x)"}, Case{"collapsed", "rank ~ g*h"},
                    Case{"uncollapsed", "rank ~ g*h", "in.parquet", Uncollapsed},
                    Case{"weighted", "won ~ g*h + k", "in.parquet", Weighted},
                    Case{"split", "rank ~ g + x", "in.parquet", Split},
                    Case{"boolean", "b ~ x + g"}, Case{"booleanCsv", "b ~ x + g", "in.csv"},
                    Case{"numbers", "C(year) ~ x + h"},
                    Case{"decimalComma", "won ~ x + g", "comma.csv", Decimal},
                    Case{"sqlite", "won ~ x + g", "in.sqlite"}),
    [](const auto& test) { return test.param.name; });

/// What R or numpy have of the table of everything.csv, in the file `name`.
void ExpectReference(const std::string& name, const std::string& scores, double tolerance) {
  const std::string folder = (std::filesystem::path(QVREG_TEST_DATA) / "score").string();
  const NumberTable expected = ReadNumbers(QuoteText(folder + "/" + name));
  std::string list;
  for (const std::string& column : expected.names) {
    list += (list.empty() ? "" : ", ") + QuoteName(column);
  }
  const NumberTable found = ReadNumbers("(SELECT " + list + " FROM " + QuoteText(scores) + ")");
  ASSERT_EQ(found.rows.size(), expected.rows.size());
  for (std::size_t i = 0; i < found.rows.size(); ++i) {
    for (std::size_t k = 0; k < found.names.size(); ++k) {
      const std::optional<double>& value = expected.rows[i][k];
      ASSERT_EQ(found.rows[i][k].has_value(), value.has_value()) << i << " " << found.names[k];
      if (!value) continue;
      EXPECT_NEAR(*found.rows[i][k], *value, tolerance * (1 + std::abs(*value)))
          << i << " " << found.names[k];
    }
  }
}

class ScoreIntervals : public ScoreTableTest {
 protected:
  [[nodiscard]] ScoreResult Score(const std::string& formula) const {
    FitOptions fit = Everything("y");
    fit.formula = formula;
    fit.binding.freqWeight = "f";
    fit.binding.regressionWeight = "r";
    ScoreOptions options;
    options.source.data = fit.source.data;
    options.out = Path("scores.csv");
    options.interval = true;
    options.confidence = 0.9;
    return Scored(FitToSave(fit), options);
  }
};

TEST_F(ScoreIntervals, OfALinearModelAreThoseOfR) {
  const ScoreResult result = Score("y ~ a + b + x + I(x^2)");
  EXPECT_EQ(result.confidence, 0.9);
  EXPECT_EQ(result.incomplete, 1);
  ExpectReference("linear.csv", Path("scores.csv"), 1e-12);
}

TEST_F(ScoreIntervals, OfTwoCategoriesAreThoseOfR) {
  const ScoreResult result = Score("yb ~ a + x");
  EXPECT_EQ(result.confidence, std::nullopt) << "there are no limits";
  ExpectReference("binary.csv", Path("scores.csv"), 1e-9);
}

TEST_F(ScoreIntervals, OfThreeCategoriesFollowTheDeltaMethod) {
  static_cast<void>(Score("y3 ~ a + x"));
  ExpectReference("three.csv", Path("scores.csv"), 1e-9);
}

}  // namespace
}  // namespace qvhost
