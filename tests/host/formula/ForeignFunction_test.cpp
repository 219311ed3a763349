// Functions as R and Python call them: what they mean here, or what to write instead.
#include "host/formula/ForeignFunction.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "host/formula/FormulaFunction.h"
#include "tests/host/formula/FormulaText.h"

namespace qvhost {
namespace {

/// The SQL of the only variable on the right of "y ~ ...".
std::string SqlOf(std::string_view right) { return Only(right).sql; }

TEST(ForeignFunction, NamesOfROnesMeanOurs) {
  EXPECT_EQ(SqlOf("ifelse(x > 1, 1, 0)"), SqlOf("if(x > 1, 1, 0)"));
  EXPECT_EQ(SqlOf("if_else(x > 1, 1, 0)"), SqlOf("if(x > 1, 1, 0)"));
  EXPECT_EQ(SqlOf("pmin(x, 3)"), SqlOf("least(x, 3)"));
  EXPECT_EQ(SqlOf("PMAX(x, 3)"), SqlOf("greatest(x, 3)"));
  EXPECT_EQ(ParseFormula("y ~ pmax(x, 3)").variables.at(0).label, "pmax(x, 3)");
}

TEST(ForeignFunction, NamesOfPythonModulesMeanOurs) {
  for (const std::string name : {"log", "exp", "sqrt", "log10", "log2", "log1p", "expm1", "abs"}) {
    EXPECT_EQ(SqlOf("np." + name + "(x)"), SqlOf(name + "(x)")) << name;
    EXPECT_EQ(OwnFunctionName("numpy." + name), name);
  }
  EXPECT_EQ(SqlOf("math.log(x)"), SqlOf("ln(x)"));
  EXPECT_EQ(SqlOf("np.arctan2(x, z)"), SqlOf("atan2(x, z)"));
  EXPECT_EQ(SqlOf("np.maximum(x, z)"), SqlOf("greatest(x, z)"));
  EXPECT_EQ(SqlOf("np.where(x > z, 1, 0)"), SqlOf("if(x > z, 1, 0)"));
  EXPECT_EQ(ParseFormula("y ~ np.log(x) + log(x) + ln(x)").variables.size(), 1U);
}

// numpy rounds halves to even, and its remainder has the sign of the divisor.
TEST(ForeignFunction, APythonFunctionOfOtherValuesIsNone) {
  EXPECT_EQ(OwnFunctionName("np.round"), "np.round");
  EXPECT_EQ(OwnFunctionName("np.mod"), "np.mod");
  EXPECT_EQ(FindFunction(OwnFunctionName("np.left")), nullptr);
  EXPECT_EQ(FindFunction(OwnFunctionName("pd.log")), nullptr);
  EXPECT_EQ(
      NoFunctionText("np.round"),
      "np.round() is written round_even(x, 0) here, with the digits behind the point; round(x) "
      "rounds halves away from zero.");
}

TEST(ForeignFunction, SuggestsTheNearestName) {
  const auto nearest = [](std::string_view name) {
    const std::string text = NoFunctionText(name);
    const std::size_t from = text.find("did you mean '");
    if (from == std::string::npos) return std::string();
    const std::size_t begin = from + std::string_view("did you mean '").size();
    return text.substr(begin, text.find('\'', begin) - begin);
  };
  EXPECT_EQ(nearest("sqr"), "sqrt");
  EXPECT_EQ(nearest("SQTR"), "sqrt");
  EXPECT_EQ(nearest("lenght"), "length");
  EXPECT_EQ(nearest("raound"), "round");
  EXPECT_EQ(nearest("date_trunk"), "date_trunc");
  EXPECT_EQ(nearest("read_text"), "");
  EXPECT_EQ(nearest("f"), "");
  EXPECT_EQ(nearest(std::string(100'000, 'x')), "");
  EXPECT_EQ(NoFunctionText("read_text"),
            "A formula has no function 'read_text'; 'qvreg fit --help' lists those it has.");
  EXPECT_EQ(NoFunctionText("sqr"),
            "A formula has no function 'sqr'; did you mean 'sqrt'? 'qvreg fit --help' lists all.");
}

TEST(ForeignFunction, WhatAFormulaHasNotSaysWhatToWrite) {
  ExpectError("y ~ a + offset(x)", 8,
              "offset() is no term here; in a linear model subtract it from the dependent, as in "
              "I(y - x) ~ a. A logistic model has no offset.");
  const std::string curve =
      "() makes a curve of several pieces, which a formula does not; write poly(x, 3), or "
      "x + greatest(x - 40, 0) for a line that bends at 40.";
  for (const std::string name : {"ns", "bs", "cr", "s", "te"}) {
    ExpectError("y ~ a + " + name + "(x, df=3)", 8, name + curve);
  }
  ExpectError(
      "cbind(n, m) ~ x", 0,
      "cbind() joins columns, but the dependent is one column. For dead of n make two rows of "
      "each: --sql \"SELECT *, 1 AS y, dead AS w FROM data UNION ALL SELECT *, 0, n - dead FROM "
      "data\" with --formula 'y ~ dose' --freq-weight w --model logistic.");
  ExpectError(
      "y ~ cut(x, 4)", 4,
      "cut() is written with its limits here, as in I(case when x < 10 then 'low' else 'high' "
      "end).");
  ExpectError(
      "y ~ I(x - mean(x))", 10,
      "mean() works on many records; center(x) is x less its mean, scale(x) divides that by the "
      "standard deviation. Compute anything else in --sql.");
  ExpectError(
      "y ~ ordered(x)", 4,
      "ordered() makes contrasts that are polynomials, which a formula does not; write C(x) for "
      "a factor.");
  ExpectError("y ~ I(x in c(1, 2))", 8,
              "'in' takes a list of numbers or texts in parentheses, as in x in (1, 2).");
  ExpectError(
      "y ~ if(is.na(x), 0, x)", 7,
      "is.na() fills or finds missing values, but a variable is missing wherever a part of it "
      "is; do so in --sql.");
  ExpectError("y ~ Q(x)", 4, "Q() takes the name of a column in quotes: Q('odd name').");
  ExpectError(
      "y ~ as.numeric(x)", 4,
      "as.numeric() is written cast(x as double) here, or I(x - date '1970-01-01') for the days "
      "of a date.");
  ExpectError("y ~ interaction(a, b)", 4, "interaction() is written C(a):C(b) here.");
  const std::string named =
      "Arguments have no names here; write log2(x), log10(x), or ln(x) / ln(b) for another base b.";
  ExpectError("y ~ log(x, base = 10)", 11, named);
  ExpectError("y ~ log(x = a)", 8, named);
  ExpectError("y ~ round(x, digits = 2)", 13,
              "Arguments have no names here; write round(x[, digits]).");
  EXPECT_NO_THROW(static_cast<void>(ParseFormula("y ~ if(a = 1, x, 0)"))) << "a comparison";
}

TEST(ForeignFunction, WhatIsCalledOtherwiseIsNamed) {
  ExpectError("y ~ weekdays(d)", 4, "weekdays() is called dayname() here.");
  ExpectError("y ~ str(x)", 4, "str() is written cast(x as text) here.");
  ExpectError("y ~ sub('a', 'b', s)", 4, "sub() is written regexp_replace(s, pattern, to) here.");
  ExpectError("y ~ grepl('a', s)", 4,
              "grepl() is written regexp_matches(s, pattern) here, or contains(s, part) for a text "
              "that is no pattern.");
  ExpectError("y ~ case_when(x > 0, 1)", 4,
              "case_when() is written case when x > 0 then 'up' else 'down' end here.");
  ExpectError("y ~ Treatment('a')", 4,
              "Treatment() stands inside C() alone, as in C(x, Treatment('a')).");
  for (const std::string name : {"signif", "gsub", "is.finite", "np.clip", "np.mod"}) {
    EXPECT_TRUE(NoFunctionText(name).starts_with(name + "() ")) << NoFunctionText(name);
  }
  EXPECT_EQ(NoFunctionText("np.square"), "np.square() is written pow(x, 2) here.");
  EXPECT_EQ(ConstantCall("np.pi"), "pi()");
  EXPECT_EQ(ConstantCall("pi"), "pi()");
  EXPECT_EQ(ConstantCall("pie"), "");
  EXPECT_EQ(SqlOf("round_even(x, 1)"), "round_even(\"x\", 1)");
}

TEST(ForeignFunction, OperatorsOfR) {
  const std::string remainder = "'%%' is written mod(a, b) here; the result has the sign of a.";
  ExpectError("y ~ I(a %% 2)", 8, remainder);
  ExpectError("y ~ a %% 2", 6, remainder);
  ExpectError("y ~ a %/% 2", 6, "'%/%' is written floor(a / b) here.");
  ExpectError("y ~ mtcars$mpg + b", 10, "A column is named here without its table: write mpg.");
  ExpectError("y ~ mtcars$ + b", 10,
              "'$' has no meaning in a formula; put a name that holds it in back-quotes.");
  EXPECT_NO_THROW(static_cast<void>(ParseFormula("y ~ I(a % 2)")));
  ExpectError(
      "y ~ standardize(x)", 4,
      "standardize() is called scale() here; it divides by the standard deviation with n - 1.");
}

TEST(ForeignFunction, RandomEffectsAreNotFitted) {
  const std::string sentence =
      "Random effects are not fitted; in place of this write C(g), an effect of each group.";
  ExpectError("y ~ x + (1|g)", 10, sentence);
  ExpectError("y ~ x + 1 | g", 10, sentence);
  ExpectError("y ~ (x || g)", 7, sentence);
}

TEST(ForeignFunction, ATestForMissingValuesInACondition) {
  EXPECT_EQ(
      ConditionErrorOf("not is.na(age)"),
      Expected("Write age is null, or age is not null for the opposite.", "not is.na(age)", 4));
  for (const std::string name : {"is.null", "is_null", "isnull", "ISNA", "is_na"}) {
    EXPECT_EQ(
        ConditionErrorOf(name + "(age)"),
        Expected("Write age is null, or age is not null for the opposite.", name + "(age)", 0));
    EXPECT_TRUE(NoFunctionText(name).starts_with(name + "() fills or finds missing values, but"));
  }
  EXPECT_EQ(ConditionErrorOf("coalesce(age, 1) > 0"),
            Expected(NoFunctionText("coalesce"), "coalesce(age, 1) > 0", 0));
  EXPECT_EQ(ConditionErrorOf("age is null"), "no error");
}

}  // namespace
}  // namespace qvhost
