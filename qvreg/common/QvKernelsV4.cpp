#include "qvreg/common/QvKernelLoops.h"

namespace QvCommon {

extern const QvKernels kV4Kernels;
const QvKernels kV4Kernels = MakeKernels("v4");

}  // namespace QvCommon
