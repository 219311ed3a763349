#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvhost {

/// A column of a query, and the expression that it is.
struct SqlColumn {
  std::string name;  ///< Safe to embed.
  std::string sql;
};

/// Terms added up in pairs: databases limit how deep an expression may be.
[[nodiscard]] std::string SumSql(const std::vector<std::string>& terms);

/// `CASE value WHEN 'a' THEN 1 WHEN ... END`; NULL for any other value.
[[nodiscard]] std::string ChoiceSql(const std::string& value,
                                    const std::vector<std::pair<std::string, std::string>>& when);

/// Whether a number is finite and not what stands for a missing one, in SQL; NULL for NULL. NaN is
/// above all numbers in some databases, and no number in others.
[[nodiscard]] std::string IsNumberSql(const std::string& value);

/// The number itself where `condition` holds, elsewhere NULL.
[[nodiscard]] std::string OnlyWhere(const std::string& condition, const std::string& value);

/// How a step of a query is computed.
enum class StepKind {
  kPlain,
  kDistinct,  ///< Each row once.
  /// Before what reads it: databases that put its columns in the place of their names would compute
  /// them as often as they are named. A function over all rows keeps them from doing so, and where
  /// the rows are distinct in any case, asking for that.
  kFinished
};

/// A query in steps, each over the columns of the one before: `WITH ... SELECT ... FROM ...`.
class SteppedQuery {
 public:
  /// The first step reads `table`, which is in quotes. No step has its name.
  explicit SteppedQuery(const std::string& table);

  void Add(std::string_view name, std::vector<SqlColumn> columns, StepKind kind = StepKind::kPlain);

  /// What the next step reads.
  [[nodiscard]] const std::string& Last() const { return last_; }
  /// All steps, for a SELECT to follow; empty without any.
  [[nodiscard]] std::string Text() const { return text_; }

 private:
  std::string prefix_ = "qvreg_";
  std::string last_;
  bool areDistinct_ = false;  ///< Whether a step has made them so.
  std::string text_;
};

/// `name AS sql, ...`, a line each.
[[nodiscard]] std::string ColumnsSql(const std::vector<SqlColumn>& columns);

/// The columns as they are: each is its own name.
[[nodiscard]] std::vector<SqlColumn> SameColumns(const std::vector<SqlColumn>& columns);

}  // namespace qvhost
