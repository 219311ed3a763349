#include "host/table/TableWriter.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <new>
#include <thread>
#include <utility>

#ifdef __linux__
#include <future>

#include <sys/stat.h>

#include "tests/host/ProcessLimits.h"
#endif

#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

class TableFormatTest : public TableTest {};

TEST_F(TableFormatTest, FollowsTheEnding) {
  EXPECT_EQ(TableFormatOf("out.csv"), TableFormat::kCsv);
  EXPECT_EQ(TableFormatOf("a.parquet/b.CSV"), TableFormat::kCsv);
  EXPECT_EQ(TableFormatOf("out.Tsv"), TableFormat::kTsv);
  EXPECT_EQ(TableFormatOf("/x/out.v2.PARQUET"), TableFormat::kParquet);
}

TEST_F(TableFormatTest, RefusesOtherEndings) {
  const std::string plain = WriteText("plain", "a file without an ending");
  for (const std::string& path :
       {std::string("out.txt"), std::string("csv"), std::string("out.csv.gz"), std::string(".csv"),
        std::string("out."), std::string(""), plain, folder_.string()}) {
    const Refusal refusal = RefusalOf([&] { (void)TableFormatOf(path); });
    EXPECT_EQ(refusal.code, ExitCode::kBadInput) << path;
    EXPECT_EQ(refusal.text, "A table cannot be written to '" + path +
                                "': the format follows from the ending of the name, which must be "
                                ".csv, .tsv or .parquet.");
  }
}

#ifdef __linux__

TEST_F(TableFormatTest, GivesADeviceCsv) {
  EXPECT_EQ(TableFormatOf("/dev/null"), TableFormat::kCsv);
}

#endif

namespace fs = std::filesystem;

using Type = WrittenColumn::Type;
using Row = std::pair<std::optional<std::string>, std::optional<double>>;

const std::vector<WrittenColumn> kTextAndNumber = {{"t", Type::kText}, {"x", Type::kNumber}};

/// Gives these rows of a text and a number.
NextRow RowsOf(const std::vector<Row>& rows) {
  return [&rows, next = std::size_t{0}](RowCells& cells) mutable {
    if (next == rows.size()) return false;
    const auto& [text, number] = rows[next++];
    if (text) cells.SetText(0, *text);
    if (number) cells.SetNumber(1, *number);
    return true;
  };
}

/// Counts from 0 in the only column, so many rows.
NextRow Counting(long rows) {
  return [rows, next = 0L](RowCells& cells) mutable {
    if (next == rows) return false;
    cells.SetNumber(0, static_cast<double>(next++));
    return true;
  };
}

/// Writes a table and commits it.
void WriteTableFile(const std::string& path, const std::vector<WrittenColumn>& columns,
                    const NextRow& nextRow) {
  WholeFile file(path);
  WriteTable(file, columns, nextRow);
  file.Finish();
  file.Commit();
}

class TableWriterTest : public TableTest {
 protected:
  /// The rows of a file as DuckDB reads it by itself, each value as text.
  static std::vector<std::vector<std::optional<std::string>>> Read(const std::string& path) {
    return Connection().Rows("FROM " + QuoteText(path));
  }
};

class TableWriterFormats : public TableWriterTest, public testing::WithParamInterface<const char*> {
 protected:
  [[nodiscard]] std::string Out() const { return (folder_ / "out").string() + GetParam(); }
};

INSTANTIATE_TEST_SUITE_P(, TableWriterFormats, testing::Values(".csv", ".tsv", ".parquet"),
                         [](const auto& format) { return format.param + 1; });

TEST_P(TableWriterFormats, ReadsBackTheSameDoubles) {
  using Limits = std::numeric_limits<double>;
  std::vector<Row> rows;
  for (const double x : {0.1, 0.1 + 0.2, 1.0 / 3.0, -0.0, 5e-324, Limits::min(), Limits::max(),
                         -1e308, 1e22, 9007199254740993.0, 1e15 + 0.5, 123456.7890123456,
                         std::nextafter(1.0, 2.0), std::nextafter(1.0, 0.0), 1e-7, 100000.0}) {
    rows.emplace_back("a", x);
    rows.emplace_back("b", 1.0 / x);
  }
  WriteTableFile(Out(), kTextAndNumber, RowsOf(rows));

  const std::vector<double> read =
      Values(CodeOne("SELECT x FROM " + QuoteText(Out()) + " WHERE isfinite(x)"));
  std::size_t at = 0;
  for (const Row& row : rows) {
    if (!std::isfinite(*row.second)) continue;
    ASSERT_LT(at, read.size());
    EXPECT_EQ(std::signbit(read[at]), std::signbit(*row.second)) << *row.second;
    EXPECT_EQ(read[at], *row.second);
    ++at;
  }
  EXPECT_EQ(at, read.size());
  EXPECT_GT(at, 25U);
}

