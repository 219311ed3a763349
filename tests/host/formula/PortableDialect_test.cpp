#include "host/formula/PortableDialect.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "host/formula/Formula.h"
#include "host/table/ScalarFunctions.h"
#include "tests/host/table/SqliteMaker.h"
#include "tests/host/table/SqliteReader.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

using Cells = std::vector<std::optional<std::string>>;

/// Values without ties of rounding, and where every function below is defined.
constexpr const char* kValues =
    "(1, 0.25, 3.5, 7, 'Ab c', 1, '2020-01-02'), (2, 0.875, 0.001, -4, 'it''s', 0, '2021-12-31'), "
    "(3, 1e-9, 12345.678, 12, ' x ', 1, '1999-02-28'), (4, 0.5, 2.0, 1, 'abc', 0, '2000-02-29')";
constexpr const char* kTable =
    "CREATE TABLE t (id INTEGER, x DOUBLE, y DOUBLE, i INTEGER, s TEXT, b {}, d {}); "
    "INSERT INTO t VALUES ";

FoundColumn Found(const std::string& name, bool isPortable) {
  const std::string sql = QuoteName(name);
  if (name == "s") return {name, sql, ValueKind::kText};
  if (name == "b") return {name, isPortable ? "(b = 1)" : sql, ValueKind::kBoolean};
  if (name == "d") return {name, sql, ValueKind::kDateTime};
  return {name, isPortable ? AsDouble(sql) : sql, ValueKind::kNumber};
}

Variable Portable(const std::string& expression) {
  return ParseExpression(
      expression, [](const std::string& name, Place) { return Found(name, true); },
      kPortableDialect);
}

std::string SqlOf(const std::string& expression) { return Portable(expression).sql; }

class PortableExpressions : public TableTest, public testing::WithParamInterface<const char*> {};

/// That one is the other but for rounding, or the same text.
void ExpectSame(const Cells& found, const Cells& expected) {
  ASSERT_TRUE(found[0].has_value() && expected[0].has_value());
  char* end = nullptr;
  const double number = std::strtod(expected[0]->c_str(), &end);
  if (*end != '\0') {
    EXPECT_EQ(found[0], expected[0]);
    return;
  }
  EXPECT_NEAR(std::atof(found[0]->c_str()), number, 4e-15 * std::abs(number));
}

TEST_P(PortableExpressions, MeanTheSameInBothDatabases) {
  Connection duckDb;
  RegisterMathFunctions(duckDb);
  duckDb.Execute(fmt::format(fmt::runtime(kTable), "BOOLEAN", "DATE") + kValues);
  // Integers where DuckDB has booleans.
  Connection plain;
  plain.Execute(fmt::format(fmt::runtime(kTable), "INTEGER", "TEXT") + kValues);
  const std::string file = Path("t.sqlite");
  WriteSqlite(file, fmt::format(fmt::runtime(kTable), "INTEGER", "TEXT") + kValues);
  const auto lookup = [](const std::string& name, Place) { return Found(name, false); };
  const std::string own = ParseExpression(GetParam(), lookup, kDuckDbDialect).sql;
  const auto value = [](const std::string& sql) {
    return "SELECT CASE WHEN (" + sql + ") IS NULL THEN NULL ELSE " + sql +
           " END FROM t ORDER BY id";
  };
  const auto expected = duckDb.Rows("SELECT (" + own + ")::VARCHAR FROM t ORDER BY id");
  const auto inDuckDb = plain.Rows(value(SqlOf(GetParam())));
  const auto inSqlite = SqliteRows(file, value(SqlOf(GetParam())));
  ASSERT_EQ(inDuckDb.size(), 4U);
  ASSERT_EQ(inSqlite.size(), 4U);
  for (std::size_t i = 0; i < expected.size(); ++i) {
    SCOPED_TRACE(SqlOf(GetParam()) + " in row " + std::to_string(i + 1));
    ExpectSame(inDuckDb[i], expected[i]);
    ExpectSame(inSqlite[i], expected[i]);
  }
}

