#include "host/table/CodeTable.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "qvreg/common/Constants.h"
#include "qvreg/data/BinaryRecordIterator.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

using Texts = std::vector<std::string>;
using Numbers = std::vector<double>;
using Kind = CodedColumn::Kind;

constexpr double kMissing = QvMV::gMissingValue;

/// Expects one factor: its levels, and the codes row by row.
void ExpectFactor(const CodedTable& table, const Texts& levels, const Numbers& codes) {
  const CodedColumn& column = table.Columns().at(0);
  EXPECT_EQ(column.kind, Kind::kFactor);
  EXPECT_EQ(column.levels, levels);
  EXPECT_EQ(Values(table), codes);
  EXPECT_EQ(column.missing, std::count(codes.begin(), codes.end(), -1.0));
}

void ExpectNumbers(const CodedTable& table, const Numbers& values) {
  const CodedColumn& column = table.Columns().at(0);
  EXPECT_EQ(column.kind, Kind::kNumber);
  EXPECT_TRUE(column.levels.empty());
  EXPECT_EQ(Values(table), values);
  EXPECT_EQ(column.missing, std::count(values.begin(), values.end(), kMissing));
}

std::string List(const std::string& values) { return "SELECT * FROM (VALUES " + values + ") t(x)"; }

class CodeTableTest : public TableTest {};

TEST_F(CodeTableTest, KeepsNumbersOfEveryType) {
  for (const char* type : {"TINYINT", "SMALLINT", "INTEGER", "BIGINT", "HUGEINT", "FLOAT", "DOUBLE",
                           "DECIMAL(4,1)", "DECIMAL(38,10)", "BIGNUM"}) {
    SCOPED_TRACE(type);
    ExpectNumbers(CodeOne("SELECT x::" + std::string(type) + " AS x FROM (" +
                          List("(3), (NULL), (-7), (0)") + ")"),
                  {3, kMissing, -7, 0});
  }
  for (const char* type : {"UTINYINT", "USMALLINT", "UINTEGER", "UBIGINT", "UHUGEINT"}) {
    SCOPED_TRACE(type);
    ExpectNumbers(
        CodeOne("SELECT x::" + std::string(type) + " AS x FROM (" + List("(3), (NULL), (0)") + ")"),
        {3, kMissing, 0});
  }
}

TEST_F(CodeTableTest, RoundsNumbersOnce) {
  ExpectNumbers(CodeOne("SELECT 0.1::DECIMAL(18,17) AS x"), {0.1});
  // One more digit than a double holds: half of the cases would round twice.
  ExpectNumbers(
      CodeOne(List("(12345678901234567.89), (90071992547409.935), (-0.30000000000000004)")),
      {12345678901234567.89, 90071992547409.935, -0.30000000000000004});
  ExpectNumbers(CodeOne(List("(9007199254740993::BIGINT), (9223372036854775807)")),
                {9007199254740992.0, 9223372036854775808.0});
  ExpectNumbers(CodeOne("SELECT '170141183460469231731687303715884105727'::HUGEINT AS x"),
                {170141183460469231731687303715884105727.0});
  ExpectNumbers(CodeOne("SELECT '36893488147419107329'::HUGEINT AS x"), {36893488147419107329.0});
  ExpectNumbers(CodeOne("SELECT '340282366920938463463374607431768211455'::UHUGEINT AS x"),
                {340282366920938463463374607431768211455.0});
}

TEST_F(CodeTableTest, ReadsTextOfNumbersToTheNearestDouble) {
  const std::string file = WriteText(
      "n.csv",
      "x\n10000000.3\n0.1\n2.2250738585072011e-308\n9007199254740993\n1e22\n123456.789e3\n"
      "5e-324\n1.7976931348623157e308\n0.30000000000000004\n");
  ExpectNumbers(CodeTable(TableSource({file, "", ""}), {Ask("x")}),
                {10000000.3, 0.1, 2.2250738585072011e-308, 9007199254740993.0, 1e22, 123456.789e3,
                 5e-324, 1.7976931348623157e308, 0.30000000000000004});
}

