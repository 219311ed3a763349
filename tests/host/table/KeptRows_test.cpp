// Columns that are kept beside coded records, as WriteTable writes them.
#include "host/WholeFile.h"
#include "host/table/TableWriter.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

class KeptRowsTest : public TableTest {
 protected:
  static CodedTable CodeAndKeep(TableSource& source, const std::vector<std::string>& names) {
    CodingOptions options;
    options.keep = source.Keep(names, false);
    return CodeTable(source, {Ask("y")}, options);
  }

  /// Writes the kept columns of a table, and the coded value beside them; the file's path.
  [[nodiscard]] std::string Written(const CodedTable& table, const std::string& name) const {
    WholeFile file(Path(name));
    const std::vector<double> values = Values(table);
    std::size_t next = 0;
    qvhost::WriteTable(
        file, {{"coded", WrittenColumn::Type::kNumber}},
        [&](RowCells& cells) {
          if (next == values.size()) return false;
          cells.SetNumber(0, values[next++]);
          return true;
        },
        table.Kept());
    file.Finish();
    file.Commit();
    return Path(name);
  }

  static std::string Single(const std::string& sql) {
    return Connection().Rows(sql)[0][0].value_or("NULL");
  }
};

TEST_F(KeptRowsTest, AreOfTheSameQueryAsTheRecords) {
  // Another run of it would give other numbers.
  TableSource source = OpenSql("SELECT random() AS y, i FROM range(300000) t(i)");
  const CodedTable table = CodeAndKeep(source, {"y", "i"});
  const std::string file = Written(table, "out.parquet");
  EXPECT_EQ(Single("SELECT count(*) FROM " + QuoteText(file) + " WHERE y = coded"), "300000");
  EXPECT_EQ(Single("SELECT count(*) FROM (SELECT i, row_number() OVER () - 1 AS n FROM " +
                   QuoteText(file) + ") WHERE i = n"),
            "300000");
}

TEST_F(KeptRowsTest, MayBeReadAgain) {
  TableSource source = OpenSql("SELECT i AS y, 'text ' || i AS t FROM range(5000) t(i)");
  const CodedTable table = CodeAndKeep(source, {"t"});
  for (const char* name : {"a.parquet", "b.parquet"}) {
    EXPECT_EQ(Single("SELECT count(*) FROM " + QuoteText(Written(table, name)) +
                     " WHERE t = 'text ' || coded::BIGINT"),
              "5000");
  }
}

TEST_F(KeptRowsTest, TypesStayAsTheyAreInParquet) {
  TableSource source = OpenSql(
      "SELECT 1 AS y, 9007199254740993 AS big, DATE '2024-02-29' AS d, TIMESTAMP '2024-02-29 "
      "12:00:01' AS t, 1.50::DECIMAL(9,2) AS m, true AS b, 'x'::ENUM('w', 'x') AS e, {'a': [1, 2]} "
      "AS s, NULL AS n, '007' AS v, 123456789012345678901::HUGEINT AS h");
  const CodedTable table =
      CodeAndKeep(source, {"big", "d", "t", "m", "b", "e", "s", "n", "v", "h"});
  const std::string file = Written(table, "out.parquet");
  std::string types;
  for (const auto& row :
       Connection().Rows("SELECT column_type FROM (DESCRIBE FROM " + QuoteText(file) + ")")) {
    types += row[0].value_or("") + " ";
  }
  EXPECT_EQ(
      types,
      "BIGINT DATE TIMESTAMP DECIMAL(9,2) BOOLEAN VARCHAR STRUCT(a INTEGER[]) INTEGER VARCHAR "
      "DECIMAL(38,0) DOUBLE ");
  EXPECT_EQ(Single("SELECT concat_ws('|', big, d, t, m, b, e, s, n, v, h) FROM " + QuoteText(file)),
            "9007199254740993|2024-02-29|2024-02-29 12:00:01|1.50|true|x|{'a': [1, "
            "2]}|007|123456789012345678901");
}

