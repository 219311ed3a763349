// What expressions come to: every function of the table against values from outside, and missing
// values in every place where a column can stand.
#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "host/Error.h"
#include "host/fit/ModelBinding.h"
#include "host/formula/FormulaFunction.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

/// What the coder makes of one expression over a table: its first value as a number or a level,
/// and how many are missing; or the message that it is refused with.
struct ExpressionValues {
  std::string error;
  std::size_t missing = 0;
  double number = 0;
  std::string level;  ///< Of a factor.
};

/// `expression` is a term: a column, a call, or I(...). `rows` is a query without a column zero_.
ExpressionValues ValuesOf(const std::string& rows, const std::string& expression) {
  ExpressionValues values;
  try {
    const TableSource source = OpenSql("SELECT *, 0 AS zero_ FROM (" + rows + ")");
    const std::string text = "zero_ ~ " + expression;
    const Formula formula = ParseFormula(text, ColumnsOf(source, text));
    const ModelBinding binding = BindModel(formula, source, {});
    const CodedTable table = CodeTable(source, binding.columns);
    const auto position = static_cast<std::size_t>(binding.positions.at(0));
    const CodedColumn& column = table.Columns()[position];
    values.missing = static_cast<std::size_t>(column.missing);
    values.number = Values(table, position).at(0);
    if (!column.levels.empty()) values.level = column.levels[0];
  } catch (const Error& error) {
    values.error = error.what();
  }
  return values;
}

constexpr const char* kRow =
    "SELECT 2.5::DOUBLE AS x, 0.75::DOUBLE AS v, -7 AS n, 'Größe-ab' AS s, ' ab ' AS blank, "
    "TIMESTAMP '2024-05-17 10:20:30' AS t, DATE '2024-02-01' AS d, true AS flag, '17.5' AS text";

struct Example {
  std::string_view call;
  std::string_view expected;  ///< Of Python: math, datetime, str; of a boolean, false or true.
};

