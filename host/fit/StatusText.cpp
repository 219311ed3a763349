#include "host/fit/StatusText.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include <fmt/format.h>

#include "qvreg/common/QvStatusCodes.h"

namespace qvhost {
namespace {

struct CodeText {
  long code;
  std::string_view text;
};

// What only a defect of the command itself could raise says so.
constexpr std::array kTexts = {
    CodeText{QvStatusCode::kOK, "The model was fitted."},
    CodeText{QvStatusCode::kCancelled, "Cancelled."},
    CodeText{QvStatusCode::kNoDependent, "The model has no dependent; write it left of the '~'."},
    CodeText{
        QvStatusCode::kEmptyModel,
        "The model is empty: it has neither an intercept nor a term. Add a term to the formula "
        "or keep the intercept."},
    CodeText{QvStatusCode::kStageMissing,
             "Numbers left the range of a double: the product of two weights, or a predictor. "
             "Multiply the weights by a constant, or scale the covariates."},
    CodeText{QvStatusCode::kNoFurtherPass,
             "The temporary file could not be read again from its start. Check the disk, or name "
             "another folder with --spool-dir."},
    CodeText{QvStatusCode::kTooManyParameters,
             "The model needs more memory than there is. Leave out factors or crossings with many "
             "levels."},
    CodeText{QvStatusCode::kDataProcessed,
             "The run read its data twice. This is a defect of qvreg; please report it."},
    CodeText{QvStatusCode::kNoRecords,
             "No record could be used: each has a missing value, or a weight that is not above 0."},
    CodeText{
        QvStatusCode::kNothingToFit,
        "Nothing was left to fit: the weights of the records used add up to nothing. Check the "
        "weight columns."},
    CodeText{QvStatusCode::kNoParameters,
             "No record of the temporary file reached the model after the first pass. Check the "
             "disk, or "
             "name another folder with --spool-dir."},
    CodeText{QvStatusCode::kAlreadyBuilt,
             "The run built its model twice. This is a defect of qvreg; please report it."},
    CodeText{QvStatusCode::kNotBuilt,
             "The run ended without a model. This is a defect of qvreg; please report it."},
    CodeText{QvStatusCode::kRecordMissing,
             "A record of the temporary file was announced and not delivered. This is a defect of "
             "qvreg; please report it."},
    CodeText{QvStatusCode::kDataNotProcessed,
             "A record could not be added to the model. This is a defect of qvreg; please report "
             "it."},
    CodeText{QvStatusCode::kUnreadableRecord,
             "The temporary file could not be read to its end. Check the disk, or name another "
             "folder with --spool-dir."},
    CodeText{
        QvStatusCode::kShortRecord,
        "A record of the temporary file is too short. This is a defect of qvreg; please report "
        "it."},
    CodeText{
        QvStatusCode::kBadCategory,
        "A factor has a code outside its levels. This is a defect of qvreg; please report it."},
    CodeText{QvStatusCode::kOneCategory,
             "The dependent has fewer than two categories in the records used; there is nothing to "
             "tell apart."},
    CodeText{QvStatusCode::kReferenceNotObserved,
             "The reference category does not occur in the records used; the last one that occurs "
             "takes its place."},
    CodeText{QvStatusCode::kUnreadableMessage,
             "The sums of a pass cannot be read. This is a defect of qvreg; please report it."},
};

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
    {"step_halving_failed", "Stopped after {}: no shorter step raised the log-likelihood enough."},
    {"max_iterations", "Stopped after {}, the most allowed, before the estimates settled."},
    {"complete_separation", "Stopped after {}: the levels are completely separated."},
    {"quasi_complete_separation", "Stopped after {}: the levels are quasi-completely separated."},
    {"no_iterations", "Nothing was iterated: the starting values are the estimates."},
}};

const OutcomeWords& WordsOf(QvOptimizationOutcome outcome) {
  return kOutcomes.at(static_cast<std::size_t>(outcome));
}

}  // namespace

std::string StatusText(const QvCommon::QvStatus& status) {
  long parameters = 0;
  long bound = 0;
  // Within the bound it was memory that ran out.
  if (status.GetCode() == QvStatusCode::kTooManyParameters &&
      status.GetDiscreteDatum(0, parameters) && status.GetDiscreteDatum(1, bound) &&
      parameters > bound) {
    return fmt::format(
        "The model has {} parameters, and {} is the most it may have. Leave out "
        "factors or crossings with many levels.",
        parameters, bound);
  }
  const auto* found = std::find_if(kTexts.begin(), kTexts.end(), [&](const CodeText& entry) {
    return entry.code == status.GetCode();
  });
  if (found == kTexts.end()) {
    return fmt::format(
        "The run stopped with the unknown status {}. This is a defect of qvreg; "
        "please report it.",
        status.GetCode());
  }
  return std::string(found->text);
}

std::string OutcomeName(QvOptimizationOutcome outcome) {
  return std::string(WordsOf(outcome).name);
}

std::string EndingText(QvOptimizationOutcome outcome, int iterations) {
  const std::string count = fmt::format("{} iteration{}", iterations, iterations == 1 ? "" : "s");
  return fmt::format(fmt::runtime(WordsOf(outcome).ending), count);
}

}  // namespace qvhost
