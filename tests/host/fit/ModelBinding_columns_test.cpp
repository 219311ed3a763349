// Names of columns in a formula and its options, in every spelling.
#include <string>

#include <gtest/gtest.h>

#include "host/Error.h"
#include "host/fit/ModelBinding.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

class FormulaColumns : public TableTest {
 protected:
  /// The terms of a formula over the table, or the message that it is refused with.
  std::string TermsOf(const std::string& text) const {
    try {
      const Formula formula = ParseFormula(text, ColumnsOf(source_, text));
      std::string line;
      for (const Term& term : formula.terms) {
        line += (line.empty() ? "" : " ") + TermLabel(formula, term);
      }
      return line;
    } catch (const Error& error) {
      return error.what();
    }
  }

  std::string WeightOf(const std::string& name) const {
    try {
      return ColumnOfOption(source_, name, "--freq-weight").name;
    } catch (const Error& error) {
      return error.what();
    }
  }

  /// DuckDB calls the third column a_1.
  const TableSource source_{DataSource{
      WriteText("t.csv", "y,A,a,Age,Body Mass\n1,2,3,4,5\n2,3,4,5,7\n3,5,4,3,1\n"), "", ""}};
};

std::string At(const std::string& sentence, const std::string& formula, std::size_t column) {
  return sentence + "\n  " + formula + "\n  " + std::string(column, ' ') + "^";
}

TEST_F(FormulaColumns, TwoSpellingsAreOneTermLabelledAsFirstWritten) {
  EXPECT_EQ(TermsOf("y ~ Age"), "Age");
  EXPECT_EQ(TermsOf("y ~ age"), "age");
  EXPECT_EQ(TermsOf("y ~ Age + age"), "Age");
  EXPECT_EQ(TermsOf("y ~ age + AGE + `Age` + A"), "age A");
  EXPECT_EQ(TermsOf("y ~ log(age) + LOG(Age) + log(AGE)"), "log(age)");
  EXPECT_EQ(TermsOf("y ~ I(age^2) + I(AGE ** 2)"), "I(age^2)");
  EXPECT_EQ(TermsOf("y ~ C(age) + C(Age) + Age"), "C(age) Age");
  EXPECT_EQ(TermsOf("y ~ age:A + A:Age"), "age:A");
  EXPECT_EQ(TermsOf("y ~ `body mass` + I(`BODY MASS` + age) + I(`Body Mass` + Age)"),
            "body mass I(`BODY MASS` + age)");
}

TEST_F(FormulaColumns, ASpellingIsTakenOutByAnother) {
  EXPECT_EQ(TermsOf("y ~ A*Age - age"), "A A:Age");
  EXPECT_EQ(TermsOf("y ~ log(Age) + A - LOG(age)"), "A");
}

TEST_F(FormulaColumns, TheResponseIsNoTermInAnySpelling) {
  const auto refused = [](const std::string& response) {
    return "'" + response + "' is the response and cannot be a term too; take it out on this side.";
  };
  EXPECT_EQ(TermsOf("y ~ y"), At(refused("y"), "y ~ y", 4));
  EXPECT_EQ(TermsOf("y ~ Y"), At(refused("y"), "y ~ Y", 4));
  EXPECT_EQ(TermsOf("y ~ A + `Y`"), At(refused("y"), "y ~ A + `Y`", 8));
  EXPECT_EQ(TermsOf("y ~ C(Y)"), At(refused("y"), "y ~ C(Y)", 4));
  EXPECT_EQ(TermsOf("y ~ A*I(Y^2)"), At(refused("y"), "y ~ A*I(Y^2)", 8));
  EXPECT_EQ(TermsOf("log(y) ~ LOG(Y)"), At(refused("log(y)"), "log(y) ~ LOG(Y)", 9));
  EXPECT_EQ(TermsOf("I(y + 1) ~ I((Y) + 1)"), At(refused("I(y + 1)"), "I(y + 1) ~ I((Y) + 1)", 13));
  EXPECT_EQ(TermsOf("y ~ log(y)"), "log(y)");
  EXPECT_EQ(TermsOf("log(y) ~ Y"), "Y");
}

TEST_F(FormulaColumns, NamesThatDifferInCaseAloneAreToldApart) {
  EXPECT_EQ(TermsOf("y ~ A + a_1"), "A a_1");
  EXPECT_EQ(TermsOf("y ~ a"), "a");
  EXPECT_EQ(TermsOf("y ~ A + log(a)"), "A log(a)");
  EXPECT_EQ(WeightOf("a"), "a_1");
  EXPECT_EQ(WeightOf("A"), "A");
  EXPECT_EQ(WeightOf("A_1"), "a_1");
}

