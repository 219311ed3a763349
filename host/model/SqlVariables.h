#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/fit/SavedModel.h"
#include "host/model/ModelEquations.h"
#include "host/model/SqlText.h"

namespace qvhost {

/// The columns that a model reads of a table, and what its variables make of them, in SQL that
/// databases share: c1, c2, ... for the columns, then v3 for the number and r2 for the value before
/// it is a level of the variable at that place of the component's records. What is missing is NULL.
///
/// Borrows the model.
class SqlVariables {
 public:
  /// Of the variables that the equations read. Throws Error (kBadInput) for one that has no form
  /// that databases share.
  SqlVariables(const SavedModel& model, const ModelEquations& equations);

  /// The columns of the table, quoted, with their names here.
  [[nodiscard]] const std::vector<SqlColumn>& Columns() const { return columns_; }
  /// The values of the variables, over these names.
  [[nodiscard]] const std::vector<SqlColumn>& Values() const { return values_; }

  [[nodiscard]] static std::string NumberName(int position);
  [[nodiscard]] static std::string LevelName(int position);
  /// What a factor's value is compared with, as SQL literals: one or another of them.
  [[nodiscard]] std::vector<std::string> LevelSql(int position, int code) const;

 private:
  [[nodiscard]] const SavedVariable& VariableAt(int position) const;
  void AddColumn(const std::string& name);
  [[nodiscard]] std::size_t IndexOf(const std::string& name) const;
  [[nodiscard]] const SavedColumn& ColumnAt(std::size_t index) const;
  [[nodiscard]] std::string NameAt(std::size_t index) const;
  void AddValue(const SavedVariable& variable);
  [[nodiscard]] SqlColumn NumberOf(const SavedVariable& variable) const;
  [[nodiscard]] SqlColumn LevelOf(const SavedVariable& variable) const;
  /// The value of an expression where all its columns have one.
  [[nodiscard]] std::string ExpressionSql(const SavedVariable& variable) const;
  /// A column as an expression has it.
  [[nodiscard]] std::string OperandSql(std::size_t index) const;
  /// Whether a column has a value.
  [[nodiscard]] std::string PresenceSql(std::size_t index) const;

  const SavedModel& model_;
  std::vector<std::string> names_;  ///< Of the columns, as the data spell them.
  std::vector<SqlColumn> columns_;
  std::vector<SqlColumn> values_;
};

}  // namespace qvhost
