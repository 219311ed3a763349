#include "host/fit/StatusText.h"

#include <algorithm>
#include <array>
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
             "The run stopped because one of its stages did not take place. This is a defect of "
             "qvreg; please report it."},
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
};

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

}  // namespace qvhost
