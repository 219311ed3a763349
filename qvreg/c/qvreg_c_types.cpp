#include "qvreg/c/qvreg_c_types.h"

#include "qvreg/QvVersion.h"
#include "qvreg/c/QvCMessages.h"
#include "qvreg/common/Constants.h"
#include "qvreg/component/QvStatusCodes.h"
#include "qvreg/logistic/QvOptimizationOutcome.h"
#include "qvreg/settings/QvConst.h"

static_assert(QVREG_MISSING_VALUE == QvMV::gMissingValue);
static_assert(QVREG_NO_DEPENDENT == QvStatusCode::kNoDependent);
static_assert(QVREG_REFERENCE_NOT_OBSERVED == QvStatusCode::kReferenceNotObserved);
static_assert(static_cast<int>(QVREG_MODEL_LOGISTIC) == QvConst::QvRegModelLogistic);
static_assert(static_cast<int>(QVREG_ROLE_DEPENDENT) == QvConst::QvVarDependent);
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
