#include "qvreg/parallel/QvThreadRunner.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/parallel/QvForEach.h"
#include "qvreg/parallel/QvPassProcessor.h"
#include "qvreg/settings/QvLogRegSettings.h"

using QvCommon::QvBytes;
using QvCommon::QvStatus;

namespace {

constexpr std::chrono::milliseconds kPause(10);

std::size_t Index(int i) { return static_cast<std::size_t>(i); }

/// Why a part was not finished; of several, that of the lowest part number is kept.
struct Failure {
  int part = -1;  ///< -1 for none.
  QvStatus status;
  std::exception_ptr exception;
};

}  // namespace

/// The state of a pass that its threads share, and what stays from pass to pass.
class QvThreadRunner::Pool {
 public:
  Pool(IQvRecordParts& parts, int threads) : fParts(parts), fNThreads(threads) {}

  QvStatus Run(const QvBytes& request, QvCancelInfo& cancel, QvBytes& answer);
  void SetMemoryBound(long long bytes) { fMemoryBound = bytes; }
  [[nodiscard]] int GetThreadCount() const { return fNRunning > 0 ? fNRunning : fNThreads; }

 private:
  /// Stops a thread whose part is not wanted any more: after a stop, or behind a part that failed.
  class PartQuery : public QvQueryCancel {
   public:
    explicit PartQuery(const Pool& pool) : fPool(pool) {}
    bool QueryCancel() override { return QueryWillCancel(); }
    bool QueryWillCancel() override {
      return fPart >= fPool.fFirstUnwanted.load(std::memory_order_relaxed);
    }
    int fPart = 0;

   private:
    const Pool& fPool;
  };
  struct Worker {
    explicit Worker(const Pool& pool) : fQuery(pool), fProcessor(&fQuery) {}
    PartQuery fQuery;
    QvPassProcessor fProcessor;
  };
  /// A node of the tree: the level, 0 for parts, and the number within it.
  using Node = std::pair<int, int>;
  using Sums = std::unique_ptr<IQvPassSums>;

  /// Begins a pass: how many threads run, and nothing found yet.
  void Start(const QvPassRequest& request);
  [[nodiscard]] int ThreadsWithinMemory(const QvPassRequest& request);
  [[nodiscard]] int MostSums(int threads) const {
    return threads + static_cast<int>(std::bit_width(static_cast<unsigned>(fNParts))) + 2;
  }
  /// A thread: parts in order until there are none.
  void Work(Worker& worker, const QvPassRequest& request);
  /// The next part, -1 for none; waits while as many sums exist as may.
  int ClaimPart();
  void RunPart(Worker& worker, int part);
  /// Merges the sums with those of neighbours that are there, up the tree.
  void Join(int part, Sums sums);
  /// Allocates nothing.
  void Fail(const Failure& failure) noexcept;
  /// No further part is wanted: the threads that run one end, and tell those that wait.
  void StopAll() noexcept;
  /// Starts the threads of a pass, as many as can be; runs it here where that is none.
  void StartThreads(std::vector<std::thread>& threads, const QvPassRequest& request);
  /// Waits for the threads, asking whether to stop.
  void WaitForThreads(QvCancelInfo& cancel);

  IQvRecordParts& fParts;
  const int fNThreads;
  long long fMemoryBound = kMemoryBound;
  std::vector<std::unique_ptr<Worker>> fWorkers;
  /// By part, of the run of this digest. A part is used by one thread at a time.
  std::vector<std::unique_ptr<IQvKeptRows>> fRows;
  std::uint64_t fRowsDigest = 0;

  // Of a pass. The lock is for all that follow but the atomic one.
  int fNParts = 0;
  int fNRunning = 0;
  std::mutex fLock;
  std::condition_variable fChanged;
  int fNextPart = 0;
  int fNSums = 0;
  int fNThreadsLeft = 0;
  std::map<Node, Sums> fReady;
  Failure fFailure;
  std::atomic<int> fFirstUnwanted = 0;
};

int QvThreadRunner::Pool::ThreadsWithinMemory(const QvPassRequest& request) {
  const int wanted = std::min(fNThreads, fNParts);
  if (wanted == 1) return 1;
  QvPassProcessor& processor = fWorkers.front()->fProcessor;
  if (processor.Prepare(request).IsError()) return 1;
  const auto size = static_cast<long long>(processor.MakeSums()->GetSize());
  int threads = wanted;
  while (threads > 1 && size * MostSums(threads) > fMemoryBound) --threads;
  return threads;
}

