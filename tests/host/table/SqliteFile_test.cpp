#include "host/table/SqliteFile.h"

#include <fmt/format.h>

#include "qvreg/common/Constants.h"
#include "tests/host/table/SqliteMaker.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

class SqliteFileTest : public TableTest {
 protected:
  [[nodiscard]] std::string Write(const std::string& statements,
                                  const std::string& name = "t.sqlite") const {
    WriteSqlite(Path(name), statements);
    return Path(name);
  }

  /// Names and types on one line.
  static std::string Shape(const DataSource& from) {
    std::string shape;
    const TableSource source(from);
    for (const ColumnInfo& column : source.Columns()) {
      shape += fmt::format("{} {}; ", column.name, column.type);
    }
    return shape;
  }

  static std::string Refused(const DataSource& from, const std::string& column = "") {
    const Refusal refusal = RefusalOf([&] {
      const TableSource source(from);
      if (!column.empty()) static_cast<void>(CodeTable(source, {Ask(column)}));
    });
    EXPECT_EQ(refusal.code, ExitCode::kBadInput) << refusal.text;
    return refusal.text;
  }
};

TEST_F(SqliteFileTest, TakesTypesAsDeclared) {
  const std::string file = Write(
      "CREATE TABLE t(a INTEGER, b BIGINT, c REAL, d DOUBLE PRECISION, e NUMERIC, "
      "f DECIMAL(10,2), g TEXT, h VARCHAR(9), i CLOB, j DATE, k TIMESTAMP, l BOOLEAN)");
  EXPECT_EQ(Shape({file, "", ""}),
            "a BIGINT; b BIGINT; c DOUBLE; d DOUBLE; e DOUBLE; f DOUBLE; g VARCHAR; h VARCHAR; "
            "i VARCHAR; j VARCHAR; k VARCHAR; l BIGINT; ");
}

TEST_F(SqliteFileTest, TakesTypesOfValuesWhereNothingIsDeclared) {
  const std::string file = Write(
      "CREATE TABLE t(a, b, c, d STRING, e BLOB); INSERT INTO t VALUES (1, 1.5, 'x', 'y', 2), "
      "(2, 2, 3, 'z', 3); CREATE VIEW v AS SELECT a * 2 AS twice, a || 'm' AS text FROM t");
  EXPECT_EQ(Shape({file, "t", ""}), "a BIGINT; b DOUBLE; c VARCHAR; d VARCHAR; e BIGINT; ");
  EXPECT_EQ(Shape({file, "v", ""}), "twice BIGINT; text VARCHAR; ");
}

TEST_F(SqliteFileTest, ReadsValues) {
  const std::string file = Write(
      "CREATE TABLE t(x REAL, g TEXT, n INT); INSERT INTO t VALUES (1.5, 'b', 1), "
      "(2, 'a', NULL), (NULL, 'größe', 9007199254740993)");
  const CodedTable table =
      CodeTable(TableSource({file, "", ""}), {Ask("x"), Ask("g"), Ask("n", Coding::kFactor)});
  const double missing = -1.7976931348623157e308;
  EXPECT_EQ(Records(table),
            (std::vector<std::vector<double>>{{1.5, 1, 0}, {2, 0, -1}, {missing, 2, 1}}));
  EXPECT_EQ(table.Columns()[1].levels, (std::vector<std::string>{"a", "b", "größe"}));
  EXPECT_EQ(table.Columns()[2].levels, (std::vector<std::string>{"1", "9007199254740993"}));
}

TEST_F(SqliteFileTest, ReadsMoreRowsThanAChunkOnce) {
  const std::string file = Write(
      "CREATE TABLE t(x INT); WITH RECURSIVE s(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM s "
      "WHERE i < 5000) INSERT INTO t SELECT i FROM s");
  const CodedTable table = CodeTable(TableSource({file, "", ""}), {Ask("x")});
  EXPECT_EQ(table.RecordCount(), 5000);
  EXPECT_EQ(Values(table).back(), 5000.0);
}

TEST_F(SqliteFileTest, AFractionMakesAColumnOfIntegersOneOfNumbers) {
  const std::string file = Write("CREATE TABLE t(x INT); INSERT INTO t VALUES (1), (2.5), (3)");
  EXPECT_EQ(Values(CodeTable(TableSource({file, "", ""}), {Ask("x")})),
            (std::vector<double>{1, 2.5, 3}));
}