TEST_P(TableWriterFormats, ReadsBackAwkwardTexts) {
  std::vector<Row> rows;
  for (const char* text : {"a,b",      "say \"no\"",  "two\nlines", "crlf\r\n",    "cr\rx",
                           "tab\tx",   " around ",    "semi;colon", "a|b",         "# no comment",
                           "'single'", "back\\slash", "\\n",        "Grüße, 日本", "\"",
                           ",",        "NULL",        "NA",         "nan",         "\"\"",
                           "x\"",      "--",          "🚲",          "%s",          "{}",
                           "plain"}) {
    rows.emplace_back(text, 1.5);
  }
  WriteTableFile(Out(), kTextAndNumber, RowsOf(rows));

  const auto read = Read(Out());
  ASSERT_EQ(read.size(), rows.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(read[i][0], rows[i].first);
    EXPECT_EQ(read[i][1], "1.5");
  }
}

TEST_P(TableWriterFormats, KeepsTheOrderOfManyRows) {
  constexpr long kRows = 300001;
  WriteTableFile(Out(), {{"i", Type::kNumber}}, Counting(kRows));
  const std::vector<double> read = Values(CodeOne("FROM " + QuoteText(Out()), "i"));
  ASSERT_EQ(read.size(), static_cast<std::size_t>(kRows));
  for (std::size_t i = 0; i < read.size(); ++i) ASSERT_EQ(read[i], static_cast<double>(i));
}

TEST_P(TableWriterFormats, WritesNullWhereNothingWasSet) {
  const std::vector<Row> rows = {{"a", 1.0}, {"b", {}}, {{}, 3.0}, {{}, {}}, {"e", 5.0}};
  WriteTableFile(Out(), kTextAndNumber, RowsOf(rows));
  const auto read = Read(Out());
  ASSERT_EQ(read.size(), rows.size());
  EXPECT_EQ(read[0], (std::vector<std::optional<std::string>>{"a", "1.0"}));
  EXPECT_EQ(read[1], (std::vector<std::optional<std::string>>{"b", std::nullopt}));
  EXPECT_EQ(read[2], (std::vector<std::optional<std::string>>{std::nullopt, "3.0"}));
  EXPECT_EQ(read[3], (std::vector<std::optional<std::string>>{std::nullopt, std::nullopt}));
  EXPECT_EQ(read[4], (std::vector<std::optional<std::string>>{"e", "5.0"}));
}

TEST_P(TableWriterFormats, NullsOfEarlierChunksDoNotReturn) {
  // Nulls in every place of the first chunks, none in the following ones, and so on.
  constexpr long kRows = 20000;
  constexpr long kRun = 3000;
  long next = 0;
  WriteTableFile(Out(), kTextAndNumber, [&next](RowCells& cells) {
    const long row = next++;
    if (row == kRows) return false;
    cells.SetText(0, row == 0 ? "first" : "text");
    if (row / kRun % 2 == 1) cells.SetNumber(1, static_cast<double>(row));
    return true;
  });
  const std::vector<double> read = Values(
      CodeOne("SELECT CASE WHEN x IS NULL THEN -1 ELSE x END AS x FROM " + QuoteText(Out())));
  ASSERT_EQ(read.size(), static_cast<std::size_t>(kRows));
  for (long row = 0; row < kRows; ++row) {
    const double expected = row / kRun % 2 == 1 ? static_cast<double>(row) : -1.0;
    ASSERT_EQ(read[static_cast<std::size_t>(row)], expected);
  }
}

TEST_P(TableWriterFormats, OneColumnKeepsItsNulls) {
  long next = 0;
  WriteTableFile(Out(), {{"predicted", Type::kNumber}}, [&next](RowCells& cells) {
    if (next % 2 == 0) cells.SetNumber(0, static_cast<double>(next) + 0.5);
    return next++ < 5;
  });
  const auto read = Read(Out());
  ASSERT_EQ(read.size(), 5U);
  EXPECT_EQ(read[0][0], "0.5");
  EXPECT_EQ(read[1][0], std::nullopt);
  EXPECT_EQ(read[4][0], "4.5");
}

