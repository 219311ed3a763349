// qvreg sql, as it is called.
#include <string>

#include "host/table/Connection.h"
#include "tests/host/cli/CommandOnTable.h"

namespace qvhost {
namespace {

class CommandSql : public CommandOnTable {
 protected:
  void SetUp() override {
    folder_.Write("in.csv", "y,x,g\n1,1,a\n3,2,b\n4,4,a\n7,6,b\n5,5,a\n8,8,b\n,3,a\n");
    const CommandResult fit = Run("y ~ x + g", {"--quiet", "--save", "model.pmml"});
    ASSERT_EQ(fit.exitCode, 0) << fit.err;
  }

  [[nodiscard]] CommandResult Sql(const Strings& more) const {
    Strings arguments = {"sql"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return CommandRun(std::move(arguments)).In(folder_.Path()).Run();
  }

  /// What the query gives for the table.
  [[nodiscard]] std::vector<std::vector<std::optional<std::string>>> Scored(
      const std::string& table, const std::string& query) const {
    Connection connection;
    connection.Execute("CREATE TABLE " + table + " AS FROM '" + folder_.File("in.csv") + "'");
    return connection.Rows("SELECT * FROM (" + query.substr(0, query.rfind(';')) +
                           ") ORDER BY ALL");
  }
};

TEST_F(CommandSql, PrintsAQueryThatScores) {
  const CommandResult sql = Sql({"model.pmml"});
  ASSERT_EQ(sql.exitCode, 0) << sql.err;
  EXPECT_EQ(sql.err, "");
  const auto rows = Scored("data", sql.out);
  ASSERT_EQ(rows.size(), 7U);
  ASSERT_EQ(rows.front().size(), 4U);
  const CommandResult fit =
      Run("y ~ x + g", {"--quiet", "--predictions", "p.csv", "--keep", "all"});
  ASSERT_EQ(fit.exitCode, 0) << fit.err;
  const auto expected = Connection().Rows("SELECT y, x, g, predicted FROM '" +
                                          folder_.File("p.csv") + "' ORDER BY ALL");
  ASSERT_EQ(expected.size(), 7U);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(rows[i][2], expected[i][2]);
    EXPECT_NEAR(std::stod(rows[i][3].value()), std::stod(expected[i][3].value()), 1e-12);
  }
}

TEST_F(CommandSql, WritesAFileForOtherTablesAndColumns) {
  const CommandResult sql =
      Sql({"model.pmml", "--table", "other", "--keep", "g,y", "--out", "score.sql"});
  ASSERT_EQ(sql.exitCode, 0) << sql.err;
  EXPECT_EQ(sql.out, "");
  const auto rows = Scored("other", qvtest::ReadFile(folder_.File("score.sql")));
  ASSERT_EQ(rows.size(), 7U);
  EXPECT_EQ(rows.front().size(), 3U);
  EXPECT_EQ(rows.front()[0], "a");
}

TEST_F(CommandSql, SaysWhatIsWrong) {
  const CommandResult none = Sql({});
  EXPECT_EQ(none.exitCode, 2);
  EXPECT_NE(none.err.find("Name one model: qvreg sql MODEL.pmml"), std::string::npos) << none.err;
  const CommandResult csv = Sql({"in.csv", "--out", "score.sql"});
  EXPECT_EQ(csv.exitCode, 2);
  EXPECT_NE(csv.err.find("in.csv"), std::string::npos) << csv.err;
  EXPECT_FALSE(std::filesystem::exists(folder_.File("score.sql")));
  const CommandResult same = Sql({"model.pmml", "--out", "model.pmml"});
  EXPECT_EQ(same.exitCode, 2);
  const CommandResult other = Sql({"model.pmml", "--tabel", "x"});
  EXPECT_EQ(other.exitCode, 2);
  EXPECT_NE(other.err.find("Did you mean --table?"), std::string::npos) << other.err;
  const CommandResult fit = Run("y ~ round(x, 1) + g", {"--quiet", "--save", "rounded.pmml"});
  ASSERT_EQ(fit.exitCode, 0) << fit.err;
  const CommandResult refused = Sql({"rounded.pmml", "--out", "score.sql"});
  EXPECT_EQ(refused.exitCode, 2);
  EXPECT_NE(refused.err.find("There is no form of 'round' that all SQL databases share"),
            std::string::npos)
      << refused.err;
  EXPECT_FALSE(std::filesystem::exists(folder_.File("score.sql")));
}

}  // namespace
}  // namespace qvhost
