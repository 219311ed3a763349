#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "qvreg/c/QvCColumns.h"
#include "qvreg/c/QvCScorer.h"
#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/glm/QvGLMOutputStats.h"
#include "qvreg/parallel/QvForEach.h"
#include "qvreg/parallel/QvThreadRunner.h"

using QvCCheck::NotNegative;
using QvCCheck::NotNull;
using QvCCheck::Valid;
using QvCommon::QvSymMatrix;

namespace {

/// The host's numbers that the design rows are multiplied by.
class Multipliers {
 public:
  /// Of `count` equations each.
  Multipliers(const double* first, std::ptrdiff_t stride, std::size_t count)
      : fFirst(reinterpret_cast<const char*>(first)),
        fStride(stride == 0 ? static_cast<std::ptrdiff_t>(count * sizeof(double)) : stride),
        fValues(count) {}

  /// Reads those of a record; false where it adds nothing.
  bool Read(std::size_t record) {
    std::memcpy(fValues.data(), fFirst + static_cast<std::ptrdiff_t>(record) * fStride,
                fValues.size() * sizeof(double));
    const auto isNan = [](double value) { return std::isnan(value); };
    const auto isZero = [](double value) { return value == 0.0; };
    return std::none_of(fValues.begin(), fValues.end(), isNan) &&
           !std::all_of(fValues.begin(), fValues.end(), isZero);
  }
  [[nodiscard]] const std::vector<double>& Get() const { return fValues; }

 private:
  const char* fFirst;
  std::ptrdiff_t fStride;
  std::vector<double> fValues;
};

/// Sums the products of the scores of records on one thread.
class Worker {
 public:
  Worker(std::unique_ptr<QvCScorer> scorer, const IQvRegOutputStats& stats,
         const QvCColumns& columns, Multipliers multipliers)
      : fScorer(std::move(scorer)),
        fKept(stats.GetRedundancyIndicators()),
        fReader(columns),
        fSize(columns.Size()),
        fMultipliers(std::move(multipliers)),
        fBlockSize(stats.GetParameters().size() / fMultipliers.Get().size()),
        fSums(static_cast<int>(stats.GetParameters().size())) {
    if (!fSums.IsValidMatrix()) throw std::bad_alloc();
    if (const auto* linear = dynamic_cast<const QvGLMOutputStats*>(&stats)) {
      fExponents = linear->GetParameterExponents();
    }
  }

  /// Starts anew and adds the records from `begin` to before `end`. Throws the refusal of a record.
  void Sum(std::size_t begin, std::size_t end) {
    fSums.SetToZero();
    fReader.Start(begin, end);
    for (std::size_t i = begin; i < end; ++i) {
      const double* values = fReader.Next();
      if (!fMultipliers.Read(i)) continue;
      std::copy_n(values, fSize, fScorer->Record());
      try {
        Add();
      } catch (const QvCRefusal& refusal) {
        throw QvCAtRecord(refusal, i + 1);
      }
    }
  }
  [[nodiscard]] const QvSymMatrix& Sums() const { return fSums; }

 private:
  void Add() {
    if (!fScorer->Expand(fRowPlaces, fRowValues)) return;
    KeepEstimated();
    fPlaces.clear();
    fValues.clear();
    int first = 0;
    for (const double multiplier : fMultipliers.Get()) {
      for (std::size_t i = 0; i < fRowPlaces.size(); ++i) {
        fPlaces.push_back(first + fRowPlaces[i]);
        fValues.push_back(multiplier * fRowValues[i]);
      }
      first += static_cast<int>(fBlockSize);
    }
    fSums.UpdateXXSparse(static_cast<int>(fPlaces.size()), fPlaces, fValues, 1.0);
  }
  /// Takes out of the row what has no estimate, which may hold anything, and puts the rest in the
  /// host's units.
  void KeepEstimated() {
    std::size_t count = 0;
    for (std::size_t i = 0; i < fRowPlaces.size(); ++i) {
      const int place = fRowPlaces[i];
      if (place < 0 || fRowValues[i] == 0.0 || !fKept.IsIn(place)) continue;
      const int exponent = fExponents.empty() ? 0 : fExponents[static_cast<std::size_t>(place)];
      fRowPlaces[count] = place;
      fRowValues[count] = exponent == 0 ? fRowValues[i] : std::ldexp(fRowValues[i], exponent);
      ++count;
    }
    fRowPlaces.resize(count);
    fRowValues.resize(count);
  }