TEST_P(TableWriterFormats, WritesATableWithoutRows) {
  WriteTableFile(Out(), kTextAndNumber, [](RowCells&) { return false; });
  if (!Out().ends_with(".parquet")) {
    EXPECT_EQ(qvtest::ReadFile(Out()), Out().ends_with(".csv") ? "t,x\n" : "t\tx\n");
    return;
  }
  EXPECT_TRUE(Read(Out()).empty());
  const auto columns = Connection().Describe("FROM " + QuoteText(Out()));
  ASSERT_EQ(columns.size(), 2U);
  EXPECT_EQ(columns[0].name, "t");
  EXPECT_EQ(columns[1].name, "x");
}

TEST_P(TableWriterFormats, TakesAnyNameOfAColumn) {
  const std::vector<std::string> names = {"a,b", "\"q\"", "x y", "é\nz", "select", "p_'; --", "*"};
  std::vector<WrittenColumn> columns;
  for (const std::string& name : names) columns.push_back({name, Type::kNumber});
  bool given = false;
  WriteTableFile(Out(), columns, [&](RowCells& cells) {
    for (std::size_t i = 0; i < names.size(); ++i) cells.SetNumber(i, 1.5 * static_cast<double>(i));
    return !std::exchange(given, true);
  });
  const auto read = Connection().Describe("FROM " + QuoteText(Out()));
  ASSERT_EQ(read.size(), names.size());
  for (std::size_t i = 0; i < names.size(); ++i) EXPECT_EQ(read[i].name, names[i]);
  EXPECT_EQ(Read(Out())[0][6], "9.0");
}

TEST_P(TableWriterFormats, NumbersNamesThatDifferInCapitalsOnly) {
  WriteTableFile(Out(), {{"p_A", Type::kNumber}, {"p_a", Type::kNumber}},
                 [row = 0](RowCells& cells) mutable {
                   cells.SetNumber(0, 1.5);
                   cells.SetNumber(1, 2.5);
                   return row++ == 0;
                 });
  const auto columns = Connection().Describe("FROM " + QuoteText(Out()));
  ASSERT_EQ(columns.size(), 2U);
  EXPECT_EQ(columns[0].name, "p_A");
  EXPECT_EQ(columns[1].name, "p_a_1");
  EXPECT_EQ(Read(Out())[0], (std::vector<std::optional<std::string>>{"1.5", "2.5"}));
}

TEST_P(TableWriterFormats, AZeroByteEndsAName) {
  const std::string name("a\0b", 3);
  bool given = false;
  WriteTableFile(Out(), {{name, Type::kNumber}, {"t", Type::kText}}, [&](RowCells& cells) {
    cells.SetText(1, "text");
    return !std::exchange(given, true);
  });
  EXPECT_EQ(Connection().Describe("FROM " + QuoteText(Out()))[0].name, "a");
}

TEST_P(TableWriterFormats, WritesManyColumns) {
  constexpr std::size_t kColumns = 1500;
  std::vector<WrittenColumn> columns;
  for (std::size_t i = 0; i < kColumns; ++i) {
    columns.push_back({"c" + std::to_string(i), Type::kNumber});
  }
  int rows = 0;
  WriteTableFile(Out(), columns, [&](RowCells& cells) {
    for (std::size_t i = 0; i < kColumns; ++i) cells.SetNumber(i, rows + static_cast<double>(i));
    return rows++ < 5000;
  });
  const auto read =
      Connection().Rows("SELECT count(*), sum(c0), sum(c1499), max(c7) FROM " + QuoteText(Out()));
  EXPECT_EQ(read[0], (std::vector<std::optional<std::string>>{"5000", "12497500.0", "19992500.0",
                                                              "5006.0"}));
}