void QvThreadRunner::Pool::Start(const QvPassRequest& request) {
  fNParts = std::max(fParts.GetPartCount(), 1);
  if (std::exchange(fRowsDigest, request.fBaseDigest) != request.fBaseDigest) fRows.clear();
  fRows.resize(Index(fNParts));
  fFirstUnwanted = fNParts;
  if (fWorkers.empty()) fWorkers.push_back(std::make_unique<Worker>(*this));
  fNRunning = ThreadsWithinMemory(request);
  while (fWorkers.size() < Index(fNRunning)) fWorkers.push_back(std::make_unique<Worker>(*this));
  fNextPart = 0;
  fNSums = 0;
}

int QvThreadRunner::Pool::ClaimPart() {
  std::unique_lock lock(fLock);
  // Parts begin in order, so the lowest one that is not merged is under way: sums get fewer.
  const auto isOver = [this] { return fNextPart >= fFirstUnwanted.load(); };
  fChanged.wait(lock, [&] { return fNSums < MostSums(fNRunning) || isOver(); });
  if (isOver()) return -1;
  ++fNSums;
  return fNextPart++;
}

void QvThreadRunner::Pool::Fail(const Failure& failure) noexcept {
  const std::lock_guard lock(fLock);
  if (fFailure.part < 0 || failure.part < fFailure.part) fFailure = failure;
  // The thread finds no part after this one, and tells the others as it ends.
  fFirstUnwanted = std::min(fFirstUnwanted.load(), failure.part);
}

void QvThreadRunner::Pool::StopAll() noexcept {
  const std::lock_guard lock(fLock);
  fFirstUnwanted = 0;
}

void QvThreadRunner::Pool::Join(int part, Sums sums) {
  Node node{0, part};
  for (int count = fNParts; count > 1; count = (count + 1) / 2) {
    const Node neighbour{node.first, node.second ^ 1};
    if (neighbour.second < count) {
      Sums other;
      {
        const std::lock_guard lock(fLock);
        const auto found = fReady.find(neighbour);
        if (found == fReady.end()) {
          fReady.emplace(node, std::move(sums));
          return;
        }
        other = std::move(found->second);
        fReady.erase(found);
      }
      if (neighbour.second < node.second) std::swap(sums, other);
      // Both were started alike.
      static_cast<void>(MergeSums(*sums, *other));
      other.reset();
      const std::lock_guard lock(fLock);
      --fNSums;
      fChanged.notify_all();
    }
    node = {node.first + 1, node.second / 2};
  }
  const std::lock_guard lock(fLock);
  fReady.emplace(node, std::move(sums));
}

void QvThreadRunner::Pool::RunPart(Worker& worker, int part) {
  worker.fQuery.fPart = part;
  QvStatus status = GuardOperation([&]() -> QvStatus {
    const std::unique_ptr<QvCommon::MultiPassRecordIter> iter = fParts.OpenPart(part);
    if (iter == nullptr) return {QvStatusCode::kNoRecords, false};
    Sums sums = worker.fProcessor.MakeSums();
    const QvStatus found = worker.fProcessor.RunPart(*iter, *sums, fRows[Index(part)]);
    if (!found.IsError()) Join(part, std::move(sums));
    return found;
  });
  if (status.IsError()) Fail({part, status, nullptr});
}

void QvThreadRunner::Pool::Work(Worker& worker, const QvPassRequest& request) {
  QvStatus ready = GuardOperation([&] { return worker.fProcessor.Prepare(request); });
  // This process wrote the request: what cannot be read of it is for want of memory.
  if (ready.IsError()) ready = QvStatus(QvStatusCode::kTooManyParameters, false);
  for (int part = ClaimPart(); part >= 0; part = ClaimPart()) {
    if (ready.IsError()) {
      Fail({part, ready, nullptr});
      continue;
    }
    try {
      RunPart(worker, part);
    } catch (...) {
      Fail({part, {}, std::current_exception()});
    }
  }
  const std::lock_guard lock(fLock);
  --fNThreadsLeft;
  fChanged.notify_all();
}

void QvThreadRunner::Pool::WaitForThreads(QvCancelInfo& cancel) {
  std::unique_lock lock(fLock);
  while (!fChanged.wait_for(lock, kPause, [this] { return fNThreadsLeft == 0; })) {
    lock.unlock();
    if (cancel.StopRequested()) StopAll();
    lock.lock();
  }
}