TEST_F(CodeTableTest, ReadsRandomDecimalsToTheNearestDouble) {
  const TableSource source = OpenSql(
      "SELECT (hash(i) % 1000000000000000000)::DECIMAL(18,0) / 1 AS unused, "
      "((hash(i) % 1000000000000000000)::HUGEINT::DECIMAL(38,0) * 0.00000001)::DECIMAL(38,8) AS x "
      "FROM range(2000) t(i)");
  const Numbers values = Values(CodeTable(source, {Ask("x")}));
  const auto texts = source.Database().Rows("SELECT x FROM " + source.Relation());
  ASSERT_EQ(values.size(), 2000U);
  for (std::size_t i = 0; i < values.size(); ++i) {
    ASSERT_EQ(values[i], std::strtod(texts[i][0]->c_str(), nullptr)) << *texts[i][0];
  }
}

TEST_F(CodeTableTest, TakesNullAndNanForMissing) {
  ExpectNumbers(CodeOne(List("(1.5::DOUBLE), ('nan'), (NULL), (-0.5)")),
                {1.5, kMissing, kMissing, -0.5});
  ExpectNumbers(CodeOne("SELECT NULL AS x"), {kMissing});
  // The one number that stands for a missing one is taken for it.
  ExpectNumbers(CodeOne(List("(-1.7976931348623157e308::DOUBLE), (1.7976931348623157e308)")),
                {kMissing, std::numeric_limits<double>::max()});
}

TEST_F(CodeTableTest, KnowsTheLowestAndTheHighestNumber) {
  const auto expectRange = [](const std::string& values, double lowest, double highest) {
    const CodedTable table = CodeOne(List(values));
    EXPECT_EQ(table.Columns()[0].lowest, lowest) << values;
    EXPECT_EQ(table.Columns()[0].highest, highest) << values;
  };
  expectRange("(3), (NULL), (-7.5), (0)", -7.5, 3);
  expectRange("(-2::DOUBLE), ('nan'), (-4)", -4, -2);
  expectRange("(NULL), (5)", 5, 5);
  constexpr double none = std::numeric_limits<double>::infinity();
  expectRange("(NULL::DOUBLE)", none, -none);
}

TEST_F(CodeTableTest, SortsTextByBytes) {
  ExpectFactor(
      CodeOne(List("('b'), ('B'), (NULL), ('é'), (''), ('a'), ('b'), ('Zebra zebra zebra'), "
                   "('Zebra zebra zebr')")),
      {"", "B", "Zebra zebra zebr", "Zebra zebra zebra", "a", "b", "é"},
      {5, 1, -1, 6, 0, 4, 5, 3, 2});
  ExpectFactor(CodeOne(List("('a'), ('a'), ('b')")), {"a", "b"}, {0, 0, 1});
}

TEST_F(CodeTableTest, KeepsTextOfAnyLengthApart) {
  // DuckDB keeps up to twelve bytes in place and the rest elsewhere.
  ExpectFactor(CodeOne(List("('123456789012'), ('1234567890123'), ('12345678901'), "
                            "('1234567890124'), ('123456789012')")),
               {"12345678901", "123456789012", "1234567890123", "1234567890124"}, {1, 2, 0, 3, 1});
}

TEST_F(CodeTableTest, SortsFalseBeforeTrue) {
  ExpectFactor(CodeOne(List("(true), (NULL), (false), (true)")), {"false", "true"}, {1, -1, 0, 1});
  ExpectFactor(CodeOne(List("(true)")), {"true"}, {0});
}

TEST_F(CodeTableTest, KeepsTheOrderOfAnEnumeration) {
  ExpectFactor(CodeOne("SELECT x::ENUM('low', 'mid', 'high', 'never') AS x FROM (" +
                       List("('high'), ('low'), (NULL), ('mid'), ('low')") + ")"),
               {"low", "mid", "high"}, {2, 0, -1, 1, 0});
}

TEST_F(CodeTableTest, SortsNumericFactorsByValue) {
  const auto factor = [](const std::string& type, const std::string& values) {
    return CodeOne("SELECT x::" + type + " AS x FROM (" + List(values) + ")", "x", Coding::kFactor);
  };
  for (const char* type :
       {"TINYINT", "BIGINT", "HUGEINT", "BIGNUM", "DOUBLE", "FLOAT", "DECIMAL(5,2)"}) {
    SCOPED_TRACE(type);
    ExpectFactor(factor(type, "(10), (9), (-9), (NULL), (-10), (0), (9)"),
                 {"-10", "-9", "0", "9", "10"}, {4, 3, 1, -1, 0, 2, 3});
  }
  ExpectFactor(factor("DECIMAL(6,3)", "(1.5), (-0.25), (10), (0.125), (-12.5)"),
               {"-12.5", "-0.25", "0.125", "1.5", "10"}, {3, 1, 4, 2, 0});
  ExpectFactor(factor("DOUBLE", "(0.1), ('nan'), (1e300), (-0.0), (0.0), (1e-7)"),
               {"0", "1e-07", "0.1", "1e+300"}, {2, -1, 3, 0, 0, 1});
  ExpectFactor(factor("FLOAT", "(0.1), (2.5)"), {"0.1", "2.5"}, {0, 1});
}

