#include "host/table/TableSource.h"

#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

using Texts = std::vector<std::string>;
using Numbers = std::vector<double>;

constexpr const char* kTwoColumns =
    "SELECT * FROM (VALUES (1.5, 'b'), (2.5, 'a'), (NULL, 'b')) t(x, g)";

/// Names and kinds on one line.
std::string Shape(const TableSource& source) {
  std::string shape;
  for (const ColumnInfo& column : source.Columns()) {
    shape += column.name + ": " + std::string(KindText(column.kind)) + "; ";
  }
  return shape;
}

class TableSourceTest : public TableTest {
 protected:
  static void ExpectTwoColumns(const DataSource& from) {
    SCOPED_TRACE(from.data + " " + from.table + " " + from.sql);
    const TableSource source(from);
    EXPECT_EQ(Shape(source), "x: a number; g: text; ");
    const CodedTable table = CodeTable(source, {Ask("x"), Ask("g")});
    EXPECT_EQ(table.RecordCount(), 3);
    EXPECT_EQ(table.Columns()[1].levels, (Texts{"a", "b"}));
    const double missing = -1.7976931348623157e308;
    EXPECT_EQ(Records(table), (std::vector<Numbers>{{1.5, 1}, {2.5, 0}, {missing, 1}}));
  }
};

TEST_F(TableSourceTest, ReadsEveryFileFormat) {
  for (const char* name :
       {"t.csv", "t.parquet", "t.json", "t.ndjson", "t.jsonl", "t.csv.gz", "t.json.gz", "T.CSV"}) {
    ExpectTwoColumns({WriteTable(name, kTwoColumns), "", ""});
  }
  ExpectTwoColumns({WriteText("t.tsv", "x\tg\n1.5\tb\n2.5\ta\n\tb\n"), "", ""});
}

TEST_F(TableSourceTest, ReadsFilesThatAPatternNames) {
  WriteTable("part-2.csv", "SELECT 2.5 AS x, 'a' AS g UNION ALL SELECT NULL, 'b'");
  WriteTable("part-1.csv", "SELECT 1.5 AS x, 'b' AS g");
  ExpectTwoColumns({Path("part-*.csv"), "", ""});
  ExpectTwoColumns({Path("part-[12].csv"), "", ""});
}

TEST_F(TableSourceTest, TakesAFileOfAnyNameAsItStands) {
  for (const char* name : {"a b.csv", "it's.csv", "what?.csv", "all[1].csv", "größe*.csv"}) {
    ExpectTwoColumns({WriteTable("plain.csv", kTwoColumns), "", ""});
    std::filesystem::rename(Path("plain.csv"), Path(name));
    ExpectTwoColumns({Path(name), "", ""});
  }
}

TEST_F(TableSourceTest, ReadsATableOfADatabaseFile) {
  const std::string create = std::string("CREATE TABLE Cars AS ") + kTwoColumns;
  const std::string one = WriteDatabase("one.duckdb", create);
  ExpectTwoColumns({one, "", ""});
  ExpectTwoColumns({one, "cars", ""});
  EXPECT_EQ(TableSource({one, "", ""}).Name(), "Cars of " + one);

  const std::string several = WriteDatabase(
      "several.db", create +
                        "; CREATE SCHEMA deep; CREATE TABLE deep.\"odd \"\"name\" AS FROM Cars; "
                        "CREATE VIEW seen AS FROM Cars; CREATE TABLE other AS SELECT 1 AS y");
  ExpectTwoColumns({several, "Cars", ""});
  ExpectTwoColumns({several, "main.cars", ""});
  ExpectTwoColumns({several, "seen", ""});
  ExpectTwoColumns({several, "deep.odd \"name", ""});
  ExpectTwoColumns({several, "odd \"name", ""});
}

TEST_F(TableSourceTest, ReadsAQuery) {
  ExpectTwoColumns({"", "", kTwoColumns});
  ExpectTwoColumns({"", "", std::string(kTwoColumns) + " ;  -- that is all"});
  ExpectTwoColumns({"", "", "WITH w AS (" + std::string(kTwoColumns) + ") FROM w"});
  const std::string file = WriteTable("t.csv", kTwoColumns);
  ExpectTwoColumns({file, "", "SELECT x, g FROM data"});
  ExpectTwoColumns({"", "", "SELECT * FROM read_csv(" + QuoteText(file) + ")"});
  const std::string base =
      WriteDatabase("b.duckdb", "CREATE TABLE data AS " + std::string(kTwoColumns));
  ExpectTwoColumns({base, "", "SELECT x, g FROM data"});
}

