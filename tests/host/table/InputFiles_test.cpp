#include "host/table/InputFiles.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

using InputFilesTest = TableTest;

TEST_F(InputFilesTest, AFileIsFoundByEachOfItsNames) {
  const std::string file = WriteText("a.csv", "x\n1\n");
  fs::create_symlink(file, Path("link.csv"));
  fs::create_symlink("link.csv", Path("link of a link.csv"));
  fs::create_hard_link(file, Path("hard.csv"));
  fs::create_directory_symlink(folder_, Path("folder"));
  InputFiles inputs;
  inputs.Add(file);
  for (const char* name :
       {"a.csv", "./a.csv", "link.csv", "link of a link.csv", "hard.csv", "folder/a.csv",
        "folder/../" /* of the link's target */ "none"}) {
    const bool exists = fs::exists(Path(name));
    EXPECT_EQ(inputs.Find(Path(name)), exists ? std::optional(file) : std::nullopt) << name;
  }
  EXPECT_EQ(inputs.Find(fs::relative(file).string()), file);
  EXPECT_EQ(inputs.Find("/proc/self/root" + file), file);
}

TEST_F(InputFilesTest, TheNameMetFirstIsKept) {
  const std::string file = WriteText("a.csv", "x\n1\n");
  fs::create_hard_link(file, Path("b.csv"));
  InputFiles inputs;
  inputs.Add(Path("b.csv"));
  inputs.Add(file);
  EXPECT_EQ(inputs.Find(file), Path("b.csv"));
}

TEST_F(InputFilesTest, AnotherFileOfTheSameContentIsNoInput) {
  InputFiles inputs;
  inputs.Add(WriteText("a.csv", "x\n1\n"));
  EXPECT_EQ(inputs.Find(WriteText("b.csv", "x\n1\n")), std::nullopt);
  EXPECT_EQ(inputs.Find(Path("new.csv")), std::nullopt);
  EXPECT_EQ(inputs.Find(""), std::nullopt);
}

TEST_F(InputFilesTest, AnAddressOfALocalFile) {
  const std::string file = WriteText("a.csv", "x\n1\n");
  for (const char* beginning : {"file:", "file://", "file://localhost"}) {
    InputFiles inputs;
    inputs.Add(beginning + file);
    EXPECT_EQ(inputs.Find(file), file) << beginning;
  }
}

TEST_F(InputFilesTest, TheNameOfAFileThatDoesNotExist) {
  InputFiles inputs;
  inputs.Add(Path("shop.duckdb.wal"));
  fs::create_symlink("shop.duckdb.wal", Path("link"));
  EXPECT_EQ(inputs.Find(Path("./shop.duckdb.wal")), Path("shop.duckdb.wal"));
  EXPECT_EQ(inputs.Find(Path("link")), Path("shop.duckdb.wal"));
  EXPECT_EQ(inputs.Find(Path("other.wal")), std::nullopt);
}

TEST_F(InputFilesTest, ADeviceCannotBeReplaced) {
  InputFiles inputs;
  inputs.Add("/dev/null");
  EXPECT_EQ(inputs.Find("/dev/null"), std::nullopt);
}

TEST_F(InputFilesTest, PathsToOneFile) {
  const std::string file = WriteText("a.csv", "x\n1\n");
  fs::create_hard_link(file, Path("hard.csv"));
  fs::create_symlink("new.csv", Path("link.csv"));
  fs::create_symlink("link.csv", Path("link of a link.csv"));
  fs::create_symlink("round.csv", Path("round.csv"));
  fs::create_directory(Path("sub"));
  EXPECT_TRUE(IsSameFile(file, Path("hard.csv")));
  EXPECT_TRUE(IsSameFile(Path("new.csv"), Path("./new.csv")));
  EXPECT_TRUE(IsSameFile(Path("new.csv"), Path("sub/../new.csv")));
  EXPECT_TRUE(IsSameFile(Path("new.csv"), Path("link.csv")));
  EXPECT_TRUE(IsSameFile(Path("link of a link.csv"), Path("new.csv")));
  EXPECT_TRUE(IsSameFile("new.csv", fs::absolute("new.csv").string()));
  EXPECT_TRUE(IsSameFile("/dev/null", "/dev/null"));
  EXPECT_FALSE(IsSameFile(Path("new.csv"), Path("sub/new.csv")));
  EXPECT_FALSE(IsSameFile(file, Path("new.csv")));
  EXPECT_FALSE(IsSameFile(Path("round.csv"), Path("new.csv")));
}