void QvThreadRunner::Pool::StartThreads(std::vector<std::thread>& threads,
                                        const QvPassRequest& request) {
  threads.reserve(Index(fNRunning));
  fNThreadsLeft = fNRunning;
  try {
    for (int i = 0; i < fNRunning; ++i) {
      Worker& worker = *fWorkers[Index(i)];
      threads.emplace_back([this, &worker, &request] { Work(worker, request); });
    }
  } catch (const std::system_error&) {
    const std::lock_guard lock(fLock);
    fNThreadsLeft -= fNRunning - static_cast<int>(threads.size());
    fNRunning = std::max(static_cast<int>(threads.size()), 1);
  }
  if (!threads.empty()) return;
  fNThreadsLeft = 1;
  Work(*fWorkers.front(), request);
}

QvStatus QvThreadRunner::Pool::Run(const QvBytes& request, QvCancelInfo& cancel, QvBytes& answer) {
  QvPassRequest unpacked;
  const QvStatus status = ReadRequest(request, unpacked);
  if (status.IsError()) return status;
  Start(unpacked);

  std::vector<std::thread> threads;
  std::exception_ptr thrown;
  try {
    StartThreads(threads, unpacked);
    WaitForThreads(cancel);
  } catch (...) {
    // What the host's query throws, or no memory for another thread.
    thrown = std::current_exception();
    StopAll();
  }
  for (std::thread& thread : threads) thread.join();
  // However the pass ended, nothing of it stays for the next.
  const std::map<Node, Sums> ready = std::exchange(fReady, {});
  const Failure failure = std::exchange(fFailure, {});
  if (thrown != nullptr) std::rethrow_exception(thrown);

  if (cancel.IsFlagSet()) return {QvStatusCode::kCancelled, false};
  if (failure.exception != nullptr) std::rethrow_exception(failure.exception);
  // Whole where nothing failed: the root of the tree.
  const IQvPassSums* sums = failure.status.IsError() ? nullptr : ready.begin()->second.get();
  answer = WriteAnswer(unpacked, failure.status, sums);
  return {};
}

QvThreadRunner::QvThreadRunner(IQvRecordParts& parts, int threads)
    : fpPool(std::make_unique<Pool>(parts, QvThreadCount(threads))) {}

QvThreadRunner::~QvThreadRunner() = default;

void QvThreadRunner::SetMemoryBound(long long bytes) { fpPool->SetMemoryBound(bytes); }

int QvThreadRunner::GetThreadCount() const { return fpPool->GetThreadCount(); }

QvStatus QvThreadRunner::Run(const std::vector<unsigned char>& request, QvCancelInfo& cancel,
                             std::vector<unsigned char>& answer) {
  return GuardOperation([&] { return fpPool->Run(request, cancel, answer); });
}

int QvPartCount(long long records, long long parameters) {
  constexpr long long kLeastRecords = 2048;  // of a part
  constexpr long long kMostParts = 128;
  constexpr long long kAlwaysParts = 16;
  // A merge costs an addition for every element of a matrix, a record as many where its row is
  // dense, and about so many where it is not.
  constexpr double kSparseRecord = 64.0;
  const double elements = 0.5 * static_cast<double>(parameters) * static_cast<double>(parameters);
  const double parts = kSparseRecord * static_cast<double>(records) / std::max(elements, 1.0);
  const long long byCost =
      parts > static_cast<double>(kMostParts) ? kMostParts : static_cast<long long>(parts);
  const long long bySize = std::max(records / kLeastRecords, 1LL);
  return static_cast<int>(std::min({std::max(byCost, kAlwaysParts), bySize, kMostParts}));
}

int QvPartCount(long long records, const QvRegSettings& settings) {
  constexpr double kLargest = 1e9;
  const std::vector<int>& factors = settings.GetFactors();
  const auto most = static_cast<double>(std::max(records, 1LL));
  double bound = 1.0;
  for (const QvModelEffect& effect : settings.GetModelEffects()) {
    double combinations = 1.0;
    for (const int factor : effect.GetFactors()) {
      const auto found = std::find(factors.begin(), factors.end(), factor);
      if (found == factors.end()) continue;
      combinations *= settings.GetFactorSizes()[Index(static_cast<int>(found - factors.begin()))];
    }
    bound += std::clamp(combinations, 1.0, most);
  }
  if (const auto* logistic = dynamic_cast<const QvLogRegSettings*>(&settings)) {
    bound *= logistic->GetDependentNCategs() - 1;
  }
  return QvPartCount(records, static_cast<long long>(std::min(bound, kLargest)));
}
