#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/fit/FitResult.h"
#include "host/fit/GridPlan.h"
#include "host/fit/ValidationOptions.h"
#include "host/formula/Formula.h"
#include "host/formula/Variable.h"
#include "host/table/ColumnInfo.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// Finds the columns of `formula` in a table. A name means the column that is spelled so, or else
/// the one that differs from it in upper and lower case alone. The lookup throws FormulaError when
/// there is none (with the nearest name) or several; `source` and `formula` must outlive it.
[[nodiscard]] ColumnLookup ColumnsOf(const TableSource& source, std::string_view formula);

/// The column that an option of the command names; found the same way. Throws Error (kBadInput).
[[nodiscard]] const ColumnInfo& ColumnOfOption(const TableSource& source, const std::string& name,
                                               std::string_view option);

/// The SQL of a variable's values for the coder; `info` is the type of the variable's own SQL.
///
/// A column is its name. An expression is missing (NULL) where one of its columns is, or one of its
/// gaps, whatever its operators make of missing values. Anywhere else it has a value, or the query
/// ends with an error that names the expression and the values of its columns: the logarithm of a
/// negative number does not count as a missing value.
[[nodiscard]] std::string ValueSql(const Variable& variable, const ColumnInfo& info,
                                   const TableSource& source);

/// Which rows of a table are used. A plain value.
struct RowCondition {
  std::string sql;                   ///< An expression over the table's columns.
  std::vector<std::string> columns;  ///< Those that it reads.
  std::vector<std::string> notes;    ///< As those of Variable.
};

/// Reads the condition of --where: an expression as a formula has it, and `is null`. As in SQL, a
/// row is used where it is true, and not where it is neither true nor false because a value is
/// missing; a value that is missing for a model (NaN) is so here. Throws Error (kBadInput), with a
/// caret where the text is to blame.
[[nodiscard]] RowCondition ReadCondition(const std::string& text, const TableSource& source);

/// The error message for a table without records.
inline constexpr const char* kNoRecordText =
    "The data hold no record. Check that the file, the pattern or the query gives rows.";

/// The most values of a number that is the dependent of a logistic model, unless C() is written.
inline constexpr std::size_t kMostNumericLevels = 1000;

/// The most values of a text that is the dependent of a model not requested to be logistic.
inline constexpr std::size_t kMostTextLevels = 50;

/// What binding needs besides the formula. Empty texts and options are "not given".
struct BindingOptions {
  std::optional<ModelKind> model;  ///< None: by the type of the dependent.
  std::string freqWeight;          ///< Column names.
  std::string regressionWeight;
  std::string cluster = {};  ///< The column of clusters.
  ValidationOptions validation = {};
  std::vector<std::string> bases =
      {};  ///< Each FACTOR=LEVEL: the level the others are compared with.
  std::vector<std::string> levels = {};  ///< Each FACTOR=LEVEL,LEVEL,...: their order.
  bool hasGrid = false;                  ///< Means over a grid of the variables are asked for.
};

/// The positions of a formula's variables in the coded records. A plain value.
///
/// A record holds the dependent (a number, or for a logistic model the code of its level), the
/// factors, the covariates, the frequency weight, the regression weight, the cluster, columns that
/// covariates are computed of, and the part that the record belongs to (see RecordParts.h), in this
/// order. A column with several roles stands there once for each.
struct ModelBinding {
  ModelKind kind = ModelKind::kLinear;
  bool isKindByType = true;            ///< And not asked for.
  std::vector<ColumnRequest> columns;  ///< One for each position of a record.
  std::vector<bool> isFactor;          ///< For each of Formula::variables.
  std::vector<int> positions;          ///< For each of Formula::variables.
  int factorCount = 0;
  int covariateCount = 0;
  int freqWeight = -1;  ///< Position; -1 for none.
  int regressionWeight = -1;
  int cluster = -1;  ///< Of the clusters' codes, a position without a role in the model.
  /// Of BindingOptions::hasGrid; its axes that are no variables have positions without a role, too.
  std::optional<GridPlan> grid = std::nullopt;
  int part = -1;
  int partCount = 0;  ///< Above 0: only records of parts below it are used.

  static constexpr int kDependent = 0;  ///< Its position.
};

/// Binds a formula, which was read with the table's own columns (ColumnsOf), to the table:
/// determines the roles. Text, booleans and enumerations are factors, numbers are covariates,
/// C(...) makes a factor of anything.
///
/// Throws FormulaError, which points into the formula, for an expression that makes no sense, a
/// type that has no role, a power of a factor, and a dependent that does not suit the model; Error
/// (kBadInput) for a weight column or a factor of the options that does not exist (a weight that is
/// no number, and a level that does not exist, are refused when the table is coded).
[[nodiscard]] ModelBinding BindModel(const Formula& formula, const TableSource& source,
                                     const BindingOptions& options);

/// The name of a factor without C(...): the key of its levels in a report.
[[nodiscard]] std::string PlainName(const Variable& factor);

}  // namespace qvhost
