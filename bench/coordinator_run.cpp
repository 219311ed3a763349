// What one process does for a fit whose records are elsewhere: sends a request for each pass,
// merges the answers of many workers, solves. The answers are made up: one worker computes its
// answer from few records, and stands for all. Prints for each pass the bytes of the request and of
// an answer, the seconds of the merges and those of the solution before the request.

#include <cstddef>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

#include "bench/Arguments.h"
#include "bench/ClassModel.h"
#include "bench/ClassRecords.h"
#include "bench/LinearModel.h"
#include "bench/RunReport.h"
#include "bench/Stopwatch.h"
#include "bench/UniformNumbers.h"
#include "qvreg/qvreg.h"

namespace {

using Bytes = std::vector<unsigned char>;
constexpr int kMoreRecords = 64;  ///< Than columns, so that none is redundant.

/// Records of uniform numbers; the last is a class where there are some.
class MadeUpRecords : public QvCommon::MultiPassRecordIter {
 public:
  MadeUpRecords(int size, int classes)
      : classes_(classes), records_(size + kMoreRecords), record_(size) {}

  [[nodiscard]] bool HasMore() const override { return next_ < records_; }
  const QvCommon::Record* Next() override {
    const int last = record_.Size() - 1;
    for (int i = 0; i <= last; ++i) record_[i] = numbers_.Next();
    if (classes_ > 0) record_[last] = next_ % classes_;
    ++next_;
    return &record_;
  }
  [[nodiscard]] int GetFailReason() const override {
    return HasMore() ? QvCommon::kIterOk : QvCommon::kIterEndOfData;
  }
  int NewPass() override {
    next_ = 0;
    numbers_ = {};
    return QvCommon::kIterOk;
  }

 private:
  int classes_;
  int records_;
  QvCommon::Record record_;
  qvbench::UniformNumbers numbers_;
  int next_ = 0;
};

class Coordinator : public IQvPassRunner {
 public:
  Coordinator(int workers, MadeUpRecords& records) : workers_(workers), records_(records) {
    std::printf("  pass      request       answer      merging     solution before it\n");
  }

  QvCommon::QvStatus Run(const Bytes& request, QvCancelInfo& /*cancel*/, Bytes& answer) override {
    const qvbench::Elapsed asked = watch_.Now();
    Bytes one;
    QvCommon::QvStatus status = worker_.Run(request, 0, records_, one);
    if (status.IsError()) return status;
    const qvbench::Elapsed begin = watch_.Now();
    status = MergeAll(request, one, answer);
    const qvbench::Elapsed end = watch_.Now();
    std::printf("  %4d %12zu B %12zu B %8.3f s cpu %8.3f s cpu\n", ++passes_, request.size(),
                one.size(), (end - begin).cpu, (asked - answered_).cpu);
    answered_ = end;
    return status;
  }

 private:
  /// As if the answers arrived in the order of the parts: an answer is merged with its neighbour as
  /// soon as both are there, so that no more than log2 of the workers wait.
  QvCommon::QvStatus MergeAll(const Bytes& request, const Bytes& one, Bytes& whole) {
    std::vector<std::pair<int, Bytes>> waiting;  // with the number of workers merged
    QvCommon::QvStatus status;
    for (int worker = 0; worker < workers_; ++worker) {
      waiting.emplace_back(1, one);
      const bool isLast = worker + 1 == workers_;
      while (waiting.size() > 1 &&
             (isLast || waiting.back().first == waiting[waiting.size() - 2].first)) {
        const auto [count, second] = std::move(waiting.back());
        waiting.pop_back();
        waiting.back().first += count;
        status = worker_.Merge(request, waiting.back().second, second, waiting.back().second);
        if (status.IsError()) return status;
      }
    }
    whole = std::move(waiting.front().second);
    return status;
  }

  int workers_;
  MadeUpRecords& records_;
  QvPassWorker worker_;
  qvbench::Stopwatch watch_;
  qvbench::Elapsed answered_;
  int passes_ = 0;
};

bool FitAndPrint(QvRegSettings& settings, int workers, MadeUpRecords& records) {
  const qvbench::Stopwatch watch;
  Coordinator coordinator(workers, records);
  settings.SetPassRunner(&coordinator);
  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings));
  if (component == nullptr) return false;
  if (component->BuildModel(records).IsError()) {
    std::fprintf(stderr, "the fit ended with status %ld\n", component->GetStatus().GetCode());
    return false;
  }
  const qvbench::Elapsed whole = watch.Now();
  std::printf("  whole run %.3f s, %.3f s cpu\n", whole.wall, whole.cpu);
  qvbench::PrintPeakMemory();
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  const long workers = argc >= 3 ? qvbench::PositiveArgument(argv[1]) : -1;
  const long covariates = argc >= 3 ? qvbench::PositiveArgument(argv[2]) : -1;
  const long classes = argc == 4 ? qvbench::PositiveArgument(argv[3]) : 0;
  if (argc > 4 || workers < 0 || covariates < 0 || classes < 0 || classes == 1) {
    std::fprintf(stderr, "usage: bench_coordinator_run WORKERS COVARIATES [CLASSES]\n");
    return 2;
  }
  const auto nCovariates = static_cast<int>(covariates);
  const auto nClasses = static_cast<int>(classes);
  MadeUpRecords records(nCovariates + 1, nClasses);
  if (classes == 0) {
    qvbench::LinearModel model(nCovariates, {}, false);
    return FitAndPrint(model.Settings(), static_cast<int>(workers), records) ? 0 : 1;
  }
  qvbench::ClassModel model({.covariates = nCovariates, .classes = nClasses, .levels = {}});
  qvbench::Require(model.Settings().SetMaxIterations(2));  // the others cost the same
  return FitAndPrint(model.Settings(), static_cast<int>(workers), records) ? 0 : 1;
}
