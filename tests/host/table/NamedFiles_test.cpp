#include <algorithm>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "host/table/InputFiles.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

class NamedFilesTest : public TableTest {
 protected:
  NamedFilesTest() {
    for (const char* name : {"a-1.csv", "a-2.csv", "b.csv"}) WriteText(name, "x,y\n1,2\n");
  }

  /// The names of the files found, without their folder; FOLDER in the query is that folder.
  [[nodiscard]] std::vector<std::string> Find(std::string query) {
    std::vector<std::string> names;
    for (const std::string& file :
         NamedFiles(connection_, Placed(std::move(query)), DefinitionsOf(connection_))) {
      EXPECT_TRUE(file.starts_with(Path(""))) << file;
      names.push_back(file.substr(Path("").size()));
    }
    std::ranges::sort(names);
    return names;
  }

  void Execute(const std::string& statement) { connection_.Execute(Placed(statement)); }

  [[nodiscard]] std::string Placed(std::string text) const {
    constexpr std::string_view kFolder = "FOLDER/";
    for (std::size_t at = 0; (at = text.find(kFolder)) != std::string::npos;) {
      text.replace(at, kFolder.size(), Path(""));
    }
    return text;
  }

  const std::vector<std::string> both_ = {"a-1.csv", "a-2.csv"};
  const std::vector<std::string> b_ = {"b.csv"};
  const std::vector<std::string> none_;
  Connection connection_;
};

TEST_F(NamedFilesTest, ANameOrAPatternInPlaceOfATable) {
  EXPECT_EQ(Find("SELECT * FROM 'FOLDER/b.csv'"), b_);
  EXPECT_EQ(Find("FROM \"FOLDER/b.csv\""), b_);
  EXPECT_EQ(Find("SELECT * FROM 'FOLDER/a-*.csv'"), both_);
  EXPECT_EQ(Find("SELECT * FROM 'FOLDER/none.csv'"), none_);
}

TEST_F(NamedFilesTest, ArgumentsOfReaders) {
  EXPECT_EQ(Find("FROM read_csv('FOLDER/b.csv', header = true, delim := ',')"), b_);
  EXPECT_EQ(Find("FROM READ_CSV_AUTO(['FOLDER/a-2.csv', 'FOLDER/a-1.csv'])"), both_);
  EXPECT_EQ(Find("FROM read_csv('FOLDER/' || lower('B') || '.csv')"), b_);
  EXPECT_EQ(Find("FROM read_parquet(['FOLDER/a-' || i || '.csv' FOR i IN range(3)])"), both_);
  EXPECT_EQ(Find("FROM read_text(concat('FOLDER/a', '-*'))"), both_);
}

TEST_F(NamedFilesTest, WhereverTheyStand) {
  EXPECT_EQ(Find("WITH q AS (FROM 'FOLDER/b.csv') SELECT * FROM q"), b_);
  EXPECT_EQ(Find("SELECT (SELECT max(x) FROM 'FOLDER/b.csv') AS y"), b_);
  EXPECT_EQ(Find("SELECT 1 WHERE 1 IN (SELECT x FROM (FROM 'FOLDER/b.csv'))"), b_);
  EXPECT_EQ(Find("FROM 'FOLDER/a-1.csv' UNION ALL FROM 'FOLDER/a-2.csv'"), both_);
  EXPECT_EQ(Find("FROM 'FOLDER/a-1.csv' a JOIN 'FOLDER/a-2.csv' b ON a.x < b.x ORDER BY 1"), both_);
  EXPECT_EQ(Find("FROM (PIVOT 'FOLDER/b.csv' ON x IN (1, 2) USING sum(y))"), b_);
}

TEST_F(NamedFilesTest, InViewsAndMacros) {
  Execute("CREATE VIEW \"one AS view\" AS SELECT * FROM 'FOLDER/a-*.csv'");
  Execute("CREATE VIEW outer_view(p, q) AS SELECT * FROM \"one AS view\"");
  Execute("CREATE VIEW listed AS FROM read_csv(['FOLDER/a-*.csv'])");
  Execute("CREATE MACRO reads() AS TABLE FROM read_csv(['FOLDER/b.csv'])");
  Execute("CREATE MACRO highest() AS (SELECT max(x) FROM 'FOLDER/b.csv')");
  EXPECT_EQ(Find("FROM OUTER_VIEW"), both_);
  EXPECT_EQ(Find("FROM main.listed"), both_);
  EXPECT_EQ(Find("FROM reads()"), b_);
  EXPECT_EQ(Find("SELECT highest() AS y"), b_);
  EXPECT_EQ(Find("SELECT 1 AS y"), none_);
}

TEST_F(NamedFilesTest, AMacroThatNamesItself) {
  Execute("CREATE MACRO again() AS TABLE FROM 'FOLDER/b.csv'");
  Execute("CREATE OR REPLACE MACRO again() AS TABLE FROM again() UNION FROM 'FOLDER/b.csv'");
  EXPECT_EQ(Find("FROM again()"), b_);
}

TEST_F(NamedFilesTest, AComputedNameWithoutAValue) {
  WriteText("p", "x\n1\n");
  Execute("CREATE MACRO reads(p) AS TABLE FROM read_csv('FOLDER/' || p)");
  EXPECT_EQ(Find("FROM reads('b.csv')"), none_);
}

TEST_F(NamedFilesTest, ATextElsewhereNamesNoFile) {
  EXPECT_EQ(Find("SELECT 'FOLDER/b.csv' AS f, length('FOLDER/b.csv') WHERE 'FOLDER/b.csv' <> ''"),
            none_);
  EXPECT_EQ(Find("FROM unnest(['FOLDER/b.csv'])"), none_);
  EXPECT_EQ(Find("FROM read_csv('FOLDER/a-*.csv', nullstr = 'FOLDER/b.csv', na := 'FOLDER/b.csv')"),
            both_);
  EXPECT_EQ(Find("SELECT x AS \"FOLDER/b.csv\" FROM 'FOLDER/a-*.csv' AS \"FOLDER/b.csv\""), both_);
}

TEST_F(NamedFilesTest, ATableOfThatNameComesFirst) {
  EXPECT_EQ(Find("WITH \"FOLDER/b.csv\" AS (SELECT 1) FROM \"FOLDER/b.csv\""), none_);
  Execute("CREATE TABLE \"FOLDER/b.csv\"(x INTEGER)");
  EXPECT_EQ(Find("FROM \"FOLDER/b.csv\""), none_);
}

TEST_F(NamedFilesTest, OddNames) {
  WriteText("it's 100% \"odd\" [1].csv", "x\n1\n");
  const std::vector<std::string> odd = {"it's 100% \"odd\" [1].csv"};
  EXPECT_EQ(Find("FROM 'FOLDER/it''s 100% \"odd\" [[]1].csv'"), odd);
  EXPECT_EQ(Find("FROM read_csv('FOLDER/it''s' || ' 100*')"), odd);
}

TEST_F(NamedFilesTest, TextThatIsNoQuery) {
  EXPECT_EQ(Find("SELEC 'FOLDER/b.csv'"), none_);
  EXPECT_EQ(Find(""), none_);
}

}  // namespace
}  // namespace qvhost