TEST_F(TableSourceTest, KeepsTheOrderOfAQuery) {
  const TableSource source = OpenSql("SELECT i AS x FROM range(5000) t(i) ORDER BY i DESC");
  const Numbers values = Values(CodeTable(source, {Ask("x")}));
  ASSERT_EQ(values.size(), 5000U);
  for (std::size_t i = 0; i < values.size(); ++i) {
    ASSERT_EQ(values[i], 4999.0 - static_cast<double>(i));
  }
}

TEST_F(TableSourceTest, TellsTheKindOfEveryType) {
  const TableSource source = OpenSql(
      "SELECT 1::TINYINT a, 1::UHUGEINT b, 1.5::FLOAT c, 1.5::DECIMAL(18,3) d, NULL e, 't' f, "
      "uuid() g, true h, 'q'::ENUM('q') i, DATE '2020-01-01' j, now() k, INTERVAL 1 DAY l, "
      "TIME '10:00' m, 'x'::BLOB n, [1] o, {'a': 1} p, MAP {'a': 1} q, '1'::BIT r");
  Texts kinds;
  for (const ColumnInfo& column : source.Columns()) kinds.emplace_back(KindText(column.kind));
  const std::string other = "neither a number nor text";
  const std::string time = "a date or time";
  EXPECT_EQ(kinds, (Texts{"a number", "a number", "a number", "a number", "a number", "text",
                          "text", "a boolean", "an enumeration", time, time, time, time, other,
                          other, other, other, other, "a number"}))
      << "the last one is the field of the object";
  EXPECT_EQ(source.Columns()[3].type, "DECIMAL(18,3)");
  EXPECT_EQ(source.Columns()[8].type, "ENUM");
}

/// The names of the columns that a name may mean, with a blank behind each.
std::string MatchesOf(const TableSource& source, const std::string& name) {
  std::string names;
  for (const ColumnInfo* column : source.Matches(name)) names += column->name + " ";
  return names;
}

TEST_F(TableSourceTest, MatchesColumnsByTheirSpellingThenWhateverTheirCase) {
  const TableSource source = OpenSql("SELECT 1 AS \"Mass\", 2 AS \"größe\", 3 AS \"a\"\"b\"");
  EXPECT_EQ(MatchesOf(source, "Mass"), "Mass ");
  EXPECT_EQ(MatchesOf(source, "mass"), "Mass ");
  EXPECT_EQ(MatchesOf(source, "größe"), "größe ");
  EXPECT_EQ(MatchesOf(source, "GRößE"), "größe ");
  EXPECT_EQ(MatchesOf(source, "GRÖßE"), "") << "DuckDB folds the letters of ASCII alone";
  EXPECT_EQ(MatchesOf(source, "A\"B"), "a\"b ");
  EXPECT_EQ(MatchesOf(source, "mas"), "");
  EXPECT_EQ(MatchesOf(source, ""), "");
}

TEST_F(TableSourceTest, AColumnRenamedForItsCaseMatchesItsOwnSpelling) {
  const TableSource source{DataSource{WriteText("case.csv", "A,a,B\n1,2,3\n4,5,6\n"), "", ""}};
  ASSERT_EQ(source.Columns()[1].name, "a_1");
  EXPECT_EQ(MatchesOf(source, "A"), "A ");
  EXPECT_EQ(MatchesOf(source, "a"), "a_1 ");
  EXPECT_EQ(MatchesOf(source, "a_1"), "a_1 ");
  EXPECT_EQ(MatchesOf(source, "b"), "B ");
}

TEST_F(TableSourceTest, SuggestsTheNearestColumn) {
  const TableSource source = OpenSql("SELECT 1 AS species, 2 AS flipper_length, 3 AS \"it's\"");
  EXPECT_EQ(source.Nearest("spceies"), "species");
  EXPECT_EQ(source.Nearest("SPECIE"), "species");
  EXPECT_EQ(source.Nearest("flipper"), "flipper_length");
  EXPECT_EQ(source.Nearest("its"), "it's");
  EXPECT_EQ(source.Nearest("year"), std::nullopt);
  EXPECT_EQ(source.Nearest(""), std::nullopt);
}

TEST_F(TableSourceTest, DescribesExpressions) {
  const TableSource source = OpenSql("SELECT 1 AS x, 'a' AS g");
  const std::vector<ColumnInfo> columns = source.Describe({"log(x)", "\"g\"", "x > 0"});
  ASSERT_EQ(columns.size(), 3U);
  EXPECT_EQ(columns[0].name, "log(x)");
  EXPECT_EQ(columns[0].kind, ColumnKind::kNumber);
  EXPECT_EQ(columns[1].kind, ColumnKind::kText);
  EXPECT_EQ(columns[2].kind, ColumnKind::kBoolean);
  EXPECT_TRUE(source.Describe({}).empty());
  EXPECT_EQ(RefusalOf([&] { (void)source.Describe({"log(g)"}); }).code, ExitCode::kBadInput);
}

