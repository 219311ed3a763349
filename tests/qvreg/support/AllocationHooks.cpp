#include "tests/qvreg/support/AllocationHooks.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>

#if defined(_WIN32)
#include <malloc.h>
#endif

namespace {

constexpr long long kNever = std::numeric_limits<long long>::max();

std::atomic<long long> allocationCount{0};
std::atomic<long long> liveAllocations{0};
/// The requests [firstFailing, endOfFailing) fail.
std::atomic<long long> firstFailing{kNever};
std::atomic<long long> endOfFailing{kNever};
std::atomic<bool> hasStruck{false};

bool MustFail() noexcept {
  const long long number = ++allocationCount;
  if (number < firstFailing || number >= endOfFailing) return false;
  hasStruck = true;
  return true;
}

/// Memory of any alignment, which some systems give back another way than other memory.
void* GetAligned(std::size_t size, std::size_t alignment) noexcept {
#if defined(_WIN32)
  return _aligned_malloc(size, alignment);
#else
  // Comes in whole multiples of the alignment.
  return std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
#endif
}

void FreeAligned(void* block) noexcept {
#if defined(_WIN32)
  _aligned_free(block);
#else
  std::free(block);
#endif
}

/// `alignment` 0 stands for that of ordinary memory.
void* Get(std::size_t size, std::size_t alignment) noexcept {
  if (MustFail()) return nullptr;
  const std::size_t wanted = size == 0 ? 1 : size;
  void* block = alignment == 0 ? std::malloc(wanted) : GetAligned(wanted, alignment);
  if (block != nullptr) ++liveAllocations;
  return block;
}

void* GetOrThrow(std::size_t size, std::size_t alignment) {
  if (void* block = Get(size, alignment)) return block;
  throw std::bad_alloc();
}

void Release(void* block, void (*give)(void*) = std::free) noexcept {
  if (block == nullptr) return;
  --liveAllocations;
  give(block);
}

void ReleaseAligned(void* block) noexcept { Release(block, FreeAligned); }

constexpr std::size_t kPlain = 0;

constexpr std::size_t Value(std::align_val_t alignment) {
  return static_cast<std::size_t>(alignment);
}

}  // namespace

void* operator new(std::size_t size) { return GetOrThrow(size, kPlain); }
void* operator new[](std::size_t size) { return GetOrThrow(size, kPlain); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Get(size, kPlain); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Get(size, kPlain); }
void* operator new(std::size_t size, std::align_val_t alignment) {
  return GetOrThrow(size, Value(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return GetOrThrow(size, Value(alignment));
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return Get(size, Value(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return Get(size, Value(alignment));
}

void operator delete(void* block) noexcept { Release(block); }
void operator delete[](void* block) noexcept { Release(block); }
void operator delete(void* block, std::size_t) noexcept { Release(block); }
void operator delete[](void* block, std::size_t) noexcept { Release(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { Release(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { Release(block); }
void operator delete(void* block, std::align_val_t) noexcept { ReleaseAligned(block); }
void operator delete[](void* block, std::align_val_t) noexcept { ReleaseAligned(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { ReleaseAligned(block); }
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept {
  ReleaseAligned(block);
}
void operator delete(void* block, std::align_val_t, const std::nothrow_t&) noexcept {
  ReleaseAligned(block);
}
void operator delete[](void* block, std::align_val_t, const std::nothrow_t&) noexcept {
  ReleaseAligned(block);
}

namespace qvtest {

long long AllocationCount() { return allocationCount; }

long long LiveAllocations() { return liveAllocations; }

AllocationFault::AllocationFault(long long n, Extent extent) {
  hasStruck = false;
  const long long first = allocationCount + n;
  endOfFailing = extent == Extent::kOnce ? first + 1 : kNever;
  firstFailing = first;
}

AllocationFault::~AllocationFault() { firstFailing = kNever; }

bool AllocationFault::HasStruck() const { return hasStruck; }

}  // namespace qvtest
