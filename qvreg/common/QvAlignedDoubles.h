#pragma once

#include <cstddef>
#include <new>
#include <vector>

namespace QvCommon {

/// Allocates so that the first element begins a cache line: a vector of eight numbers that begins
/// elsewhere is read from two lines. A value without state.
template <typename T>
class QvAlignedAllocator {
 public:
  // Names that the standard library asks for.
  // NOLINTBEGIN(readability-identifier-naming)
  using value_type = T;

  QvAlignedAllocator() = default;
  /// Allocators of all types are alike.
  template <typename Other>
  // NOLINTNEXTLINE(google-explicit-constructor)
  QvAlignedAllocator(const QvAlignedAllocator<Other>& /*other*/) noexcept {}

  /// Storage for n elements. May throw std::bad_alloc.
  T* allocate(std::size_t n) { return static_cast<T*>(::operator new(n * sizeof(T), kLine)); }
  /// Gives it back.
  void deallocate(T* first, std::size_t /*n*/) noexcept { ::operator delete(first, kLine); }
  // NOLINTEND(readability-identifier-naming)

  template <typename Other>
  bool operator==(const QvAlignedAllocator<Other>& /*other*/) const {
    return true;
  }

 private:
  static constexpr std::align_val_t kLine{64};
};

/// Numbers that the kernels read, from the start of a cache line on.
using QvAlignedDoubles = std::vector<double, QvAlignedAllocator<double>>;

}  // namespace QvCommon
