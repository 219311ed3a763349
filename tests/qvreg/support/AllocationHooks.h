#pragma once

namespace qvtest {

/// The executable's operator new and delete count what they hand out and take back, on all threads.

/// How many blocks were asked for so far, failed requests included.
[[nodiscard]] long long AllocationCount();
/// How many blocks are in use now.
[[nodiscard]] long long LiveAllocations();

/// Makes an allocation fail, from construction to destruction. One at a time.
class AllocationFault {
 public:
  enum class Extent {
    kOnce,      ///< The n-th allocation fails, later ones succeed.
    kEverAfter  ///< The n-th and all later ones fail.
  };

  /// `n` counts from 1, starting at this moment.
  AllocationFault(long long n, Extent extent);
  AllocationFault(const AllocationFault&) = delete;
  AllocationFault& operator=(const AllocationFault&) = delete;
  ~AllocationFault();

  /// True once an allocation was made to fail.
  [[nodiscard]] bool HasStruck() const;
};

}  // namespace qvtest
