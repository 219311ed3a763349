#include "host/table/DataFiles.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <thread>
#include <vector>

#include <fmt/format.h>
#include <sys/stat.h>

#include "host/Error.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

using Texts = std::vector<std::string>;
using namespace std::string_literals;

constexpr const char* kRows = "x,g\n1.5,ü\n2.5,a\n";

class DataFilesTest : public TableTest {
 protected:
  DataFilesTest() { std::filesystem::create_directory(Path("spool")); }

  [[nodiscard]] DataSource From(const std::string& data) const {
    DataSource from{data, "", ""};
    from.spoolDir = Path("spool");
    return from;
  }

  /// The rows of kRows, whatever way they came.
  void ExpectRows(const DataSource& from) const {
    SCOPED_TRACE(from.data);
    {
      const TableSource source(from);
      const CodedTable table = CodeTable(source, {Ask("x"), Ask("g")});
      EXPECT_EQ(Values(table), (std::vector<double>{1.5, 2.5}));
      EXPECT_EQ(table.Columns()[1].levels, (Texts{"a", "ü"}));
    }
    EXPECT_TRUE(std::filesystem::is_empty(Path("spool")));
  }

  std::string Refused(const DataSource& from) const {
    const Refusal refusal = RefusalOf([&] { const TableSource source(from); });
    EXPECT_EQ(refusal.code, ExitCode::kBadInput) << refusal.text;
    EXPECT_TRUE(std::filesystem::is_empty(Path("spool")));
    return refusal.text;
  }

  /// Writes the bytes of a file to a pipe while the source is opened.
  template <typename Action>
  void WithPipe(const std::string& file, Action action, const char* called = "pipe") const {
    const std::string pipe = Path(called);
    std::filesystem::remove(pipe);
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::thread writer([&] {
      std::ifstream from(file, std::ios::binary);
      std::ofstream to(pipe, std::ios::binary);
      to << std::string(std::istreambuf_iterator<char>(from), {});
    });
    action(pipe);
    writer.join();
  }

  [[nodiscard]] std::string WriteUtf16() const {
    std::string bytes = "\xFF\xFE";
    for (const char c : "x,g\n1.5,"s) bytes += c + "\0"s;
    bytes += "\xFC\0"s;
    for (const char c : "\n2.5,a\n"s) bytes += c + "\0"s;
    return WriteText("u16.csv", bytes);
  }
};

TEST_F(DataFilesTest, APipeIsReadWhateverItHolds) {
  WriteText("plain", kRows);
  const std::string rows = "SELECT * FROM (VALUES (1.5, 'ü'), (2.5, 'a')) t(x, g)";
  WriteTable("t.parquet", rows);
  WriteTable("t.json", rows);
  WriteTable("t.csv.gz", rows);
  WriteTable("t.json.gz", rows);
  WriteDatabase("t.duckdb", "CREATE TABLE t AS " + rows);
  static_cast<void>(WriteUtf16());
  for (const char* name :
       {"plain", "t.parquet", "t.json", "t.csv.gz", "t.json.gz", "t.duckdb", "u16.csv"}) {
    SCOPED_TRACE(name);
    WithPipe(Path(name), [this](const std::string& pipe) { ExpectRows(From(pipe)); });
  }
}

TEST_F(DataFilesTest, AnErrorOfAPipeNamesIt) {
  std::string rows = "x\n";
  for (int i = 0; i < 30000; ++i) rows += std::to_string(i) + "\n";
  WriteText("late.csv", rows + "abc\n");
  WithPipe(Path("late.csv"), [this](const std::string& pipe) {
    const TableSource source(From(pipe));
    EXPECT_EQ(source.Name(), pipe);
    const Refusal refusal = RefusalOf([&] { static_cast<void>(CodeTable(source, {Ask("x")})); });
    EXPECT_TRUE(refusal.text.starts_with(pipe + ": the value 'abc' of 'x' in row 30001"))
        << refusal.text;
  });
  WriteText("nothing", "");
  WithPipe(Path("nothing"), [this](const std::string& pipe) {
    EXPECT_EQ(Refused(From(pipe)), "The pipe '" + pipe + "' is empty.");
  });
}

TEST_F(DataFilesTest, FilesOfOtherNamesAreLookedAt) {
  WriteText("rows.txt", kRows);
  WriteText("rows", R"([{"x": 1.5, "g": "ü"}, {"x": 2.5, "g": "a"}])");
  WriteTable("t.csv.gz", "SELECT * FROM (VALUES (1.5, 'ü'), (2.5, 'a')) t(x, g)");
  std::filesystem::rename(Path("t.csv.gz"), Path("packed"));
  for (const char* name : {"rows.txt", "rows", "packed"}) ExpectRows(From(Path(name)));
  ExpectRows(From(Path("rows.t*")));
}

