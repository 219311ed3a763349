#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <string>

#include "qvreg/QvVersion.h"
#include "qvreg/c/QvCReport.h"
#include "qvreg/c/qvreg_c.h"
#include "qvreg/common/Constants.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/logistic/QvIterationReporter.h"
#include "qvreg/settings/QvConst.h"

static_assert(QVREG_MISSING_VALUE == QvMV::gMissingValue);
// The numbers of the classes, which never change: hosts keep tables by them.
static_assert(QVREG_OK == QvStatusCode::kOK);
static_assert(QVREG_CANCELLED == QvStatusCode::kCancelled);
static_assert(QVREG_NO_DEPENDENT == QvStatusCode::kNoDependent);
static_assert(QVREG_EMPTY_MODEL == QvStatusCode::kEmptyModel);
static_assert(QVREG_STAGE_MISSING == QvStatusCode::kStageMissing);
static_assert(QVREG_NO_FURTHER_PASS == QvStatusCode::kNoFurtherPass);
static_assert(QVREG_TOO_MANY_PARAMETERS == QvStatusCode::kTooManyParameters);
static_assert(QVREG_DATA_PROCESSED == QvStatusCode::kDataProcessed);
static_assert(QVREG_NO_RECORDS == QvStatusCode::kNoRecords);
static_assert(QVREG_NOTHING_TO_FIT == QvStatusCode::kNothingToFit);
static_assert(QVREG_NO_PARAMETERS == QvStatusCode::kNoParameters);
static_assert(QVREG_ALREADY_BUILT == QvStatusCode::kAlreadyBuilt);
static_assert(QVREG_NOT_BUILT == QvStatusCode::kNotBuilt);
static_assert(QVREG_RECORD_MISSING == QvStatusCode::kRecordMissing);
static_assert(QVREG_DATA_NOT_PROCESSED == QvStatusCode::kDataNotProcessed);
static_assert(QVREG_UNREADABLE_RECORD == QvStatusCode::kUnreadableRecord);
static_assert(QVREG_SHORT_RECORD == QvStatusCode::kShortRecord);
static_assert(QVREG_BAD_CATEGORY == QvStatusCode::kBadCategory);
static_assert(QVREG_ONE_CATEGORY == QvStatusCode::kOneCategory);
static_assert(QVREG_REFERENCE_NOT_OBSERVED == QvStatusCode::kReferenceNotObserved);
static_assert(QVREG_UNREADABLE_MESSAGE == QvStatusCode::kUnreadableMessage);
static_assert(static_cast<int>(QVREG_MODEL_LINEAR) == QvConst::QvRegModelGLM);
static_assert(static_cast<int>(QVREG_MODEL_LOGISTIC) == QvConst::QvRegModelLogistic);
static_assert(static_cast<int>(QVREG_FIT_RMSE) == QvConst::QvFitRootMeanSquareError);
static_assert(static_cast<int>(QVREG_FIT_R_SQUARE) == QvConst::QvFitMultipleRSquare);
static_assert(static_cast<int>(QVREG_FIT_COX_SNELL_R_SQUARE) == QvConst::QvFitCoxSnellRSquare);
static_assert(static_cast<int>(QVREG_FIT_NAGELKERKE_R_SQUARE) == QvConst::QvFitNagelkerkeRSquare);
static_assert(static_cast<int>(QVREG_FIT_MCFADDEN_R_SQUARE) == QvConst::QvFitMcFaddenRSquare);
static_assert(static_cast<int>(QVREG_OUTCOME_NO_ITERATIONS) == kOptNoIterations);