TEST_F(SqliteFileTest, ATextInAColumnOfNumbersIsMissingOrAnError) {
  const std::string file =
      Write("CREATE TABLE t(x REAL); INSERT INTO t VALUES (1), ('NA'), (''), ('oops')");
  EXPECT_EQ(Refused({file, "", ""}, "x"),
            file +
                ": the value 'oops' of 'x' in row 4 of t is not a number, as the column is "
                "declared (REAL). If it stands for a missing value, name it with --na 'oops'; "
                "else read the column as text with --types x=varchar.");
  const TableSource source({file, "", "", {"oops", "NA"}});
  const CodedTable table = CodeTable(source, {Ask("x")});
  EXPECT_EQ(table.Columns()[0].missing, 3);
  ASSERT_EQ(table.MissingStrings().size(), 2U);
  EXPECT_EQ(table.MissingStrings()[0].text, "oops");
  EXPECT_EQ(table.MissingStrings()[0].count, 1);
}

TEST_F(SqliteFileTest, TypesMayBeNamed) {
  const std::string file =
      Write("CREATE TABLE t(x REAL, d DATE); INSERT INTO t VALUES (1, '2024-01-31'), ('b', NULL)");
  DataSource from{file, "", ""};
  from.reading.types = {{"X", "VARCHAR"}, {"d", "DATE"}};
  EXPECT_EQ(Shape(from), "x VARCHAR; d DATE; ");
  EXPECT_EQ(CodeTable(TableSource(from), {Ask("x")}).Columns()[0].levels,
            (std::vector<std::string>{"1.0", "b"}));
  from.reading.types = {{"y", "VARCHAR"}};
  EXPECT_EQ(Refused(from), "--types: there is no column 'y' in t of " + file + ".");
}

TEST_F(SqliteFileTest, AFractionInAColumnThatMustBeWholeIsRefused) {
  const std::string file = Write("CREATE TABLE t(x REAL); INSERT INTO t VALUES (1), (2.5), (3)");
  DataSource from{file, "", ""};
  from.reading.types = {{"x", "BIGINT"}};
  EXPECT_EQ(Refused(from, "x"),
            file +
                ": the value '2.5' of 'x' in row 2 of t is not a whole number, as --types demands; "
                "read the column with --types x=double or as text with --types x=varchar.");
  const std::string far = Write("CREATE TABLE t(x REAL); INSERT INTO t VALUES (1e20)", "far.db");
  from.data = far;
  EXPECT_NE(Refused(from, "x").find("'1.0e+20' of 'x' in row 1 of t is not a whole number"),
            std::string::npos);
  from.data = Write("CREATE TABLE t(x REAL); INSERT INTO t VALUES (1), (-2)", "whole.db");
  EXPECT_EQ(Shape(from), "x BIGINT; ");
  EXPECT_EQ(Values(CodeTable(TableSource(from), {Ask("x")})), (std::vector<double>{1, -2}));
}

TEST_F(SqliteFileTest, ATextThatReadsAsANumberIsOneWhereTypesSaySo) {
  const std::string file = Write(
      "CREATE TABLE t(x TEXT, i TEXT); INSERT INTO t VALUES ('0.5', '3'), (' +2e3 ', '-4'), "
      "('NA', '9007199254740993'), ('5 %', '7')");
  DataSource from{file, "", ""};
  from.reading.types = {{"x", "DOUBLE"}, {"i", "BIGINT"}};
  EXPECT_EQ(Shape(from), "x DOUBLE; i BIGINT; ");
  EXPECT_EQ(Values(CodeTable(TableSource(from), {Ask("x")})),
            (std::vector<double>{0.5, 2000, QvMV::gMissingValue, 5}));
  EXPECT_EQ(Values(CodeTable(TableSource(from), {Ask("i")})),
            (std::vector<double>{3, -4, 9007199254740992, 7}));
  from.reading.types = {{"x", "BIGINT"}};
  EXPECT_NE(Refused(from, "x").find("the value '0.5' of 'x' in row 1 of t is not a whole number"),
            std::string::npos);
  DataSource infinite{Write("CREATE TABLE t(x TEXT); INSERT INTO t VALUES ('-Inf')", "inf.db"), "",
                      ""};
  infinite.reading.types = {{"x", "DOUBLE"}};
  EXPECT_NE(Refused(infinite, "x").find("The value of 'x' in row 1 is infinite"),
            std::string::npos);
}

