// Calls of the C interface in any order, by a host that does not keep its promises.
#include <cstddef>
#include <cstdint>

#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/CallSession.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  constexpr int kMostCalls = 60;
  FuzzedDataProvider data(bytes, size);
  qvfuzz::CallSession session(data);
  if (data.ConsumeIntegralInRange(0, 7) != 7) session.MakeModel();
  for (int i = 0; i < kMostCalls && data.remaining_bytes() > 0; ++i) session.MakeCall();
  return 0;
}