// The first name of each is the function that it is for.
constexpr auto kExamples = std::to_array<Example>({
    {"abs(n)", "7"},
    {"sign(n)", "-1"},
    {"round(x)", "3"},
    {"round(I(x / 7), 3)", "0.357"},
    {"round_even(x, 0)", "2"},
    {"floor(I(-x))", "-3"},
    {"ceil(x)", "3"},
    {"ceiling(x)", "3"},
    {"trunc(I(-x))", "-2"},
    {"mod(n, 4)", "-3"},
    {"least(x, v, n)", "-7"},
    {"greatest(x, v, n)", "2.5"},

    {"ln(x)", "0.9162907318741551"},
    {"log(x)", "0.9162907318741551"},
    {"log10(x)", "0.3979400086720376"},
    {"log2(x)", "1.3219280948873624"},
    {"log1p(x)", "1.252762968495368"},
    {"exp(x)", "12.182493960703473"},
    {"expm1(x)", "11.182493960703473"},
    {"sqrt(x)", "1.5811388300841898"},
    {"cbrt(x)", "1.3572088082974532"},
    {"pow(x, 3)", "15.625"},
    {"power(x, 3)", "15.625"},

    {"sin(v)", "0.6816387600233341"},
    {"cos(v)", "0.7316888688738209"},
    {"tan(v)", "0.9315964599440725"},
    {"cot(v)", "1.0734261485493772"},
    {"asin(v)", "0.848062078981481"},
    {"acos(v)", "0.7227342478134157"},
    {"atan(v)", "0.6435011087932844"},
    {"atan2(v, -2)", "2.782821983319221"},
    {"sinh(v)", "0.82231673193583"},
    {"cosh(v)", "1.2946832846768448"},
    {"tanh(v)", "0.6351489523872873"},
    {"asinh(v)", "0.6931471805599453"},
    {"acosh(I(v + 1))", "1.158810360429947"},
    {"atanh(v)", "0.9729550745276566"},
    {"degrees(v)", "42.97183463481174"},
    {"radians(v)", "0.013089969389957472"},
    {"I(pi() + 0 * v)", "3.141592653589793"},

    {"lower(s)", "größe-ab"},
    {"upper(blank)", " AB "},
    {"trim(blank)", "ab"},
    {"trim(blank, ' a')", "b"},
    {"ltrim(blank)", "ab "},
    {"rtrim(blank)", " ab"},
    {"length(s)", "8"},
    {"left(s, 3)", "Grö"},
    {"right(s, 2)", "ab"},
    {"substring(s, 3, 3)", "öße"},
    {"substr(s, 7)", "ab"},
    {"replace(s, '-', '+')", "Größe+ab"},
    {"split_part(s, '-', 2)", "ab"},
    {"concat(s, '/', n)", "Größe-ab/-7"},
    {"strip_accents(s)", "Große-ab"},
    {"contains(s, 'ße')", "true"},
    {"starts_with(s, 'ab')", "false"},
    {"ends_with(s, 'ab')", "true"},
    {"regexp_matches(s, '^G.*b$')", "true"},
    {"regexp_extract(s, '[a-c]+')", "ab"},
    {"regexp_replace(s, '[a-f]', 'x')", "Größx-ab"},

    {"year(t)", "2024"},
    {"quarter(t)", "2"},
    {"month(t)", "5"},
    {"week(t)", "20"},
    {"day(t)", "17"},
    {"dayofyear(t)", "138"},
    {"dayofweek(t)", "5"},
    {"isodow(t)", "5"},
    {"hour(t)", "10"},
    {"minute(t)", "20"},
    {"second(t)", "30"},
    {"epoch(t)", "1715941230"},
    {"dayname(t)", "Friday"},
    {"monthname(t)", "May"},
    {"C(last_day(d))", "2024-02-29"},
    {"date_part('month', t)", "5"},
    {"C(date_trunc('month', t))", "2024-05-01"},
    {"date_diff('day', d, t)", "106"},
    {"C(make_date(2024, 2, I(n + 8)))", "2024-02-01"},
    {"strftime(t, '%Y/%m')", "2024/05"},
    {"C(strptime(text, '%H.%M'))", "1900-01-01 17:05:00"},
    {"C(try_strptime(text, '%H.5'))", "1900-01-01 17:00:00"},

    {"if(flag, x, n)", "2.5"},
    {"nullif(x, -99)", "2.5"},
});

std::string_view FirstName(std::string_view call) {
  for (;;) {
    const std::string_view name = call.substr(0, call.find('('));
    if (name != "I" && name != "C") return name;
    call.remove_prefix(2);
  }
}

std::string Show(const std::string& rows, const std::string& expression) {
  const ExpressionValues values = ValuesOf(rows, expression);
  if (!values.error.empty()) return values.error;
  if (values.missing > 0) return "missing";
  return values.level.empty() ? std::to_string(values.number) : values.level;
}

void ExpectValue(std::string_view expression, std::string_view expected) {
  const ExpressionValues values = ValuesOf(kRow, std::string(expression));
  ASSERT_EQ(values.error, "") << expression;
  EXPECT_EQ(values.missing, 0U) << expression;
  if (!values.level.empty()) {
    EXPECT_EQ(values.level, expected) << expression;
  } else {
    EXPECT_DOUBLE_EQ(values.number, std::strtod(std::string(expected).c_str(), nullptr))
        << expression;
  }
}

TEST(ExpressionValues, EveryFunctionHasItsValue) {
  for (const FormulaFunction& function : FormulaFunctions()) {
    EXPECT_TRUE(std::ranges::any_of(
        kExamples,
        [&](const Example& example) { return FirstName(example.call) == function.Name(); }))
        << "no example of " << function.usage;
  }
  for (const Example& example : kExamples) ExpectValue(example.call, example.expected);
}

