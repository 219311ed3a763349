// Expressions that are refused: the words and the place of the caret.
#include <cstddef>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "host/formula/Formula.h"
#include "host/formula/FormulaError.h"
#include "host/formula/PortableDialect.h"
#include "tests/host/formula/FormulaText.h"

namespace qvhost {
namespace {

/// The expression stands behind "y ~ "; the caret goes under its first `@`, which is no part of it.
void ExpectError(std::string marked, const std::string& sentence) {
  const std::size_t at = marked.find('@');
  ASSERT_NE(at, std::string::npos) << marked;
  const std::string formula = "y ~ " + marked.erase(at, 1);
  EXPECT_EQ(ErrorOf(formula), Expected(sentence, formula, at + 4));
}

const std::string kQuery =
    "A formula holds no query: it computes each value from one record; use --sql.";
const std::string kOtherRecords =
    "A formula computes each value from one record; compute what needs others in --sql.";
const std::string kLists =
    "A formula has no lists, structures or functions of its own making; compute the value in "
    "--sql.";
const std::string kIsNull =
    "'is' asks for missing values, but a variable is missing wherever a part of it is; ask for "
    "them in --sql.";
const std::string kNull =
    "A formula has no NULL; nullif(x, -99) makes a value missing, and if(...) needs two values.";
const std::string kTypes =
    "A type is one of double, float, decimal(width, scale), integer, bigint, text, boolean, date, "
    "time and timestamp.";
const std::string kList =
    "A list after 'in' holds numbers and texts alone, with commas between them.";

std::string Meaningless(const std::string& sign) {
  return "'" + sign + "' has no meaning in a formula; put a name that holds it in back-quotes.";
}

std::string NoOperator(const std::string& name) {
  return "An operator such as '+' is missing before '" + name +
         "'; a name with blanks stands in back-quotes.";
}

TEST(ExpressionErrors, AnEmptyExpressionHasNoTokenBeforeItsEnd) {
  for (const std::string text : {"", " "}) {
    try {
      static_cast<void>(ParseExpression(text, {}, kPortableDialect));
      ADD_FAILURE() << "no error";
    } catch (const FormulaError& error) {
      EXPECT_EQ(error.what(),
                Expected("The expression is empty; write one such as x + 1.", text, text.size()));
    }
  }
}

TEST(ExpressionErrors, ATildeIsNoNegation) {
  EXPECT_EQ(ConditionErrorOf("not (a < 1) and ~(x > 0)"),
            Expected("Write 'not' for '~'.", "not (a < 1) and ~(x > 0)", 16));
  ExpectError("I(@~(x > 0))", "Write 'not' for '~'.");
}

TEST(ExpressionErrors, Queries) {
  ExpectError("I(length((@select content from read_text('/etc/hostname'))) + x)", kQuery);
  ExpectError("I((@select max(x) from t))", kQuery);
  ExpectError("I((@SELECT * from t))", kQuery);
  ExpectError("I(@select 1)", kQuery);
  ExpectError("I(x @from t)", kQuery);
  const std::string exists =
      "exists() belongs to a query, but a formula computes each value from one record; compute it "
      "in --sql.";
  ExpectError("I(@exists (select 1))", exists);
  ExpectError("I(x = @any(select 1))",
              "any() belongs to a query, but a formula computes each value from one record; "
              "compute it in --sql.");
  ExpectError("I(x in (@select 1))", kList);
  ExpectError("I(x in (@(select 1)))", kList);
  ExpectError("I(x @union select 1)", NoOperator("union"));
  ExpectError("I(x @order by x)", NoOperator("order"));
}

TEST(ExpressionErrors, OtherRecords) {
  const std::string aggregate =
      " works on many records, but a formula computes each value from one record; compute it in "
      "--sql.";
  ExpectError("@sum(x)", "sum()" + aggregate);
  ExpectError("I(x - @AVG(x))", "AVG()" + aggregate);
  ExpectError("@count(*)", "count()" + aggregate);
  ExpectError("@count(distinct x)", "count()" + aggregate);
  ExpectError("@row_number() over ()", "row_number()" + aggregate);
  ExpectError("@max(x)",
              "max() works on many records; of the values of one record, write least() or "
              "greatest().");
  ExpectError("I(abs(x) @over (order by x))", kOtherRecords);
  ExpectError("I(abs(x) @filter (where x > 1))", kOtherRecords);
  ExpectError("abs(@distinct x)", kOtherRecords);
  const std::string several =
      " makes several values of one, but a formula computes one value for each record; compute it "
      "in --sql.";
  ExpectError("@unnest([y,y,y])", "unnest()" + several);
  ExpectError("@columns('x')", "columns()" + several);
  ExpectError("@COLUMNS(*)", "COLUMNS()" + several);
  ExpectError("@generate_series(1, x)", "generate_series()" + several);
}

TEST(ExpressionErrors, WhatIsNotOfTheRecord) {
  const auto unknown = [](const std::string& name) {
    return "A formula has no function '" + name + "'; 'qvreg fit --help' lists those it has.";
  };
  ExpectError("length(@read_text('/etc/hostname'))", unknown("read_text"));
  ExpectError("I(length(@getenv('HOME')) + x)", unknown("getenv"));
  ExpectError("I(@current_setting('threads') || x)", unknown("current_setting"));
  ExpectError("I(@nextval('s') + x)", unknown("nextval"));
  ExpectError("@system.main.abs(x)", unknown("system.main.abs"));
  const std::string changing =
      " gives another value each time, but a formula computes each value from the record alone.";
  ExpectError("I(x + @random())", "random()" + changing);
  ExpectError("I(epoch(@now()) - x)", "now()" + changing);
  ExpectError("I(date @'now' < d)",
              "A date is written as '2024-01-31', a time as '23:59:00', a timestamp as "
              "'2024-01-31 23:59:00'.");
}

TEST(ExpressionErrors, UnknownFunctions) {
  ExpectError(
      "abs(@sqr(x))",
      "A formula has no function 'sqr'; did you mean 'sqrt'? 'qvreg fit --help' lists all.");
  ExpectError("@x(a)", "A formula has no function 'x'; 'qvreg fit --help' lists those it has.");
}

TEST(ExpressionErrors, NumbersOfArguments) {
  ExpectError("@sqrt()", "This call has too few arguments; write sqrt(x).");
  ExpectError("@sqrt(x, 2)", "This call has too many arguments; write sqrt(x).");
  ExpectError("@log(2, x)",
              "This call has too many arguments; write log2(x), log10(x), or ln(x) / ln(b) for "
              "another base b.");
  ExpectError("I(1 + @pow(x))", "This call has too few arguments; write pow(x, y).");
  ExpectError("@round(x, 1, 2)", "This call has too many arguments; write round(x[, digits]).");
  ExpectError("@greatest(x)", "This call has too few arguments; write greatest(x, y, ...).");
  ExpectError("@if(x, 1)", "This call has too few arguments; write if(condition, x, y).");
}

TEST(ExpressionErrors, MissingValues) {
  const std::string fills =
      "() fills or finds missing values, but a variable is missing wherever a part of it is; do so "
      "in --sql.";
  ExpectError("@coalesce(x, 0)", "coalesce" + fills);
  ExpectError("@ifnull(x, 0)", "ifnull" + fills);
  ExpectError("I(x @is null)", kIsNull);
  ExpectError("I(x @IS NOT NULL)", kIsNull);
  ExpectError("I(x @is distinct from a)", kIsNull);
  ExpectError("I(x = @null)", kNull);
  ExpectError("if(x > 1, @null, 1)", kNull);
  ExpectError("I(x in (@null))", kList);
}

TEST(ExpressionErrors, ListsAndStructures) {
  ExpectError("I(@[x])", kLists);
  ExpectError("I(x@[1])", kLists);
  ExpectError("I(x::int@[])", kLists);
  ExpectError("I(@{'a': x})", Meaningless("{"));
  ExpectError("abs(a @-> a)", kLists);
  ExpectError("I((x@, z))",
              "',' separates the arguments of a call; these parentheses hold one value.");
  ExpectError("abs(x @:= 1)",
              "':' has no meaning inside an expression; compute the value in --sql.");
}

TEST(ExpressionErrors, CommentsParametersAndQuotes) {
  ExpectError("abs(x) -@- comment", "'-' has no term before it; write one there.");
  ExpectError("abs(x /@* comment */)", "'*' has no operand before it; write one there.");
  ExpectError("abs(@$1)", Meaningless("$"));
  ExpectError("abs(@?)", Meaningless("?"));
  ExpectError("abs(x)@; select 1", Meaningless(";"));
  const std::string typed =
      "Only date, time and timestamp may stand before a text, as in date '2024-01-31'.";
  ExpectError("I(x = @E'a')", typed);
  ExpectError("I(x = @x'41')", typed);
  ExpectError("I(@interval '1' day)", typed);
  ExpectError("I(x = @‘a’)",
              "'‘' (U+2018) has no meaning in a formula; write ' for a text and ` for a column, or "
              "put a name that holds it in back-quotes.");
  ExpectError("I(x = @\"a\")", "A text stands in single quotes here; write x = 'a'.");
}

TEST(ExpressionErrors, Types) {
  ExpectError("I(x::@mood)", kTypes);
  ExpectError("I(x::@main.mood)", kTypes);
  ExpectError("I(x::@ENUM('a'))", kTypes);
  ExpectError("cast(x as @STRUCT(a int))", kTypes);
  ExpectError("cast(x as @(select 1))", kTypes);
  ExpectError("cast(x as@)", kTypes);
  ExpectError("I(x@::)", kTypes);
  ExpectError("I(x::@`double`)", kTypes);
  ExpectError("I(x::@timestamptz)", kTypes);
  ExpectError("I(x::timestamp @with time zone)",
              "A formula has no type with a time zone, which the machine would settle; write "
              "timestamp.");
  const std::string width =
      "A decimal has a width from 1 to 38 and a scale up to it: decimal(10, 2).";
  for (const char* const bad : {"(0)", "(39, 2)", "(5, 6)", "(5, 2, 1)", "(x)", "('5')", "()",
                                "(5,)", "(-5)", "(99999999999999999999)"}) {
    ExpectError("I(x::decimal@" + std::string(bad) + ")", width);
  }
  ExpectError("I(x::double@(5))", NoOperator("("));
  ExpectError("cast(x@, double)", "'as' is missing here; write cast(x as double).");
}

TEST(ExpressionErrors, Operators) {
  ExpectError("I(x @+)", "'+' has no operand after it; write one there.");
  ExpectError("I(@* x)", "'*' has no operand before it; write one there.");
  ExpectError("I(x * @* x)", "'*' has no operand before it; write one there.");
  ExpectError("abs((x @-) * 2)", "'-' has no operand after it; write one there.");
  ExpectError("abs(x@,)", "',' has no operand after it; write one there.");
  ExpectError("abs(@, x)", "',' has no operand before it; write one there.");
}

TEST(ExpressionErrors, WordsOutOfPlace) {
  ExpectError("I(x @a)", NoOperator("a"));
  ExpectError("I(1 @x)", NoOperator("x"));
  ExpectError("I(x @collate nocase)", NoOperator("collate"));
  ExpectError("I(x @then)",
              "'then' has no meaning here; put a column of this name in back-quotes.");
  ExpectError("I(@end)", "'end' has no meaning here; put a column of this name in back-quotes.");
  ExpectError("I(x like 'a' @escape '$')",
              "'escape' has no meaning here; put a column of this name in back-quotes.");
  ExpectError("I(x @& a)", "Write 'and' for '&'.");
  ExpectError("I(x @| a)", "Write 'or' for '|'.");
  ExpectError("I(@!x)", "Write 'not' for '!'.");
  ExpectError("I(x @<< 1)", "A formula has no operators on bits; compute the value in --sql.");
  ExpectError("I(x @%in% a)", "'%in%' stands between terms; write x in (1, 2) to look up a list.");
}

TEST(ExpressionErrors, Comparisons) {
  const std::string chain =
      "One comparison follows another; join them with 'and', as in 1 < x and x < 2.";
  ExpectError("I(1 < x @< 2)", chain);
  ExpectError("I(x = 1 @= 2)", chain);
  ExpectError("I(x between @1)", "'and' is missing here; write x between 1 and 2.");
  ExpectError("I(x between 1 @or 2)", "'and' is missing here; write x between 1 and 2.");
  ExpectError("I(x @in 1)",
              "'in' takes a list of numbers or texts in parentheses, as in x in (1, 2).");
  ExpectError("I(x in (@))", kList);
  ExpectError("I(x in (1,@))", kList);
  ExpectError("I(x in (1, @x))", kList);
  ExpectError("I(x in (1 @+ 2))", kList);
  ExpectError("I(x in (-@'a'))", kList);
}

TEST(ExpressionErrors, Cases) {
  const auto missing = [](const std::string& word) {
    return "'" + word + "' is missing here; write case when x > 0 then 1 else 0 end.";
  };
  ExpectError("I(case x @then 1 end)", missing("when"));
  ExpectError("I(case when x @1 end)", missing("then"));
  ExpectError("I(case when x then @1)", missing("else"));
  ExpectError("I(case when x then 1 else @2)", missing("end"));
  ExpectError("I(case when x then 1 @end)",
              "This 'case' says nothing of the other records; put an 'else' before its 'end'.");
  ExpectError("@case when x then 1 else 2 end",
              "A 'case' expression stands in I(...); put it there.");
}

TEST(ExpressionErrors, Numbers) {
  const std::string range = "This number is too large or too small; write one within 1e±308.";
  ExpectError("I(@1e400 + x)", range);
  ExpectError("I(x * @1e-400)", range);
}

// DuckDB would make millions of copies of the innermost part.
TEST(ExpressionErrors, CopiesAreLimited) {
  const std::string text =
      "Too many 'nullif' or 'case' stand inside each other; compute a part of this in --sql.";
  std::string nullifs = "x";
  for (int i = 0; i < 8; ++i) nullifs = "nullif(" + nullifs + ", 1)";
  EXPECT_EQ(ErrorOf("y ~ " + nullifs), "no error");
  EXPECT_EQ(ErrorOf("y ~ nullif(" + nullifs + ", 1)").rfind(text, 0), 0U);
  std::string cases = "x";
  for (int i = 0; i < 8; ++i) cases = "case " + cases + " when 1 then 1 when 2 then 2 else 3 end";
  EXPECT_EQ(ErrorOf("y ~ I(" + cases + ")"), "no error");
  EXPECT_EQ(
      ErrorOf("y ~ I(case " + cases + " when 1 then 1 when 2 then 2 else 3 end)").rfind(text, 0),
      0U);
}

TEST(ExpressionErrors, DepthIsLimited) {
  const std::string deep =
      "More than 200 operators and calls stand inside each other; compute a part of this in --sql.";
  const auto repeat = [](const std::string& text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) all += text;
    return all;
  };
  const auto isDeep = [&](const std::string& formula) {
    return ErrorOf(formula).rfind(deep + "\n", 0) == 0;
  };
  EXPECT_EQ(ErrorOf("y ~ I(x" + repeat(" + x", 199) + ")"), "no error");
  EXPECT_TRUE(isDeep("y ~ I(x" + repeat(" + x", 201) + ")"));
  EXPECT_TRUE(isDeep("y ~ I(" + repeat("- ", 100'000) + "x)"));
  EXPECT_TRUE(isDeep("y ~ I(" + repeat("not ", 100'000) + "x)"));
  EXPECT_TRUE(isDeep("y ~ I(" + repeat("x^", 100'000) + "x)"));
  EXPECT_TRUE(isDeep("y ~ I(" + repeat("x and ", 100'000) + "x)"));
  EXPECT_TRUE(isDeep("y ~ I(x" + repeat("::int", 100'000) + ")"));
  EXPECT_TRUE(isDeep("y ~ I(" + repeat("case when ", 100'000) + "x)"));
}

}  // namespace
}  // namespace qvhost
