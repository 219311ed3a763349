// --vcov, --vcov-out, --diagnostics and --influential as users give them.

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/Text.h"
#include "host/table/Connection.h"
#include "tests/host/cli/CommandOnTable.h"

namespace qvhost {
namespace {

constexpr int kRunFailed = 1;
constexpr int kBadInput = 2;

using Strings = std::vector<std::string>;

class CommandRobust : public CommandOnTable {
 protected:
  void SetUp() override {
    std::string rows = "id,y,x,g,k,c\n";
    for (int i = 0; i < 40; ++i) {
      rows += std::to_string(i) + "," + std::to_string((i * i) % 11) + "," + std::to_string(i % 9) +
              "," + (i % 2 == 0 ? "a" : "b") + "," + (i * i % 5 < 2 ? "no" : "yes") + "," +
              std::to_string(i % 4) + "\n";
    }
    folder_.Write("in.csv", rows);
  }

  [[nodiscard]] std::string File(const std::string& name) const { return folder_.File(name); }
};

TEST_F(CommandRobust, TheJsonTellsTheKind) {
  EXPECT_EQ(Json("y ~ x", {})["covariance"],
            nlohmann::json::parse(R"({"type": "model", "column": null, "clusters": null})"));
  EXPECT_EQ(Json("y ~ x", {"--vcov", "hc2"})["covariance"],
            nlohmann::json::parse(R"({"type": "hc2", "column": null, "clusters": null})"));
  EXPECT_EQ(Json("y ~ x", {"--vcov", "cluster:C"})["covariance"],
            nlohmann::json::parse(R"({"type": "cluster", "column": "C", "clusters": 4})"));
}

TEST_F(CommandRobust, TheSummaryTellsTheKind) {
  EXPECT_NE(Run("y ~ x", {"--vcov", "hc1"}).out.find("Std. errors  robust, hc1\n"),
            std::string::npos);
  EXPECT_NE(
      Run("y ~ x", {"--vcov", "cluster:c"}).out.find("Std. errors  robust, 4 clusters of c\n"),
      std::string::npos);
  EXPECT_EQ(Run("y ~ x", {}).out.find("Std. errors"), std::string::npos);
}

TEST_F(CommandRobust, WritesTheCovarianceMatrix) {
  for (const Strings& kind : {Strings{}, Strings{"--vcov", "hc3"}}) {
    Strings more = {"--vcov-out", "v.csv"};
    more.insert(more.end(), kind.begin(), kind.end());
    const nlohmann::json fit = Json("y ~ g + x", more);
    Connection connection;
    const auto rows = connection.Rows("SELECT * FROM " + QuoteText(File("v.csv")));
    ASSERT_EQ(rows.size(), 4U);
    for (std::size_t i = 0; i < rows.size(); ++i) {
      const nlohmann::json& parameter = fit["parameters"][i];
      EXPECT_EQ(rows[i][0], parameter["label"]);
      const double variance = std::stod(rows[i][i + 1].value());
      if (parameter["redundant"]) {
        EXPECT_EQ(variance, 0.0);
      } else {
        const auto error = parameter["std_error"].get<double>();
        EXPECT_NEAR(variance / (error * error), 1.0, 1e-14);
      }
      for (std::size_t j = 0; j < i; ++j) EXPECT_EQ(rows[i][j + 1], rows[j][i + 1]);
    }
  }
}

TEST_F(CommandRobust, TheMatrixOfALogisticModelHasCategories) {
  static_cast<void>(Json("C(c) ~ x", {"--vcov-out", "v.parquet", "--vcov", "hc1"}));
  Connection connection;
  const std::string file = QuoteText(File("v.parquet"));
  EXPECT_EQ(connection.Rows("SELECT string_agg(category || '|' || term, ' ') FROM " + file)[0][0],
            "0|(Intercept) 0|x 1|(Intercept) 1|x 2|(Intercept) 2|x");
  EXPECT_EQ(connection.Rows("SELECT count(\"2:x\") FROM " + file)[0][0], "6");
}

TEST_F(CommandRobust, KeptColumnsStandBesideDiagnostics) {
  const CommandResult result =
      Run("y ~ x", {"--diagnostics", "d.csv", "--predictions", "p.csv", "--keep", "id,c"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.out.find("Diagnostics  d.csv, 40 rows\n"), std::string::npos);
  const std::string written = qvtest::ReadFile(File("d.csv"));
  EXPECT_EQ(written.substr(0, written.find('\n')),
            "id,c,fitted,residual,standardized,studentized,leverage,cooks_distance");
  Connection connection;
  EXPECT_EQ(connection.Rows("SELECT count(*) FROM " + QuoteText(File("d.csv")) + " JOIN " +
                            QuoteText(File("p.csv")) +
                            " USING (id) WHERE abs(fitted - predicted) < 1e-12")[0][0],
            "40");
}

TEST_F(CommandRobust, KeptColumnsMayGoToDiagnosticsAlone) {
  EXPECT_EQ(Run("k ~ x", {"--diagnostics", "d.parquet", "--keep", "all"}).exitCode, 0);
  Connection connection;
  EXPECT_EQ(connection.Rows("SELECT string_agg(column_name, ' ') FROM (DESCRIBE SELECT * FROM " +
                            QuoteText(File("d.parquet")) + ")")[0][0],
            "id y x g k c deviance_residual pearson_residual leverage cooks_distance");
}

TEST_F(CommandRobust, TheInfluentialAreInSummaryAndJson) {
  const nlohmann::json fit = Json("y ~ x", {"--influential"});
  ASSERT_EQ(fit["influential"].size(), 10U);
  EXPECT_GE(fit["influential"][0]["cooks_distance"], fit["influential"][1]["cooks_distance"]);
  EXPECT_TRUE(Json("y ~ x", {})["influential"].is_null());
  const std::string summary = Run("y ~ x", {"--influential"}).out;
  EXPECT_NE(summary.find("Most influential records\nRow  Cook's distance  Leverage  Studentized "
                         "residual\n"),
            std::string::npos)
      << summary;
  EXPECT_NE(Run("k ~ x", {"--influential"}).out.find("Deviance residual"), std::string::npos);
}

TEST_F(CommandRobust, RefusesWhatItDoesNotKnow) {
  ExpectFailure(
      Run("y ~ x", {"--vcov", "hc4"}), kBadInput,
      "--vcov takes hc0, hc1, hc2, hc3 or cluster:COLUMN, not 'hc4'.\nTry 'qvreg fit --help'.");
  ExpectFailure(Run("y ~ x", {"--vcov", "cluster:"}), kBadInput,
                "--vcov takes hc0, hc1, hc2, hc3 or cluster:COLUMN, not 'cluster:'.\nTry 'qvreg "
                "fit --help'.");
  ExpectFailure(Run("y ~ x", {"--vcov", "cluster:idd"}), kBadInput,
                "There is no column 'idd' for --vcov in in.csv; did you mean 'id'?");
  ExpectFailure(Run("y ~ x", {"--diagnostics", "d.txt"}), kBadInput,
                "A table cannot be written to 'd.txt': the format follows from the ending of the "
                "name, which must be .csv, .tsv or .parquet.");
  ExpectFailure(Run("y ~ x", {"--diagnostics", "v.csv", "--vcov-out", "v.csv"}), kBadInput,
                "--diagnostics 'v.csv' and --vcov-out 'v.csv' are the same file; name two.");
  ExpectFailure(Run("y ~ x", {"--vcov-out", "in.csv"}), kBadInput,
                "--vcov-out 'in.csv' would replace the input 'in.csv'; name another file.");
}

TEST_F(CommandRobust, ARunThatFailsLeavesNoFile) {
  folder_.Write("in.csv", "y,g\n1,a\n2,a\n4,b\n3,a\n");
  EXPECT_EQ(
      Run("y ~ g", {"--vcov", "hc2", "--vcov-out", "v.csv", "--diagnostics", "d.csv"}).exitCode,
      kRunFailed);
  EXPECT_FALSE(std::filesystem::exists(File("v.csv")));
  EXPECT_FALSE(std::filesystem::exists(File("d.csv")));
}

}  // namespace
}  // namespace qvhost