TEST_F(FormulaColumns, OptionsFindTheirColumnsTheSameWay) {
  EXPECT_EQ(WeightOf("Body Mass"), "Body Mass");
  EXPECT_EQ(WeightOf("body mass"), "Body Mass");
  EXPECT_EQ(WeightOf("AGE"), "Age");
  EXPECT_EQ(WeightOf("ag"), "There is no column 'ag' for --freq-weight in " + source_.Name() +
                                "; did you mean 'Age'?");
}

TEST_F(FormulaColumns, TheKindsOfColumnsAreChecked) {
  const auto message = [](const std::string& text) {
    const TableSource source = OpenSql(
        "SELECT 1 AS x, 'a' AS s, true AS b, DATE '2024-01-31' AS d, [1] AS l, "
        "'u'::ENUM('u') AS e, 2 AS y");
    try {
      static_cast<void>(ParseFormula(text, ColumnsOf(source, text)));
    } catch (const Error& error) {
      const std::string whole = error.what();
      return whole.substr(0, whole.find('\n')) + " @" +
             std::to_string(whole.size() - whole.rfind('\n') - 4);
    }
    return std::string();
  };
  EXPECT_EQ(message("y ~ log(s)"),
            "log() takes a number here, but 's' is text; if it holds numbers, write cast(s as "
            "double). @8");
  EXPECT_EQ(message("y ~ I(x + b)"),
            "'+' takes a number here, but 'b' is a boolean; write if(b, 1, 0). @10");
  EXPECT_EQ(
      message("y ~ sqrt(d)"),
      "sqrt() takes a number here, but 'd' is a date or time; write epoch(d) for seconds. @9");
  EXPECT_EQ(message("y ~ lower(x)"),
            "lower() takes text here, but 'x' is a number; write cast(x as text). @10");
  EXPECT_EQ(message("y ~ lower(e)"), "");
  EXPECT_EQ(message("y ~ year(s)"),
            "year() takes a date or time here, but 's' is text; if it holds dates, write cast(s as "
            "date). @9");
  EXPECT_EQ(message("y ~ if(s, 1, 2)"),
            "if() takes a condition, such as x > 0, here, but 's' is text. @7");
  EXPECT_EQ(message("y ~ if(b, x, s)"),
            "'s' is text, but 'x' is a number; if it holds numbers, write cast(s as double). @13");
  EXPECT_EQ(
      message("y ~ I(x = 'a')"),
      "'a' is text, but 'x' is a number; if it holds numbers, write cast('a' as double). @10");
  EXPECT_EQ(message("y ~ hour(s)"),
            "hour() takes a date or time here, but 's' is text; if it holds dates and times, write "
            "cast(s as timestamp). @9");
  EXPECT_EQ(message("y ~ I(d - '2020-01-01')"),
            "'-' takes a date or time here, but '2020-01-01' is text; write date '2020-01-01'. "
            "@10");
  EXPECT_EQ(message("y ~ I(b = 'maybe')"),
            "'maybe' is text, but 'b' is a boolean; write b, or not b. @10");
  for (const char* formula : {"y ~ I(b = 'Yes')", "y ~ I('T' <> b)", "y ~ I(b in ('no'))"}) {
    EXPECT_EQ(message(formula), "") << formula;
  }
  EXPECT_EQ(message("y ~ I(x * pi)").substr(0, 76),
            "There is no column 'pi' in query; write pi() for the constant. @10");
  EXPECT_EQ(message("y ~ I(b = x)"), "");
  EXPECT_EQ(message("y ~ I(d > '2024-01-01')"), "");
  EXPECT_EQ(message("y ~ I(l = l)"),
            "'l' is a list or structure, which a formula cannot compare; compute the value in "
            "--sql. @6");
  EXPECT_EQ(message("y ~ I(l + 1)"), "'+' takes a number here, but 'l' is a list or structure. @6");
  EXPECT_EQ(message("y ~ date_part('era', d)"),
            "date_part() takes a unit of time here, which is 'year', 'quarter', 'month', 'week', "
            "'day', 'hour', 'minute' or 'second'. @14");
  EXPECT_EQ(message("y ~ strftime(d, s)"),
            "strftime() takes a format in quotes here, such as '%Y-%m-%d'. @16");
}

}  // namespace
}  // namespace qvhost