TEST_F(TableSourceTest, KnowsItsFilesBeforeTheyAreRead) {
  // So many that DuckDB does not look into all to learn the columns.
  for (int i = 10; i < 40; ++i) WriteText("a-" + std::to_string(i) + ".csv", "x\n1\n");
  WriteText("b.csv", "x\n1\n");
  const TableSource pattern({Path("a-*.csv"), "", ""});
  EXPECT_TRUE(pattern.Inputs().Find(Path("a-10.csv")));
  EXPECT_TRUE(pattern.Inputs().Find(Path("a-39.csv")));
  EXPECT_FALSE(pattern.Inputs().Find(Path("b.csv")));
  // A pattern that the query leaves out, and a file whose name the query alone knows.
  const TableSource query(
      {Path("a-*.csv"), "", "FROM query('FROM ' || " + QuoteText(QuoteText(Path("b.csv"))) + ")"});
  EXPECT_TRUE(query.Inputs().Find(Path("a-39.csv")));
  EXPECT_TRUE(query.Inputs().Find(Path("b.csv")));
}

TEST_F(TableSourceTest, KnowsTheFilesOfADatabase) {
  WriteText("a.csv", "x\n1\n");
  const std::string file =
      WriteDatabase("d.duckdb",
                    "CREATE MACRO reads(p) AS TABLE FROM read_csv(p || '.csv'); "
                    "CREATE VIEW v AS FROM reads(" +
                        QuoteText(Path("a")) +
                        "); "
                        "CREATE TABLE t AS SELECT 1 AS x");
  std::filesystem::create_symlink(file, Path("link.duckdb"));
  const TableSource view({Path("link.duckdb"), "v", ""});
  for (const char* name : {"d.duckdb", "d.duckdb.wal", "link.duckdb", "link.duckdb.wal", "a.csv"}) {
    EXPECT_TRUE(view.Inputs().Find(Path(name))) << name;
  }
  const TableSource table({file, "t", ""});
  EXPECT_TRUE(table.Inputs().Find(file));
  EXPECT_FALSE(table.Inputs().Find(Path("a.csv")));
}

TEST_F(TableSourceTest, StaysUsableWhenMoved) {
  TableSource source = OpenSql("SELECT 1 AS x");
  const TableSource moved = std::move(source);
  EXPECT_EQ(Values(CodeTable(moved, {Ask("x")})), Numbers{1});
}

TEST_F(TableSourceTest, ShowsTheFieldsOfObjects) {
  const std::string lines =
      "{\"y\": 1, \"car\": {\"weight\": 1.5, \"engine\": {\"kind\": \"NA\", \"cc\": [1]}}}\n"
      "{\"y\": 2, \"car\": {\"weight\": 2.5, \"engine\": {\"kind\": \"diesel\", \"cc\": []}}}\n";
  const std::string json = WriteText("cars.jsonl", lines);
  const std::string parquet = WriteTable("cars.parquet", "FROM read_json(" + QuoteText(json) + ")");
  for (const DataSource& from : {DataSource{json, "", ""}, DataSource{parquet, "", ""},
                                 DataSource{"", "", "SELECT * FROM " + QuoteText(parquet)}}) {
    const TableSource source(from);
    std::vector<std::string> names;
    for (const ColumnInfo& column : source.Columns()) {
      names.push_back(column.name);
      EXPECT_EQ(column.isField, names.size() > 2);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"y", "car", "car.weight", "car.engine.kind"}));
    EXPECT_EQ(source.Columns()[2].kind, ColumnKind::kNumber);
    EXPECT_EQ(Values(CodeTable(source, {Ask("\"car.weight\"")})), (std::vector<double>{1.5, 2.5}));
  }
  const CodedTable kinds = CodeTable(TableSource({json, "", ""}), {Ask("\"car.engine.kind\"")});
  EXPECT_EQ(kinds.Columns()[0].levels, std::vector<std::string>{"diesel"}) << "NA is missing";
}

TEST_F(TableSourceTest, AFieldGivesWayToAColumnOfItsName) {
  const TableSource source = OpenSql("SELECT 7 AS \"a.B\", {'b': 1, 'c': 2} AS a");
  ASSERT_EQ(source.Columns().size(), 3U);
  EXPECT_EQ(source.Columns()[2].name, "a.c");
  EXPECT_EQ(Values(CodeTable(source, {Ask("\"a.B\"")})), std::vector<double>{7.0});
}

TEST_F(TableSourceTest, OffersNamesAfterTheirKind) {
  const TableSource source = OpenSql("SELECT 1 AS x, 2 AS x");
  EXPECT_EQ(source.Columns().size(), 2U);
  EXPECT_NE(source.Columns()[0].name, source.Columns()[1].name);
}

}  // namespace
}  // namespace qvhost
