#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/fit/FitOptions.h"
#include "host/fit/FitResult.h"
#include "host/fit/Interrupt.h"
#include "host/fit/OutputFiles.h"
#include "host/fit/ProgressBar.h"
#include "host/table/ColumnInfo.h"

namespace qvhost {

/// The levels that a factor, or a dependent, is to have. A plain value.
struct GivenLevels {
  std::string name;                 ///< As SpooledColumn::name.
  std::optional<ColumnKind> kind;   ///< Of the values that they were made of; none: as here.
  std::vector<std::string> levels;  ///< By code; no two are equal.
};

/// What to spool, and where to. A plain value.
struct SpoolOptions {
  FitOptions fit;           ///< The source, the model, and how to read; the rest is not asked.
  std::string out;          ///< File for the records; empty for none.
  bool onlyLevels = false;  ///< Read the columns with levels alone; `out` is empty.
  std::string levelsFile;   ///< Where `levels` are from; empty: levels are those that occur.
  std::vector<GivenLevels> levels = {};  ///< Of every factor.
};

/// A position of the records. A plain value.
struct SpooledColumn {
  enum class Role { kDependent, kFactor, kCovariate, kFreqWeight, kRegressionWeight };

  std::string name;  ///< A column, or what the formula says.
  Role role = Role::kDependent;
  ColumnKind kind = ColumnKind::kNumber;  ///< Of its values before they were coded.
  std::string type;                       ///< DuckDB's name of that.
  bool hasLevels = false;                 ///< It holds codes of levels, and else numbers.
  std::vector<std::string> levels;        ///< By code.
  /// Records without a value, and the lowest and the highest number; none where it was not read,
  /// or has no number.
  std::optional<std::int64_t> missing;
  std::optional<double> lowest;
  std::optional<double> highest;
};

/// A term of the formula, as an effect of the library takes it: positions. A plain value.
struct SpooledEffect {
  struct Factor {
    int column = 0;
    bool isNested = false;  ///< In all factors before it.
  };
  struct Covariate {
    int column = 0;
    int power = 1;
  };

  std::string term;  ///< For people.
  std::vector<Factor> factors;
  std::vector<Covariate> covariates;
};

/// What was spooled. A plain value.
struct SpoolResult {
  ModelKind kind = ModelKind::kLinear;
  std::string formula;
  std::string data;
  std::string where;  ///< Empty for none.
  std::int64_t records = 0;
  std::int64_t leftOut = 0;  ///< Rows for which the condition is not true.
  std::string out;           ///< Empty for none.
  bool hasIntercept = true;
  std::vector<SpooledColumn> columns;  ///< By position.
  std::vector<SpooledEffect> effects;
  std::vector<std::string> warnings;
};

/// Codes a table for a formula, as RunFit does, and writes the records to the file of `outputs`
/// that the options name; the caller commits it. Rows without a value are records like others.
///
/// Throws Error and Cancelled as RunFit does, and Error (kBadInput) for a formula with scale() or
/// center(), whose values no row has by itself, and where levels are given, for a factor without
/// any and for a value that is none of them: the source, the row, the column and the value are
/// named.
[[nodiscard]] SpoolResult SpoolTable(const SpoolOptions& options, ProgressBar& progress,
                                     Interrupt& interrupt, OutputFiles& outputs);

}  // namespace qvhost
