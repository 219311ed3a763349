// No output of the command replaces a file that it reads, whatever way the two are named.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/host/cli/CommandRun.h"
#include "tests/host/table/SqliteMaker.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;

constexpr const char* kRows = "x,y\n1,2\n2,3\n3,5.5\n4,6\n5,8\n";

/// A folder of data in all forms.
void MakeData(const qvtest::TempFolder& folder) {
  const fs::path path = folder.Path();
  for (const char* name : {"keep.csv", "p-1.csv", "p-2.csv", "p-3.csv"}) folder.Write(name, kRows);
  fs::create_symlink("keep.csv", path / "link.csv");
  fs::create_symlink("link.csv", path / "linklink.csv");
  fs::create_hard_link(path / "keep.csv", path / "hard.csv");
  fs::create_directory_symlink(".", path / "here");
  fs::create_directory(path / "sub");
  folder.Write("rows.bin", kRows);
  WriteSqlite(
      folder.File("shop.sqlite"),
      "CREATE TABLE t(x INT, y REAL); INSERT INTO t VALUES (1, 2), (2, 3), (3, 5.5), (4, 6)");
  const std::string rows = "FROM '" + folder.File("keep.csv") + "'";
  const std::string prefix = folder.File("p-");
  RunSql("COPY (" + rows + ") TO '" + folder.File("packed") + "' (FORMAT csv, COMPRESSION gzip)");
  RunSql("COPY (" + rows + ") TO '" + folder.File("rows.parquet") + "'; COPY (" + rows + ") TO '" +
         folder.File("rows.json") + "'; COPY (" + rows + ") TO '" + folder.File("rows.csv.gz") +
         "'; ATTACH '" + folder.File("shop.duckdb") + "' AS made; USE made; CREATE TABLE t AS " +
         rows + "; CREATE VIEW v AS " + rows + "; CREATE VIEW vv AS FROM v UNION ALL FROM t; " +
         "CREATE VIEW several AS FROM read_csv(['" + prefix + "*.csv']); " +
         "CREATE MACRO reads(p) AS TABLE FROM read_csv(p || '*.csv'); CREATE VIEW computed AS FROM "
         "reads('" +
         prefix + "'); USE memory; DETACH made");
}

/// A way to name an input, and the output that would replace it.
struct Way {
  std::string name;
  Strings source;
  std::string output;
};

class CommandOverwrite : public ::testing::TestWithParam<Way> {
 protected:
  /// Nothing is changed, so all share one folder.
  static void SetUpTestSuite() {
    folder_ = std::make_unique<qvtest::TempFolder>();
    MakeData(*folder_);
  }
  static void TearDownTestSuite() { folder_.reset(); }

  static std::map<std::string, std::string> Bytes() {
    std::map<std::string, std::string> bytes;
    for (const auto& entry : fs::directory_iterator(folder_->Path())) {
      if (entry.is_regular_file())
        bytes[entry.path().filename().string()] = qvtest::ReadFile(entry.path());
    }
    return bytes;
  }

  /// With FOLDER in the place of the folder's path.
  static std::string Placed(std::string text) {
    const std::string mark = "FOLDER";
    for (std::size_t at = 0; (at = text.find(mark)) != std::string::npos;) {
      text.replace(at, mark.size(), folder_->Path().string());
    }
    return text;
  }

  static std::unique_ptr<qvtest::TempFolder> folder_;
};

std::unique_ptr<qvtest::TempFolder> CommandOverwrite::folder_;

TEST_P(CommandOverwrite, IsRefused) {
  const auto before = Bytes();
  const std::string output = Placed(GetParam().output);
  const std::string ending = fs::path(output).extension().string();
  const bool isTable = ending == ".csv" || ending == ".parquet";
  for (const std::string option : {"--json", "--predictions"}) {
    if (option == "--predictions" && !isTable) continue;
    Strings arguments = {"fit", "--formula", "y ~ x", option, output};
    for (const std::string& argument : GetParam().source) arguments.push_back(Placed(argument));
    const CommandResult result =
        CommandRun(arguments).In(folder_->Path()).InputFrom(folder_->File("keep.csv")).Run();
    EXPECT_EQ(result.exitCode, 2) << option;
    EXPECT_EQ(result.out, "") << option;
    EXPECT_TRUE(
        result.err.starts_with("qvreg: " + option + " '" + output + "' would replace the input '"))
        << result.err;
    EXPECT_TRUE(result.err.ends_with("'; name another file.\n")) << result.err;
    EXPECT_TRUE(Bytes() == before) << option << " changed a file, or left one";
  }
}

