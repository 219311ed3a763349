#include "qvreg/common/QvKernels.h"

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <string_view>

#include "qvreg/common/QvPlatform.h"

namespace QvCommon {

// Each set is compiled for its kind of machine, from the same loops.
extern const QvKernels kBaselineKernels;
#if defined(QVREG_WIDE_KERNELS)
extern const QvKernels kV3Kernels;
extern const QvKernels kV4Kernels;
#endif

namespace {

const QvKernels& Choose() {
  const std::vector<const QvKernels*> sets = QvKernels::GetAll();
  const char* wanted = std::getenv("QVREG_ARITHMETIC");
  for (const QvKernels* set : sets) {
    if (wanted != nullptr && std::string_view(wanted) == set->fName) return *set;
  }
  return *sets.back();
}

}  // namespace

bool QvKernels::AreUsual(std::size_t n, const double* numbers) {
  bool areUsual = true;
  for (std::size_t j = 0; j < n; ++j) areUsual &= std::fabs(numbers[j]) < 0x1p+300;
  return areUsual;
}

std::vector<const QvKernels*> QvKernels::GetAll() {
  std::vector<const QvKernels*> sets{&kBaselineKernels};
#if defined(QVREG_WIDE_KERNELS)
  const bool isV3 = __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0;
  const bool isV4 = isV3 && __builtin_cpu_supports("avx512f") != 0 &&
                    __builtin_cpu_supports("avx512dq") != 0 &&
                    __builtin_cpu_supports("avx512vl") != 0;
  if (isV3) sets.push_back(&kV3Kernels);
  if (isV4) sets.push_back(&kV4Kernels);
#endif
  return sets;
}

const QvKernels& QvKernels::Get() {
  // A constant to begin with: what guards the initialization by a function is left behind by
  // mingw-w64's run-time library when the library is unloaded.
  static std::atomic<const QvKernels*> chosen = nullptr;
  const QvKernels* kernels = chosen.load(std::memory_order_relaxed);
  if (kernels == nullptr) {
    kernels = &Choose();
    chosen.store(kernels, std::memory_order_relaxed);
  }
  return *kernels;
}

}  // namespace QvCommon
