#pragma once

#include <optional>
#include <string>
#include <vector>

namespace qvhost {

/// A level of the dependent that occurs in the records used.
struct DependentLevel {
  std::string level;
  double weight = 0.0;  ///< Sum of its records' frequency weights.
};

/// What a logistic model has beyond its parameters. A plain value; numbers are finite or absent.
struct LogisticFit {
  std::vector<DependentLevel> levels;  ///< In the library's order: the reference last.
  bool inMemory = false;               ///< Whether the records were kept in memory.
  int iterations = 0;
  int stepHalvings = 0;    ///< Of all iterations together.
  int outcomeCode = 0;     ///< The number of the library's outcome for how they all ended.
  bool converged = false;  ///< Whether the estimates are the best there are.
  std::string outcome;     ///< The same as a word: `parameters_converged`.
  std::string ending;      ///< The same as a sentence.
  std::optional<double> initialLogLikelihood;  ///< Of the intercepts alone.
  std::optional<double> logLikelihood;
  std::optional<double> logLikelihoodChange;  ///< The last one, a share or not as asked.
  std::optional<double> parameterChange;
  std::optional<double> chiSquare;  ///< Likelihood ratio against the intercepts alone.
  int chiSquareDegrees = 0;
  std::optional<double> chiSquareP;
  std::optional<double> coxSnell;
  std::optional<double> nagelkerke;
  std::optional<double> mcFadden;
  std::optional<double> aic;
  std::optional<double> bic;  ///< With the total frequency weight as the number of records.
  /// Sums of frequency weights: rows observed, columns predicted, in the order of `levels`.
  std::vector<std::vector<double>> classification;
};

}  // namespace qvhost
