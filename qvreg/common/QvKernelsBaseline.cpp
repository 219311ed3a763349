#include "qvreg/common/QvKernelLoops.h"

namespace QvCommon {

extern const QvKernels kBaselineKernels;
const QvKernels kBaselineKernels = MakeKernels("baseline");

}  // namespace QvCommon
