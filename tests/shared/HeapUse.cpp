#include "tests/shared/HeapUse.h"

#include <malloc.h>

namespace qvtest {

#if defined(_WIN32)

std::size_t HeapBytesInUse() {
  std::size_t bytes = 0;
  _HEAPINFO block{};
  while (_heapwalk(&block) == _HEAPOK) {
    if (block._useflag == _USEDENTRY) bytes += block._size;
  }
  return bytes;
}

#elif defined(__GLIBC__)

std::size_t HeapBytesInUse() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

#else

std::size_t HeapBytesInUse() { return 0; }

#endif

}  // namespace qvtest
