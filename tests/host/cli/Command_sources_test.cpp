// The command on every kind of table it can read. The table is always the same, so the fit is too.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/TextLayout.h"
#include "tests/host/cli/CommandRun.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

constexpr const char* kRows =
    "SELECT range AS x, 2 * range + range % 3 AS y, CASE range % 2 WHEN 0 THEN 'a' ELSE 'b' END AS "
    "g "
    "FROM range(20)";

/// The table of parameters, which does not depend on where the data are from.
std::string Parameters(const std::string& report) {
  const std::size_t from = report.find("\nParameter");
  return from == std::string::npos ? report : report.substr(from);
}

class CommandSources : public ::testing::Test {
 protected:
  /// R: summary(lm(y ~ x + g, contrasts = list(g = "contr.SAS")))
  static constexpr const char* kExpected = R"(
Parameter     Estimate  Std. error      t       p    95% low  95% high
----------------------------------------------------------------------
(Intercept)   0.954545    0.436639   2.19  0.0431   0.033317  1.875774
x             2.004545    0.033890  59.15  <1e-16   1.933044  2.076047
g=a          -0.095455    0.390836  -0.24  0.8100  -0.920046  0.729137
g=b                  0   redundant

R square 0.995204, root mean square error 0.802694
Residual standard error 0.870644 on 17 degrees of freedom
Adjusted R square 0.99464, F 1763.84 on 2 and 17 degrees of freedom, p <1e-16
Log-likelihood -23.98314463, AIC 55.9663, BIC 59.9492

Notes
- 1 of 4 parameters is redundant and set to 0, because its column depends on the
  columns before. The other levels of a factor are compared with its redundant
  ones.
)";

  /// Fits to what these options name.
  CommandResult Fit(std::vector<std::string> source) const {
    std::vector<std::string> arguments = {"fit", "--formula", "y ~ x + g"};
    arguments.insert(arguments.end(), source.begin(), source.end());
    return CommandRun(arguments).In(folder_.Path()).Run();
  }

  void ExpectFit(const std::vector<std::string>& source, const std::string& name) const {
    const CommandResult result = Fit(source);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err, "");
    const std::string data = "Data       " + Wrap(name, 80, 11, 11) + "\n";
    EXPECT_NE(result.out.find(data), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("Records    20 read, 20 used\n"), std::string::npos) << result.out;
    EXPECT_EQ(Parameters(result.out), kExpected);
  }

  void Copy(const std::string& file, const std::string& options = "") const {
    RunSql("COPY (" + std::string(kRows) + ") TO '" + folder_.File(file) + "'" + options);
  }

  void MakeDatabase(const std::string& file, const std::string& tables) const {
    RunSql("ATTACH '" + folder_.File(file) + "' AS made; " + tables + "; DETACH made");
  }

  qvtest::TempFolder folder_;
};

TEST_F(CommandSources, Csv) {
  Copy("rows.csv");
  ExpectFit({"--data", "rows.csv"}, "rows.csv");
}

TEST_F(CommandSources, Tsv) {
  Copy("rows.tsv", " (DELIMITER '\t')");
  ExpectFit({"--data", "rows.tsv"}, "rows.tsv");
}

TEST_F(CommandSources, Parquet) {
  Copy("rows.parquet");
  ExpectFit({"--data", "rows.parquet"}, "rows.parquet");
}

TEST_F(CommandSources, Json) {
  Copy("rows.json");
  ExpectFit({"--data", "rows.json"}, "rows.json");
}

TEST_F(CommandSources, SeveralFilesByAPattern) {
  const std::string rows = kRows;
  RunSql("COPY (SELECT * FROM (" + rows + ") WHERE x < 7) TO '" + folder_.File("part-1.csv") + "'");
  RunSql("COPY (SELECT * FROM (" + rows + ") WHERE x >= 7) TO '" + folder_.File("part-2.csv") +
         "'");
  ExpectFit({"--data", "part-*.csv"}, "part-*.csv");
}

