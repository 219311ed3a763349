#pragma once

#include <cstddef>
#include <cstdio>
#include <deque>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "qvreg/common/QvComponentDisplay.h"

class QvFactorTables;

namespace QvCommon {

/// A fixed-length vector of ints used as a key of a hash table, with its hash code kept beside it.
///
/// A key's codes are written in place, and then its hash code is stored; tables compare hash codes
/// before codes and never compute one. A value; used from one thread at a time.
class QvHashKey {
 public:
  /// `length` codes, all 0. May throw std::bad_alloc.
  explicit QvHashKey(int length) : fCodes(static_cast<std::size_t>(length > 0 ? length : 0)) {}

  [[nodiscard]] int GetLength() const { return static_cast<int>(fCodes.size()); }
  /// REQUIRES: 0 <= index < GetLength().
  [[nodiscard]] int operator[](int index) const { return fCodes[static_cast<std::size_t>(index)]; }
  [[nodiscard]] int& operator[](int index) { return fCodes[static_cast<std::size_t>(index)]; }

  /// The stored hash code; 0 until SetHashCode.
  [[nodiscard]] int GetHashCode() const { return fHashCode; }
  /// Stores a hash code. REQUIRES: hashCode >= 0.
  void SetHashCode(int hashCode) { fHashCode = hashCode; }

  /// Same length and same codes; the stored hash code does not matter.
  friend bool operator==(const QvHashKey& a, const QvHashKey& b) { return a.fCodes == b.fCodes; }
  /// Lexicographic, the first code most significant.
  friend bool operator<(const QvHashKey& a, const QvHashKey& b) { return a.fCodes < b.fCodes; }

  void Display() const;

 private:
  // The classes that fill keys compute the hash code.
  friend class ::QvFactorTables;
  friend class QvKeyNumbers;

  /// A well-mixed function of every code; never negative.
  [[nodiscard]] int ComputeHashCode() const { return HashCodeOf(fCodes); }
  static int HashCodeOf(std::span<const int> codes);

  std::vector<int> fCodes;
  int fHashCode = 0;
};

/// How many buckets hash tables have.
struct QvBuckets {
  static constexpr int kFirstCount = 89;
  /// The number of keys above which a table grows, and to how many buckets.
  static int ThresholdOf(std::size_t bucketCount) {
    constexpr float kLoadFactor = 0.75F;
    return static_cast<int>(static_cast<float>(bucketCount) * kLoadFactor);
  }
  static std::size_t NextCount(std::size_t bucketCount) { return 2 * bucketCount + 1; }
};

/// An entry of a QvHashtable: a key, its value, and the next entry of the same bucket.
template <typename T>
class QvHashPair {
 public:
  [[nodiscard]] const QvHashKey& GetKey() const { return *fpKey; }
  [[nodiscard]] const T& GetValue() const { return *fpValue; }
  [[nodiscard]] T& GetValue() { return *fpValue; }

 private:
  template <typename U>
  friend class QvHashtable;

  std::unique_ptr<QvHashKey> fpKey;
  std::unique_ptr<T> fpValue;
  QvHashPair* fpNext = nullptr;
};

/// A chained hash table from keys of ints to values. Keys carry their hash code, which the caller
/// stores before every insertion and look-up; codes are compared only where hash codes agree.
///
/// Owns keys, values and entries; entries keep their address as long as the table exists. Used from
/// one thread at a time; const operations may run together.
template <typename T>
class QvHashtable {
 public:
  static constexpr int kFirstBucketCount = QvBuckets::kFirstCount;

  QvHashtable()
      : fBuckets(kFirstBucketCount, nullptr), fThreshold(ThresholdOf(kFirstBucketCount)) {}
  QvHashtable(const QvHashtable&) = delete;
  QvHashtable& operator=(const QvHashtable&) = delete;
  ~QvHashtable() = default;

  /// The entry of an equal key, or null. REQUIRES: the key's hash code is stored.
  [[nodiscard]] QvHashPair<T>* Find(const QvHashKey& key) const {
    for (QvHashPair<T>* entry = fBuckets[BucketOf(key)]; entry != nullptr; entry = entry->fpNext) {
      if (entry->fpKey->GetHashCode() == key.GetHashCode() && *entry->fpKey == key) return entry;
    }
    return nullptr;
  }

  /// Takes both pointers and returns true; with an equal key present returns false and leaves them
  /// with the caller. May throw std::bad_alloc, with the table unchanged. REQUIRES: neither is
  /// null, and the key's hash code is stored.
  bool Insert(std::unique_ptr<QvHashKey>& key, std::unique_ptr<T>& value) {
    if (Find(*key) != nullptr) return false;
    if (fCount + 1 > fThreshold) Grow();
    QvHashPair<T>& entry = NewEntry();
    QvHashPair<T>*& head = fBuckets[BucketOf(*key)];
    entry.fpKey = std::move(key);
    entry.fpValue = std::move(value);
    entry.fpNext = head;
    head = &entry;
    ++fCount;
    return true;
  }

  /// Drops every entry. Their records are kept for reuse, and so is the number of buckets.
  void Clear() {
    for (QvHashPair<T>*& head : fBuckets) {
      while (head != nullptr) {
        QvHashPair<T>* entry = Unlink(head);
        entry->fpKey.reset();
        entry->fpValue.reset();
        entry->fpNext = fpFree;
        fpFree = entry;
      }
    }
    fCount = 0;
  }

