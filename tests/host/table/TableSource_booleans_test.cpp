#include <gtest/gtest.h>

#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

class TableSourceBooleans : public TableTest {
 protected:
  /// What the booleans of a CSV file with these values of x are called.
  [[nodiscard]] BooleanTexts InCsv(const std::string& values,
                                   const std::vector<ColumnType>& types = {}) const {
    DataSource source{WriteText("b.csv", "x,n\n" + values), "", ""};
    source.reading.types = types;
    return TableSource(source).BooleansOf("x");
  }
};

TEST_F(TableSourceBooleans, AreCalledAsTheFileHasThem) {
  EXPECT_EQ(InCsv("yes,1\nno,2\n"), (BooleanTexts{"no", "yes"}));
  EXPECT_EQ(InCsv("T,1\nF,2\n"), (BooleanTexts{"F", "T"}));
  EXPECT_EQ(InCsv("FALSE,1\nTRUE,2\n"), (BooleanTexts{"FALSE", "TRUE"}));
  EXPECT_EQ(InCsv("True,1\nTrue,2\n"), (BooleanTexts{"False", "True"}));
  EXPECT_EQ(InCsv("1,1\n0,2\n", {{"x", "BOOLEAN"}}), (BooleanTexts{"0", "1"}));
}

TEST_F(TableSourceBooleans, OfSeveralSpellingsTheMostFrequentOneCounts) {
  EXPECT_EQ(InCsv("true,1\nFALSE,2\nTRUE,3\nNA,4\nNA,5\nNA,6\n"), (BooleanTexts{"FALSE", "TRUE"}));
  EXPECT_EQ(InCsv("true,1\nFALSE,2\n"), (BooleanTexts{"false", "true"}));
}

TEST_F(TableSourceBooleans, AreFalseAndTrueInAnyOtherTable) {
  const std::string parquet =
      WriteTable("b.parquet", "SELECT * FROM (VALUES (true), (false)) AS t(x)");
  EXPECT_EQ(TableSource({parquet, "", ""}).BooleansOf("x"), BooleanTexts{});
  EXPECT_EQ(OpenSql("SELECT true AS x").BooleansOf("x"), BooleanTexts{});
  const std::string csv = WriteText("b.csv", "x,n\nyes,1\nno,2\n");
  EXPECT_EQ(TableSource({csv, "", "SELECT * FROM data"}).BooleansOf("x"), BooleanTexts{});
  EXPECT_EQ(TableSource({csv, "", ""}).BooleansOf("n"), BooleanTexts{}) << "a number";
  EXPECT_EQ(InCsv("y,1\nn,2\n"), BooleanTexts{}) << "a text";
}

}  // namespace
}  // namespace qvhost