TEST_F(CommandSources, TableOfADatabase) {
  MakeDatabase("shop.duckdb", "CREATE TABLE made.orders AS " + std::string(kRows) +
                                  "; CREATE TABLE made.other AS SELECT 1 AS z");
  ExpectFit({"--data", "shop.duckdb", "--table", "orders"}, "orders of shop.duckdb");
}

TEST_F(CommandSources, EnumerationsAndBooleansAreFactors) {
  MakeDatabase(
      "kinds.duckdb",
      "CREATE TYPE made.size AS ENUM ('small', 'big'); CREATE TABLE made.t AS SELECT x, y, "
      "CASE g WHEN 'a' THEN 'small' ELSE 'big' END::made.size AS s, g = 'a' AS flag FROM (" +
          std::string(kRows) + ")");
  const CommandResult result =
      CommandRun({"fit", "--data", "kinds.duckdb", "--formula", "y ~ x + s + flag"})
          .In(folder_.Path())
          .Run();
  EXPECT_EQ(result.exitCode, 0) << result.err;
  const std::size_t small = result.out.find("\ns=small");
  const std::size_t big = result.out.find("\ns=big");
  const std::size_t no = result.out.find("\nflag=false");
  const std::size_t yes = result.out.find("\nflag=true");
  ASSERT_NE(small, std::string::npos) << result.out;
  ASSERT_NE(yes, std::string::npos) << result.out;
  EXPECT_LT(small, big);
  EXPECT_LT(big, no);
  EXPECT_LT(no, yes);
}

TEST_F(CommandSources, QueryAlone) { ExpectFit({"--sql", kRows}, std::string("query ") + kRows); }

TEST_F(CommandSources, QueryOverAFile) {
  Copy("rows.csv");
  ExpectFit({"--data", "rows.csv", "--sql", "SELECT * FROM data ORDER BY x DESC"},
            "rows.csv, query SELECT * FROM data ORDER BY x DESC");
}

TEST_F(CommandSources, QueryOverADatabase) {
  MakeDatabase("shop.duckdb", "CREATE TABLE made.orders AS " + std::string(kRows));
  ExpectFit({"--data", "shop.duckdb", "--sql", "SELECT * FROM orders"},
            "shop.duckdb, query SELECT * FROM orders");
}

TEST_F(CommandSources, FieldsOfObjectsInJson) {
  const std::string file =
      folder_.Write("cars.jsonl",
                    "{\"y\": 1, \"car\": {\"weight\": 1, \"type\": \"a\"}, \"tags\": [1]}\n"
                    "{\"y\": 3, \"car\": {\"weight\": 2, \"type\": \"b\"}, \"tags\": []}\n"
                    "{\"y\": 5, \"car\": {\"weight\": 3, \"type\": \"a\"}, \"tags\": [2]}\n");
  const nlohmann::json fit = FitJson({"--data", file, "--formula", "y ~ car.weight", "--keep",
                                      "car.type,y", "--predictions", folder_.File("p.csv")});
  EXPECT_NEAR(ParameterOf(fit, "car.weight")["estimate"].get<double>(), 2.0, 1e-12);
  EXPECT_TRUE(qvtest::ReadFile(folder_.File("p.csv")).starts_with("car.type,y,observed"));
  static_cast<void>(FitJson({"--data", file, "--formula", "y ~ car.weight", "--keep", "all",
                             "--predictions", folder_.File("p.csv")}));
  EXPECT_TRUE(qvtest::ReadFile(folder_.File("p.csv")).starts_with("y,car,tags,observed"));
}

TEST_F(CommandSources, ColumnsWithOddNames) {
  folder_.Write("odd.csv", "my y,\"a \"\"b\"\"\",größe\n1,1,p\n2,2,q\n4,3,p\n4,4,q\n6,5,q\n");
  const CommandResult result =
      CommandRun({"fit", "--data", "odd.csv", "--formula", "`my y` ~ `a \"b\"` + größe"})
          .In(folder_.Path())
          .Run();
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.out.find("\na \"b\" "), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("\ngröße=p "), std::string::npos) << result.out;
}

}  // namespace
}  // namespace qvhost
