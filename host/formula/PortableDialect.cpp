#include "host/formula/PortableDialect.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <limits>

#include <fmt/args.h>
#include <fmt/format.h>

#include "host/Text.h"

namespace qvhost {
namespace {

/// How a function of DuckDB's is written: {0}, {1} and {2} are its arguments.
struct Form {
  std::string_view function;
  std::string_view sql;
  std::size_t arguments = 1;
  std::size_t copies = 1;  ///< How often the first argument stands in it.
};

/// The forms of log1p and expm1 lose no digits near 0: Kahan, in Higham, Accuracy and Stability of
/// Numerical Algorithms (SIAM 2002), section 1.14.1 and problem 1.5.
constexpr auto kForms = std::to_array<Form>({
    {"abs", "abs({0})"},
    {"sign", "sign({0})"},
    {"round", "round({0})"},
    {"floor", "floor({0})"},
    {"ceil", "ceil({0})"},
    {"trunc", "trunc({0})"},
    {"mod", "mod({0}, {1})", 2},
    {"ln", "ln({0})"},
    {"log10", "log10({0})"},
    {"log2", "(ln({0}) / 6.931471805599453E-1)"},
    {"qvreg_log1p",
     "(CASE WHEN 1E0 + {0} = 1E0 THEN {0} ELSE ln(1E0 + {0}) * ({0} / ((1E0 + {0}) - 1E0)) END)", 1,
     5},
    {"exp", "exp({0})"},
    {"qvreg_expm1",
     "(CASE WHEN exp({0}) = 1E0 THEN {0} WHEN exp({0}) - 1E0 = -1E0 THEN -1E0 "
     "ELSE (exp({0}) - 1E0) * ({0} / ln(exp({0}))) END)",
     1, 6},
    {"sqrt", "sqrt({0})"},
    {"cbrt", "(sign({0}) * power(abs({0}), 3.333333333333333E-1))", 1, 2},
    {"pow", "power({0}, {1})", 2},
    {"sin", "sin({0})"},
    {"cos", "cos({0})"},
    {"tan", "tan({0})"},
    {"cot", "(1E0 / tan({0}))"},
    {"asin", "asin({0})"},
    {"acos", "acos({0})"},
    {"atan", "atan({0})"},
    {"atan2", "atan2({0}, {1})", 2},
    {"sinh", "sinh({0})"},
    {"cosh", "cosh({0})"},
    {"tanh", "tanh({0})"},
    {"asinh", "asinh({0})"},
    {"acosh", "acosh({0})"},
    {"atanh", "atanh({0})"},
    {"degrees", "degrees({0})"},
    {"radians", "radians({0})"},
    {"pi", "3.141592653589793E0", 0},
    {"lower", "lower({0})"},
    {"upper", "upper({0})"},
    {"trim", "trim({0})"},
    {"ltrim", "ltrim({0})"},
    {"rtrim", "rtrim({0})"},
    {"length", "length({0})"},
    {"left", "substr({0}, 1, {1})", 2},
    {"substring", "substr({0}, {1})", 2},
    {"substring", "substr({0}, {1}, {2})", 3},
    {"replace", "replace({0}, {1}, {2})", 3},
    {"starts_with", "(substr({0}, 1, length({1})) = {1})", 2, 2},
    {"nullif", "nullif({0}, {1})", 2, 2},
});

bool AreTexts(const std::vector<Value>& values) {
  return std::ranges::all_of(values,
                             [](const Value& value) { return value.kind == ValueKind::kText; });
}

/// The smallest or the largest of some values, by the sign that compares it with another.
std::string ExtremeSql(const std::vector<Value>& values, std::string_view sign) {
  std::string sql = "(CASE";
  for (std::size_t i = 0; i + 1 < values.size(); ++i) {
    for (std::size_t j = i + 1; j < values.size(); ++j) {
      sql += fmt::format("{}{} {} {}", j == i + 1 ? " WHEN " : " AND ", values[i].sql, sign,
                         values[j].sql);
    }
    sql += " THEN " + values[i].sql;
  }
  return sql + " ELSE " + values.back().sql + " END)";
}

std::string TextsSql(const std::vector<Value>& values) {
  std::string sql;
  for (const Value& value : values) sql += (sql.empty() ? "(" : " || ") + value.sql;
  return sql + ")";
}

/// The value of a literal as Number writes it.
std::optional<double> LiteralValue(std::string_view sql) {
  double value = 0.0;
  const auto [end, error] = std::from_chars(sql.data(), sql.data() + sql.size(), value);
  if (error != std::errc() || end != sql.data() + sql.size()) return std::nullopt;
  return value;
}

bool IsLengthOf(const FormulaFunction& function) { return function.sql == "length"; }

}  // namespace

std::string PortableDialect::Number(std::string_view written) const {
  double value = 0.0;
  std::from_chars(written.data(), written.data() + written.size(), value);
  return DoubleLiteral(value);
}

std::string PortableDialect::Truth(bool value) const { return value ? "(1 = 1)" : "(1 = 0)"; }

std::string PortableDialect::TruthAsNumber(const std::string& condition) const {
  return "(CASE WHEN " + condition + " THEN 1E0 ELSE 0E0 END)";
}

std::string PortableDialect::Condition(const Value& value) const {
  return value.kind == ValueKind::kNumber ? "(" + value.sql + " <> 0E0)" : value.sql;
}

std::optional<std::string> PortableDialect::Whole(const std::string& number) const {
  constexpr double kMost = 1e9;
  const std::optional<double> value = LiteralValue(number);
  if (!value || !(*value < kMost)) return std::nullopt;
  const auto whole = static_cast<long long>(*value);
  return static_cast<double>(whole) == *value ? std::optional(std::to_string(whole)) : std::nullopt;
}

std::optional<std::string> PortableDialect::Operation(const Value& left, std::string_view sign,
                                                      const Value& right) const {
  // LIKE sees upper and lower case as the same in some databases, and || makes texts of numbers in
  // as many ways.
  if (sign.ends_with("LIKE")) return std::nullopt;
  if (sign == "||" && !AreTexts({left, right})) return std::nullopt;
  if (sign == "//") return "trunc(" + left.sql + " / " + right.sql + ")";
  if (sign == "%") return "mod(" + left.sql + ", " + right.sql + ")";
  const bool joins = sign == "AND" || sign == "OR";
  return "(" + (joins ? Condition(left) : left.sql) + " " + std::string(sign) + " " +
         (joins ? Condition(right) : right.sql) + ")";
}

std::string PortableDialect::Power(const std::string& base, const std::string& exponent) const {
  return "power(" + base + ", " + exponent + ")";
}

std::optional<std::string> PortableDialect::Cast(const Value& value, const CastType& type,
                                                 const std::string& /*name*/,
                                                 bool /*tries*/) const {
  if (type.sql != "DOUBLE") return std::nullopt;
  // Numbers are doubles; what is no number fails in one database, and is 0 in another.
  if (value.kind == ValueKind::kNumber) return value.sql;
  if (value.kind == ValueKind::kBoolean) return TruthAsNumber(value.sql);
  return std::nullopt;
}

std::optional<std::string> PortableDialect::TypedText(std::string_view /*quoted*/,
                                                      const CastType& /*type*/) const {
  return std::nullopt;
}

std::optional<RepeatedSql> PortableDialect::Call(const FormulaFunction& function,
                                                 const std::vector<Value>& arguments) const {
  const std::size_t copies = CopiesIn(arguments);
  if (function.sql.empty()) return RepeatedSql{ChoiceSql(*this, arguments), copies};
  if (function.sql == "least" || function.sql == "greatest") {
    return RepeatedSql{ExtremeSql(arguments, function.sql == "least" ? "<=" : ">="),
                       2 * copies * arguments.size()};
  }
  if (function.sql == "concat") {
    if (!AreTexts(arguments)) return std::nullopt;
    return RepeatedSql{TextsSql(arguments), copies};
  }
  for (const Form& form : kForms) {
    if (form.function != function.sql || form.arguments != arguments.size()) continue;
    fmt::dynamic_format_arg_store<fmt::format_context> store;
    for (const Value& value : arguments) store.push_back(value.sql);
    const std::string sql = fmt::vformat(form.sql, store);
    return RepeatedSql{IsLengthOf(function) ? AsDouble(sql) : sql, copies * form.copies};
  }
  return std::nullopt;
}

std::string DoubleLiteral(double value) {
  // The sign, 17 digits, a point, an exponent with its sign.
  std::array<char, std::numeric_limits<double>::max_digits10 + 8> buffer{};
  const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                          std::chars_format::scientific);
  std::string_view text(buffer.data(), static_cast<std::size_t>(end - buffer.data()));
  const std::size_t mark = text.find('e');
  std::string literal(text.substr(0, mark));
  std::string_view exponent = text.substr(mark + 1);
  const bool isSmall = exponent.starts_with('-');
  exponent.remove_prefix(std::min(exponent.find_first_not_of("+-0"), exponent.size() - 1));
  return literal + (isSmall ? "E-" : "E") + std::string(exponent);
}

std::string AsDouble(const std::string& sql) { return "CAST(" + sql + " AS DOUBLE PRECISION)"; }

}  // namespace qvhost