TEST(ExpressionValues, OperatorsHaveTheirValues) {
  for (const Example& example : std::to_array<Example>({
           {"I(x + n * v - 1)", "-3.75"},
           {"I(n / 2)", "-3.5"},
           {"I(n // 2)", "-3"},
           {"I(7.5 // 2 + 0 * x)", "3"},
           {"I(n % 4)", "-3"},
           {"I(-x^2)", "-6.25"},
           {"I(2^3^2 + 0 * x)", "512"},
           {"I(x^-1)", "0.4"},
           {"I(x > 1 and not n > 1)", "true"},
           {"I(x between 1 and 2 or n in (7, -7))", "true"},
           {"I(n not in (7, -7))", "false"},
           {"I(flag = 1)", "true"},
           {"I(s like 'G%b')", "true"},
           {"I(s ilike 'g%' and s not like 'g%')", "true"},
           {"I(s || '!')", "Größe-ab!"},
           {"I(case when n < 0 then 'low' else 'high' end)", "low"},
           {"I(case n when -7 then 1 else 2 end)", "1"},
           {"I(text::double + 1)", "18.5"},
           {"cast(x as decimal(4, 2))", "2.5"},
           {"try_cast(text as double)", "17.5"},
           {"I(d < t)", "true"},
           {"I(d > '2024-01-31')", "true"},
           {"I(d - date '2024-01-01')", "31"},
       })) {
    ExpectValue(example.call, example.expected);
  }
}

/// A column for an argument of a function: how it is made, and with what when it is missing.
std::string ColumnType(ArgumentKind kind) {
  switch (kind) {
    case ArgumentKind::kNumber:
    case ArgumentKind::kWhole:
    case ArgumentKind::kSame:
      return "DOUBLE";
    case ArgumentKind::kDateTime:
      return "TIMESTAMP";
    case ArgumentKind::kCondition:
      return "BOOLEAN";
    default:
      return "VARCHAR";
  }
}

std::string ColumnValue(ArgumentKind kind) {
  switch (kind) {
    case ArgumentKind::kNumber:
    case ArgumentKind::kWhole:
    case ArgumentKind::kSame:
      return "1";
    case ArgumentKind::kDateTime:
      return "'2024-01-31 10:00:00'";
    case ArgumentKind::kCondition:
      return "true";
    default:
      return "'a'";
  }
}

/// The call of a function with a column for each argument that can be one; the column at `missing`
/// holds `nothing`.
struct Call {
  std::string expression;
  std::string rows;
};

Call CallWithout(const FormulaFunction& function, std::size_t missing, const std::string& nothing) {
  Call call{"C(" + std::string(function.Name()) + "(", "SELECT 1 AS one"};
  const std::size_t count = function.MostArguments().value_or(function.FewestArguments() + 1);
  for (std::size_t i = 0; i < count; ++i) {
    const ArgumentKind kind = function.KindOfArgument(i);
    const std::string name = "a" + std::to_string(i);
    const bool isLiteral = kind == ArgumentKind::kUnit || kind == ArgumentKind::kFormat;
    const std::string argument = kind == ArgumentKind::kUnit ? "'day'" : isLiteral ? "'%Y'" : name;
    call.expression += (i == 0 ? "" : ", ") + argument;
    call.rows += ", CAST(" + (i == missing ? nothing : ColumnValue(kind)) + " AS " +
                 ColumnType(kind) + ") AS " + name;
  }
  call.expression += "))";
  return call;
}