const std::vector<Way>& Ways() {
  static const std::vector<Way> kWays = {
      {"Plain", {"--data", "keep.csv"}, "keep.csv"},
      {"DataWithDot", {"--data", "./keep.csv"}, "keep.csv"},
      {"DataAbsolute", {"--data", "FOLDER/keep.csv"}, "keep.csv"},
      {"OutputAbsolute", {"--data", "keep.csv"}, "FOLDER/keep.csv"},
      {"OutputByTheProcess", {"--data", "keep.csv"}, "/proc/self/cwd/keep.csv"},
      {"DataByTheProcess", {"--data", "/proc/self/cwd/keep.csv"}, "keep.csv"},
      {"OutputInALinkedFolder", {"--data", "keep.csv"}, "here/keep.csv"},
      {"OutputAcrossAFolder", {"--data", "keep.csv"}, "sub/../keep.csv"},
      {"DataLinked", {"--data", "linklink.csv"}, "keep.csv"},
      {"OutputLinked", {"--data", "keep.csv"}, "linklink.csv"},
      {"OutputHardLink", {"--data", "keep.csv"}, "hard.csv"},
      {"DataHardLink", {"--data", "hard.csv"}, "keep.csv"},
      {"FirstOfAPattern", {"--data", "p-*.csv"}, "p-1.csv"},
      {"LastOfAPattern", {"--data", "p-*.csv"}, "p-3.csv"},
      {"PatternThatTheQueryLeavesOut",
       {"--data", "p-*.csv", "--sql", "FROM 'keep.csv'"},
       "p-3.csv"},
      {"QueryOfTheData", {"--data", "keep.csv", "--sql", "FROM data"}, "keep.csv"},
      {"Parquet", {"--data", "rows.parquet"}, "rows.parquet"},
      {"Json", {"--data", "rows.json"}, "rows.json"},
      {"Compressed", {"--data", "rows.csv.gz"}, "rows.csv.gz"},
      {"Query", {"--sql", "SELECT * FROM 'keep.csv'"}, "keep.csv"},
      {"QueryInDoubleQuotes", {"--sql", "SELECT * FROM \"keep.csv\""}, "keep.csv"},
      {"QueryOfAPattern", {"--sql", "FROM 'p-*.csv'"}, "p-2.csv"},
      {"QueryThatStopsEarly", {"--sql", "FROM 'p-*.csv' LIMIT 4"}, "p-3.csv"},
      {"AddressOfAFile", {"--sql", "FROM 'file://FOLDER/keep.csv'"}, "keep.csv"},
      {"List", {"--sql", "FROM read_csv(['p-1.csv', 'p-2.csv'])"}, "p-2.csv"},
      {"NamedArguments", {"--sql", "FROM read_csv('keep.csv', header = true)"}, "keep.csv"},
      {"ComputedName", {"--sql", "FROM read_csv('ke' || 'ep.csv')"}, "keep.csv"},
      {"ComputedList",
       {"--sql", "FROM read_csv(['p-' || i || '.csv' FOR i IN [1, 3]])"},
       "p-3.csv"},
      {"ReadParquet", {"--sql", "FROM read_parquet(['rows.parquet'])"}, "rows.parquet"},
      {"ReadJson", {"--sql", "FROM read_json('rows.json')"}, "rows.json"},
      {"Subquery",
       {"--sql",
        "SELECT i AS x, i * i AS y FROM range(6) r(i) WHERE i IN (SELECT x FROM 'keep.csv')"},
       "keep.csv"},
      {"Value",
       {"--sql", "SELECT i AS x, i * i + (SELECT max(x) FROM 'keep.csv') AS y FROM range(6) r(i)"},
       "keep.csv"},
      {"CommonTable", {"--sql", "WITH q AS (FROM 'p-*.csv') SELECT * FROM q"}, "p-3.csv"},
      {"Join", {"--sql", "FROM 'keep.csv' JOIN 'p-1.csv' AS p USING (x, y)"}, "p-1.csv"},
      {"Union", {"--sql", "FROM 'keep.csv' UNION ALL FROM 'p-1.csv'"}, "p-1.csv"},
      {"QueryInAText", {"--sql", "FROM query('FROM ''p-*.csv''')"}, "p-3.csv"},
      {"TableInAText", {"--sql", "FROM query_table(['p-1.csv', 'p-3.csv'])"}, "p-3.csv"},
      {"Database", {"--data", "shop.duckdb", "--table", "t"}, "shop.duckdb"},
      {"LogOfADatabase", {"--data", "shop.duckdb", "--table", "t"}, "shop.duckdb.wal"},
      {"View", {"--data", "shop.duckdb", "--table", "v"}, "keep.csv"},
      {"ViewOfAView", {"--data", "shop.duckdb", "--sql", "FROM vv"}, "keep.csv"},
      {"ViewOfAPattern", {"--data", "shop.duckdb", "--table", "several"}, "p-3.csv"},
      {"ViewOfAMacro", {"--data", "shop.duckdb", "--table", "computed"}, "p-1.csv"},
      {"SecondOfSeveral", {"--data", "keep.csv", "p-2.csv"}, "p-2.csv"},
      {"RepeatedOption", {"--data", "keep.csv", "--data", "p-*.csv"}, "p-3.csv"},
      {"StandardInput", {"--data", "-"}, "keep.csv"},
      {"StandardInputByPath", {"--data", "/dev/stdin"}, "hard.csv"},
      {"Converted", {"--data", "keep.csv", "--encoding", "latin-1"}, "keep.csv"},
      {"NamedFormat", {"--data", "rows.bin", "--format", "csv"}, "rows.bin"},
      {"CompressedWithoutItsEnding", {"--data", "packed"}, "packed"},
      {"Sqlite", {"--data", "shop.sqlite"}, "shop.sqlite"},
      {"LogOfSqlite", {"--data", "shop.sqlite"}, "shop.sqlite-wal"},
      {"JournalOfSqlite", {"--data", "shop.sqlite"}, "shop.sqlite-journal"},
      {"QueryOfSqlite", {"--data", "shop.sqlite", "--sql", "FROM t"}, "shop.sqlite"},
      {"MacroOfAPattern", {"--data", "shop.duckdb", "--sql", "FROM reads('p-')"}, "p-3.csv"},
  };
  return kWays;
}

