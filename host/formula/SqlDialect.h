#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/formula/FormulaFunction.h"
#include "host/formula/OperandCheck.h"
#include "host/formula/ValueKind.h"

namespace qvhost {

/// A part of an expression in SQL, and how often it repeats what was innermost in its operands.
struct RepeatedSql {
  std::string sql;
  std::size_t copies = 1;
};

/// How the parts of an expression are written in SQL, once a formula's reader knows what they mean.
/// Operands are safe to embed, and so is all that is made of them. None is what the dialect cannot
/// say.
///
/// Has no state: one object serves all threads.
class SqlDialect {
 public:
  SqlDialect() = default;
  SqlDialect(const SqlDialect&) = delete;
  SqlDialect& operator=(const SqlDialect&) = delete;
  virtual ~SqlDialect() = default;

  /// What can be said in it, for an error: "in DuckDB".
  [[nodiscard]] virtual std::string_view Where() const = 0;

  /// A number as a formula has it, without a sign.
  [[nodiscard]] virtual std::string Number(std::string_view written) const = 0;
  [[nodiscard]] virtual std::string Truth(bool value) const = 0;
  /// A condition as 0 or 1.
  [[nodiscard]] virtual std::string TruthAsNumber(const std::string& condition) const = 0;
  /// A boolean, or a number, of which 0 is false, where a condition must stand.
  [[nodiscard]] virtual std::string Condition(const Value& value) const = 0;
  /// A number as a whole one.
  [[nodiscard]] virtual std::optional<std::string> Whole(const std::string& number) const = 0;
  /// `left sign right`; the sign is DuckDB's, or `//`.
  [[nodiscard]] virtual std::optional<std::string> Operation(const Value& left,
                                                             std::string_view sign,
                                                             const Value& right) const = 0;
  [[nodiscard]] virtual std::string Power(const std::string& base,
                                          const std::string& exponent) const = 0;
  /// A cast to the type whose name with its width is `name`; `tries`: NULL where it fails.
  [[nodiscard]] virtual std::optional<std::string> Cast(const Value& value, const CastType& type,
                                                        const std::string& name,
                                                        bool tries) const = 0;
  /// A date or time out of a text in quotes.
  [[nodiscard]] virtual std::optional<std::string> TypedText(std::string_view quoted,
                                                             const CastType& type) const = 0;
  /// A call; the arguments are as many as the function takes.
  [[nodiscard]] virtual std::optional<RepeatedSql> Call(
      const FormulaFunction& function, const std::vector<Value>& arguments) const = 0;
};

/// The dialect of the database that reads the tables; it can say everything.
class DuckDbDialect final : public SqlDialect {
 public:
  [[nodiscard]] std::string_view Where() const override { return "in DuckDB"; }
  [[nodiscard]] std::string Number(std::string_view written) const override;
  [[nodiscard]] std::string Truth(bool value) const override;
  [[nodiscard]] std::string TruthAsNumber(const std::string& condition) const override;
  [[nodiscard]] std::string Condition(const Value& value) const override { return value.sql; }
  [[nodiscard]] std::optional<std::string> Whole(const std::string& number) const override;
  [[nodiscard]] std::optional<std::string> Operation(const Value& left, std::string_view sign,
                                                     const Value& right) const override;
  [[nodiscard]] std::string Power(const std::string& base,
                                  const std::string& exponent) const override;
  [[nodiscard]] std::optional<std::string> Cast(const Value& value, const CastType& type,
                                                const std::string& name, bool tries) const override;
  [[nodiscard]] std::optional<std::string> TypedText(std::string_view quoted,
                                                     const CastType& type) const override;
  [[nodiscard]] std::optional<RepeatedSql> Call(const FormulaFunction& function,
                                                const std::vector<Value>& arguments) const override;
};

inline const DuckDbDialect kDuckDbDialect;

/// The most copies of an innermost part in any of the values; 1 for none.
[[nodiscard]] std::size_t CopiesIn(const std::vector<Value>& values);

/// The values with commas between them.
[[nodiscard]] std::string Joined(const std::vector<Value>& values);

/// `(CASE WHEN condition THEN x ELSE y END)` of the three arguments of `if`.
[[nodiscard]] std::string ChoiceSql(const SqlDialect& dialect, const std::vector<Value>& arguments);

}  // namespace qvhost
