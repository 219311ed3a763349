#include "host/table/ColumnNames.h"

#include <gtest/gtest.h>

#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

using Texts = std::vector<std::string>;

TEST(ColumnNames, AMadeUpNameIsNoNameOfTheData) {
  EXPECT_EQ(UniqueNames({"y", "ab", "AB", "Ab"}), (Texts{"y", "ab", "AB_1", "Ab_2"}));
  EXPECT_EQ(UniqueNames({"X", "x", "x_1", "y"}), (Texts{"X", "x_2", "x_1", "y"}));
  EXPECT_EQ(UniqueNames({"x_1", "x", "x", "x"}), (Texts{"x_1", "x", "x_2", "x_3"}));
}

TEST(ColumnNames, OnlyNumberedNamesBesideOthersMayBeMadeUp) {
  EXPECT_TRUE(MayBeRenamed({"X", "x_1", "y"}));
  EXPECT_TRUE(MayBeRenamed({"X", "x_1_1"}));
  EXPECT_FALSE(MayBeRenamed({"x_1", "x_2", "y"}));
  EXPECT_FALSE(MayBeRenamed({"x", "y", "x1", "x_"}));
}

TEST(ColumnNames, NotesSayWhichColumnIsLikeWhich) {
  EXPECT_EQ(RenamingNotes(RenamedColumns({"y", "x", "x", "X"}), ""),
            (Texts{"Column 3 is named 'x' as column 2 is; it is called x_1.",
                   "Column 4, 'X', differs from 'x' in case only; SQL calls it X_2."}));
}

/// Opens data and finds which values a name means.
class ColumnNamesTest : public TableTest {
 protected:
  static std::vector<double> ValuesOf(const DataSource& from, const std::string& name) {
    TableSource source(from);
    const std::vector<const ColumnInfo*> found = source.Matches(name);
    if (found.size() != 1) return {};
    const std::string column = found.front()->name;
    source.SettleTypes({column});
    return Values(CodeTable(source, {Ask(QuoteName(column), Coding::kNumber)}));
  }

  /// Puts a name in place of another of the same length into a file.
  void Rename(const std::string& file, const std::string& from, const std::string& to) const {
    std::string bytes = qvtest::ReadFile(Path(file));
    for (std::size_t at = bytes.find(from); at != std::string::npos; at = bytes.find(from, at)) {
      bytes.replace(at, from.size(), to);
    }
    WriteText(file, bytes);
  }
};

TEST_F(ColumnNamesTest, TheSpellingOfAHeaderCounts) {
  const DataSource from{WriteText("t.csv", "X, x ,x_1,y\n1,2,3,4\n5,6,7,8\n"), "", ""};
  EXPECT_EQ(ValuesOf(from, "X"), (std::vector<double>{1, 5}));
  EXPECT_EQ(ValuesOf(from, "x"), (std::vector<double>{2, 6}));
  EXPECT_EQ(ValuesOf(from, "x_1"), (std::vector<double>{3, 7}));
  EXPECT_EQ(ValuesOf(from, "x_2"), (std::vector<double>{2, 6}));
  EXPECT_EQ(ValuesOf(from, "Y"), (std::vector<double>{4, 8}));
}

TEST_F(ColumnNamesTest, AnotherSpellingMustBeOfOneColumn) {
  const TableSource source({WriteText("t.csv", "y,ab,AB,Ab\n1,2,3,4\n"), "", ""});
  EXPECT_EQ(source.Matches("aB").size(), 3U);
  EXPECT_EQ(source.Matches("Ab").front()->name, "Ab_2");
}

TEST_F(ColumnNamesTest, TypesAreOfTheColumnAsSpelled) {
  DataSource from{WriteText("t.csv", "y,ab,AB\n1,2,3\n4,5,6\n"), "", ""};
  from.reading.types = {{"AB", "VARCHAR"}};
  const TableSource source(from);
  EXPECT_EQ(source.Columns()[1].type, "BIGINT");
  EXPECT_EQ(source.Columns()[2].type, "VARCHAR");
}

TEST_F(ColumnNamesTest, KeysOfJson) {
  const std::string rows = R"({"x_1":"a","X":1,"x":2.5}
{"X":10,"x":20,"x_1":"b"}
)";
  const DataSource from{WriteText("t.jsonl", rows), "", ""};
  EXPECT_EQ(ValuesOf(from, "X"), (std::vector<double>{1, 10}));
  EXPECT_EQ(ValuesOf(from, "x"), (std::vector<double>{2.5, 20}));
}

TEST_F(ColumnNamesTest, ColumnsOfParquet) {
  const DataSource from{
      WriteTable("t.parquet", "SELECT 1 AS colAmn, {'a': 5} AS s, 2 AS colBmn, 3 AS y"), "", ""};
  Rename("t.parquet", "colBmn", "colamn");
  EXPECT_EQ(ValuesOf(from, "colAmn"), (std::vector<double>{1}));
  EXPECT_EQ(ValuesOf(from, "colamn"), (std::vector<double>{2}));
}

TEST_F(ColumnNamesTest, ResultsOfAQuery) {
  const DataSource from{"", "", "SELECT 1 AS w, 2 AS w, 3 AS w_1, 4 AS W"};
  const TableSource source(from);
  EXPECT_EQ(ValuesOf(from, "w"), (std::vector<double>{1}));
  EXPECT_EQ(ValuesOf(from, "w_1"), (std::vector<double>{3}));
  EXPECT_EQ(ValuesOf(from, "W"), (std::vector<double>{4}));
  EXPECT_EQ(source.NotesOnNames().front(),
            "Column 2 of the query is named 'w' as column 1 is; it is called w_2.");
}

TEST_F(ColumnNamesTest, SeveralFilesMustBeAlikeInThem) {
  DataSource from{WriteText("a.csv", "X,x,y\n1,2,3\n"), "", ""};
  from.moreData = {WriteText("b.csv", "X,x,y\n4,5,6\n")};
  EXPECT_EQ(ValuesOf(from, "x"), (std::vector<double>{2, 5}));
  WriteText("b.csv", "x,X,y\n4,5,6\n");
  EXPECT_EQ(RefusalOf([&] { const TableSource source(from); }).text,
            "'a.csv' and 'b.csv' have different columns, some of them named alike but for upper "
            "and lower case. Read one of them, or rename such columns.");
  WriteText("a.csv", "x,x_1,y\n1,2,3\n");
  WriteText("b.csv", "x_1,y\n5,6\n");
  EXPECT_EQ(ValuesOf(from, "x_1"), (std::vector<double>{2, 5}));
}

}  // namespace
}  // namespace qvhost