  std::unique_ptr<QvCScorer> fScorer;
  const QvCommon::QvBitSet& fKept;
  QvCRowReader fReader;
  std::size_t fSize;
  Multipliers fMultipliers;
  std::size_t fBlockSize;
  std::vector<int> fExponents;  ///< Of the row's columns; none where they come undivided.
  QvSymMatrix fSums;
  std::vector<int> fRowPlaces;
  std::vector<double> fRowValues;
  std::vector<int> fPlaces;
  std::vector<double> fValues;
};

/// Adds the sums of parts in the order of these, whoever is ready first.
class OrderedTotal {
 public:
  explicit OrderedTotal(int order) : fTotal(order) {
    if (!fTotal.IsValidMatrix()) throw std::bad_alloc();
  }

  /// Waits until the parts before this one were added, or one of them failed.
  void Add(std::size_t part, const QvSymMatrix& sums) {
    std::unique_lock lock(fLock);
    fChanged.wait(lock, [&] { return fNext == part || fbFailed; });
    if (fbFailed) return;
    fTotal.AddMatrix(sums, 1.0);
    ++fNext;
    fChanged.notify_all();
  }
  void Fail() {
    const std::lock_guard lock(fLock);
    fbFailed = true;
    fChanged.notify_all();
  }
  [[nodiscard]] const std::vector<double>& Triangle() const { return fTotal.GetTriangle(); }

 private:
  QvSymMatrix fTotal;
  std::mutex fLock;
  std::condition_variable fChanged;
  std::size_t fNext = 0;
  bool fbFailed = false;
};

/// As many threads as have room for a matrix each.
std::size_t ThreadsWithinMemory(int threads, std::size_t triangle) {
  const auto room = static_cast<std::size_t>(QvThreadRunner::kMemoryBound) / sizeof(double);
  const std::size_t most = room / std::max(triangle, std::size_t{1});
  return std::clamp(static_cast<std::size_t>(threads), std::size_t{1},
                    std::max(most, std::size_t{2}) - 1);
}

/// Adds the products of the records' scores to `elements`, when all are known.
void AddProducts(QvCRun& run, const QvCColumns& columns, std::size_t nRecords, int threads,
                 const Multipliers& multipliers, double* elements) {
  const IQvRegOutputStats& stats = run.Results();
  const auto order = static_cast<int>(stats.GetParameters().size());
  OrderedTotal total(order);
  const auto parts = static_cast<std::size_t>(
      QvPartCount(static_cast<long long>(nRecords), static_cast<long long>(order)));
  const std::size_t wanted = std::min(ThreadsWithinMemory(threads, total.Triangle().size()), parts);
  std::vector<Worker> workers;
  workers.reserve(wanted);
  workers.emplace_back(std::make_unique<QvCScorer>(run, columns.Size()), stats, columns,
                       multipliers);
  const std::vector<unsigned char> scoring =
      wanted > 1 ? run.Scoring() : std::vector<unsigned char>();
  while (workers.size() < wanted) {
    workers.emplace_back(std::make_unique<QvCScorer>(run, columns.Size(), scoring), stats, columns,
                         multipliers);
  }
  QvForEach(static_cast<int>(wanted), static_cast<long long>(parts), [&](int number, long long at) {
    const auto part = static_cast<std::size_t>(at);
    Worker& worker = workers[static_cast<std::size_t>(number)];
    try {
      worker.Sum(nRecords / parts * part + std::min(part, nRecords % parts),
                 nRecords / parts * (part + 1) + std::min(part + 1, nRecords % parts));
    } catch (...) {
      total.Fail();
      throw;
    }
    total.Add(part, worker.Sums());
  });
  for (const double element : total.Triangle()) *elements++ += element;
}

}  // namespace

int32_t qvreg_component_add_score_products(const qvreg_component* component,
                                           const qvreg_typed_column* columns, size_t n_columns,
                                           size_t n_records, int32_t threads,
                                           const double* multipliers, ptrdiff_t stride,
                                           double* elements, size_t capacity, qvreg_error* error) {
  return QvCCall(error, [&] {
    const std::shared_ptr<QvCRun> run = Valid(component).fRun;
    const int threadCount = QvThreadCount(NotNegative(threads, "threads"));
    const QvCInUse use = run->Use();
    const size_t n = run->Results().GetParameters().size();
    NotNull(elements, "elements");
    if (n_records > 0) NotNull(multipliers, "multipliers");
    const QvCList list(n * (n + 1) / 2, capacity, nullptr);
    if (!list.IsWanted(elements) || n_records == 0) return;
    const QvCColumns wanted = run->DesignColumns(columns, n_columns, n_records);
    const size_t probabilities = QvCScorer(*run, wanted.Size()).NProbabilities();
    const size_t equations = probabilities == 0 ? 1 : probabilities - 1;
    AddProducts(*run, wanted, n_records, threadCount, Multipliers(multipliers, stride, equations),
                elements);
  });
}
