#include "tests/qvreg/support/AllocationHooks.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>

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

void* Get(std::size_t size, std::size_t alignment) noexcept {
  if (MustFail()) return nullptr;
  const std::size_t wanted = size == 0 ? 1 : size;
  // Memory of a larger alignment comes in whole multiples of it.
  void* block =
      alignment <= alignof(std::max_align_t)
          ? std::malloc(wanted)
          : std::aligned_alloc(alignment, (wanted + alignment - 1) / alignment * alignment);
  if (block != nullptr) ++liveAllocations;
  return block;
}

void* GetOrThrow(std::size_t size, std::size_t alignment) {
  if (void* block = Get(size, alignment)) return block;
  throw std::bad_alloc();
}

void Release(void* block) noexcept {
  if (block == nullptr) return;
  --liveAllocations;
  std::free(block);
}

constexpr std::size_t kPlain = alignof(std::max_align_t);

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
void operator delete(void* block, std::align_val_t) noexcept { Release(block); }
void operator delete[](void* block, std::align_val_t) noexcept { Release(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { Release(block); }
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept { Release(block); }
void operator delete(void* block, std::align_val_t, const std::nothrow_t&) noexcept {
  Release(block);
}
void operator delete[](void* block, std::align_val_t, const std::nothrow_t&) noexcept {
  Release(block);
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
