#include "qvreg/common/QvPackedInt.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <limits>
#include <utility>

#include "qvreg/common/QvComponentDisplay.h"

namespace QvCommon {

namespace {

constexpr int kDigitBits = 31;
constexpr std::uint64_t kDigitMask = (std::uint64_t{1} << kDigitBits) - 1;

/// Replaces the number by number * range + value; what its digits cannot hold.
std::uint64_t MultiplyAdd(int* digits, std::size_t n, int range, int value) {
  auto carry = static_cast<std::uint64_t>(value);
  for (std::size_t d = 0; d < n; ++d) {
    carry += static_cast<std::uint64_t>(digits[d]) * static_cast<std::uint64_t>(range);
    digits[d] = static_cast<int>(carry & kDigitMask);
    carry >>= kDigitBits;
  }
  return carry;
}

/// Replaces the number by number / range; the remainder.
int Divide(int* digits, std::size_t n, int range) {
  std::uint64_t rest = 0;
  for (std::size_t d = n; d-- > 0;) {
    rest = (rest << kDigitBits) | static_cast<std::uint64_t>(digits[d]);
    digits[d] = static_cast<int>(rest / static_cast<std::uint64_t>(range));
    rest %= static_cast<std::uint64_t>(range);
  }
  return static_cast<int>(rest);
}

}  // namespace

bool QvPackedInt::SetForSequence(int count, int first, const std::vector<int>& ranges) {
  if (count < 0 || first < 0 ||
      ranges.size() < static_cast<std::size_t>(first) + static_cast<std::size_t>(count))
    return false;
  try {
    std::vector<int> ownRanges(ranges.begin() + first, ranges.begin() + first + count);
    // The largest sequence has the most digits.
    std::vector<int> largest(count > 0 ? 1 : 0, 0);
    for (const int range : ownRanges) {
      if (range < 1) return false;
      const std::uint64_t carry = MultiplyAdd(largest.data(), largest.size(), range, range - 1);
      if (carry > 0) largest.push_back(static_cast<int>(carry));
    }
    fRanges = std::move(ownRanges);
    fPackedSize = static_cast<int>(largest.size());
  } catch (const std::exception&) {
    return false;
  }
  return true;
}

bool QvPackedInt::Pack(const std::vector<int>& values, std::vector<int>& packed,
                       bool append) const {
  if (values.size() < fRanges.size()) return false;
  for (std::size_t i = 0; i < fRanges.size(); ++i) {
    if (values[i] < 0 || values[i] >= fRanges[i]) return false;
  }
  const auto size = static_cast<std::size_t>(fPackedSize);
  const std::size_t begin = append ? packed.size() : 0;
  try {
    packed.resize(begin + size);
  } catch (const std::exception&) {
    return false;
  }
  int* digits = packed.data() + begin;
  for (std::size_t d = 0; d < size; ++d) digits[d] = 0;
  for (std::size_t i = 0; i < fRanges.size(); ++i) {
    MultiplyAdd(digits, size, fRanges[i], values[i]);
  }
  return true;
}

bool QvPackedInt::Unpack(std::vector<int>& values, const std::vector<int>& packed) const {
  if (packed.size() != static_cast<std::size_t>(fPackedSize)) return false;
  // Divided up as it is read. Most sequences are one int, which needs no memory.
  int single = packed.empty() ? 0 : packed[0];
  std::vector<int> many;
  try {
    if (packed.size() > 1) many = packed;
    values.resize(fRanges.size());
  } catch (const std::exception&) {
    return false;
  }
  int* digits = packed.size() > 1 ? many.data() : &single;
  for (std::size_t i = fRanges.size(); i-- > 0;) {
    values[i] = Divide(digits, packed.size(), fRanges[i]);
  }
  return true;
}

std::vector<int> QvPackedInt::PackRanges() const {
  std::vector<int> packed(static_cast<std::size_t>(fPackedSize), 0);
  for (const int range : fRanges) {
    if (MultiplyAdd(packed.data(), packed.size(), range, range) == 0) continue;
    packed.assign(packed.size(), std::numeric_limits<int>::max());
    break;
  }
  return packed;
}

void QvPackedInt::Display() const {
  QvComponentDisplay::DisplayIV("Ranges", fRanges);
  QvComponentDisplay::DisplayI("Packed ints", fPackedSize);
}

}  // namespace QvCommon
