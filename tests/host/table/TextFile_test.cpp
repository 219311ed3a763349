#include "host/table/TextFile.h"

#include <fmt/format.h>

#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

using Numbers = std::vector<double>;
using Texts = std::vector<std::string>;

class TextFileTest : public TableTest {
 protected:
  [[nodiscard]] DataSource From(const std::string& text) const {
    return {WriteText("t.csv", text), "", ""};
  }

  /// Names and types on one line.
  static std::string Shape(const TableSource& source) {
    std::string shape;
    for (const ColumnInfo& column : source.Columns()) {
      shape += fmt::format("{} {}; ", column.name, column.type);
    }
    return shape;
  }

  /// The values of a column of numbers, its type settled first.
  static Numbers NumbersOf(const DataSource& from, const std::string& column) {
    TableSource source(from);
    source.SettleTypes({column});
    return Values(CodeTable(source, {Ask(column, Coding::kNumber)}));
  }
};

TEST_F(TextFileTest, DecimalCommasAndThousands) {
  DataSource from =
      From("a;b;c;d;zip\n1.234,5;1.000;7;31.12.2024;01234\n0,25;12.500;8;01.01.2024;12345\n");
  from.reading.decimal = ',';
  from.reading.thousands = ".";
  EXPECT_EQ(Shape(TableSource(from)), "a DOUBLE; b BIGINT; c BIGINT; d DATE; zip VARCHAR; ");
  EXPECT_EQ(NumbersOf(from, "a"), (Numbers{1234.5, 0.25}));
  EXPECT_EQ(NumbersOf(from, "b"), (Numbers{1000, 12500}));
}

TEST_F(TextFileTest, MissingStringsStandAmongThem) {
  DataSource from = From("a;b\n1,5;1.000\nNA;.\n;2.000,5\n");
  from.reading.decimal = ',';
  from.reading.thousands = ".";
  const double missing = -1.7976931348623157e308;
  EXPECT_EQ(NumbersOf(from, "a"), (Numbers{1.5, missing, missing}));
  EXPECT_EQ(NumbersOf(from, "b"), (Numbers{1000, missing, 2000.5}));
}

TEST_F(TextFileTest, AFractionAfterTheFirstRows) {
  std::string rows = "a;b\n";
  for (int i = 0; i < 30000; ++i) rows += "1.000;2\n";
  DataSource from = From(rows + "1,5;2\n");
  from.reading.decimal = ',';
  from.reading.thousands = ".";
  EXPECT_EQ(NumbersOf(from, "a").back(), 1.5);
  from = From(rows + "1.5;2\n");
  from.reading.decimal = ',';
  from.reading.thousands = ".";
  const Refusal refusal = RefusalOf([&] { static_cast<void>(NumbersOf(from, "a")); });
  EXPECT_NE(refusal.text.find("the value '1.5' of 'a' in row 30001 is not a number"),
            std::string::npos)
      << refusal.text;
}

TEST_F(TextFileTest, AColumnThatIsNotOfTheFormatStaysText) {
  DataSource from = From("a;b\n1.5;1\n2.5;2\n");
  from.reading.decimal = ',';
  from.reading.thousands = ".";
  EXPECT_EQ(Shape(TableSource(from)), "a VARCHAR; b BIGINT; ");
}

TEST_F(TextFileTest, TypesThatAreNamed) {
  DataSource from = From("zip,price,code,share\n01234,$5.50,1,5 %\n12345,\"$1234\",2,7 %\n");
  from.reading.types = {
      {"ZIP", "BIGINT"}, {"price", "DOUBLE"}, {"code", "VARCHAR"}, {"share", "BIGINT"}};
  EXPECT_EQ(Shape(TableSource(from)), "zip BIGINT; price DOUBLE; code VARCHAR; share BIGINT; ");
  EXPECT_EQ(NumbersOf(from, "zip"), (Numbers{1234, 12345}));
  EXPECT_EQ(NumbersOf(from, "price"), (Numbers{5.5, 1234}));
  EXPECT_EQ(NumbersOf(from, "share"), (Numbers{5, 7}));
  from.reading.types = {{"pirce", "DOUBLE"}};
  EXPECT_EQ(RefusalOf([&] { const TableSource source(from); }).text,
            "--types: there is no column 'pirce' in " + from.data + ". Did you mean 'price'?");
}

