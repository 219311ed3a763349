#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "host/fit/Interrupt.h"
#include "host/fit/SpoolRunner.h"
#include "host/table/CodedTable.h"
#include "qvreg/common/Record.h"

/// \file
/// A pass of the host's own over all records of a coded table, on threads.

namespace qvhost {

/// How to walk.
struct WalkOptions {
  const Interrupt& interrupt;
  int threads = 1;  ///< At most so many; the result does not depend on it.
  /// Called on the calling thread with the number of records that were read; may be empty.
  std::function<void(long long records)> progress = {};
  /// Every part reads all records, and takes those that it is about.
  bool eachReadsAll = false;
};

/// What is done with a part: `worker` is the number, below the number of threads, of who does it,
/// that nobody else has meanwhile; `records` are those of the part, of which `first` is the first
/// one's number.
using PartVisit =
    std::function<void(int part, int worker, SpoolRecords& records, std::int64_t first)>;

/// Divides a table's records into so many parts and visits each. Throws what a visit throws; Error
/// (kRunFailed) when the table cannot be read; Cancelled when interrupted.
void ForEachPart(const CodedTable& table, int parts, const WalkOptions& options,
                 const PartVisit& visit);

/// Merges the sums of parts in pairs of neighbours along one tree over their numbers, whoever
/// finishes when: what comes out depends on the number of parts alone. Any thread may add.
///
/// `Sums` has `void Merge(const Sums& next)`, which adds the sums of the records that follow.
template <typename Sums>
class PartTree {
 public:
  explicit PartTree(int parts) : parts_(static_cast<std::size_t>(parts)) {}

  void Add(std::size_t part, std::unique_ptr<Sums> sums) {
    std::size_t count = parts_;
    for (std::size_t level = 0; count > 1; ++level, part /= 2, count = (count + 1) / 2) {
      const std::size_t neighbour = part ^ std::size_t{1};
      if (neighbour >= count) continue;
      std::unique_ptr<Sums> other = Exchange({level, neighbour}, {level, part}, sums);
      if (other == nullptr) return;
      if (neighbour < part) std::swap(sums, other);
      sums->Merge(*other);
    }
    whole_ = std::move(sums);
  }

  /// When every part was added: the sums of all.
  [[nodiscard]] std::unique_ptr<Sums> Take() { return std::move(whole_); }

 private:
  using Place = std::pair<std::size_t, std::size_t>;  ///< Level and number.

  /// The sums that wait at a place; or, where there are none, `own` are left at theirs.
  std::unique_ptr<Sums> Exchange(const Place& wanted, const Place& at, std::unique_ptr<Sums>& own) {
    const std::lock_guard lock(mutex_);
    const auto found = waiting_.find(wanted);
    if (found == waiting_.end()) {
      waiting_.emplace(at, std::move(own));
      return nullptr;
    }
    std::unique_ptr<Sums> other = std::move(found->second);
    waiting_.erase(found);
    return other;
  }

  const std::size_t parts_;
  std::mutex mutex_;
  std::map<Place, std::unique_ptr<Sums>> waiting_;
  std::unique_ptr<Sums> whole_;
};

/// Makes the sums of a part, for the worker that visits it.
template <typename Sums>
using SumsMaker = std::function<std::unique_ptr<Sums>(int part, int worker)>;

/// Shows every record to the sums of its part, and gives the sums of all: the same to the last bit
/// for any number of threads. Beside those that are at work, log2(parts) + 1 sums exist at once.
///
/// `make(part, worker)` makes the sums of a part, which may use what belongs to the worker. `Sums`
/// has `bool Add(const QvCommon::Record&, std::int64_t number)`, which ends the whole walk when it
/// answers false, `void EndPart()`, called when the part's last record was added, and Merge, see
/// PartTree. REQUIRES: one part at least. Throws as ForEachPart does.
template <typename Sums>
std::unique_ptr<Sums> WalkRecords(const CodedTable& table, int parts, const WalkOptions& options,
                                  const SumsMaker<Sums>& make) {
  PartTree<Sums> tree(parts);
  std::atomic<bool> isOver = false;
  const PartVisit visit = [&](int part, int worker, SpoolRecords& records, std::int64_t number) {
    std::unique_ptr<Sums> sums = make(part, worker);
    while (!isOver.load(std::memory_order_relaxed)) {
      const QvCommon::Record* record = records.Next();
      if (record == nullptr) break;
      if (!sums->Add(*record, number++)) isOver = true;
    }
    sums->EndPart();
    tree.Add(static_cast<std::size_t>(part), std::move(sums));
  };
  ForEachPart(table, parts, options, visit);
  return tree.Take();
}

}  // namespace qvhost
