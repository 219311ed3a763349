#include "qvreg/design/QvHashtable.h"

#include <algorithm>
#include <cstdint>

#include "qvreg/common/QvComponentDisplay.h"

namespace QvCommon {

int QvHashKey::HashCodeOf(std::span<const int> codes) {
  // The 64-bit finalizer of MurmurHash3 (Appleby), applied code by code.
  std::uint64_t hash = codes.size();
  for (const int code : codes) {
    hash = (hash ^ static_cast<std::uint32_t>(code)) * 0xff51afd7ed558ccdULL;
    hash ^= hash >> 33U;
    hash *= 0xc4ceb9fe1a85ec53ULL;
    hash ^= hash >> 33U;
  }
  return static_cast<int>(hash & 0x7fffffffU);
}

void QvHashKey::Display() const { QvComponentDisplay::DisplayIV("Key", fCodes); }

QvKeyNumbers::QvKeyNumbers(int length)
    : fLength(static_cast<std::size_t>(length)), fHeads(QvBuckets::kFirstCount, -1) {}

int QvKeyNumbers::FindOrInsert(std::span<const int> codes) {
  const int hash = QvHashKey::HashCodeOf(codes);
  for (int number = fHeads[BucketOf(hash)]; number >= 0;) {
    const auto key = static_cast<std::size_t>(number);
    const bool isFound = fHashCodes[key] == hash &&
                         std::equal(codes.begin(), codes.end(), fCodes.data() + key * fLength);
    if (isFound) return number;
    number = fNext[key];
  }
  const int number = GetCount();
  if (number + 1 > QvBuckets::ThresholdOf(fHeads.size())) Grow();
  // Codes and hash codes behind those of the last key do not count.
  fCodes.resize(static_cast<std::size_t>(number) * fLength);
  fCodes.insert(fCodes.end(), codes.begin(), codes.end());
  fHashCodes.resize(static_cast<std::size_t>(number));
  fHashCodes.push_back(hash);
  int& head = fHeads[BucketOf(hash)];
  fNext.push_back(head);
  return head = number;
}

void QvKeyNumbers::Grow() {
  const std::vector<int> order = GetOrder();
  std::vector<int> heads(QvBuckets::NextCount(fHeads.size()), -1);
  heads.swap(fHeads);
  for (const int number : order) {
    const auto key = static_cast<std::size_t>(number);
    int& head = fHeads[BucketOf(fHashCodes[key])];
    fNext[key] = head;
    head = number;
  }
}

std::vector<int> QvKeyNumbers::GetOrder() const {
  std::vector<int> order;
  order.reserve(fNext.size());
  for (int number : fHeads) {
    for (; number >= 0; number = fNext[static_cast<std::size_t>(number)]) order.push_back(number);
  }
  return order;
}

}  // namespace QvCommon
