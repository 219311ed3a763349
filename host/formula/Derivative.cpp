#include "host/formula/Derivative.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/Text.h"

namespace qvhost {
namespace {

/// An expression over doubles and its derivative.
struct Slope {
  std::string value;
  std::string slope;  ///< Empty for one that does not change with the column.
};

/// Functions of one number, with their derivatives where the argument is {0}.
struct Rule {
  std::string_view function;
  std::string_view slope;
};

constexpr auto kRules = std::to_array<Rule>({
    {"abs", "sign({0})"},
    {"ln", "(1 / {0})"},
    {"log10", "(1 / ({0} * ln(10)))"},
    {"log2", "(1 / ({0} * ln(2)))"},
    {"qvreg_log1p", "(1 / (1 + {0}))"},
    {"exp", "exp({0})"},
    {"qvreg_expm1", "exp({0})"},
    {"sqrt", "(0.5 / sqrt({0}))"},
    {"cbrt", "(1 / (3 * pow(cbrt({0}), 2)))"},
    {"sin", "cos({0})"},
    {"cos", "(- sin({0}))"},
    {"tan", "(1 + pow(tan({0}), 2))"},
    {"cot", "(- (1 + pow(cot({0}), 2)))"},
    {"asin", "(1 / sqrt(1 - pow({0}, 2)))"},
    {"acos", "(- 1 / sqrt(1 - pow({0}, 2)))"},
    {"atan", "(1 / (1 + pow({0}, 2)))"},
    {"sinh", "cosh({0})"},
    {"cosh", "sinh({0})"},
    {"tanh", "(1 / pow(cosh({0}), 2))"},
    {"asinh", "(1 / sqrt(pow({0}, 2) + 1))"},
    {"acosh", "(1 / (sqrt({0} - 1) * sqrt({0} + 1)))"},
    {"atanh", "(1 / (1 - pow({0}, 2)))"},
    {"degrees", "degrees(1)"},
    {"radians", "radians(1)"},
});

constexpr std::string_view kBlank = " ";

bool IsNumber(std::string_view text) {
  double value = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

/// The first place of a separator outside quotes and parentheses, or npos.
std::size_t FindOutside(std::string_view text, std::string_view separator, std::size_t from = 0) {
  char quote = '\0';
  int depth = 0;
  for (std::size_t i = from; i < text.size(); ++i) {
    const char c = text[i];
    if (quote != '\0') {
      if (c == quote) quote = '\0';
      continue;
    }
    if (depth == 0 && text.substr(i).starts_with(separator)) return i;
    if (c == '"' || c == '\'') quote = c;
    if (c == '(') ++depth;
    if (c == ')' && --depth < 0) return std::string_view::npos;
  }
  return std::string_view::npos;
}

/// What stands in the parentheses that open at `open` and close at the end of the text.
std::optional<std::string_view> Enclosed(std::string_view text, std::size_t open) {
  if (text.size() < open + 2 || text[open] != '(' || text.back() != ')') return std::nullopt;
  const std::string_view inside = text.substr(open + 1, text.size() - open - 2);
  // A parenthesis that closes before its end would end the search.
  if (FindOutside(std::string(inside) + "\n", "\n") != inside.size()) return std::nullopt;
  return inside;
}

std::vector<std::string_view> Split(std::string_view list) {
  constexpr std::string_view kComma = ", ";
  std::vector<std::string_view> parts;
  for (;;) {
    const std::size_t end = FindOutside(list, kComma);
    parts.push_back(list.substr(0, end));
    if (end == std::string_view::npos) return parts;
    list.remove_prefix(end + kComma.size());
  }
}

/// Differentiates the SQL of an expression as ExpressionReader writes it: a name, a number, a call,
/// or an operation in parentheses, whose operands are such again. Anything else has no derivative
/// by the columns in it.
class Differentiator {
 public:
  explicit Differentiator(const std::string& column) : column_(QuoteName(column)) {}

  /// None where there is no rule.
  [[nodiscard]] std::optional<Slope> Of(std::string_view sql) const {
    if (IsNumber(sql)) return Slope{"CAST(" + std::string(sql) + " AS DOUBLE)", ""};
    if (sql == column_) return Slope{"CAST(" + column_ + " AS DOUBLE)", "1"};
    if (const auto inside = Enclosed(sql, 0)) return OfOperation(sql, *inside);
    const std::size_t open = sql.find('(');
    if (open != std::string_view::npos && open > 0) {
      if (const auto inside = Enclosed(sql, open)) return OfCall(sql, sql.substr(0, open), *inside);
    }
    return Opaque(sql);
  }

 private:
  /// Something without a rule: a constant, unless the column is in it.
  [[nodiscard]] std::optional<Slope> Opaque(std::string_view sql) const {
    if (sql.find(column_) != std::string_view::npos) return std::nullopt;
    return Slope{"CAST(" + std::string(sql) + " AS DOUBLE)", ""};
  }

  [[nodiscard]] std::optional<Slope> OfOperation(std::string_view sql,
                                                 std::string_view inside) const {
    constexpr std::string_view kMinus = "- ";
    if (inside.starts_with(kMinus)) {
      const auto operand = Of(inside.substr(kMinus.size()));
      if (!operand) return std::nullopt;
      return Slope{"(- " + operand->value + ")", Times("(- 1)", operand->slope)};
    }
    const std::size_t sign = FindOutside(inside, kBlank);
    const std::size_t end =
        sign == std::string_view::npos ? sign : FindOutside(inside, kBlank, sign + 1);
    if (end == std::string_view::npos || end != sign + 2) return Opaque(sql);
    const std::string_view rest = inside.substr(end + 1);
    if (FindOutside(rest, kBlank) != std::string_view::npos) return Opaque(sql);
    constexpr std::string_view kSigns = "+-*/";
    const char operation = inside[sign + 1];
    if (kSigns.find(operation) == std::string_view::npos) return Opaque(sql);
    const auto left = Of(inside.substr(0, sign));
    const auto right = Of(rest);
    if (!left || !right) return std::nullopt;
    return Combine(operation, *left, *right);
  }

  [[nodiscard]] static Slope Combine(char operation, const Slope& left, const Slope& right) {
    Slope result{fmt::format("({} {} {})", left.value, operation, right.value), ""};
    if (operation == '*') {
      result.slope = Plus(Times(right.value, left.slope), Times(left.value, right.slope));
    } else if (operation == '/') {
      const std::string own = left.slope.empty() ? "" : Over(left.slope, right.value);
      const std::string other =
          right.slope.empty() ? "" : Over(Times(result.value, right.slope), right.value);
      result.slope = Minus(own, other);
    } else {
      result.slope =
          operation == '+' ? Plus(left.slope, right.slope) : Minus(left.slope, right.slope);
    }
    return result;
  }

  [[nodiscard]] std::optional<Slope> OfCall(std::string_view sql, std::string_view function,
                                            std::string_view inside) const {
    if (function == "CAST") return OfCast(sql, inside);
    std::vector<Slope> arguments;
    for (const std::string_view argument : Split(inside)) {
      const auto found = Of(argument);
      if (!found) return std::nullopt;
      arguments.push_back(*found);
    }
    if (function == "pow" && arguments.size() == 2) return OfPower(arguments[0], arguments[1]);
    if (function == "atan2" && arguments.size() == 2) return OfAngle(arguments[0], arguments[1]);
    const auto* const rule = std::ranges::find(kRules, function, &Rule::function);
    if (rule == kRules.end() || arguments.size() != 1) return Opaque(sql);
    const std::string& argument = arguments[0].value;
    return Slope{fmt::format("{}({})", function, argument),
                 Times(fmt::format(fmt::runtime(rule->slope), argument), arguments[0].slope)};
  }

  /// A number of lower precision is the same but for rounding; one without decimals is not.
  [[nodiscard]] std::optional<Slope> OfCast(std::string_view sql, std::string_view inside) const {
    constexpr std::string_view kAs = " AS ";
    const std::size_t as = FindOutside(inside, kAs);
    if (as == std::string_view::npos) return Opaque(sql);
    const std::string_view type = inside.substr(as + kAs.size());
    if (type != "DOUBLE" && type != "FLOAT" && type != "REAL") return Opaque(sql);
    return Of(inside.substr(0, as));
  }

  [[nodiscard]] static Slope OfPower(const Slope& base, const Slope& exponent) {
    Slope result{fmt::format("pow({}, {})", base.value, exponent.value), ""};
    const std::string ofBase =
        Times(fmt::format("({1} * pow({0}, ({1} - 1)))", base.value, exponent.value), base.slope);
    const std::string ofExponent =
        Times(fmt::format("(ln({}) * {})", base.value, result.value), exponent.slope);
    result.slope = Plus(ofBase, ofExponent);
    return result;
  }

  [[nodiscard]] static Slope OfAngle(const Slope& y, const Slope& x) {
    const std::string square = fmt::format("(pow({}, 2) + pow({}, 2))", x.value, y.value);
    const std::string difference = Minus(Times(x.value, y.slope), Times(y.value, x.slope));
    return {fmt::format("atan2({}, {})", y.value, x.value),
            difference.empty() ? "" : Over(difference, square)};
  }

  static std::string Times(const std::string& factor, const std::string& slope) {
    if (slope.empty()) return "";
    return slope == "1" ? factor : fmt::format("({} * {})", factor, slope);
  }
  static std::string Over(const std::string& slope, const std::string& divisor) {
    return fmt::format("({} / {})", slope, divisor);
  }
  static std::string Plus(const std::string& left, const std::string& right) {
    if (left.empty() || right.empty()) return left.empty() ? right : left;
    return fmt::format("({} + {})", left, right);
  }
  static std::string Minus(const std::string& left, const std::string& right) {
    if (right.empty()) return left;
    return left.empty() ? fmt::format("(- {})", right) : fmt::format("({} - {})", left, right);
  }

  std::string column_;
};

}  // namespace

std::optional<std::string> DerivativeSql(const Variable& variable, const std::string& column) {
  for (const ColumnUse& use : variable.columns) {
    const bool isIt = use.found.name == column;
    // A value that the database converts first, as a time, stands there otherwise than by its name.
    if (isIt && use.found.kind != ValueKind::kNumber) return std::nullopt;
  }
  const auto slope = Differentiator(column).Of(variable.sql);
  if (!slope || slope->slope.empty()) return std::nullopt;
  return slope->slope;
}

}  // namespace qvhost