INSTANTIATE_TEST_SUITE_P(Ways, CommandOverwrite, ::testing::ValuesIn(Ways()),
                         [](const auto& way) { return way.param.name; });

class CommandOutputs : public ::testing::Test {
 protected:
  CommandOutputs() { MakeData(folder_); }

  [[nodiscard]] CommandResult Fit(const Strings& options,
                                  const std::string& formula = "y ~ x") const {
    Strings arguments = {"fit", "--formula", formula};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return CommandRun(arguments).In(folder_.Path()).Run();
  }

  void ExpectFit(const Strings& options, const std::string& formula = "y ~ x") const {
    const CommandResult result = Fit(options, formula);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err, "");
  }

  qvtest::TempFolder folder_;
};

TEST_F(CommandOutputs, AFileThatIsNotReadIsReplaced) {
  ExpectFit({"--data", "keep.csv", "--json", "p-1.csv", "--predictions", "p-2.csv"});
  EXPECT_TRUE(qvtest::ReadFile(folder_.File("p-1.csv")).starts_with("{"));
  EXPECT_TRUE(qvtest::ReadFile(folder_.File("p-2.csv")).starts_with("observed,predicted,"));
}

TEST_F(CommandOutputs, ANameElsewhereIsNoInput) {
  ExpectFit({"--data", "keep.csv", "--json", "p-1.csv"}, "y ~ x + I(x * length('p-1.csv'))");
  for (const std::string query : {"SELECT *, 'p-1.csv' AS f FROM 'keep.csv' WHERE 'p-1.csv' <> ''",
                                  "SELECT x, y FROM 'keep.csv', unnest(['p-1.csv'])",
                                  "FROM read_csv('keep.csv', nullstr = 'p-1.csv')",
                                  "WITH \"p-1.csv\" AS (FROM 'keep.csv') FROM \"p-1.csv\""}) {
    ExpectFit({"--sql", query, "--predictions", "p-1.csv"});
  }
}

