#include <fmt/format.h>

#include "host/table/TableSource.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

class TableSourceErrors : public TableTest {
 protected:
  /// The text that opening a source is refused with, all of it bad input.
  static std::string Refused(const DataSource& source) {
    const Refusal refusal = RefusalOf([&] { const TableSource opened(source); });
    EXPECT_EQ(refusal.code, ExitCode::kBadInput) << refusal.text;
    return refusal.text;
  }
};

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST_F(TableSourceErrors, NamesAMissingFile) {
  WriteText("penguins.csv", "x\n1\n");
  EXPECT_EQ(Refused({Path("penguns.csv"), "", ""}), "The file '" + Path("penguns.csv") +
                                                        "' does not exist. Did you mean '" +
                                                        Path("penguins.csv") + "'?");
  EXPECT_EQ(Refused({Path("zzz.parquet"), "", ""}),
            "The file '" + Path("zzz.parquet") + "' does not exist.");
  EXPECT_EQ(Refused({Path("no/folder/x.csv"), "", ""}),
            "The file '" + Path("no/folder/x.csv") + "' does not exist.");
  EXPECT_EQ(Refused({Path("x.duckdb"), "", ""}),
            "The file '" + Path("x.duckdb") + "' does not exist.");
}

TEST_F(TableSourceErrors, NamesAPatternWithoutAMatch) {
  EXPECT_EQ(Refused({Path("*.csv"), "", ""}),
            "No file matches the pattern '" + Path("*.csv") + "'.");
}

TEST_F(TableSourceErrors, RefusesWhatCannotHoldATable) {
  const std::string empty = WriteText("empty.csv", "");
  EXPECT_EQ(Refused({empty, "", ""}), "The file '" + empty + "' is empty.");
  EXPECT_EQ(Refused({WriteText("e.parquet", ""), "", ""}),
            "The file '" + Path("e.parquet") + "' is empty.");
  EXPECT_EQ(Refused({folder_.string(), "", ""}),
            "'" + folder_.string() + "' is a folder; name a file in it, or a pattern such as '" +
                Path("*.csv") + "'.");
  EXPECT_EQ(Refused({"https://example.org/x.csv", "", ""}),
            "'https://example.org/x.csv' is not on this computer; download it and name the file.");
}

TEST_F(TableSourceErrors, RefusesAnUnknownKindOfFile) {
  for (const char* name : {"x.dat", "x"}) {
    const std::string file = WriteText(name, "\x01\x02\x03 no text");
    EXPECT_EQ(Refused({file, "", ""}),
              fmt::format("The kind of '{0}' is known neither from its name nor from its first "
                          "bytes; name it with --format csv, tsv, json, parquet, sqlite or duckdb.",
                          file));
  }
  const std::string book = WriteText("x.xlsx", "PK\x03\x04 and so on");
  EXPECT_EQ(Refused({book, "", ""}),
            "'" + book + "' is a workbook of a spreadsheet program; save its sheet as CSV.");
}

TEST_F(TableSourceErrors, TellsWhatAnotherProgramsFileIs) {
  const std::string zip = "PK\x03\x04 x.csv and so on";
  const auto refused = [&](const char* name, const std::string& bytes) {
    return Refused({WriteText(name, bytes), "", ""});
  };
  EXPECT_TRUE(refused("x.zip", zip).ends_with("' is a ZIP archive; unpack it first."));
  EXPECT_NE(refused("x", zip + "[Content_Types].xml").find("a workbook"), std::string::npos);
  EXPECT_NE(refused("x.RDS", "RDX3\n \x01").find("row.names = FALSE"), std::string::npos);
  EXPECT_NE(refused("x.dta", "<stata_dta> \x01").find("a file of Stata; export"),
            std::string::npos);
}

TEST_F(TableSourceErrors, TextInUtf16WithoutAMarkNeedsItsName) {
  const std::string file = WriteText("x.csv", std::string("y\0,\0x\0\n\0"
                                                          "1\0,\0"
                                                          "2\0\n\0",
                                                          16));
  EXPECT_EQ(Refused({file, "", ""}), "Every other byte of '" + file +
                                         "' is 0, as in a text in UTF-16; add --encoding utf-16.");
  DataSource source{file, "", ""};
  source.reading.encoding = TextEncoding::kUtf16;
  EXPECT_EQ(TableSource(source).Columns().size(), 2U);
}

TEST_F(TableSourceErrors, AGzipFileThatEndsEarlyIsRefused) {
  const std::string whole = WriteTable("whole.csv.gz", "SELECT i, hash(i) FROM range(20000) t(i)");
  EXPECT_EQ(TableSource({whole, "", ""}).Columns().size(), 2U);
  const auto size = std::filesystem::file_size(whole);
  for (const auto left : {size - 1, size - 8, size - 9, size / 2, std::uintmax_t{30}}) {
    const std::string cut = Path("cut.csv.gz");
    std::filesystem::copy_file(whole, cut, std::filesystem::copy_options::overwrite_existing);
    std::filesystem::resize_file(cut, left);
    EXPECT_EQ(Refused({cut, "", ""}),
              "'" + cut + "' ends before its compressed data do; copy or download it again.")
        << left;
    EXPECT_NE(Refused({Path("cut.*.gz"), "", ""}).find("ends before"), std::string::npos) << left;
  }
}

