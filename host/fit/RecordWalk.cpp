#include "host/fit/RecordWalk.h"

#include <thread>
#include <vector>

#include "host/Error.h"
#include "host/Threads.h"

namespace qvhost {

namespace {

/// The numbers of who works at the moment.
class Workers {
 public:
  explicit Workers(int count) {
    while (count > 0) free_.push_back(--count);
  }

  int Take() {
    const std::lock_guard lock(mutex_);
    const int worker = free_.back();
    free_.pop_back();
    return worker;
  }
  void Return(int worker) {
    const std::lock_guard lock(mutex_);
    free_.push_back(worker);
  }

 private:
  std::mutex mutex_;
  std::vector<int> free_;
};

}  // namespace

void ForEachPart(const CodedTable& table, int parts, const WalkOptions& options,
                 const PartVisit& visit) {
  Workers workers(options.threads);
  std::atomic<long long> delivered = 0;
  const long long share = options.eachReadsAll ? parts : 1;
  const std::thread::id caller = std::this_thread::get_id();
  const auto at = [&](std::size_t part) {
    return table.RecordCount() * static_cast<std::int64_t>(part) / parts;
  };
  ForEachOnThreads(options.threads, static_cast<std::size_t>(parts), [&](std::size_t part) {
    const auto note = [&, before = 0LL](long long records) mutable {
      if (options.interrupt.Requested()) throw Cancelled();
      const long long all = delivered += records - std::exchange(before, records);
      if (options.progress && std::this_thread::get_id() == caller) options.progress(all / share);
    };
    const std::int64_t begin = options.eachReadsAll ? 0 : at(part);
    const std::int64_t end = options.eachReadsAll ? table.RecordCount() : at(part + 1);
    SpoolRecords records(table, begin, end, note);
    const int worker = workers.Take();
    visit(static_cast<int>(part), worker, records, begin);
    workers.Return(worker);
  });
}

}  // namespace qvhost