#ifdef __linux__
TEST_F(DataFilesTest, AFileWhoseFirstBytesCannotBeReadIsNotOfAnUnknownKind) {
  // The system has nothing at its beginning.
  EXPECT_EQ(InspectFile("/proc/self/mem", false).fault, "Input/output error");
  EXPECT_EQ(InspectFile(Path("missing"), false).fault, "No such file or directory");
  EXPECT_EQ(InspectFile("/dev/null", false).fault, "");
}
#endif

TEST_F(DataFilesTest, AFormatThatIsNamedHolds) {
  DataSource from = From(WriteText("rows.json", kRows));
  from.reading.format = FileFormat::kDelimited;
  ExpectRows(from);
}

TEST_F(DataFilesTest, AWorkbookIsOneWhateverItsName) {
  const std::string bytes = "PK\x03\x04\x14\xFF [Content_Types].xml";
  const std::string what = "' is a workbook of a spreadsheet program; save its sheet as CSV.";
  DataSource from = From(WriteText("x.csv", bytes));
  EXPECT_EQ(Refused(from), "'" + from.data + what);
  from.reading.encoding = TextEncoding::kLatin1;
  EXPECT_EQ(Refused(from), "'" + from.data + what);
  WithPipe(
      from.data,
      [&](const std::string& name) { EXPECT_EQ(Refused(From(name)), "'" + name + what); },
      "pipe.csv");
  from.reading.encoding.reset();
  from.reading.format = FileFormat::kDelimited;
  EXPECT_NE(Refused(from).find("is not in UTF-8"), std::string::npos) << "as the user says";
}

TEST_F(DataFilesTest, OtherEncodingsAreConverted) {
  DataSource from = From(WriteText("latin.csv", "x,g\n1.5,\xFC\n2.5,a\n"));
  for (const TextEncoding encoding : {TextEncoding::kLatin1, TextEncoding::kWindows1252}) {
    from.reading.encoding = encoding;
    ExpectRows(from);
  }
  ExpectRows(From(WriteUtf16()));
  from.reading.encoding = TextEncoding::kUtf8;
  EXPECT_EQ(Refused(from),
            "'" + from.data +
                "' cannot be read: it is not in UTF-8. Name its encoding with --encoding, such as "
                "windows-1252 (what Excel writes in western Europe), latin-1 or utf-16.");
  from.data = WriteText("hole.csv", "x,g\n1.5,\x81\n");
  from.reading.encoding = TextEncoding::kWindows1252;
  EXPECT_EQ(Refused(from), "The byte 9 of '" + from.data +
                               "' is no character in the encoding that --encoding names; name "
                               "another one.");
  from.data = WriteTable("t.csv.gz", "SELECT 1 AS x");
  EXPECT_EQ(Refused(from), "'" + from.data +
                               "' is compressed and in another encoding than UTF-8; unpack it "
                               "first: gunzip -c " +
                               from.data + " | qvreg fit --data - with the same options.");
  from.data = WriteTable("t.csv.zst", "SELECT 1 AS x");
  EXPECT_NE(Refused(from).find("first: zstd -dc " + from.data + " | "), std::string::npos);
  from.data = WriteTable("it's.csv.gz", "SELECT 1 AS x");
  EXPECT_NE(Refused(from).find("/it'\\''s.csv.gz' | "), std::string::npos) << Refused(from);
}

TEST_F(DataFilesTest, AFileThatIsNotThereHasANeighbour) {
  std::filesystem::create_directory(Path("rows.csw"));
  WriteText("rows.tsv", kRows);
  EXPECT_EQ(Refused(From(Path("rows.csv"))), "The file '" + Path("rows.csv") +
                                                 "' does not exist. Did you mean '" +
                                                 Path("rows.tsv") + "'?")
      << "no folder, and with the path";
}

TEST_F(DataFilesTest, TellsHowMuchOfAPipeHasCome) {
  const std::string pipe = Path("slow");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  std::jthread writer([&] {
    std::ofstream to(pipe, std::ios::binary);
    for (const char* part : {"x", ",g\n1.5,ü\n", "2.5,a\n"}) {
      to << part << std::flush;
      std::this_thread::sleep_for(std::chrono::milliseconds(250));
    }
  });
  std::vector<std::uint64_t> told;
  {
    const TableSource source(From(pipe), [&](std::uint64_t bytes) { told.push_back(bytes); });
    EXPECT_EQ(Values(CodeTable(source, {Ask("x")})), (std::vector<double>{1.5, 2.5}));
  }
  EXPECT_TRUE(std::ranges::is_sorted(told));
  EXPECT_GE(std::ranges::count(told, 0U), 1);
  EXPECT_GE(std::ranges::count(told, 1U), 2) << "also while nothing comes";
  EXPECT_GE(std::ranges::count(told, 11U), 2);
  EXPECT_GE(std::ranges::count(told, 17U), 1);
}

