#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/fit/FitResult.h"
#include "host/table/ColumnInfo.h"

namespace qvhost {

/// How the values of a variable were standardized, with all that makes it the same bits again:
/// (value / 2^exponent - mean) / deviation, or without a deviation the difference times 2^exponent.
struct SavedScale {
  double mean = 0.0;  ///< This and the deviation of the values divided by 2^exponent.
  std::optional<double> deviation = std::nullopt;
  int exponent = 0;
};

/// A variable of a model that outlives its fit: the dependent, a factor, a covariate or a weight. A
/// plain value.
struct SavedVariable {
  std::string label;  ///< As in the parameters: `log(price)`, `C(year)`.
  /// What it is called where no two may be called alike: the column's name for a column that is
  /// taken as it is, else the label, with `_` behind it while something else has that name.
  std::string field;
  /// Its values as a formula has them, without C(), scale() and center(), columns spelled as the
  /// data spell them, in back-quotes where they need them: `log(price)`, `year`, `price`.
  std::string expression;
  std::vector<std::string> columns;       ///< Of the data that it reads.
  bool isColumn = true;                   ///< Whether its values are a column's: of C(year), too.
  bool isFactor = false;                  ///< Whether records hold codes of its levels.
  std::vector<std::string> levels;        ///< Of a factor, by code.
  ColumnKind kind = ColumnKind::kNumber;  ///< Of its values, before they became levels.
  /// In the component's records; 0 of the dependent. Records to be scored hold 0 where no variable
  /// is.
  int position = 0;
  std::optional<SavedScale> scale = std::nullopt;
  bool isWeight = false;  ///< A frequency or regression weight, which scoring does without.
};

/// A column of the data that the variables read. A plain value.
struct SavedColumn {
  std::string name;  ///< As the data spell it.
  ColumnKind kind = ColumnKind::kNumber;
  std::string type;  ///< DuckDB's name of the type.
};

/// How the data were read, as far as other data need it to mean the same. A plain value.
struct SavedReading {
  std::vector<std::string> na;  ///< What --na named; empty for the strings of every text file.
  std::optional<char> decimal;
  std::string thousands;
};

/// A fit and all that is needed to score with its model, show it and compare it. A plain value.
struct SavedModel {
  FitResult fit;
  std::vector<SavedColumn> columns;      ///< Each once.
  std::vector<SavedVariable> variables;  ///< The dependent first.
  SavedReading reading;
  std::vector<unsigned char> component;  ///< What IQvRegComponent::WriteModel wrote.
};

}  // namespace qvhost