INSTANTIATE_TEST_SUITE_P(
    , PortableExpressions,
    testing::Values(
        "abs(x - 1)", "sign(i)", "round(y)", "floor(y)", "ceil(y)", "ceiling(x)", "trunc(-y)",
        "mod(y, x + 1)", "i % 5", "i // 5", "i / 2", "-x^2", "2^3^x", "x + y * 3 - 1.5",
        "least(x, y, i)", "greatest(x, y)", "least(greatest(x, 0.3), 0.6)", "ln(y)", "log(x)",
        "log10(y)", "log2(y)", "log1p(x)", "exp(x)", "expm1(x)", "sqrt(y)", "cbrt(i)",
        "power(y, 1.5)", "sin(x)", "cos(x)", "tan(x)", "cot(x + 0.5)", "asin(x / 2)", "acos(x / 2)",
        "atan(x)", "atan2(x, y)", "sinh(x)", "cosh(x)", "tanh(x)", "asinh(x)", "acosh(x + 1.5)",
        "atanh(x / 2)", "degrees(x)", "radians(y)", "x * pi()", "lower(s)", "upper(s)", "trim(s)",
        "ltrim(s)", "rtrim(s)", "length(s)", "left(s, 2)", "substring(s, 2)", "substr(s, 2, 1)",
        "replace(s, 'b', 'dd')", "s || '!'", "concat(s, '-', lower(s))",
        "if(starts_with(s, 'ab'), 1, 2)", "if(x > 0.3, 'a', 'b')", "if(b, x, y)",
        "if(i - 1, 'some', 'none')", "if(b = true, 1, 0)", "if(b = 'no', 1, 0)", "if(b = 1, 3, 4)",
        "if(not b and x > 0.1 or i in (7, 12), 'in', 'out')", "if(x between 0.2 and 0.6, 1, 0)",
        "if(s in ('abc', 'it''s'), s, 'other')", "nullif(x, 0)", "cast(i as double)",
        "cast(b as double) + 1", "cast(nullif(i, -99) as double)",
        "case when x > 0.6 then 'up' when i then 'some' else 'none' end",
        "case i when 7 then 'seven' else 'other' end"),
    [](const auto& test) { return "Expression" + std::to_string(test.index); });

TEST(PortableDialect, RefusesWhatDatabasesDoNotShare) {
  const std::vector<std::pair<std::string, std::string>> wrong = {
      {"year(d)", "'year'"},
      {"strftime(d, '%Y')", "'strftime'"},
      {"if(d > date '2020-01-01', 1, 0)", "'date'"},
      {"round(x, 2)", "'round'"},
      {"left(s, i)", "'left'"},
      {"left(s, -1)", "'left'"},
      {"if(s like 'a%', 1, 0)", "'LIKE'"},
      {"s || x", "'||'"},
      {"concat(s, x)", "'concat'"},
      {"cast(s as double)", "'cast'"},
      {"try_cast(s as double)", "'try_cast'"},
      {"x::integer", "'cast'"},
      {"regexp_matches(s, 'a+')", "'regexp_matches'"},
  };
  for (const auto& [expression, named] : wrong) {
    try {
      ADD_FAILURE() << expression << " is " << SqlOf(expression);
    } catch (const FormulaError& error) {
      const std::string message = error.what();
      EXPECT_NE(message.find("There is no form of " + named + " that all SQL databases share"),
                std::string::npos)
          << expression << ": " << message;
    }
  }
}

TEST(PortableDialect, KeepsGapsAndBoundsTheLengthOfTheText) {
  const Variable variable = Portable("nullif(x, -99) + y");
  EXPECT_EQ(variable.gaps,
            std::vector<std::string>{"nullif(CAST(\"x\" AS DOUBLE PRECISION), (- 9.9E1))"});
  std::string nested = "x";
  for (int i = 0; i < 3; ++i) nested = "log1p(" + nested + ")";
  EXPECT_LT(SqlOf(nested).size(), 20'000U);
  for (int i = 0; i < 7; ++i) nested = "log1p(" + nested + ")";
  EXPECT_THROW(static_cast<void>(SqlOf(nested)), FormulaError);
}

TEST(DoubleLiteral, ReadsBackInBothDatabases) {
  const std::vector<double> numbers = {0.0,
                                       1.0,
                                       -1.0,
                                       0.1,
                                       -123.456,
                                       1e300,
                                       1.0 / 3.0,
                                       5e-324,
                                       std::numeric_limits<double>::max(),
                                       std::numeric_limits<double>::min(),
                                       9007199254740993.0};
  EXPECT_EQ(DoubleLiteral(1.0), "1E0");
  EXPECT_EQ(DoubleLiteral(-0.0025), "-2.5E-3");
  EXPECT_EQ(DoubleLiteral(1e100), "1E100");
  for (const double number : numbers) {
    const std::string literal = DoubleLiteral(number);
    EXPECT_EQ(std::strtod(literal.c_str(), nullptr), number);
    Connection duckDb;
    const auto row =
        duckDb
            .Rows("SELECT typeof(" + literal + "), " + literal + ", 1 / (2 + 0 * " + literal + ")")
            .front();
    EXPECT_EQ(row[0], "DOUBLE") << literal;
    EXPECT_EQ(std::strtod(row[1]->c_str(), nullptr), number) << literal;
    EXPECT_EQ(row[2], "0.5");
    const auto cells = SqliteRows(":memory:", "SELECT typeof(" + literal + "), " + literal +
                                                  ", 1 / (2 + 0 * " + literal + ")")
                           .front();
    EXPECT_EQ(cells[0], "real") << literal;
    EXPECT_EQ(std::strtod(cells[1]->c_str(), nullptr), number) << literal;
    EXPECT_EQ(cells[2], "0.5");
  }
}

}  // namespace
}  // namespace qvhost