class NamedFilesTest : public TableTest {
 protected:
  NamedFilesTest() {
    for (const char* name : {"a-1.csv", "a-2.csv", "b.csv"}) WriteText(name, "x,y\n1,2\n");
  }

  /// The names of the files found, without their folder; FOLDER in the query is that folder.
  [[nodiscard]] std::vector<std::string> Find(std::string query) {
    std::vector<std::string> names;
    for (const std::string& file :
         NamedFiles(connection_, Placed(std::move(query)), DefinitionsOf(connection_))) {
      EXPECT_TRUE(file.starts_with(Path(""))) << file;
      names.push_back(file.substr(Path("").size()));
    }
    std::ranges::sort(names);
    return names;
  }

  void Execute(const std::string& statement) { connection_.Execute(Placed(statement)); }

  [[nodiscard]] std::string Placed(std::string text) const {
    constexpr std::string_view kFolder = "FOLDER/";
    for (std::size_t at = 0; (at = text.find(kFolder)) != std::string::npos;) {
      text.replace(at, kFolder.size(), Path(""));
    }
    return text;
  }

  const std::vector<std::string> both_ = {"a-1.csv", "a-2.csv"};
  const std::vector<std::string> b_ = {"b.csv"};
  const std::vector<std::string> none_;
  Connection connection_;
};

TEST_F(NamedFilesTest, ANameOrAPatternInPlaceOfATable) {
  EXPECT_EQ(Find("SELECT * FROM 'FOLDER/b.csv'"), b_);
  EXPECT_EQ(Find("FROM \"FOLDER/b.csv\""), b_);
  EXPECT_EQ(Find("SELECT * FROM 'FOLDER/a-*.csv'"), both_);
  EXPECT_EQ(Find("SELECT * FROM 'FOLDER/none.csv'"), none_);
}

TEST_F(NamedFilesTest, ArgumentsOfReaders) {
  EXPECT_EQ(Find("FROM read_csv('FOLDER/b.csv', header = true, delim := ',')"), b_);
  EXPECT_EQ(Find("FROM READ_CSV_AUTO(['FOLDER/a-2.csv', 'FOLDER/a-1.csv'])"), both_);
  EXPECT_EQ(Find("FROM read_csv('FOLDER/' || lower('B') || '.csv')"), b_);
  EXPECT_EQ(Find("FROM read_parquet(['FOLDER/a-' || i || '.csv' FOR i IN range(3)])"), both_);
  EXPECT_EQ(Find("FROM read_text(concat('FOLDER/a', '-*'))"), both_);
}

TEST_F(NamedFilesTest, WhereverTheyStand) {
  EXPECT_EQ(Find("WITH q AS (FROM 'FOLDER/b.csv') SELECT * FROM q"), b_);
  EXPECT_EQ(Find("SELECT (SELECT max(x) FROM 'FOLDER/b.csv') AS y"), b_);
  EXPECT_EQ(Find("SELECT 1 WHERE 1 IN (SELECT x FROM (FROM 'FOLDER/b.csv'))"), b_);
  EXPECT_EQ(Find("FROM 'FOLDER/a-1.csv' UNION ALL FROM 'FOLDER/a-2.csv'"), both_);
  EXPECT_EQ(Find("FROM 'FOLDER/a-1.csv' a JOIN 'FOLDER/a-2.csv' b ON a.x < b.x ORDER BY 1"), both_);
  EXPECT_EQ(Find("FROM (PIVOT 'FOLDER/b.csv' ON x IN (1, 2) USING sum(y))"), b_);
}