TEST_F(KeptRowsTest, RowsThatAreReadTwiceAreKeptOnce) {
  // The text in row 30,001 makes the coder start again.
  std::string text = "y,id\n";
  for (int i = 0; i < 40000; ++i) {
    text += (i == 30000 ? "1.5" : std::to_string(i)) + "," + std::to_string(i) + "\n";
  }
  TableSource source({WriteText("in.csv", text), "", ""});
  const std::string file = Written(CodeAndKeep(source, {"id"}), "out.parquet");
  EXPECT_EQ(Single("SELECT count(*) || ' ' || max(id) FROM " + QuoteText(file)), "40000 39999");
}

TEST_F(KeptRowsTest, SoManyColumnsTakeLittleMemory) {
  std::string list;
  std::vector<std::string> names;
  for (int i = 0; i < 1000; ++i) {
    names.push_back("c" + std::to_string(i));
    list += ", i + " + std::to_string(i) + " AS " + names.back();
  }
  TableSource source = OpenSql("SELECT i AS y" + list + " FROM range(5000) t(i)");
  const std::string file = Written(CodeAndKeep(source, names), "out.parquet");
  EXPECT_EQ(Single("SELECT count(*) FROM " + QuoteText(file) + " WHERE c999 = coded + 999"),
            "5000");
}

TEST_F(KeptRowsTest, AreGoneWithTheTable) {
  std::filesystem::create_directory(folder_ / "spool");
  TableSource source = OpenSql("SELECT 1 AS y");
  CodingOptions options;
  options.keep = source.Keep({"y"}, false);
  options.spoolDir = Path("spool");
  {
    const CodedTable table = CodeTable(source, {Ask("y")}, options);
    EXPECT_FALSE(std::filesystem::is_empty(folder_ / "spool"));
  }
  int left = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder_ / "spool")) {
    left += std::filesystem::is_empty(entry) ? 0 : 1;
  }
  EXPECT_EQ(left, 0) << "the source keeps an empty folder of its own";
}

TEST_F(KeptRowsTest, AFolderThatIsNotThereIsNamed) {
  TableSource source = OpenSql("SELECT 1 AS y");
  CodingOptions options;
  options.keep = source.Keep({"y"}, false);
  options.spoolDir = Path("missing");
  const Refusal refusal = RefusalOf([&] { (void)CodeTable(source, {Ask("y")}, options); });
  EXPECT_EQ(refusal.code, ExitCode::kRunFailed);
  EXPECT_NE(refusal.text.find("'" + Path("missing") + "'"), std::string::npos) << refusal.text;
}

TEST_F(KeptRowsTest, AnUnequalNumberOfRowsIsAnError) {
  TableSource source = OpenSql("SELECT i AS y FROM range(3000) t(i)");
  const CodedTable table = CodeAndKeep(source, {"y"});
  for (const int rows : {0, 2999, 3001, 9000}) {
    const Refusal refusal = RefusalOf([&] {
      int next = 0;
      qvhost::WriteTable(
          WholeFile(Path("out.csv")), {{"n", WrittenColumn::Type::kNumber}},
          [&](RowCells& /*cells*/) { return next++ < rows; }, table.Kept());
    });
    EXPECT_EQ(refusal.code, ExitCode::kRunFailed) << rows;
    EXPECT_NE(refusal.text.find("not equally many"), std::string::npos) << refusal.text;
  }
}

TEST(NamesBeside, ATakenNameGetsAnEnding) {
  using Names = std::vector<std::string>;
  const std::vector<WrittenColumn> columns = {{"predicted"}, {"p_yes"}};
  EXPECT_EQ(NamesBeside({"id", "x"}, columns), (Names{"id", "x"}));
  EXPECT_EQ(NamesBeside({"Predicted", "p_yes"}, columns), (Names{"Predicted_data", "p_yes_data"}));
  EXPECT_EQ(NamesBeside({"predicted", "predicted_data"}, columns),
            (Names{"predicted_data_data", "predicted_data"}));
}

}  // namespace
}  // namespace qvhost
