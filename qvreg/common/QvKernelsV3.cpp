#include "qvreg/common/QvColumnLoops.h"

namespace QvCommon {

extern const QvKernels kV3Kernels;
const QvKernels kV3Kernels = MakeKernels("v3", MakeColumnKernels());

}  // namespace QvCommon