TEST_F(NamedFilesTest, InViewsAndMacros) {
  Execute("CREATE VIEW \"one AS view\" AS SELECT * FROM 'FOLDER/a-*.csv'");
  Execute("CREATE VIEW outer_view(p, q) AS SELECT * FROM \"one AS view\"");
  Execute("CREATE VIEW listed AS FROM read_csv(['FOLDER/a-*.csv'])");
  Execute("CREATE MACRO reads() AS TABLE FROM read_csv(['FOLDER/b.csv'])");
  Execute("CREATE MACRO highest() AS (SELECT max(x) FROM 'FOLDER/b.csv')");
  EXPECT_EQ(Find("FROM OUTER_VIEW"), both_);
  EXPECT_EQ(Find("FROM main.listed"), both_);
  EXPECT_EQ(Find("FROM reads()"), b_);
  EXPECT_EQ(Find("SELECT highest() AS y"), b_);
  EXPECT_EQ(Find("SELECT 1 AS y"), none_);
}

TEST_F(NamedFilesTest, AMacroThatNamesItself) {
  Execute("CREATE MACRO again() AS TABLE FROM 'FOLDER/b.csv'");
  Execute("CREATE OR REPLACE MACRO again() AS TABLE FROM again() UNION FROM 'FOLDER/b.csv'");
  EXPECT_EQ(Find("FROM again()"), b_);
}

TEST_F(NamedFilesTest, AComputedNameWithoutAValue) {
  WriteText("p", "x\n1\n");
  Execute("CREATE MACRO reads(p) AS TABLE FROM read_csv('FOLDER/' || p)");
  EXPECT_EQ(Find("FROM reads('b.csv')"), none_);
}

TEST_F(NamedFilesTest, ATextElsewhereNamesNoFile) {
  EXPECT_EQ(Find("SELECT 'FOLDER/b.csv' AS f, length('FOLDER/b.csv') WHERE 'FOLDER/b.csv' <> ''"),
            none_);
  EXPECT_EQ(Find("FROM unnest(['FOLDER/b.csv'])"), none_);
  EXPECT_EQ(Find("FROM read_csv('FOLDER/a-*.csv', nullstr = 'FOLDER/b.csv', na := 'FOLDER/b.csv')"),
            both_);
  EXPECT_EQ(Find("SELECT x AS \"FOLDER/b.csv\" FROM 'FOLDER/a-*.csv' AS \"FOLDER/b.csv\""), both_);
}

TEST_F(NamedFilesTest, ATableOfThatNameComesFirst) {
  EXPECT_EQ(Find("WITH \"FOLDER/b.csv\" AS (SELECT 1) FROM \"FOLDER/b.csv\""), none_);
  Execute("CREATE TABLE \"FOLDER/b.csv\"(x INTEGER)");
  EXPECT_EQ(Find("FROM \"FOLDER/b.csv\""), none_);
}

TEST_F(NamedFilesTest, OddNames) {
  WriteText("it's 100% \"odd\" [1].csv", "x\n1\n");
  const std::vector<std::string> odd = {"it's 100% \"odd\" [1].csv"};
  EXPECT_EQ(Find("FROM 'FOLDER/it''s 100% \"odd\" [[]1].csv'"), odd);
  EXPECT_EQ(Find("FROM read_csv('FOLDER/it''s' || ' 100*')"), odd);
}

TEST_F(NamedFilesTest, TextThatIsNoQuery) {
  EXPECT_EQ(Find("SELEC 'FOLDER/b.csv'"), none_);
  EXPECT_EQ(Find(""), none_);
}

using std::chrono::milliseconds;

class OpenedFilesTest : public TableTest {
 protected:
  static constexpr int kRows = 200000;

  /// How long the log is.
  [[nodiscard]] static std::int64_t Entries(Connection& connection) {
    return std::stoll(*connection.Rows("SELECT count(*) FROM duckdb_logs").at(0).at(0));
  }

  /// A file that takes many reads.
  [[nodiscard]] std::string WriteManyGroups(const std::string& name) {
    Connection().Execute(fmt::format(
        "COPY (SELECT range AS x, range % 7 AS y FROM range({})) TO {} (ROW_GROUP_SIZE 2048)",
        kRows, QuoteText(Path(name))));
    return Path(name);
  }