  /// Calls `visit(const QvHashPair<T>&)` for every entry, bucket by bucket, until it answers false;
  /// its last answer.
  template <typename Visit>
  bool ForEach(Visit&& visit) const {
    for (const QvHashPair<T>* entry : fBuckets) {
      for (; entry != nullptr; entry = entry->fpNext) {
        if (!visit(*entry)) return false;
      }
    }
    return true;
  }

  [[nodiscard]] int GetCount() const { return fCount; }
  [[nodiscard]] int GetBucketCount() const { return static_cast<int>(fBuckets.size()); }
  /// The count above which the table grows.
  [[nodiscard]] int GetThreshold() const { return fThreshold; }
  /// How often the table has grown.
  [[nodiscard]] int GetGrowthCount() const { return fGrowthCount; }

  void Display() const {
    std::printf("Start of Hashtable.\n");
    for (std::size_t bucket = 0; bucket < fBuckets.size(); ++bucket) {
      if (fBuckets[bucket] == nullptr) continue;
      std::printf("Bucket %zu :\n", bucket);
      for (const QvHashPair<T>* entry = fBuckets[bucket]; entry != nullptr; entry = entry->fpNext) {
        entry->fpKey->Display();
        QvComponentDisplay::DisplayI("Value", *entry->fpValue);
      }
    }
    std::printf("End of Hashtable.\n");
  }

 private:
  static int ThresholdOf(std::size_t bucketCount) { return QvBuckets::ThresholdOf(bucketCount); }
  [[nodiscard]] std::size_t BucketOf(const QvHashKey& key) const {
    return static_cast<std::size_t>(key.GetHashCode() % static_cast<int>(fBuckets.size()));
  }
  static QvHashPair<T>* Unlink(QvHashPair<T>*& head) {
    QvHashPair<T>* entry = head;
    head = entry->fpNext;
    return entry;
  }
  QvHashPair<T>& NewEntry() {
    return fpFree == nullptr ? fEntries.emplace_back() : *Unlink(fpFree);
  }
  void Grow() {
    std::vector<QvHashPair<T>*> old(QvBuckets::NextCount(fBuckets.size()), nullptr);
    old.swap(fBuckets);
    fThreshold = ThresholdOf(fBuckets.size());
    ++fGrowthCount;
    for (QvHashPair<T>*& oldHead : old) {
      while (oldHead != nullptr) {
        QvHashPair<T>* entry = Unlink(oldHead);
        QvHashPair<T>*& head = fBuckets[BucketOf(*entry->fpKey)];
        entry->fpNext = head;
        head = entry;
      }
    }
  }

  std::deque<QvHashPair<T>> fEntries;
  std::vector<QvHashPair<T>*> fBuckets;
  int fCount = 0;
  int fThreshold;
  int fGrowthCount = 0;
  QvHashPair<T>* fpFree = nullptr;
};

/// Numbers the keys of one length in the order of their arrival, from 0 on, for very many keys:
/// they are in a few arrays, and tell in which order a QvHashtable would visit them. A value; used
/// from one thread at a time.
class QvKeyNumbers {
 public:
  QvKeyNumbers() : QvKeyNumbers(0) {}
  /// For keys of `length` codes. May throw std::bad_alloc.
  explicit QvKeyNumbers(int length);

  /// The number of a key, -1 for one that has none. REQUIRES: `length` codes.
  [[nodiscard]] int Find(std::span<const int> codes) const {
    return FindAs(QvHashKey::HashCodeOf(codes), codes);
  }
  /// The number of a key, a new one if need be. May throw std::bad_alloc, with nothing changed.
  /// REQUIRES: `length` codes.
  int FindOrInsert(std::span<const int> codes);
  [[nodiscard]] int GetCount() const { return static_cast<int>(fHashCodes.size()); }
  /// The codes of a key, by its number. Valid until the next insertion.
  [[nodiscard]] std::span<const int> GetCodes(int number) const {
    return std::span(fCodes).subspan(static_cast<std::size_t>(number) * fLength, fLength);
  }
  /// The keys' numbers bucket by bucket, as QvHashtable::ForEach visits its entries. May throw
  /// std::bad_alloc.
  [[nodiscard]] std::vector<int> GetOrder() const;

 private:
  struct Slot {
    int fHashCode = 0;
    int fNumber = -1;  ///< -1 for none.
  };

  [[nodiscard]] bool IsKey(int number, std::span<const int> codes) const {
    const int* own = fCodes.data() + static_cast<std::size_t>(number) * fLength;
    for (std::size_t i = 0; i < fLength; ++i) {
      if (own[i] != codes[i]) return false;
    }
    return true;
  }
  /// Find, given the key's hash code.
  [[nodiscard]] int FindAs(int hashCode, std::span<const int> codes) const;
  /// The first free slot for a hash code.
  [[nodiscard]] Slot& FindFree(int hashCode);
  void Grow();
  /// Replaces the order of visits to a table of fewer buckets, followed by what is inserted then,
  /// by the order of visits to one of so many.
  void OrderByBucket(std::size_t bucketCount, std::vector<int>& order) const;

  std::size_t fLength;
  std::vector<Slot> fSlots;  ///< A power of two, half of them free; a key is in the next free one.
  std::vector<int> fHashCodes;  ///< Per key.
  std::vector<int> fCodes;      ///< Key after key.
};

}  // namespace QvCommon