TEST_F(DataFilesTest, ACopyThatCannotBeRenamedEndsTheRun) {
  const std::string packed = WriteTable("t.csv.gz", "SELECT 1 AS x");
  // What has the name that the copy of a compressed file gets.
  const auto takeName = [this](std::uint64_t) {
    for (const auto& folder : std::filesystem::directory_iterator(Path("spool"))) {
      std::filesystem::create_directory(folder.path() / "input-1.gz");
    }
  };
  WithPipe(packed, [&](const std::string& pipe) {
    const Refusal refusal = RefusalOf([&] { const TableSource source(From(pipe), takeName); });
    EXPECT_EQ(refusal.code, ExitCode::kRunFailed);
    EXPECT_TRUE(refusal.text.starts_with("The temporary file in the folder '" + Path("spool") +
                                         "' cannot be written ("))
        << refusal.text;
  });
}

TEST_F(DataFilesTest, TheMarkOfAnEncodingMayComeByteByByte) {
  const std::string pipe = Path("slow");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  std::ifstream from(WriteUtf16(), std::ios::binary);
  const std::string bytes(std::istreambuf_iterator<char>(from), {});
  std::jthread writer([&] {
    std::ofstream to(pipe, std::ios::binary);
    to << bytes.front() << std::flush;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    to << bytes.substr(1);
  });
  ExpectRows(From(pipe));
}

TEST_F(DataFilesTest, WhoIsToldMayEndIt) {
  const std::string pipe = Path("endless");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  std::ofstream to;
  std::jthread writer([&] { to.open(pipe); });
  EXPECT_THROW(TableSource(From(pipe), [](std::uint64_t) { throw Cancelled(); }), Cancelled);
  EXPECT_TRUE(std::filesystem::is_empty(Path("spool")));
}

TEST_F(DataFilesTest, SeveralFilesAreOneTable) {
  DataSource from = From(WriteText("a.csv", "x,g\n1.5,ü\n"));
  from.moreData = {WriteText("b.csv", "g,x\na,2.5\n")};
  ExpectRows(from);
  EXPECT_EQ(TableSource(from).Name(), Path("a.csv") + ", " + Path("b.csv"));
  const std::string one = WriteTable("a.parquet", "SELECT 1.5 AS x, 'ü' AS g");
  from.data = one;
  from.moreData = {WriteTable("b.parquet", "SELECT 'a' AS g, 2.5 AS x")};
  ExpectRows(from);
  from.data = WriteText("a.json", R"({"x": 1.5, "g": "ü"})");
  from.moreData = {WriteText("b.json", R"({"g": "a", "x": 2.5})")};
  ExpectRows(from);
}

TEST_F(DataFilesTest, AColumnThatAFileLacksIsMissing) {
  WriteText("part-1.csv", "x,g\n1.5,ü\n");
  WriteText("part-2.csv", "x,h\n2.5,4\n");
  const TableSource source(From(Path("part-*.csv")));
  EXPECT_EQ(source.FilesWithout({"x", "G", "h"}),
            (std::vector<Texts>{{}, {Path("part-2.csv")}, {Path("part-1.csv")}}));
  const CodedTable table = CodeTable(source, {Ask("x"), Ask("h")});
  EXPECT_EQ(Values(table), (std::vector<double>{1.5, 2.5}));
  EXPECT_EQ(table.Columns()[1].missing, 1);
}

TEST_F(DataFilesTest, FormatsDoNotMix) {
  DataSource from = From(WriteText("a.csv", kRows));
  from.moreData = {WriteText("b.json", "{}")};
  EXPECT_EQ(Refused(from),
            fmt::format("--data names files of two formats: '{}' is a CSV file, and '{}' is a JSON "
                        "file. Name files of one format, or join them with --sql.",
                        Path("a.csv"), Path("b.json")));
  from = From(WriteDatabase("a.duckdb", "CREATE TABLE t(x INT)"));
  from.moreData = {WriteDatabase("b.duckdb", "CREATE TABLE t(x INT)")};
  EXPECT_EQ(Refused(from), fmt::format("A database is read alone, and --data names '{}' and '{}'; "
                                       "name one.",
                                       Path("a.duckdb"), Path("b.duckdb")));
}

TEST_F(DataFilesTest, OptionsThatDoNotSuitTheFormat) {
  DataSource from = From(WriteTable("t.parquet", "SELECT 1 AS x"));
  from.reading.decimal = ',';
  EXPECT_EQ(Refused(from),
            "--decimal is for CSV and TSV files; '" + from.data + "' is a Parquet file.");
  from.reading = {};
  from.reading.encoding = TextEncoding::kLatin1;
  EXPECT_EQ(Refused(from), "--encoding is for text files; '" + from.data + "' is a Parquet file.");
  from.reading = {};
  from.reading.types = {{"x", "DOUBLE"}};
  EXPECT_TRUE(Refused(from).starts_with("--types is for text files and SQLite databases; '"));
  DataSource query{"", "", "SELECT 1 AS x"};
  query.reading.header = true;
  EXPECT_TRUE(Refused(query).starts_with("The options that say how files are to be read need"));
}

}  // namespace
}  // namespace qvhost