TEST_F(TableSourceErrors, AGzipFileOfSeveralPartsIsWhole) {
  const std::string part = WriteTable("part.csv.gz", "SELECT i FROM range(2000) t(i)");
  const std::string bytes = qvtest::ReadFile(part);
  const std::string file = WriteText("all.csv.gz", bytes + bytes);
  EXPECT_EQ(TableSource({file, "", ""}).Columns().size(), 1U);
  const std::string cut = WriteText("cut.csv.gz", bytes + bytes.substr(0, bytes.size() / 2));
  EXPECT_NE(Refused({cut, "", ""}).find("ends before"), std::string::npos);
}

TEST_F(TableSourceErrors, TellsWhyAFileCannotBeRead) {
  const std::string corrupt = WriteText("x.parquet", "this is no parquet file, by no means");
  const std::string text = Refused({corrupt, "", ""});
  EXPECT_TRUE(text.starts_with("'" + corrupt + "' cannot be read: No magic bytes")) << text;

  const std::string whole = WriteTable("whole.parquet", "SELECT i FROM range(9) t(i)");
  std::filesystem::resize_file(whole, std::filesystem::file_size(whole) - 20);
  EXPECT_TRUE(Refused({whole, "", ""}).starts_with("'" + whole + "' cannot be read: "));

  const std::string json = WriteText("x.json", "{\"a\": ");
  EXPECT_TRUE(Refused({json, "", ""}).starts_with("'" + json + "' cannot be read: Malformed JSON"));

  const std::string packed = WriteText("x.csv.gz", "a,b\n1,2\n");
  EXPECT_TRUE(Refused({packed, "", ""}).starts_with("'" + packed + "' cannot be read: "));

  const std::string base = WriteText("x.duckdb", "SQLite format 3, or something else altogether");
  EXPECT_TRUE(Refused({base, "", ""}).starts_with("'" + base + "' cannot be read: "));
}

TEST_F(TableSourceErrors, AsksForATable) {
  const std::string file =
      WriteDatabase("b.duckdb",
                    "CREATE TABLE cars(x INT); CREATE SCHEMA s; CREATE TABLE s.deep(y INT); "
                    "CREATE VIEW seen AS FROM cars");
  EXPECT_EQ(Refused({file, "", ""}), "The database '" + file +
                                         "' has 3 tables; choose one with --table: cars, seen, "
                                         "s.deep.");
  EXPECT_EQ(Refused({file, "crs", ""}),
            "The database '" + file +
                "' has no table 'crs'. Did you mean 'cars'? It has: cars, seen, s.deep.");
  EXPECT_EQ(Refused({file, "boats", ""}),
            "The database '" + file + "' has no table 'boats'. It has: cars, seen, s.deep.");
  const std::string none = WriteDatabase("none.duckdb", "SELECT 1");
  EXPECT_EQ(Refused({none, "", ""}), "The database '" + none + "' has no table.");
}

TEST_F(TableSourceErrors, RefusesOptionsThatCannotGoTogether) {
  EXPECT_EQ(Refused({"", "", ""}),
            "There is no data: name a file with --data, or write a query with --sql.");
  EXPECT_EQ(Refused({"", "t", ""}),
            "There is no data: name a file with --data, or write a query with --sql.");
  EXPECT_EQ(Refused({"x.duckdb", "t", "SELECT 1"}),
            "--table and --sql cannot go together; name the table in the query.");
  EXPECT_EQ(Refused({"x.csv", "t", ""}),
            "--table is for a database file (.duckdb, .sqlite or .db), which 'x.csv' is not.");
}

TEST_F(TableSourceErrors, QuotesDuckDbOnAWrongQuery) {
  EXPECT_EQ(Refused({"", "", "SELECT nope FROM (SELECT 1 AS yes)"}),
            "--sql: Referenced column \"nope\" not found in FROM clause!");
  EXPECT_EQ(Refused({"", "", "SELEC 1"}), "--sql: syntax error at or near \"SELEC\".");
  EXPECT_TRUE(Contains(Refused({"", "", "SELECT * FROM nowhere"}),
                       "--sql: There is no table 'nowhere'; name a file in single quotes"));
  EXPECT_EQ(Refused({"", "", "SELECT 1; SELECT 2"}),
            "--sql takes one SELECT; this text holds 2 statements.");
  EXPECT_EQ(Refused({"", "", "-- nothing"}),
            "--sql takes one SELECT; this text holds 0 statements.");
  EXPECT_EQ(Refused({"", "", "CREATE TABLE t(x INT)"}),
            "--sql takes a SELECT; this statement is of another kind.");
  EXPECT_TRUE(Refused({"", "", "SELECT $1"}).starts_with("--sql: "));
}

TEST_F(TableSourceErrors, NeverWritesADatabaseFile) {
  const std::string file = WriteDatabase("b.duckdb", "CREATE TABLE t AS SELECT 1 AS x");
  const TableSource source({file, "t", ""});
  EXPECT_TRUE(
      Contains(RefusalOf([&] { source.Database().Execute("DROP TABLE t"); }).text, "read-only"));
}

TEST_F(TableSourceErrors, FetchesNoExtension) {
  const Refusal refusal = RefusalOf([] {
    const TableSource source({"", "", "SELECT * FROM 'https://example.org/x.csv'"});
  });
  EXPECT_EQ(refusal.code, ExitCode::kBadInput);
  EXPECT_TRUE(Contains(refusal.text, "httpfs")) << refusal.text;
}

}  // namespace
}  // namespace qvhost
