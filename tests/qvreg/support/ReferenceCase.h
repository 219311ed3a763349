#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "qvreg/common/Record.h"

namespace qvtest {

/// A covariate and its power in a term.
struct CovariatePower {
  std::string column;
  int power = 1;
};

/// One effect of a model, by column names.
struct ReferenceTerm {
  std::vector<std::string> factors;
  std::vector<CovariatePower> covariates;
  /// Each factor is nested in those before it.
  bool nested = false;
};

/// The model of a reference case, by column names.
struct ReferenceModel {
  std::string dependent;
  bool intercept = true;
  std::vector<ReferenceTerm> terms;
  std::string freqWeight;  ///< Column of the frequency weight; empty for none.
  std::string regrWeight;  ///< Column of the regression weight; empty for none.
  std::string reference;   ///< Of a logistic model: `first`, `last` or a level of the dependent.

  [[nodiscard]] bool IsLogistic() const { return !reference.empty(); }
  /// The model's factors, in the order of their first appearance.
  [[nodiscard]] std::vector<std::string> Factors() const;
  /// The model's covariates, in the order of their first appearance.
  [[nodiscard]] std::vector<std::string> Covariates() const;
};

/// The data of a case as the library reads them: one double per column of the file, factors and the
/// dependent of a logistic model coded by their sorted levels, -1 for a missing category, the
/// missing value for a missing number. Columns that the model does not use are 0.
struct ReferenceTable {
  std::vector<std::string> columns;
  std::map<std::string, std::vector<std::string>> levels;  ///< Of each factor, in code order.
  std::vector<QvCommon::Record> records;

  /// Index of a column. Throws std::runtime_error when there is none.
  [[nodiscard]] int IndexOf(const std::string& column) const;
};

/// A parameter: which effect it belongs to, the levels that select it, and its equation.
struct ReferenceLabel {
  std::string term;  ///< `(Intercept)`, or `C(a):C(b):x:I(z^2)`: factors, then covariates.
  std::map<std::string, std::string> levels;  ///< Level of each factor, by column name.
  std::string category;  ///< Level of a logistic model's dependent; empty for a linear model.

  bool operator==(const ReferenceLabel&) const = default;
};

/// The expected fit of a case, or what the library made of it; tests/reference/README.md explains
/// each value.
struct ReferenceValues {
  int recordsUsed = 0;
  std::vector<ReferenceLabel> labels;
  std::vector<double> estimates;
  std::vector<bool> redundant;

  // Of a linear model.
  std::vector<double> unscaledVariance;
  double rmse = 0.0;
  double rSquare = 0.0;

  // Of a logistic model.
  std::vector<std::string> categories;
  std::vector<double> standardErrors;
  double loglikInitial = 0.0;
  double loglik = 0.0;
  double coxSnell = 0.0;
  double nagelkerke = 0.0;
  double mcFadden = 0.0;
  std::vector<std::vector<double>> classification;
};

/// One reference case of either model. A value.
struct ReferenceCase {
  std::string name;
  ReferenceModel model;
  ReferenceTable table;
  std::optional<ReferenceValues> expected;  ///< None for a case without a maximum.
  int outcome = 0;                          ///< Of such a case: a QvOptimizationOutcome.

  /// The levels of a logistic model's dependent, observed or not, in code order.
  [[nodiscard]] const std::vector<std::string>& DependentLevels() const;
};

/// Reads a case by its file's name in the folder of reference values, without ending, such as
/// `r/nested`. Throws std::runtime_error, or what the JSON reader throws, for a file that is
/// missing or not as described.
[[nodiscard]] ReferenceCase LoadReferenceCase(const std::string& name);

/// The sorted names of the cases in one folder, such as `logistic/fits`. Throws std::runtime_error
/// when there is none.
[[nodiscard]] std::vector<std::string> ReferenceNames(const std::string& folder);

/// A case's name without its folder.
[[nodiscard]] std::string NameInFolder(const std::string& name);

/// As many right digits as a double can show.
inline constexpr double kAllDigits = 16.0;

/// Right decimal digits of a value: of its error relative to the expected value, or to `scale`
/// where that is 0.
[[nodiscard]] double DigitsOf(double got, double expected, double scale = 1.0);

}  // namespace qvtest
