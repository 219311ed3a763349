// What --predictions writes beside the columns of the data that --keep names.

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/table/Connection.h"
#include "tests/host/cli/CommandRun.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

using Strings = std::vector<std::string>;

/// y is 1 + 2 x but for the first row; the last row has no x.
constexpr const char* kRows =
    "id,zip,y,x,day,\"a, \"\"b\"\"\"\n"
    "001,01067,4.0,1.50,31.12.2024,\"one, two\"\n"
    "002,NA,5.0,2,01.01.2025, x \n"
    "12345678901234567890123,04109,7,3,02.01.2025,\"two\nlines\"\n"
    "004,04109,9,4,03.01.2025,\n"
    "005,04109,11,NA,03.01.2025,z\n";

class CommandPredictions : public ::testing::Test {
 protected:
  CommandResult Run(Strings more) const {
    Strings arguments = {"fit", "--formula", "y ~ x"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return CommandRun(std::move(arguments)).In(folder_.Path()).Run();
  }

  /// What the command writes to `out.csv`.
  [[nodiscard]] std::string Written(const Strings& more) const {
    Strings all = {"--predictions", "out.csv"};
    all.insert(all.end(), more.begin(), more.end());
    const CommandResult result = Run(all);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return qvtest::ReadFile(folder_.File("out.csv"));
  }

  static std::string Single(const std::string& sql) {
    return Connection().Rows(sql)[0][0].value_or("NULL");
  }

  qvtest::TempFolder folder_;
};

TEST_F(CommandPredictions, ALinearModelGivesFourColumns) {
  folder_.Write("in.csv", "y,x\n1,1\n2,2\n6,3\n,4\n5,\n");
  EXPECT_EQ(Written({"--data", "in.csv"}).substr(0, 38), "observed,predicted,residual,std_error\n");
  const std::string file = QuoteText(folder_.File("out.csv"));
  EXPECT_EQ(Single("SELECT string_agg(concat_ws('|', observed, round(predicted, 9), "
                   "round(residual, 9)), ' ') FROM " +
                   file),
            "1.0|0.5|0.5 2.0|3.0|-1.0 6.0|5.5|0.5 8.0 5.0");
  EXPECT_EQ(Single("SELECT count(std_error) FROM " + file), "4") << "also without the dependent";
}

TEST_F(CommandPredictions, NewRowsComeFromAFileOfTheirOwn) {
  folder_.Write("in.csv", "y,x\n1,1\n2,2\n6,3\n");
  folder_.Write("new.csv", "x\n4\n5\n");
  const std::string both = Written({"--data", "in.csv", "--data", "new.csv"});
  const std::string one = Written({"--data", "in.csv"});
  ASSERT_TRUE(both.starts_with(one)) << both;
  EXPECT_TRUE(both.substr(one.size()).starts_with(",8.0")) << both;
  EXPECT_EQ(std::ranges::count(both.substr(one.size()), '\n'), 2);
}

TEST_F(CommandPredictions, InCsvKeptTextsAreAsTheFileHasThem) {
  folder_.Write("in.csv", kRows);
  const std::string written =
      Written({"--data", "in.csv", "--keep", "x,day,zip,id,\"a, \"\"b\"\"\""});
  const std::string rows = written.substr(written.find('\n') + 1);
  EXPECT_TRUE(
      written.starts_with("x,day,zip,id,\"a, \"\"b\"\"\",observed,predicted,residual,std_error\n"
                          "1.50,31.12.2024,01067,001,\"one, two\",4.0,"))
      << written;
  for (const char* row :
       {"\n2,01.01.2025,NA,002, x ,5.0,",
        "\n3,02.01.2025,04109,12345678901234567890123,\"two\nlines\",7.0,",
        "\n4,03.01.2025,04109,004,,9.0,", "\nNA,03.01.2025,04109,005,z,11.0,,,\n"}) {
    EXPECT_NE(written.find(row), std::string::npos) << row << "not in\n" << written;
  }
}

TEST_F(CommandPredictions, InParquetTypesAreThoseOfTheData) {
  folder_.Write("in.csv", kRows);
  const CommandResult result =
      Run({"--data", "in.csv", "--predictions", "out.parquet", "--keep", "all"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const std::string file = QuoteText(folder_.File("out.parquet"));
  EXPECT_EQ(
      Single("SELECT string_agg(column_name || ' ' || column_type, ', ') FROM (DESCRIBE FROM " +
             file + ")"),
      "id VARCHAR, zip VARCHAR, y DOUBLE, x DOUBLE, day DATE, a, \"b\" VARCHAR, "
      "observed DOUBLE, predicted DOUBLE, residual DOUBLE, std_error DOUBLE");
  EXPECT_EQ(Single("SELECT concat_ws('|', zip, day, x) FROM " + file + " WHERE y = 5"),
            "2025-01-01|2.0");
}

TEST_F(CommandPredictions, RowsOfAnyLengthKeepTheirOrder) {
  RunSql(
      "COPY (SELECT i AS id, i % 7 AS x, i % 7 + hash(i) % 3 AS y, repeat('t', i % 50) AS t FROM "
      "range(400000) t(i)) TO " +
      QuoteText(folder_.File("in.csv")));
  for (const char* out : {"out.csv", "out.parquet"}) {
    const CommandResult result = Run({"--data", "in.csv", "--predictions", out, "--keep",
                                      "id,x,y,t", "--where", "id % 10 <> 3"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const std::string file = QuoteText(folder_.File(out));
    EXPECT_EQ(Single("SELECT count(*) FROM " + file +
                     " WHERE y = observed AND length(coalesce(t, '')) = id % 50 AND x = id % 7"),
              "360000");
    EXPECT_EQ(Single("SELECT count(*) FROM (SELECT id - lag(id) OVER (ROWS BETWEEN 1 PRECEDING AND "
                     "CURRENT ROW) AS step FROM " +
                     file + ") WHERE step <= 0"),
              "0");
  }
}

TEST_F(CommandPredictions, KeptColumnsAreOfTheSameRunOfAQuery) {
  const CommandResult result =
      CommandRun({"fit", "--sql",
                  "SELECT random() AS y, random() AS x, uuid() AS id FROM range(50000)",
                  "--formula", "y ~ x", "--keep", "id,y", "--predictions", "out.csv"})
          .In(folder_.Path())
          .Run();
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(Single("SELECT count(DISTINCT id) FROM " + QuoteText(folder_.File("out.csv")) +
                   " WHERE y = observed"),
            "50000");
}

TEST_F(CommandPredictions, EverySourceKeepsItsColumns) {
  folder_.Write("a.csv", "id,y,x\n1,1,1\n2,2,2\n");
  folder_.Write("b.csv", "x,y,id,more\n3,6,3,m\n4,5,4,m\n");
  RunSql("COPY (FROM read_csv([" + QuoteText(folder_.File("a.csv")) + ", " +
         QuoteText(folder_.File("b.csv")) + "], union_by_name = true)) TO " +
         QuoteText(folder_.File("all.json")) + "; ATTACH " + QuoteText(folder_.File("all.duckdb")) +
         " AS made; CREATE TABLE made.t AS FROM read_json(" + QuoteText(folder_.File("all.json")) +
         "); DETACH made");
  for (const Strings& source : {Strings{"a.csv", "b.csv"}, Strings{"[ab].csv"}, Strings{"all.json"},
                                Strings{"all.duckdb"}}) {
    Strings arguments = {"--keep", "id,more", "--data"};
    arguments.insert(arguments.end(), source.begin(), source.end());
    const std::string written = Written(arguments);
    EXPECT_TRUE(written.starts_with("id,more,observed,")) << written;
    EXPECT_NE(written.find("\n2,,2.0,"), std::string::npos) << written;
    EXPECT_NE(written.find("\n3,m,6.0,"), std::string::npos) << written;
  }
}

TEST_F(CommandPredictions, StandardInputKeepsItsColumns) {
  const std::string in = folder_.Write("in.csv", "id,y,x\n01,1,1\n02,2,2\n03,6,3\n");
  const CommandResult result = CommandRun({"fit", "--data", "-", "--formula", "y ~ x", "--keep",
                                           "id", "--predictions", folder_.File("out.csv")})
                                   .InputFrom(in)
                                   .Run();
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(qvtest::ReadFile(folder_.File("out.csv")).find("\n03,6.0,"), std::string::npos);
}

TEST_F(CommandPredictions, ALogisticModelKeepsColumnsAndTellsOfANameThatIsTaken) {
  folder_.Write(
      "in.csv",
      "answer,x,predicted,P_yes\nyes,1,old,1\nno,2,old,2\nyes,2,old,3\nno,3,old,4\n,1,,5\n");
  const CommandResult result = CommandRun({"fit", "--data", "in.csv", "--formula", "answer ~ x",
                                           "--keep", "all", "--predictions", "out.csv"})
                                   .In(folder_.Path())
                                   .Run();
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const std::string written = qvtest::ReadFile(folder_.File("out.csv"));
  EXPECT_TRUE(written.starts_with(
      "answer,x,predicted_data,P_yes_data,observed,predicted,p_no,p_yes\nyes,1,old,1,yes,yes,"))
      << written;
  EXPECT_NE(written.find("\n,1,,5,,yes,"), std::string::npos) << written;
  EXPECT_NE(result.out.find("whose names the predictions use are written with '_data'\n"
                            "  added: 'predicted_data', 'P_yes_data'."),
            std::string::npos)
      << result.out;
}

TEST_F(CommandPredictions, WrongUsage) {
  folder_.Write("in.csv", kRows);
  const auto refused = [&](const Strings& more) {
    Strings arguments = {"--data", "in.csv"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const CommandResult result = Run(arguments);
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_FALSE(fs::exists(folder_.File("out.csv")));
    return result.err;
  };
  EXPECT_EQ(refused({"--keep", "id"}),
            "qvreg: --keep needs --predictions or --diagnostics, which name the file to write.\n"
            "Try 'qvreg fit --help'.\n");
  EXPECT_EQ(refused({"--predictions", "out.csv", "--keep", "zup"}),
            "qvreg: There is no column 'zup' for --keep in in.csv; did you mean 'zip'?\n");
  EXPECT_NE(
      refused({"--predictions", "out.csv", "--keep", "id,,x"}).find("has an entry without a text"),
      std::string::npos);
}

TEST_F(CommandPredictions, AColumnThatIsCalledAllStandsInQuotes) {
  folder_.Write("in.csv", "all,y,x\n7,1,1\n8,2,2\n9,6,3\n");
  EXPECT_TRUE(Written({"--data", "in.csv", "--keep", "\"all\""}).starts_with("all,observed,"));
  EXPECT_TRUE(Written({"--data", "in.csv", "--keep", "all"}).starts_with("all,y,x,observed,"));
}

#ifdef __linux__

constexpr const char* kLongQuery =
    "SELECT i AS y, i % 3 AS x, hash(i) AS h, 'text ' || hash(i + 1) AS t FROM range(3000000) t(i)";

TEST_F(CommandPredictions, TimesWithAZoneAreInUtcWhereverTheMachineIs) {
  setenv("TZ", "America/New_York", 1);
  const CommandResult result =
      CommandRun(
          {"fit", "--sql",
           "SELECT i AS y, i AS x, TIMESTAMPTZ '2020-01-01 12:00:00+02' AS t FROM range(3) t(i)",
           "--formula", "y ~ x", "--keep", "t", "--predictions", folder_.File("out.csv")})
          .Run();
  unsetenv("TZ");
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(qvtest::ReadFile(folder_.File("out.csv")).find("\n2020-01-01 10:00:00+00,0"),
            std::string::npos);
}

TEST_F(CommandPredictions, AnInterruptLeavesNoFile) {
  fs::create_directory(folder_.Path() / "spool");
  for (const char* stage : {"reading", "predicting"}) {
    const CommandResult result = CommandRun({"fit", "--sql", kLongQuery, "--formula", "y ~ x",
                                             "--spool-dir", folder_.File("spool"), "--keep", "all",
                                             "--predictions", folder_.File("out.csv")})
                                     .InterruptWhenShown(stage)
                                     .Run();
    EXPECT_EQ(result.exitCode, static_cast<int>(ExitCode::kCancelled)) << stage << result.err;
    EXPECT_TRUE(fs::is_empty(folder_.Path() / "spool")) << stage;
    EXPECT_FALSE(fs::exists(folder_.File("out.csv"))) << stage;
  }
}

TEST_F(CommandPredictions, AFullDiskIsNamed) {
  const std::string disk = folder_.File("disk");
  fs::create_directory(disk);
  const CommandResult result =
      CommandRun({"fit", "--sql",
                  "SELECT i AS y, 1 AS x, 'text ' || hash(i) AS t FROM range(3000) t(i)",
                  "--formula", "y ~ x", "--spool-dir", disk, "--keep", "t", "--predictions",
                  folder_.File("out.csv")})
          .SmallDiskAt(disk)
          .Run();
  if (result.exitCode == CommandRun::kNotAllowed) {
    GTEST_SKIP() << "this process may not mount a disk";
  }
  EXPECT_EQ(result.exitCode, static_cast<int>(ExitCode::kRunFailed));
  EXPECT_NE(result.err.find("kept columns in the folder '" + disk + "'"), std::string::npos)
      << result.err;
  EXPECT_NE(result.err.find("No space left on device"), std::string::npos) << result.err;
  EXPECT_FALSE(fs::exists(folder_.File("out.csv")));
}

#endif

}  // namespace
}  // namespace qvhost
