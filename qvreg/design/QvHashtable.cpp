#include "qvreg/design/QvHashtable.h"

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
  const int hashCode = QvHashKey::HashCodeOf(codes);
  for (int number = fHeads[BucketOf(hashCode)]; number >= 0;) {
    const auto key = static_cast<std::size_t>(number);
    const Entry& entry = fEntries[key];
    if (entry.fHashCode == hashCode && IsKey(key, codes)) return number;
    number = entry.fNext;
  }
  const int number = GetCount();
  if (number + 1 > QvBuckets::ThresholdOf(fHeads.size())) Grow();
  // Codes behind those of the last key do not count.
  fCodes.resize(static_cast<std::size_t>(number) * fLength);
  fCodes.insert(fCodes.end(), codes.begin(), codes.end());
  int& head = fHeads[BucketOf(hashCode)];
  fEntries.push_back({hashCode, head});
  return head = number;
}

void QvKeyNumbers::Grow() {
  const std::vector<int> order = GetOrder();
  std::vector<int> heads(QvBuckets::NextCount(fHeads.size()), -1);
  heads.swap(fHeads);
  for (const int number : order) {
    Entry& entry = fEntries[static_cast<std::size_t>(number)];
    int& head = fHeads[BucketOf(entry.fHashCode)];
    entry.fNext = head;
    head = number;
  }
}

std::vector<int> QvKeyNumbers::GetOrder() const {
  std::vector<int> order;
  order.reserve(fEntries.size());
  for (int number : fHeads) {
    while (number >= 0) {
      order.push_back(number);
      number = fEntries[static_cast<std::size_t>(number)].fNext;
    }
  }
  return order;
}

}  // namespace QvCommon
