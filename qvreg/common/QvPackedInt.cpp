#include "qvreg/common/QvPackedInt.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <new>
#include <utility>

#include "qvreg/common/QvComponentDisplay.h"

namespace QvCommon {

bool QvPackedInt::SetForSequence(int count, int first, const std::vector<int>& ranges) {
  if (count < 0 || first < 0 ||
      ranges.size() < static_cast<std::size_t>(first) + static_cast<std::size_t>(count))
    return false;
  try {
    std::vector<int> ownRanges(ranges.begin() + first, ranges.begin() + first + count);
    std::vector<int> groupEnds;
    long long product = 1;
    for (int i = 0; i < count; ++i) {
      const int range = ownRanges[static_cast<std::size_t>(i)];
      if (range < 1) return false;
      if (i == 0) {
        groupEnds.push_back(0);
      } else if (product * range > std::numeric_limits<int>::max()) {
        groupEnds.push_back(0);
        product = 1;
      }
      product *= range;
      groupEnds.back() = i + 1;
    }
    fRanges = std::move(ownRanges);
    fGroupEnds = std::move(groupEnds);
  } catch (const std::bad_alloc&) {
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
  const std::size_t begin = append ? packed.size() : 0;
  try {
    packed.resize(begin + fGroupEnds.size());
  } catch (const std::bad_alloc&) {
    return false;
  }
  std::size_t position = 0;
  for (std::size_t g = 0; g < fGroupEnds.size(); ++g) {
    int digits = 0;
    for (; position < static_cast<std::size_t>(fGroupEnds[g]); ++position) {
      digits = digits * fRanges[position] + values[position];
    }
    packed[begin + g] = digits;
  }
  return true;
}

bool QvPackedInt::Unpack(std::vector<int>& values, const std::vector<int>& packed) const {
  if (packed.size() != fGroupEnds.size()) return false;
  try {
    values.resize(fRanges.size());
  } catch (const std::bad_alloc&) {
    return false;
  }
  std::size_t position = fRanges.size();
  for (std::size_t g = fGroupEnds.size(); g-- > 0;) {
    const auto begin = g == 0 ? std::size_t{0} : static_cast<std::size_t>(fGroupEnds[g - 1]);
    int digits = packed[g];
    while (position > begin) {
      --position;
      values[position] = digits % fRanges[position];
      digits /= fRanges[position];
    }
  }
  return true;
}

std::vector<int> QvPackedInt::PackRanges() const {
  constexpr long long kLargest = std::numeric_limits<int>::max();
  std::vector<int> packed;
  std::size_t position = 0;
  for (const int end : fGroupEnds) {
    long long digits = 0;
    for (; position < static_cast<std::size_t>(end); ++position) {
      digits = std::min(digits * fRanges[position] + fRanges[position], kLargest);
    }
    packed.push_back(static_cast<int>(digits));
  }
  return packed;
}

void QvPackedInt::Display() const {
  QvComponentDisplay::DisplayIV("Ranges", fRanges);
  QvComponentDisplay::DisplayIV("Ends of the packed ints", fGroupEnds);
}

}  // namespace QvCommon
