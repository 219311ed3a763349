#include "qvreg/common/QvColumnLoops.h"

namespace QvCommon {

extern const QvKernels kBaselineKernels;
const QvKernels kBaselineKernels = MakeKernels("baseline", MakeColumnKernels());

}  // namespace QvCommon