TEST(ExpressionValues, EveryFunctionOfAMissingArgumentIsMissing) {
  int calls = 0;
  for (const FormulaFunction& function : FormulaFunctions()) {
    const std::size_t count = function.MostArguments().value_or(function.FewestArguments() + 1);
    for (std::size_t i = 0; i < count; ++i) {
      const ArgumentKind kind = function.KindOfArgument(i);
      if (kind == ArgumentKind::kUnit || kind == ArgumentKind::kFormat) continue;
      std::vector<std::string> nothings = {"NULL"};
      if (ColumnType(kind) == "DOUBLE") nothings.insert(nothings.end(), {"'nan'", "'-nan'"});
      for (const std::string& nothing : nothings) {
        const Call call = CallWithout(function, i, nothing);
        EXPECT_EQ(Show(call.rows, call.expression), "missing") << call.expression << call.rows;
        ++calls;
      }
    }
  }
  EXPECT_GT(calls, 150);
}

TEST(ExpressionValues, EveryOperatorOnAMissingOperandIsMissing) {
  for (const char* const missing : {"a", "b", "c"}) {
    const std::string m = missing;
    const std::string rows = std::string("SELECT ") + (m == "a" ? "NULL" : "true") +
                             "::BOOLEAN AS a, " + (m == "b" ? "'nan'" : "1") + "::DOUBLE AS b, " +
                             (m == "c" ? "NULL" : "'u'") + "::VARCHAR AS c";
    const std::string flag = m == "a" ? "a" : m == "b" ? "(b > 0)" : "(c = 'u')";
    for (const std::string& expression :
         {"I(" + flag + " or true)", "I(true or " + flag + ")", "I(" + flag + " and false)",
          "I(not " + flag + ")", "I(case when " + flag + " then 1 else 2 end)",
          "I(case when true or " + flag + " then 1 else 2 end)", "if(" + flag + ", 1, 0)",
          "if(true, 1, if(" + flag + ", 2, 3))", "I((" + flag + ") = true)",
          "I(" + flag + " in (true, false))", "I(concat('a', " + m + "))", "I(" + m + " || 'a')",
          "I(cast(" + m + " as text) = 'nan')", "I(cast(" + m + " as text) like '%')",
          "C(" + flag + ")"}) {
      EXPECT_EQ(Show(rows, expression), "missing") << expression << " of " << rows;
    }
  }
}

// The library's own missing value is one in a column, so it is one in an expression.
TEST(ExpressionValues, TheSmallestDoubleIsMissing) {
  EXPECT_EQ(Show("SELECT -1.7976931348623157e308::DOUBLE AS x", "x"), "missing");
  EXPECT_EQ(Show("SELECT -1.7976931348623157e308::DOUBLE AS x", "I(x > 0)"), "missing");
}

TEST(ExpressionValues, APartThatIsMadeMissingMakesAllMissing) {
  for (const char* const expression :
       {"nullif(n, -99)", "greatest(nullif(n, -99), 0)", "least(0, nullif(n, -99))",
        "if(nullif(n, -99) > 0, 1, 0)", "if(true, 1, nullif(n, -99))",
        "concat('a', nullif(n, -99))", "I(nullif(n, -99) > 0 or true)", "try_cast(s as double)",
        "I(try_cast(s as double) > 0 or n < 0)", "greatest(try_cast(s as double), 1)",
        "nullif(nullif(n, -99), 5)", "epoch(try_strptime(s, '%Y'))"}) {
    EXPECT_EQ(Show("SELECT -99 AS n, 'word' AS s", expression), "missing") << expression;
    const ExpressionValues present = ValuesOf("SELECT 7 AS n, '8' AS s", expression);
    EXPECT_EQ(present.error, "") << expression;
    EXPECT_EQ(present.missing, 0U) << expression;
  }
}