TEST_F(TextFileTest, AValueThatDoesNotSuitTheNamedType) {
  DataSource from = From("x,g\n1,a\nb,c\n");
  from.reading.types = {{"x", "DOUBLE"}};
  EXPECT_EQ(RefusalOf([&] { static_cast<void>(NumbersOf(from, "x")); }).text,
            from.data +
                ": the value 'b' of 'x' in row 2 is not a number, as --types demands. If it "
                "stands for a missing value, name it with --na 'b'; else read the column "
                "as text with --types x=varchar.");
}

TEST_F(TextFileTest, TypesOfJson) {
  DataSource from{WriteText("t.json", R"([{"id": 1, "x": "2.5"}, {"id": 2, "x": "3"}])"), "", ""};
  from.reading.types = {{"id", "VARCHAR"}, {"x", "DOUBLE"}};
  EXPECT_EQ(Shape(TableSource(from)), "id VARCHAR; x DOUBLE; ");
  EXPECT_EQ(NumbersOf(from, "x"), (Numbers{2.5, 3}));
}

TEST_F(TextFileTest, TheDelimiterAndTheHeader) {
  DataSource from = From("1~2\n3~4\n");
  from.reading.delimiter = "~";
  EXPECT_EQ(Shape(TableSource(from)), "column0 BIGINT; column1 BIGINT; ");
  EXPECT_FALSE(TableSource(from).Layout()->hasHeader);
  EXPECT_EQ(TableSource(from).HeaderHint(),
            " It seems to have no header, so its columns are called column0, column1, ...; if its "
            "first row holds the names, add --header yes.");
  from.reading.header = true;
  EXPECT_EQ(Shape(TableSource(from)), "1 BIGINT; 2 BIGINT; ");
  EXPECT_EQ(TableSource(from).HeaderHint(),
            " Its header holds nothing but numbers, such as '1'; if it has none, add --header no.");
  from = From("a,b\nc,d\n");
  from.reading.header = false;
  EXPECT_EQ(Values(CodeTable(TableSource(from), {Ask("column0")})).size(), std::size_t{2});
  EXPECT_EQ(TableSource(From("x,y\n1,2\n")).HeaderHint(), "");
}

TEST_F(TextFileTest, ShortRowsLackTheirLastValues) {
  for (const char* delimiter : {"", ","}) {
    DataSource from = From("x,y,g\n1,2,a\n3,4\n5,6,b\n");
    from.reading.delimiter = delimiter;
    const TableSource source(from);
    EXPECT_TRUE(source.Layout()->hasShortRows);
    const CodedTable table = CodeTable(source, {Ask("x"), Ask("g")});
    EXPECT_EQ(Values(table), (Numbers{1, 3, 5}));
    EXPECT_EQ(table.Columns()[1].missing, 1);
  }
  EXPECT_FALSE(TableSource(From("x,y\n1,2\n")).Layout()->hasShortRows);
}

TEST_F(TextFileTest, ALongRowIsRefused) {
  const DataSource from = From("x,y,g\n1,2,a\n3,4,b,c\n5,6,b\n");
  EXPECT_EQ(RefusalOf([&] { const TableSource source(from); }).text,
            from.data +
                ": row 2 has more values than the header has names, which are 3. Mend the "
                "row, or the header.");
}

TEST_F(TextFileTest, LinesBeforeTheTableAreSkipped) {
  const TableSource source(From("Report of May\nby me\n\nx,y\n1,2\n3,4\n5,6\n"));
  EXPECT_EQ(Shape(source), "x BIGINT; y BIGINT; ");
  EXPECT_EQ(source.Layout()->skippedRows, 3);
}

TEST_F(TextFileTest, ThousandsThatLookLikeDecimals) {
  const TableSource source(From("a;b;c;d\n1.000;0.125;1.000;1\n12.500;1.250;1.5;2\n"));
  ASSERT_EQ(source.Layout()->grouped.size(), std::size_t{1});
  EXPECT_EQ(source.Layout()->grouped[0].column, "a");
  EXPECT_TRUE(TableSource(From("a,b\n1.000,1\n")).Layout()->grouped.empty());
}

TEST_F(TextFileTest, DatesThatAreNotOfIso) {
  const TableSource source(From("d,e\n31.12.2024,2024-12-31\n01.02.2024,2024-01-01\n"));
  ASSERT_EQ(source.Layout()->dates.size(), std::size_t{1});
  EXPECT_EQ(source.Layout()->dates[0].column, "d");
  EXPECT_EQ(source.Layout()->dates[0].format, "%d.%m.%Y");
}

}  // namespace
}  // namespace qvhost
