#include "qvreg/c/qvreg_c_types.h"

#include "qvreg/QvVersion.h"
#include "qvreg/c/QvCMessages.h"
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
static_assert(static_cast<int>(QVREG_MODEL_LINEAR) == QvConst::QvRegModelGLM);
static_assert(static_cast<int>(QVREG_MODEL_LOGISTIC) == QvConst::QvRegModelLogistic);
static_assert(static_cast<int>(QVREG_ROLE_NONE) == QvConst::QvVarNone);
static_assert(static_cast<int>(QVREG_ROLE_FREQ_WEIGHT) == QvConst::QvVarFreqWeight);
static_assert(static_cast<int>(QVREG_ROLE_REGR_WEIGHT) == QvConst::QvVarRegrWeight);
static_assert(static_cast<int>(QVREG_ROLE_FACTOR) == QvConst::QvVarFactor);
static_assert(static_cast<int>(QVREG_ROLE_COVARIATE) == QvConst::QvVarCovariate);
static_assert(static_cast<int>(QVREG_ROLE_DEPENDENT) == QvConst::QvVarDependent);
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

}  // namespace

int32_t qvreg_version() {
  return QVREG_VERSION_MAJOR * kMajor + QVREG_VERSION_MINOR * kMinor + QVREG_VERSION_PATCH;
}

const char* qvreg_version_string() { return QVREG_VERSION_STRING; }

const char* qvreg_code_text(int32_t code) { return QvCMessages::Text(code); }