TEST_F(CommandOutputs, ANewFileThatThePatternWouldMatch) {
  ExpectFit({"--data", "p-*.csv", "--predictions", "p-4.csv", "--json", "p-5.csv"});
  EXPECT_TRUE(fs::exists(folder_.File("p-4.csv")));
  EXPECT_EQ(Fit({"--data", "p-*.csv", "--predictions", "p-4.csv"}).exitCode, 2);
}

TEST_F(CommandOutputs, TemporaryFilesAreNoData) {
  const fs::path few = folder_.Path() / "sub";
  fs::copy_file(folder_.File("keep.csv"), few / "keep.csv");
  const CommandResult result =
      CommandRun({"fit", "--formula", "y ~ x", "--sql", "FROM read_csv('./**', filename = true)",
                  "--json", "fit.json", "--predictions", "out.csv", "--spool-dir", "."})
          .In(few)
          .Run();
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.out.find("5 read, 5 used"), std::string::npos) << result.out;
  EXPECT_EQ(std::distance(fs::directory_iterator(few), {}), 3);
}

TEST_F(CommandOutputs, TwoOutputsThatAreOneFile) {
  fs::create_symlink("new.csv", folder_.File("nowhere.csv"));
  fs::create_symlink("nowhere.csv", folder_.File("nowhere else.csv"));
  fs::create_hard_link(folder_.File("p-1.csv"), folder_.File("p-1 again.csv"));
  using Two = std::pair<std::string, std::string>;
  for (const auto& [json, predictions] :
       {Two{"new.csv", "new.csv"}, Two{"./new.csv", "new.csv"},
        Two{folder_.File("new.csv"), "new.csv"}, Two{"here/new.csv", "new.csv"},
        Two{"nowhere.csv", "new.csv"}, Two{"new.csv", "nowhere else.csv"},
        Two{"p-1.csv", "p-1 again.csv"}}) {
    const CommandResult result =
        Fit({"--data", "keep.csv", "--json", json, "--predictions", predictions});
    EXPECT_EQ(result.exitCode, 2) << json;
    EXPECT_EQ(result.err, "qvreg: --json '" + json + "' and --predictions '" + predictions +
                              "' are the same file; name two.\n");
    EXPECT_FALSE(fs::exists(folder_.File("new.csv")));
    EXPECT_EQ(qvtest::ReadFile(folder_.File("p-1.csv")), kRows);
  }
}

TEST_F(CommandOutputs, AnOutputThatBecomesAnInputDuringTheRun) {
  ASSERT_EQ(mkfifo(folder_.File("pipe.csv").c_str(), 0600), 0);
  // Opening the pipe waits until the predictions are written, long after the first checks.
  std::thread other([this] {
    std::ifstream pipe(folder_.File("pipe.csv"));
    fs::create_hard_link(folder_.File("keep.csv"), folder_.File("fit.json"));
    const std::string read(std::istreambuf_iterator<char>(pipe), {});
    EXPECT_TRUE(read.starts_with("observed,predicted,")) << read;
  });
  const CommandResult result =
      Fit({"--data", "keep.csv", "--predictions", "pipe.csv", "--json", "fit.json"});
  other.join();
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(result.err,
            "qvreg: --json 'fit.json' would replace the input 'keep.csv'; name another file.\n");
  EXPECT_EQ(qvtest::ReadFile(folder_.File("fit.json")), kRows);
}

}  // namespace
}  // namespace qvhost
