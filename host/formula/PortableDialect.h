#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/formula/SqlDialect.h"

namespace qvhost {

/// What SQL databases have in common, with the functions of numbers that most of them have: `exp`,
/// `ln`, `sqrt`, `power`, `sin`, ... Numbers are doubles, and so must be those of columns; a
/// boolean is a condition. Has no dates and times, no types but doubles, and of texts what means
/// the same everywhere.
class PortableDialect final : public SqlDialect {
 public:
  [[nodiscard]] std::string_view Where() const override { return "that all SQL databases share"; }
  [[nodiscard]] std::string Number(std::string_view written) const override;
  [[nodiscard]] std::string Truth(bool value) const override;
  [[nodiscard]] std::string TruthAsNumber(const std::string& condition) const override;
  [[nodiscard]] std::string Condition(const Value& value) const override;
  /// None but of a number that is written out.
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

inline const PortableDialect kPortableDialect;

/// A finite number as a literal that every SQL database reads as a double, the same one again:
/// `2.5E0`. One with a sign is safe behind an operator, but for a minus without a blank.
[[nodiscard]] std::string DoubleLiteral(double value);

/// An SQL value that every database takes for a double.
[[nodiscard]] std::string AsDouble(const std::string& sql);

}  // namespace qvhost
