#pragma once

#include <map>
#include <string>
#include <vector>

#include "qvreg/common/Record.h"
#include "tests/qvreg/support/ReferenceModel.h"

namespace qvtest {

/// A column of the expected fit: which effect it belongs to and the levels that select it.
struct ReferenceLabel {
  std::string term;  ///< `(Intercept)`, or `C(a):C(b):x:I(z^2)`: factors, then covariates.
  std::map<std::string, std::string> levels;  ///< Level of each factor, by column name.

  bool operator==(const ReferenceLabel&) const = default;
};

/// The expected fit of a case; tests/reference/README.md explains each value.
struct ReferenceValues {
  int recordsUsed = 0;
  std::string freqWeight;  ///< Column of the frequency weight; empty for none.
  std::string regrWeight;  ///< Column of the regression weight; empty for none.
  std::vector<ReferenceLabel> labels;
  std::vector<double> estimates;
  std::vector<bool> redundant;
  std::vector<double> unscaledVariance;
  double rmse = 0.0;
  double rSquare = 0.0;
};

/// The data of a case as the library reads them: one double per column of the file, factors coded
/// by their sorted levels, -1 for a missing category, the missing value for a missing number.
struct ReferenceTable {
  std::vector<std::string> columns;
  std::map<std::string, std::vector<std::string>> levels;  ///< Of each factor, in code order.
  std::vector<QvCommon::Record> records;

  /// Index of a column. Throws std::runtime_error when there is none.
  [[nodiscard]] int IndexOf(const std::string& column) const;
};

/// One reference fit: model, data and expected values. A value.
struct ReferenceCase {
  ReferenceModel model;
  ReferenceValues expected;
  ReferenceTable table;
};

/// Reads a model's CSV and JSON. Throws std::runtime_error, or what the JSON reader throws, for a
/// file that is missing or not as described.
[[nodiscard]] ReferenceCase LoadReferenceCase(const ReferenceModel& model);

/// Names of all cases on disk, such as `r/nested`: every JSON file in a folder of reference values.
[[nodiscard]] std::vector<std::string> ReferenceNamesOnDisk();

}  // namespace qvtest