  Connection connection_;
  InputFiles files_;
};

TEST_F(OpenedFilesTest, WhatAQueryOpensHoweverItIsNamed) {
  WriteText("a-1.csv", "x\n1\n");
  WriteText("a-2.csv", "x\n1\n");
  WriteText("b.csv", "x\n1\n");
  OpenedFiles opened(connection_, {});
  connection_.Execute("CREATE MACRO reads(p) AS TABLE FROM read_csv(p || '-*.csv')");
  static_cast<void>(connection_.Rows("FROM reads(" + QuoteText(Path("a")) + ")"));
  opened.AddTo(files_);
  EXPECT_TRUE(files_.Find(Path("a-1.csv")));
  EXPECT_TRUE(files_.Find(Path("a-2.csv")));
  EXPECT_FALSE(files_.Find(Path("b.csv")));
}

TEST_F(OpenedFilesTest, AViewOpensWhatItReads) {
  const std::string file = WriteText("a.csv", "x\n1\n");
  OpenedFiles opened(connection_, {});
  connection_.Execute("CREATE TEMP VIEW v AS SELECT * FROM " + QuoteText(file));
  opened.AddTo(files_);
  EXPECT_EQ(files_.Find(file), file);
}

TEST_F(OpenedFilesTest, FilesOpenedWhileRowsAreRead) {
  const std::string large = WriteManyGroups("large.parquet");
  const std::string last = WriteText("last.csv", "x,y\n1,2\n");
  const std::string query =
      fmt::format("FROM read_parquet({}) UNION ALL FROM {}", QuoteText(large), QuoteText(last));
  const auto entriesAfterReading = [&](const OpenedFiles::Limits& limits) {
    const TableSource source = OpenSql(query);
    OpenedFiles opened(source.Database(), limits);
    CodingOptions options;
    options.cancelled = [&] {
      opened.AddInTimeTo(files_);
      return false;
    };
    EXPECT_EQ(CodeTable(source, {Ask("x"), Ask("y")}, options).RecordCount(), kRows + 1);
    const std::int64_t entries = Entries(source.Database());
    opened.AddTo(files_);
    return entries;
  };
  EXPECT_GT(entriesAfterReading({std::chrono::hours(1), 20, 5}), 100);
  EXPECT_TRUE(files_.Find(large) && files_.Find(last));
  files_ = InputFiles();
  EXPECT_LT(entriesAfterReading({milliseconds(0), 20, 5}), 100) << "the log was never emptied";
  EXPECT_TRUE(files_.Find(large) && files_.Find(last));
}

TEST_F(OpenedFilesTest, AShortLogStays) {
  const std::string file = WriteText("a.csv", "x\n1\n");
  OpenedFiles opened(connection_, {milliseconds(0), 1000, 1});
  static_cast<void>(connection_.Rows("FROM " + QuoteText(file)));
  opened.AddInTimeTo(files_);
  EXPECT_GT(Entries(connection_), 0);
}

TEST_F(OpenedFilesTest, ALogOfManySmallFilesStays) {
  for (int i = 0; i < 30; ++i) WriteText(fmt::format("f-{}.csv", i), "x\n1\n");
  OpenedFiles opened(connection_, {milliseconds(0), 10, 100});
  static_cast<void>(connection_.Rows("FROM " + QuoteText(Path("f-*.csv"))));
  opened.AddInTimeTo(files_);
  EXPECT_GE(Entries(connection_), 60);
}

TEST_F(OpenedFilesTest, NothingIsDoneBeforeTheIntervalIsOver) {
  const std::string file = WriteText("a.csv", "x\n1\n");
  OpenedFiles opened(connection_, {std::chrono::hours(1), 0, 0});
  static_cast<void>(connection_.Rows("FROM " + QuoteText(file)));
  opened.AddInTimeTo(files_);
  EXPECT_FALSE(files_.Find(file));
}

}  // namespace
}  // namespace qvhost