TEST_F(SqliteFileTest, ATextInAColumnThatMustBeANumberIsRefused) {
  DataSource from{Write("CREATE TABLE t(x TEXT); INSERT INTO t VALUES ('a')"), "", ""};
  from.reading.types = {{"x", "DOUBLE"}};
  EXPECT_NE(Refused(from, "x").find("is not a number, as --types demands. If it stands"),
            std::string::npos);
}

TEST_F(SqliteFileTest, RefusesBlobsAndTextThatIsNoUtf8) {
  const std::string file = Write(
      "CREATE TABLE t(x REAL, g TEXT); INSERT INTO t VALUES (x'01', 'a'), (1, CAST(x'FF41' AS "
      "TEXT))");
  EXPECT_NE(Refused({file, "", ""}, "x").find("the value of 'x' in row 1 of t is a blob"),
            std::string::npos);
  EXPECT_NE(Refused({file, "", ""}, "g").find("the text of 'g' in row 2 of t is not valid UTF-8"),
            std::string::npos);
}

TEST_F(SqliteFileTest, ChoosesATable) {
  const std::string none = Write("CREATE TABLE t(x); DROP TABLE t", "none.sqlite");
  EXPECT_EQ(Refused({none, "", ""}), "The database '" + none + "' has no table.");
  const std::string two = Write("CREATE TABLE orders(x); CREATE TABLE items(x)", "two.db");
  EXPECT_EQ(Refused({two, "", ""}),
            "The database '" + two + "' has 2 tables; choose one with --table: items, orders.");
  EXPECT_EQ(Refused({two, "order", ""}), "The database '" + two +
                                             "' has no table 'order'. Did you mean 'orders'? It "
                                             "has: items, orders.");
  EXPECT_EQ(TableSource({two, "ORDERS", ""}).Name(), "orders of " + two);
}

TEST_F(SqliteFileTest, AQueryJoinsItsTables) {
  const std::string file = Write(
      "CREATE TABLE a(i INT, x REAL); INSERT INTO a VALUES (1, 2.5), (2, 3.5); "
      "CREATE TABLE b(i INT, g TEXT); INSERT INTO b VALUES (2, 'p'), (1, 'q')");
  const TableSource source({file, "", "SELECT x, g FROM a JOIN b USING (i) ORDER BY i"});
  EXPECT_EQ(Values(CodeTable(source, {Ask("x")})), (std::vector<double>{2.5, 3.5}));
  EXPECT_EQ(Values(CodeTable(TableSource({file, "", "SELECT count(*) AS n FROM a"}), {Ask("n")})),
            (std::vector<double>{2}));
}

TEST_F(SqliteFileTest, RefusesADamagedFile) {
  const std::string whole = Write(
      "CREATE TABLE t(x TEXT); WITH RECURSIVE s(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM s "
      "WHERE i < 9000) INSERT INTO t SELECT 'value ' || i FROM s");
  std::filesystem::resize_file(whole, std::filesystem::file_size(whole) / 2);
  const Refusal refusal = RefusalOf([&] {
    const TableSource source({whole, "", ""});
    static_cast<void>(CodeTable(source, {Ask("x")}));
  });
  EXPECT_EQ(refusal.code, ExitCode::kBadInput);
  EXPECT_NE(refusal.text.find("database disk image is malformed"), std::string::npos)
      << refusal.text;
  const std::string junk = WriteText("junk.sqlite", "no database at all, by no means");
  EXPECT_EQ(Refused({junk, "", ""}), "'" + junk + "' cannot be read: file is not a database.");
}

TEST_F(SqliteFileTest, ReadingLeavesNoFileBeside) {
  const std::string file = Write(
      "PRAGMA journal_mode = wal; CREATE TABLE t(x INT); "
      "INSERT INTO t VALUES (1), (2)");
  EXPECT_EQ(Values(CodeTable(TableSource({file, "", ""}), {Ask("x")})),
            (std::vector<double>{1, 2}));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_), {}), 1);
}

}  // namespace
}  // namespace qvhost