TEST_F(CodeTableTest, KeepsLargeIntegersApartInAFactor) {
  // Neighbours that share their nearest double.
  ExpectFactor(CodeOne(List("(9007199254740993::BIGINT), (9007199254740992), (-9007199254740993)"),
                       "x", Coding::kFactor),
               {"-9007199254740993", "9007199254740992", "9007199254740993"}, {2, 1, 0});
}

TEST_F(CodeTableTest, CodesDatesAsAFactorOnRequest) {
  ExpectFactor(
      CodeOne(List("(DATE '2021-01-02'), (DATE '2020-12-31'), (NULL)"), "x", Coding::kFactor),
      {"2020-12-31", "2021-01-02"}, {1, 0, -1});
  ExpectFactor(CodeOne(List("([2, 1]), ([1])"), "x", Coding::kFactor), {"[1]", "[2, 1]"}, {1, 0});
}

TEST_F(CodeTableTest, TakesExpressionsAndQuotedNames) {
  const TableSource source =
      OpenSql("SELECT 100 AS \"the \"\"odd\"\" name\", 'Ünï' AS \"größe\", 2 AS \"select\"");
  const CodedTable table =
      CodeTable(source, {{"odd", "log(\"the \"\"odd\"\" name\")", Coding::kByType},
                         {"size", "upper(\"größe\")", Coding::kByType},
                         {"big", "\"select\" > 1", Coding::kByType},
                         {"weight", "\"SELECT\"", Coding::kNumber}});
  EXPECT_EQ(Records(table), (std::vector<Numbers>{{2, 0, 0, 2}}));
  EXPECT_EQ(table.Columns()[0].label, "odd");
  EXPECT_EQ(table.Columns()[1].levels, Texts{"ÜNÏ"});
  EXPECT_EQ(table.Columns()[2].levels, Texts{"true"});
  EXPECT_EQ(table.Columns()[3].kind, Kind::kNumber);
}

TEST_F(CodeTableTest, CodesATableWithoutRows) {
  const CodedTable table =
      CodeTable(OpenSql("SELECT 1 AS x, 'a' AS g LIMIT 0"), {Ask("x"), Ask("g")});
  EXPECT_EQ(table.RecordCount(), 0);
  EXPECT_TRUE(Records(table).empty());
  EXPECT_TRUE(table.Columns()[1].levels.empty());
}

TEST_F(CodeTableTest, StandsAtTheFirstRecordAndSurvivesAMove) {
  CodedTable table = CodeTable(OpenSql(List("('b'), ('a')")), {Ask("x")});
  EXPECT_EQ(std::ftell(table.File()), 0);
  const CodedTable moved = std::move(table);
  EXPECT_EQ(Values(moved), (Numbers{1, 0}));
}

TEST_F(CodeTableTest, GivesRecordsThatTheLibraryReads) {
  const CodedTable table = CodeTable(
      OpenSql("SELECT 'g' || (i % 3) AS g, i AS x FROM range(5000) t(i)"), {Ask("g"), Ask("x")});
  QvCommon::BinaryRecordIterator records(table.File(), table.RecordSize());
  for (int pass = 0; pass < 2; ++pass) {
    if (pass > 0) records.NewPass();
    std::int64_t read = 0;
    for (; records.HasMore(); ++read) {
      const QvCommon::Record& record = *records.Next();
      ASSERT_EQ(record[0], static_cast<double>(read % 3));
      ASSERT_EQ(record[1], static_cast<double>(read));
    }
    EXPECT_EQ(read, table.RecordCount());
    EXPECT_EQ(records.GetFailReason(), 1);
  }
}

