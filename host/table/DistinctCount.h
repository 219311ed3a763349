#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qvhost {

/// How many different values there are, from their hashes: exactly while there are few enough to
/// keep, then from those hashes alone that fall into a share of all numbers, halved as often as
/// needed (Flajolet, On adaptive sampling, Computing 43, 1990). The relative standard error is
/// about 1.2 / sqrt(most). Does not depend on the order of the values.
class DistinctCount {
 public:
  /// Keeps up to `most` hashes, 64 or more.
  explicit DistinctCount(std::size_t most) : most_(most) {}

  /// One whose bits are all equally likely.
  void Add(std::uint64_t hash) {
    if (hash < least_) return;
    Insert(hash);
  }

  [[nodiscard]] bool IsExact() const { return halvings_ == 0; }
  [[nodiscard]] std::int64_t Value() const {
    return static_cast<std::int64_t>(count_ << halvings_);
  }

 private:
  void Insert(std::uint64_t hash);
  void Rebuild(std::size_t size);

  std::size_t most_;
  std::vector<std::uint64_t> slots_;  ///< A table with open addressing; 0: empty.
  std::uint64_t count_ = 0;
  std::uint64_t least_ = 0;  ///< Smaller hashes are not kept.
  unsigned halvings_ = 0;
};

}  // namespace qvhost
