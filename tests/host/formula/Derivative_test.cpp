// Derivatives of formula functions, against difference quotients that DuckDB computes.

#include "host/formula/Derivative.h"

#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "host/Text.h"
#include "host/formula/Formula.h"
#include "host/table/Connection.h"
#include "host/table/ScalarFunctions.h"

namespace qvhost {
namespace {

/// The only variable of `y ~ term`; columns are numbers but for `t`, a text.
Variable VariableOf(const std::string& term) {
  const std::string text = "y ~ " + term;
  const auto lookup = [](const std::string& name, Place) {
    return FoundColumn{name, QuoteName(name), name == "t" ? ValueKind::kText : ValueKind::kNumber};
  };
  return ParseFormula(text, lookup).variables.front();
}

class Derivative : public ::testing::Test {
 protected:
  Derivative() { RegisterMathFunctions(connection_); }

  [[nodiscard]] double Evaluate(const std::string& sql, double x, double z) {
    const auto rows = connection_.Rows(
        fmt::format("SELECT CAST({} AS DOUBLE) FROM (SELECT CAST({:.17g} AS DOUBLE) AS x, "
                    "CAST({:.17g} AS DOUBLE) AS z, 'abc' AS t)",
                    sql, x, z));
    return std::stod(rows.at(0).at(0).value());
  }

  /// Sixth-order central difference of the variable's own SQL.
  [[nodiscard]] double Quotient(const std::string& sql, double x, double z) {
    constexpr double h = 0x1p-8;
    const auto at = [&](double shift) { return Evaluate(sql, x + shift * h, z); };
    return (45.0 * (at(1) - at(-1)) - 9.0 * (at(2) - at(-2)) + (at(3) - at(-3))) / (60.0 * h);
  }

  Connection connection_;
};

TEST_F(Derivative, OfEachFunctionIsTheLimitOfQuotients) {
  for (const std::string term : {"abs(x)",
                                 "ln(x)",
                                 "log(x)",
                                 "log10(x)",
                                 "log2(x)",
                                 "log1p(x)",
                                 "exp(x)",
                                 "expm1(x)",
                                 "sqrt(x)",
                                 "cbrt(x)",
                                 "pow(x, 3)",
                                 "pow(2, x)",
                                 "pow(x, z)",
                                 "pow(z, x)",
                                 "pow(x, x)",
                                 "sin(x)",
                                 "cos(x)",
                                 "tan(x)",
                                 "cot(x)",
                                 "asin(x)",
                                 "acos(x)",
                                 "atan(x)",
                                 "atan2(x, z)",
                                 "atan2(z, x)",
                                 "sinh(x)",
                                 "cosh(x)",
                                 "tanh(x)",
                                 "asinh(x)",
                                 "acosh(x + 1)",
                                 "atanh(x)",
                                 "degrees(x)",
                                 "radians(x)",
                                 "I(x + z)",
                                 "I(z - x)",
                                 "I(x * z)",
                                 "I(x / z)",
                                 "I(z / x)",
                                 "I(-x)",
                                 "I(2 * x - 3)",
                                 "I(x * x * x)",
                                 "I(x / (1 + x))",
                                 "I((x - 1) * (x + z) / z)",
                                 "log(x + z)",
                                 "exp(-x / 9)",
                                 "I(sqrt(x) * exp(-z * x))",
                                 "scale(log(x))",
                                 "center(x)",
                                 "I(x::double + 1)",
                                 "I(pi() * x)",
                                 "I(length(t) * x)",
                                 "sqrt(pow(x, 2) + pow(z, 2))"}) {
    const Variable variable = VariableOf(term);
    const std::optional<std::string> slope = DerivativeSql(variable, "x");
    ASSERT_TRUE(slope) << term;
    for (const double x : {0.25, 0.5, 0.75}) {
      const double expected = Quotient(variable.sql, x, 1.5);
      EXPECT_NEAR(Evaluate(*slope, x, 1.5), expected, 1e-9 * (1.0 + std::abs(expected))) << term;
    }
  }
}

TEST_F(Derivative, OfAColumnIsOne) {
  EXPECT_EQ(DerivativeSql(VariableOf("x"), "x"), "1");
  EXPECT_EQ(DerivativeSql(VariableOf("scale(x)"), "x"), "1");
  EXPECT_EQ(DerivativeSql(VariableOf("I(x + z)"), "x"), "1");
}

TEST_F(Derivative, OfWhatHasNoRuleIsNone) {
  for (const std::string term :
       {"round(x)", "floor(x)", "sign(x)", "I(x // 2)", "I(x % 2)", "mod(x, 2)", "greatest(x, z)",
        "if(x > 1, x, z)", "I(case when x > 1 then z else x end)", "I(cast(x as integer) + x)",
        "nullif(x, 3)", "I(z + round(x) * 2)", "log(floor(x))"}) {
    EXPECT_EQ(DerivativeSql(VariableOf(term), "x"), std::nullopt) << term;
  }
  EXPECT_TRUE(DerivativeSql(VariableOf("I(z + round(x))"), "z"));
  EXPECT_EQ(DerivativeSql(VariableOf("length(t)"), "t"), std::nullopt);
}

TEST_F(Derivative, TakesNamesAsTheyAre) {
  Variable variable = VariableOf("log(`a \"b) - (` * z)");
  EXPECT_TRUE(DerivativeSql(variable, "z"));
  EXPECT_EQ(DerivativeSql(variable, "a"), std::nullopt);
}

}  // namespace
}  // namespace qvhost
