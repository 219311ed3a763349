#include <chrono>
#include <cstdint>
#include <string>

#include <fmt/format.h>

#include "host/table/InputFiles.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

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