namespace {

constexpr std::int32_t kMajor = 0x10000;
constexpr std::int32_t kMinor = 0x100;

static_assert(QVREG_VERSION_MINOR < 0x100 && QVREG_VERSION_PATCH < 0x100);

struct CodeText {
  std::int32_t fCode;
  const char* fText;
};

constexpr std::array kTexts = {
    CodeText{QVREG_OK, ""},
    CodeText{QVREG_CANCELLED, "The run was cancelled; make a new component to run again."},
    CodeText{QVREG_NO_DEPENDENT,
             "The settings name no dependent; set one with qvreg_settings_set_dependent."},
    CodeText{QVREG_EMPTY_MODEL,
             "The model is empty: it has neither an intercept nor an effect. Add an effect or use "
             "the intercept."},
    CodeText{QVREG_STAGE_MISSING,
             "A stage of the run did not take place: call the functions of a component in their "
             "order. Or numbers left the range of a double: the product of two weights, or a "
             "predictor at the starting values."},
    CodeText{QVREG_NO_FURTHER_PASS,
             "The record source could not be read again to its end; it must deliver the same "
             "records in every pass."},
    CodeText{QVREG_TOO_MANY_PARAMETERS,
             "The model needs more memory than there is; leave out factors or crossings with many "
             "categories."},
    CodeText{QVREG_DATA_PROCESSED,
             "The parameters of this component were created before; the component has ended with "
             "this call, and a new one is needed."},
    CodeText{QVREG_NO_RECORDS,
             "No record could be used: there is none, or each has a missing value or a weight that "
             "is not above 0. Check the data and the roles of the variables."},
    CodeText{QVREG_NOTHING_TO_FIT,
             "Nothing was left to fit: the weights of the records used add up to nothing. Check "
             "the weights."},
    CodeText{QVREG_NO_PARAMETERS,
             "The parameters were not created, since an effect names a variable without the role, "
             "or no record reached the model after the first pass. Check the settings, and that "
             "every pass delivers the same records."},
    CodeText{QVREG_ALREADY_BUILT,
             "The model of this component is built; the component has ended with this call, and a "
             "new one is needed. Results taken before stay usable."},
    CodeText{QVREG_NOT_BUILT,
             "The model of this component is not built; call qvreg_component_build first."},
    CodeText{QVREG_RECORD_MISSING,
             "The record source announced a record and delivered none; check the source."},
    CodeText{QVREG_DATA_NOT_PROCESSED,
             "A record could not be added to the model; check that every pass delivers the same "
             "records."},
    CodeText{QVREG_UNREADABLE_RECORD, "A record could not be read; check the record source."},
    CodeText{QVREG_SHORT_RECORD,
             "The record has fewer values than the settings name variables; check the record size "
             "and the variables."},
    CodeText{QVREG_BAD_CATEGORY,
             "A variable has a value that is no category code; codes are whole numbers from 0 to "
             "below the number of categories in the settings."},
    CodeText{QVREG_ONE_CATEGORY,
             "The dependent has fewer than two categories in the records used, so that there is "
             "nothing to tell apart; check the data."},
    CodeText{QVREG_REFERENCE_NOT_OBSERVED,
             "The reference category does not occur in the records used; the last one that occurs "
             "takes its place."},
    CodeText{QVREG_UNREADABLE_MESSAGE,
             "The bytes of a pass are damaged, or of another version or another run; compute them "
             "again, with the same version of the library everywhere."},
    CodeText{QVREG_NULL_HANDLE, "A handle is null; pass one that a function handed out."},
    CodeText{QVREG_BAD_HANDLE,
             "A handle is of another kind, or was destroyed; pass one that a function handed out."},
    CodeText{QVREG_NULL_POINTER, "A pointer that the function needs is null; pass a valid one."},
    CodeText{QVREG_BAD_STRUCT_SIZE,
             "The struct_size of a structure is too small; set it to the structure's sizeof."},
    CodeText{QVREG_BUFFER_TOO_SMALL, "A buffer is too short; ask for the length that is needed."},
    CodeText{QVREG_BAD_INDEX, "There is no element of this index; ask for the count first."},
    CodeText{QVREG_BAD_ARGUMENT, "An argument has a value that the function does not take."},
    CodeText{QVREG_SETTING_REFUSED, "The settings do not take the value."},
    CodeText{QVREG_WRONG_MODEL,
             "The operation belongs to the other model; ask for the model first."},
    CodeText{QVREG_NOT_SERVED, "The model has no such number."},
    CodeText{QVREG_CANNOT_OPEN, "The file could not be opened for reading; check its path."},
    CodeText{QVREG_CALLBACK_THREW,
             "An exception came out of a callback; a callback must return to its caller."},
    CodeText{QVREG_OUT_OF_MEMORY, "Memory ran out; free some and try again."},
    CodeText{QVREG_INTERNAL_ERROR,
             "The call ended in an unexpected way; this is a defect of the library, please report "
             "it."},
    CodeText{QVREG_RECORDS_CHANGED,
             "A later pass used another number of records than the first; every pass must deliver "
             "the same records."},
    CodeText{QVREG_REFUSED_VALUE,
             "A column has a value that it is to refuse, or a code that its map does not have; "
             "correct the value, leave the record out, or have it treated as missing."},
};

constexpr const char* kUnknown = "This code is unknown to the library.";

constexpr std::size_t kLongest = 256;

std::string TooMany(long parameters, long bound) {
  return "The model has " + std::to_string(parameters) + " parameters, and " +
         std::to_string(bound) +
         " is the most it may have; leave out factors or crossings with many categories.";
}

std::string OtherStart(long values, long parameters) {
  return "The settings have " + std::to_string(values) + " starting values, and the model has " +
         std::to_string(parameters) +
         " parameters; pass one for each, in the order of the estimates.";
}

std::string BadCategory(long variable, double value) {
  std::array<char, kLongest> text{};
  std::snprintf(text.data(), text.size(),
                "Variable %ld has the value %.15g, which is no category code; codes are whole "
                "numbers from 0 to below the number of categories in the settings.",
                variable, value);
  return text.data();
}

}  // namespace

const char* qvreg_code_text(int32_t code) {
  const auto* found = std::find_if(kTexts.begin(), kTexts.end(),
                                   [code](const CodeText& entry) { return entry.fCode == code; });
  return found == kTexts.end() ? kUnknown : found->fText;
}

std::string QvCText::OfStatus(const QvCommon::QvStatus& status) {
  const auto code = static_cast<std::int32_t>(status.GetCode());
  long first = 0;
  long second = 0;
  double value = 0.0;
  // Within the bound it was memory that ran out.
  if (code == QVREG_TOO_MANY_PARAMETERS && status.GetDiscreteDatum(0, first) &&
      status.GetDiscreteDatum(1, second) && first > second) {
    return TooMany(first, second);
  }
  if (code == QVREG_NO_PARAMETERS && status.GetDiscreteDatum(0, first) &&
      status.GetDiscreteDatum(1, second)) {
    return OtherStart(first, second);
  }
  if (code == QVREG_BAD_CATEGORY && status.GetDiscreteDatum(1, first) &&
      status.GetScaleDatum(1, value)) {
    return BadCategory(first, value);
  }
  return qvreg_code_text(code);
}

int32_t qvreg_version() {
  return QVREG_VERSION_MAJOR * kMajor + QVREG_VERSION_MINOR * kMinor + QVREG_VERSION_PATCH;
}

const char* qvreg_version_string() { return QVREG_VERSION_STRING; }
