#include "qvreg/common/QvKernelLoops.h"

namespace QvCommon {

extern const QvKernels kV3Kernels;
const QvKernels kV3Kernels = MakeKernels("v3");

}  // namespace QvCommon
