#include "host/table/CodeTable.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

class CodeTableErrors : public TableTest {
 protected:
  static std::string Refused(const TableSource& source, const ColumnRequest& request,
                             const CodingOptions& options = {}) {
    const Refusal refusal = RefusalOf([&] { (void)CodeTable(source, {request}, options); });
    EXPECT_EQ(refusal.code, ExitCode::kBadInput) << refusal.text;
    return refusal.text;
  }
};

TEST_F(CodeTableErrors, NamesRowAndColumnOfAnInfinity) {
  const std::string expected =
      "The value of 'x' in row 70001 is infinite; leave such rows out, or make the values NULL, "
      "with --sql.";
  for (const char* sign : {"", "-"}) {
    const TableSource source = OpenSql(std::string("SELECT CASE WHEN i = 70000 THEN '") + sign +
                                       "inf'::DOUBLE ELSE i END AS x FROM range(100000) t(i)");
    for (const int threads : {1, 2, 5}) {
      CodingOptions options;
      options.threads = threads;
      EXPECT_EQ(Refused(source, Ask("x"), options), expected);
      EXPECT_EQ(Refused(source, Ask("x", Coding::kFactor), options), expected);
    }
  }
  const TableSource zero = OpenSql("SELECT 1 AS x UNION ALL SELECT 0");
  EXPECT_EQ(Refused(zero, Ask("1 / x")).substr(0, 46),
            "The value of '1 / x' in row 2 is infinite; lea");
}

TEST_F(CodeTableErrors, ADependentIsShownByItsFirstDifferentValues) {
  ColumnRequest request = Ask("x");
  request.isByTypeOnly = true;
  request.maxLevels = 5;
  const TableSource source = OpenSql(
      "SELECT CASE WHEN i < 9 THEN 'z' ELSE (i // 2)::VARCHAR || 'k' END AS x FROM range(40) t(i)");
  const std::string text = Refused(source, request);
  EXPECT_NE(text.find("such as 'z', '4k', '5k', so it is hardly"), std::string::npos) << text;
}

TEST_F(CodeTableErrors, NeedsANumberForAWeight) {
  const TableSource source = OpenSql(
      "SELECT * FROM (VALUES ('1', true, DATE '2020-02-03', NULL::VARCHAR, 'u'::ENUM('u')), "
      "('n/a', false, NULL, NULL, NULL)) t(x, b, d, n, e)");
  const std::string end = "; use another column, or make a number of it with --sql.";
  EXPECT_EQ(Refused(source, Ask("x", Coding::kNumber)),
            "'x' must be a number, but it is text (VARCHAR), such as 'n/a'" + end);
  EXPECT_EQ(Refused(source, Ask("b", Coding::kNumber)),
            "'b' must be a number, but it is a boolean (BOOLEAN), such as 'true'" + end);
  EXPECT_EQ(Refused(source, Ask("d", Coding::kNumber)),
            "'d' must be a number, but it is a date or time (DATE), such as '2020-02-03'" + end);
  EXPECT_EQ(Refused(source, Ask("n", Coding::kNumber)),
            "'n' must be a number, but it is text (VARCHAR)" + end);
  EXPECT_EQ(Refused(source, Ask("e", Coding::kNumber)),
            "'e' must be a number, but it is an enumeration (ENUM), such as 'u'" + end);
}

TEST_F(CodeTableErrors, SaysWhatToDoWithDatesAndOthers) {
  const TableSource source = OpenSql("SELECT now() AS t, [1] AS l, 'x'::BLOB AS b");
  EXPECT_EQ(Refused(source, Ask("t")),
            "'t' is a date or time (TIMESTAMP WITH TIME ZONE), so it can be used only as a factor, "
            "C(t), or through a call that makes a number or text of it, such as epoch(t) for "
            "seconds.");
  EXPECT_EQ(Refused(source, Ask("l")),
            "'l' is neither a number nor text (LIST), so it can be used only as a factor, C(l), or "
            "through a call that makes a number or text of it.");
  EXPECT_EQ(Refused(source, Ask("b")).substr(0, 39), "'b' is neither a number nor text (BLOB)");
}

TEST_F(CodeTableErrors, BlamesTheExpressionThatIsWrong) {
  const TableSource source = OpenSql("SELECT 1 AS x, 'a' AS g");
  const Refusal refusal = RefusalOf([&] {
    (void)CodeTable(source, {Ask("x"), {"the label", "nope", {}}});
  });
  EXPECT_EQ(refusal.code, ExitCode::kBadInput);
  EXPECT_EQ(refusal.text, "'the label': Referenced column \"nope\" not found in FROM clause!");
  EXPECT_EQ(Refused(source, Ask("nofunction(x)")).substr(0, 76),
            "'nofunction(x)': Scalar Function with name nofunction does not exist! Did yo");
}

TEST_F(CodeTableErrors, TellsWhereReadingStopped) {
  std::string text = "x\n";
  for (int i = 0; i < 60000; ++i) text += std::to_string(i) + "\n";
  const std::string file = WriteText("t.csv", text + "oops\n");
  const std::string refused = Refused(TableSource({file, "", ""}), Ask("x"));
  EXPECT_EQ(refused, file +
                         ": the value 'oops' of 'x' in row 60001 is not a number, as those before "
                         "it are. If it stands for a missing value, name it with --na 'oops'; else "
                         "read the column as text with --types x=varchar.");
  EXPECT_EQ(Refused(OpenSql("SELECT (-1)::BIGINT AS x"), Ask("sqrt(x)")),
            "query: cannot take square root of a negative number.");
}

TEST_F(CodeTableErrors, LimitsTheLevelsOfAFactor) {
  CodingOptions options;
  options.maxLevels = 1000;
  const std::string end =
      " has more than 1000 different values, too many for a factor; use it as a number (a "
      "dependent: with --model linear), or group "
      "its values with --sql.";
  const TableSource source = OpenSql("SELECT i, 'l' || i AS g, i / 2 AS f FROM range(1001) t(i)");
  EXPECT_EQ(Refused(source, Ask("g"), options), "'g'" + end);
  EXPECT_EQ(Refused(source, Ask("f", Coding::kFactor), options), "'f'" + end);
  EXPECT_EQ(Refused(source, Ask("i", Coding::kFactor), options), "'i'" + end);
  const TableSource fewer = OpenSql("SELECT 'l' || i AS g FROM range(1000) t(i)");
  EXPECT_EQ(CodeTable(fewer, {Ask("g")}, options).Columns()[0].levels.size(), 1000U);
}

// DuckDB's threads may still be at work on a query when it is given up: neither a crash nor a wait
// without end may come of it, whenever that happens.
TEST_F(CodeTableErrors, AQueryGivenUpHalfwayEndsCleanly) {
  for (int chunks = 0; chunks < 60; ++chunks) {
    const TableSource source = OpenSql("SELECT range AS x FROM range(200000)");
    CodingOptions options;
    options.cancelled = [left = chunks % 6]() mutable { return left-- == 0; };
    options.threads = 1 + chunks % 4;
    EXPECT_THROW((void)CodeTable(source, {Ask("x")}, options), Cancelled);
  }
}

}  // namespace
}  // namespace qvhost
