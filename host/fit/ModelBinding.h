#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/fit/ModelKind.h"
#include "host/formula/Formula.h"
#include "host/table/ColumnInfo.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// What to say of a table without records.
inline constexpr const char* kNoRecordText =
    "The data hold no record. Check that the file, the pattern or the query gives rows.";

/// How many values a number may have to be the dependent of a logistic model, unless C() asks.
inline constexpr std::size_t kMostNumericLevels = 1000;

/// How many values a text may have to be the dependent of a model that nobody asked to be logistic.
inline constexpr std::size_t kMostTextLevels = 50;

/// What binding needs besides the formula. Empty texts and options are "not given".
struct BindingOptions {
  std::optional<ModelKind> model;  ///< None: by the type of the dependent.
  std::string freqWeight;          ///< Column names.
  std::string regressionWeight;
};

/// Where a formula's variables stand in the coded records. A plain value.
///
/// A record holds the dependent (a number, or for a logistic model the code of its level), the
/// factors, the covariates, the frequency weight and the regression weight, in this order. A column
/// that plays several parts stands there once for each.
struct ModelBinding {
  ModelKind kind = ModelKind::kLinear;
  std::vector<ColumnRequest> columns;  ///< One for each position of a record.
  std::vector<bool> isFactor;          ///< For each of Formula::variables.
  std::vector<int> positions;          ///< For each of Formula::variables.
  int factorCount = 0;
  int covariateCount = 0;
  int freqWeight = -1;  ///< Position; -1 for none.
  int regressionWeight = -1;

  static constexpr int kDependent = 0;  ///< Its position.
};

/// Binds a formula, which was read with the table's own columns (ColumnsOf), to the table: settles
/// the roles. Text, booleans and enumerations are factors, numbers are covariates, C(...) makes a
/// factor of anything.
///
/// Throws FormulaError, which points into the formula, for an expression that makes no sense, a
/// type that has no role, a power of a factor, and a dependent that does not suit the model; Error
/// (kBadInput) for a weight column that does not exist (one that is no number is refused when the
/// table is coded).
[[nodiscard]] ModelBinding BindModel(const Formula& formula, const TableSource& source,
                                     const BindingOptions& options);

/// The name of a factor without C(...): the key of its levels in a report.
[[nodiscard]] std::string PlainName(const Variable& factor);

}  // namespace qvhost