/// A long table in a file of many row groups: records must stand in the order of its rows.
class LongTable : public TableTest {
 protected:
  static constexpr std::int64_t kRows = 300000;

  /// Row i holds i, the level of (i * 7919) mod 1009, and a NULL in every 97th row.
  std::string WriteRows(const std::string& name, const std::string& options = "") const {
    Connection connection;
    connection.Execute(
        "COPY (SELECT i, 'level ' || lpad(((i * 7919) % 1009)::VARCHAR, 4, '0') AS g, "
        "CASE WHEN i % 97 = 0 THEN NULL ELSE i / 8 END AS q FROM range(300000) t(i)) TO " +
        QuoteText(Path(name)) + options);
    return Path(name);
  }

  static void ExpectRows(const CodedTable& table) {
    ASSERT_EQ(table.RecordCount(), kRows);
    ASSERT_EQ(table.Columns()[1].levels.size(), 1009U);
    EXPECT_EQ(table.Columns()[1].levels[1008], "level 1008");
    EXPECT_EQ(table.Columns()[2].missing, (kRows + 96) / 97);
    const std::vector<Numbers> records = Records(table);
    ASSERT_EQ(records.size(), static_cast<std::size_t>(kRows));
    for (std::int64_t i = 0; i < kRows; ++i) {
      const auto x = static_cast<double>(i);
      const Numbers expected = {x, static_cast<double>((i * 7919) % 1009),
                                i % 97 == 0 ? kMissing : x / 8};
      ASSERT_EQ(records[static_cast<std::size_t>(i)], expected);
    }
  }
};

TEST_F(LongTable, KeepsItsOrder) {
  const std::vector<ColumnRequest> requests = {Ask("i"), Ask("g"), Ask("q")};
  const std::string groups = " (ROW_GROUP_SIZE 4096)";
  ExpectRows(CodeTable(TableSource({WriteRows("t.parquet", groups), "", ""}), requests));
  for (const int threads : {2, 5}) {
    CodingOptions options;
    options.threads = threads;
    ExpectRows(CodeTable(TableSource({Path("t.parquet"), "", ""}), requests, options));
  }
  ExpectRows(CodeTable(TableSource({WriteRows("t.csv"), "", ""}), requests));
  ExpectRows(CodeTable(TableSource({WriteRows("t.csv.gz"), "", ""}), requests));
  ExpectRows(CodeTable(TableSource({WriteRows("t.ndjson"), "", ""}), requests));
  const std::string base =
      WriteDatabase("t.duckdb", "CREATE TABLE t AS FROM " + QuoteText(Path("t.parquet")));
  ExpectRows(CodeTable(TableSource({base, "t", ""}), requests));
  ExpectRows(
      CodeTable(TableSource({Path("t.parquet"), "", "SELECT * FROM data ORDER BY i"}), requests));
}

TEST_F(LongTable, ReportsItsProgress) {
  CodingOptions options;
  std::vector<CodingProgress> seen;
  options.progress = [&seen](const CodingProgress& progress) { seen.push_back(progress); };
  const TableSource source({WriteRows("t.parquet"), "", ""});
  (void)CodeTable(source, {Ask("i"), Ask("g")}, options);

  ASSERT_GT(seen.size(), 100U);
  EXPECT_STREQ(StageName(seen.front().stage), "reading");
  EXPECT_STREQ(StageName(seen.back().stage), "coding");
  EXPECT_EQ(seen.back().share, 1.0);
  EXPECT_EQ(seen.back().rows, kRows);
  for (std::size_t i = 1; i < seen.size(); ++i) {
    if (seen[i].stage != seen[i - 1].stage) continue;
    EXPECT_GE(seen[i].share, seen[i - 1].share);
    EXPECT_GT(seen[i].rows, seen[i - 1].rows);
    EXPECT_LE(seen[i].share, 1.0);
  }
}

TEST_F(LongTable, SortsNothingThatIsInOrder) {
  CodingOptions options;
  bool sorted = false;
  options.progress = [&sorted](const CodingProgress& progress) {
    sorted = sorted || progress.stage == CodingProgress::Stage::kCoding;
  };
  const TableSource source({WriteRows("t.parquet"), "", ""});
  (void)CodeTable(source, {Ask("i"), Ask("i // 1000", Coding::kFactor)}, options);
  EXPECT_FALSE(sorted);
}

}  // namespace
}  // namespace qvhost
