#include "host/fit/OptimizationEnding.h"

#include <array>
#include <cstddef>
#include <string_view>

#include <fmt/format.h>

namespace qvhost {

namespace {

struct OutcomeWords {
  std::string_view name;
  std::string_view ending;  ///< {} stands for the number of iterations.
};

// By the number of the outcome.
constexpr std::array<OutcomeWords, 10> kOutcomes = {{
    {"not_finished", "Stopped after {}, not finished."},
    {"loglik_converged", "Converged after {}: the log-likelihood settled."},
    {"parameters_converged", "Converged after {}: the estimates settled."},
    {"both_converged", "Converged after {}: the log-likelihood and the estimates settled."},
    {"singular_information", "Stopped after {}: the information matrix is singular."},
    {"step_halving_failed", "Stopped after {}: no shorter step raised the log-likelihood."},
    {"max_iterations", "Stopped after {}, the most allowed, before the estimates settled."},
    {"complete_separation", "Stopped after {}: the levels are completely separated."},
    {"quasi_complete_separation", "Stopped after {}: the levels are quasi-completely separated."},
    {"no_iterations", "Nothing was iterated: the starting values are the estimates."},
}};

const OutcomeWords& WordsOf(QvOptimizationOutcome outcome) {
  return kOutcomes.at(static_cast<std::size_t>(outcome));
}

}  // namespace

std::string OutcomeName(QvOptimizationOutcome outcome) {
  return std::string(WordsOf(outcome).name);
}

std::string EndingText(QvOptimizationOutcome outcome, int iterations) {
  const std::string count = fmt::format("{} iteration{}", iterations, iterations == 1 ? "" : "s");
  return fmt::format(fmt::runtime(WordsOf(outcome).ending), count);
}

}  // namespace qvhost
