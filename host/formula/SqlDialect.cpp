#include "host/formula/SqlDialect.h"

#include <algorithm>

#include "host/Text.h"

namespace qvhost {

std::string DuckDbDialect::Number(std::string_view written) const { return std::string(written); }

std::string DuckDbDialect::Truth(bool value) const { return value ? "true" : "false"; }

std::string DuckDbDialect::TruthAsNumber(const std::string& condition) const {
  return "CAST(" + condition + " AS TINYINT)";
}

std::optional<std::string> DuckDbDialect::Whole(const std::string& number) const {
  // DuckDB takes integers alone where it counts characters or digits.
  if (WholeNumber(number)) return number;
  return "CAST(" + number + " AS INTEGER)";
}

std::optional<std::string> DuckDbDialect::Operation(const Value& left, std::string_view sign,
                                                    const Value& right) const {
  // DuckDB's own // rounds only when both sides are integers.
  if (sign == "//") return "trunc(" + left.sql + " / " + right.sql + ")";
  return "(" + left.sql + " " + std::string(sign) + " " + right.sql + ")";
}

std::string DuckDbDialect::Power(const std::string& base, const std::string& exponent) const {
  return "pow(" + base + ", " + exponent + ")";
}

std::optional<std::string> DuckDbDialect::Cast(const Value& value, const CastType& /*type*/,
                                               const std::string& name, bool tries) const {
  return (tries ? "TRY_CAST(" : "CAST(") + value.sql + " AS " + name + ")";
}

std::optional<std::string> DuckDbDialect::TypedText(std::string_view quoted,
                                                    const CastType& type) const {
  return "CAST(" + std::string(quoted) + " AS " + std::string(type.sql) + ")";
}

std::optional<RepeatedSql> DuckDbDialect::Call(const FormulaFunction& function,
                                               const std::vector<Value>& arguments) const {
  std::size_t copies = CopiesIn(arguments);
  if (function.sql.empty()) return RepeatedSql{ChoiceSql(*this, arguments), copies};
  // DuckDB makes of nullif(a, b) a case that holds a twice.
  if (function.sql == "nullif") copies = std::max(copies, 2 * arguments.front().cost.copies);
  return RepeatedSql{std::string(function.sql) + "(" + Joined(arguments) + ")", copies};
}

std::size_t CopiesIn(const std::vector<Value>& values) {
  std::size_t copies = 1;
  for (const Value& value : values) copies = std::max(copies, value.cost.copies);
  return copies;
}

std::string Joined(const std::vector<Value>& values) {
  std::string list;
  for (const Value& value : values) list += (list.empty() ? "" : ", ") + value.sql;
  return list;
}

std::string ChoiceSql(const SqlDialect& dialect, const std::vector<Value>& arguments) {
  return "(CASE WHEN " + dialect.Condition(arguments[0]) + " THEN " + arguments[1].sql + " ELSE " +
         arguments[2].sql + " END)";
}

}  // namespace qvhost