TEST_P(TableWriterFormats, AFailureOfTheRowsPassesThroughAndLeavesTheOldFile) {
  std::ofstream(Out()) << "old";
  long next = 0;
  const auto throwing = [&next](RowCells& cells) -> bool {
    if (++next == 250000) throw Cancelled();
    cells.SetNumber(0, 0.5);
    return true;
  };
  EXPECT_THROW(WriteTableFile(Out(), {{"x", Type::kNumber}}, throwing), Cancelled);
  EXPECT_EQ(next, 250000);
  EXPECT_EQ(qvtest::ReadFile(Out()), "old");
  EXPECT_EQ(FilesInFolder(), 1);

  WriteTableFile(Out(), {{"x", Type::kNumber}}, Counting(1));
  EXPECT_EQ(Read(Out())[0][0], "0.0");
  EXPECT_EQ(FilesInFolder(), 1);
}

TEST_P(TableWriterFormats, AnyExceptionPassesThrough) {
  const auto writing = [&](const NextRow& rows) {
    WriteTableFile(Out(), {{"x", Type::kNumber}}, rows);
  };
  EXPECT_THROW(writing([](RowCells&) -> bool { throw std::bad_alloc(); }), std::bad_alloc);
  EXPECT_THROW(writing([](RowCells&) -> bool { throw 7; }), int);
  EXPECT_EQ(FilesInFolder(), 0);
}

TEST_P(TableWriterFormats, AsksForTheRowsOnTheCallingThread) {
  const std::thread::id caller = std::this_thread::get_id();
  long asked = 0;
  long elsewhere = 0;
  WriteTableFile(Out(), {{"x", Type::kNumber}}, [&](RowCells& cells) {
    if (std::this_thread::get_id() != caller) ++elsewhere;
    cells.SetNumber(0, 1.0);
    return ++asked < 200000;
  });
  EXPECT_EQ(asked, 200000);
  EXPECT_EQ(elsewhere, 0);
}

TEST_P(TableWriterFormats, NamesAFolderThatIsMissing) {
  const std::string path = Path("missing/out") + GetParam();
  const Refusal refusal = RefusalOf([&] {
    WriteTableFile(path, {{"x", Type::kNumber}}, Counting(1));
  });
  EXPECT_EQ(refusal.code, ExitCode::kRunFailed);
  EXPECT_EQ(refusal.text, "The file '" + path + "' could not be written: " + std::strerror(ENOENT) +
                              ". Name a file in an existing folder that you may write to and "
                              "that has room.");
}

TEST_F(TableWriterTest, SeparatesTheValuesAsTheEndingSays) {
  const std::vector<Row> rows = {{"a,b", 1.5}, {"", 2.0}, {{}, {}}};
  WriteTableFile(Path("a.csv"), kTextAndNumber, RowsOf(rows));
  EXPECT_EQ(qvtest::ReadFile(Path("a.csv")), "t,x\n\"a,b\",1.5\n\"\",2.0\n,\n");
  WriteTableFile(Path("a.TSV"), kTextAndNumber, RowsOf(rows));
  EXPECT_EQ(qvtest::ReadFile(Path("a.TSV")), "t\tx\na,b\t1.5\n\"\"\t2.0\n\t\n");
}

TEST_F(TableWriterTest, AnEmptyTextIsNoNull) {
  const std::vector<Row> rows = {{"", 1.0}, {{}, 2.0}, {"a", 3.0}};
  WriteTableFile(Path("a.parquet"), kTextAndNumber, RowsOf(rows));
  WriteTableFile(Path("a.csv"), kTextAndNumber, RowsOf(rows));
  for (const std::string& source :
       {QuoteText(Path("a.parquet")),
        "read_csv(" + QuoteText(Path("a.csv")) + ", allow_quoted_nulls = false)"}) {
    const auto read = Connection().Rows("SELECT t FROM " + source);
    ASSERT_EQ(read.size(), 3U);
    EXPECT_EQ(read[0][0], "") << source;
    EXPECT_EQ(read[1][0], std::nullopt) << source;
  }
}

TEST_F(TableWriterTest, ANullAloneInItsLineIsNoEmptyLine) {
  WriteTableFile(Path("a.csv"), {{"x", Type::kNumber}}, [row = 0](RowCells& cells) mutable {
    if (row != 1) cells.SetNumber(0, 1.0 / 3.0);
    return row++ < 3;
  });
  EXPECT_EQ(qvtest::ReadFile(Path("a.csv")), "x\n0.3333333333333333\n\"\"\n0.3333333333333333\n");
}