TEST(ExpressionValues, AnExpressionWithoutAValueIsAnError) {
  const auto message = [](const std::string& expression, const std::string& values) {
    std::string condition;
    if (values.starts_with("n")) condition = ", such as --where \"n <> -3\"";
    if (values.starts_with("z")) condition = ", such as --where \"z <> 0.0\"";
    if (expression.find("ln(") != std::string::npos) condition = ", such as --where \"n > 0\"";
    if (expression == "log(z)") condition = ", such as --where \"z > 0\"";
    if (expression == "sqrt(n)") condition = ", such as --where \"n >= 0\"";
    return "query: '" + expression + "' cannot be computed where " + values +
           "; leave such rows out with --where" + condition + ", or change the expression.";
  };
  const std::string rows = "SELECT -3 AS n, 0::DOUBLE AS z, 'it''s' AS s";
  EXPECT_EQ(Show(rows, "ln(n)"), message("ln(n)", "n is -3"));
  EXPECT_EQ(Show(rows, "log(z)"), message("log(z)", "z is 0.0"));
  EXPECT_EQ(Show(rows, "sqrt(n)"), message("sqrt(n)", "n is -3"));
  EXPECT_EQ(Show(rows, "I(n^0.5)"), message("I(n^0.5)", "n is -3"));
  EXPECT_EQ(Show(rows, "I(z / z)"), message("I(z / z)", "z is 0.0"));
  EXPECT_EQ(Show(rows, "I(n % 0)"), message("I(n % 0)", "n is -3"));
  EXPECT_EQ(Show(rows, "acosh(z)"), message("acosh(z)", "z is 0.0"));
  EXPECT_EQ(Show(rows, "C(ln(n))"), message("C(ln(n))", "n is -3"));
  EXPECT_EQ(Show(rows, "cast(s as double)"), message("cast(s as double)", "s is 'it's'"));
  EXPECT_EQ(Show(rows, "nullif(ln(N), 0)"), message("nullif(ln(N), 0)", "n is -3"));
  EXPECT_EQ(Show(rows, "I(if(n < 0, ln(n), z) + length(s))"),
            message("I(if(n < 0, ln(n), z) + length(s))", "n is -3 and z is 0.0 and s is 'it's'"));
  EXPECT_EQ(Show("SELECT 0 AS \"$x\"", "log(`$x`)"),
            "query: 'log(`$x`)' cannot be computed where $x is 0; leave such rows out with "
            "--where, or change the expression.")
      << "back-quotes mean something to a shell";
  EXPECT_EQ(Show("SELECT 10000000 AS i", "I(i * i * i)"),
            "query: 'I(i * i * i)' cannot be computed where i is 10000000. Whole numbers are "
            "computed with 64 bits here and may overflow; write cast(i as double) for i, or i^3 "
            "for its third power.");
  EXPECT_EQ(Show("SELECT 10000000 AS i", "I(cast(i as double) * i * i - 1e21)"), "0.000000");
  EXPECT_EQ(Show(rows, "I(n / 0)"),
            "The value of 'I(n / 0)' in row 1 is infinite; leave such rows out, or make the values "
            "NULL, with --sql.");
  EXPECT_EQ(Show(rows, "if(n < 0, 0, ln(n))"), "0.000000") << "a branch not taken has no fault";
}

TEST(ExpressionValues, TypesSurviveTheCheckOfValues) {
  EXPECT_EQ(Show("SELECT 1 AS n", "I(n + 1)"), "2.000000");
  EXPECT_EQ(Show("SELECT 1.5::DECIMAL(5,2) AS n", "I(n + 1)"), "2.500000");
  EXPECT_EQ(Show("SELECT 1.5::FLOAT AS n", "C(abs(n))"), "1.5");
  EXPECT_EQ(Show("SELECT 'b'::ENUM('b', 'a') AS e", "C(least(e, e))"), "b");
}

// What a machine's time zone would make of it is none of the formula's business.
TEST(ExpressionValues, TimesWithAZoneAreTakenInUtc) {
  EXPECT_EQ(Show("SELECT TIMESTAMPTZ '2020-01-01 00:30:00+00' AS t", "year(t)"), "2020.000000");
  EXPECT_EQ(Show("SELECT TIMESTAMPTZ '2020-01-01 00:30:00+00' AS t", "strftime(t, '%H:%M')"),
            "00:30");
}

}  // namespace
}  // namespace qvhost
