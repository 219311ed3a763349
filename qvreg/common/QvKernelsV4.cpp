#include "qvreg/common/QvColumnLoops.h"

namespace QvCommon {

extern const QvKernels kV4Kernels;
const QvKernels kV4Kernels = MakeKernels("v4", MakeColumnKernels());

}  // namespace QvCommon
