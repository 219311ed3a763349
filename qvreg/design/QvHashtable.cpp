#include "qvreg/design/QvHashtable.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "qvreg/common/QvComponentDisplay.h"

namespace QvCommon {

namespace {

constexpr std::size_t kFirstSlots = 128;

}  // namespace

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
    : fLength(static_cast<std::size_t>(length)), fSlots(kFirstSlots) {}

int QvKeyNumbers::FindAs(int hashCode, std::span<const int> codes) const {
  const std::size_t mask = fSlots.size() - 1;
  for (auto s = static_cast<std::size_t>(hashCode) & mask; fSlots[s].fNumber >= 0;
       s = (s + 1) & mask) {
    const Slot& slot = fSlots[s];
    if (slot.fHashCode == hashCode && IsKey(slot.fNumber, codes)) return slot.fNumber;
  }
  return -1;
}

int QvKeyNumbers::FindOrInsert(std::span<const int> codes) {
  const int hashCode = QvHashKey::HashCodeOf(codes);
  const int known = FindAs(hashCode, codes);
  if (known >= 0) return known;
  const int number = GetCount();
  if (2 * (fHashCodes.size() + 1) > fSlots.size()) Grow();
  // Codes behind those of the last key do not count.
  fCodes.resize(fHashCodes.size() * fLength);
  fCodes.insert(fCodes.end(), codes.begin(), codes.end());
  fHashCodes.push_back(hashCode);
  FindFree(hashCode) = {hashCode, number};
  return number;
}

QvKeyNumbers::Slot& QvKeyNumbers::FindFree(int hashCode) {
  const std::size_t mask = fSlots.size() - 1;
  auto s = static_cast<std::size_t>(hashCode) & mask;
  while (fSlots[s].fNumber >= 0) s = (s + 1) & mask;
  return fSlots[s];
}

void QvKeyNumbers::Grow() {
  std::vector<Slot> old(2 * fSlots.size());
  old.swap(fSlots);
  for (const Slot& slot : old) {
    if (slot.fNumber >= 0) FindFree(slot.fHashCode) = slot;
  }
}

void QvKeyNumbers::OrderByBucket(std::size_t bucketCount, std::vector<int>& order) const {
  std::vector<std::size_t> buckets(order.size());
  std::vector<std::size_t> starts(bucketCount + 1);
  for (std::size_t i = 0; i < order.size(); ++i) {
    const int hashCode = fHashCodes[static_cast<std::size_t>(order[i])];
    buckets[i] = static_cast<std::size_t>(hashCode) % bucketCount;
    ++starts[buckets[i] + 1];
  }
  for (std::size_t bucket = 1; bucket < bucketCount; ++bucket) starts[bucket] += starts[bucket - 1];
  std::vector<int> ordered(order.size());
  // The latest of a bucket comes first.
  for (std::size_t i = order.size(); i-- > 0;) ordered[starts[buckets[i]]++] = order[i];
  order = std::move(ordered);
}

std::vector<int> QvKeyNumbers::GetOrder() const {
  std::vector<int> order;
  order.reserve(fHashCodes.size());
  std::size_t bucketCount = QvBuckets::kFirstCount;
  for (int number = 0;; bucketCount = QvBuckets::NextCount(bucketCount)) {
    const int end = std::min(GetCount(), QvBuckets::ThresholdOf(bucketCount));
    while (number < end) order.push_back(number++);
    OrderByBucket(bucketCount, order);
    if (end == GetCount()) return order;
  }
}

}  // namespace QvCommon