TEST_F(TableWriterTest, RefusesOtherEndingsBeforeAnyRow) {
  const auto rows = [](RowCells&) -> bool { throw std::logic_error("asked for a row"); };
  const Refusal refusal = RefusalOf([&] {
    WriteTableFile(Path("out.json"), {{"x", Type::kNumber}}, rows);
  });
  EXPECT_EQ(refusal.code, ExitCode::kBadInput);
  EXPECT_NE(refusal.text.find(".csv, .tsv or .parquet"), std::string::npos) << refusal.text;
  EXPECT_EQ(FilesInFolder(), 0);
}

TEST_F(TableWriterTest, TakesAnyNameOfAFile) {
  for (const char* name :
       {"it's.csv", "a b.parquet", "~.csv", "{x}*.csv", "é.tsv", "a\"b.csv", "x.csv.gz.csv"}) {
    WriteTableFile(Path(name), {{"x", Type::kNumber}}, Counting(2));
    EXPECT_TRUE(fs::is_regular_file(Path(name))) << name;
    EXPECT_GT(fs::file_size(Path(name)), 4U) << name;
  }
  EXPECT_EQ(FilesInFolder(), 7);
}

TEST_F(TableWriterTest, ARelativeNameIsOfTheWorkingFolder) {
  const fs::path before = fs::current_path();
  fs::current_path(folder_);
  const Refusal refusal = RefusalOf([] {
    WriteTableFile("~x.csv", {{"x", Type::kNumber}}, Counting(1));
  });
  fs::current_path(before);
  EXPECT_EQ(refusal.text, Refusal().text);
  EXPECT_EQ(qvtest::ReadFile(Path("~x.csv")), "x\n0.0\n");
}

#ifdef __linux__

TEST_P(TableWriterFormats, KeepsTheOldFileWhenThereIsNoRoom) {
  std::ofstream(Out()) << "old";
  Refusal refusal;
  {
    const FileSizeLimit limit(100000);
    refusal = RefusalOf([&] { WriteTableFile(Out(), {{"x", Type::kNumber}}, Counting(400000)); });
  }
  EXPECT_EQ(refusal.code, ExitCode::kRunFailed);
  EXPECT_EQ(refusal.text, "The file '" + Out() + "' could not be written: " + std::strerror(EFBIG) +
                              ". Name a file in an existing folder that you may write to and "
                              "that has room.");
  EXPECT_EQ(qvtest::ReadFile(Out()), "old");
  EXPECT_EQ(FilesInFolder(), 1);
}

TEST_F(TableWriterTest, NamesAFolderWithoutPermission) {
  const std::string path = Path("out.parquet");
  fs::permissions(folder_, fs::perms::owner_read | fs::perms::owner_exec);
  Refusal refusal;
  {
    const PlainUser user;
    if (geteuid() == 0) GTEST_SKIP() << "root may write everywhere, and cannot be left";
    refusal = RefusalOf([&] { WriteTableFile(path, {{"x", Type::kNumber}}, Counting(1)); });
  }
  fs::permissions(folder_, fs::perms::owner_all);
  EXPECT_EQ(refusal.code, ExitCode::kRunFailed);
  EXPECT_NE(refusal.text.find("'" + path + "'"), std::string::npos) << refusal.text;
  EXPECT_NE(refusal.text.find(std::strerror(EACCES)), std::string::npos) << refusal.text;
}

TEST_F(TableWriterTest, TellsOfAFullDevice) {
  const Refusal refusal = RefusalOf([] {
    WriteTableFile("/dev/full", {{"x", Type::kNumber}}, Counting(1));
  });
  EXPECT_EQ(refusal.code, ExitCode::kRunFailed);
  EXPECT_EQ(refusal.text, std::string("The file '/dev/full' could not be written: ") +
                              std::strerror(ENOSPC) +
                              ". Name a file in an existing folder that you may write to and "
                              "that has room.");
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST_P(TableWriterFormats, WritesAPipeDirectly) {
  ASSERT_EQ(mkfifo(Out().c_str(), 0600), 0);
  std::future<std::string> read = std::async(std::launch::async, qvtest::ReadFile, Out());
  WriteTableFile(Out(), {{"i", Type::kNumber}}, Counting(50000));
  EXPECT_TRUE(fs::is_fifo(Out()));
  const std::string copy = WriteText(std::string("copy") + GetParam(), read.get());
  EXPECT_EQ(Values(CodeOne("FROM " + QuoteText(copy), "i")).at(49999), 49999.0);
}

#endif

}  // namespace
}  // namespace qvhost
