// What one process does for a fit whose records are elsewhere: sends a request for each pass,
// merges the answers of many workers, solves. The answers are made up: one worker computes its
// answer from few records, and stands for all. Prints for each pass what it learns (see
// docs/architecture.md), the bytes of the request and of an answer, the seconds of the merges and
// those of the solution before the request.

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
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
#include "qvreg/component/IQvPassSums.h"
#include "qvreg/qvreg.h"

namespace {

using Bytes = std::vector<unsigned char>;
constexpr int kMoreRecords = 64;  ///< Than columns, so that none is redundant.

/// Covariates, uniform in [-1, 1), factors, and last a class where there are some: every level of a
/// factor occurs with every class. Else the last is uniform, too.
class MadeUpRecords : public QvCommon::MultiPassRecordIter {
 public:
  explicit MadeUpRecords(const qvbench::ClassRecords& shape)
      : shape_(shape), records_(shape.covariates + kMoreRecords), record_(shape.Size()) {
    for (const int count : shape.levels) {
      records_ = std::max(records_ + count, 2 * count * shape.classes);
    }
  }

  [[nodiscard]] bool HasMore() const override { return next_ < records_; }
  const QvCommon::Record* Next() override {
    for (int i = 0; i < record_.Size(); ++i) record_[i] = numbers_.Next();
    int var = shape_.covariates;
    for (const int count : shape_.levels) record_[var++] = next_ / shape_.classes % count;
    if (shape_.classes > 0) record_[shape_.Dependent()] = next_ % shape_.classes;
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
  qvbench::ClassRecords shape_;
  int records_;
  QvCommon::Record record_;
  qvbench::UniformNumbers numbers_;
  int next_ = 0;
};

class Coordinator : public IQvPassRunner {
 public:
  Coordinator(int workers, MadeUpRecords& records) : workers_(workers), records_(records) {
    std::printf("  pass                request       answer      merging     solution before it\n");
  }

  QvCommon::QvStatus Run(const Bytes& request, QvCancelInfo& /*cancel*/, Bytes& answer) override {
    const qvbench::Elapsed asked = watch_.Now();
    Bytes one;
    QvCommon::QvStatus status = worker_.Run(request, 0, records_, one);
    if (status.IsError()) return status;
    const qvbench::Elapsed begin = watch_.Now();
    status = MergeAll(request, one, answer);
    const qvbench::Elapsed end = watch_.Now();
    std::printf("  %-14s %10zu B %12zu B %8.3f s cpu %8.3f s cpu\n", NameOf(request),
                request.size(), one.size(), (end - begin).cpu, (asked - answered_).cpu);
    answered_ = end;
    return status;
  }

 private:
  /// What the pass learns: the number behind the head of a request.
  static const char* NameOf(const Bytes& request) {
    constexpr std::size_t kHeadSize = 24;
    switch (static_cast<QvPassKind>(request.at(kHeadSize))) {
      case QvPassKind::kTables:
        return "tables";
      case QvPassKind::kProducts:
        return "products";
      case QvPassKind::kResiduals:
        return "residuals";
      case QvPassKind::kDerivatives:
        return "derivatives";
      case QvPassKind::kClassification:
        return "classification";
      default:
        return "?";
    }
  }

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

int PrintUsage() {
  std::fprintf(
      stderr, "usage: bench_coordinator_run WORKERS COVARIATES [--refine | CLASSES [LEVELS...]]\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return PrintUsage();
  const auto workers = static_cast<int>(qvbench::PositiveArgument(argv[1]));
  const bool isRefined = argc == 4 && std::strcmp(argv[3], "--refine") == 0;
  if (workers < 0) return PrintUsage();
  if (argc == 3 || isRefined) {
    const auto covariates = static_cast<int>(qvbench::PositiveArgument(argv[2]));
    if (covariates < 0) return PrintUsage();
    MadeUpRecords records({.covariates = covariates, .classes = 0, .levels = {}});
    qvbench::LinearModel model(covariates, {}, isRefined);
    return FitAndPrint(model.Settings(), workers, records) ? 0 : 1;
  }
  const auto shape = qvbench::ClassRecords::FromArguments(argc - 2, argv + 2);
  if (!shape) return PrintUsage();
  MadeUpRecords records(*shape);
  qvbench::ClassModel model(*shape);
  qvbench::Require(model.Settings().SetMaxIterations(2));  // the others cost the same
  return FitAndPrint(model.Settings(), workers, records) ? 0 : 1;
}
